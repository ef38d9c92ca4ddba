// Ostrel's own frame file (.csv): the live capture and the frame list export.
//
//   index,system time,time stamp,channel,Rx/Tx,ID,Frame,type,DLC,CAN-FD,data      (titles per language)
//   1,="14:02:33.120",0x1E240,1,Rx,0x123,Standard Frame,data frame,8,CAN,x| 01 02 03 04 05 06 07 08
//
// One header line of column titles (a filtered column's title may end in "*"),
// then one row of eleven fields per frame, in the language the frame was shown
// in. The time stamp field is the device time in hex microseconds ("0x..."),
// seconds with four decimals, or "无" for a transmitted frame, which then takes
// its time from the system time field (time of day, milliseconds).

#include "Formats.h"
#include "LogTexts.h"
#include "TextCodec.h"

#include <QDateTime>

#include <limits>

using namespace TextCodec;

namespace {

constexpr int kFields = 11;
constexpr qint64 kDayMs = 86400000;

// Texts of the frame list in language order: Simplified Chinese, Traditional Chinese, English.
const char *const kTitles[3][kFields] = {
    { "序号", "系统时间", "时间标识", "通道", "收/发", "ID", "Frame", "类型", "DLC", "CAN-FD", "数据" },
    { "序號", "系統時間", "時間標識", "通道", "收/發", "ID", "Frame", "類型", "DLC", "CAN-FD", "數據" },
    { "index", "system time", "time stamp", "channel", "Rx/Tx", "ID", "Frame", "type", "DLC", "CAN-FD", "data" },
};
const char *const kStandard[3] = { "标准帧", "標準幀", "Standard Frame" };
const char *const kExtended[3] = { "扩展帧", "擴展幀", "Extended Frame" };
const char *const kData[3] = { "数据帧", "數據幀", "data frame" };
const char *const kRemote[3] = { "远程帧", "遠程幀", "Remote Frame" };
const char *const kFdSwitch[3] = { "CANFD-加速", "CANFD-加速", "CANFD-acceleration" };
const char *const kNoTime = "无";

int indexOf(const char *const texts[3], Tok t)
{
    for (int i = 0; i < 3; ++i)
        if (t.is(texts[i]))
            return i;
    return -1;
}

class CsvReader final : public TextLogReader {
    qint64 m_prevSystemMs = -1;
    qint64 m_days = 0;

    bool titlesMatch(const Tok *f, int lang) const
    {
        for (int i = 0; i < kFields; ++i) {
            Tok t = f[i];
            if (t.last() == '*')
                t.n -= 1;
            if (!t.is(kTitles[lang][i]))
                return false;
        }
        return true;
    }

protected:
    bool readHeader() override
    {
        const LogText expected = LogTexts::header(QString::fromUtf8(
            "序号,系统时间,时间标识,通道,收/发,ID,Frame,类型,DLC,CAN-FD,数据 / index,system time,...,data"));
        if (!readLine())
            return failed() ? false : fail(LogError::BadHeader, expected);
        Tok line = m_lineTok;
        if (line.startsWith("\xEF\xBB\xBF"))
            line = line.mid(3);
        Tok f[kFields + 1];
        if (splitAt(line, ',', f, kFields + 1) == kFields)
            for (int lang = 0; lang < 3; ++lang)
                if (titlesMatch(f, lang))
                    return true;
        return fail(LogError::BadHeader, expected, line.text());
    }

