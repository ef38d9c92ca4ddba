#pragma once
// The model a table's vertical header sees in place of the table's model: the
// same rows, but a run of removals from the top of the list reaches the header
// as one removal instead of one per row.
//
// The frame list drops its oldest rows one notification per row. The view, its
// selection and the rows' persistent indexes still get every one of them; only
// the header, which for each removal walks all of its sections to move its
// hidden-row map, gets them merged. The run is passed on before the source's
// next change of any other kind, on flush(), and at the latest when control is
// back in the event loop, so the header never counts other rows than the view
// when it is laid out or painted.

#include <QAbstractTableModel>
#include <QPointer>

class RowHeaderMirror : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit RowHeaderMirror(QAbstractItemModel *source, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // Passes a held run of removals on to the header now.
    void flush();

private:
    void sourceRowsAboutToBeRemoved(const QModelIndex &parent, int first, int last);
    void sourceRowsRemoved(const QModelIndex &parent, int first, int last);

    QPointer<QAbstractItemModel> m_source;
    int m_held = 0;
    bool m_passing = false; // a removal the header is told of as it happens
    bool m_flushQueued = false;
};
