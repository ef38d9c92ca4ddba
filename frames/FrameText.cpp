#include "FrameText.h"

#include "SettingsStore.h"

#include <algorithm>
#include <vector>

namespace FrameText {

namespace {
    const char16_t kHexDigits[] = u"0123456789ABCDEF";

    int hexDigitCount(quint64 value)
    {
        int digits = 1;
        while (value >>= 4)
            ++digits;
        return digits;
    }

    // Writes value as exactly `width` upper-case hex digits ending just before `end`.
    void writeHex(QChar *end, quint64 value, int width)
    {
        for (int i = 0; i < width; ++i) {
            *--end = QChar(kHexDigits[value & 0xF]);
            value >>= 4;
        }
    }

    // A copy of `text` whose characters stay for the life of the program and
    // which, like a string literal, is shared without a reference count. The
    // tables below are shared by every frame of every thread: counting each
    // share would have the receive threads and the window all write to the
    // same few counters, bouncing their cache lines between the cores.
    QString permanentText(const QString &text)
    {
        const int size = text.size();
        void *block = ::operator new(sizeof(QStringData) + sizeof(char16_t) * std::size_t(size + 1));
        auto *d = static_cast<QStringData *>(block);
        d->ref.atomic.storeRelaxed(-1); // static: never counted, never freed
        d->size = size;
        d->alloc = 0;
        d->capacityReserved = 0;
        d->offset = sizeof(QStringData);
        std::copy_n(text.utf16(), size, reinterpret_cast<char16_t *>(d->data()));
        reinterpret_cast<char16_t *>(d->data())[size] = 0;
        return QString(QStringDataPtr { d });
    }

    QString prefixedHex(quint64 value, int minWidth)
    {
        const int width = std::max(hexDigitCount(value), minWidth);
        QString text(2 + width, Qt::Uninitialized);
        QChar *out = text.data();
        out[0] = QLatin1Char('0');
        out[1] = QLatin1Char('x');
        writeHex(out + 2 + width, value, width);
        return text;
    }
} // namespace

QString idText(uint32_t idWord)
{
    const uint32_t id = idWord & kIdMask;
    if (idWord & kExtendedBit)
        return prefixedHex(id, 8);
    // The 2048 standard identifiers are made once and then shared by every
    // frame; the table is never destroyed, as its texts are never freed.
    static const std::vector<QString> *const standard = [] {
        auto *texts = new std::vector<QString>;
        texts->reserve(0x800);
        for (uint32_t i = 0; i < 0x800; ++i)
            texts->push_back(permanentText(prefixedHex(i, 3)));
        return texts;
    }();
    if (id < 0x800)
        return (*standard)[id];
    return prefixedHex(id, 3);
}

QString dataText(const uint8_t *data, unsigned length)
{
    if (length == 0)
        return QStringLiteral("x| ");
    QString text(3 + 3 * int(length), Qt::Uninitialized);
    QChar *out = text.data();
    *out++ = QLatin1Char('x');
    *out++ = QLatin1Char('|');
    *out++ = QLatin1Char(' ');
    for (unsigned i = 0; i < length; ++i) {
        *out++ = QChar(kHexDigits[data[i] >> 4]);
        *out++ = QChar(kHexDigits[data[i] & 0xF]);
        *out++ = QLatin1Char(' ');
    }
    return text;
}

QString hexTimeStamp(quint64 micros) { return prefixedHex(micros, 1); }

QString decimalTimeStamp(quint64 micros) { return QString::number(double(micros) * 0.000001, 'f', 4); }

QString receivedTimeStamp(quint64 micros)
{
    // Looked up per frame so that switching the option applies from the next frame on.
    thread_local SettingsStore::NumberReader timeHex(QStringLiteral("timeHex"), QStringLiteral("1"));
    if (timeHex.read() == 0)
        return decimalTimeStamp(micros);
    return hexTimeStamp(micros);
}

QString transmittedTimeStamp() { return QStringLiteral("无"); }

QString formatText(int lang, bool extended)
{
    switch (lang) {
    case 0:
        return extended ? QStringLiteral("扩展帧") : QStringLiteral("标准帧");
    case 1:
        return extended ? QStringLiteral("擴展幀") : QStringLiteral("標準幀");
    case 2:
        return extended ? QStringLiteral("Extended Frame") : QStringLiteral("Standard Frame");
    default:
        return QString();
    }
}

QString typeText(int lang, bool remote)
{
    // The English data-frame text starts in lower case; saved frame files
    // depend on it, so it stays that way.
    switch (lang) {
    case 0:
        return remote ? QStringLiteral("远程帧") : QStringLiteral("数据帧");
    case 1:
        return remote ? QStringLiteral("遠程幀") : QStringLiteral("數據幀");
    case 2:
        return remote ? QStringLiteral("Remote Frame") : QStringLiteral("data frame");
    default:
        return QString();
    }
}

QString protocolText(int lang, bool canFd, uint8_t flags)
{
    if (!canFd)
        return QStringLiteral("CAN");
    // Only the value 1 means bit-rate switch; other flag bits do not count.
    if (flags == 1) {
        if (lang == 0 || lang == 1)
            return QStringLiteral("CANFD-加速");
        if (lang == 2)
            return QStringLiteral("CANFD-acceleration");
    }
    return QStringLiteral("CANFD");
}

char *decimalDigits(quint64 n, char (&out)[20])
{
    char *first = out + sizeof out;
    do {
        *--first = char('0' + n % 10);
        n /= 10;
    } while (n);
    return first;
}

QString indexText(quint64 n)
{
    char digits[20];
    const char *first = decimalDigits(n, digits);
    const int count = int(digits + sizeof digits - first);
    QString text(count, Qt::Uninitialized);
    QChar *out = text.data();
    for (int i = 0; i < count; ++i)
        out[i] = QLatin1Char(first[i]);
    return text;
}

QString channelText(unsigned channel)
{
    if (channel == 0)
        return QStringLiteral("1");
    if (channel == 1)
        return QStringLiteral("2");
    return QString::number(quint64(channel) + 1);
}

QString directionText(bool received) { return received ? QStringLiteral("Rx") : QStringLiteral("Tx"); }

QString lengthText(unsigned length)
{
    // Built once and never destroyed; afterwards every frame only shares one of these.
    static const QVector<QString> *const table = [] {
        auto *t = new QVector<QString>;
        t->reserve(65);
        for (int i = 0; i <= 64; ++i)
            t->append(permanentText(QString::number(i)));
        return t;
    }();
    if (length <= 64)
        return table->at(int(length));
    return QString::number(length);
}

void fillFrameTexts(ModelItem &item, int lang, uint32_t idWord, unsigned length, const uint8_t *data,
    unsigned dataCapacity, bool canFd, uint8_t flags, bool blankRemoteData)
{
    const bool extended = idWord & kExtendedBit;
    const bool remote = idWord & kRemoteBit;
    item.idText = idText(idWord);
    item.formatText = formatText(lang, extended);
    item.typeText = typeText(lang, remote);
    item.dlcText = lengthText(length);
    item.protocolText = protocolText(lang, canFd, flags);
    if (remote)
        item.dataText = blankRemoteData ? QString() : dataText(data, 0);
    else
        item.dataText = dataText(data, std::min(length, dataCapacity));
}

}
