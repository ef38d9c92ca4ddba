#include "DeviceActions.h"

#include "ChannelSetup.h"
#include "DeviceLayer.h"
#include "INfDialog.h"
#include "Lang.h"
#include "ParaDialog.h"
#include "Prompt.h"

#include <QDebug>

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
    DeviceInfoRecord record {};
    readDeviceInfo(record);
    if (record.fwVersion == 0) {
        Prompt::warning(parent, Lang::warningTitle(),
            Lang::pick(QStringLiteral("设备信息获取失败！"), QStringLiteral("設備信息獲取失敗！"),
                QStringLiteral("Device information acquisition failed!")));
        return;
    }
    INfDialog dlg(record, parent);
    dlg.exec();
}
}
