#pragma once
// One text out of three by the current language code: 0 Simplified Chinese,
// 1 Traditional Chinese, 2 English; any other code counts as 0.
#include <QString>

namespace Lang {
QString pick(const QString &zh, const QString &zht, const QString &en);
QString pick(int code, const QString &zh, const QString &zht, const QString &en);

// Box titles shared by every window.
QString warningTitle(); // 警告 / 警告 / warning
QString noticeTitle(); // 提示 / 提示 / warning
QString tipTitle(); // 提示 / 提示 / tip
QString errorTitle(); // 错误 / 錯誤 / error
}
