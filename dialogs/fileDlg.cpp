#include "fileDlg.h"
#include "ui_fileDlg.h"

#include "DpiScaler.h"
#include "FileDialogs.h"
#include "LogFormat.h"
#include "SettingsStore.h"

#include <QComboBox>
#include <QEvent>

namespace {
const QString kPathKey = QStringLiteral("sendFile");
const QString kChannelKey = QStringLiteral("sendFileCH");
const QString kModeKey = QStringLiteral("sendFileJG");
const QString kCountKey = QStringLiteral("sendFileCnt");
const QString kIntervalKey = QStringLiteral("sendFileJGT");

// Interval mode 0 paces the rows by the spin box; mode 1 replays the
// recorded time stamps.
constexpr int kFixedInterval = 0;

// A hand-edited store may hold an index the selector does not have; such a
// value falls back to the first item rather than leaving the selector blank.
void restoreIndex(QComboBox *combo, const QString &stored)
{
    const int index = stored.toInt();
    combo->setCurrentIndex(index >= 0 && index < combo->count() ? index : 0);
}
} // namespace

fileDlg::fileDlg(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::fileDlg)
{
    ui->setupUi(this);
    ui->lineEdit->setText(SettingsStore::value(kPathKey, QString()));
    restoreIndex(ui->comboBox, SettingsStore::value(kChannelKey, QStringLiteral("0")));
    restoreIndex(ui->comboBox_2, SettingsStore::value(kModeKey, QStringLiteral("0")));
    ui->spinBox->setValue(SettingsStore::value(kCountKey, QStringLiteral("1")).toInt());
    ui->spinBox_2->setValue(SettingsStore::value(kIntervalKey, QStringLiteral("0")).toInt());
    // The index may not have changed from the form's default, so the slot
    // cannot be relied on to have run.
    ui->spinBox_2->setEnabled(ui->comboBox_2->currentIndex() == kFixedInterval);
    ui->pbStop->setEnabled(false);
    DpiScaler::attach(this);
}

fileDlg::~fileDlg() = default;

void fileDlg::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}

void fileDlg::on_pbfile_clicked()
{
    // A cancelled dialog answers an empty name, which clears the field on
    // purpose: the previous file is no longer the user's choice.
    ui->lineEdit->setText(FileDialogs::getOpenFileName(
        this, tr("打开CSV文件"), QString(), LogFormat::fileFilters().join(QStringLiteral(";;"))));
}

void fileDlg::on_comboBox_2_currentIndexChanged(int index) { ui->spinBox_2->setEnabled(index == kFixedInterval); }

void fileDlg::on_pbSend_clicked()
{
    // Only the last store writes the file: one disk write per request.
    SettingsStore::setValue(kPathKey, ui->lineEdit->text());
    SettingsStore::setValue(kChannelKey, QString::number(ui->comboBox->currentIndex()));
    SettingsStore::setValue(kModeKey, QString::number(ui->comboBox_2->currentIndex()));
    SettingsStore::setValue(kCountKey, QString::number(ui->spinBox->value()));
    SettingsStore::setValue(kIntervalKey, QString::number(ui->spinBox_2->value()), true);

    setInputsEnabled(false);

    const int interval = ui->comboBox_2->currentIndex() == kFixedInterval ? ui->spinBox_2->value() : -1;
    emit send(ui->lineEdit->text(), ui->spinBox->value(), interval, ui->comboBox->currentIndex());
}

void fileDlg::on_pbStop_clicked()
{
    setInputsEnabled(true);
    emit stop();
}

void fileDlg::setIdle() { setInputsEnabled(true); }

void fileDlg::setInputsEnabled(bool enabled)
{
    ui->lineEdit->setEnabled(enabled);
    ui->pbfile->setEnabled(enabled);
    ui->comboBox->setEnabled(enabled);
    ui->spinBox->setEnabled(enabled);
    ui->comboBox_2->setEnabled(enabled);
    ui->spinBox_2->setEnabled(enabled && ui->comboBox_2->currentIndex() == kFixedInterval);
    ui->pbSend->setEnabled(enabled);
    ui->pbStop->setEnabled(!enabled);
}
