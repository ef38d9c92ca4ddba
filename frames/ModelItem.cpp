#include "ModelItem.h"

#include <QMutexLocker>

#include <atomic>
#include <chrono>

namespace {
QMutex recycledLock;
QList<ModelItem> recycled;
std::atomic<bool> anyRecycled { false };
} // namespace

void recycleFrames(QList<ModelItem> &spent)
{
    QList<ModelItem> stale;
    {
        QMutexLocker lock(&recycledLock);
        stale.swap(recycled);
        recycled.swap(spent);
        anyRecycled = !recycled.isEmpty();
    }
    // `stale` (nobody released it since the last round) is freed here.
}

void releaseRecycledFrames()
{
    if (!anyRecycled.load(std::memory_order_relaxed))
        return;
    QList<ModelItem> spent;
    {
        QMutexLocker lock(&recycledLock);
        spent.swap(recycled);
        anyRecycled = false;
    }
    // `spent` is freed here, outside the lock.
}

void registerModelItemTypes()
{
    qRegisterMetaType<ModelItem>("ModelItem");
    qRegisterMetaType<QList<ModelItem>>("QList<ModelItem>");
}

qint64 frameClockNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
