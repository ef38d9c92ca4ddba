#pragma once
// Acceptance ranges as identifier/mask filters: a frame passes a filter when
// (frame id & mask) == (filter id & mask), and an acceptance list passes the
// union of its filters.
#include <QVector>
#include <cstdint>

namespace AcceptanceMasks {

struct IdMask {
    uint32_t id = 0;
    uint32_t mask = 0; // over 11 bits for a standard filter, 29 for an extended one
    bool extended = false;
    bool operator==(const IdMask &o) const { return id == o.id && mask == o.mask && extended == o.extended; }
};

// The smallest set of filters that together accept exactly the identifiers
// first..last of one kind (standard 0..0x7FF, extended 0..0x1FFFFFFF).
// Filters may overlap and their masks may leave any bits free. Bounds beyond
// the kind's width are clamped; an empty range (last < first) gives no
// filter. The filter ids carry no bit outside their masks, and the same range
// always gives the same list.
QVector<IdMask> forRange(bool extended, uint32_t first, uint32_t last);

// The same decomposition over identifiers of any width from 1 to 31 bits
// (filters marked standard); forRange uses 11 and 29 bits.
QVector<IdMask> forWidth(int bits, uint32_t first, uint32_t last);

bool accepts(const IdMask &filter, bool extended, uint32_t id);
bool accepts(const QVector<IdMask> &filters, bool extended, uint32_t id);

}
