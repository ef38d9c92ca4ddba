#pragma once
// Small, allocation-free pieces shared by the text formats: reading lines,
// splitting them into tokens, exact decimal time stamps, and writing numbers
// straight into a character buffer.

#include "LogReader.h"
#include "LogWriter.h"

#include <QString>
#include <QtGlobal>

#include <cstring>

namespace TextCodec {

// A view of part of a line.
struct Tok {
    const char *p = nullptr;
    int n = 0;
    bool empty() const { return n == 0; }
    bool is(const char *s) const { return int(std::strlen(s)) == n && std::memcmp(p, s, size_t(n)) == 0; }
    bool iis(const char *s) const; // case-insensitive
    bool startsWith(const char *s) const;
    char last() const { return n ? p[n - 1] : '\0'; }
    Tok mid(int from, int len = -1) const;
    QString text() const { return QString::fromUtf8(p, n).left(40); }
};

// Splits at blanks and tabs; at most `max` tokens, the last one keeping the rest of the line.
int split(Tok line, Tok *out, int max);
// Splits at every `sep`, keeping empty parts; returns the number of parts (which may exceed max).
int splitAt(Tok line, char sep, Tok *out, int max);

bool hexValue(Tok t, quint64 &value, int maxDigits = 16);
bool decValue(Tok t, quint64 &value, int maxDigits = 19);
bool hexByte(Tok t, quint8 &value); // one or two hex digits
// A non-negative decimal number "123.456" in units of unitNs nanoseconds, exact to the nanosecond.
bool decimalToNs(Tok t, qint64 unitNs, qint64 &ns);

char *putDec(char *out, quint64 value);
char *putDecWidth(char *out, quint64 value, int width, char pad = ' '); // right-aligned
char *putHex(char *out, quint64 value, int width); // upper case, zero-padded to width
char *putText(char *out, const char *s);
char *putSpaces(char *out, int n);
// ns as a fixed-point number of units (unitNs) with `decimals` decimals, rounded half up.
char *putFixed(char *out, qint64 ns, qint64 unitNs, int decimals);
char *putFixedWidth(char *out, qint64 ns, qint64 unitNs, int decimals, int width);

}

// Base of the line-oriented readers: lines of up to 4 KiB, '\n' or "\r\n" endings.
class TextLogReader : public LogReader {
protected:
    // Reads the next line (without its line end) into m_lineTok; false at end of file,
    // or on an over-long line with the error set.
    bool readLine();
    // Fails the current line with a bad record.
    bool bad(const LogText &expected, const TextCodec::Tok &found)
    {
        return fail(LogError::BadRecord, expected, found.text());
    }

    static constexpr int kMaxLine = 4096;
    char m_lineBuf[kMaxLine + 2] {};
    TextCodec::Tok m_lineTok;
};

// Base of the text writers.
class TextLogWriter : public LogWriter {
protected:
    // Room for one formatted line; a 64-byte CAN FD frame in ASC is about 400 characters.
    char m_line[1024] {};
    void takeLine(const char *end) { m_out.append(m_line, int(end - m_line)); }
};
