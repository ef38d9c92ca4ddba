#include "TextCodec.h"

#include "LogTexts.h"

#include <QFile>

#include <algorithm>
#include <cctype>
#include <limits>

namespace TextCodec {

namespace {
    inline bool isBlank(char c) { return c == ' ' || c == '\t'; }
    inline int hexDigit(char c)
    {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    }
    const char kHex[] = "0123456789ABCDEF";
    constexpr qint64 kPow10[] = { 1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000 };
}

bool Tok::iis(const char *s) const
{
    if (int(std::strlen(s)) != n)
        return false;
    for (int i = 0; i < n; ++i)
        if (std::tolower(static_cast<unsigned char>(p[i])) != std::tolower(static_cast<unsigned char>(s[i])))
            return false;
    return true;
}

bool Tok::startsWith(const char *s) const
{
    const int len = int(std::strlen(s));
    return len <= n && std::memcmp(p, s, size_t(len)) == 0;
}

Tok Tok::mid(int from, int len) const
{
    from = std::min(from, n);
    const int rest = n - from;
    return Tok { p + from, len < 0 ? rest : std::min(len, rest) };
}

int split(Tok line, Tok *out, int max)
{
    int count = 0;
    const char *s = line.p;
    const char *end = line.p + line.n;
    while (s < end && count < max) {
        while (s < end && isBlank(*s))
            ++s;
        if (s == end)
            break;
        const char *start = s;
        if (count == max - 1) {
            const char *e = end;
            while (e > start && isBlank(e[-1]))
                --e;
            out[count++] = Tok { start, int(e - start) };
            break;
        }
        while (s < end && !isBlank(*s))
            ++s;
        out[count++] = Tok { start, int(s - start) };
    }
    return count;
}

int splitAt(Tok line, char sep, Tok *out, int max)
{
    int count = 0;
    const char *s = line.p;
    const char *end = line.p + line.n;
    for (;;) {
        const char *e = static_cast<const char *>(std::memchr(s, sep, size_t(end - s)));
        if (!e)
            e = end;
        if (count < max)
            out[count] = Tok { s, int(e - s) };
        ++count;
        if (e == end)
            return count;
        s = e + 1;
    }
}

bool hexValue(Tok t, quint64 &value, int maxDigits)
{
    if (t.n == 0 || t.n > maxDigits)
        return false;
    quint64 v = 0;
    for (int i = 0; i < t.n; ++i) {
        const int d = hexDigit(t.p[i]);
        if (d < 0)
            return false;
        v = (v << 4) | quint64(d);
    }
    value = v;
    return true;
}

bool decValue(Tok t, quint64 &value, int maxDigits)
{
    if (t.n == 0 || t.n > maxDigits)
        return false;
    quint64 v = 0;
    for (int i = 0; i < t.n; ++i) {
        if (t.p[i] < '0' || t.p[i] > '9')
            return false;
        v = v * 10 + quint64(t.p[i] - '0');
    }
    value = v;
    return true;
}

bool hexByte(Tok t, quint8 &value)
{
    quint64 v;
    if (!hexValue(t, v, 2))
        return false;
    value = quint8(v);
    return true;
}

bool decimalToNs(Tok t, qint64 unitNs, qint64 &ns)
{
    int dot = 0;
    while (dot < t.n && t.p[dot] != '.')
        ++dot;
    quint64 whole = 0;
    if (!decValue(t.mid(0, dot), whole, 12) && !(dot == 0 && t.n > 1))
        return false;
    qint64 frac = 0;
    int digits = 0;
    if (dot < t.n) {
        const Tok f = t.mid(dot + 1);
        if (f.n == 0 && dot == 0)
            return false;
        for (int i = 0; i < f.n; ++i) {
            if (f.p[i] < '0' || f.p[i] > '9')
                return false;
            if (digits < 9) { // beyond a nanosecond of a second nothing counts
                frac = frac * 10 + (f.p[i] - '0');
                ++digits;
            }
        }
    }
    // A time past what 64-bit nanoseconds hold (about 292 years) is not a time
    // stamp: without this, 10000000001.5 seconds overflowed the product.
    if (whole > quint64(std::numeric_limits<qint64>::max() / unitNs) - 1)
        return false;
    ns = qint64(whole) * unitNs + (frac * unitNs + kPow10[digits] / 2) / kPow10[digits];
    return true;
}

char *putDec(char *out, quint64 value)
{
    char tmp[24];
    int n = 0;
    do {
        tmp[n++] = char('0' + value % 10);
        value /= 10;
    } while (value);
    while (n)
        *out++ = tmp[--n];
    return out;
}

char *putDecWidth(char *out, quint64 value, int width, char pad)
{
    char tmp[24];
    char *e = putDec(tmp, value);
    const int n = int(e - tmp);
    for (int i = n; i < width; ++i)
        *out++ = pad;
    std::memcpy(out, tmp, size_t(n));
    return out + n;
}

char *putHex(char *out, quint64 value, int width)
{
    int digits = 1;
    for (quint64 v = value >> 4; v; v >>= 4)
        ++digits;
    digits = std::max(digits, width);
    for (int i = digits - 1; i >= 0; --i) {
        out[i] = kHex[value & 0xF];
        value >>= 4;
    }
    return out + digits;
}

char *putText(char *out, const char *s)
{
    while (*s)
        *out++ = *s++;
    return out;
}

char *putSpaces(char *out, int n)
{
    for (int i = 0; i < n; ++i)
        *out++ = ' ';
    return out;
}

char *putFixed(char *out, qint64 ns, qint64 unitNs, int decimals)
{
    if (ns < 0)
        ns = 0;
    // Step of the last decimal in nanoseconds, e.g. 1000 for seconds with 6 decimals.
    const qint64 step = unitNs / kPow10[decimals];
    const quint64 steps = quint64((ns + step / 2) / step);
    out = putDec(out, steps / quint64(kPow10[decimals]));
    if (decimals > 0) {
        *out++ = '.';
        out = putDecWidth(out, steps % quint64(kPow10[decimals]), decimals, '0');
    }
    return out;
}

char *putFixedWidth(char *out, qint64 ns, qint64 unitNs, int decimals, int width)
{
    char tmp[40];
    char *e = putFixed(tmp, ns, unitNs, decimals);
    const int n = int(e - tmp);
    out = putSpaces(out, width - n);
    std::memcpy(out, tmp, size_t(n));
    return out + n;
}

}

bool TextLogReader::readLine()
{
    const qint64 n = m_file->readLine(m_lineBuf, kMaxLine + 2);
    if (n <= 0)
        return false;
    ++m_line;
    qint64 len = n;
    if (m_lineBuf[len - 1] != '\n' && len > kMaxLine) {
        m_lineTok = TextCodec::Tok { m_lineBuf, 40 };
        return bad(LogTexts::shortLine(kMaxLine), m_lineTok);
    }
    while (len > 0 && (m_lineBuf[len - 1] == '\n' || m_lineBuf[len - 1] == '\r'))
        --len;
    m_lineTok = TextCodec::Tok { m_lineBuf, int(len) };
    return true;
}
