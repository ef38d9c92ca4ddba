#pragma once
// The list of the list send window and its two schedulers: rows are edited
// in place with the send panel's rules, started and stopped one by one or all
// at once, and show their sent-frame counts while they run.
#include "ListScheduler.h"
#include "ListSendRow.h"

#include <QAbstractTableModel>
#include <QBasicTimer>
#include <QList>
#include <memory>

class ListSendModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column {
        On,
        Name,
        Channel,
        Id,
        Format,
        Type,
        Protocol,
        Length,
        Data,
        Period,
        Count,
        IdIncrement,
        DataIncrement,
        Sent,
        State,
        ColumnCount
    };

    explicit ListSendModel(QObject *parent = nullptr);
    ~ListSendModel() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    // Edit role values: Channel, Format, Type, Protocol as their choice index;
    // Length, Period, Count as numbers; Id and Data as hex text; the three
    // check columns through Qt::CheckStateRole. A refused value leaves the
    // row as it was; an identifier or period out of range also emits
    // `refused` with the send panel's message.
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;

    // The choices of a choice column in the current language (Length: those
    // the row's protocol allows).
    QStringList choices(int column, int row) const;

    QList<ListSendRow> rows() const;
    const ListSendRow &row(int i) const { return m_items.at(i).row; }
    // Replaces the whole list; every running row stops first.
    void setRows(const QList<ListSendRow> &rows);
    // Replaces one row's content (a stopped row only); false when invalid or running.
    bool setRow(int i, const ListSendRow &row);
    void insertListRow(int at, const ListSendRow &row);
    void removeListRows(QList<int> rows);
    // Moves a row one place up (-1) or down (+1); false at either end.
    bool moveListRow(int i, int step);

    // Starts the given rows together (first frames due now). Rows on a
    // channel that is not open are left alone: their channels (0-based) come
    // back, once each, in ascending order, and each is refused with the send
    // panel's "channel not open" message.
    QList<unsigned> start(const QList<int> &rows);
    QList<unsigned> startAll(); // every row that is switched on
    void stop(const QList<int> &rows);
    void stopAll();
    bool isRunning(int row) const;
    quint64 sentCount(int row) const;
    bool anyRunning() const;

    // Texts follow the language: refresh them after a switch.
    void retranslate();

signals:
    // The list's content changed (not the counts): the window saves it.
    void listChanged();
    // An edit or a start was refused: the box to show.
    void refused(QString title, QString message);
    void runningChanged();
    // A scheduler's line for the operation log (a send failure).
    void log(QString msg);
    // The window's own line for the operation log (a refused start).
    void windowLog(QString msg);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    struct Item {
        ListSendRow row;
        quint64 key = 0;
        std::shared_ptr<ListRowProgress> progress;
    };

    bool applyEdit(ListSendRow &row, int column, const QVariant &value, unsigned channel);
    void rowEnded(quint64 key, int reason);
    int rowOfKey(quint64 key) const;
    void refreshProgress();
    void changed(int row);

    QList<Item> m_items;
    quint64 m_nextKey = 1;
    ListScheduler *m_schedulers[2];
    QBasicTimer m_progressTimer;
};
