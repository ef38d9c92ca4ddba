#include "ListSendDelegate.h"

#include "Lang.h"
#include "ListSendModel.h"

#include <QComboBox>
#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QSpinBox>
#include <limits>

QWidget *ListSendDelegate::createEditor(
    QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const auto *model = qobject_cast<const ListSendModel *>(index.model());
    const int column = index.column();
    if (model) {
        const QStringList items = model->choices(column, index.row());
        if (!items.isEmpty()) {
            auto *combo = new QComboBox(parent);
            combo->addItems(items);
            return combo;
        }
    }
    switch (column) {
    case ListSendModel::Id: {
        auto *edit = new QLineEdit(parent);
        edit->setValidator(
            new QRegularExpressionValidator(QRegularExpression(QStringLiteral("^[0-9a-fA-F]{1,8}$")), edit));
        return edit;
    }
    case ListSendModel::Data: {
        auto *edit = new QLineEdit(parent);
        edit->setValidator(
            new QRegularExpressionValidator(QRegularExpression(QStringLiteral("^[0-9a-fA-F ]+$")), edit));
        return edit;
    }
    case ListSendModel::Period: {
        // Wider than the allowed range, so that a value out of range reaches
        // the model and gets its message instead of being swallowed.
        auto *spin = new QSpinBox(parent);
        spin->setRange(0, 999999);
        return spin;
    }
    case ListSendModel::Count: {
        auto *spin = new QSpinBox(parent);
        spin->setRange(0, std::numeric_limits<int>::max());
        spin->setSpecialValueText(
            Lang::pick(QStringLiteral("一直发送"), QStringLiteral("一直發送"), QStringLiteral("Keep sending")));
        return spin;
    }
    default:
        return QStyledItemDelegate::createEditor(parent, option, index);
    }
}

void ListSendDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    const QVariant value = index.data(Qt::EditRole);
    if (auto *combo = qobject_cast<QComboBox *>(editor)) {
        if (index.column() == ListSendModel::Length)
            combo->setCurrentText(QString::number(value.toInt()));
        else
            combo->setCurrentIndex(value.toInt());
    } else if (auto *spin = qobject_cast<QSpinBox *>(editor)) {
        spin->setValue(int(qMin<qint64>(value.toLongLong(), spin->maximum())));
    } else {
        QStyledItemDelegate::setEditorData(editor, index);
    }
}

void ListSendDelegate::setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const
{
    if (auto *combo = qobject_cast<QComboBox *>(editor)) {
        if (index.column() == ListSendModel::Length)
            model->setData(index, combo->currentText().toInt());
        else
            model->setData(index, combo->currentIndex());
    } else if (auto *spin = qobject_cast<QSpinBox *>(editor)) {
        spin->interpretText();
        model->setData(index, spin->value());
    } else {
        QStyledItemDelegate::setModelData(editor, model, index);
    }
}
