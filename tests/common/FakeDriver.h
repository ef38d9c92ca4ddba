#pragma once
// A recording stand-in for the adapter's driver table. Every operation is
// recorded with its arguments and the time it was called; answers are
// scripted per operation, and the two receive operations hand out scripted
// reads per channel. Safe to call from worker threads.
//
// Usage:
//   FakeDriver::install();                 // installs the table, forgets everything
//   FakeDriver::openChannels(true, true);  // handles in DeviceState, no driver calls
//   FakeDriver::queueCanRead(0, {...});
//   ... run the code under test ...
//   FakeDriver::calls("TransmitCan")

#include "DriverApi.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVector>
#include <cstring>
#include <vector>

namespace FakeDriver {

struct Call {
    QString name; // the operation's name as in KestrixDriver, or "SetValue"
    QVector<quint64> args; // its numeric arguments in order; pointers are left out
    QByteArray records; // TransmitCan/TransmitCanFd: the records passed; GetDeviceInfo: none
    QString path; // SetValue only
    QString value; // SetValue only
    qint64 nsecs = 0; // monotonic time of the call since install()/reset()
};

// Installs the fake as the driver table and resets it.
void install();
// Forgets calls, scripted answers and queued reads; every operation answers its default again.
void reset();
// The table itself, for code that wants to wrap it.
const KestrixDriver *table();

QList<Call> calls();
QList<Call> calls(const QString &name);
int callCount(const QString &name);
void clearCalls();

// Every later call of `name` answers `value` once the queued answers are used up.
// ReceiveCan/ReceiveCanFd answer from the queued reads instead (see below).
void setResult(const QString &name, uint32_t value);
// The next calls of `name` answer these values in turn.
void queueResults(const QString &name, const QList<uint32_t> &values);

// The handle InitChannel returns for a channel index (0x100 + index).
uint32_t channelHandle(unsigned channel);
// Marks the device and the chosen channels open in DeviceState directly.
void openChannels(bool channel0, bool channel1);

// Each later ReceiveCan/ReceiveCanFd on that channel takes the next queued
// read; a read larger than the capacity passed is handed out over several calls.
void queueCanRead(unsigned channel, const std::vector<CanReceiveRecord> &records);
void queueCanFdRead(unsigned channel, const std::vector<CanFdReceiveRecord> &records);
int queuedReads(unsigned channel);

// The record GetDeviceInfo copies out.
void setDeviceInfo(const DeviceInfoRecord &info);

// The records of a TransmitCan/TransmitCanFd call.
template <typename Record> QVector<Record> records(const Call &call)
{
    QVector<Record> out(call.records.size() / int(sizeof(Record)));
    if (!out.isEmpty())
        std::memcpy(out.data(), call.records.constData(), size_t(out.size()) * sizeof(Record));
    return out;
}

// Record builders for scripted reads.
CanReceiveRecord canRecord(uint32_t idWord, const QByteArray &data, quint64 timestamp = 0);
CanFdReceiveRecord canFdRecord(uint32_t idWord, const QByteArray &data, uint8_t flags = 0, quint64 timestamp = 0);

}
