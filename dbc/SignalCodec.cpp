#include "SignalCodec.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace SignalCodec {

namespace {
    inline quint64 mask(int n) { return n >= 64 ? ~0ull : (1ull << n) - 1; }
}

bool extract(const DbcSignal &s, const uchar *data, int length, quint64 &bits)
{
    if (s.lastByte() >= length)
        return false;
    quint64 v = 0;
    int left = s.length;
    if (s.littleEndian) {
        int byte = s.startBit / 8;
        int shift = s.startBit % 8;
        int got = 0;
        while (left > 0) {
            const int n = std::min(8 - shift, left);
            v |= quint64((data[byte] >> shift) & mask(n)) << got;
            got += n;
            left -= n;
            ++byte;
            shift = 0;
        }
    } else {
        int byte = s.startBit / 8;
        int top = s.startBit % 8; // the highest bit still to read in this byte
        while (left > 0) {
            const int n = std::min(top + 1, left);
            v = (n == 64 ? 0 : v << n) | ((data[byte] >> (top + 1 - n)) & mask(n));
            left -= n;
            ++byte;
            top = 7;
        }
    }
    bits = v;
    return true;
}

void insert(const DbcSignal &s, quint64 bits, uchar *data)
{
    bits &= mask(s.length);
    int left = s.length;
    if (s.littleEndian) {
        int byte = s.startBit / 8;
        int shift = s.startBit % 8;
        while (left > 0) {
            const int n = std::min(8 - shift, left);
            const uchar m = uchar(mask(n) << shift);
            data[byte] = uchar((data[byte] & ~m) | ((bits << shift) & m));
            bits >>= n;
            left -= n;
            ++byte;
            shift = 0;
        }
    } else {
        int byte = s.startBit / 8;
        int top = s.startBit % 8;
        while (left > 0) {
            const int n = std::min(top + 1, left);
            const int low = top + 1 - n;
            const uchar m = uchar(mask(n) << low);
            const quint64 part = (bits >> (left - n)) & mask(n);
            data[byte] = uchar((data[byte] & ~m) | ((part << low) & m));
            left -= n;
            ++byte;
            top = 7;
        }
    }
}

qint64 rawInteger(const DbcSignal &s, quint64 bits)
{
    if (s.type != DbcSignal::Type::Integer)
        return qint64(rawValue(s, bits));
    if (s.isSigned && s.length < 64 && (bits >> (s.length - 1)) & 1)
        return qint64(bits | ~mask(s.length));
    return qint64(bits);
}

double rawValue(const DbcSignal &s, quint64 bits)
{
    switch (s.type) {
    case DbcSignal::Type::Float32: {
        const quint32 word = quint32(bits);
        float f;
        std::memcpy(&f, &word, sizeof f);
        return double(f);
    }
    case DbcSignal::Type::Float64: {
        double d;
        std::memcpy(&d, &bits, sizeof d);
        return d;
    }
    case DbcSignal::Type::Integer:
        break;
    }
    if (s.isSigned)
        return double(rawInteger(s, bits));
    return double(bits);
}

quint64 fromPhysical(const DbcSignal &s, double physical, bool *clamped)
{
    if (clamped)
        *clamped = false;
    const double raw = s.factor != 0.0 ? (physical - s.offset) / s.factor : 0.0;
    if (s.type == DbcSignal::Type::Float32) {
        const float f = float(raw);
        quint32 word;
        std::memcpy(&word, &f, sizeof word);
        return word;
    }
    if (s.type == DbcSignal::Type::Float64) {
        quint64 word;
        std::memcpy(&word, &raw, sizeof word);
        return word;
    }
    const double rounded = std::round(raw);
    // The range the bits can hold, as doubles (exact up to 2^53, close enough beyond).
    const double low = s.isSigned ? -std::ldexp(1.0, s.length - 1) : 0.0;
    const double high = s.isSigned ? std::ldexp(1.0, s.length - 1) - 1.0 : std::ldexp(1.0, s.length) - 1.0;
    double held = rounded;
    if (std::isnan(rounded) || rounded < low)
        held = std::isnan(rounded) ? 0.0 : low;
    else if (rounded > high)
        held = high;
    if (clamped && held != rounded)
        *clamped = true;
    if (s.isSigned) {
        const qint64 v = held >= 9.2233720368547758e18 ? std::numeric_limits<qint64>::max() : qint64(held);
        return quint64(v) & mask(s.length);
    }
    return held >= 1.8446744073709552e19 ? ~0ull : quint64(held);
}

} // namespace SignalCodec
