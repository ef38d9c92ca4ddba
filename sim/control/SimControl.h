#pragma once
// Test and benchmark controls of the built-in simulated Halden-D2. The
// program itself reaches the simulator only through the driver table
// (simulatedDriver()); nothing here is used outside tests and benchmarks.

#include "DriverApi.h"
#include "SimTypes.h"

#include <QString>
#include <QtGlobal>
#include <cstdint>

namespace SimControl {

constexpr uint16_t kDefaultFirmwareVersion = Sim::kDefaultFirmwareVersion;

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

// A started channel sees `count` more error frames, or loses `count` more
// frames to a full receive queue (counted with the real overflows above);
// both reach the program through the extension table's ReadBusCounters.
// False when the channel is not started or the adapter is unplugged.
bool injectErrorFrames(unsigned channel, quint32 count);
bool injectOverflows(unsigned channel, quint32 count);
// Error frames the channel saw since it was started.
quint64 errorFrames(unsigned channel);

using FloodMode = Sim::FloodMode;
using FloodFrame = Sim::FloodFrame;

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
