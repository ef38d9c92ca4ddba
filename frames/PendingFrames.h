#pragma once
// The hand-over list from the worker threads to the GUI thread: the list and
// its lock live together, so nothing reaches the list without the lock. A
// worker appends one batch per driver call; the refresh tick takes the whole
// list in one swap. The lock is held only for the append or the swap, never
// across a driver call.
#include "ModelItem.h"

#include <QList>
#include <QMutex>

class PendingFrames {
public:
    void appendPendingFrames(QList<ModelItem> batch);
    QList<ModelItem> takePendingFrames();
    // Frames waiting right now (tests and the benchmark watch the backlog).
    int pendingCount() const;

private:
    mutable QMutex pendingFramesLock;
    QList<ModelItem> pendingFrames;
};

// The one hand-over list of the process.
PendingFrames &pendingFrames();

inline void appendPendingFrames(QList<ModelItem> batch) { pendingFrames().appendPendingFrames(std::move(batch)); }

inline QList<ModelItem> takePendingFrames() { return pendingFrames().takePendingFrames(); }
