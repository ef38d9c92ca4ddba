#include "AcceptanceMasks.h"

#include <algorithm>
#include <array>

// How the smallest filter set is found.
//
// A filter is a cube: bits under the mask fixed, the others free. It lies in
// first..last exactly when its smallest member (free bits 0) is >= first and
// its largest (free bits 1) is <= last. The bits above the highest bit where
// first and last differ are the same for the whole range, so every filter
// fixes them. Call that bit the split: below it, with u and v the low bits of
// first and last, the range is {0x : x >= u} and {1y : y <= v}. A filter fixes
// the split to 0 (its low part lies in x >= u), to 1 (in y <= v), or leaves it
// free (its low part lies in u..v and serves both halves at once).
//
// x >= u alone only grows when a bit turns from 0 to 1, and such a function's
// smallest cover is its prime filters, one per minimal member: the 1 bits of u
// fixed to 1, and for each 0 bit of u above its lowest 1 bit, the 1 bits of u
// above it and that bit fixed to 1 (every other bit free). y <= v is the
// mirror image (0 bits of v fixed to 0). cover() then takes the bits below the
// split from the top, one per level:
//  - u = 0 (or v all ones): that half is one filter, the other its primes.
//    No filter can hold a minimal member of x >= u together with another one
//    (it would be that filter's smallest member), likewise for maximal members
//    of y <= v, and the top of an all-ones half lies in no filter of the other.
//  - u > v: nothing can be shared; the primes of both halves.
//  - the top bits of u and v are equal, both 0: quarter 01 (split 0, top 1) is
//    all in the range and only a filter of its own covers its top identifier;
//    the rest is the same problem one bit narrower. Both 1: quarter 10 alike.
//  - u's top bit 0, v's 1: quarters 00 (x >= u'), 01 and 10 (everything) and
//    11 (y <= v'). If u' > v' + 1, the primes of both halves, two more than the
//    narrower problem (u', v'): its minimal and maximal members, plus the id
//    v' + 1 in quarters 01 and 10, are identifiers no two of which lie in one
//    filter. Otherwise the narrower cover is lifted: its split-0 filters also
//    take quarter 01 (the top bit left free), its split-1 filters move to
//    quarters 01 and 11, shared ones take all four. Their low parts together
//    cover x >= u' and y <= v', which is everything when u' <= v' + 1, so only
//    quarter 10 is left: one filter more. A cover of the range restricted to
//    quarters 00 and 11 is a cover of the narrower problem; that one more filter
//    is the least is checked by an exhaustive search over every range of up to
//    9 bits (and by the unit tests over 5 and 6 bits and random 11-bit ranges).
// Computing the fewest terms for an interval this way is the minimum DNF of an
// interval function; Schieber, Geist and Zaks ("Computing the minimum DNF
// representation of Boolean functions defined by intervals", Discrete Applied
// Mathematics 149, 2005) show it takes time linear in the width. Here it is at
// most 29 levels over at most 2 x 29 filters.

namespace AcceptanceMasks {

namespace {

    struct Cube {
        uint32_t value; // fixed bits; 0 where free
        uint32_t care; // 1 where fixed
    };

    // At most two filters per bit; 64 is more than enough for 31 bits.
    struct CubeList {
        std::array<Cube, 64> at;
        int size = 0;
        void add(uint32_t value, uint32_t care) { at[size++] = Cube { value, care }; }
    };

    // The prime filters of x >= u over `bits` bits (u > 0), with extra fixed bits.
    void addPrimesAbove(CubeList &out, uint32_t u, int bits, uint32_t extraValue, uint32_t extraCare)
    {
        out.add(u | extraValue, u | extraCare);
        const uint32_t lowest = u & (~u + 1);
        for (int i = bits - 1; i >= 0 && (uint32_t(1) << i) > lowest; --i) {
            const uint32_t bit = uint32_t(1) << i;
            if (u & bit)
                continue;
            const uint32_t ones = (u & ~(bit * 2 - 1)) | bit;
            out.add(ones | extraValue, ones | extraCare);
        }
    }

    // The prime filters of y <= v over `bits` bits (v not all ones): the mirror image.
    void addPrimesBelow(CubeList &out, uint32_t v, int bits, uint32_t extraValue, uint32_t extraCare)
    {
        const int start = out.size;
        addPrimesAbove(out, ~v & ((uint32_t(1) << bits) - 1), bits, 0, 0);
        for (int i = start; i < out.size; ++i)
            out.at[i] = Cube { extraValue, out.at[i].care | extraCare };
    }

    // The range {0x : x >= u} and {1y : y <= v}, x and y of `bits` bits, over bits
    // 0..bits (the split is bit `bits`).
    void cover(CubeList &out, uint32_t u, uint32_t v, int bits)
    {
        const uint32_t all = (uint32_t(1) << bits) - 1, split = uint32_t(1) << bits;
        if (u == 0 && v == all) {
            out.add(0, 0);
            return;
        }
        if (u == 0) {
            out.add(0, split);
            addPrimesBelow(out, v, bits, split, split);
            return;
        }
        if (v == all) {
            out.add(split, split);
            addPrimesAbove(out, u, bits, 0, split);
            return;
        }
        const uint32_t top = split >> 1, low = top - 1;
        const uint32_t ur = u & low, vr = v & low;
        const bool sameTop = (u & top) == (v & top);
        if (u > v || (!sameTop && ur > vr + 1)) {
            addPrimesAbove(out, u, bits, 0, split);
            addPrimesBelow(out, v, bits, split, split);
            return;
        }
        const int start = out.size;
        cover(out, ur, vr, bits - 1);
        for (int i = start; i < out.size; ++i) {
            Cube &c = out.at[i];
            // The narrower split bit (the top bit here) moves up to the split.
            uint32_t value = (c.value & low) | (c.value & top ? split : 0);
            uint32_t care = (c.care & low) | (c.care & top ? split : 0);
            if (sameTop) {
                value |= u & top;
                care |= top;
            } else if ((care & split) && (value & split)) {
                value = (value & ~split) | top; // a y <= v' filter: quarters 01 and 11
                care = (care & ~split) | top;
            }
            c = Cube { value, care };
        }
        if (sameTop && !(u & top))
            out.add(top, split | top); // quarter 01
        else
            out.add(split, split | top); // quarter 10
    }

}

QVector<IdMask> forWidth(int bits, uint32_t first, uint32_t last)
{
    const uint32_t full = uint32_t((uint64_t(1) << bits) - 1);
    first = std::min(first, full);
    last = std::min(last, full);
    QVector<IdMask> out;
    if (last < first)
        return out;
    if (first == last) {
        out.append(IdMask { first, full, false });
        return out;
    }
    int k = 31;
    while (!((first ^ last) >> k))
        --k;
    const uint32_t below = uint32_t((uint64_t(2) << k) - 1), prefix = full & ~below;
    CubeList cubes;
    cover(cubes, first & (below >> 1), last & (below >> 1), k);
    out.reserve(cubes.size);
    for (int i = 0; i < cubes.size; ++i)
        out.append(IdMask { cubes.at[i].value | (first & prefix), cubes.at[i].care | prefix, false });
    std::sort(out.begin(), out.end(),
        [](const IdMask &a, const IdMask &b) { return a.id != b.id ? a.id < b.id : a.mask > b.mask; });
    return out;
}

QVector<IdMask> forRange(bool extended, uint32_t first, uint32_t last)
{
    QVector<IdMask> out = forWidth(extended ? 29 : 11, first, last);
    for (IdMask &f : out)
        f.extended = extended;
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
