#pragma once
// Turns frames into signal values with one or more databases. Built once
// when the databases change; a look-up by identifier is one array index for
// standard frames and one hash probe for extended ones.
#include "DbcDatabase.h"

#include <QHash>
#include <QString>
#include <QVector>

#include <memory>
#include <vector>

struct DecodedSignal {
    const DbcMessage *message = nullptr;
    const DbcSignal *signal = nullptr;
    quint64 bits = 0; // the signal's bits as the frame carries them
    double raw = 0.0;
    double physical = 0.0;

    QString rawText() const;
    QString physicalText() const; // number only, unit apart
    QString description() const; // the value description of the raw value, or empty
};

class SignalDecoder {
public:
    using Databases = QVector<std::shared_ptr<const DbcDatabase>>;

    SignalDecoder();
    // An identifier described by two databases takes the message of the first.
    explicit SignalDecoder(const Databases &databases);

    // The message's place in messages(), or -1.
    int indexOf(quint32 id, bool extended) const
    {
        if (!extended)
            return id < kStandardIds ? m_standard[id] : -1;
        return m_extended.value(id, -1);
    }
    const DbcMessage *find(quint32 id, bool extended) const
    {
        const int i = indexOf(id, extended);
        return i < 0 ? nullptr : m_messages[size_t(i)];
    }
    // Every message the decoder knows, the first database's first.
    const std::vector<const DbcMessage *> &messages() const { return m_messages; }
    bool isEmpty() const { return m_messages.empty(); }
    const Databases &databases() const { return m_databases; }

    // Appends the frame's signals to out: every signal the data bytes hold,
    // of a multiplexed message only the multiplexor, the plain signals and
    // those of the multiplexor's value. Returns how many were appended (0 for
    // an identifier no database describes).
    int decode(quint32 id, bool extended, const uchar *data, int length, QVector<DecodedSignal> &out) const;
    static int decodeMessage(const DbcMessage &m, const uchar *data, int length, QVector<DecodedSignal> &out);
    // One signal alone; false when the frame does not carry it (too short, or
    // another multiplexor value).
    static bool decodeSignal(const DbcMessage &m, int signalIndex, const uchar *data, int length, DecodedSignal &out);

    // Text for a number the way the signal views show it.
    static QString numberText(double v);

private:
    static constexpr quint32 kStandardIds = 0x800;
    Databases m_databases;
    std::vector<const DbcMessage *> m_messages;
    std::vector<int> m_standard; // index in m_messages by standard identifier, -1 = none
    QHash<quint32, int> m_extended;
};
