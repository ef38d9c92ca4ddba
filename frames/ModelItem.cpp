#include "ModelItem.h"

#include <QMutexLocker>

#include <atomic>

QList<ModelItem> pendingFrames;
QMutex pendingFramesLock;

void appendPendingFrames(QList<ModelItem> batch)
{
    if (batch.isEmpty())
        return;
    QMutexLocker lock(&pendingFramesLock);
    pendingFrames.append(batch);
}

QList<ModelItem> takePendingFrames()
{
    QList<ModelItem> taken;
    QMutexLocker lock(&pendingFramesLock);
    taken.swap(pendingFrames);
    return taken;
}

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
