#pragma once
// The stop flag of a worker thread. stop() asks the current run to end; a stop
// while the thread is idle is kept for the next run. The run clears the flag
// when it ends, and a stop that lands after that, while the thread is still
// winding down, is dropped: it meant the run that has just ended, and must not
// end the next one as soon as it starts.

#include <QMutex>
#include <QThread>
#include <atomic>

class RunStop {
public:
    explicit RunStop(QThread *owner);
    RunStop(const RunStop &) = delete;
    RunStop &operator=(const RunStop &) = delete;

    // From any thread.
    void request();
    // Read by the run at every check.
    bool requested() const { return m_flag.load(); }
    // The run's own last step: clears the flag, later stops are dropped until
    // the thread has finished.
    void runEnded();
    // Forgets a stop asked for while idle (a new configuration starts afresh).
    void clear() { m_flag = false; }

private:
    QThread *m_owner;
    QMutex m_lock;
    std::atomic<bool> m_flag { false };
    bool m_ended = false; // under m_lock
};
