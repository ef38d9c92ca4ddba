#pragma once
// Bit rates and frame lengths on a CAN / CAN FD bus: how many bits one frame
// occupies in each phase, how long it keeps the bus busy, and which frame wins
// arbitration when several are ready. The simulated bus times its frames with
// it; the bus statistics count the load with it.

#include <cstdint>

namespace BusTiming {

constexpr uint32_t kArbitrationRateCount = 18;
constexpr uint32_t kDataRateCount = 9;

// Rate in bit/s of an arbitration-phase index (0-17) or data-phase index
// (0-8), in the driver's own numbering; 0 for an index outside the table.
uint32_t arbitrationRate(uint32_t index);
uint32_t dataRate(uint32_t index);

// A custom bit-timing text gives no rate we could read, so its frames are
// timed at this pair.
constexpr uint32_t kCustomArbitrationRate = 500000;
constexpr uint32_t kCustomDataRate = 2000000;

// Payload actually carried by a CAN FD frame of the given byte count: a DLC
// codes only 0-8, 12, 16, 20, 24, 32, 48 and 64 bytes, anything between is
// padded up to the next size.
uint8_t fdPayloadLength(uint32_t length);

struct FrameBits {
    uint32_t arbitration; // bits sent at the arbitration rate
    uint32_t data; // bits sent at the data rate (0 unless bit-rate switch)
};

// Bit count of one frame including the 3-bit intermission, without stuff bits.
// The simulated bus sends no stuff bits, so this is its frame length.
FrameBits frameBits(bool fd, bool extended, bool remote, bool bitRateSwitch, uint32_t length);

// The most stuff bits the frame can carry, in each phase (worst case: one
// stuff bit after every 4 bits of the stuffed fields, the first 5 excepted).
// Classic frames stuff SOF to the end of the CRC: 34 + 8n bits with a
// standard identifier, 54 + 8n with an extended one, floor((bits - 1) / 4).
// CAN FD frames stuff SOF to the end of the data (the CRC field has the fixed
// stuff bits frameBits counts already): 22 + 8n bits standard, 41 + 8n
// extended; the share up to the bit-rate switch (17 or 36 bits) belongs to
// the arbitration phase, the rest (ESI, DLC, data) to the data phase.
FrameBits stuffBits(bool fd, bool extended, bool remote, bool bitRateSwitch, uint32_t length);

// frameBits plus stuffBits: what the bus statistics count per frame.
FrameBits stuffedFrameBits(bool fd, bool extended, bool remote, bool bitRateSwitch, uint32_t length);

// Bus load in percent: the time the bits take at the two rates, over the time
// they were counted in. -1 when a rate is unknown (0) or the time is not positive.
double loadPercent(
    uint64_t arbitrationBits, uint64_t dataBits, uint32_t arbitrationRate, uint32_t dataRate, int64_t elapsedNs);

// Bus time of one frame in nanoseconds.
int64_t frameDurationNs(const FrameBits &bits, uint32_t arbitrationRate, uint32_t dataRate);

// Arbitration priority of an identifier word (bit 31 extended, bit 30 remote):
// the lower value wins the bus.
uint32_t arbitrationKey(uint32_t idWord);

} // namespace BusTiming
