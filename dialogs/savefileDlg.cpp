#include "savefileDlg.h"
#include "ui_savefileDlg.h"

#include "DpiScaler.h"
#include "FileDialogs.h"

#include <QEvent>
#include <QFile>

savefileDlg::savefileDlg(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::savefileDlg)
{
    ui->setupUi(this);
    ui->labelHint->hide();
    DpiScaler::attach(this);
}

savefileDlg::~savefileDlg() = default;

QString savefileDlg::path() const { return m_path; }

int savefileDlg::mode() const { return m_mode; }

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
    const QString fileName
        = FileDialogs::getSaveFileName(this, tr("保存CSV文件"), QString(), QStringLiteral("CSV Files (*.csv)"));
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
    accept();
}

void savefileDlg::on_pbCancel_clicked()
{
    m_path.clear();
    m_mode = 0;
    reject();
}
