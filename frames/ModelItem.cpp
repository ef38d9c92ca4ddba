#include "ModelItem.h"

#include <QMutexLocker>

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

void registerModelItemTypes()
{
    qRegisterMetaType<ModelItem>("ModelItem");
    qRegisterMetaType<QList<ModelItem>>("QList<ModelItem>");
}
