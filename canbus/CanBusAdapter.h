#pragma once
// The QtSerialBus back-end behind the driver table: channel 1 and channel 2
// each wired to one QCanBusDevice (channel 2 may have none). The devices live
// in one thread of this back-end with its own event loop; every operation may
// be called from the GUI thread, the two receive threads and the two send
// threads at once. Received frames wait in bounded queues per channel and
// kind; transmitted frames in a bounded queue per channel.
#include "DriverApi.h"
#include "Interfaces.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <string>

class CanBusAdapter {
public:
    static CanBusAdapter &instance();
    ~CanBusAdapter();

    // Receive queue capacities, per channel.
    static constexpr uint32_t kClassicQueue = 65536;
    static constexpr uint32_t kFdQueue = 16384;
    // Frames handed over by TransmitCan/TransmitCanFd and not yet written.
    static constexpr uint32_t kTransmitQueue = 1024;

    // The interfaces the next OpenDevice opens (the device must be closed).
    void setMapping(const Interfaces::Mapping &mapping);
    Interfaces::Mapping mapping() const;

    // The driver operations (see DriverApi.h for their results).
    uint32_t openDevice(uint32_t type, uint32_t index);
    uint32_t closeDevice(uint32_t device);
    uint32_t deviceInfo(uint32_t device, DeviceInfoRecord *info);
    uint32_t deviceStatus(uint32_t device);
    uint32_t initChannel(uint32_t device, uint32_t channel, const ChannelInitRecord *record);
    uint32_t startChannel(uint32_t handle);
    uint32_t resetChannel(uint32_t handle);
    uint32_t transmitCan(uint32_t handle, const CanTransmitRecord *records, uint32_t count);
    uint32_t transmitCanFd(uint32_t handle, const CanFdTransmitRecord *records, uint32_t count);
    uint32_t receiveCan(uint32_t handle, CanReceiveRecord *out, uint32_t capacity, int32_t waitMs);
    uint32_t receiveCanFd(uint32_t handle, CanFdReceiveRecord *out, uint32_t capacity, int32_t waitMs);
    bool isOpenDevice(uint32_t device) const;
    uint32_t setArbitrationBaud(uint32_t device, uint32_t channel, uint32_t index);
    uint32_t setDataBaud(uint32_t device, uint32_t channel, uint32_t index);
    uint32_t setCanFdStandard(uint32_t device, uint32_t channel, uint32_t standard);
    // Property paths "<ch>/baud_rate_custom", "<ch>/initenal_resistance",
    // "<ch>/filter_clear", "<ch>/filter_mode", "<ch>/filter_start",
    // "<ch>/filter_end", "<ch>/filter_ack"; 1 on success.
    uint32_t setValue(const char *path, const char *value);
    // "<ch>/rx_dropped", "<ch>/error_frames", "<ch>/tx_failed": counts in decimal.
    std::string value(const char *path) const;

    // Counters of one channel (0 or 1) since the device was opened.
    struct Counters {
        uint64_t rxDropped = 0; // frames lost on a full receive queue
        uint64_t errorFrames = 0;
        uint64_t txFailed = 0; // frames the interface refused to write
        bool interfaceFilters = false; // the interface took the identifier/mask filters
    };
    Counters counters(int channel) const;
    // Error frames and overflows of a started channel since its start; 1 on success.
    uint32_t readBusCounters(uint32_t handle, BusCounters *counters) const;

    // Ends the device thread (at application exit).
    void shutdown();

private:
    CanBusAdapter();
    void reapplyLater(int channel);
    struct Impl;
    std::unique_ptr<Impl> d;
};

// The driver table whose operations forward to CanBusAdapter::instance(),
// and its extension (error frames and receive overflows per channel).
const KestrixDriver *canBusDriver();
const KestrixExtension *canBusExtension();

// The registry entry of this back-end (key "canbus"): lists QtSerialBus
// plugins and interfaces and serves a mapping with the table above.
Interfaces::Backend canBusBackend();
