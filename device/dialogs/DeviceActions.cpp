#include "DeviceActions.h"

#include "AppPaths.h"
#include "ChannelSetup.h"
#include "DeviceLayer.h"
#include "INfDialog.h"
#include "Interfaces.h"
#include "Lang.h"
#include "OpenDlg.h"
#include "ParaDialog.h"
#include "Prompt.h"
#include "UpdateDlg.h"

#include <QDebug>

namespace {
QString infoFailedText()
{
    return Lang::pick(QStringLiteral("设备信息获取失败！"), QStringLiteral("設備信息獲取失敗！"),
        QStringLiteral("Device information acquisition failed!"));
}
} // namespace

namespace DeviceActions {
bool applyChannelParameters(QWidget *parent, const std::function<void(const QString &)> &log)
{
    using namespace ChannelSetup;
    if (!isChannelOpen(0) && !isChannelOpen(1)) {
        Prompt::warning(parent, Lang::noticeTitle(), deviceNotOpenText());
        return false;
    }
    {
        ParaDialog dlg(true, true, 3, parent);
        if (dlg.exec() != QDialog::Accepted)
            return false;
    }
    bool applied = false;
    for (unsigned c : { 0u, 1u }) {
        // A closed channel ends the action, even when the next one is running.
        if (!isChannelOpen(c))
            break;
        const Step failed = configure(c, Purpose::Reapply);
        if (failed != Step::None) {
            Prompt::warning(parent, Lang::warningTitle(), failureText(failed));
            return false;
        }
        if (log)
            log(QStringLiteral("设备参数设置成功！"));
        applied = true;
    }
    return applied;
}

void viewChannelParameters(QWidget *parent)
{
    ParaDialog dlg(false, true, 3, parent);
    dlg.exec();
}

void showDeviceInfo(QWidget *parent)
{
    qDebug("getdeviceInfo");
    if (!isDeviceOpen()) {
        Prompt::warning(parent, Lang::warningTitle(), ChannelSetup::deviceNotOpenText());
        return;
    }
    if (!Interfaces::isHaldenD2()) {
        // An interface answers with its names; one that no longer answers has none.
        if (deviceInfoText().isEmpty()) {
            Prompt::warning(parent, Lang::warningTitle(), infoFailedText());
            return;
        }
        INfDialog dlg(Interfaces::current(), parent);
        dlg.exec();
        return;
    }
    DeviceInfoRecord record {};
    readDeviceInfo(record);
    if (record.fwVersion == 0) {
        Prompt::warning(parent, Lang::warningTitle(), infoFailedText());
        return;
    }
    INfDialog dlg(record, parent);
    dlg.exec();
}

void upgradeFirmware(QWidget *parent, int deviceIndex)
{
    // Only the Halden-D2 has firmware of its own (the menu entry is disabled otherwise).
    if (!Interfaces::isHaldenD2())
        return;
    if (!isDeviceOpen()) {
        Prompt::warning(parent, Lang::warningTitle(), ChannelSetup::deviceNotOpenText());
        return;
    }
    // Without an answer there is no version to compare, so nothing is offered.
    const uint16_t firmware = refreshDeviceInfo();
    if (firmware == 0) {
        Prompt::warning(parent, Lang::warningTitle(), infoFailedText());
        return;
    }
    const QString folder = AppPaths::appDir() + QStringLiteral("/firmware");
    const QPair<uint16_t, QString> best = OpenDlg::bestFirmware(folder);
    if (firmware >= best.first) {
        Prompt::information(parent, Lang::tipTitle(),
            Lang::pick(QStringLiteral("固件版本(%1)已是最新，无需升级！"),
                QStringLiteral("固件版本(%1)已是最新，無需升級！"),
                QStringLiteral("The firmware version(%1) is up to date, no upgrade is needed!"))
                .arg(versionText(firmware)));
        return;
    }
    UpdateDlg dlg(versionText(firmware), folder + QLatin1Char('/') + best.second, uint32_t(deviceIndex), parent);
    dlg.exec();
}
}
