#pragma once
// One frame as one row of the frame list: two numbers and eleven ready-made
// display texts in column order, and the few raw values a binary capture
// file needs that the texts do not hold exactly.
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

    // Raw values, set by the batch builders (zero for records made elsewhere).
    // The data bytes are not kept: the data text holds them exactly.
    qint64 hostTimeNs = 0; // steady clock when the worker built the batch; 0 = not built there
    quint64 deviceTimeUs = 0; // received: the device time stamp; transmitted: 0
    quint32 idWord = 0; // identifier with the extended (bit 31) and remote (bit 30) flags
    quint8 length = 0; // data length as the record gave it
    quint8 fdFlags = 0; // CAN FD flags byte of the record (bit 0 bit-rate switch)
    bool canFd = false;
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

// The steady clock the batch builders stamp hostTimeNs with, in nanoseconds.
qint64 frameClockNs();
