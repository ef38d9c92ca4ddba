#pragma once
// What went wrong with a log file, and where.

#include <QString>

// One text in the three interface languages. Windows choose with Lang::pick;
// pick() serves callers without a window (the command-line tool).
struct LogText {
    QString zh; // Simplified Chinese
    QString zht; // Traditional Chinese
    QString en; // English
    QString pick(int lang) const;
    LogText arg(const QString &a) const;
    LogText arg(qint64 a) const;
};

struct LogError {
    enum Code { None, CannotOpen, CannotWrite, UnknownFormat, BadHeader, BadRecord, Truncated };

    Code code = None;
    QString path;
    qint64 line = 0; // 1-based line of a text file; 0 when not a line position
    qint64 offset = -1; // byte offset in a binary file (start of the container or object)
    qint64 innerOffset = -1; // byte offset inside an unpacked BLF container, -1 when none
    LogText expected; // what the reader expected at that place
    QString found; // what it found there, shortened

    bool isError() const { return code != None; }
    // The whole message: file, place, what was expected, what was found.
    LogText message() const;
};
