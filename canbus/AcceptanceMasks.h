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

// The filters that together accept exactly the identifiers first..last of one
// kind (standard 0..0x7FF, extended 0..0x1FFFFFFF): the range is cut into the
// fewest aligned blocks, each block one filter. Bounds beyond the kind's
// width are clamped; an empty range (last < first) gives no filter.
QVector<IdMask> forRange(bool extended, uint32_t first, uint32_t last);

bool accepts(const IdMask &filter, bool extended, uint32_t id);
bool accepts(const QVector<IdMask> &filters, bool extended, uint32_t id);

}
