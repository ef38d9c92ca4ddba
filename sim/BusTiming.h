#pragma once
// Bit rates and frame lengths on the simulated bus: how long one frame keeps
// the bus busy, and which frame wins arbitration when several are ready.

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
FrameBits frameBits(bool fd, bool extended, bool remote, bool bitRateSwitch, uint32_t length);

// Bus time of one frame in nanoseconds.
int64_t frameDurationNs(const FrameBits &bits, uint32_t arbitrationRate, uint32_t dataRate);

// Arbitration priority of an identifier word (bit 31 extended, bit 30 remote):
// the lower value wins the bus.
uint32_t arbitrationKey(uint32_t idWord);

} // namespace BusTiming
