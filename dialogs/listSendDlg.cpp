#include "listSendDlg.h"
#include "ui_listSendDlg.h"

#include "AppPaths.h"
#include "DataDlg.h"
#include "DpiScaler.h"
#include "FileDialogs.h"
#include "Lang.h"
#include "ListSendDelegate.h"
#include "ListSendFile.h"
#include "ListSendModel.h"
#include "Prompt.h"
#include "SignalEditDlg.h"

#include <QEvent>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QTimer>
#include <algorithm>

namespace {
const QString kFileFilter = QStringLiteral("List Files (*.txt);;All Files (*)");
}

listSendDlg::listSendDlg(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::listSendDlg)
{
    ui->setupUi(this);
    m_model = new ListSendModel(this);
    QTableView *view = ui->tableView;
    view->setModel(m_model);
    view->setItemDelegate(new ListSendDelegate(view));
    view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 8);
    view->horizontalHeader()->setStretchLastSection(true);
    // Wide enough for the longest text of any language.
    const struct {
        int column;
        const char *sample;
    } widths[] = { { ListSendModel::On, "On_" }, { ListSendModel::Name, "engine speed" },
        { ListSendModel::Channel, "channel" }, { ListSendModel::Id, "1FFFFFFF" },
        { ListSendModel::Format, "Extended Frame" }, { ListSendModel::Type, "Remote Frame" },
        { ListSendModel::Protocol, "CANFD-acceleration" }, { ListSendModel::Length, "DLC" },
        { ListSendModel::Data, "00 11 22 33 44 55 66 77" }, { ListSendModel::Period, "Period(ms)" },
        { ListSendModel::Count, "Keep sending" }, { ListSendModel::IdIncrement, "ID Inc_" },
        { ListSendModel::DataIncrement, "Data Inc_" }, { ListSendModel::Sent, "00000000" } };
    for (const auto &w : widths)
        view->setColumnWidth(w.column, view->fontMetrics().horizontalAdvance(QLatin1String(w.sample)) + 12);

    connect(m_model, &ListSendModel::listChanged, this, &listSendDlg::save);
    connect(m_model, &ListSendModel::refused, this,
        [this](const QString &title, const QString &text) { Prompt::warning(this, title, text); });
    connect(m_model, &ListSendModel::log, this, &listSendDlg::log);
    connect(m_model, &ListSendModel::windowLog, this, &listSendDlg::windowLog);
    connect(m_model, &ListSendModel::runningChanged, this, &listSendDlg::updateButtons);
    connect(m_model, &ListSendModel::dataChanged, this, &listSendDlg::updateButtons);
    connect(view->selectionModel(), &QItemSelectionModel::selectionChanged, this, &listSendDlg::updateButtons);
    connect(view->selectionModel(), &QItemSelectionModel::currentChanged, this, &listSendDlg::updateButtons);

    // The list of the last session. A file that cannot be read leaves the
    // list empty and is kept as it is until the user changes the list.
    const ListSendFile::Result read = ListSendFile::read(listPath());
    if (read.ok)
        m_model->setRows(read.rows);
    else
        m_loadProblem = ListSendFile::problemText(read, listPath(), false);

    setTexts();
    updateButtons();
    DpiScaler::attach(this);
}

listSendDlg::~listSendDlg() = default;

QTableView *listSendDlg::table() const { return ui->tableView; }

QString listSendDlg::listPath() { return AppPaths::appDir() + QStringLiteral("/config/listsend.txt"); }

void listSendDlg::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        ui->retranslateUi(this);
        setTexts();
    }
    QDialog::changeEvent(event);
}

void listSendDlg::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (!m_loadProblem.isEmpty()) {
        const QString text = m_loadProblem;
        m_loadProblem.clear();
        // After the window is up, so the box has something to sit on.
        QTimer::singleShot(0, this, [this, text] { Prompt::warning(this, Lang::warningTitle(), text); });
    }
}

void listSendDlg::setTexts()
{
    m_model->retranslate();
    updateButtons(); // the tool tips are worded in the language too
}

void listSendDlg::on_pbnClose_clicked() { close(); }

