#pragma once
// A signal database as a DBC file describes it: messages (frames by
// identifier), their signals with scaling, units, value descriptions and
// comments. Plain values; SignalDecoder and SignalEncoder work on them.
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

struct DbcSignal {
    enum class Type { Integer, Float32, Float64 }; // SIG_VALTYPE_ 0 (absent), 1, 2
    enum class Mux { None, Multiplexor, Multiplexed }; // "", "M", "m<n>"

    QString name;
    // The start bit as the file writes it: the least significant bit for
    // little-endian ("@1") signals, the most significant one for big-endian
    // ("@0", Motorola) signals; bit n is bit n % 8 of byte n / 8.
    int startBit = 0;
    int length = 0; // bits, 1 to 64
    bool littleEndian = true;
    bool isSigned = false;
    Type type = Type::Integer;
    double factor = 1.0;
    double offset = 0.0;
    double minimum = 0.0;
    double maximum = 0.0;
    QString unit;
    QStringList receivers;
    Mux mux = Mux::None;
    qint64 muxValue = -1; // the multiplexor value a Multiplexed signal belongs to
    QMap<qint64, QString> values; // value descriptions, by raw value
    QString comment;

    // Bytes 0 .. lastByte() hold the signal; a frame needs lastByte() + 1 bytes.
    int lastByte() const;
};

struct DbcMessage {
    quint32 id = 0; // without the extended flag
    bool extended = false;
    QString name;
    int length = 0; // bytes, 0 to 64
    QString sender;
    QString comment;
    QVector<DbcSignal> signalList;
    int multiplexor = -1; // index in signalList of the "M" signal, -1 = none
};

struct DbcDatabase {
    QString path;
    QVector<DbcMessage> messages;
    QStringList nodes;
    QMap<QString, QMap<qint64, QString>> valueTables;
    QString comment;

    const DbcMessage *message(quint32 id, bool extended) const;
};

// Where reading stopped: the line, what the format wants there, what stood there.
struct DbcError {
    QString path;
    int line = 0;
    QString expected; // a piece of DBC syntax, the same in every language
    QString found; // the text met instead, or empty at the end of the line
};
