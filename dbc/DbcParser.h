#pragma once
// Reads the DBC text format: BO_ messages (bit 31 of the identifier marks an
// extended one), SG_ signals (start|length@order sign (factor,offset)
// [min|max] "unit" receivers, simple multiplexing with M and m<n>),
// SIG_VALTYPE_, VAL_TABLE_, VAL_, CM_ and BU_. Everything else the format
// has (NS_, BS_, VERSION, BA_DEF_, BA_, EV_, BO_TX_BU_, SIG_GROUP_, ...) is
// read over and ignored.
//
// A file is read whole or not at all: at the first mistake the reader stops
// with the line and what the format wants there, and the database stays
// empty, so a half-read file is never used.
#include "DbcDatabase.h"

#include <QByteArray>
#include <QString>

class DbcParser {
public:
    static bool parse(const QByteArray &text, DbcDatabase &db, DbcError &error);
    static bool load(const QString &path, DbcDatabase &db, DbcError &error);

    // "line 12: expected '|', found "8@1+"" in English, for logs and tools;
    // the window words it in the user's language.
    static QString describe(const DbcError &error);
};
