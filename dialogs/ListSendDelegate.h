#pragma once
// In-place editors of the list send table: choice lists for channel, format,
// type, protocol and length, hex-only line edits for identifier and data (the
// send panel's validators), spin boxes for period and count.
#include <QStyledItemDelegate>

class ListSendDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const override;
};
