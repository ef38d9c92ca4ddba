// Minimal simulated adapter: one device of type 41 at index 0 that accepts
// configuration. The full bus simulation replaces this file.
#include "SimulatedAdapter.h"

#include <atomic>
#include <cstring>

namespace {
std::atomic<bool> g_open{false};

uint32_t KX_CALL simSetValue(const char *, const char *) { return 1; }
const char *KX_CALL simGetValue(const char *) { return ""; }
PropertyInterface g_props{simSetValue, simGetValue};

uint32_t KX_CALL openDevice(uint32_t type, uint32_t index, uint32_t)
{
    if (type != 41 || index != 0 || g_open.exchange(true))
        return 0;
    return 0x4100;
}
uint32_t KX_CALL closeDevice(uint32_t) { g_open = false; return 1; }
uint32_t KX_CALL getDeviceInfo(uint32_t dev, DeviceInfoRecord *info)
{
    if (!g_open || dev != 0x4100)
        return 0;
    std::memset(info, 0, sizeof *info);
    info->hwVersion = 0x0100;
    info->fwVersion = 0x0211;
    info->drVersion = 0x0117;
    info->inVersion = 0x0100;
    info->canNum = 2;
    std::memcpy(info->serialNumber, "HD2SIM0000000001", 16);
    std::strcpy(info->hwType, "Halden-D2");
    return 1;
}
uint32_t KX_CALL getDeviceStatus(uint32_t dev) { return (g_open && dev == 0x4100) ? 2 : 0; }
uint32_t KX_CALL initChannel(uint32_t dev, uint32_t ch, ChannelInitRecord *) { return (g_open && dev == 0x4100 && ch < 2) ? 0x100 + ch : 0; }
uint32_t KX_CALL startChannel(uint32_t h) { return h ? 1 : 0; }
uint32_t KX_CALL resetChannel(uint32_t h) { return h ? 1 : 0; }
uint32_t KX_CALL transmitCan(uint32_t h, CanTransmitRecord *, uint32_t n) { return h ? n : 0; }
uint32_t KX_CALL receiveCan(uint32_t, CanReceiveRecord *, uint32_t, int32_t) { return 0; }
uint32_t KX_CALL transmitCanFd(uint32_t h, CanFdTransmitRecord *, uint32_t n) { return h ? n : 0; }
uint32_t KX_CALL receiveCanFd(uint32_t, CanFdReceiveRecord *, uint32_t, int32_t) { return 0; }
PropertyInterface *KX_CALL getPropertyInterface(uint32_t dev) { return dev ? &g_props : nullptr; }
uint32_t KX_CALL updateDevice(uint32_t) { g_open = false; return 1; }
uint32_t KX_CALL setArbitrationBaud(uint32_t, uint32_t, uint32_t v) { return v <= 17 ? 1 : 0; }
uint32_t KX_CALL setDataBaud(uint32_t, uint32_t, uint32_t v) { return v <= 8 ? 1 : 0; }
uint32_t KX_CALL setCanFdStandard(uint32_t, uint32_t, uint32_t v) { return v <= 1 ? 1 : 0; }
uint32_t KX_CALL resetDriver() { g_open = false; return 1; }

const KestrixDriver g_table = {openDevice, closeDevice, getDeviceInfo, getDeviceStatus, initChannel,
    startChannel, resetChannel, transmitCan, receiveCan, transmitCanFd, receiveCanFd, getPropertyInterface,
    updateDevice, setArbitrationBaud, setDataBaud, setCanFdStandard, resetDriver};
} // namespace

const KestrixDriver *simulatedDriver()
{
    return &g_table;
}
