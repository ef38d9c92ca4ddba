#include "RowHeaderMirror.h"

RowHeaderMirror::RowHeaderMirror(QAbstractItemModel *source, QObject *parent)
    : QAbstractTableModel(parent)
    , m_source(source)
{
    auto *s = source;
    connect(s, &QAbstractItemModel::rowsAboutToBeRemoved, this, &RowHeaderMirror::sourceRowsAboutToBeRemoved);
    connect(s, &QAbstractItemModel::rowsRemoved, this, &RowHeaderMirror::sourceRowsRemoved);
    connect(s, &QAbstractItemModel::rowsAboutToBeInserted, this, [this](const QModelIndex &parent, int first, int last) {
        flush();
        if (!parent.isValid())
            beginInsertRows(QModelIndex(), first, last);
    });
    connect(s, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex &parent, int, int) {
        if (!parent.isValid())
            endInsertRows();
    });
    connect(s, &QAbstractItemModel::modelAboutToBeReset, this, [this] {
        flush();
        beginResetModel();
    });
    connect(s, &QAbstractItemModel::modelReset, this, &RowHeaderMirror::endResetModel);
    connect(s, &QAbstractItemModel::layoutAboutToBeChanged, this, [this] {
        flush();
        emit layoutAboutToBeChanged();
    });
    connect(s, &QAbstractItemModel::layoutChanged, this, [this] { emit layoutChanged(); });
    connect(s, &QAbstractItemModel::columnsAboutToBeInserted, this, &RowHeaderMirror::flush);
    connect(s, &QAbstractItemModel::columnsAboutToBeRemoved, this, &RowHeaderMirror::flush);
    connect(s, &QAbstractItemModel::headerDataChanged, this, &RowHeaderMirror::headerDataChanged);
    connect(s, &QObject::destroyed, this, [this] {
        beginResetModel();
        m_held = 0;
        endResetModel();
    });
}

int RowHeaderMirror::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid() || !m_source)
        return 0;
    return m_source->rowCount() + m_held;
}

int RowHeaderMirror::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() || !m_source ? 0 : m_source->columnCount();
}

QVariant RowHeaderMirror::data(const QModelIndex &, int) const { return QVariant(); }

QVariant RowHeaderMirror::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (!m_source)
        return QVariant();
    if (orientation == Qt::Vertical)
        section -= m_held;
    return m_source->headerData(section, orientation, role);
}

void RowHeaderMirror::sourceRowsAboutToBeRemoved(const QModelIndex &parent, int first, int last)
{
    if (parent.isValid() || first == 0)
        return;
    flush();
    m_passing = true;
    beginRemoveRows(QModelIndex(), first, last);
}

void RowHeaderMirror::sourceRowsRemoved(const QModelIndex &parent, int first, int last)
{
    if (parent.isValid())
        return;
    if (m_passing) {
        m_passing = false;
        endRemoveRows();
        return;
    }
    // Rows first..last of what the source had are rows m_held.. of what the
    // header knows: a run from the top stays one block at the top. Counted
    // once the source has dropped them, so rowCount() always matches the header.
    m_held += last - first + 1;
    if (!m_flushQueued) {
        m_flushQueued = true;
        QMetaObject::invokeMethod(this, &RowHeaderMirror::flush, Qt::QueuedConnection);
    }
}

void RowHeaderMirror::flush()
{
    m_flushQueued = false;
    if (m_held == 0)
        return;
    beginRemoveRows(QModelIndex(), 0, m_held - 1);
    m_held = 0;
    endRemoveRows();
}
