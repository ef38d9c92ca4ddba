#pragma once
// The bits of one signal inside a frame's bytes, both ways, and the raw and
// physical values they stand for. Little-endian ("@1") signals count from
// their least significant bit upwards through the bytes; big-endian ("@0",
// Motorola) signals start at their most significant bit and run down to bit 0
// of a byte, then on from bit 7 of the next byte.
#include "DbcDatabase.h"

#include <QtGlobal>

namespace SignalCodec {

// The signal's bits, right-aligned; false when the frame is too short to hold them.
bool extract(const DbcSignal &s, const uchar *data, int length, quint64 &bits);
// Writes the signal's bits into data (which holds at least lastByte() + 1 bytes),
// leaving every other bit as it was.
void insert(const DbcSignal &s, quint64 bits, uchar *data);

// The raw value: the bits as the signal's integer or IEEE 754 number.
double rawValue(const DbcSignal &s, quint64 bits);
// An integer signal's raw value with its sign; floats give their value cut to an integer.
qint64 rawInteger(const DbcSignal &s, quint64 bits);
inline double physical(const DbcSignal &s, quint64 bits) { return rawValue(s, bits) * s.factor + s.offset; }

// The bits that carry a physical value: (physical - offset) / factor, rounded
// to the nearest integer and held to what the signal's bits can take; float
// signals carry the number itself. clamped tells whether it had to be held.
quint64 fromPhysical(const DbcSignal &s, double physical, bool *clamped = nullptr);

} // namespace SignalCodec
