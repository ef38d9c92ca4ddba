#pragma once
// The only code that talks to the adapter's driver. Functions report success as
// true/false (handles non-zero, operations == 1, status == 2) and never show
// messages; the callers do.

#include "DriverApi.h"
#include "DriverExtension.h"

#include <QMutex>
#include <QString>
#include <atomic>
#include <cstdint>

struct DeviceState {
    // Read by the worker threads without a lock: a cleared handle is how a
    // receive or send loop learns that its channel has gone.
    std::atomic<uint32_t> deviceHandle { 0 };
    std::atomic<uint32_t> channelHandle[2] = { { 0 }, { 0 } };
    std::atomic<PropertyInterface *> property { nullptr };
    ChannelInitRecord initRecord {};
    QString infoText;
};

// The one process-wide device record.
DeviceState &deviceState();
void resetDeviceState();

// The driver table in use. The program's entry installs one back-end (the
// Kestrix.dll binding or the built-in simulated adapter), tests install their
// own; until then every operation fails as if no adapter were attached. A
// back-end may install an extension table with it (Kestrix.dll has none);
// installing a table without one removes the previous back-end's.
const KestrixDriver &driver();
void installDriver(const KestrixDriver *table, const KestrixExtension *extension = nullptr);

// Whether the installed back-end reports error frames and receive overflows.
bool hasBusCounters();
// The counters of an open channel since it was started; false when the
// back-end has no extension, the channel is closed or the call fails.
bool readBusCounters(unsigned ch, BusCounters &counters);

// The bit rates (bit/s) last written to a channel by setBaudRate; 0 for both
// while none was written since the device was opened, and after a custom
// bit-rate text, whose rates only the driver knows.
struct ChannelRates {
    uint32_t arbitration = 0;
    uint32_t data = 0;
};
ChannelRates configuredRates(unsigned ch);

bool isDeviceOpen();
bool isChannelOpen(unsigned ch);
bool openDevice(uint32_t type, uint32_t index, uint32_t reserved);
void closeDevice();
bool setCanFdStandard(unsigned ch, uint32_t standard);
bool setBaudRate(unsigned ch, uint32_t arbitration, uint32_t data);
bool setCustomBaudRate(unsigned ch, const QString &text);
bool setTerminalResistance(unsigned ch, uint32_t value);
bool clearFilter(unsigned ch);
bool setFilterRange(unsigned ch, uint32_t mode, const QString &start, const QString &end);
bool ackFilter(unsigned ch);
bool initChannel(unsigned ch, uint32_t mode);
bool startChannel(unsigned ch);
bool resetChannel(unsigned ch);
uint32_t makeFrameId(uint32_t id, uint32_t extended, uint32_t remote, uint32_t third);
bool sendCan(unsigned ch, CanTransmitRecord *records, uint32_t count);
bool sendCanFd(unsigned ch, CanFdTransmitRecord *records, uint32_t count);
// The same calls with the driver's own answer: the number of records it
// accepted, the first ones of the array. For a caller that hands over batches
// of several frames and must know which went out (the bool wrappers above
// report a batch of more than one as a failure).
uint32_t sendCanCount(unsigned ch, CanTransmitRecord *records, uint32_t count);
uint32_t sendCanFdCount(unsigned ch, CanFdTransmitRecord *records, uint32_t count);
uint32_t receiveCan(unsigned ch, CanReceiveRecord *buffer, uint32_t capacity, int32_t waitMs);
uint32_t receiveCanFd(unsigned ch, CanFdReceiveRecord *buffer, uint32_t capacity, int32_t waitMs);
DeviceInfoRecord readDeviceInfo(DeviceInfoRecord &record);
uint16_t refreshDeviceInfo();
QString deviceInfoText();
QString versionText(uint16_t word);
bool updateDevice(uint32_t index);
