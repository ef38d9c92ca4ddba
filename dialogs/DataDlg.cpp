#include "DataDlg.h"
#include "ui_DataDlg.h"

#include "DpiScaler.h"

#include <QColor>
#include <QEvent>
#include <QHeaderView>
#include <QSignalBlocker>
#include <QTableWidgetItem>

namespace {
constexpr int kHexColumn = 0;
constexpr int kDecColumn = 1;
constexpr int kFirstBitColumn = 2; // bit 7
constexpr int kLastBitColumn = 9; // bit 0
constexpr int kColumnCount = 10;

int bitOfColumn(int column) { return kLastBitColumn - column; }

bool isBitColumn(int column) { return column >= kFirstBitColumn && column <= kLastBitColumn; }

// Whatever was typed keeps only its low byte; anything that does not parse
// is a zero byte rather than an error, so the table never holds a bad cell.
uint8_t parseByte(const QString &text, int base)
{
    bool ok = false;
    const qlonglong v = text.trimmed().toLongLong(&ok, base);
    return ok ? static_cast<uint8_t>(v & 0xFF) : 0;
}
} // namespace

DataDlg::DataDlg(const uint8_t *data, int length, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::DataDlg)
{
    ui->setupUi(this);
    const int rows = length > 0 ? length : 0;
    ui->labelLength->setText(QString::number(rows));

    QTableWidget *table = ui->tableWidget;
    table->setColumnCount(kColumnCount);
    table->setRowCount(rows);
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    // At most 64 rows, so rows may follow the font when the DPI scaling
    // enlarges it.
    table->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);

    {
        const QSignalBlocker blocker(table);
        const QColor bitColour(128, 128, 255);
        for (int r = 0; r < rows; ++r) {
            for (int c = 0; c < kColumnCount; ++c) {
                auto *item = new QTableWidgetItem;
                if (isBitColumn(c)) {
                    // A bit is flipped by a click, never typed.
                    item->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEnabled);
                    item->setBackground(bitColour);
                }
                item->setTextAlignment(Qt::AlignCenter);
                table->setItem(r, c, item);
            }
        }
    }
    for (int r = 0; r < rows; ++r)
        fillRow(r, data ? data[r] : 0);

    DpiScaler::attach(this);
}

DataDlg::~DataDlg() = default;

QByteArray DataDlg::result() const
{
    QByteArray bytes;
    const int rows = ui->tableWidget->rowCount();
    bytes.reserve(rows);
    for (int r = 0; r < rows; ++r) {
        const QTableWidgetItem *item = ui->tableWidget->item(r, kHexColumn);
        bytes.append(static_cast<char>(item ? parseByte(item->text(), 16) : 0));
    }
    return bytes;
}

void DataDlg::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}

// Writing the cells would re-enter the change handler once per cell; the
// blocker keeps a refill from looking like ten user edits.
void DataDlg::fillRow(int row, uint8_t value)
{
    QTableWidget *table = ui->tableWidget;
    const QSignalBlocker blocker(table);
    table->item(row, kHexColumn)->setText(QString::number(value, 16).toUpper());
    table->item(row, kDecColumn)->setText(QString::number(value));
    for (int c = kFirstBitColumn; c <= kLastBitColumn; ++c)
        table->item(row, c)->setText(((value >> bitOfColumn(c)) & 1) ? QStringLiteral("1") : QStringLiteral("0"));
}

uint8_t DataDlg::bitsOfRow(int row) const
{
    uint8_t value = 0;
    for (int c = kFirstBitColumn; c <= kLastBitColumn; ++c) {
        if (ui->tableWidget->item(row, c)->text() == QLatin1String("1"))
            value |= static_cast<uint8_t>(1u << bitOfColumn(c));
    }
    return value;
}

void DataDlg::on_tableWidget_itemChanged(QTableWidgetItem *item)
{
    const int column = item->column();
    if (column == kHexColumn)
        fillRow(item->row(), parseByte(item->text(), 16));
    else if (column == kDecColumn)
        fillRow(item->row(), parseByte(item->text(), 10));
}

void DataDlg::on_tableWidget_itemClicked(QTableWidgetItem *item)
{
    if (!isBitColumn(item->column()))
        return;
    {
        const QSignalBlocker blocker(ui->tableWidget);
        item->setText(item->text() == QLatin1String("1") ? QStringLiteral("0") : QStringLiteral("1"));
    }
    fillRow(item->row(), bitsOfRow(item->row()));
}

void DataDlg::on_pushButton_clicked() { accept(); }

void DataDlg::on_pushButton_2_clicked() { reject(); }
