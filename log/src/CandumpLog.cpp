// Linux can-utils log (.log), one frame per line as "candump -l" writes it:
//
//   (1717401304.123456) can0 123#0102030405060708 R
//   (1717401304.123470) can1 12345678#R4 T
//   (1717401304.123500) can0 123##1000102030405060708090A0B R     (CAN FD: flags nibble after "##")
//   (1717401304.123600) can0 20000080#0000000000000000            (error frame)
//
// Identifiers of 3 hex digits are standard, 8 extended; bit 29 of an 8-digit
// identifier marks an error frame. FD flags: bit 0 bit-rate switch, bit 1 error
// state indicator. The trailing R / T (direction) is optional; without it the
// frame counts as received. Interface names map to channels by their trailing
// number (can0, vcan1, slcan0 ...); names without one by order of appearance.

#include "Formats.h"
#include "LogTexts.h"
#include "TextCodec.h"

#include <QHash>

using namespace TextCodec;

namespace {

constexpr quint32 kErrorFlag = 0x20000000u;
constexpr quint32 kBusError = 0x00000080u;

class CandumpReader final : public TextLogReader {
    QHash<QByteArray, quint32> m_unnumbered;

    quint32 channelOf(Tok name)
    {
        int digits = 0;
        while (digits < name.n && name.p[name.n - 1 - digits] >= '0' && name.p[name.n - 1 - digits] <= '9')
            ++digits;
        quint64 number;
        if (digits > 0 && decValue(name.mid(name.n - digits), number, 9))
            return quint32(number);
        const QByteArray key(name.p, name.n);
        const auto it = m_unnumbered.constFind(key);
        if (it != m_unnumbered.constEnd())
            return *it;
        const quint32 channel = quint32(m_unnumbered.size());
        m_unnumbered.insert(key, channel);
        return channel;
    }

    bool dataHex(Tok d, int max, LogFrame &f)
    {
        int count = 0;
        for (int i = 0; i < d.n;) {
            if (d.p[i] == '.') { // optional byte separators
                ++i;
                continue;
            }
            if (count == max)
                return bad(LogTexts::dataLength(max), d);
            quint8 byte;
            if (i + 1 >= d.n || !hexByte(d.mid(i, 2), byte))
                return bad(LogTexts::dataByte(), d.mid(i, 2));
            f.data[size_t(count++)] = byte;
            i += 2;
        }
        f.length = quint8(count);
        return true;
    }

protected:
    bool readHeader() override { return true; }

    bool readFrame(LogFrame &f) override
    {
        while (readLine()) {
            Tok t[5];
            const int n = split(m_lineTok, t, 5);
            if (n == 0)
                continue;
            if (t[0].n < 3 || t[0].p[0] != '(' || t[0].last() != ')'
                || !decimalToNs(t[0].mid(1, t[0].n - 2), 1000000000LL, f.timeNs))
                return bad(LogTexts::timeStamp(), t[0]);
            if (n < 3)
                return bad(LogTexts::identifier(), m_lineTok.mid(m_lineTok.n));
            if (n > 4)
                return bad(LogTexts::direction(), t[4]);
            f.channel = channelOf(t[1]);
            if (n == 4) {
                if (!t[3].is("R") && !t[3].is("T"))
                    return bad(LogTexts::direction(), t[3]);
                f.received = t[3].is("R");
            }
            const Tok frame = t[2];
            int hash = 0;
            while (hash < frame.n && frame.p[hash] != '#')
                ++hash;
            if (hash == frame.n)
                return bad(LogTexts::frameKind(QStringLiteral("<id>#<data>")), frame);
            quint64 id;
            if ((hash != 3 && hash != 8) || !hexValue(frame.mid(0, hash), id, 8))
                return bad(LogTexts::identifier(), frame.mid(0, hash));
            if (hash == 8 && (id & kErrorFlag)) { // an error frame keeps only its time and channel
                f.received = true;
                f.errorFrame = true;
                return true;
            }
            f.extended = hash == 8;
            f.id = quint32(id & 0x1FFFFFFF);
            Tok rest = frame.mid(hash + 1);
            if (rest.n > 0 && rest.p[0] == '#') {
                quint64 flags;
                if (rest.n < 2 || !hexValue(rest.mid(1, 1), flags, 1))
                    return bad(LogTexts::frameKind(QStringLiteral("##<flags 0..F>")), rest);
                f.canFd = true;
                f.bitRateSwitch = flags & 0x1;
                f.errorStateIndicator = flags & 0x2;
                return dataHex(rest.mid(2), 64, f);
            }
            if (rest.n > 0 && (rest.p[0] == 'R' || rest.p[0] == 'r')) {
                f.remote = true;
                quint64 length = 0;
                if (rest.n > 1 && (!decValue(rest.mid(1), length, 1) || length > 8))
                    return bad(LogTexts::dataLength(8), rest.mid(1));
                f.length = quint8(length);
                return true;
            }
            return dataHex(rest, 8, f);
        }
        return false;
    }
};

class CandumpWriter final : public TextLogWriter {
protected:
    bool begin() override { return true; }

    bool put(const LogFrame &f) override
    {
        const qint64 us = (std::max<qint64>(f.timeNs, 0) + 500) / 1000;
        char *o = m_line;
        *o++ = '(';
        o = putDecWidth(o, quint64(us / 1000000), 10, '0');
        *o++ = '.';
        o = putDecWidth(o, quint64(us % 1000000), 6, '0');
        o = putText(o, ") can");
        o = putDec(o, f.channel);
        *o++ = ' ';
        if (f.errorFrame) {
            o = putHex(o, kErrorFlag | kBusError, 8);
            o = putText(o, "#0000000000000000\n");
            takeLine(o);
            return true;
        }
        o = putHex(o, f.id, f.extended ? 8 : 3);
        *o++ = '#';
        if (f.remote) {
            *o++ = 'R';
            if (f.length > 0)
                o = putDec(o, std::min<int>(f.length, 8));
        } else {
            int length = std::min<int>(f.length, 8);
            if (f.canFd) {
                *o++ = '#';
                o = putHex(o, (f.bitRateSwitch ? 1u : 0u) | (f.errorStateIndicator ? 2u : 0u), 1);
                length = std::min<int>(f.length, 64);
            }
            for (int i = 0; i < length; ++i)
                o = putHex(o, f.data[size_t(i)], 2);
        }
        o = putText(o, f.received ? " R\n" : " T\n");
        takeLine(o);
        return true;
    }

    bool end() override { return true; }
};

}

std::unique_ptr<LogReader> makeCandumpReader() { return std::make_unique<CandumpReader>(); }
std::unique_ptr<LogWriter> makeCandumpWriter() { return std::make_unique<CandumpWriter>(); }
