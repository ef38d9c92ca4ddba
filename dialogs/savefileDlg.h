#pragma once
// Chooses the live capture file and whether all rows or only the rows that
// pass the display filter go into it. The dialog writes no frames; it only
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

protected:
    void changeEvent(QEvent *event) override;

private slots:
    void on_pbBrowse_clicked();
    void on_pbOk_clicked();
    void on_pbCancel_clicked();

private:
    bool targetUsable(const QString &fileName) const;

    std::unique_ptr<Ui::savefileDlg> ui;
    QString m_path;
    int m_mode = 0;
};
