#include "FakeDriver.h"

#include "DeviceLayer.h"
#include "SimulatedAdapter.h"

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
        QHash<QString, uint32_t> results, propertyResults;
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

    // Records the call and returns its scripted answer, else `fallback`.
    uint32_t record(Call call, uint32_t fallback)
    {
        State &s = state();
        QMutexLocker lock(&s.lock);
        call.nsecs = s.clock.nsecsElapsed();
        const QString name = call.name;
        const QString path = call.path;
        s.calls.append(std::move(call));
        auto q = s.queued.find(name);
        if (q != s.queued.end() && !q->isEmpty())
            return q->takeFirst();
        if (name == QLatin1String("SetValue") && s.propertyResults.contains(path))
            return s.propertyResults.value(path);
        return s.results.value(name, fallback);
    }

    Call makeCall(const char *name, std::initializer_list<quint64> args, const void *bytes = nullptr, size_t size = 0)
    {
        Call c;
        c.name = QString::fromLatin1(name);
        c.args = QVector<quint64>(args);
        if (bytes)
            c.records = QByteArray(static_cast<const char *>(bytes), int(size));
        return c;
    }

    template <typename Record>
    uint32_t takeRead(uint32_t handle, std::deque<std::vector<Record>> (&all)[2], Record *buffer, uint32_t capacity)
    {
        if (handle != channelHandle(0) && handle != channelHandle(1))
            return 0;
        QMutexLocker lock(&state().lock);
        auto &reads = all[handle - channelHandle(0)];
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

    Call named(const char *name, std::initializer_list<quint64> args) { return makeCall(name, args); }

    uint32_t KX_CALL openDevice(uint32_t t, uint32_t i, uint32_t r)
    {
        return record(named("OpenDevice", { t, i, r }), 1);
    }
    uint32_t KX_CALL closeDevice(uint32_t d) { return record(named("CloseDevice", { d }), 1); }
    uint32_t KX_CALL getDeviceInfo(uint32_t d, DeviceInfoRecord *info)
    {
        const uint32_t result = record(named("GetDeviceInfo", { d }), 1);
        QMutexLocker lock(&state().lock);
        *info = state().info;
        return result;
    }
    uint32_t KX_CALL getDeviceStatus(uint32_t d) { return record(named("GetDeviceStatus", { d }), 2); }
    uint32_t KX_CALL initChannel(uint32_t d, uint32_t ch, ChannelInitRecord *r)
    {
        return record(makeCall("InitChannel", { d, ch }, r, sizeof *r), channelHandle(ch));
    }
    uint32_t KX_CALL startChannel(uint32_t h) { return record(named("StartChannel", { h }), 1); }
    uint32_t KX_CALL resetChannel(uint32_t h) { return record(named("ResetChannel", { h }), 1); }
    uint32_t KX_CALL transmitCan(uint32_t h, CanTransmitRecord *r, uint32_t n)
    {
        return record(makeCall("TransmitCan", { h, n }, r, n * sizeof *r), 1);
    }
    uint32_t KX_CALL transmitCanFd(uint32_t h, CanFdTransmitRecord *r, uint32_t n)
    {
        return record(makeCall("TransmitCanFd", { h, n }, r, n * sizeof *r), 1);
    }
    uint32_t KX_CALL receiveCan(uint32_t h, CanReceiveRecord *buffer, uint32_t capacity, int32_t wait)
    {
        record(named("ReceiveCan", { h, capacity, quint64(qint64(wait)) }), 0);
        return takeRead(h, state().canReads, buffer, capacity);
    }
    uint32_t KX_CALL receiveCanFd(uint32_t h, CanFdReceiveRecord *buffer, uint32_t capacity, int32_t wait)
    {
        record(named("ReceiveCanFd", { h, capacity, quint64(qint64(wait)) }), 0);
        return takeRead(h, state().fdReads, buffer, capacity);
    }
    PropertyInterface *KX_CALL getPropertyInterface(uint32_t d)
    {
        return record(named("GetPropertyInterface", { d }), 1) ? &g_property : nullptr;
    }
    uint32_t KX_CALL updateDevice(uint32_t d) { return record(named("UpdateDevice", { d }), 1); }
    uint32_t KX_CALL setArbitrationBaud(uint32_t d, uint32_t c, uint32_t v)
    {
        return record(named("SetArbitrationBaud", { d, c, v }), 1);
    }
    uint32_t KX_CALL setDataBaud(uint32_t d, uint32_t c, uint32_t v)
    {
        return record(named("SetDataBaud", { d, c, v }), 1);
    }
    uint32_t KX_CALL setCanFdStandard(uint32_t d, uint32_t c, uint32_t v)
    {
        return record(named("SetCanFdStandard", { d, c, v }), 1);
    }
    uint32_t KX_CALL resetDriver() { return record(named("ResetDriver", {}), 0); }

    const KestrixDriver g_table = { openDevice, closeDevice, getDeviceInfo, getDeviceStatus, initChannel, startChannel,
        resetChannel, transmitCan, receiveCan, transmitCanFd, receiveCanFd, getPropertyInterface, updateDevice,
        setArbitrationBaud, setDataBaud, setCanFdStandard, resetDriver };
} // namespace

