#pragma once
// Edits the data bytes of a frame one byte per row: hexadecimal, decimal and
// the eight bits (bit 7 first), all three kept in step.
#include <QByteArray>
#include <QDialog>
#include <cstdint>
#include <memory>

namespace Ui {
class DataDlg;
}
class QTableWidgetItem;

class DataDlg : public QDialog {
    Q_OBJECT
public:
    // data may be null for a run of zero bytes; a negative length counts as 0.
    DataDlg(const uint8_t *data, int length, QWidget *parent = nullptr);
    ~DataDlg() override;

    // The bytes in row order, read back from the hexadecimal column.
    QByteArray result() const;

protected:
    void changeEvent(QEvent *event) override;

private slots:
    void on_tableWidget_itemChanged(QTableWidgetItem *item);
    void on_tableWidget_itemClicked(QTableWidgetItem *item);
    void on_pushButton_clicked();
    void on_pushButton_2_clicked();

private:
    void fillRow(int row, uint8_t value);
    uint8_t bitsOfRow(int row) const;

    std::unique_ptr<Ui::DataDlg> ui;
};
