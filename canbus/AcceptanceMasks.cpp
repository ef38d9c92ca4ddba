#include "AcceptanceMasks.h"

#include <algorithm>

namespace AcceptanceMasks {

QVector<IdMask> forRange(bool extended, uint32_t first, uint32_t last)
{
    const uint32_t full = extended ? 0x1FFFFFFFu : 0x7FFu;
    first = std::min(first, full);
    last = std::min(last, full);
    QVector<IdMask> out;
    // 64-bit arithmetic: a block may end exactly at the top of the id space.
    uint64_t at = first;
    const uint64_t end = uint64_t(last) + 1;
    while (at < end) {
        // The largest block that starts at `at` (aligned to its size) and stays in the range.
        uint64_t size = 1;
        while ((at & (size * 2 - 1)) == 0 && at + size * 2 <= end)
            size *= 2;
        out.append(IdMask { uint32_t(at), uint32_t(~(size - 1) & full), extended });
        at += size;
    }
    return out;
}

bool accepts(const IdMask &filter, bool extended, uint32_t id)
{
    return filter.extended == extended && (id & filter.mask) == (filter.id & filter.mask);
}

bool accepts(const QVector<IdMask> &filters, bool extended, uint32_t id)
{
    return std::any_of(filters.begin(), filters.end(), [&](const IdMask &f) { return accepts(f, extended, id); });
}

}
