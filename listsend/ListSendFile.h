#pragma once
// The list file: plain UTF-8 text a person can edit. Lines that are empty or
// begin with "#" are comments; every other line is one message, thirteen
// fields separated by ";":
//
//   on;channel;id;format;type;protocol;length;data;period;count;idinc;datainc;name
//   1;1;123;std;data;CAN;8;00 11 22 33 44 55 66 77;10;0;0;0;engine speed
//
// on, idinc, datainc: 1 or 0; channel: 1 or 2; id: hexadecimal, 0-7FF (std)
// or 0-1FFFFFFF (ext); format: std or ext; type: data or remote (remote frames
// are CAN only); protocol: CAN, CANFD or CANFD-BRS; length: 0-8, and for CAN
// FD also 12, 16, 20, 24, 32, 48, 64; data: hex bytes separated by blanks, at
// most `length` of them (missing ones are 00); period: 1-60000 ms; count: the
// number of frames after which the row switches itself off, 0 = until
// stopped; name: the rest of the line (it may hold ";").
#include "ListSendRow.h"

#include <QList>
#include <QString>

namespace ListSendFile {

struct Result {
    bool ok = true;
    bool missing = false; // the file does not exist (an empty list, no problem)
    QList<ListSendRow> rows;
    // Where reading stopped, when !ok.
    int line = 0; // 1-based
    QString field; // the field's name as in the header line
    QString expected;
    QString found;
};

// Reads a whole list; a problem anywhere gives no rows at all.
Result parse(const QByteArray &text);
Result read(const QString &path);

QByteArray format(const QList<ListSendRow> &rows);
// Written to a temporary file first and renamed over the old one, so a failed
// write never leaves half a list behind.
bool write(const QString &path, const QList<ListSendRow> &rows);

// The message for a list that could not be read, in the current language;
// `kept` says whether the list in the window stayed as it was (an open
// refused) or is now empty (the list of the last session).
QString problemText(const Result &result, const QString &path, bool kept);

}
