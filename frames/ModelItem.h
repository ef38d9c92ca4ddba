#pragma once
// One frame as one row of the frame list: two numbers and eleven ready-made
// display texts in column order.
#include <QList>
#include <QMetaType>
#include <QMutex>
#include <QString>

struct ModelItem {
    uint channel = 0; // 0-based
    uint direction = 0; // 1 received, 0 transmitted
    QString indexText;
    QString systemTime;
    QString timeStamp;
    QString channelText;
    QString dirText;
    QString idText;
    QString formatText;
    QString typeText;
    QString dlcText;
    QString protocolText;
    QString dataText;
};

Q_DECLARE_METATYPE(ModelItem)
Q_DECLARE_METATYPE(QList<ModelItem>)

// Records the main window has finished with. Their texts were allocated in
// the worker threads; a receive thread frees them at its next pass, so the
// refresh tick does not spend its time freeing thousands of strings. What no
// worker has freed by the next call is freed by that call, so at most one
// round's records wait here.
void recycleFrames(QList<ModelItem> &spent);
// Frees what recycleFrames left here; called by the receive threads.
void releaseRecycledFrames();
void registerModelItemTypes();
