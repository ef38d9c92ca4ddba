#include "Lang.h"

#include "DeviceLayer.h"

namespace Lang {
QString pick(int code, const QString &zh, const QString &zht, const QString &en)
{
    switch (code) {
    case 1:
        return zht;
    case 2:
        return en;
    default:
        return zh;
    }
}

QString pick(const QString &zh, const QString &zht, const QString &en) { return pick(languageCode(), zh, zht, en); }

QString warningTitle() { return pick(QStringLiteral("警告"), QStringLiteral("警告"), QStringLiteral("warning")); }

QString noticeTitle() { return pick(QStringLiteral("提示"), QStringLiteral("提示"), QStringLiteral("warning")); }

QString tipTitle() { return pick(QStringLiteral("提示"), QStringLiteral("提示"), QStringLiteral("tip")); }

QString errorTitle() { return pick(QStringLiteral("错误"), QStringLiteral("錯誤"), QStringLiteral("error")); }
}
