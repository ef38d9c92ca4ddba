#include "recvThread.h"

#include "DeviceLayer.h"
#include "FrameBatch.h"
#include "PendingFrames.h"
#include "SettingsStore.h"

#include <algorithm>

recvThread::recvThread(uint channel, QObject *parent)
    : QThread(parent)
    , m_channel(channel)
{
}

recvThread::~recvThread()
{
    stop();
    wait();
}

void recvThread::setRecvParams(uint, uint)
{
    m_waitTime = 1;
    m_readCapacity = kBufferCapacity;
}

void recvThread::stop() { m_stop.request(); }

void recvThread::resetLastIds()
{
    m_lastCanId = 0;
    m_lastFdId = 0;
}

void recvThread::run()
{
    // One read never returns more than the buffers hold.
    CanReceiveRecord canBuffer[kBufferCapacity];
    CanFdReceiveRecord fdBuffer[kBufferCapacity];

    if (!m_stop.requested()) {
        quint8 idle = 0;
        while (isChannelOpen(m_channel)) {
            // Every call polls without waiting; the pause is the 1 ms sleep below.
            const uint capacity = std::min<uint>(m_readCapacity, kBufferCapacity);
            const uint n = std::min(receiveCan(m_channel, canBuffer, capacity, 0), capacity);
            if (n > 0) {
                buildCanBatch(canBuffer, n);
                const uint m = std::min(receiveCanFd(m_channel, fdBuffer, capacity, 0), capacity);
                if (m > 0)
                    buildCanFdBatch(fdBuffer, m);
                idle = 1;
            } else {
                const uint m = std::min(receiveCanFd(m_channel, fdBuffer, capacity, 0), capacity);
                if (m > 0) {
                    buildCanFdBatch(fdBuffer, m);
                    idle = 1;
                } else if (++idle > 9) {
                    buildCanBatch(canBuffer, 0);
                    idle = 0;
                }
            }
            releaseRecycledFrames();
            QThread::msleep(1);
            if (m_stop.requested())
                break;
        }
    }
    buildCanBatch(canBuffer, 0);
    m_stop.runEnded();
}

// One-shot: once armed through "recvIDAdd" it compares a single pair of
// consecutive frames of one kind and then disarms itself, in order or not.
void recvThread::checkContinuity(uint32_t idWord, std::atomic<uint32_t> &lastId)
{
    static const QString key = QStringLiteral("recvIDAdd");
    static const QString off = QStringLiteral("0");
    thread_local SettingsStore::NumberReader armed(key, off);
    if (armed.read() != 1)
        return;
    const uint32_t previous = lastId.load();
    if (previous != 0) {
        SettingsStore::setValue(key, off, true);
        const uint last = previous & FrameText::kIdMask;
        const uint cur = idWord & FrameText::kIdMask;
        // Only the standard identifier wraps; 0x1FFFFFFF -> 0 counts as a gap.
        if (cur != last + 1 && !(last == 0x7FF && cur == 0))
            emit errorID(last, cur);
    }
    lastId = idWord;
}

void recvThread::buildCanBatch(const CanReceiveRecord *records, uint count)
{
    appendPendingFrames(FrameBatch::build(
        records, count, m_channel, [this](const CanReceiveRecord &rec) { checkContinuity(rec.id, m_lastCanId); }));
}

void recvThread::buildCanFdBatch(const CanFdReceiveRecord *records, uint count)
{
    appendPendingFrames(FrameBatch::build(
        records, count, m_channel, [this](const CanFdReceiveRecord &rec) { checkContinuity(rec.id, m_lastFdId); }));
}
