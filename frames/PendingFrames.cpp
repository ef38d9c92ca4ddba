#include "PendingFrames.h"

#include <QMutexLocker>

#include <utility>

void PendingFrames::appendPendingFrames(QList<ModelItem> batch)
{
    if (batch.isEmpty())
        return;
    QMutexLocker lock(&pendingFramesLock);
    // The list takes the batch over instead of sharing its data: a shared
    // QList would be released by this thread after the unlock while the GUI
    // thread already appends to or frees the same block (QList decides
    // whether it is shared with a plain load, which orders nothing).
    if (pendingFrames.isEmpty()) {
        pendingFrames.swap(batch);
        return;
    }
    // QList copies a frame on append (its eleven texts shared one by one, an
    // atomic count each) and the batch then drops the originals: the texts
    // are moved into place instead.
    // No reserve: QList::reserve allocates exactly what it is asked for, so
    // reserving before every batch would move the whole list each time; the
    // appends below grow it geometrically.
    for (ModelItem &item : batch) {
        pendingFrames.append(ModelItem());
        std::swap(pendingFrames.last(), item);
    }
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
