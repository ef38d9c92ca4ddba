#include "ListSendRow.h"

#include "FrameText.h"
#include "ModelItem.h"
#include "SendRules.h"

#include <QStringList>

QString ListSendRow::dataText() const
{
    return SendRules::bytesText(reinterpret_cast<const uint8_t *>(data.constData()), data.size());
}

void ListSendRow::fitData()
{
    const int n = qMax(0, length);
    if (data.size() > n)
        data.truncate(n);
    else if (data.size() < n)
        data.append(QByteArray(n - data.size(), '\0'));
}

bool ListSendRow::isValid() const
{
    return channel < 2 && SendRules::idInRange(id, extended) && protocol >= 0 && protocol <= 2 && !(remote && canFd())
        && SendRules::isValidLength(length, canFd()) && data.size() == length && periodMs >= kMinPeriodMs
        && periodMs <= kMaxPeriodMs && count >= 0;
}

int ListSendRow::fittingLength(int bytes)
{
    for (int n : SendRules::lengths())
        if (n >= bytes)
            return n;
    return SendRules::lengths().last();
}

ListSendRow ListSendRow::fromFrame(const ModelItem &item)
{
    ListSendRow row;
    row.channel = item.channel ? 1 : 0;
    row.id = item.idText.mid(2).toUInt(nullptr, 16) & FrameText::kIdMask;
    for (int lang = 0; lang < 3; ++lang) {
        row.extended |= item.formatText == FrameText::formatText(lang, true);
        row.remote |= item.typeText == FrameText::typeText(lang, true);
    }
    if (!SendRules::idInRange(row.id, row.extended))
        row.extended = true;
    const bool fd = !row.remote && item.protocolText.contains(QLatin1String("CANFD"));
    row.protocol = fd ? (item.protocolText.contains(QLatin1Char('-')) ? 2 : 1) : 0;
    // A length between the ones a sender offers goes up to the next one.
    const int dlc = item.dlcText.toInt();
    row.length = fd ? 64 : 8;
    for (int n : SendRules::lengths()) {
        if (n >= dlc && SendRules::isValidLength(n, fd)) {
            row.length = n;
            break;
        }
    }
    uint8_t bytes[64];
    SendRules::parseBytes(item.dataText.mid(3), bytes);
    row.data = QByteArray(reinterpret_cast<const char *>(bytes), row.length);
    return row;
}

bool ListSendRow::operator==(const ListSendRow &o) const
{
    return enabled == o.enabled && channel == o.channel && id == o.id && extended == o.extended && remote == o.remote
        && protocol == o.protocol && length == o.length && data == o.data && periodMs == o.periodMs && count == o.count
        && idIncrement == o.idIncrement && dataIncrement == o.dataIncrement && name == o.name;
}
