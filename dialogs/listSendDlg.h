#pragma once
// The list send window: a table of messages, each sent at its own period on
// its channel, started and stopped one by one or all together. The list is
// kept in config/listsend.txt beside the settings, written at every change
// and read back at start. The window is owned by the main window and only
// hidden when closed, so a running list goes on sending; "停止发送" stops it.
#include "ListSendRow.h"
#include "SignalDecoder.h"

#include <QDialog>
#include <QList>
#include <memory>

namespace Ui {
class listSendDlg;
}
class ListSendModel;
class QTableView;

class listSendDlg : public QDialog {
    Q_OBJECT
public:
    explicit listSendDlg(QWidget *parent = nullptr);
    ~listSendDlg() override;

    ListSendModel *model() const { return m_model; }
    QTableView *table() const;
    // The file the list lives in: config/listsend.txt.
    static QString listPath();
    // Appends rows (the frame table's "add to list send") and selects them.
    void addRows(const QList<ListSendRow> &rows);
    void stopAll();
    // The signal databases loaded on a channel (0-based), for filling a row
    // by its signals; the main window hands them over whenever they change.
    void setDatabases(unsigned channel, const SignalDecoder::Databases &databases);
    const SignalDecoder::Databases &databases(unsigned channel) const { return m_databases[channel ? 1 : 0]; }

signals:
    // Lines for the operation log: the schedulers' (worker form) and the window's own.
    void log(QString msg);
    void windowLog(QString msg);

protected:
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private slots:
    void on_pbnClose_clicked();
    void on_pbnStop_clicked();
    void on_pbnAdd_clicked();
    void on_pbnCopy_clicked();
    void on_pbnDelete_clicked();
    void on_pbnUp_clicked();
    void on_pbnDown_clicked();
    void on_pbnEditData_clicked();
    void on_pbnSignals_clicked();
    void on_pbnOpen_clicked();
    void on_pbnSaveAs_clicked();
    void on_pbnStart_clicked();
    void on_pbnStopRow_clicked();
    void on_pbnStartAll_clicked();

private:
    QList<int> selectedRows() const;
    int currentRow() const;
    void selectRow(int row);
    void save();
    void updateButtons();
    void setTexts();

    std::unique_ptr<Ui::listSendDlg> ui;
    ListSendModel *m_model = nullptr;
    QString m_loadProblem; // shown when the window first comes up
    bool m_saveFailed = false;
    SignalDecoder::Databases m_databases[2];
};
