// PEAK trace format (.trc), version 2.1:
//
//   ;$FILEVERSION=2.1
//   ;$STARTTIME=45446.5936805556        (days since 1899-12-30, local time)
//   ;$COLUMNS=N,O,T,B,I,d,R,L,D
//   ;   ... comment lines ...
//         1         0.012 DT  1     0123 Rx -  8    01 02 03 04 05 06 07 08
//         2         0.020 FB  2 18DAF110 Tx -  9    00 01 02 03 04 05 06 07 08 09 0A 0B
//
// Columns: N message number, O time offset in ms with three decimals, T type, B bus
// (1-based), I identifier (4 hex digits standard, 8 extended), d direction,
// R reserved, L data length code, D data bytes. Types: DT classic data, RR remote
// request, FD / FB / FE / BI CAN FD data (plain, bit-rate switch, error state
// indicator, both), ER error frame; ST, EC and EV are bus status, error counter and
// event rows that carry no frame.

#include "Formats.h"
#include "LogTexts.h"
#include "TextCodec.h"

#include <QFileInfo>

using namespace TextCodec;

namespace {

const char kTypes[] = "DT RR FD FB FE BI ER ST EC EV";

class TrcReader final : public TextLogReader {
    // Position of each column in a row; -1 when the file has no such column.
    int m_colTime = 1, m_colType = 2, m_colBus = 3, m_colId = 4, m_colDir = 5, m_colDlc = 7, m_colCount = 8;
    Tok m_pending; // first row, read while looking for the end of the header

    bool columns(Tok columnList)
    {
        Tok c[16];
        const int n = splitAt(columnList, ',', c, 16);
        m_colTime = m_colType = m_colBus = m_colId = m_colDir = m_colDlc = -1;
        m_colCount = n;
        for (int i = 0; i < std::min(n, 16); ++i) {
            if (c[i].is("O"))
                m_colTime = i;
            else if (c[i].is("T"))
                m_colType = i;
            else if (c[i].is("B"))
                m_colBus = i;
            else if (c[i].is("I"))
                m_colId = i;
            else if (c[i].is("d"))
                m_colDir = i;
            else if (c[i].is("L"))
                m_colDlc = i;
        }
        if (m_colTime < 0 || m_colType < 0 || m_colId < 0 || m_colDir < 0 || m_colDlc < 0
            || !c[std::min(n, 16) - 1].is("D"))
            return fail(LogError::BadHeader, LogTexts::header(QStringLiteral(";$COLUMNS=N,O,T,B,I,d,R,L,D")),
                columnList.text());
        return true;
    }

protected:
    bool readHeader() override
    {
        bool version = false;
        while (readLine()) {
            if (m_lineTok.empty())
                continue;
            if (m_lineTok.startsWith(";$FILEVERSION=")) {
                const Tok v = m_lineTok.mid(14);
                if (!v.is("2.1") && !v.is("2.0"))
                    return fail(LogError::BadHeader, LogTexts::header(QStringLiteral(";$FILEVERSION=2.1")), v.text());
                version = true;
            } else if (m_lineTok.startsWith(";$COLUMNS=")) {
                if (!columns(m_lineTok.mid(10)))
                    return false;
            } else if (!m_lineTok.startsWith(";")) {
                if (!version)
                    return fail(
                        LogError::BadHeader, LogTexts::header(QStringLiteral(";$FILEVERSION=2.1")), m_lineTok.text());
                m_pending = m_lineTok; // the first row, kept in the line buffer
                return true;
            } else if (!version) {
                return fail(
                    LogError::BadHeader, LogTexts::header(QStringLiteral(";$FILEVERSION=2.1")), m_lineTok.text());
            }
        }
        if (failed())
            return false;
        return version || fail(LogError::BadHeader, LogTexts::header(QStringLiteral(";$FILEVERSION=2.1")));
    }

