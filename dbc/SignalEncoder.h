#pragma once
// Signal values to frame bytes, the way back of SignalDecoder: for sending a
// message filled in by its signals' physical values.
#include "DbcDatabase.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

class SignalEncoder {
public:
    struct Result {
        QByteArray data; // the message's length in bytes
        QStringList clamped; // signals whose value was held to what their bits can carry
        QStringList unknown; // names given that are no signal of the message
    };

    // The message's bytes from physical values by signal name. Signals not
    // named carry raw 0; of a multiplexed message only the m<n> signals of the
    // multiplexor's value are written. Bits no signal covers stay 0.
    static Result encode(const DbcMessage &m, const QMap<QString, double> &physical);

    // One signal into existing bytes (at least the message's length); the
    // other bits are left as they are. Returns false when the value had to be
    // held to the signal's range.
    static bool encodeSignal(const DbcSignal &s, double physical, QByteArray &data);
};
