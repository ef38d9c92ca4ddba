#include "DeviceLayer.h"

#include "BusTiming.h"
#include "Interfaces.h"

#include <QDebug>
#include <QThread>
#include <algorithm>
#include <cstring>

namespace {
DeviceState g_state;

// The table in force before a back-end is installed: no adapter answers, every
// operation fails the way the driver reports a missing device.
uint32_t KX_CALL noOpen(uint32_t, uint32_t, uint32_t) { return 0; }
uint32_t KX_CALL noDevice(uint32_t) { return 0; }
uint32_t KX_CALL noInfo(uint32_t, DeviceInfoRecord *) { return 0; }
uint32_t KX_CALL noInit(uint32_t, uint32_t, ChannelInitRecord *) { return 0; }
uint32_t KX_CALL noTransmitCan(uint32_t, CanTransmitRecord *, uint32_t) { return 0; }
uint32_t KX_CALL noReceiveCan(uint32_t, CanReceiveRecord *, uint32_t, int32_t) { return 0; }
uint32_t KX_CALL noTransmitCanFd(uint32_t, CanFdTransmitRecord *, uint32_t) { return 0; }
uint32_t KX_CALL noReceiveCanFd(uint32_t, CanFdReceiveRecord *, uint32_t, int32_t) { return 0; }
PropertyInterface *KX_CALL noProperty(uint32_t) { return nullptr; }
uint32_t KX_CALL noSet(uint32_t, uint32_t, uint32_t) { return 0; }
uint32_t KX_CALL noReset() { return 0; }

const KestrixDriver kNoDriver = { noOpen, noDevice, noInfo, noDevice, noInit, noDevice, noDevice, noTransmitCan,
    noReceiveCan, noTransmitCanFd, noReceiveCanFd, noProperty, noDevice, noSet, noSet, noSet, noReset };

std::atomic<const KestrixDriver *> g_driver { &kNoDriver };
std::atomic<const KestrixExtension *> g_extension { nullptr };

// Written and read by the GUI thread only (configuration and statistics).
ChannelRates g_rates[2];

QByteArray channelPath(unsigned ch, const char *name)
{
    QByteArray path(ch ? "1" : "0");
    path += name;
    return path;
}

bool writeProperty(unsigned ch, const char *name, const QByteArray &value)
{
    PropertyInterface *prop = g_state.property.load();
    if (!prop || !prop->SetValue)
        return false;
    return prop->SetValue(channelPath(ch, name).constData(), value.constData()) == 1;
}

uint32_t handleOf(unsigned ch) { return g_state.channelHandle[ch ? 1 : 0].load(); }
} // namespace

const KestrixDriver &driver() { return *g_driver.load(std::memory_order_acquire); }

void installDriver(const KestrixDriver *table, const KestrixExtension *extension)
{
    g_extension.store(table ? extension : nullptr, std::memory_order_release);
    g_driver.store(table ? table : &kNoDriver, std::memory_order_release);
}

bool hasBusCounters()
{
    const KestrixExtension *ext = g_extension.load(std::memory_order_acquire);
    return ext && ext->ReadBusCounters;
}

bool readBusCounters(unsigned ch, BusCounters &counters)
{
    const KestrixExtension *ext = g_extension.load(std::memory_order_acquire);
    const uint32_t handle = handleOf(ch);
    if (!ext || !ext->ReadBusCounters || handle == 0)
        return false;
    BusCounters read {};
    if (ext->ReadBusCounters(handle, &read) != 1)
        return false;
    counters = read;
    return true;
}

ChannelRates configuredRates(unsigned ch) { return g_rates[ch ? 1 : 0]; }

DeviceState &deviceState() { return g_state; }

void resetDeviceState()
{
    g_state.property = nullptr;
    g_state.channelHandle[0] = 0;
    g_state.channelHandle[1] = 0;
    g_state.deviceHandle = 0;
    g_state.infoText.clear();
    std::memset(&g_state.initRecord, 0, sizeof g_state.initRecord);
    g_rates[0] = g_rates[1] = ChannelRates();
}

bool isDeviceOpen() { return g_state.deviceHandle.load() != 0; }

bool isChannelOpen(unsigned ch) { return handleOf(ch) != 0; }

bool openDevice(uint32_t type, uint32_t index, uint32_t reserved)
{
    if (isDeviceOpen())
        return false;
    const KestrixDriver &d = driver();
    g_state.deviceHandle = d.OpenDevice(type, index, reserved);
    if (g_state.deviceHandle == 0) {
        d.ResetDriver();
        QThread::msleep(10);
        g_state.deviceHandle = d.OpenDevice(type, index, reserved);
        if (g_state.deviceHandle == 0)
            return false;
    }
    g_state.property = d.GetPropertyInterface(g_state.deviceHandle);
    if (g_state.property.load())
        return true;
    // The handle stays stored on purpose: the device counts as open until closeDevice().
    d.CloseDevice(g_state.deviceHandle);
    return false;
}

void closeDevice()
{
    driver().CloseDevice(g_state.deviceHandle);
    resetDeviceState();
}

bool setCanFdStandard(unsigned ch, uint32_t standard)
{
    return driver().SetCanFdStandard(g_state.deviceHandle, ch ? 1 : 0, standard) == 1;
}

bool setBaudRate(unsigned ch, uint32_t arbitration, uint32_t data)
{
    const KestrixDriver &d = driver();
    ChannelRates &rates = g_rates[ch ? 1 : 0];
    if (d.SetArbitrationBaud(g_state.deviceHandle, ch ? 1 : 0, arbitration) != 1)
        return false;
    rates.arbitration = BusTiming::arbitrationRate(arbitration);
    if (d.SetDataBaud(g_state.deviceHandle, ch ? 1 : 0, data) != 1)
        return false;
    rates.data = BusTiming::dataRate(data);
    return true;
}

