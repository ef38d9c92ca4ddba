// The consumer side of the frame pipeline: refresh tick, counters, live
// capture and the column filter.
#include "MainWindow.h"
#include "ui_MainWindow.h"

#include "CaptureFile.h"
#include "DeviceLayer.h"
#include "FrameCounter.h"
#include "FrameText.h"
#include "Lang.h"
#include "MyTableModel.h"
#include "PendingFrames.h"
#include "Prompt.h"
#include "SettingsStore.h"
#include "SiftDialog.h"
#include "SignalRecorder.h"
#include "listSendDlg.h"
#include "recvThread.h"
#include "savefileDlg.h"

#include <QCursor>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QMenu>
#include <QTime>
#include <QTimer>

#include <algorithm>
#include <vector>

namespace {
QString timeNow() { return QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz")); }

} // namespace

void MainWindow::addToLabel(QLabel *label, quint64 n)
{
    if (n == 0)
        return;
    // The labels hold the running totals; a text that does not parse counts as 0.
    label->setText(QString::number(label->text().toULongLong() + n));
}

void MainWindow::displayBatch(QList<ModelItem> &rows)
{
    const int limit = int(m_listLimit);
    if (rows.size() >= limit)
        rows = rows.mid(rows.size() - limit);
    const int excess = m_model->rowCount() + rows.size() - limit;
    if (excess > 0) {
        m_model->removeFirstRows(excess);
        ui->tableView->setCurrentIndex(QModelIndex());
    }
    if (!ui->actionMerge->isChecked()) {
        if (!rows.isEmpty()) {
            m_model->appendRows(rows);
            ui->tableView->scrollToBottom();
        }
    } else {
        for (const ModelItem &item : qAsConst(rows))
            m_model->mergeRow(item);
    }
    const QModelIndex current = ui->tableView->currentIndex();
    if (!m_selectionKept && current.isValid() && current.row() < m_model->rowCount())
        ui->tableView->selectRow(current.row());
    m_selectionKept = false;
}

void MainWindow::refreshDisplay()
{
    QList<ModelItem> rows = takePendingFrames();
    if (!rows.isEmpty()) {
        quint32 round[4] = { 0, 0, 0, 0 }; // ch1 Rx, ch2 Rx, ch1 Tx, ch2 Tx
        // The time text is made once per millisecond, not once per frame.
        QString now = timeNow();
        QElapsedTimer clock;
        clock.start();
        const bool saving = ui->checkBox->isChecked() && m_capture;
        const bool showing = !ui->pauseCheck->isChecked();
        // All capture rows of the round go into one buffer, written once.
        if (saving)
            m_capture->beginRound(rows.size() * (120 + rows.first().dataText.size()));
        // Which records the display filter accepts; only the last list-limit
        // of them can end up in the table.
        std::vector<bool> accepted(size_t(rows.size()), false);
        int acceptedCount = 0;
        // The conditions cannot change during the round; without any, every record is accepted.
        const bool filtering = m_model->hasFilter();
        // The signal list and plot look at frames only while databases are
        // loaded and the list is shown or a signal is plotted.
        const bool watching = m_signals->hasDatabases() && (m_plotDock->isVisible() || m_signals->hasChosen());
        const double signalNow = watching ? m_signals->now() : 0.0;
        if (watching)
            m_signalTickNs = frameClockNs();
        // The round's numbers are taken from the frame counter in one step.
        // A record's index text is made only where it is read: for the
        // records that reach the table, or for all when the display filter
        // tests the index column. A record that is only saved gets its
        // number written straight into its capture row.
        const quint64 firstIndex = takeFrameIndices(quint64(rows.size()));
        const bool indexTested = filtering && !m_model->filter(MyTableModel::IndexColumn).isEmpty();
        for (int i = 0; i < rows.size(); ++i) {
            ModelItem &item = rows[i];
            if (indexTested)
                item.indexText = FrameText::indexText(firstIndex + quint64(i));
            if ((i & 63) == 63 && clock.elapsed() >= 1) {
                now = timeNow();
                clock.restart();
            }
            item.systemTime = now;
            ++round[(item.direction ? 0 : 2) + (item.channel ? 1 : 0)];
            const bool accepts = !filtering || m_model->acceptsRow(item);
            if (saving && (!m_saveFilteredOnly || accepts)) {
                if (indexTested)
                    m_capture->write(item);
                else
                    m_capture->write(item, firstIndex + quint64(i));
            }
            if (accepts) {
                accepted[size_t(i)] = true;
                ++acceptedCount;
            }
            if (watching)
                offerToSignals(item, signalNow);
        }
        if (saving)
            endCaptureRound();
        if (showing) {
            QList<ModelItem> shown;
            int skip = std::max(0, acceptedCount - int(m_listLimit));
            shown.reserve(acceptedCount - skip);
            for (int i = 0; i < rows.size(); ++i) {
                if (!accepted[size_t(i)])
                    continue;
                if (skip > 0) {
                    --skip;
                    continue;
                }
                ModelItem &item = rows[i];
                if (!indexTested)
                    item.indexText = FrameText::indexText(firstIndex + quint64(i));
                shown.append(item);
            }
            displayBatch(shown);
        }
        for (int k = 0; k < 4; ++k)
            m_perSecond[k] += round[k];
        addToLabel(ui->labelCh1RxCount, round[0]);
        addToLabel(ui->labelCh2RxCount, round[1]);
        addToLabel(ui->labelCh1TxCount, round[2]);
        addToLabel(ui->labelCh2TxCount, round[3]);
        recycleFrames(rows);
    }
    QTimer::singleShot(SettingsStore::value(QStringLiteral("refreshInterval"), QStringLiteral("100")).toInt(), this,
        &MainWindow::refreshDisplay);
}

// The batch slots take records whose identifier and data texts are bare hex.
// The workers of this program hand their frames over through pendingFrames,
// so these run only for other emitters.
void MainWindow::recvData(QList<ModelItem> modelList, uint channel)
{
    takeBatch(modelList, channel ? 1 : 0, channel ? ui->labelCh2RxCount : ui->labelCh1RxCount);
}

void MainWindow::sendedData(QList<ModelItem> modelList, uint channel)
{
    takeBatch(modelList, channel ? 3 : 2, channel ? ui->labelCh2TxCount : ui->labelCh1TxCount);
}

void MainWindow::takeBatch(QList<ModelItem> &rows, int counter, QLabel *countLabel)
{
    const int n = rows.size();
    m_perSecond[counter] += n;
    addToLabel(countLabel, n);
    const bool saving = ui->checkBox->isChecked() && m_capture;
    if (saving)
        m_capture->beginRound(0);
    for (ModelItem &item : rows) {
        item.indexText = FrameText::indexText(nextFrameIndex());
        item.idText = QStringLiteral("0x") + item.idText.toUpper();
        item.dataText = QStringLiteral("x| ") + item.dataText.toUpper();
        if (saving)
            m_capture->write(item);
    }
    if (saving)
        endCaptureRound();
    if (ui->pauseCheck->isChecked())
        return;
    const int excess = m_model->rowCount() + n - int(m_listLimit);
    if (excess > 0) {
        m_model->removeFirstRows(excess);
        ui->tableView->setCurrentIndex(QModelIndex());
    }
    if (!ui->actionMerge->isChecked()) {
        m_model->appendRows(rows);
        ui->tableView->scrollToBottom();
    } else {
        on_pushButton_2_clicked();
        for (const ModelItem &item : qAsConst(rows))
            m_model->mergeRow(item);
    }
}

// The receive display follows where the user has scrolled the table; the
// refresh tick scrolls to the bottom on its own, so nothing else reacts yet.
void MainWindow::onTableScrolled(int value) { m_tableScrollValue = value; }

void MainWindow::on_cleanListBtn_clicked()
{
    resetFrameCounter();
    m_model->clear();
    ui->tableView->setCurrentIndex(QModelIndex());
}

void MainWindow::on_pushButton_clicked()
{
    for (QLabel *label : { ui->labelCh1RxCount, ui->labelCh1TxCount, ui->labelCh2RxCount, ui->labelCh2TxCount })
        label->setText(QStringLiteral("0"));
}

void MainWindow::closeCapture()
{
    if (m_capture) {
        m_capture->close();
        reportCapture();
        m_capture.reset();
    }
}

void MainWindow::endCaptureRound()
{
    m_capture->endRound();
    reportCapture();
}

// New parts of a split capture and a failing log file go to the operation log.
void MainWindow::reportCapture()
{
    for (const QString &path : m_capture->takeNewParts())
        writeLog(Lang::pick(QStringLiteral("实时保存续存到新文件：%1"), QStringLiteral("實時保存續存到新文件：%1"),
            QStringLiteral("Real-time save continues in a new file: %1"))
                     .arg(path));
    const QString problem = m_capture->takeProblem();
    if (!problem.isEmpty())
        writeLog(Lang::pick(QStringLiteral("实时保存失败：%1"), QStringLiteral("實時保存失敗：%1"),
            QStringLiteral("Real-time save failed: %1"))
                     .arg(problem));
}

void MainWindow::on_checkBox_clicked()
{
    closeCapture();
    if (!ui->checkBox->isChecked())
        return;
    savefileDlg dlg(this);
    dlg.exec();
    if (dlg.path().isEmpty()) {
        ui->checkBox->setChecked(false);
        return;
    }
    // The extension chooses the format; anything but a log format's is CSV.
    // A CSV file that cannot be opened is not reported: its rows are lost.
    CaptureFile::Limits limits;
    limits.bytes = dlg.splitBytes();
    limits.ms = dlg.splitMs();
    m_capture = CaptureFile::open(
        dlg.path(), [this] { return m_model->header().join(QLatin1Char(',')); }, limits);
    if (!m_capture)
        return;
    m_saveFilteredOnly = dlg.mode() == 1;
}

void MainWindow::on_pushButton_2_clicked()
{
    for (int c = 0; c < m_model->columnCount(); ++c)
        m_model->setFilter(c, QStringList());
    applyFilterToView();
}

// Rows already in the list follow a changed filter too: the view hides those
// the conditions reject (new frames are tested before they are appended).
void MainWindow::applyFilterToView()
{
    QTableView *view = ui->tableView;
    for (int r = 0; r < m_model->rowCount(); ++r) {
        MyTableModel::Row row;
        for (int c = 0; c < MyTableModel::kColumns; ++c)
            row[c] = m_model->cellText(r, c);
        view->setRowHidden(r, !m_model->acceptsRow(row));
    }
}

QStringList MainWindow::distinctValues(int column) const
{
    QStringList values;
    for (int r = 0; r < m_model->rowCount(); ++r) {
        const QString text = m_model->cellText(r, column);
        if (!values.contains(text))
            values.append(text);
    }
    return values;
}

void MainWindow::on_tableView_customContextMenuRequested(const QPoint &pos)
{
    const int column = ui->tableView->columnAt(pos.x());
    if (column < 0)
        return;
    m_sift->hide();
    m_siftValues = distinctValues(column);
    QMenu menu(this);
    QAction *sift = menu.addAction(Lang::pick(QStringLiteral("筛选"), QStringLiteral("篩選"), QStringLiteral("sift")));
    QAction *all = menu.addAction(
        Lang::pick(QStringLiteral("显示全部"), QStringLiteral("顯示全部"), QStringLiteral("show all")));
    const QPoint at = ui->tableView->viewport()->mapTo(this, pos);
    QAction *chosen = menu.exec(QCursor::pos());
    if (chosen == all) {
        m_model->setFilter(column, QStringList());
        applyFilterToView();
    } else if (chosen == sift) {
        openSiftFor(column, at);
    }
}

void MainWindow::addSelectedFramesToList()
{
    QList<int> rows;
    for (const QModelIndex &i : ui->tableView->selectionModel()->selectedRows())
        if (!ui->tableView->isRowHidden(i.row()))
            rows << i.row();
    std::sort(rows.begin(), rows.end());
    QList<ListSendRow> list;
    for (int r : qAsConst(rows)) {
        ModelItem item;
        item.channel = m_model->cellText(r, MyTableModel::ChannelColumn).toUInt() == 2 ? 1 : 0;
        item.idText = m_model->cellText(r, MyTableModel::IdColumn);
        item.formatText = m_model->cellText(r, MyTableModel::FormatColumn);
        item.typeText = m_model->cellText(r, MyTableModel::TypeColumn);
        item.dlcText = m_model->cellText(r, MyTableModel::DlcColumn);
        item.protocolText = m_model->cellText(r, MyTableModel::ProtocolColumn);
        item.dataText = m_model->cellText(r, MyTableModel::DataColumn);
        list << ListSendRow::fromFrame(item);
    }
    if (list.isEmpty()) {
        Prompt::warning(this, Lang::noticeTitle(),
            Lang::pick(QStringLiteral("请先在帧列表中选中一帧！"), QStringLiteral("請先在幀列表中選中一幀！"),
                QStringLiteral("Please select a frame in the frame list first!")));
        return;
    }
    m_listDlg->addRows(list);
    m_listDlg->show();
    m_listDlg->raise();
}

void MainWindow::openSiftFor(int column, const QPoint &at)
{
    if (m_siftValues.isEmpty())
        m_siftValues = distinctValues(column);
    ui->tableView->show();
    m_sift->fill(m_siftValues, column);
    m_sift->move(at + pos());
    m_sift->show();
    m_sift->activateWindow();
    m_sift->setFocus();
}

void MainWindow::onSifted(QStringList siftedData, int index)
{
    m_model->setFilter(index, siftedData);
    applyFilterToView();
}

void MainWindow::onErrorID(uint lastID, uint ID)
{
    // One gap, one warning: the check switches itself off first.
    SettingsStore::setValue(QStringLiteral("recvIDAdd"), QStringLiteral("0"), true);
    ui->actionRecvIDAdd->setChecked(false);
    const QString text = Lang::pick(QStringLiteral("ID 不连续:上一帧ID:%1,当前ID:%2"),
        QStringLiteral("ID 不連續:上一幀ID:%1,當前ID:%2"), QStringLiteral("ID error:last ID:%1,current ID:%2"))
                             .arg(QString::number(lastID, 16), QString::number(ID, 16));
    Prompt::warning(this, Lang::noticeTitle(), text);
}

void MainWindow::applyRecvParams()
{
    for (recvThread *t : m_recv)
        t->setRecvParams(m_scanTime, m_framesPerRecv);
}

void MainWindow::onValue(QString str, int index)
{
    const quint32 v = str.toUInt();
    if (index == 0) {
        m_scanTime = v;
    } else if (index == 1) {
        m_framesPerRecv = v;
    } else if (index == 2) {
        m_listLimit = v;
        SettingsStore::setValue(QStringLiteral("listCount"), QString::number(v), true);
    } else {
        return;
    }
    updateTuningTexts();
    applyRecvParams();
}
