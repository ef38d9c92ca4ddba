#pragma once
// The model behind the frame list: rows of eleven ready-made texts, shown
// read-only, plus the per-column display filter conditions.

#include "ModelItem.h"

#include <QAbstractTableModel>
#include <QList>
#include <QStringList>
#include <array>

class MyTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    static constexpr int kColumns = 11;
    // index, system time, time stamp, channel, Rx/Tx, ID, Frame, type, DLC, CAN-FD, data
    using Row = std::array<QString, kColumns>;
    enum Column {
        IndexColumn,
        SystemTimeColumn,
        TimeStampColumn,
        ChannelColumn,
        DirectionColumn,
        IdColumn,
        FormatColumn,
        TypeColumn,
        DlcColumn,
        ProtocolColumn,
        DataColumn
    };

    explicit MyTableModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    static Row rowFromItem(const ModelItem &item);

    void setHeader(const QStringList &titles);
    QStringList header() const;
    QString cellText(int row, int column) const;

    void appendRows(const QList<ModelItem> &items);
    void mergeRow(const ModelItem &item);
    void removeFirstRows(int n);
    void clear();

    void setFilter(int column, const QStringList &accepted);
    QStringList filter(int column) const;
    // True when any column has a condition, i.e. acceptsRow can say no.
    bool hasFilter() const;
    bool acceptsRow(const ModelItem &item) const;
    bool acceptsRow(const Row &row) const;

private:
    QList<Row> m_rows;
    QStringList m_header;
    QList<QStringList> m_filters;
};