bool setCustomBaudRate(unsigned ch, const QString &text)
{
    if (!writeProperty(ch, "/baud_rate_custom", text.toUtf8()))
        return false;
    g_rates[ch ? 1 : 0] = ChannelRates();
    return true;
}

bool setTerminalResistance(unsigned ch, uint32_t value)
{
    // The driver matches this misspelt name literally.
    return writeProperty(ch, "/initenal_resistance", QByteArray::number(value));
}

bool clearFilter(unsigned ch) { return writeProperty(ch, "/filter_clear", "0"); }

bool setFilterRange(unsigned ch, uint32_t mode, const QString &start, const QString &end)
{
    return writeProperty(ch, "/filter_mode", QByteArray::number(mode))
        && writeProperty(ch, "/filter_start", start.toUtf8()) && writeProperty(ch, "/filter_end", end.toUtf8());
}

bool ackFilter(unsigned ch) { return writeProperty(ch, "/filter_ack", "0"); }

bool initChannel(unsigned ch, uint32_t mode)
{
    ChannelInitRecord &rec = g_state.initRecord;
    rec.channelType = 1;
    rec.workMode = static_cast<uint8_t>(mode);
    rec.workModeCopy = static_cast<uint8_t>(mode);
    const uint32_t handle = driver().InitChannel(g_state.deviceHandle, ch ? 1 : 0, &rec);
    g_state.channelHandle[ch ? 1 : 0] = handle;
    return handle != 0;
}

bool startChannel(unsigned ch) { return driver().StartChannel(handleOf(ch)) == 1; }

bool resetChannel(unsigned ch)
{
    if (driver().ResetChannel(handleOf(ch)) != 1)
        return false;
    g_state.channelHandle[ch ? 1 : 0] = 0;
    return true;
}

uint32_t makeFrameId(uint32_t id, uint32_t extended, uint32_t remote, uint32_t third)
{
    return id | (uint32_t(extended != 0) << 31) | (uint32_t(remote != 0) << 30) | (uint32_t(third != 0) << 29);
}

// Both send wrappers report success only for an answer of exactly 1, whatever
// count was passed: callers keep the result as a flag, never as a frame count.
bool sendCan(unsigned ch, CanTransmitRecord *records, uint32_t count)
{
    return driver().TransmitCan(handleOf(ch), records, count) == 1;
}

bool sendCanFd(unsigned ch, CanFdTransmitRecord *records, uint32_t count)
{
    return driver().TransmitCanFd(handleOf(ch), records, count) == 1;
}

uint32_t sendCanCount(unsigned ch, CanTransmitRecord *records, uint32_t count)
{
    return std::min(driver().TransmitCan(handleOf(ch), records, count), count);
}

uint32_t sendCanFdCount(unsigned ch, CanFdTransmitRecord *records, uint32_t count)
{
    return std::min(driver().TransmitCanFd(handleOf(ch), records, count), count);
}

uint32_t receiveCan(unsigned ch, CanReceiveRecord *buffer, uint32_t capacity, int32_t waitMs)
{
    return driver().ReceiveCan(handleOf(ch), buffer, capacity, waitMs);
}

uint32_t receiveCanFd(unsigned ch, CanFdReceiveRecord *buffer, uint32_t capacity, int32_t waitMs)
{
    return driver().ReceiveCanFd(handleOf(ch), buffer, capacity, waitMs);
}

DeviceInfoRecord readDeviceInfo(DeviceInfoRecord &record)
{
    if (driver().GetDeviceInfo(g_state.deviceHandle, &record) != 1)
        std::memset(&record, 0, sizeof record);
    return record;
}

uint16_t refreshDeviceInfo()
{
    const KestrixDriver &d = driver();
    if (d.GetDeviceStatus(g_state.deviceHandle) != 2)
        return 0;
    DeviceInfoRecord rec {};
    d.GetDeviceInfo(g_state.deviceHandle, &rec);
    if (!Interfaces::isHaldenD2()) {
        // An interface has no serial number or versions: its names stand in for them.
        g_state.infoText = Interfaces::mappingText(Interfaces::current());
        return rec.fwVersion;
    }
    QString serial = QString::fromLatin1(rec.serialNumber, sizeof rec.serialNumber);
    serial.remove(QLatin1Char(' '));
    g_state.infoText = QStringLiteral("SN:") + serial + QStringLiteral(", DriverLib:") + versionText(rec.drVersion)
        + QStringLiteral(", Firmware:") + versionText(rec.fwVersion);
    return rec.fwVersion;
}

QString deviceInfoText()
{
    if (driver().GetDeviceStatus(g_state.deviceHandle) != 2)
        return QString();
    return g_state.infoText;
}

QString versionText(uint16_t word)
{
    return QStringLiteral("V%1.%2%3")
        .arg((word >> 8) & 0xF, 0, 16)
        .arg((word >> 4) & 0xF, 0, 16)
        .arg(word & 0xF, 0, 16);
}

bool updateDevice(uint32_t index)
{
    qDebug("isDeviceOpend:%d", isDeviceOpen() ? 1 : 0);
    if (!isDeviceOpen())
        openDevice(41, index, 0);
    qDebug("isDeviceOpend:%d", isDeviceOpen() ? 1 : 0);
    if (!isDeviceOpen())
        return false;
    return driver().UpdateDevice(g_state.deviceHandle) == 1;
}