void listSendDlg::on_pbnStop_clicked() { stopAll(); }

void listSendDlg::stopAll() { m_model->stopAll(); }

QList<int> listSendDlg::selectedRows() const
{
    QList<int> rows;
    for (const QModelIndex &i : ui->tableView->selectionModel()->selectedRows())
        rows << i.row();
    if (rows.isEmpty() && ui->tableView->currentIndex().isValid())
        rows << ui->tableView->currentIndex().row();
    std::sort(rows.begin(), rows.end());
    return rows;
}

int listSendDlg::currentRow() const
{
    const QModelIndex current = ui->tableView->currentIndex();
    if (current.isValid())
        return current.row();
    const QList<int> rows = selectedRows();
    return rows.isEmpty() ? -1 : rows.first();
}

void listSendDlg::selectRow(int row)
{
    if (row < 0 || row >= m_model->rowCount())
        return;
    ui->tableView->setCurrentIndex(m_model->index(row, ListSendModel::Name));
    ui->tableView->selectRow(row);
}

void listSendDlg::addRows(const QList<ListSendRow> &rows)
{
    const int first = m_model->rowCount();
    for (const ListSendRow &r : rows)
        m_model->insertListRow(m_model->rowCount(), r);
    if (!rows.isEmpty()) {
        ui->tableView->clearSelection();
        for (int i = first; i < m_model->rowCount(); ++i)
            ui->tableView->selectionModel()->select(
                m_model->index(i, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
        ui->tableView->scrollTo(m_model->index(m_model->rowCount() - 1, 0));
    }
}

void listSendDlg::on_pbnAdd_clicked()
{
    const int at = currentRow() < 0 ? m_model->rowCount() : currentRow() + 1;
    m_model->insertListRow(at, ListSendRow());
    selectRow(at);
}

void listSendDlg::on_pbnCopy_clicked()
{
    const int row = currentRow();
    if (row < 0)
        return;
    m_model->insertListRow(row + 1, m_model->row(row));
    selectRow(row + 1);
}

void listSendDlg::on_pbnDelete_clicked()
{
    const QList<int> rows = selectedRows();
    if (rows.isEmpty())
        return;
    m_model->removeListRows(rows);
    selectRow(std::min(rows.first(), m_model->rowCount() - 1));
}

void listSendDlg::on_pbnUp_clicked()
{
    const int row = currentRow();
    if (m_model->moveListRow(row, -1))
        selectRow(row - 1);
}

void listSendDlg::on_pbnDown_clicked()
{
    const int row = currentRow();
    if (m_model->moveListRow(row, +1))
        selectRow(row + 1);
}

void listSendDlg::on_pbnEditData_clicked()
{
    const int row = currentRow();
    if (row < 0 || m_model->isRunning(row))
        return;
    ListSendRow r = m_model->row(row);
    DataDlg dlg(reinterpret_cast<const uint8_t *>(r.data.constData()), r.length, this);
    if (dlg.exec() != QDialog::Accepted)
        return;
    r.data = dlg.result();
    r.fitData();
    m_model->setRow(row, r);
}

namespace {
QString noDatabaseText(unsigned channel)
{
    return Lang::pick(
        QStringLiteral("通道%1没有加载信号数据库。请先在“信号数据库”菜单中为通道%1加载DBC文件，再按信号编辑。"),
        QStringLiteral("通道%1沒有載入信號數據庫。請先在“信號數據庫”菜單中為通道%1載入DBC文件，再按信號編輯。"),
        QStringLiteral("No signal database is loaded on channel %1. Load a DBC file for channel %1 from the Signal "
                       "Database menu first, then edit by signal."))
        .arg(channel + 1);
}
} // namespace

void listSendDlg::setDatabases(unsigned channel, const SignalDecoder::Databases &databases)
{
    m_databases[channel ? 1 : 0] = databases;
    updateButtons();
}

void listSendDlg::on_pbnSignals_clicked()
{
    const int row = currentRow();
    if (row < 0 || m_model->isRunning(row))
        return;
    const ListSendRow before = m_model->row(row);
    const SignalDecoder::Databases &databases = m_databases[before.channel ? 1 : 0];
    if (databases.isEmpty()) {
        Prompt::warning(this, Lang::noticeTitle(), noDatabaseText(before.channel));
        return;
    }
    SignalEditDlg dlg(databases, before, this);
    if (dlg.exec() != QDialog::Accepted || !dlg.message())
        return;
    if (!m_model->setRow(row, dlg.result()))
        return;
    const QStringList notes = dlg.notes();
    if (!notes.isEmpty())
        emit windowLog(
            Lang::pick(QStringLiteral("列表发送第%1行（%2）：%3"), QStringLiteral("列表發送第%1行（%2）：%3"),
                QStringLiteral("List send row %1 (%2): %3"))
                .arg(row + 1)
                .arg(dlg.message()->name,
                    notes.join(Lang::pick(QStringLiteral("；"), QStringLiteral("；"), QStringLiteral("; ")))));
}

void listSendDlg::on_pbnOpen_clicked()
{
    const QString path = FileDialogs::getOpenFileName(this, tr("打开列表文件"), QString(), kFileFilter);
    if (path.isEmpty())
        return;
    const ListSendFile::Result read = ListSendFile::read(path);
    if (!read.ok || read.missing) {
        Prompt::warning(this, Lang::warningTitle(), ListSendFile::problemText(read, path, true));
        return;
    }
    m_model->setRows(read.rows);
    save();
}

void listSendDlg::on_pbnSaveAs_clicked()
{
    const QString path = FileDialogs::getSaveFileName(this, tr("保存列表文件"), QString(), kFileFilter);
    if (path.isEmpty())
        return;
    if (!ListSendFile::write(path, m_model->rows()))
        Prompt::warning(this, Lang::warningTitle(),
            Lang::pick(QStringLiteral("无法写入列表文件“%1”。"), QStringLiteral("無法寫入列表文件“%1”。"),
                QStringLiteral("Cannot write the list file \"%1\"."))
                .arg(path));
}

void listSendDlg::on_pbnStart_clicked() { m_model->start(selectedRows()); }

void listSendDlg::on_pbnStopRow_clicked() { m_model->stop(selectedRows()); }

void listSendDlg::on_pbnStartAll_clicked() { m_model->startAll(); }

void listSendDlg::save()
{
    const bool ok = ListSendFile::write(listPath(), m_model->rows());
    // One line per failing streak, not one per edit.
    if (!ok && !m_saveFailed)
        emit windowLog(Lang::pick(QStringLiteral("无法写入列表文件“%1”。"), QStringLiteral("無法寫入列表文件“%1”。"),
            QStringLiteral("Cannot write the list file \"%1\"."))
                           .arg(listPath()));
    m_saveFailed = !ok;
}

void listSendDlg::updateButtons()
{
    const int row = currentRow();
    const bool has = row >= 0 && row < m_model->rowCount();
    ui->pbnCopy->setEnabled(has);
    ui->pbnDelete->setEnabled(has);
    ui->pbnUp->setEnabled(has && row > 0);
    ui->pbnDown->setEnabled(has && row < m_model->rowCount() - 1);
    ui->pbnEditData->setEnabled(
        has && !m_model->isRunning(row) && m_model->row(row).length > 0 && !m_model->row(row).remote);
    ui->pbnSignals->setEnabled(has && !m_model->isRunning(row));
    if (has)
        ui->pbnSignals->setToolTip(m_databases[m_model->row(row).channel ? 1 : 0].isEmpty()
                ? noDatabaseText(m_model->row(row).channel)
                : Lang::pick(QStringLiteral("选一个数据库报文，按信号的物理值填写这一行的ID、长度和数据。"),
                    QStringLiteral("選一個數據庫報文，按信號的物理值填寫這一行的ID、長度和數據。"),
                    QStringLiteral("Choose a database message and fill this row's ID, length and data from its "
                                   "signals' physical values.")));
    ui->pbnStart->setEnabled(has);
    ui->pbnStopRow->setEnabled(has);
    ui->pbnStartAll->setEnabled(m_model->rowCount() > 0);
    ui->pbnStop->setEnabled(m_model->anyRunning());
}