void install()
{
    State &s = state();
    {
        QMutexLocker lock(&s.lock);
        s.clock.start();
        s.calls.clear();
        s.results.clear();
        s.propertyResults.clear();
        s.queued.clear();
        for (int ch = 0; ch < 2; ++ch) {
            s.canReads[ch].clear();
            s.fdReads[ch].clear();
        }
        s.info = DeviceInfoRecord {};
    }
    installDriver(&g_table);
    resetDeviceState();
}

void uninstall()
{
    resetDeviceState();
    installDriver(simulatedDriver(), simulatedExtension());
}

QList<Call> calls(const QString &name)
{
    QMutexLocker lock(&state().lock);
    QList<Call> out;
    for (const Call &c : qAsConst(state().calls))
        if (c.name.startsWith(name))
            out.append(c);
    return out;
}

int callCount(const QString &name) { return calls(name).size(); }

QStringList log()
{
    QStringList out;
    for (const Call &c : calls()) {
        if (c.name.startsWith(QLatin1String("Receive")))
            continue;
        QStringList args;
        for (quint64 a : c.args)
            args << QString::number(a);
        if (c.name == QLatin1String("SetValue"))
            args = QStringList { c.path, c.value };
        out << c.name + QLatin1Char('(') + args.join(QLatin1Char(',')) + QLatin1Char(')');
    }
    return out;
}

// Runs `change` on the state under its lock.
template <typename F> void locked(F change)
{
    QMutexLocker lock(&state().lock);
    change(state());
}

void clearCalls()
{
    locked([](State &s) { s.calls.clear(); });
}
void setResult(const QString &name, uint32_t value)
{
    locked([&](State &s) { s.results.insert(name, value); });
}
void queueResults(const QString &name, const QList<uint32_t> &values)
{
    locked([&](State &s) { s.queued[name].append(values); });
}
void setPropertyResult(const QString &path, uint32_t value)
{
    locked([&](State &s) { s.propertyResults.insert(path, value); });
}

void fail(const QString &operation)
{
    if (operation.startsWith(QLatin1String("SetValue:")))
        setPropertyResult(operation.mid(9), 0);
    else if (!operation.isEmpty())
        setResult(operation, 0);
}

uint32_t channelHandle(unsigned channel) { return 0x100u + (channel ? 1u : 0u); }

void openChannels(bool channel0, bool channel1)
{
    DeviceState &ds = deviceState();
    ds.deviceHandle = 1;
    ds.channelHandle[0] = channel0 ? channelHandle(0) : 0;
    ds.channelHandle[1] = channel1 ? channelHandle(1) : 0;
}

void queueCanRead(unsigned ch, const std::vector<CanReceiveRecord> &r)
{
    locked([&](State &s) { s.canReads[ch ? 1 : 0].push_back(r); });
}
void queueCanFdRead(unsigned ch, const std::vector<CanFdReceiveRecord> &r)
{
    locked([&](State &s) { s.fdReads[ch ? 1 : 0].push_back(r); });
}

int queuedReads(unsigned channel)
{
    QMutexLocker lock(&state().lock);
    return int(state().canReads[channel ? 1 : 0].size() + state().fdReads[channel ? 1 : 0].size());
}

void setDeviceInfo(const DeviceInfoRecord &info)
{
    locked([&](State &s) { s.info = info; });
}

template <typename Record> Record received(uint32_t idWord, const QByteArray &data, quint64 timestamp)
{
    Record r {};
    r.id = idWord;
    r.length = uint8_t(data.size());
    std::memcpy(r.data, data.constData(), std::min<size_t>(size_t(data.size()), sizeof r.data));
    r.timestamp = timestamp;
    return r;
}

CanReceiveRecord canRecord(uint32_t idWord, const QByteArray &data, quint64 timestamp)
{
    return received<CanReceiveRecord>(idWord, data, timestamp);
}

CanFdReceiveRecord canFdRecord(uint32_t idWord, const QByteArray &data, uint8_t flags, quint64 timestamp)
{
    auto r = received<CanFdReceiveRecord>(idWord, data, timestamp);
    r.flags = flags;
    return r;
}

}
