#pragma once
// Drains one channel of the adapter: polls the classic queue, then the CAN FD
// queue, every millisecond, and hands each read's frames to the GUI thread
// through pendingFrames.

#include "DriverApi.h"
#include "ModelItem.h"
#include "RunStop.h"

#include <QThread>
#include <atomic>

class recvThread : public QThread {
    Q_OBJECT
public:
    // Most records fetched per driver call; the stack buffers of run() hold this many.
    static constexpr uint kBufferCapacity = 1000;

    explicit recvThread(uint channel, QObject *parent = nullptr);
    ~recvThread() override;

    // Both values are ignored: the thread keeps its own fixed wait time and capacity.
    void setRecvParams(uint scanTime, uint framesPerRead);
    // Asks the loop to end after its current pass; does not wait.
    void stop();
    // Forgets both remembered identifiers, so the continuity check starts afresh.
    void resetLastIds();

    uint channel() const { return m_channel; }
    uint waitTime() const { return m_waitTime; }
    uint readCapacity() const { return m_readCapacity; }
    bool stopRequested() const { return m_stop.requested(); }

    // Batch builders: one ModelItem per raw record, appended to pendingFrames
    // as one batch (also when count is 0).
    void buildCanBatch(const CanReceiveRecord *records, uint count);
    void buildCanFdBatch(const CanFdReceiveRecord *records, uint count);

signals:
    void recvData(QList<ModelItem> modelList, uint channel);
    void log(QString msg);
    void errorID(uint lastID, uint ID);

protected:
    void run() override;

private:
    void checkContinuity(uint32_t idWord, std::atomic<uint32_t> &lastId);

    const uint m_channel;
    RunStop m_stop { this };
    std::atomic<uint> m_waitTime { 50 };
    std::atomic<uint> m_readCapacity { kBufferCapacity };
    std::atomic<uint32_t> m_lastCanId { 0 };
    std::atomic<uint32_t> m_lastFdId { 0 };
};
