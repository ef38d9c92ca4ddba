#include "FakeDriver.h"

#include "DeviceLayer.h"

#include <QElapsedTimer>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>
#include <algorithm>
#include <deque>

namespace FakeDriver {

namespace {
    struct State {
        QMutex lock;
        QElapsedTimer clock;
        QList<Call> calls;
        QHash<QString, uint32_t> results;
        QHash<QString, QList<uint32_t>> queued;
        std::deque<std::vector<CanReceiveRecord>> canReads[2];
        std::deque<std::vector<CanFdReceiveRecord>> fdReads[2];
        DeviceInfoRecord info {};
    };

    State &state()
    {
        static State s;
        return s;
    }

    const QHash<QString, uint32_t> &defaults()
    {
        static const QHash<QString, uint32_t> d = {
            { QStringLiteral("OpenDevice"), 1 },
            { QStringLiteral("CloseDevice"), 1 },
            { QStringLiteral("GetDeviceInfo"), 1 },
            { QStringLiteral("GetDeviceStatus"), 2 },
            { QStringLiteral("StartChannel"), 1 },
            { QStringLiteral("ResetChannel"), 1 },
            { QStringLiteral("TransmitCan"), 1 },
            { QStringLiteral("TransmitCanFd"), 1 },
            { QStringLiteral("GetPropertyInterface"), 1 },
            { QStringLiteral("UpdateDevice"), 1 },
            { QStringLiteral("SetArbitrationBaud"), 1 },
            { QStringLiteral("SetDataBaud"), 1 },
            { QStringLiteral("SetCanFdStandard"), 1 },
            { QStringLiteral("ResetDriver"), 0 },
            { QStringLiteral("SetValue"), 1 },
        };
        return d;
    }

    // Records the call and returns its scripted answer; the caller holds no lock.
    uint32_t record(Call call, uint32_t fallback)
    {
        State &s = state();
        QMutexLocker lock(&s.lock);
        call.nsecs = s.clock.nsecsElapsed();
        const QString name = call.name;
        s.calls.append(std::move(call));
        auto q = s.queued.find(name);
        if (q != s.queued.end() && !q->isEmpty())
            return q->takeFirst();
        auto r = s.results.constFind(name);
        if (r != s.results.cend())
            return r.value();
        return defaults().value(name, fallback);
    }

    int channelOf(uint32_t handle)
    {
        if (handle == channelHandle(0))
            return 0;
        if (handle == channelHandle(1))
            return 1;
        return -1;
    }

    Call makeCall(const char *name, std::initializer_list<quint64> args)
    {
        Call c;
        c.name = QString::fromLatin1(name);
        c.args = QVector<quint64>(args);
        return c;
    }

    template <typename Record>
    uint32_t takeRead(std::deque<std::vector<Record>> &reads, Record *buffer, uint32_t capacity)
    {
        if (reads.empty() || !buffer)
            return 0;
        std::vector<Record> &front = reads.front();
        const size_t n = std::min<size_t>(front.size(), capacity);
        std::memcpy(buffer, front.data(), n * sizeof(Record));
        if (n == front.size())
            reads.pop_front();
        else
            front.erase(front.begin(), front.begin() + std::ptrdiff_t(n));
        return uint32_t(n);
    }

    uint32_t KX_CALL setValue(const char *path, const char *value)
    {
        Call c = makeCall("SetValue", {});
        c.path = QString::fromUtf8(path);
        c.value = QString::fromUtf8(value);
        return record(c, 1);
    }

    const char *KX_CALL getValue(const char *) { return ""; }

    PropertyInterface g_property = { setValue, getValue };

    uint32_t KX_CALL openDevice(uint32_t type, uint32_t index, uint32_t reserved)
    {
        return record(makeCall("OpenDevice", { type, index, reserved }), 1);
    }

    uint32_t KX_CALL closeDevice(uint32_t device) { return record(makeCall("CloseDevice", { device }), 1); }

    uint32_t KX_CALL getDeviceInfo(uint32_t device, DeviceInfoRecord *info)
    {
        const uint32_t result = record(makeCall("GetDeviceInfo", { device }), 1);
        if (info) {
            QMutexLocker lock(&state().lock);
            *info = state().info;
        }
        return result;
    }

    uint32_t KX_CALL getDeviceStatus(uint32_t device) { return record(makeCall("GetDeviceStatus", { device }), 2); }

    uint32_t KX_CALL initChannel(uint32_t device, uint32_t channel, ChannelInitRecord *init)
    {
        Call c = makeCall("InitChannel", { device, channel });
        if (init)
            c.records = QByteArray(reinterpret_cast<const char *>(init), sizeof *init);
        return record(c, channelHandle(channel));
    }

    uint32_t KX_CALL startChannel(uint32_t handle) { return record(makeCall("StartChannel", { handle }), 1); }

    uint32_t KX_CALL resetChannel(uint32_t handle) { return record(makeCall("ResetChannel", { handle }), 1); }

    uint32_t KX_CALL transmitCan(uint32_t handle, CanTransmitRecord *records, uint32_t count)
    {
        Call c = makeCall("TransmitCan", { handle, count });
        if (records)
            c.records = QByteArray(reinterpret_cast<const char *>(records), int(count * sizeof(CanTransmitRecord)));
        return record(c, 1);
    }

    uint32_t KX_CALL transmitCanFd(uint32_t handle, CanFdTransmitRecord *records, uint32_t count)
    {
        Call c = makeCall("TransmitCanFd", { handle, count });
        if (records)
            c.records = QByteArray(reinterpret_cast<const char *>(records), int(count * sizeof(CanFdTransmitRecord)));
        return record(c, 1);
    }

