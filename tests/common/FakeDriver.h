#pragma once
// A recording stand-in for the adapter's driver table. Every operation is
// recorded with its arguments and the time it was called; answers are
// scripted per operation (SetValue also per property path), and the two
// receive operations hand out scripted reads per channel. Thread-safe.
#include "DriverApi.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>
#include <cstring>
#include <vector>

namespace FakeDriver {

struct Call {
    QString name; // as in KestrixDriver, or "SetValue"
    QVector<quint64> args; // numeric arguments in order; pointers left out
    QByteArray records; // TransmitCan(Fd): the records passed; InitChannel: the init record
    QString path, value; // SetValue only
    qint64 nsecs = 0; // monotonic time since install()
};

// Installs the fake as the driver table with nothing recorded or scripted,
// and a reset device state.
void install();
// Back to the built-in simulated adapter, device state reset.
void uninstall();

// The calls whose name starts with `name` ("Transmit" gives both kinds).
QList<Call> calls(const QString &name = QString());
int callCount(const QString &name);
void clearCalls();
// The calls as text, receive polls left out: "OpenDevice(41,0,0)", "SetValue(0/filter_ack,0)".
QStringList log();

// `name` answers `value` from now on, once its queued answers are used up.
void setResult(const QString &name, uint32_t value);
void queueResults(const QString &name, const QList<uint32_t> &values);
// SetValue on this path answers `value` from now on.
void setPropertyResult(const QString &path, uint32_t value);
// The operation (or "SetValue:<path>") answers 0 from now on; nothing for an empty name.
void fail(const QString &operation);

// Handle InitChannel returns: 0x100 + channel index. OpenDevice returns 1.
uint32_t channelHandle(unsigned channel);
// Marks the device and the chosen channels open in DeviceState, no driver calls.
void openChannels(bool channel0, bool channel1);

// Each later ReceiveCan(Fd) on the channel takes the next queued read; a read
// larger than the capacity passed is handed out over several calls.
void queueCanRead(unsigned channel, const std::vector<CanReceiveRecord> &records);
void queueCanFdRead(unsigned channel, const std::vector<CanFdReceiveRecord> &records);
int queuedReads(unsigned channel);

void setDeviceInfo(const DeviceInfoRecord &info);

template <typename Record> QVector<Record> records(const Call &call)
{
    QVector<Record> out(call.records.size() / int(sizeof(Record)));
    if (!out.isEmpty())
        std::memcpy(out.data(), call.records.constData(), size_t(out.size()) * sizeof(Record));
    return out;
}

CanReceiveRecord canRecord(uint32_t idWord, const QByteArray &data, quint64 timestamp = 0);
CanFdReceiveRecord canFdRecord(uint32_t idWord, const QByteArray &data, uint8_t flags = 0, quint64 timestamp = 0);

}