    bool readFrame(LogFrame &fr) override
    {
        while (readLine()) {
            if (m_lineTok.empty()) {
                ++m_skipped;
                continue;
            }
            Tok f[kFields + 1];
            const int n = splitAt(m_lineTok, ',', f, kFields + 1);
            if (n != kFields)
                return bad(LogTexts::fieldCount(kFields), m_lineTok);

            // System time ="hh:mm:ss.zzz"
            const Tok st = f[1];
            quint64 h, m, s, ms;
            if (st.n != 15 || !st.startsWith("=\"") || st.p[14] != '"' || st.p[4] != ':' || st.p[7] != ':'
                || st.p[10] != '.' || !decValue(st.mid(2, 2), h, 2) || !decValue(st.mid(5, 2), m, 2)
                || !decValue(st.mid(8, 2), s, 2) || !decValue(st.mid(11, 3), ms, 3) || h > 23 || m > 59 || s > 59)
                return bad(LogTexts::systemTime(), st);
            const qint64 systemMs = qint64(((h * 60 + m) * 60 + s) * 1000 + ms);
            if (m_prevSystemMs >= 0 && systemMs < m_prevSystemMs)
                ++m_days; // the capture ran past midnight
            m_prevSystemMs = systemMs;

            const Tok ts = f[2];
            if (ts.startsWith("0x") || ts.startsWith("0X")) {
                quint64 us;
                if (!hexValue(ts.mid(2), us, 15) || us > quint64(std::numeric_limits<qint64>::max() / 1000))
                    return bad(LogTexts::timeStamp(), ts);
                fr.timeNs = qint64(us) * 1000;
            } else if (ts.empty() || ts.is(kNoTime)) {
                // Unsigned: a file that goes back in time row after row wraps, never overflows.
                fr.timeNs = qint64((quint64(m_days) * quint64(kDayMs) + quint64(systemMs)) * 1000000ULL);
            } else if (!decimalToNs(ts, 1000000000LL, fr.timeNs)) {
                return bad(LogTexts::timeStamp(), ts);
            }

            quint64 ch;
            if (!decValue(f[3], ch, 3) || ch == 0)
                return bad(LogTexts::channel(), f[3]);
            fr.channel = quint32(ch - 1);
            if (!f[4].is("Rx") && !f[4].is("Tx"))
                return bad(LogTexts::direction(), f[4]);
            fr.received = f[4].is("Rx");

            quint64 id;
            if (!f[5].startsWith("0x") || !hexValue(f[5].mid(2), id, 8))
                return bad(LogTexts::identifier(), f[5]);
            fr.id = quint32(id);
            if (indexOf(kStandard, f[6]) < 0 && indexOf(kExtended, f[6]) < 0)
                return bad(
                    LogTexts::frameKind(QString::fromUtf8("标准帧 扩展帧 標準幀 擴展幀 Standard Frame Extended Frame")),
                    f[6]);
            fr.extended = indexOf(kExtended, f[6]) >= 0;
            if (indexOf(kData, f[7]) < 0 && indexOf(kRemote, f[7]) < 0)
                return bad(
                    LogTexts::frameKind(QString::fromUtf8("数据帧 远程帧 數據幀 遠程幀 data frame Remote Frame")),
                    f[7]);
            fr.remote = indexOf(kRemote, f[7]) >= 0;

            if (f[9].is("CAN")) {
                fr.canFd = false;
            } else if (f[9].is("CANFD") || indexOf(kFdSwitch, f[9]) >= 0) {
                fr.canFd = true;
                fr.bitRateSwitch = !f[9].is("CANFD");
            } else {
                return bad(LogTexts::frameKind(QString::fromUtf8("CAN CANFD CANFD-加速 CANFD-acceleration")), f[9]);
            }
            quint64 length;
            const int max = fr.canFd ? 64 : 8;
            if (!decValue(f[8], length, 3) || length > quint64(max))
                return bad(LogTexts::dataLength(max), f[8]);
            fr.length = quint8(length);
            if (fr.remote)
                return true;

            // "x| " then every byte as two hex digits and a blank.
            const Tok d = f[10];
            if (!d.startsWith("x| "))
                return bad(LogTexts::dataBytes(fr.length), d);
            Tok bytes[66];
            const int count = split(d.mid(3), bytes, 66);
            if (count != fr.length)
                return bad(LogTexts::dataBytes(fr.length), d);
            for (int i = 0; i < count; ++i)
                if (bytes[i].n != 2 || !hexByte(bytes[i], fr.data[size_t(i)]))
                    return bad(LogTexts::dataByte(), bytes[i]);
            return true;
        }
        return false;
    }
};

class CsvWriter final : public TextLogWriter {
    int m_lang = 0;
    quint64 m_index = 0;
    bool m_offsetKnown = false;
    qint64 m_utcOffsetMs = 0;

    // Time of day of a frame: wall-clock time stamps in local time, measurement
    // times as time since midnight.
    qint64 timeOfDayMs(qint64 ns)
    {
        qint64 ms = std::max<qint64>(ns, 0) / 1000000;
        if (ns >= kWallClockFromNs) {
            if (!m_offsetKnown) {
                m_utcOffsetMs = qint64(QDateTime::fromMSecsSinceEpoch(ms).offsetFromUtc()) * 1000;
                m_offsetKnown = true;
            }
            ms += m_utcOffsetMs;
        }
        return ms % kDayMs;
    }

    static char *putUtf8(char *o, const char *s) { return putText(o, s); }

protected:
    bool begin() override
    {
        m_lang = (m_options.csvLanguage >= 0 && m_options.csvLanguage <= 2) ? m_options.csvLanguage : 0;
        for (int i = 0; i < kFields; ++i) {
            if (i)
                m_out += ',';
            m_out += kTitles[m_lang][i];
        }
        m_out += '\n';
        return true;
    }

    bool put(const LogFrame &f) override
    {
        if (f.errorFrame)
            return false; // the frame list has no error frames
        char *o = putDec(m_line, ++m_index);
        o = putText(o, ",=\"");
        const qint64 day = timeOfDayMs(f.timeNs);
        o = putDecWidth(o, quint64(day / 3600000), 2, '0');
        *o++ = ':';
        o = putDecWidth(o, quint64(day / 60000 % 60), 2, '0');
        *o++ = ':';
        o = putDecWidth(o, quint64(day / 1000 % 60), 2, '0');
        *o++ = '.';
        o = putDecWidth(o, quint64(day % 1000), 3, '0');
        o = putText(o, "\",0x");
        o = putHex(o, quint64(std::max<qint64>(f.timeNs, 0) + 500) / 1000, 1);
        *o++ = ',';
        o = putDec(o, f.channel + 1ull);
        o = putText(o, f.received ? ",Rx,0x" : ",Tx,0x");
        o = putHex(o, f.id, f.extended ? 8 : 3);
        *o++ = ',';
        o = putUtf8(o, f.extended ? kExtended[m_lang] : kStandard[m_lang]);
        *o++ = ',';
        o = putUtf8(o, f.remote ? kRemote[m_lang] : kData[m_lang]);
        *o++ = ',';
        const int length = std::min<int>(f.length, f.canFd ? 64 : 8);
        o = putDec(o, quint64(length));
        *o++ = ',';
        o = putUtf8(o, !f.canFd ? "CAN" : (f.bitRateSwitch ? kFdSwitch[m_lang] : "CANFD"));
        *o++ = ',';
        // A received CAN FD remote frame shows no data text at all.
        if (!(f.remote && f.canFd)) {
            o = putText(o, "x| ");
            if (!f.remote)
                for (int i = 0; i < length; ++i) {
                    o = putHex(o, f.data[size_t(i)], 2);
                    *o++ = ' ';
                }
        }
        *o++ = '\n';
        takeLine(o);
        return true;
    }

    bool end() override { return true; }
};

}

std::unique_ptr<LogReader> makeCsvReader() { return std::make_unique<CsvReader>(); }
std::unique_ptr<LogWriter> makeCsvWriter() { return std::make_unique<CsvWriter>(); }
