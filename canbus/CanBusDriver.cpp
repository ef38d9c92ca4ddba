// The driver table of the QtSerialBus back-end: the 17 operations of the
// adapter's driver library, each forwarded to CanBusAdapter, and the registry
// entry that lists the plugins and their interfaces.
#include "CanBusAdapter.h"

#include <QCanBus>
#include <string>

namespace {

CanBusAdapter &bus() { return CanBusAdapter::instance(); }

uint32_t KX_CALL busSetValue(const char *path, const char *value) { return bus().setValue(path, value); }

// The pointer stays valid until the calling thread's next call.
const char *KX_CALL busGetValue(const char *path)
{
    thread_local std::string text;
    text = bus().value(path);
    return text.c_str();
}

PropertyInterface g_properties { busSetValue, busGetValue };

uint32_t KX_CALL openDevice(uint32_t type, uint32_t index, uint32_t) { return bus().openDevice(type, index); }
uint32_t KX_CALL closeDevice(uint32_t device) { return bus().closeDevice(device); }
uint32_t KX_CALL getDeviceInfo(uint32_t device, DeviceInfoRecord *info) { return bus().deviceInfo(device, info); }
uint32_t KX_CALL getDeviceStatus(uint32_t device) { return bus().deviceStatus(device); }
uint32_t KX_CALL initChannel(uint32_t device, uint32_t channel, ChannelInitRecord *record)
{
    return bus().initChannel(device, channel, record);
}
uint32_t KX_CALL startChannel(uint32_t handle) { return bus().startChannel(handle); }
uint32_t KX_CALL resetChannel(uint32_t handle) { return bus().resetChannel(handle); }
uint32_t KX_CALL transmitCan(uint32_t handle, CanTransmitRecord *records, uint32_t count)
{
    return bus().transmitCan(handle, records, count);
}
uint32_t KX_CALL receiveCan(uint32_t handle, CanReceiveRecord *records, uint32_t capacity, int32_t waitMs)
{
    return bus().receiveCan(handle, records, capacity, waitMs);
}
uint32_t KX_CALL transmitCanFd(uint32_t handle, CanFdTransmitRecord *records, uint32_t count)
{
    return bus().transmitCanFd(handle, records, count);
}
uint32_t KX_CALL receiveCanFd(uint32_t handle, CanFdReceiveRecord *records, uint32_t capacity, int32_t waitMs)
{
    return bus().receiveCanFd(handle, records, capacity, waitMs);
}
PropertyInterface *KX_CALL getPropertyInterface(uint32_t device)
{
    return bus().isOpenDevice(device) ? &g_properties : nullptr;
}
// An interface has no firmware of ours to update.
uint32_t KX_CALL updateDevice(uint32_t) { return 0; }
uint32_t KX_CALL setArbitrationBaud(uint32_t device, uint32_t channel, uint32_t value)
{
    return bus().setArbitrationBaud(device, channel, value);
}
uint32_t KX_CALL setDataBaud(uint32_t device, uint32_t channel, uint32_t value)
{
    return bus().setDataBaud(device, channel, value);
}
uint32_t KX_CALL setCanFdStandard(uint32_t device, uint32_t channel, uint32_t value)
{
    return bus().setCanFdStandard(device, channel, value);
}
uint32_t KX_CALL resetDriver() { return 1; }

const KestrixDriver g_table = { openDevice, closeDevice, getDeviceInfo, getDeviceStatus, initChannel, startChannel,
    resetChannel, transmitCan, receiveCan, transmitCanFd, receiveCanFd, getPropertyInterface, updateDevice,
    setArbitrationBaud, setDataBaud, setCanFdStandard, resetDriver };

uint32_t KX_CALL readBusCounters(uint32_t handle, BusCounters *counters)
{
    return bus().readBusCounters(handle, counters);
}

const KestrixExtension g_extension = { readBusCounters };

QList<Interfaces::Interface> listInterfaces()
{
    QList<Interfaces::Interface> out;
    const QStringList plugins = QCanBus::instance()->plugins();
    for (const QString &plugin : plugins) {
        QString error;
        const QList<QCanBusDeviceInfo> found = QCanBus::instance()->availableDevices(plugin, &error);
        for (const QCanBusDeviceInfo &info : found)
            out.append(Interfaces::Interface { plugin, info.name(), info.description() });
    }
    return out;
}

} // namespace

const KestrixDriver *canBusDriver() { return &g_table; }

const KestrixExtension *canBusExtension() { return &g_extension; }

Interfaces::Backend canBusBackend()
{
    Interfaces::Backend b;
    b.key = QStringLiteral("canbus");
    b.haldenD2 = false;
    b.extension = &g_extension;
    b.plugins = [] { return QCanBus::instance()->plugins(); };
    b.interfaces = listInterfaces;
    b.driverFor = [](Interfaces::Mapping &m) -> const KestrixDriver * {
        if (m.channel[0].plugin.isEmpty() || m.channel[0].name.isEmpty())
            return nullptr;
        // The description is what the plugin says now; the settings keep only the names.
        const QList<Interfaces::Interface> found = listInterfaces();
        for (Interfaces::Interface &itf : m.channel) {
            if (itf.plugin.isEmpty())
                itf = Interfaces::Interface();
            for (const Interfaces::Interface &f : found)
                if (f == itf)
                    itf.description = f.description;
        }
        bus().setMapping(m);
        return &g_table;
    };
    return b;
}
