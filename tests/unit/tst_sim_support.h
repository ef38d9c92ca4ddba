#pragma once
// Shared by the simulated-adapter tests: bring the bus up through the device
// layer, build transmit records, collect received records.

#include "DeviceLayer.h"
#include "SimControl.h"
#include "SimulatedAdapter.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QString>
#include <QVector>
#include <algorithm>
#include <cstring>

namespace simtest {

inline const KestrixDriver &kx()
{
    return *simulatedDriver();
}

struct ChannelSetup {
    uint32_t arbitration = 0;
    uint32_t data = 0;
    QString custom;       // non-empty: custom bit-timing text instead of the indexes
    uint32_t mode = 0;    // 0 normal, 1 listen-only
    bool start = true;
};

// Opens the adapter and configures both channels in the order the open
// dialog uses.
inline bool openBus(const ChannelSetup &a = {}, const ChannelSetup &b = {})
{
    if (!openDevice(41, 0, 0))
        return false;
    const ChannelSetup setup[2] = {a, b};
    for (unsigned ch = 0; ch < 2; ++ch) {
        const ChannelSetup &s = setup[ch];
        const bool rates = s.custom.isEmpty() ? setBaudRate(ch, s.arbitration, s.data) : setCustomBaudRate(ch, s.custom);
        if (!setCanFdStandard(ch, 0) || !rates || !initChannel(ch, s.mode))
            return false;
        if (s.start && !startChannel(ch))
            return false;
    }
    return true;
}

inline uint32_t handle(unsigned ch)
{
    return deviceState().channelHandle[ch].load();
}

inline CanTransmitRecord canTx(uint32_t idWord, const QByteArray &data, uint32_t type = 0)
{
    CanTransmitRecord r;
    std::memset(&r, 0, sizeof r);
    r.id = idWord;
    r.length = static_cast<uint8_t>(data.size());
    std::memcpy(r.data, data.constData(), std::min<size_t>(8, size_t(data.size())));
    r.transmitType = type;
    return r;
}

inline CanFdTransmitRecord fdTx(uint32_t idWord, const QByteArray &data, bool brs, uint32_t type = 0)
{
    CanFdTransmitRecord r;
    std::memset(&r, 0, sizeof r);
    r.id = idWord;
    r.length = static_cast<uint8_t>(data.size());
    r.flags = brs ? 1 : 0;
    std::memcpy(r.data, data.constData(), std::min<size_t>(64, size_t(data.size())));
    r.transmitType = type;
    return r;
}

inline uint32_t readRecords(unsigned ch, CanReceiveRecord *buffer, uint32_t capacity, int32_t waitMs)
{
    return receiveCan(ch, buffer, capacity, waitMs);
}

inline uint32_t readRecords(unsigned ch, CanFdReceiveRecord *buffer, uint32_t capacity, int32_t waitMs)
{
    return receiveCanFd(ch, buffer, capacity, waitMs);
}

// Receives until `count` records arrived or the time is up; returns what came.
template <typename Record>
QVector<Record> collect(unsigned ch, int count, int timeoutMs = 5000)
{
    QVector<Record> got;
    QVector<Record> buffer(1000);
    QElapsedTimer timer;
    timer.start();
    while (got.size() < count && timer.elapsed() < timeoutMs) {
        const uint32_t room = uint32_t(std::min(buffer.size(), count - got.size()));
        const uint32_t n = readRecords(ch, buffer.data(), room, 20);
        for (uint32_t i = 0; i < n; ++i)
            got.append(buffer[int(i)]);
    }
    return got;
}

// Whatever is queued right now, without waiting.
template <typename Record>
QVector<Record> queued(unsigned ch)
{
    QVector<Record> got;
    QVector<Record> buffer(1000);
    while (const uint32_t n = readRecords(ch, buffer.data(), uint32_t(buffer.size()), 0)) {
        for (uint32_t i = 0; i < n; ++i)
            got.append(buffer[int(i)]);
    }
    return got;
}

template <typename Record>
QByteArray bytesOf(const Record &record, int count)
{
    return QByteArray(reinterpret_cast<const char *>(&record), count);
}

} // namespace simtest
