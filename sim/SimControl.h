#pragma once
// Test and benchmark controls of the built-in simulated Halden-D2. The
// program itself reaches the simulator only through the driver table
// (simulatedDriver()); nothing here is used outside tests and benchmarks.

#include "DriverApi.h"

#include <QString>
#include <QtGlobal>
#include <cstdint>

namespace SimControl {

// The firmware version word GetDeviceInfo reports unless changed.
constexpr uint16_t kDefaultFirmwareVersion = 0x0211;

// Pulling the USB cable: GetDeviceStatus stops answering 2, every transmit,
// receive and configuration call fails, queued frames are lost. Device and
// channel handles stay valid; after replug() an open device and its started
// channels carry traffic again. UpdateDevice unplugs as well (the adapter has
// restarted into its boot loader) and forgets both channels: their handles
// stop working.
void unplug();
void replug();
bool isPlugged();

void setFirmwareVersion(uint16_t version);
uint16_t firmwareVersion();

// Puts one record, byte for byte as given (time stamp included), into a
// started channel's receive queue, bypassing bus, rates and filter. False when
// the channel is not started, the adapter is unplugged or the queue is full.
bool injectCan(unsigned channel, const CanReceiveRecord &record);
bool injectCanFd(unsigned channel, const CanFdReceiveRecord &record);

// The periodic traffic of the simulated nodes (config/simulator.ini). On by
// default; tests switch it off to count frames exactly.
void setNodesEnabled(bool on);
bool nodesEnabled();

// What was wrong with config/simulator.ini at the last device open (also
// written to standard error); empty when the file was read as it stands.
QString configProblem();

// Frames lost because a receive queue was full (each queue holds 100 000
// records of each kind per channel), summed over both kinds, since the
// channel was started.
quint64 droppedFrames(unsigned channel);

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

// Starts (or restarts, from sequence 0) a flood. Flood frames come from
// neither channel, so neither one's transmit queue is involved. The flood ends
// with stopFlood(), CloseDevice, ResetDriver or resetForTests().
void startFlood(FloodMode mode, FloodFrame frame = FloodFrame::CanFdEmpty);
void stopFlood();
// Sequence numbers issued since the last startFlood(): the next frame carries
// this number. Each one reaches every started channel once.
quint64 floodInjected();

// Back to the state at program start: device closed, adapter plugged in,
// default firmware version, node traffic on (nodes read from the file at the
// next open), no flood, no pending frames.
void resetForTests();

} // namespace SimControl
