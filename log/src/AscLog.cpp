// Vector ASCII logging format (.asc), laid out as CANoe and python-can write it:
//
//   date Mon Jun 03 02:15:04.123 pm 2024
//   base hex  timestamps absolute
//   internal events logged
//   Begin Triggerblock Mon Jun 03 02:15:04.123 pm 2024
//      0.000000 Start of measurement
//      0.001200 1  123x            Rx   d 8 01 02 03 04 05 06 07 08
//      0.001300 2  7FF             Tx   r 4
//      0.001400 CANFD   1 Rx        123  <name>  1 0 9 12 01 02 ... <duration> <length> <flags> ...
//      0.001500 1  ErrorFrame
//   End TriggerBlock
//
// Channels are 1-based in the file, time stamps are seconds with six decimals.

#include "Formats.h"
#include "LogTexts.h"
#include "TextCodec.h"

#include <QLocale>

using namespace TextCodec;

namespace {

class AscReader final : public TextLogReader {
    int m_base = 16;

    bool number(Tok t, quint64 &v, int maxDigits) const
    {
        return m_base == 16 ? hexValue(t, v, maxDigits) : decValue(t, v, maxDigits + 2);
    }

    bool identifier(Tok t, LogFrame &f)
    {
        if (t.last() == 'x' || t.last() == 'X') {
            f.extended = true;
            t.n -= 1;
        }
        quint64 id;
        if (!number(t, id, 8))
            return bad(LogTexts::identifier(), t);
        f.id = quint32(id);
        return true;
    }

    bool direction(Tok t, LogFrame &f)
    {
        if (!t.is("Rx") && !t.is("Tx"))
            return bad(LogTexts::direction(), t);
        f.received = t.is("Rx");
        return true;
    }

    bool dataBytes(const Tok *tok, int count, LogFrame &f)
    {
        if (count < f.length)
            return bad(LogTexts::dataBytes(f.length), count ? tok[count - 1] : m_lineTok);
        for (int i = 0; i < f.length; ++i) {
            quint64 v;
            if (!number(tok[i], v, 2) || v > 0xFF)
                return bad(LogTexts::dataByte(), tok[i]);
            f.data[size_t(i)] = quint8(v);
        }
        return true;
    }

    bool headerLine(Tok line, bool &isHeader)
    {
        isHeader = true;
        Tok t[3];
        const int n = split(line, t, 3);
        if (n == 0 || t[0].startsWith("//") || t[0].iis("date") || t[0].iis("internal")
            || (t[0].iis("no") && n > 1 && t[1].iis("internal")) || t[0].iis("begin") || t[0].iis("end"))
            return true;
        if (t[0].iis("base")) {
            if (n < 2 || !(t[1].iis("hex") || t[1].iis("dec")))
                return fail(LogError::BadHeader, LogTexts::header(QStringLiteral("base hex|dec")),
                    n > 1 ? t[1].text() : QString());
            m_base = t[1].iis("hex") ? 16 : 10;
            return true;
        }
        isHeader = false;
        return true;
    }

protected:
    bool readHeader() override
    {
        // The first line that says something must be the date or the base line.
        while (readLine()) {
            Tok t[2];
            const int n = split(m_lineTok, t, 2);
            if (n == 0 || t[0].startsWith("//"))
                continue;
            if (!t[0].iis("date") && !t[0].iis("base"))
                return fail(
                    LogError::BadHeader, LogTexts::header(QStringLiteral("date … / base hex|dec")), t[0].text());
            bool isHeader;
            return headerLine(m_lineTok, isHeader);
        }
        return fail(m_error.isError() ? m_error.code : LogError::Truncated,
            m_error.isError() ? m_error.expected : LogTexts::header(QStringLiteral("date … / base hex|dec")));
    }

