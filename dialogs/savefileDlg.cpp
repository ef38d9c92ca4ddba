#include "savefileDlg.h"
#include "ui_savefileDlg.h"

#include "DpiScaler.h"
#include "FileDialogs.h"
#include "LogFormat.h"
#include "SettingsStore.h"

#include <QEvent>
#include <QFile>

namespace {
// The split option keeps its own settings, under its widgets' names.
const QString kSplitKey = QStringLiteral("splitCheck");
const QString kSplitSizeKey = QStringLiteral("splitSizeSpin");
const QString kSplitTimeKey = QStringLiteral("splitTimeSpin");
} // namespace

savefileDlg::savefileDlg(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::savefileDlg)
{
    ui->setupUi(this);
    ui->labelHint->hide();
    ui->splitCheck->setChecked(SettingsStore::value(kSplitKey, QStringLiteral("0")) == QLatin1String("1"));
    ui->splitSizeSpin->setValue(SettingsStore::value(kSplitSizeKey, QStringLiteral("100")).toInt());
    ui->splitTimeSpin->setValue(SettingsStore::value(kSplitTimeKey, QStringLiteral("60")).toInt());
    on_splitCheck_toggled(ui->splitCheck->isChecked());
    DpiScaler::attach(this);
}

savefileDlg::~savefileDlg() = default;

QString savefileDlg::path() const { return m_path; }

int savefileDlg::mode() const { return m_mode; }

qint64 savefileDlg::splitBytes() const { return m_splitBytes; }

qint64 savefileDlg::splitMs() const { return m_splitMs; }

void savefileDlg::on_splitCheck_toggled(bool on)
{
    ui->splitSizeSpin->setEnabled(on);
    ui->splitTimeSpin->setEnabled(on);
}

void savefileDlg::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}

// Creating (or emptying) the file right away is deliberate: the user learns
// at once that a folder is not writable, before any frame is lost.
bool savefileDlg::targetUsable(const QString &fileName) const
{
    QFile file(fileName);
    const bool written = file.open(QIODevice::ReadWrite | QIODevice::Truncate);
    file.close();
    if (!written || !file.open(QIODevice::ReadOnly))
        return false;
    file.close();
    return true;
}

void savefileDlg::on_pbBrowse_clicked()
{
    const QString fileName = FileDialogs::getSaveFileName(
        this, tr("保存CSV文件"), QString(), LogFormat::fileFilters().join(QStringLiteral(";;")));
    if (fileName.isEmpty())
        return;
    ui->lineEdit->setText(fileName);
    ui->labelHint->setVisible(!targetUsable(fileName));
}

void savefileDlg::on_pbOk_clicked()
{
    // A hand-typed path goes back untested; the main window reports nothing
    // and simply loses the rows if it cannot open it.
    m_path = ui->lineEdit->text();
    m_mode = ui->comboBox->currentIndex();
    const bool split = ui->splitCheck->isChecked();
    m_splitBytes = split ? qint64(ui->splitSizeSpin->value()) * 1024 * 1024 : 0;
    m_splitMs = split ? qint64(ui->splitTimeSpin->value()) * 60000 : 0;
    SettingsStore::setValue(kSplitKey, split ? QStringLiteral("1") : QStringLiteral("0"));
    SettingsStore::setValue(kSplitSizeKey, QString::number(ui->splitSizeSpin->value()));
    SettingsStore::setValue(kSplitTimeKey, QString::number(ui->splitTimeSpin->value()), true);
    accept();
}

void savefileDlg::on_pbCancel_clicked()
{
    m_path.clear();
    m_mode = 0;
    m_splitBytes = 0;
    m_splitMs = 0;
    reject();
}
