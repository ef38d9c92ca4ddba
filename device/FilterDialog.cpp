#include "FilterDialog.h"
#include "ui_FilterDialog.h"

#include "DpiScaler.h"
#include "Lang.h"
#include "Prompt.h"

#include <QEvent>
#include <QHeaderView>
#include <QStringList>
#include <QTableWidgetItem>

namespace {
constexpr int kStandardMax = 0x7FF;
constexpr int kExtendedMax = 0x1FFFFFFF;

QString standardText()
{
    return Lang::pick(QStringLiteral("标准帧"), QStringLiteral("標準幀"), QStringLiteral("Standard Frame"));
}

QString extendedText()
{
    return Lang::pick(QStringLiteral("扩展帧"), QStringLiteral("擴展幀"), QStringLiteral("Extended Frame"));
}
} // namespace

FilterDialog::FilterDialog(int channelNumber, const QString &rowText, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::FilterDialog)
    , m_channel(channelNumber)
    , m_rowText(rowText)
{
    ui->setupUi(this);
    // Hexadecimal entry: the spin boxes' texts are what goes into the rows.
    ui->startSpin->setDisplayIntegerBase(16);
    ui->endSpin->setDisplayIntegerBase(16);
    ui->filterTable->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    on_comboBox_currentIndexChanged(ui->comboBox->currentIndex());
    applyTitle();

    if (!rowText.isEmpty()) {
        const QStringList rows = rowText.split(QLatin1Char('|'));
        for (const QString &row : rows) {
            const QStringList f = row.split(QLatin1Char('-'));
            const QString kind = f.value(0);
            const QString kindText = kind == QLatin1String("0") ? standardText()
                : kind == QLatin1String("1")                    ? extendedText()
                                                                : kind;
            appendRow(kindText, f.value(1), f.value(2));
        }
    }
    DpiScaler::attach(this);
}

FilterDialog::~FilterDialog() = default;

QString FilterDialog::rowText() const { return m_rowText; }

void FilterDialog::applyTitle()
{
    setWindowTitle(Lang::pick(
        QStringLiteral("通道%1滤波设置"), QStringLiteral("通道%1濾波設置"), QStringLiteral("Channel%1 filter set"))
                       .arg(m_channel));
}

void FilterDialog::appendRow(const QString &kind, const QString &start, const QString &end)
{
    const int row = ui->filterTable->rowCount();
    ui->filterTable->insertRow(row);
    ui->filterTable->setItem(row, 0, new QTableWidgetItem(kind));
    ui->filterTable->setItem(row, 1, new QTableWidgetItem(start));
    ui->filterTable->setItem(row, 2, new QTableWidgetItem(end));
}

void FilterDialog::on_comboBox_currentIndexChanged(int index)
{
    // Even kinds are identifier groups, odd kinds a single identifier.
    const int max = index < 2 ? kStandardMax : kExtendedMax;
    ui->startSpin->setRange(0, max);
    ui->endSpin->setRange(0, max);
    ui->endSpin->setEnabled(index % 2 == 0);
}

void FilterDialog::on_btnAdd_clicked()
{
    const int kind = ui->comboBox->currentIndex();
    const QString kindText = kind < 2 ? standardText() : extendedText();
    const QString start = ui->startSpin->text().toUpper();
    // A single identifier is a range of one, whatever the disabled end field shows.
    const QString end = kind % 2 == 0 ? ui->endSpin->text().toUpper() : start;
    if (end.toUInt(nullptr, 16) < start.toUInt(nullptr, 16)) {
        Prompt::warning(this, Lang::errorTitle(),
            Lang::pick(QStringLiteral("结束ID不可小于起始ID"), QStringLiteral("結束ID不可小於起始ID"),
                QStringLiteral("The end ID cannot be less than the start ID")));
        return;
    }
    appendRow(kindText, start, end);
}

void FilterDialog::on_btnDelete_clicked()
{
    const int row = ui->filterTable->currentRow();
    if (row >= 0)
        ui->filterTable->removeRow(row);
}

void FilterDialog::on_btnConfirm_clicked()
{
    QString text;
    for (int row = 0; row < ui->filterTable->rowCount(); ++row) {
        QStringList cells;
        for (int col = 0; col < ui->filterTable->columnCount(); ++col) {
            const QTableWidgetItem *item = ui->filterTable->item(row, col);
            cells << (item ? item->text() : QString());
        }
        const QString rowText = cells.join(QLatin1Char('-'));
        // A plain substring test: a row contained in an earlier row's text
        // (0-1-1 after 0-1-10) is dropped as well. The stored files rely on it.
        if (text.contains(rowText))
            continue;
        text += rowText;
        text += QLatin1Char('|');
    }
    text.chop(1);
    // Only the digits are stored, so a row text survives a language change.
    for (const char *s : { "标准帧", "標準幀", "Standard Frame" })
        text.replace(QString::fromUtf8(s), QStringLiteral("0"));
    for (const char *s : { "扩展帧", "擴展幀", "Extended Frame" })
        text.replace(QString::fromUtf8(s), QStringLiteral("1"));
    m_rowText = text;
    accept();
}

void FilterDialog::on_btnCancel_clicked() { reject(); }

void FilterDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        ui->retranslateUi(this);
        applyTitle();
    }
    QDialog::changeEvent(event);
}
