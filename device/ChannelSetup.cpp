#include "ChannelSetup.h"

#include "DeviceLayer.h"
#include "Lang.h"
#include "SettingsStore.h"

#include <QStringList>

namespace ChannelSetup {
QString paramKey(int channelNumber, const char *name)
{
    return QStringLiteral("ch") + QString::number(channelNumber) + QStringLiteral("param") + QLatin1String(name);
}

QString param(int channelNumber, const char *name, const QString &defaultValue)
{
    return SettingsStore::value(paramKey(channelNumber, name), defaultValue);
}

uint32_t paramNumber(int channelNumber, const char *name)
{
    return param(channelNumber, name, QStringLiteral("0")).toUInt();
}

bool writeFilterRows(unsigned ch, const QString &rowText)
{
    if (!clearFilter(ch))
        return false;
    const QStringList rows = rowText.split(QLatin1Char('|'));
    for (const QString &row : rows) {
        const QStringList f = row.split(QLatin1Char('-'));
        if (!setFilterRange(
                ch, f.value(0).toUInt(), QStringLiteral("0x") + f.value(1), QStringLiteral("0x") + f.value(2)))
            return false;
    }
    return ackFilter(ch);
}

QString standardFailedText()
{
    return Lang::pick(QStringLiteral("设置CANFD标准失败！"), QStringLiteral("設置CANFD標準失敗！"),
        QStringLiteral("Failed to set CANFD standard!"));
}

QString baudRateFailedText()
{
    return Lang::pick(QStringLiteral("设置波特率失败！"), QStringLiteral("設置波特率失敗！"),
        QStringLiteral("Setting baud rate failed!"));
}

QString customBaudRateFailedText()
{
    return Lang::pick(QStringLiteral("设置自定义波特率失败！"), QStringLiteral("設置自定義波特率失敗！"),
        QStringLiteral("Setting custom baud rate failed!"));
}

QString initFailedText()
{
    return Lang::pick(QStringLiteral("CAN初始化失败！"), QStringLiteral("CAN初始化失敗！"),
        QStringLiteral("CAN Initialization failed!"));
}

QString filterFailedText()
{
    return Lang::pick(QStringLiteral("设置滤波失败！"), QStringLiteral("設置濾波失敗！"),
        QStringLiteral("Setting filtering failed!"));
}

QString startFailedText()
{
    return Lang::pick(
        QStringLiteral("CAN启动失败！"), QStringLiteral("CAN啓動失敗！"), QStringLiteral("CAN start failed!"));
}

QString deviceNotOpenText()
{
    return Lang::pick(
        QStringLiteral("设备未打开！"), QStringLiteral("設備未打開！"), QStringLiteral("The device is not opened!"));
}
}
