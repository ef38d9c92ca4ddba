#pragma once
#include "DriverApi.h"
#include "Interfaces.h"

#include <QDialog>
#include <memory>

namespace Ui {
class INfDialog;
}

// Shows what the adapter reports about itself; nothing is written back.
class INfDialog : public QDialog {
    Q_OBJECT
public:
    explicit INfDialog(DeviceInfoRecord record, QWidget *parent = nullptr);
    // An interface back-end: plugin and interface names stand in for the
    // serial number and versions, which such an interface does not have.
    INfDialog(const Interfaces::Mapping &mapping, QWidget *parent = nullptr);
    ~INfDialog() override;

private slots:
    void on_pushButton_clicked();

protected:
    void changeEvent(QEvent *event) override;

private:
    std::unique_ptr<Ui::INfDialog> ui;
};
