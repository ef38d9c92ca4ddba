#include "SiftDialog.h"
#include "ui_SiftDialog.h"

#include "DpiScaler.h"
#include "Lang.h"

#include <QCheckBox>
#include <QDebug>
#include <QEvent>
#include <QListWidgetItem>

SiftDialog::SiftDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::SiftDialog)
{
    ui->setupUi(this);
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint);
    DpiScaler::attach(this);
}

SiftDialog::~SiftDialog() = default;

void SiftDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        ui->retranslateUi(this);
        if (m_allBox)
            m_allBox->setText(allText());
    }
    QDialog::changeEvent(event);
}

QString SiftDialog::allText()
{
    return Lang::pick(QStringLiteral("全部"), QStringLiteral("全部"), QStringLiteral("all"));
}

bool SiftDialog::matches(const QString &value, const QString &text, bool caseSensitive, bool whole)
{
    const Qt::CaseSensitivity cs = caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    if (whole)
        return value.compare(text, cs) == 0;
    return value.contains(text, cs);
}

void SiftDialog::fill(const QStringList &values, int column)
{
    m_selection = QStringList();
    m_values = values;
    m_column = column;
    rebuild(m_values, false);
}

void SiftDialog::rebuild(const QStringList &values, bool hideAll)
{
    ui->listWidget->clear();
    m_valueBoxes.clear();

    auto addRow = [this](QCheckBox *box) {
        auto *item = new QListWidgetItem(ui->listWidget);
        item->setSizeHint(box->sizeHint());
        ui->listWidget->setItemWidget(item, box);
        return item;
    };

    m_allBox = new QCheckBox(allText());
    m_allBox->setObjectName(QStringLiteral("allCheck"));
    QListWidgetItem *allItem = addRow(m_allBox);
    allItem->setHidden(hideAll);

    for (const QString &value : values) {
        auto *box = new QCheckBox(value);
        box->setChecked(m_selection.contains(value));
        addRow(box);
        m_valueBoxes.append(box);
        connect(m_allBox, &QCheckBox::toggled, box, [box](bool all) { box->setChecked(all); });
        connect(box, &QCheckBox::toggled, this, [this, box](bool checked) { valueToggled(box, checked); });
    }
}

void SiftDialog::valueToggled(QCheckBox *box, bool checked)
{
    if (checked) {
        m_selection.append(box->text());
    } else {
        m_selection.removeAll(box->text());
        // Unticking one value must not untick all the others through "all".
        const bool blocked = m_allBox->blockSignals(true);
        m_allBox->setChecked(false);
        m_allBox->blockSignals(blocked);
    }
    qDebug() << "sift selection" << m_selection;
}

void SiftDialog::on_searchEdit_textChanged(const QString &text)
{
    if (text.isEmpty()) {
        rebuild(m_values, false);
        return;
    }
    QStringList shown;
    const bool cs = ui->caseCheck->isChecked();
    const bool whole = ui->wholeCheck->isChecked();
    for (const QString &value : qAsConst(m_values))
        if (matches(value, text, cs, whole))
            shown.append(value);
    rebuild(shown, true);
}

void SiftDialog::on_btnConfirm_clicked()
{
    ui->searchEdit->clear();
    hide();
    emit siftedData(m_selection, m_column);
}

void SiftDialog::on_btnCancel_clicked() { hide(); }
