#include "listSendDlg.h"
#include "ui_listSendDlg.h"

#include "DpiScaler.h"

#include <QEvent>

listSendDlg::listSendDlg(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::listSendDlg)
{
    ui->setupUi(this);
    DpiScaler::attach(this);
}

listSendDlg::~listSendDlg() = default;

void listSendDlg::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}

void listSendDlg::on_pbnClose_clicked() { close(); }
