#include "ParaDialog.h"
#include "ui_ParaDialog.h"

#include "ChannelSetup.h"
#include "DpiScaler.h"
#include "FilterDialog.h"
#include "SettingsStore.h"

#include <QEvent>

using ChannelSetup::paramKey;

namespace {
QString read(int channelNumber, const char *name, const QString &defaultValue)
{
    return ChannelSetup::param(channelNumber, name, defaultValue);
}

QString flag(bool on) { return on ? QStringLiteral("1") : QStringLiteral("0"); }
} // namespace

ParaDialog::ParaDialog(bool editable, bool showChannelChoice, int channelSelector, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::ParaDialog)
{
    ui->setupUi(this);

    const bool fixed = channelSelector == 0 || channelSelector == 1;
    m_saveAll = !fixed && !showChannelChoice;

    // The custom bit rate is set up by hand in the file; the form still
    // carries it so such a value survives every save.
    ui->CustomBaudrateCheckBox->hide();
    ui->CustomBaudrateEdit->hide();
    ui->CustomBaudrateHint->hide();

    if (!showChannelChoice) {
        ui->chLabel->hide();
        ui->chCombo->hide();
    }
    if (!editable) {
        for (QWidget *w : { static_cast<QWidget *>(ui->workStatusCombo), static_cast<QWidget *>(ui->canFDStandardCombo),
                 static_cast<QWidget *>(ui->ABIT1Combo), static_cast<QWidget *>(ui->ABIT2Combo),
                 static_cast<QWidget *>(ui->CustomBaudrateCheckBox), static_cast<QWidget *>(ui->CustomBaudrateEdit) })
            w->setEnabled(false);
    }

    const int first = fixed ? channelSelector : 0;
    {
        // setP is called once below; the combo's own change would load twice.
        const QSignalBlocker block(ui->chCombo);
        ui->chCombo->setCurrentIndex(first);
    }
    ui->chCombo->setEnabled(!fixed);
    setP(first + 1);
    DpiScaler::attach(this);
}

ParaDialog::~ParaDialog() = default;

bool ParaDialog::savesAllChannels() const { return m_saveAll; }

QString ParaDialog::filterRowText() const { return m_filterRowText; }

void ParaDialog::setP(int index)
{
    ui->workStatusCombo->setCurrentIndex(read(index, "workStatus", QStringLiteral("0")).toInt());
    ui->canFDStandardCombo->setCurrentIndex(read(index, "canFDStandard", QStringLiteral("0")).toInt());
    ui->ABIT1Combo->setCurrentIndex(read(index, "ABIT1", QStringLiteral("0")).toInt());
    ui->ABIT2Combo->setCurrentIndex(read(index, "ABIT2", QStringLiteral("0")).toInt());
    ui->CustomBaudrateCheckBox->setChecked(read(index, "isCustomBaudrate", QStringLiteral("0")).toInt() != 0);
    ui->CustomBaudrateEdit->setText(read(index, "CustomBaudrate", QString()));
    ui->filterModeCheck->setChecked(read(index, "filterMode", QStringLiteral("0")).toInt() != 0);
    m_filterRowText = read(index, "FilterID", QString());
}

void ParaDialog::saveP(int index)
{
    SettingsStore::setValue(paramKey(index, "workStatus"), QString::number(ui->workStatusCombo->currentIndex()), false);
    SettingsStore::setValue(
        paramKey(index, "canFDStandard"), QString::number(ui->canFDStandardCombo->currentIndex()), false);
    SettingsStore::setValue(paramKey(index, "ABIT1"), QString::number(ui->ABIT1Combo->currentIndex()), false);
    SettingsStore::setValue(paramKey(index, "ABIT2"), QString::number(ui->ABIT2Combo->currentIndex()), false);
    SettingsStore::setValue(paramKey(index, "isCustomBaudrate"), flag(ui->CustomBaudrateCheckBox->isChecked()), false);
    SettingsStore::setValue(paramKey(index, "CustomBaudrate"), ui->CustomBaudrateEdit->text(), false);
    SettingsStore::setValue(paramKey(index, "filterMode"), flag(ui->filterModeCheck->isChecked()), false);
    // One file write per stored channel, on the last key.
    SettingsStore::setValue(paramKey(index, "FilterID"), m_filterRowText, true);
}

void ParaDialog::on_chCombo_currentIndexChanged(int index) { setP(index + 1); }

void ParaDialog::on_btnSave_clicked() { saveP(ui->chCombo->currentIndex() + 1); }

void ParaDialog::on_btnConfirm_clicked()
{
    if (m_saveAll) {
        saveP(1);
        saveP(2);
    } else {
        saveP(ui->chCombo->currentIndex() + 1);
    }
    accept();
}

void ParaDialog::on_btnCancel_clicked() { reject(); }

void ParaDialog::on_filterModeCheck_clicked(bool checked)
{
    // Unticking keeps the rows; they are simply not applied while the box is off.
    if (!checked)
        return;
    FilterDialog dlg(ui->chCombo->currentIndex() + 1, m_filterRowText, this);
    if (dlg.exec() == QDialog::Accepted)
        m_filterRowText = dlg.rowText();
}

void ParaDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        // retranslateUi rewrites the combo texts but keeps their indexes.
        ui->retranslateUi(this);
    }
    QDialog::changeEvent(event);
}
