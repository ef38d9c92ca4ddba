#include "OpenDlg.h"
#include "ui_OpenDlg.h"

#include "AppPaths.h"
#include "ChannelSetup.h"
#include "DeviceLayer.h"
#include "DpiScaler.h"
#include "FirmwareName.h"
#include "Interfaces.h"
#include "Lang.h"
#include "ParaDialog.h"
#include "Prompt.h"
#include "UpdateDlg.h"

#include <QDebug>
#include <QDir>
#include <QEvent>
#include <QStringList>

namespace {
constexpr uint32_t kDeviceType = 41;
constexpr uint16_t kFirmwareFloor = 0x211;
} // namespace

OpenDlg::OpenDlg(int deviceIndex, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::OpenDlg)
    , m_deviceIndex(deviceIndex)
{
    ui->setupUi(this);
    if (deviceIndex >= 0 && deviceIndex < ui->deviceCombo->count())
        ui->deviceCombo->setCurrentIndex(deviceIndex);
    initDlg();
    DpiScaler::attach(this);
}

OpenDlg::~OpenDlg() = default;

int OpenDlg::deviceIndex() const { return m_deviceIndex; }

bool OpenDlg::channelOpened(int ch) const { return (ch == 0 || ch == 1) && m_opened[ch]; }

QPair<uint16_t, QString> OpenDlg::bestFirmware(const QString &folder)
{
    QPair<uint16_t, QString> best(kFirmwareFloor, QStringLiteral("firmware.bin"));
    const QStringList files = QDir(folder).entryList({ QStringLiteral("*.bin") }, QDir::Files);
    for (const QString &name : files) {
        const int version = FirmwareName::version(name);
        if (version < 0)
            continue;
        const uint16_t word = uint16_t(version);
        if (word > best.first) {
            best.first = word;
            best.second = name;
            qDebug("%x", word);
        }
    }
    return best;
}

void OpenDlg::initDlg()
{
    const bool dev = isDeviceOpen();
    const bool ch0 = isChannelOpen(0);
    const bool ch1 = isChannelOpen(1);
    ui->deviceCombo->setEnabled(!dev);
    ui->pushButton->setEnabled(!dev);
    ui->pushButton_2->setEnabled(dev && (!ch0 || !ch1));
    ui->pushButton_3->setEnabled(dev && !ch0);
    ui->pushButton_4->setEnabled(dev && !ch1);
    ui->pushButton_5->setEnabled(dev);
    ui->pushButton_6->setEnabled(dev && (ch0 || ch1));
    ui->pushButton_8->setEnabled(dev && ch0);
    ui->pushButton_9->setEnabled(dev && ch1);
}

void OpenDlg::warn(const QString &text) { Prompt::warning(this, Lang::warningTitle(), text); }

void OpenDlg::on_pushButton_clicked()
{
    const int index = ui->deviceCombo->currentIndex();
    if (!openDevice(kDeviceType, uint32_t(index), 0)) {
        warn(Lang::pick(QStringLiteral("设备打开失败！"), QStringLiteral("設備打開失敗！"),
            QStringLiteral("Device opening failed!")));
        initDlg();
        return;
    }
    m_deviceIndex = index;
    const uint16_t firmware = refreshDeviceInfo();
    initDlg();
    // The firmware check belongs to the Halden-D2; an interface has no firmware of ours.
    if (!Interfaces::isHaldenD2())
        return;

    const QString folder = AppPaths::appDir() + QStringLiteral("/firmware");
    const QPair<uint16_t, QString> best = bestFirmware(folder);
    if (firmware < best.first) {
        UpdateDlg dlg(versionText(firmware), folder + QLatin1Char('/') + best.second, uint32_t(index), this);
        dlg.exec();
    }
}

void OpenDlg::openCh(int ch)
{
    const int selector = ch >= 2 ? 3 : ch;
    {
        ParaDialog dlg(true, false, selector, this);
        if (dlg.exec() != QDialog::Accepted)
            return;
    }
    const QList<unsigned> channels = selector == 3 ? QList<unsigned> { 0, 1 } : QList<unsigned> { unsigned(selector) };
    for (unsigned i : channels) {
        if (isChannelOpen(i))
            continue;
        // A failure abandons this channel only; the other one is still tried.
        if (configureChannel(i))
            m_opened[i] = true;
    }
}

bool OpenDlg::configureChannel(unsigned i)
{
    const ChannelSetup::Step failed = ChannelSetup::configure(i, ChannelSetup::Purpose::Open);
    if (failed != ChannelSetup::Step::None) {
        warn(ChannelSetup::failureText(failed));
        return false;
    }
    return true;
}

void OpenDlg::on_pushButton_2_clicked()
{
    const bool ch0 = isChannelOpen(0);
    const bool ch1 = isChannelOpen(1);
    if (!ch0 && !ch1)
        openCh(3);
    else if (!ch0)
        openCh(0);
    else if (!ch1)
        openCh(1);
    initDlg();
}

void OpenDlg::on_pushButton_3_clicked()
{
    openCh(0);
    initDlg();
}

void OpenDlg::on_pushButton_4_clicked()
{
    openCh(1);
    initDlg();
}

void OpenDlg::on_pushButton_5_clicked()
{
    closeDevice();
    setWindowTitle(tr("打开设备"));
    emit deviceClosed();
    initDlg();
}

void OpenDlg::on_pushButton_6_clicked()
{
    for (unsigned i : { 0u, 1u }) {
        if (isChannelOpen(i))
            resetChannel(i);
    }
    initDlg();
}

void OpenDlg::on_pushButton_7_clicked() { accept(); }

void OpenDlg::on_pushButton_8_clicked()
{
    resetChannel(0);
    initDlg();
}

void OpenDlg::on_pushButton_9_clicked()
{
    resetChannel(1);
    initDlg();
}

void OpenDlg::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
