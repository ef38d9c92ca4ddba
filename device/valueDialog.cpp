#include "valueDialog.h"
#include "ui_valueDialog.h"

#include "DpiScaler.h"

#include <QEvent>

valueDialog::valueDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::valueDialog)
{
    ui->setupUi(this);
    DpiScaler::attach(this);
}

valueDialog::~valueDialog() = default;

void valueDialog::setIndex(int index) { m_index = index; }

int valueDialog::index() const { return m_index; }

void valueDialog::setText(const QString &text) { ui->valueEdit->setText(text); }

QString valueDialog::text() const { return ui->valueEdit->text(); }

void valueDialog::on_btnValueOK_clicked()
{
    emit getValue(ui->valueEdit->text(), m_index);
    hide();
}

void valueDialog::on_btnValueCancel_clicked() { hide(); }

void valueDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