    bool readFrame(LogFrame &f) override
    {
        while (readLine()) {
            bool isHeader;
            if (!headerLine(m_lineTok, isHeader))
                return false;
            if (isHeader)
                continue;
            Tok t[80];
            const int n = split(m_lineTok, t, 80);
            if (!decimalToNs(t[0], 1000000000LL, f.timeNs))
                return bad(LogTexts::timeStamp(), t[0]);
            if (n < 3) {
                ++m_skipped; // "Start of measurement" and other bare events
                continue;
            }
            if (t[1].is("CANFD")) {
                if (!fdFrame(t + 2, n - 2, f))
                    return false;
                return true;
            }
            quint64 ch;
            if (!decValue(t[1], ch, 3)) {
                ++m_skipped; // events without a channel: statistics, J1939, markers
                continue;
            }
            f.channel = quint32(ch > 0 ? ch - 1 : 0);
            if (t[2].iis("ErrorFrame")) {
                f.errorFrame = true;
                return true;
            }
            // Lines with a channel that are not frames: "Statistic:", "ChipStatus", "SV:" ...
            const bool directed = n >= 4 && (t[3].is("Rx") || t[3].is("Tx"));
            if (!directed) {
                ++m_skipped;
                continue;
            }
            return classicFrame(t + 2, n - 2, f);
        }
        return false;
    }

    // id Rx|Tx d|r dlc data...
    bool classicFrame(const Tok *t, int n, LogFrame &f)
    {
        if (!identifier(t[0], f) || !direction(t[1], f))
            return false;
        if (!t[2].iis("d") && !t[2].iis("r"))
            return bad(LogTexts::frameKind(QStringLiteral("d r")), t[2]);
        f.remote = t[2].iis("r");
        quint64 dlc = 0;
        if (n > 3 && !number(t[3], dlc, 2)) {
            if (f.remote)
                return true; // an old remote line without a length: "r" then other fields
            return bad(LogTexts::dlc(), t[3]);
        }
        if (n <= 3 && !f.remote)
            return bad(LogTexts::dlc(), m_lineTok.mid(m_lineTok.n));
        if (dlc > 15)
            return bad(LogTexts::dlc(), t[3]);
        f.length = quint8(std::min<quint64>(dlc, 8));
        if (f.remote)
            return true;
        return dataBytes(t + 4, n - 4, f);
    }

    // channel Rx|Tx id [symbolic name] brs esi dlc length data... ; or channel Rx|Tx ErrorFrame ...
    bool fdFrame(const Tok *t, int n, LogFrame &f)
    {
        if (n < 3)
            return bad(LogTexts::identifier(), m_lineTok.mid(m_lineTok.n));
        quint64 ch;
        if (!decValue(t[0], ch, 3))
            return bad(LogTexts::channel(), t[0]);
        f.channel = quint32(ch > 0 ? ch - 1 : 0);
        if (!direction(t[1], f))
            return false;
        if (t[2].iis("ErrorFrame")) {
            f.received = true; // an error frame keeps only its time and channel
            f.errorFrame = true;
            return true;
        }
        f.canFd = true;
        if (!identifier(t[2], f))
            return false;
        int i = 3;
        if (i < n && !t[i].is("0") && !t[i].is("1"))
            ++i; // symbolic name
        if (n - i < 4)
            return bad(LogTexts::dataLength(64), m_lineTok.mid(m_lineTok.n));
        if (!t[i].is("0") && !t[i].is("1"))
            return bad(LogTexts::frameKind(QStringLiteral("BRS 0 1")), t[i]);
        if (!t[i + 1].is("0") && !t[i + 1].is("1"))
            return bad(LogTexts::frameKind(QStringLiteral("ESI 0 1")), t[i + 1]);
        f.bitRateSwitch = t[i].is("1");
        f.errorStateIndicator = t[i + 1].is("1");
        quint64 dlc, length;
        if (!hexValue(t[i + 2], dlc, 1))
            return bad(LogTexts::dlc(), t[i + 2]);
        if (!decValue(t[i + 3], length, 3) || length > 64)
            return bad(LogTexts::dataLength(64), t[i + 3]);
        f.length = quint8(length);
        return dataBytes(t + i + 4, n - i - 4, f);
    }
};

class AscWriter final : public TextLogWriter {
    // "Mon Jun 03 02:15:04.123 pm 2024": English names and a 12-hour clock whatever the locale.
    static QByteArray dateText(const QDateTime &t)
    {
        const QTime time = t.time();
        const int hour12 = time.hour() % 12 == 0 ? 12 : time.hour() % 12;
        return QLocale::c().toString(t.date(), QStringLiteral("ddd MMM dd ")).toLatin1()
            + QByteArray::number(hour12).rightJustified(2, '0') + time.toString(QStringLiteral(":mm:ss.zzz")).toLatin1()
            + (time.hour() < 12 ? " am " : " pm ") + QByteArray::number(t.date().year());
    }

protected:
    bool begin() override
    {
        const QByteArray date = dateText(m_options.startTime);
        m_out += "date " + date + "\nbase hex  timestamps absolute\ninternal events logged\n";
        m_out += "// version 9.0.0\nBegin Triggerblock " + date + "\n";
        m_out += "   0.000000 Start of measurement\n";
        return true;
    }

