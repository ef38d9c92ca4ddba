#include "SendRules.h"

#include "Lang.h"

#include <QStringList>
#include <algorithm>
#include <cstring>

namespace SendRules {

const QVector<int> &lengths()
{
    static const QVector<int> all { 0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64 };
    return all;
}

bool isValidLength(int length, bool canFd)
{
    const QVector<int> &all = lengths();
    const int index = int(all.indexOf(length));
    return index >= 0 && (canFd || index < kClassicLengthCount);
}

QString normaliseData(const QString &text)
{
    QString result;
    const QStringList pieces = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (QString piece : pieces) {
        if (piece.size() % 2)
            piece.prepend(QLatin1Char('0'));
        for (int pos = piece.size() - 2; pos > 0; pos -= 2)
            piece.insert(pos, QLatin1Char(' '));
        result += piece;
        result += QLatin1Char(' ');
    }
    while (result.endsWith(QLatin1Char(' ')))
        result.chop(1);
    return result;
}

QString cutData(const QString &normalised, int length)
{
    const int bytes = normalised.split(QLatin1Char(' '), Qt::SkipEmptyParts).size();
    return bytes > length ? normalised.left(length * 3) : normalised;
}

int parseBytes(const QString &text, uint8_t (&buffer)[64])
{
    std::fill(std::begin(buffer), std::end(buffer), uint8_t(0));
    const QStringList pieces = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    int n = 0;
    for (const QString &piece : pieces) {
        if (n >= 64)
            break;
        buffer[n++] = static_cast<uint8_t>(piece.toUInt(nullptr, 16));
    }
    return n;
}

QString bytesText(const uint8_t *data, int count)
{
    QString text;
    text.reserve(count * 3);
    for (int i = 0; i < count; ++i) {
        if (i)
            text += QLatin1Char(' ');
        text += QStringLiteral("%1").arg(data[i], 2, 16, QLatin1Char('0')).toUpper();
    }
    return text;
}

int parseId(const QString &text)
{
    bool ok = false;
    const int id = text.toInt(&ok, 16);
    return ok ? id : 0;
}

bool idInRange(qint64 id, bool extended) { return extended ? id < 0x20000000 : id < 0x800; }

QString idRangeMessage(bool extended, unsigned channel)
{
    if (!extended)
        return Lang::pick(QStringLiteral("发送失败，标准帧ID范围为0~0x7FF！"),
            channel == 0 ? QStringLiteral("發送失敗，標準幀ID範圍為0~0x7FF！")
                         : QStringLiteral("发送失败，標準幀ID範圍為0~0x7FF！"),
            QStringLiteral("Sending failed, standard frame ID range is 0~0x7FF!"));
    return Lang::pick(QStringLiteral("发送失败，扩展帧ID范围为0~0x1FFFFFFF！"),
        channel == 0 ? QStringLiteral("發送失敗，擴展幀ID範圍為0~0x1FFFFFFF！")
                     : QStringLiteral("发送失败，擴展幀ID範圍為0~0x1FFFFFFF！"),
        QStringLiteral("Sending failed, expanding frame ID range from 0 to 0x1FFFFFFFF!"));
}

QString channelNotOpenMessage(unsigned channel)
{
    return channel == 0 ? Lang::pick(QStringLiteral("通道1未打开！"), QStringLiteral("通道1未打開！"),
               QStringLiteral("Channel 1 is not open!"))
                        : Lang::pick(QStringLiteral("通道2未打开！"), QStringLiteral("通道2未打開！"),
                            QStringLiteral("Channel 2 is not open!"));
}

uint32_t nextId(uint32_t id, bool extended)
{
    ++id;
    if (extended ? id == 0x20000000u : id == 0x800u)
        id = 0;
    return id;
}

void incrementData(uint8_t *data, unsigned length)
{
    for (unsigned i = 0; i < length; ++i) {
        if (++data[i] != 0)
            break;
    }
}

void fillRecord(CanTransmitRecord &rec, uint32_t idWord, unsigned length, const uint8_t *data64, uint32_t transmitType)
{
    std::memset(&rec, 0, sizeof rec);
    rec.id = idWord;
    rec.length = uint8_t(std::min<unsigned>(length, sizeof rec.data));
    std::memcpy(rec.data, data64, sizeof rec.data);
    rec.transmitType = transmitType;
}

void fillRecord(CanFdTransmitRecord &rec, uint32_t idWord, unsigned length, const uint8_t *data64, uint8_t flags,
    uint32_t transmitType)
{
    std::memset(&rec, 0, sizeof rec);
    rec.id = idWord;
    rec.length = uint8_t(std::min<unsigned>(length, sizeof rec.data));
    rec.flags = flags;
    std::memcpy(rec.data, data64, sizeof rec.data);
    rec.transmitType = transmitType;
}

}