    uint32_t KX_CALL receiveCan(uint32_t handle, CanReceiveRecord *buffer, uint32_t capacity, int32_t waitMs)
    {
        const quint64 wait = quint64(qint64(waitMs));
        record(makeCall("ReceiveCan", { handle, capacity, wait }), 0);
        const int ch = channelOf(handle);
        if (ch < 0)
            return 0;
        QMutexLocker lock(&state().lock);
        return takeRead(state().canReads[ch], buffer, capacity);
    }

    uint32_t KX_CALL receiveCanFd(uint32_t handle, CanFdReceiveRecord *buffer, uint32_t capacity, int32_t waitMs)
    {
        const quint64 wait = quint64(qint64(waitMs));
        record(makeCall("ReceiveCanFd", { handle, capacity, wait }), 0);
        const int ch = channelOf(handle);
        if (ch < 0)
            return 0;
        QMutexLocker lock(&state().lock);
        return takeRead(state().fdReads[ch], buffer, capacity);
    }

    PropertyInterface *KX_CALL getPropertyInterface(uint32_t device)
    {
        return record(makeCall("GetPropertyInterface", { device }), 1) ? &g_property : nullptr;
    }

    uint32_t KX_CALL updateDevice(uint32_t device) { return record(makeCall("UpdateDevice", { device }), 1); }

    uint32_t KX_CALL setArbitrationBaud(uint32_t device, uint32_t channel, uint32_t value)
    {
        return record(makeCall("SetArbitrationBaud", { device, channel, value }), 1);
    }

    uint32_t KX_CALL setDataBaud(uint32_t device, uint32_t channel, uint32_t value)
    {
        return record(makeCall("SetDataBaud", { device, channel, value }), 1);
    }

    uint32_t KX_CALL setCanFdStandard(uint32_t device, uint32_t channel, uint32_t value)
    {
        return record(makeCall("SetCanFdStandard", { device, channel, value }), 1);
    }

    uint32_t KX_CALL resetDriver() { return record(makeCall("ResetDriver", {}), 0); }

    const KestrixDriver g_table = { openDevice, closeDevice, getDeviceInfo, getDeviceStatus, initChannel, startChannel,
        resetChannel, transmitCan, receiveCan, transmitCanFd, receiveCanFd, getPropertyInterface, updateDevice,
        setArbitrationBaud, setDataBaud, setCanFdStandard, resetDriver };
} // namespace

void install()
{
    reset();
    installDriver(&g_table);
}

void reset()
{
    State &s = state();
    QMutexLocker lock(&s.lock);
    s.clock.start();
    s.calls.clear();
    s.results.clear();
    s.queued.clear();
    for (int ch = 0; ch < 2; ++ch) {
        s.canReads[ch].clear();
        s.fdReads[ch].clear();
    }
    s.info = DeviceInfoRecord {};
}

const KestrixDriver *table() { return &g_table; }

QList<Call> calls()
{
    QMutexLocker lock(&state().lock);
    return state().calls;
}

QList<Call> calls(const QString &name)
{
    QMutexLocker lock(&state().lock);
    QList<Call> out;
    for (const Call &c : qAsConst(state().calls)) {
        if (c.name == name)
            out.append(c);
    }
    return out;
}

int callCount(const QString &name)
{
    QMutexLocker lock(&state().lock);
    return int(
        std::count_if(state().calls.cbegin(), state().calls.cend(), [&](const Call &c) { return c.name == name; }));
}

void clearCalls()
{
    QMutexLocker lock(&state().lock);
    state().calls.clear();
}

void setResult(const QString &name, uint32_t value)
{
    QMutexLocker lock(&state().lock);
    state().results.insert(name, value);
}

void queueResults(const QString &name, const QList<uint32_t> &values)
{
    QMutexLocker lock(&state().lock);
    state().queued[name].append(values);
}

uint32_t channelHandle(unsigned channel) { return 0x100u + (channel ? 1u : 0u); }

void openChannels(bool channel0, bool channel1)
{
    DeviceState &ds = deviceState();
    ds.deviceHandle = 1;
    ds.channelHandle[0] = channel0 ? channelHandle(0) : 0;
    ds.channelHandle[1] = channel1 ? channelHandle(1) : 0;
}

void queueCanRead(unsigned channel, const std::vector<CanReceiveRecord> &records)
{
    QMutexLocker lock(&state().lock);
    state().canReads[channel ? 1 : 0].push_back(records);
}

void queueCanFdRead(unsigned channel, const std::vector<CanFdReceiveRecord> &records)
{
    QMutexLocker lock(&state().lock);
    state().fdReads[channel ? 1 : 0].push_back(records);
}

int queuedReads(unsigned channel)
{
    QMutexLocker lock(&state().lock);
    const unsigned ch = channel ? 1 : 0;
    return int(state().canReads[ch].size() + state().fdReads[ch].size());
}

void setDeviceInfo(const DeviceInfoRecord &info)
{
    QMutexLocker lock(&state().lock);
    state().info = info;
}

CanReceiveRecord canRecord(uint32_t idWord, const QByteArray &data, quint64 timestamp)
{
    CanReceiveRecord r {};
    r.id = idWord;
    r.length = uint8_t(data.size());
    std::memcpy(r.data, data.constData(), std::min<size_t>(size_t(data.size()), sizeof r.data));
    r.timestamp = timestamp;
    return r;
}

CanFdReceiveRecord canFdRecord(uint32_t idWord, const QByteArray &data, uint8_t flags, quint64 timestamp)
{
    CanFdReceiveRecord r {};
    r.id = idWord;
    r.length = uint8_t(data.size());
    r.flags = flags;
    std::memcpy(r.data, data.constData(), std::min<size_t>(size_t(data.size()), sizeof r.data));
    r.timestamp = timestamp;
    return r;
}

}
