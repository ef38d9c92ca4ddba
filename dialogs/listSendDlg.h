#pragma once
// The list-send window. No list sending is wired to it yet, so its stop
// button stays disabled and closing is all it does.
#include <QDialog>
#include <memory>

namespace Ui {
class listSendDlg;
}

class listSendDlg : public QDialog {
    Q_OBJECT
public:
    explicit listSendDlg(QWidget *parent = nullptr);
    ~listSendDlg() override;

protected:
    void changeEvent(QEvent *event) override;

private slots:
    void on_pbnClose_clicked();

private:
    std::unique_ptr<Ui::listSendDlg> ui;
};