    bool put(const LogFrame &f) override
    {
        char *o = putFixedWidth(m_line, f.timeNs, 1000000000LL, 6, 11);
        *o++ = ' ';
        if (f.errorFrame) {
            o = putDec(o, f.channel + 1ull);
            o = putText(o, "  ErrorFrame\n");
            takeLine(o);
            return true;
        }
        char *idStart;
        if (f.canFd && !f.remote) {
            o = putText(o, "CANFD ");
            o = putDecWidth(o, f.channel + 1ull, 3);
            o = putText(o, f.received ? " Rx   " : " Tx   ");
            char id[12];
            char *e = putHex(id, f.id, 1);
            if (f.extended)
                *e++ = 'x';
            o = putSpaces(o, 8 - int(e - id));
            std::memcpy(o, id, size_t(e - id));
            o += e - id;
            o = putSpaces(o, 34); // empty symbolic name, right-aligned in 32 columns
            *o++ = f.bitRateSwitch ? '1' : '0';
            *o++ = ' ';
            *o++ = f.errorStateIndicator ? '1' : '0';
            *o++ = ' ';
            o = putHex(o, quint64(LogFrame::lengthToDlc(f.length)), 1);
            *o++ = ' ';
            o = putDecWidth(o, f.length, 2);
            for (int i = 0; i < f.length; ++i) {
                *o++ = ' ';
                o = putHex(o, f.data[size_t(i)], 2);
            }
            // Message duration, length, flags (EDL, BRS, ESI), CRC, bit timings: unknown here.
            const unsigned flags = 0x1000u | (f.bitRateSwitch ? 0x2000u : 0) | (f.errorStateIndicator ? 0x4000u : 0);
            o = putText(o, "        0    0 ");
            o = putSpaces(o, 4);
            o = putHex(o, flags, 4);
            o = putText(o, "        0        0        0        0        0\n");
            takeLine(o);
            return true;
        }
        o = putDec(o, f.channel + 1ull);
        o = putSpaces(o, 2);
        idStart = o;
        o = putHex(o, f.id, 1);
        if (f.extended)
            *o++ = 'x';
        o = putSpaces(o, std::max(1, 16 - int(o - idStart)));
        o = putText(o, f.received ? "Rx   " : "Tx   ");
        const int length = std::min<int>(f.length, 8);
        *o++ = f.remote ? 'r' : 'd';
        *o++ = ' ';
        o = putHex(o, quint64(length), 1);
        if (!f.remote)
            for (int i = 0; i < length; ++i) {
                *o++ = ' ';
                o = putHex(o, f.data[size_t(i)], 2);
            }
        *o++ = '\n';
        takeLine(o);
        return true;
    }

    bool end() override
    {
        m_out += "End TriggerBlock\n";
        return true;
    }
};

}

std::unique_ptr<LogReader> makeAscReader() { return std::make_unique<AscReader>(); }
std::unique_ptr<LogWriter> makeAscWriter() { return std::make_unique<AscWriter>(); }
