// The driver table of the built-in simulated Halden-D2: the 17 operations of
// the driver library, each forwarded to the one SimAdapter.
#include "SimulatedAdapter.h"

#include "Interfaces.h"

#include "SimAdapter.h"

#include <string>

namespace {

SimAdapter &sim() { return SimAdapter::instance(); }

uint32_t KX_CALL simSetValue(const char *path, const char *value) { return sim().setValue(path, value); }

// The driver hands out a pointer that stays valid until the next call; one
// buffer per calling thread gives the same guarantee without a lock.
const char *KX_CALL simGetValue(const char *path)
{
    thread_local std::string text;
    text = sim().value(path);
    return text.c_str();
}

PropertyInterface g_properties { simSetValue, simGetValue };

uint32_t KX_CALL openDevice(uint32_t type, uint32_t index, uint32_t) { return sim().openDevice(type, index); }

uint32_t KX_CALL closeDevice(uint32_t device) { return sim().closeDevice(device); }

uint32_t KX_CALL getDeviceInfo(uint32_t device, DeviceInfoRecord *info) { return sim().deviceInfo(device, info); }

uint32_t KX_CALL getDeviceStatus(uint32_t device) { return sim().deviceStatus(device); }

uint32_t KX_CALL initChannel(uint32_t device, uint32_t channel, ChannelInitRecord *record)
{
    return sim().initChannel(device, channel, record);
}

uint32_t KX_CALL startChannel(uint32_t handle) { return sim().startChannel(handle); }

uint32_t KX_CALL resetChannel(uint32_t handle) { return sim().resetChannel(handle); }

uint32_t KX_CALL transmitCan(uint32_t handle, CanTransmitRecord *records, uint32_t count)
{
    return sim().transmitCan(handle, records, count);
}

uint32_t KX_CALL receiveCan(uint32_t handle, CanReceiveRecord *records, uint32_t capacity, int32_t waitMs)
{
    return sim().receiveCan(handle, records, capacity, waitMs);
}

uint32_t KX_CALL transmitCanFd(uint32_t handle, CanFdTransmitRecord *records, uint32_t count)
{
    return sim().transmitCanFd(handle, records, count);
}

uint32_t KX_CALL receiveCanFd(uint32_t handle, CanFdReceiveRecord *records, uint32_t capacity, int32_t waitMs)
{
    return sim().receiveCanFd(handle, records, capacity, waitMs);
}

PropertyInterface *KX_CALL getPropertyInterface(uint32_t device)
{
    return sim().isOpenDevice(device) ? &g_properties : nullptr;
}

uint32_t KX_CALL updateDevice(uint32_t device) { return sim().updateDevice(device); }

uint32_t KX_CALL setArbitrationBaud(uint32_t device, uint32_t channel, uint32_t value)
{
    return sim().setArbitrationBaud(device, channel, value);
}

uint32_t KX_CALL setDataBaud(uint32_t device, uint32_t channel, uint32_t value)
{
    return sim().setDataBaud(device, channel, value);
}

uint32_t KX_CALL setCanFdStandard(uint32_t device, uint32_t channel, uint32_t value)
{
    return sim().setCanFdStandard(device, channel, value);
}

uint32_t KX_CALL resetDriver() { return sim().resetDriver(); }

const KestrixDriver g_table = { openDevice, closeDevice, getDeviceInfo, getDeviceStatus, initChannel, startChannel,
    resetChannel, transmitCan, receiveCan, transmitCanFd, receiveCanFd, getPropertyInterface, updateDevice,
    setArbitrationBaud, setDataBaud, setCanFdStandard, resetDriver };

uint32_t KX_CALL readBusCounters(uint32_t handle, BusCounters *counters)
{
    return sim().readBusCounters(handle, counters);
}

const KestrixExtension g_extension = { readBusCounters };

} // namespace

const KestrixDriver *simulatedDriver() { return &g_table; }

const KestrixExtension *simulatedExtension() { return &g_extension; }

Interfaces::Backend simulatedBackend()
{
    Interfaces::Backend sim;
    sim.key = QStringLiteral("sim");
    sim.haldenD2 = true;
    sim.driverFor = [](Interfaces::Mapping &) { return simulatedDriver(); };
    sim.extension = simulatedExtension();
    return sim;
}
