#include "MyTableModel.h"

#include <algorithm>

MyTableModel::MyTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
    for (int i = 0; i < kColumns; ++i)
        m_filters.append(QStringList());
}

// A flat table: cells have no children of their own, which keeps tree-walking
// code (proxies, model checkers) from recursing into every cell.
int MyTableModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : m_rows.size(); }

int MyTableModel::columnCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : m_header.size(); }

QVariant MyTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::EditRole))
        return QVariant();
    const int row = index.row();
    const int column = index.column();
    if (row < 0 || row >= m_rows.size() || column < 0 || column >= kColumns)
        return QVariant();
    return m_rows.at(row)[size_t(column)];
}

bool MyTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || index.row() < 0 || index.column() < 0 || index.row() >= m_rows.size())
        return false;
    if (role != Qt::DisplayRole && role != Qt::EditRole)
        return false;
    // A column past the eleven texts (a longer header) stores nothing but still reports the change.
    if (index.column() < kColumns)
        m_rows[index.row()][size_t(index.column())] = value.toString();
    emit dataChanged(index, index, { role });
    return true;
}

QVariant MyTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 && section < m_header.size())
        return m_header.at(section);
    return QAbstractTableModel::headerData(section, orientation, role);
}

MyTableModel::Row MyTableModel::rowFromItem(const ModelItem &item)
{
    return Row { item.indexText, item.systemTime, item.timeStamp, item.channelText, item.dirText, item.idText,
        item.formatText, item.typeText, item.dlcText, item.protocolText, item.dataText };
}

void MyTableModel::setHeader(const QStringList &titles)
{
    if (titles == m_header)
        return;
    const int oldCount = m_header.size();
    const int newCount = titles.size();
    // The column count is the header's length, so a longer or shorter header
    // adds or drops columns in the view.
    if (newCount > oldCount) {
        beginInsertColumns(QModelIndex(), oldCount, newCount - 1);
        m_header = titles;
        endInsertColumns();
    } else if (newCount < oldCount) {
        beginRemoveColumns(QModelIndex(), newCount, oldCount - 1);
        m_header = titles;
        endRemoveColumns();
    } else {
        m_header = titles;
    }
    const int kept = std::min(oldCount, newCount);
    if (kept > 0)
        emit headerDataChanged(Qt::Horizontal, 0, kept - 1);
}

QStringList MyTableModel::header() const { return m_header; }

QString MyTableModel::cellText(int row, int column) const
{
    if (row < 0 || row >= m_rows.size() || column < 0 || column >= m_header.size() || column >= kColumns)
        return QString();
    return m_rows.at(row)[size_t(column)];
}

void MyTableModel::appendRows(const QList<ModelItem> &items)
{
    if (items.isEmpty())
        return;
    const int first = m_rows.size();
    beginInsertRows(QModelIndex(), first, first + items.size() - 1);
    m_rows.reserve(first + items.size());
    for (const ModelItem &item : items)
        m_rows.append(rowFromItem(item));
    endInsertRows();
}

void MyTableModel::mergeRow(const ModelItem &item)
{
    Row row = rowFromItem(item);
    for (int i = 0; i < m_rows.size(); ++i) {
        const Row &existing = m_rows.at(i);
        if (existing[ChannelColumn] == row[ChannelColumn] && existing[IdColumn] == row[IdColumn]
            && existing[DirectionColumn] == row[DirectionColumn]) {
            // The row keeps its place but shows the latest frame of its identifier.
            beginResetModel();
            m_rows[i] = std::move(row);
            endResetModel();
            return;
        }
    }
    const int at = m_rows.size();
    beginInsertRows(QModelIndex(), at, at);
    m_rows.append(std::move(row));
    endInsertRows();
}

void MyTableModel::removeFirstRows(int n)
{
    // One notification per row, so a view keeps its scroll position row by row.
    for (int i = 0; i < n && !m_rows.isEmpty(); ++i) {
        beginRemoveRows(QModelIndex(), 0, 0);
        m_rows.removeFirst();
        endRemoveRows();
    }
}

void MyTableModel::clear()
{
    if (m_rows.isEmpty())
        return;
    beginRemoveRows(QModelIndex(), 0, m_rows.size() - 1);
    m_rows.clear();
    endRemoveRows();
}

void MyTableModel::setFilter(int column, const QStringList &accepted)
{
    if (column < 0 || column >= m_filters.size() || m_filters.at(column) == accepted)
        return;
    if (column < m_header.size()) {
        // A filtered column's title carries one trailing "*".
        QString &title = m_header[column];
        if (!accepted.isEmpty()) {
            if (!title.endsWith(QLatin1Char('*')))
                title.append(QLatin1Char('*'));
        } else if (title.endsWith(QLatin1Char('*'))) {
            title.chop(1);
        }
    }
    m_filters[column] = accepted;
    if (column < m_header.size())
        emit headerDataChanged(Qt::Horizontal, column, column);
}

QStringList MyTableModel::filter(int column) const { return m_filters.value(column); }

bool MyTableModel::hasFilter() const
{
    for (const QStringList &accepted : m_filters)
        if (!accepted.isEmpty())
            return true;
    return false;
}

bool MyTableModel::acceptsRow(const Row &row) const
{
    for (int column = 0; column < kColumns; ++column) {
        const QStringList &accepted = m_filters.at(column);
        if (!accepted.isEmpty() && !accepted.contains(row[size_t(column)]))
            return false;
    }
    return true;
}

bool MyTableModel::acceptsRow(const ModelItem &item) const
{
    // Asked once per incoming frame: compare in place instead of building a row.
    const QString *texts[kColumns]
        = { &item.indexText, &item.systemTime, &item.timeStamp, &item.channelText, &item.dirText, &item.idText,
              &item.formatText, &item.typeText, &item.dlcText, &item.protocolText, &item.dataText };
    for (int column = 0; column < kColumns; ++column) {
        const QStringList &accepted = m_filters.at(column);
        if (!accepted.isEmpty() && !accepted.contains(*texts[column]))
            return false;
    }
    return true;
}