    bool readFrame(LogFrame &f) override
    {
        for (;;) {
            if (m_pending.p) {
                m_pending = Tok();
            } else if (!readLine()) {
                return false;
            }
            if (m_lineTok.empty() || m_lineTok.startsWith(";"))
                continue;
            Tok t[80];
            const int n = split(m_lineTok, t, 80);
            if (n < m_colType + 1)
                return bad(LogTexts::frameKind(QString::fromLatin1(kTypes)), m_lineTok.mid(m_lineTok.n));
            const Tok type = t[m_colType];
            if (type.is("ST") || type.is("EC") || type.is("EV")) {
                ++m_skipped;
                continue;
            }
            const bool classic = type.is("DT") || type.is("RR");
            const bool fd = type.is("FD") || type.is("FB") || type.is("FE") || type.is("BI");
            if (!classic && !fd && !type.is("ER"))
                return bad(LogTexts::frameKind(QString::fromLatin1(kTypes)), type);
            if (n < m_colCount - 1)
                return bad(LogTexts::fieldCount(m_colCount - 1), m_lineTok.mid(m_lineTok.n));
            if (!decimalToNs(t[m_colTime], 1000000LL, f.timeNs))
                return bad(LogTexts::timeStamp(), t[m_colTime]);
            if (m_colBus >= 0 && !t[m_colBus].is("-")) {
                quint64 bus;
                if (!decValue(t[m_colBus], bus, 3))
                    return bad(LogTexts::channel(), t[m_colBus]);
                f.channel = quint32(bus > 0 ? bus - 1 : 0);
            }
            if (!t[m_colDir].is("Rx") && !t[m_colDir].is("Tx"))
                return bad(LogTexts::direction(), t[m_colDir]);
            if (type.is("ER")) { // an error frame keeps only its time and channel
                f.errorFrame = true;
                return true;
            }
            f.received = t[m_colDir].is("Rx");
            quint64 id;
            if (!hexValue(t[m_colId], id, 8))
                return bad(LogTexts::identifier(), t[m_colId]);
            f.id = quint32(id);
            f.extended = t[m_colId].n > 4;
            quint64 dlc;
            if (!decValue(t[m_colDlc], dlc, 2) || dlc > (fd ? 15u : 8u))
                return bad(fd ? LogTexts::dlc() : LogTexts::dataLength(8), t[m_colDlc]);
            f.canFd = fd;
            f.bitRateSwitch = type.is("FB") || type.is("BI");
            f.errorStateIndicator = type.is("FE") || type.is("BI");
            f.remote = type.is("RR");
            f.length = quint8(fd ? LogFrame::dlcToLength(int(dlc)) : int(dlc));
            if (f.remote)
                return true;
            const int first = m_colCount - 1;
            if (n - first < f.length)
                return bad(LogTexts::dataBytes(f.length), n > first ? t[n - 1] : m_lineTok.mid(m_lineTok.n));
            for (int i = 0; i < f.length; ++i)
                if (!hexByte(t[first + i], f.data[size_t(i)]) || t[first + i].n != 2)
                    return bad(LogTexts::dataByte(), t[first + i]);
            return true;
        }
    }
};

class TrcWriter final : public TextLogWriter {
    quint64 m_number = 0;

protected:
    bool begin() override
    {
        // Start time as the days since 1899-12-30 in local time.
        const QDateTime start = m_options.startTime;
        const qint64 days = QDate(1899, 12, 30).daysTo(start.date());
        const double startTime = double(days) + start.time().msecsSinceStartOfDay() / 86400000.0;
        const QString path = QFileInfo(m_error.path).absoluteFilePath();
        m_out += ";$FILEVERSION=2.1\r\n;$STARTTIME=" + QByteArray::number(startTime, 'f', 10) + "\r\n";
        m_out += ";$COLUMNS=N,O,T,B,I,d,R,L,D\r\n;\r\n;   " + path.toUtf8() + "\r\n;\r\n";
        m_out += ";   Start time: " + start.toString(QStringLiteral("dd.MM.yyyy hh:mm:ss.zzz")).toLatin1() + ".0\r\n";
        m_out += ";   Generated by ostrel-log\r\n";
        m_out += ";-------------------------------------------------------------------------------\r\n"
                 ";   Message   Time    Type    ID     Rx/Tx\r\n"
                 ";   Number    Offset  |  Bus  [hex]  |  Reserved\r\n"
                 ";   |         [ms]    |  |    |      |  |  Data Length Code\r\n"
                 ";   |         |       |  |    |      |  |  |    Data [hex] ...\r\n"
                 ";   |         |       |  |    |      |  |  |    |\r\n"
                 ";---+-- ------+------ +- +- --+----- +- +- +--- +- -- -- -- -- -- -- --\r\n";
        return true;
    }

    bool put(const LogFrame &f) override
    {
        char *o = putDecWidth(m_line, ++m_number, 7);
        *o++ = ' ';
        o = putFixedWidth(o, f.timeNs, 1000000LL, 3, 13);
        const char *type = "DT";
        if (f.errorFrame)
            type = "ER";
        else if (f.remote)
            type = "RR";
        else if (f.canFd)
            type = f.bitRateSwitch ? (f.errorStateIndicator ? "BI" : "FB") : (f.errorStateIndicator ? "FE" : "FD");
        *o++ = ' ';
        o = putText(o, type);
        *o++ = ' ';
        o = putDecWidth(o, f.channel + 1ull, 2);
        *o++ = ' ';
        if (f.errorFrame) {
            o = putText(o, "       - Rx -  0\r\n");
            takeLine(o);
            return true;
        }
        char id[12];
        char *e = putHex(id, f.id, f.extended ? 8 : 4);
        o = putSpaces(o, 8 - int(e - id));
        std::memcpy(o, id, size_t(e - id));
        o += e - id;
        o = putText(o, f.received ? " Rx -  " : " Tx -  ");
        const bool fd = f.canFd && !f.remote;
        const int dlc = fd ? LogFrame::lengthToDlc(f.length) : std::min<int>(f.length, 8);
        const int bytes = fd ? LogFrame::dlcToLength(dlc) : dlc;
        char *d = o;
        o = putDec(o, quint64(dlc));
        o = putSpaces(o, 5 - int(o - d));
        if (!f.remote)
            for (int i = 0; i < bytes; ++i) {
                // CAN FD lengths between the steps of the length table are padded with zeros.
                o = putHex(o, i < f.length ? f.data[size_t(i)] : 0, 2);
                *o++ = ' ';
            }
        while (o[-1] == ' ')
            --o;
        o = putText(o, "\r\n");
        takeLine(o);
        return true;
    }

    bool end() override { return true; }
};

}

std::unique_ptr<LogReader> makeTrcReader() { return std::make_unique<TrcReader>(); }
std::unique_ptr<LogWriter> makeTrcWriter() { return std::make_unique<TrcWriter>(); }
