#pragma once
// Sends the list rows of one channel, each at its own period, on its own
// thread. The n-th frame of a row is due at its start + n x period on the
// steady (monotonic) clock, so periods do not drift with the time spent
// sending; whatever falls due together goes to the driver in one call per
// record kind, and its transmitted rows reach the frame table through the
// hand-over list like every other sent frame.
//
// The thread sleeps until the next due time (never spinning), and wakes at
// least every kIdleCheck to notice a channel that closed. A row that falls
// more than one period behind (the thread was held up) skips the missed slots
// instead of sending them in a burst.
#include "ListSendRow.h"

#include <QThread>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

// What the window reads of a row while it runs; written by the scheduler thread.
struct ListRowProgress {
    std::atomic<quint64> sent { 0 };
    std::atomic<bool> running { false };
};

class ListScheduler : public QThread {
    Q_OBJECT
public:
    using Clock = std::chrono::steady_clock;
    enum EndReason { CountReached = 0, ChannelClosed = 1, SendFailed = 2 };

    static constexpr std::chrono::milliseconds kIdleCheck { 50 };
    // Rows due within this much of the earliest one go out in the same call.
    static constexpr std::chrono::microseconds kBatchWindow { 100 };

    explicit ListScheduler(unsigned channel, QObject *parent = nullptr);
    ~ListScheduler() override;

    // Starts sending `row` under `key`; its first frame is due at `firstDue`.
    // progress->running is set at once and cleared when the row ends.
    void add(
        quint64 key, const ListSendRow &row, Clock::time_point firstDue, std::shared_ptr<ListRowProgress> progress);
    // Stops one row, or all rows, at the scheduler's next pass (at once when
    // it sleeps); no rowEnded follows.
    void remove(quint64 key);
    void removeAll();
    unsigned channel() const { return m_channel; }

signals:
    // A row ended by itself: its count was reached, its channel closed or
    // the driver refused a frame (EndReason).
    void rowEnded(quint64 key, int reason);
    void log(QString msg);

protected:
    void run() override;

private:
    struct Command {
        enum Kind { Add, Remove, RemoveAll } kind;
        quint64 key = 0;
        ListSendRow row;
        Clock::time_point start;
        std::shared_ptr<ListRowProgress> progress;
    };
    struct Entry;

    void push(Command command);
    void sendDue(std::vector<Entry> &entries, Clock::time_point now);
    void end(std::vector<Entry> &entries, size_t i, int reason);

    const unsigned m_channel;
    std::mutex m_lock;
    std::condition_variable m_wake;
    std::vector<Command> m_commands; // under m_lock
    bool m_quit = false; // under m_lock
};
