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

    const DbcMessage *find(quint32 id, bool extended) const
    {
        if (!extended)
            return id < kStandardIds ? m_standard[id] : nullptr;
        return m_extended.value(id, nullptr);
    }
    bool isEmpty() const { return m_count == 0; }
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
    std::vector<const DbcMessage *> m_standard;
    QHash<quint32, const DbcMessage *> m_extended;
    int m_count = 0;
};
