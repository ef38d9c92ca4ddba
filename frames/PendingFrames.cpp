#include "PendingFrames.h"

#include <QMutexLocker>

void PendingFrames::appendPendingFrames(QList<ModelItem> batch)
{
    if (batch.isEmpty())
        return;
    QMutexLocker lock(&pendingFramesLock);
    pendingFrames.append(batch);
}

QList<ModelItem> PendingFrames::takePendingFrames()
{
    QList<ModelItem> taken;
    QMutexLocker lock(&pendingFramesLock);
    taken.swap(pendingFrames);
    return taken;
}

int PendingFrames::pendingCount() const
{
    QMutexLocker lock(&pendingFramesLock);
    return pendingFrames.size();
}

PendingFrames &pendingFrames()
{
    static PendingFrames list;
    return list;
}
