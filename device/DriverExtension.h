#pragma once
// Optional operations a back-end may offer beside the 17-entry driver table.
// Kestrix.dll has none of them: its binding installs no extension, and the
// device layer then answers that the figures are not available. The built-in
// simulated adapter fills the table.
#include "DriverApi.h"

#include <cstdint>

struct BusCounters {
    // Error frames the channel saw on the bus since it was started.
    uint64_t errorFrames;
    // Frames lost since the channel was started because its receive queue
    // was full: they never reached a receive call.
    uint64_t receiveOverflows;
};

struct KestrixExtension {
    // Fills the counters of a started channel; 1 = success.
    uint32_t(KX_CALL *ReadBusCounters)(uint32_t channelHandle, BusCounters *counters);
};
