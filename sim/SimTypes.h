#pragma once
// Values the simulated adapter shares with its test controls.
#include <cstdint>

namespace Sim {

// The firmware version word GetDeviceInfo reports unless changed.
constexpr uint16_t kDefaultFirmwareVersion = 0x0211;

enum class FloodMode {
    // Other nodes send back to back: the bus is busy all the time at the
    // rates of channel 0 (channel 1 when only it is started). Every frame goes
    // through the bus, so both started channels receive it, subject to their
    // acceptance filters, with bus time stamps; the frame rate is exactly
    // what the bus carries (54 945 frames/s over both channels for empty
    // CAN FD frames at 1M/5M).
    BusLimit,
    // Records are written straight into the receive queues of both started
    // channels by a background thread, as fast as the readers empty them; it
    // waits while a queue is full, so nothing is ever dropped. For measuring
    // the receive pipeline, not the bus.
    AsFastAsPossible,
};

enum class FloodFrame {
    // CAN FD, 0 data bytes, bit-rate switch on; the sequence number is in the
    // identifier only (standard identifier = sequence & 0x7FF, so it wraps
    // from 0x7FF to 0x000).
    CanFdEmpty,
    // Classic CAN, 8 data bytes holding the 64-bit sequence number little
    // endian; standard identifier = sequence & 0x7FF.
    Can8,
    // CAN FD, 64 data bytes, bit-rate switch on; bytes 0-7 hold the sequence
    // number little endian, the rest are 0; standard identifier = sequence & 0x7FF.
    CanFd64,
};

} // namespace Sim
