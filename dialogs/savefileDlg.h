#pragma once
// Chooses the live capture file and whether all rows or only the rows that
// pass the display filter go into it; the file's extension chooses its format
// (CSV, or a standard log format). A long capture can continue in numbered
// files after a size or time limit. The dialog writes no frames; it only
// picks the target and checks that it can be created.
#include <QDialog>
#include <QString>
#include <memory>

namespace Ui {
class savefileDlg;
}

class savefileDlg : public QDialog {
    Q_OBJECT
public:
    explicit savefileDlg(QWidget *parent = nullptr);
    ~savefileDlg() override;

    // Read after the dialog has closed: an empty path means cancelled,
    // whatever the dialog's result code says.
    QString path() const;
    // 0 all rows, 1 only the rows that pass the display filter.
    int mode() const;
    // Limits of one file of a split capture after OK; 0 = no such limit
    // (both 0 when splitting is off).
    qint64 splitBytes() const;
    qint64 splitMs() const;

protected:
    void changeEvent(QEvent *event) override;

private slots:
    void on_pbBrowse_clicked();
    void on_pbOk_clicked();
    void on_pbCancel_clicked();
    void on_splitCheck_toggled(bool on);

private:
    bool targetUsable(const QString &fileName) const;

    std::unique_ptr<Ui::savefileDlg> ui;
    QString m_path;
    int m_mode = 0;
    qint64 m_splitBytes = 0;
    qint64 m_splitMs = 0;
};
