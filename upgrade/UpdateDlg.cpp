#include "UpdateDlg.h"
#include "ui_UpdateDlg.h"

#include "DeviceLayer.h"
#include "DpiScaler.h"
#include "Lang.h"
#include "Prompt.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QProgressBar>
#include <QStorageInfo>

namespace {
const QString kBootLoaderVolume = QStringLiteral("CRP DISABLD");
constexpr int kMaxAttempts = 16; // the 16th step fails without looking: about 15 s of waiting
constexpr int kPollMs = 1000;

UpdateDlg::VolumeLister g_lister;
std::function<void()> g_quit;

QList<QPair<QString, QString>> storageVolumes()
{
    QList<QPair<QString, QString>> out;
    for (const QStorageInfo &v : QStorageInfo::mountedVolumes())
        out.append(qMakePair(v.name(), v.rootPath()));
    return out;
}
} // namespace

UpdateDlg::UpdateDlg(const QString &versionText, const QString &sourcePath, uint32_t deviceIndex, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::UpdateDlg)
    , m_progress(new QProgressBar(this))
    , m_sourcePath(sourcePath)
    , m_deviceIndex(deviceIndex)
{
    ui->setupUi(this);
    m_progress->setObjectName(QStringLiteral("progressBar"));
    m_progress->setRange(0, kMaxAttempts);
    m_progress->setValue(0);
    ui->progressLayout->addWidget(m_progress);

    ui->label->setText(Lang::pick(QStringLiteral("固件版本(%1)过低，是否升级固件？"),
        QStringLiteral("固件版本(%1)過低，是否升級固件？"),
        QStringLiteral("The firmware version(%1)is too low，Do you want to upgrade the firmware?"))
                           .arg(versionText));

    m_poll.setSingleShot(true);
    m_poll.setInterval(kPollMs);
    connect(&m_poll, &QTimer::timeout, this, &UpdateDlg::timer);
    DpiScaler::attach(this);
}

UpdateDlg::~UpdateDlg() = default;

QString UpdateDlg::sourcePath() const { return m_sourcePath; }

int UpdateDlg::attempts() const { return m_attempts; }

void UpdateDlg::setVolumeLister(VolumeLister lister) { g_lister = std::move(lister); }

void UpdateDlg::setQuitHandler(std::function<void()> quit) { g_quit = std::move(quit); }

QList<QPair<QString, QString>> UpdateDlg::mountedVolumes() { return g_lister ? g_lister() : storageVolumes(); }

void UpdateDlg::on_pushButton_clicked()
{
    if (m_started)
        return;
    m_started = true;
    // A boot-loader drive that is already there belongs to some other
    // adapter (or an earlier attempt) and is never written to.
    m_knownDrives.clear();
    for (const auto &v : mountedVolumes()) {
        if (v.first.contains(kBootLoaderVolume))
            m_knownDrives.append(v.second);
    }
    ui->label->setText(Lang::pick(QStringLiteral("警告：升级固件中，请勿关闭此界面及拔出设备。"),
        QStringLiteral("警告：升級固件中，請勿關閉此界面及拔除設備。"),
        QStringLiteral("Warning: Do not close this interface or unplug the device during firmware "
                       "upgrade.")));
    ui->pushButton->setEnabled(false);
    ui->pushButton_2->setEnabled(false);
    // The restart blocks in the driver; let the warning be painted first.
    QTimer::singleShot(1, this, &UpdateDlg::restartDevice);
}

void UpdateDlg::on_pushButton_2_clicked() { QDialog::reject(); }

void UpdateDlg::restartDevice()
{
    if (!updateDevice(m_deviceIndex)) {
        qDebug("updateDevice error");
        finish(false);
        return;
    }
    m_poll.start();
}

void UpdateDlg::timer()
{
    if (!m_started || m_finished)
        return;
    ++m_attempts;
    m_progress->setValue(m_attempts);
    if (m_attempts >= kMaxAttempts) {
        finish(false);
        return;
    }
    if (copyFirmware()) {
        finish(true);
        return;
    }
    // start() also re-arms a pending shot, so a direct call never doubles the polling.
    m_poll.start();
}

bool UpdateDlg::copyFirmware()
{
    QString root;
    for (const auto &v : mountedVolumes()) {
        if (v.first.contains(kBootLoaderVolume) && !m_knownDrives.contains(v.second)) {
            root = v.second;
            break;
        }
    }
    if (root.isEmpty())
        return false;
    const QString target = QDir(root).filePath(QStringLiteral("firmware.bin"));
    if (QFile::exists(target))
        QFile::remove(target);
    return QFile::copy(m_sourcePath, target);
}

void UpdateDlg::finish(bool success)
{
    m_finished = true;
    m_poll.stop();
    if (success) {
        m_progress->setValue(m_progress->maximum());
        Prompt::information(this, Lang::tipTitle(),
            Lang::pick(QStringLiteral("固件升级成功，请重新插拔设备并重启软件！"),
                QStringLiteral("固件升級成功，請重新插拔設備並重啓軟件！"),
                QStringLiteral("Firmware upgrade successfully, please reinsert or unplug the "
                               "device and restart the software!")));
    } else {
        Prompt::critical(this, Lang::errorTitle(),
            Lang::pick(QStringLiteral("固件升级失败，请重新插拔设备并重启软件！"),
                QStringLiteral("固件升級失敗，請重新插拔設備並重啓軟件！"),
                QStringLiteral("Firmware upgrade failed, please reinsert or unplug the device and "
                               "restart the software!")));
    }
    if (g_quit)
        g_quit();
    else
        QCoreApplication::quit();
    done(success ? QDialog::Accepted : QDialog::Rejected);
}

void UpdateDlg::reject()
{
    // Once the adapter is restarting there is no way back out of the dialog.
    if (m_started && !m_finished)
        return;
    QDialog::reject();
}

void UpdateDlg::closeEvent(QCloseEvent *event)
{
    if (m_started && !m_finished) {
        event->ignore();
        return;
    }
    QDialog::closeEvent(event);
}

void UpdateDlg::changeEvent(QEvent *event)
{
    // The question and the warning keep the language they were shown in.
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
