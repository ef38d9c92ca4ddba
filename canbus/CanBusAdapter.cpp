#include "CanBusAdapter.h"

#include "FilterRowStaging.h"

#include "AcceptanceMasks.h"
#include "BusTiming.h"
#include "Lang.h"

#include <QCanBus>
#include <QCanBusDevice>
#include <QCanBusFrame>
#include <QCoreApplication>
#include <QDateTime>
#include <QMetaObject>
#include <QThread>
#include <QTimer>
#include <QVariant>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <vector>

namespace {

using AcceptanceMasks::IdMask;

constexpr uint32_t kExtendedBit = 0x80000000u;
constexpr uint32_t kRemoteBit = 0x40000000u;
constexpr uint32_t kIdMask = 0x1FFFFFFFu;
// A send thread waits this long for room in a full transmit queue before it
// is told how many frames were taken.
constexpr auto kTransmitWait = std::chrono::milliseconds(200);
// Frames kept in the interface's own write queue, where it has one.
constexpr qint64 kDeviceWriteQueue = 64;
constexpr int kConnectTimeoutMs = 5000;
// Bit-rate changes on a running channel arrive as several calls; they are
// applied together once the calls have stopped for this long.
constexpr int kReapplyDelayMs = 50;

// A fixed-size FIFO; the caller holds the lock.
template <typename T> class Ring {
public:
    explicit Ring(size_t capacity)
        : m_items(capacity)
    {
    }
    size_t size() const { return m_count; }
    bool empty() const { return m_count == 0; }
    bool push(const T &item)
    {
        if (m_count == m_items.size())
            return false;
        m_items[(m_head + m_count) % m_items.size()] = item;
        ++m_count;
        return true;
    }
    size_t take(T *out, size_t capacity)
    {
        const size_t n = std::min(capacity, m_count);
        for (size_t i = 0; i < n; ++i) {
            out[i] = m_items[m_head];
            m_head = (m_head + 1) % m_items.size();
        }
        m_count -= n;
        return n;
    }
    void clear() { m_head = m_count = 0; }

private:
    std::vector<T> m_items;
    size_t m_head = 0;
    size_t m_count = 0;
};

using Range = FilterRowStaging::Range;

struct TxFrame {
    QCanBusFrame frame;
    bool selfReceive = false;
};

// What one channel asked for that a QCanBusDevice may or may not take.
struct Settings {
    uint32_t arbitration = 0; // index into the arbitration table
    uint32_t data = 0; // index into the data table
    uint32_t standard = 0; // 0 ISO, 1 Bosch
    uint32_t workMode = 0; // 0 normal, 1 listen only
    bool custom = false;
    QString customText;
    bool termination = false;
};

struct Channel {
    int index = 0;
    Interfaces::Interface itf;
    bool mapped() const { return !itf.plugin.isEmpty(); }

    // Device thread only.
    QCanBusDevice *device = nullptr;
    bool closing = false;
    uint64_t reportedDropped = 0, reportedErrors = 0, reportedTxFailed = 0;
    QString writeError;
    QTimer *reapply = nullptr;

    std::atomic<int> state { int(QCanBusDevice::UnconnectedState) };
    std::atomic<bool> lost { false };
    std::atomic<bool> started { false };
    std::atomic<uint32_t> handle { 0 };

    // Written by the configuring (GUI) thread, read by the device thread.
    std::mutex settingsLock;
    Settings settings;
    FilterRowStaging filterRows; // in force after filter_ack
    QString lastNotice; // device thread

    // Receive side, under rxLock.
    std::mutex rxLock;
    std::condition_variable rxReady;
    Ring<CanReceiveRecord> rxCan { CanBusAdapter::kClassicQueue };
    Ring<CanFdReceiveRecord> rxFd { CanBusAdapter::kFdQueue };
    QVector<IdMask> filters; // empty: every frame passes
    uint64_t timeBase = 0; // microseconds at channel start, on the frames' clock

    // Transmit side, under txLock.
    std::mutex txLock;
    std::condition_variable txSpace;
    std::deque<TxFrame> tx;
    bool drainPosted = false;

    std::atomic<uint64_t> rxDropped { 0 }, errorFrames { 0 }, txFailed { 0 };
    // The counts when the channel was last started.
    std::atomic<uint64_t> droppedAtStart { 0 }, errorsAtStart { 0 };
    std::atomic<bool> interfaceFilters { false };
};

uint64_t epochMicros() { return uint64_t(QDateTime::currentMSecsSinceEpoch()) * 1000u; }

// Identifier word, length and data of a transmit record as a frame on the bus.
QCanBusFrame toFrame(uint32_t idWord, const uint8_t *data, unsigned length, bool fd, bool bitRateSwitch)
{
    QCanBusFrame frame;
    const bool extended = idWord & kExtendedBit;
    frame.setExtendedFrameFormat(extended);
    frame.setFrameId(idWord & (extended ? kIdMask : 0x7FFu));
    if (idWord & kRemoteBit) {
        // CAN FD has no remote frames: a remote request always goes out as a
        // classic one, its length as the DLC.
        frame.setFrameType(QCanBusFrame::RemoteRequestFrame);
        frame.setPayload(QByteArray(int(std::min(length, 8u)), '\0'));
        return frame;
    }
    if (fd) {
        QByteArray payload(reinterpret_cast<const char *>(data), int(std::min(length, 64u)));
        payload.resize(
            BusTiming::fdPayloadLength(uint32_t(payload.size()))); // padded with zero bytes, as the controller does
        frame.setPayload(payload);
        frame.setFlexibleDataRateFormat(true);
        frame.setBitrateSwitch(bitRateSwitch);
    } else {
        frame.setPayload(QByteArray(reinterpret_cast<const char *>(data), int(std::min(length, 8u))));
    }
    return frame;
}

QString settingsLeftText(const Channel &ch, const Settings &s, bool bitRateTaken)
{
    QStringList left;
    if (s.custom) {
        left << Lang::pick(QStringLiteral("自定义波特率“%1”"), QStringLiteral("自定義波特率「%1」"),
            QStringLiteral("custom bit rate \"%1\""))
                    .arg(s.customText);
    } else if (!bitRateTaken) {
        left << Lang::pick(QStringLiteral("波特率 %1/%2 bit/s"), QStringLiteral("波特率 %1/%2 bit/s"),
            QStringLiteral("bit rates %1/%2 bit/s"))
                    .arg(BusTiming::arbitrationRate(s.arbitration))
                    .arg(BusTiming::dataRate(s.data));
    }
    if (s.standard == 1)
        left << Lang::pick(QStringLiteral("CANFD BOSCH 标准"), QStringLiteral("CANFD BOSCH 標準"),
            QStringLiteral("CANFD BOSCH standard"));
    if (s.workMode == 1)
        left << Lang::pick(QStringLiteral("只听模式"), QStringLiteral("只聽模式"), QStringLiteral("listen-only mode"));
    if (s.termination)
        left << Lang::pick(QStringLiteral("终端电阻"), QStringLiteral("終端電阻"), QStringLiteral("termination"));
    if (left.isEmpty())
        return QString();

    QString how;
    if (ch.itf.plugin == QLatin1String("socketcan")) {
        const QString n = ch.itf.name;
        how = QStringLiteral("ip link set %1 down; ip link set %1 type can bitrate %2 dbitrate %3 fd on")
                  .arg(n)
                  .arg(BusTiming::arbitrationRate(s.arbitration))
                  .arg(BusTiming::dataRate(s.data));
        if (s.standard == 1)
            how += QStringLiteral(" fd-non-iso on");
        if (s.workMode == 1)
            how += QStringLiteral(" listen-only on");
        if (s.termination)
            how += QStringLiteral(" termination 120");
        how += QStringLiteral("; ip link set %1 up").arg(n);
    } else if (ch.itf.plugin == QLatin1String("virtualcan")) {
        how = Lang::pick(QStringLiteral("虚拟总线无需设置"), QStringLiteral("虛擬總線無需設置"),
            QStringLiteral("a virtual bus has nothing to set"));
    } else {
        how = Lang::pick(QStringLiteral("该适配器厂商的配置工具"), QStringLiteral("該適配器廠商的配置工具"),
            QStringLiteral("the adapter vendor's configuration tool"));
    }
    return Lang::pick(QStringLiteral("通道%1（%2）：接口未接受%3，保持其自身配置；设置方法：%4"),
        QStringLiteral("通道%1（%2）：介面未接受%3，保持其自身配置；設置方法：%4"),
        QStringLiteral(
            "Channel %1 (%2): the interface did not take %3 and keeps its own configuration; set it with: %4"))
        .arg(ch.index + 1)
        .arg(Interfaces::channelText(ch.itf), left.join(QStringLiteral(", ")), how);
}

} // namespace

struct CanBusAdapter::Impl {
    mutable std::mutex lock; // mapping, device handle, generation
    Interfaces::Mapping mapping;
    std::atomic<uint32_t> deviceHandle { 0 };
    uint32_t generation = 0;
    Channel ch[2];

    QThread *thread = nullptr;
    QObject *context = nullptr; // lives in the device thread
    QTimer *reportTimer = nullptr;

    std::mutex stateLock;
    std::condition_variable stateChanged;

    Impl()
    {
        ch[0].index = 0;
        ch[1].index = 1;
    }

    void ensureThread()
    {
        if (thread)
            return;
        thread = new QThread;
        thread->setObjectName(QStringLiteral("canbus"));
        context = new QObject;
        context->moveToThread(thread);
        QObject::connect(thread, &QThread::finished, context, &QObject::deleteLater);
        thread->start();
        runInThread([this] {
            reportTimer = new QTimer(context);
            reportTimer->setInterval(1000);
            QObject::connect(reportTimer, &QTimer::timeout, context, [this] { report(); });
            reportTimer->start();
            for (Channel &c : ch) {
                c.reapply = new QTimer(context);
                c.reapply->setSingleShot(true);
                c.reapply->setInterval(kReapplyDelayMs);
                Channel *cp = &c;
                QObject::connect(c.reapply, &QTimer::timeout, context, [this, cp] { applySettings(*cp); });
            }
        });
        // The thread ends with the application, after its last window.
        if (QCoreApplication::instance())
            qAddPostRoutine([] { CanBusAdapter::instance().shutdown(); });
    }

    template <typename F> void runInThread(F f)
    {
        if (QThread::currentThread() == thread)
            f();
        else
            QMetaObject::invokeMethod(context, f, Qt::BlockingQueuedConnection);
    }
    template <typename F> void post(F f) { QMetaObject::invokeMethod(context, f, Qt::QueuedConnection); }

    int channelOf(uint32_t handle) const
    {
        if (handle == 0)
            return -1;
        for (int c = 0; c < 2; ++c)
            if (ch[c].handle.load() == handle)
                return c;
        return -1;
    }

    void wake(Channel &c)
    {
        {
            std::lock_guard<std::mutex> l(c.rxLock);
        }
        c.rxReady.notify_all();
        {
            std::lock_guard<std::mutex> l(c.txLock);
        }
        c.txSpace.notify_all();
    }

    // Device thread: opens one channel's interface; false when it cannot.
    bool createDevice(Channel &c, QString *why)
    {
        QString error;
        QCanBusDevice *dev = QCanBus::instance()->createDevice(c.itf.plugin, c.itf.name, &error);
        if (!dev) {
            *why = error;
            return false;
        }
        if (dev->error() == QCanBusDevice::ConnectionError) {
            *why = dev->errorString();
            delete dev;
            return false;
        }
        dev->setParent(context);
        c.device = dev;
        c.closing = false;
        c.lost = false;
        c.state = int(QCanBusDevice::UnconnectedState);
        Channel *cp = &c;
        QObject::connect(dev, &QCanBusDevice::stateChanged, context, [this, cp](QCanBusDevice::CanBusDeviceState s) {
            {
                std::lock_guard<std::mutex> l(stateLock);
                cp->state = int(s);
                if (s == QCanBusDevice::UnconnectedState && !cp->closing)
                    cp->lost = true;
            }
            stateChanged.notify_all();
            if (cp->lost)
                wake(*cp);
        });
        QObject::connect(dev, &QCanBusDevice::errorOccurred, context, [this, cp](QCanBusDevice::CanBusError e) {
            if (e == QCanBusDevice::ConnectionError && !cp->closing) {
                {
                    std::lock_guard<std::mutex> l(stateLock);
                    cp->lost = true;
                }
                stateChanged.notify_all();
                wake(*cp);
            } else if (e == QCanBusDevice::WriteError && cp->device) {
                cp->writeError = cp->device->errorString();
            }
        });
        QObject::connect(dev, &QCanBusDevice::framesReceived, context, [this, cp] { receive(*cp); });
        QObject::connect(dev, &QCanBusDevice::framesWritten, context, [this, cp](qint64) { drain(*cp); });
        // A CAN FD channel: the interface has to pass FD frames both ways.
        dev->setConfigurationParameter(QCanBusDevice::CanFdKey, true);
        if (!dev->connectDevice()) {
            *why = dev->errorString();
            return false;
        }
        return true;
    }

    // Device thread.
    void destroyDevice(Channel &c)
    {
        if (!c.device)
            return;
        c.closing = true;
        QCanBusDevice *dev = c.device;
        c.device = nullptr;
        QObject::disconnect(dev, nullptr, context, nullptr);
        if (dev->state() != QCanBusDevice::UnconnectedState)
            dev->disconnectDevice();
        delete dev;
        c.state = int(QCanBusDevice::UnconnectedState);
        c.reapply->stop();
    }

    // Device thread: every frame the interface has, into the channel's queues.
    void receive(Channel &c)
    {
        if (!c.device)
            return;
        const QVector<QCanBusFrame> frames = c.device->readAllFrames();
        if (!c.started.load())
            return;
        std::unique_lock<std::mutex> l(c.rxLock);
        bool arrived = false;
        for (const QCanBusFrame &f : frames) {
            if (f.frameType() == QCanBusFrame::ErrorFrame) {
                c.errorFrames.fetch_add(1, std::memory_order_relaxed);
                continue;
            }
            if (f.frameType() != QCanBusFrame::DataFrame && f.frameType() != QCanBusFrame::RemoteRequestFrame)
                continue;
            if (!c.filters.isEmpty() && !AcceptanceMasks::accepts(c.filters, f.hasExtendedFrameFormat(), f.frameId()))
                continue;
            arrived |= enqueue(c, f);
        }
        l.unlock();
        if (arrived)
            c.rxReady.notify_all();
    }

    // rxLock held. False when the frame was dropped on a full queue.
    bool enqueue(Channel &c, const QCanBusFrame &f)
    {
        const QCanBusFrame::TimeStamp ts = f.timeStamp();
        uint64_t micros = uint64_t(ts.seconds()) * 1000000u + uint64_t(ts.microSeconds());
        if (micros == 0)
            micros = epochMicros(); // an interface without time stamps: the arrival time
        // Microseconds since the channel started, where the frames' clock is the
        // wall clock (SocketCAN, virtualcan); an interface counting from its own
        // start keeps its stamps.
        if (micros >= c.timeBase)
            micros -= c.timeBase;
        const bool extended = f.hasExtendedFrameFormat();
        uint32_t id = f.frameId() & kIdMask;
        if (extended)
            id |= kExtendedBit;
        const bool remote = f.frameType() == QCanBusFrame::RemoteRequestFrame;
        if (remote)
            id |= kRemoteBit;
        const QByteArray payload = f.payload();
        bool ok;
        if (f.hasFlexibleDataRateFormat()) {
            CanFdReceiveRecord r {};
            r.id = id;
            r.length = uint8_t(std::min(payload.size(), 64));
            r.flags = f.hasBitrateSwitch() ? 1 : 0;
            if (!remote)
                std::memcpy(r.data, payload.constData(), r.length);
            r.timestamp = micros;
            ok = c.rxFd.push(r);
        } else {
            CanReceiveRecord r {};
            r.id = id;
            r.length = uint8_t(std::min(payload.size(), 8));
            if (!remote)
                std::memcpy(r.data, payload.constData(), r.length);
            r.timestamp = micros;
            ok = c.rxCan.push(r);
        }
        if (!ok)
            c.rxDropped.fetch_add(1, std::memory_order_relaxed);
        return ok;
    }

    // Device thread: hands queued frames to the interface while its own
    // write queue has room; framesWritten brings it back.
    void drain(Channel &c)
    {
        for (;;) {
            if (!c.device || c.device->state() != QCanBusDevice::ConnectedState) {
                std::lock_guard<std::mutex> l(c.txLock);
                c.tx.clear();
                c.drainPosted = false;
                c.txSpace.notify_all();
                return;
            }
            if (c.device->framesToWrite() >= kDeviceWriteQueue)
                return;
            TxFrame next;
            {
                std::lock_guard<std::mutex> l(c.txLock);
                if (c.tx.empty()) {
                    c.drainPosted = false;
                    return;
                }
                next = c.tx.front();
                c.tx.pop_front();
            }
            c.txSpace.notify_all();
            if (!c.device->writeFrame(next.frame)) {
                c.txFailed.fetch_add(1, std::memory_order_relaxed);
                if (c.writeError.isEmpty())
                    c.writeError = c.device->errorString();
                continue;
            }
            if (next.selfReceive && c.started.load()) {
                // Self-receive: the channel sees its own frame, past its filter.
                QCanBusFrame echo = next.frame;
                echo.setTimeStamp(QCanBusFrame::TimeStamp::fromMicroSeconds(qint64(epochMicros())));
                bool arrived;
                {
                    std::lock_guard<std::mutex> l(c.rxLock);
                    arrived = enqueue(c, echo);
                }
                if (arrived)
                    c.rxReady.notify_all();
            }
        }
    }

    // Device thread: bit rates to the interface, and one log line naming what
    // it kept as configured (only when that line changes).
    void applySettings(Channel &c)
    {
        if (!c.device)
            return;
        Settings s;
        {
            std::lock_guard<std::mutex> l(c.settingsLock);
            s = c.settings;
        }
        bool taken = true;
        if (!s.custom) {
            const uint32_t arbitration = BusTiming::arbitrationRate(s.arbitration);
            const uint32_t data = BusTiming::dataRate(s.data);
            c.device->setConfigurationParameter(QCanBusDevice::BitRateKey, arbitration);
            c.device->setConfigurationParameter(QCanBusDevice::DataBitRateKey, data);
            // An interface that ignores or refuses a key does not keep it.
            taken = c.device->configurationParameter(QCanBusDevice::BitRateKey).toUInt() == arbitration
                && c.device->configurationParameter(QCanBusDevice::DataBitRateKey).toUInt() == data;
        }
        const QString notice = settingsLeftText(c, s, taken);
        if (!notice.isEmpty() && notice != c.lastNotice)
            Interfaces::postNotice(notice);
        c.lastNotice = notice;
    }

    // Device thread: the identifier/mask list to the interface; where it does
    // not take it, the back-end's own filter (always on) does the work.
    void applyFilters(Channel &c, const QVector<IdMask> &masks)
    {
        if (!c.device)
            return;
        QList<QCanBusDevice::Filter> list;
        for (const IdMask &m : masks) {
            QCanBusDevice::Filter f;
            f.frameId = m.id;
            f.frameIdMask = m.mask;
            f.type = QCanBusFrame::InvalidFrame; // data and remote frames alike
            f.format = m.extended ? QCanBusDevice::Filter::MatchExtendedFormat : QCanBusDevice::Filter::MatchBaseFormat;
            list << f;
        }
        if (list.isEmpty()) {
            // Pass everything: one filter that cares about no bit.
            QCanBusDevice::Filter all;
            all.frameId = 0;
            all.frameIdMask = 0;
            all.type = QCanBusFrame::InvalidFrame;
            all.format = QCanBusDevice::Filter::MatchBaseAndExtendedFormat;
            list << all;
        }
        c.device->setConfigurationParameter(QCanBusDevice::RawFilterKey, QVariant::fromValue(list));
        c.interfaceFilters = c.device->configurationParameter(QCanBusDevice::RawFilterKey).isValid();
    }

    // Device thread, once a second: what was lost or refused since the last report.
    void report()
    {
        for (Channel &c : ch) {
            const uint64_t dropped = c.rxDropped.load(), errors = c.errorFrames.load(), failed = c.txFailed.load();
            if (dropped != c.reportedDropped) {
                Interfaces::postNotice(Lang::pick(QStringLiteral("通道%1：接收队列已满，丢弃 %2 帧（共 %3 帧）"),
                    QStringLiteral("通道%1：接收佇列已滿，丟棄 %2 幀（共 %3 幀）"),
                    QStringLiteral("Channel %1: receive queue full, %2 frames dropped (%3 in all)"))
                                           .arg(c.index + 1)
                                           .arg(dropped - c.reportedDropped)
                                           .arg(dropped));
                c.reportedDropped = dropped;
            }
            if (errors != c.reportedErrors) {
                Interfaces::postNotice(Lang::pick(QStringLiteral("通道%1：收到 %2 个错误帧（共 %3 个）"),
                    QStringLiteral("通道%1：收到 %2 個錯誤幀（共 %3 個）"),
                    QStringLiteral("Channel %1: %2 error frames received (%3 in all)"))
                                           .arg(c.index + 1)
                                           .arg(errors - c.reportedErrors)
                                           .arg(errors));
                c.reportedErrors = errors;
            }
            if (failed != c.reportedTxFailed) {
                Interfaces::postNotice(Lang::pick(QStringLiteral("通道%1：接口拒绝发送 %2 帧（共 %3 帧）：%4"),
                    QStringLiteral("通道%1：介面拒絕發送 %2 幀（共 %3 幀）：%4"),
                    QStringLiteral("Channel %1: the interface refused to send %2 frames (%3 in all): %4"))
                                           .arg(c.index + 1)
                                           .arg(failed - c.reportedTxFailed)
                                           .arg(failed)
                                           .arg(c.writeError));
                c.reportedTxFailed = failed;
                c.writeError.clear();
            }
        }
    }

    void clearQueues(Channel &c)
    {
        {
            std::lock_guard<std::mutex> l(c.rxLock);
            c.rxCan.clear();
            c.rxFd.clear();
        }
        {
            std::lock_guard<std::mutex> l(c.txLock);
            c.tx.clear();
        }
        wake(c);
    }

    template <typename Record> uint32_t transmit(uint32_t handle, const Record *records, uint32_t count, bool fd)
    {
        const int ci = channelOf(handle);
        if (ci < 0 || !records || count == 0)
            return 0;
        Channel &c = ch[ci];
        uint32_t accepted = 0;
        bool post = false;
        {
            std::unique_lock<std::mutex> l(c.txLock);
            for (; accepted < count; ++accepted) {
                const Record &r = records[accepted];
                // Types: 0 normal, 1 single shot, 2 self-receive, 3 single shot with
                // self-receive; an unknown type ends the batch.
                if (r.transmitType > 3)
                    break;
                if (c.tx.size() >= kTransmitQueue) {
                    c.txSpace.wait_for(l, kTransmitWait,
                        [&] { return c.tx.size() < kTransmitQueue || c.handle.load() != handle || c.lost.load(); });
                    if (c.tx.size() >= kTransmitQueue)
                        break;
                }
                if (c.handle.load() != handle || c.lost.load() || c.state.load() != int(QCanBusDevice::ConnectedState))
                    break;
                uint8_t flags = 0;
                if constexpr (std::is_same_v<Record, CanFdTransmitRecord>)
                    flags = r.flags;
                c.tx.push_back(TxFrame { toFrame(r.id, r.data, r.length, fd, flags & 1), r.transmitType >= 2 });
                if (!c.drainPosted) {
                    c.drainPosted = true;
                    post = true;
                }
            }
        }
        if (post) {
            Channel *cp = &c;
            this->post([this, cp] { drain(*cp); });
        }
        return accepted;
    }

    template <typename Record>
    uint32_t take(uint32_t handle, Record *out, uint32_t capacity, int32_t waitMs, Ring<Record> Channel::*queue)
    {
        const int ci = channelOf(handle);
        if (ci < 0 || !out || capacity == 0)
            return 0;
        Channel &c = ch[ci];
        std::unique_lock<std::mutex> l(c.rxLock);
        Ring<Record> &q = c.*queue;
        if (q.empty() && waitMs != 0) {
            auto ready = [&] { return !q.empty() || c.handle.load() != handle || c.lost.load(); };
            if (waitMs < 0)
                c.rxReady.wait(l, ready);
            else
                c.rxReady.wait_for(l, std::chrono::milliseconds(waitMs), ready);
        }
        return uint32_t(q.take(out, capacity));
    }
};

CanBusAdapter &CanBusAdapter::instance()
{
    static CanBusAdapter adapter;
    return adapter;
}

CanBusAdapter::CanBusAdapter()
    : d(new Impl)
{
}

CanBusAdapter::~CanBusAdapter() { shutdown(); }

void CanBusAdapter::shutdown()
{
    if (!d->thread)
        return;
    if (d->deviceHandle.load())
        closeDevice(d->deviceHandle.load());
    d->thread->quit();
    d->thread->wait();
    delete d->thread;
    d->thread = nullptr;
    d->context = nullptr;
}

void CanBusAdapter::setMapping(const Interfaces::Mapping &mapping)
{
    std::lock_guard<std::mutex> l(d->lock);
    d->mapping = mapping;
}

Interfaces::Mapping CanBusAdapter::mapping() const
{
    std::lock_guard<std::mutex> l(d->lock);
    return d->mapping;
}

uint32_t CanBusAdapter::openDevice(uint32_t, uint32_t index)
{
    std::lock_guard<std::mutex> l(d->lock);
    // One set of interfaces, reached as device index 0.
    if (index != 0 || d->deviceHandle.load() || d->mapping.channel[0].plugin.isEmpty())
        return 0;
    d->ensureThread();
    for (int c = 0; c < 2; ++c) {
        Channel &chn = d->ch[c];
        chn.itf = d->mapping.channel[c];
        chn.handle = 0;
        chn.started = false;
        {
            std::lock_guard<std::mutex> sl(chn.settingsLock);
            chn.settings = Settings();
        }
        chn.filterRows.clear();
        chn.rxDropped = chn.errorFrames = chn.txFailed = 0;
        chn.interfaceFilters = false;
        {
            std::lock_guard<std::mutex> rl(chn.rxLock);
            chn.filters.clear();
        }
        d->clearQueues(chn);
    }
    bool ok = true;
    QString why;
    d->runInThread([&] {
        for (Channel &chn : d->ch) {
            chn.lastNotice.clear();
            chn.writeError.clear();
            chn.reportedDropped = chn.reportedErrors = chn.reportedTxFailed = 0;
            if (ok && chn.mapped() && !d->createDevice(chn, &why))
                ok = false;
        }
    });
    if (ok) {
        // Connecting may take a moment (virtualcan connects over TCP).
        std::unique_lock<std::mutex> sl(d->stateLock);
        d->stateChanged.wait_for(sl, std::chrono::milliseconds(kConnectTimeoutMs), [&] {
            bool all = true;
            for (const Channel &chn : d->ch) {
                if (!chn.mapped())
                    continue;
                if (chn.lost.load())
                    return true;
                all = all && chn.state.load() == int(QCanBusDevice::ConnectedState);
            }
            return all;
        });
        for (const Channel &chn : d->ch)
            if (chn.mapped() && (chn.lost.load() || chn.state.load() != int(QCanBusDevice::ConnectedState)))
                ok = false;
    }
    if (!ok) {
        d->runInThread([&] {
            for (Channel &chn : d->ch)
                d->destroyDevice(chn);
        });
        if (!why.isEmpty())
            qWarning("canbus: %s", qPrintable(why));
        return 0;
    }
    d->generation = (d->generation + 1) & 0xFFFF;
    d->deviceHandle = 0xCB000000u | (d->generation << 8);
    return d->deviceHandle.load();
}

uint32_t CanBusAdapter::closeDevice(uint32_t device)
{
    std::lock_guard<std::mutex> l(d->lock);
    if (device == 0 || device != d->deviceHandle.load())
        return 0;
    d->deviceHandle = 0;
    for (Channel &c : d->ch) {
        c.started = false;
        c.handle = 0;
        d->wake(c);
    }
    d->runInThread([this] {
        for (Channel &c : d->ch)
            d->destroyDevice(c);
        d->report();
    });
    for (Channel &c : d->ch) {
        c.lost = false;
        d->clearQueues(c);
    }
    return 1;
}

bool CanBusAdapter::isOpenDevice(uint32_t device) const { return device != 0 && device == d->deviceHandle.load(); }

uint32_t CanBusAdapter::deviceStatus(uint32_t device)
{
    if (!isOpenDevice(device))
        return 0;
    for (const Channel &c : d->ch)
        if (c.mapped() && (c.lost.load() || c.state.load() != int(QCanBusDevice::ConnectedState)))
            return 0;
    return 2;
}

uint32_t CanBusAdapter::deviceInfo(uint32_t device, DeviceInfoRecord *info)
{
    if (!info || deviceStatus(device) != 2)
        return 0;
    std::memset(info, 0, sizeof *info);
    const Channel &first = d->ch[0];
    info->canNum = uint8_t((d->ch[0].mapped() ? 1 : 0) + (d->ch[1].mapped() ? 1 : 0));
    const QByteArray name = first.itf.name.toLatin1().left(int(sizeof info->serialNumber));
    std::memcpy(info->serialNumber, name.constData(), size_t(name.size()));
    const QByteArray type
        = (first.itf.description.isEmpty() ? first.itf.plugin : first.itf.description).toLatin1().left(39);
    std::memcpy(info->hwType, type.constData(), size_t(type.size()));
    return 1;
}

uint32_t CanBusAdapter::initChannel(uint32_t device, uint32_t channel, const ChannelInitRecord *record)
{
    const int ci = channel ? 1 : 0;
    Channel &c = d->ch[ci];
    if (!isOpenDevice(device) || !c.mapped() || c.lost.load())
        return 0;
    {
        std::lock_guard<std::mutex> l(c.settingsLock);
        c.settings.workMode = record ? record->workMode : 0;
    }
    c.started = false;
    // A channel starts unfiltered.
    {
        std::lock_guard<std::mutex> l(c.rxLock);
        c.filters.clear();
    }
    d->clearQueues(c);
    d->runInThread([&] {
        if (c.interfaceFilters.load())
            d->applyFilters(c, {});
        c.interfaceFilters = false;
    });
    c.handle = (device & 0x00FFFF00u) | uint32_t(0x10 + ci);
    return c.handle.load();
}

uint32_t CanBusAdapter::startChannel(uint32_t handle)
{
    const int ci = d->channelOf(handle);
    if (ci < 0)
        return 0;
    Channel &c = d->ch[ci];
    if (c.lost.load() || c.state.load() != int(QCanBusDevice::ConnectedState))
        return 0;
    d->runInThread([&] {
        d->applySettings(c);
        {
            std::lock_guard<std::mutex> l(c.rxLock);
            c.timeBase = epochMicros();
        }
        c.droppedAtStart = c.rxDropped.load();
        c.errorsAtStart = c.errorFrames.load();
        c.started = true;
    });
    return 1;
}

uint32_t CanBusAdapter::resetChannel(uint32_t handle)
{
    const int ci = d->channelOf(handle);
    if (ci < 0)
        return 0;
    Channel &c = d->ch[ci];
    c.started = false;
    c.handle = 0;
    d->clearQueues(c);
    return 1;
}

uint32_t CanBusAdapter::transmitCan(uint32_t handle, const CanTransmitRecord *records, uint32_t count)
{
    return d->transmit(handle, records, count, false);
}

uint32_t CanBusAdapter::transmitCanFd(uint32_t handle, const CanFdTransmitRecord *records, uint32_t count)
{
    return d->transmit(handle, records, count, true);
}

uint32_t CanBusAdapter::receiveCan(uint32_t handle, CanReceiveRecord *out, uint32_t capacity, int32_t waitMs)
{
    return d->take(handle, out, capacity, waitMs, &Channel::rxCan);
}

uint32_t CanBusAdapter::receiveCanFd(uint32_t handle, CanFdReceiveRecord *out, uint32_t capacity, int32_t waitMs)
{
    return d->take(handle, out, capacity, waitMs, &Channel::rxFd);
}

// A running channel takes changed settings once the calls that change them have stopped.
void CanBusAdapter::reapplyLater(int channel)
{
    Channel *c = &d->ch[channel ? 1 : 0];
    if (c->started.load())
        d->post([c] { c->reapply->start(); });
}

uint32_t CanBusAdapter::setArbitrationBaud(uint32_t device, uint32_t channel, uint32_t index)
{
    Channel &c = d->ch[channel ? 1 : 0];
    if (!isOpenDevice(device) || !c.mapped() || BusTiming::arbitrationRate(index) == 0)
        return 0;
    std::lock_guard<std::mutex> l(c.settingsLock);
    c.settings.arbitration = index;
    c.settings.custom = false;
    return 1;
}

uint32_t CanBusAdapter::setDataBaud(uint32_t device, uint32_t channel, uint32_t index)
{
    Channel &c = d->ch[channel ? 1 : 0];
    if (!isOpenDevice(device) || !c.mapped() || BusTiming::dataRate(index) == 0)
        return 0;
    {
        std::lock_guard<std::mutex> l(c.settingsLock);
        c.settings.data = index;
    }
    reapplyLater(c.index);
    return 1;
}

uint32_t CanBusAdapter::setCanFdStandard(uint32_t device, uint32_t channel, uint32_t standard)
{
    Channel &c = d->ch[channel ? 1 : 0];
    if (!isOpenDevice(device) || !c.mapped() || standard > 1)
        return 0;
    {
        std::lock_guard<std::mutex> l(c.settingsLock);
        c.settings.standard = standard;
    }
    reapplyLater(c.index);
    return 1;
}

uint32_t CanBusAdapter::setValue(const char *path, const char *value)
{
    if (!path || !value || (path[0] != '0' && path[0] != '1') || path[1] != '/')
        return 0;
    Channel &c = d->ch[path[0] - '0'];
    if (!isOpenDevice(d->deviceHandle.load()) || !c.mapped())
        return 0;
    const QByteArray name(path + 2);
    switch (c.filterRows.write(name.constData(), value)) {
    case FilterRowStaging::Result::Accepted:
        return 1;
    case FilterRowStaging::Result::Refused:
        return 0;
    case FilterRowStaging::Result::Acknowledged: {
        QVector<IdMask> masks;
        for (const Range &r : c.filterRows.staged())
            masks += AcceptanceMasks::forRange(r.extended, r.first, r.last);
        {
            std::lock_guard<std::mutex> l(c.rxLock);
            c.filters = masks;
        }
        d->runInThread([&] { d->applyFilters(c, masks); });
        return 1;
    }
    case FilterRowStaging::Result::NotFilter:
        break;
    }
    if (name == "baud_rate_custom") {
        if (value[0] == '\0')
            return 0;
        {
            std::lock_guard<std::mutex> l(c.settingsLock);
            c.settings.custom = true;
            c.settings.customText = QString::fromUtf8(value);
        }
        reapplyLater(c.index);
        return 1;
    }
    // Spelt as the adapter's driver spells it.
    if (name == "initenal_resistance") {
        if (std::strcmp(value, "0") != 0 && std::strcmp(value, "1") != 0)
            return 0;
        {
            std::lock_guard<std::mutex> l(c.settingsLock);
            c.settings.termination = value[0] == '1';
        }
        reapplyLater(c.index);
        return 1;
    }
    return 0;
}

std::string CanBusAdapter::value(const char *path) const
{
    if (!path || (path[0] != '0' && path[0] != '1') || path[1] != '/')
        return std::string();
    const Counters n = counters(path[0] - '0');
    const std::string name(path + 2);
    if (name == "rx_dropped")
        return std::to_string(n.rxDropped);
    if (name == "error_frames")
        return std::to_string(n.errorFrames);
    if (name == "tx_failed")
        return std::to_string(n.txFailed);
    return std::string();
}

uint32_t CanBusAdapter::readBusCounters(uint32_t handle, BusCounters *counters) const
{
    const int ci = d->channelOf(handle);
    if (ci < 0 || !counters || !d->ch[ci].started.load())
        return 0;
    const Channel &c = d->ch[ci];
    counters->errorFrames = c.errorFrames.load() - c.errorsAtStart.load();
    counters->receiveOverflows = c.rxDropped.load() - c.droppedAtStart.load();
    return 1;
}

CanBusAdapter::Counters CanBusAdapter::counters(int channel) const
{
    const Channel &c = d->ch[channel ? 1 : 0];
    Counters n;
    n.rxDropped = c.rxDropped.load();
    n.errorFrames = c.errorFrames.load();
    n.txFailed = c.txFailed.load();
    n.interfaceFilters = c.interfaceFilters.load();
    return n;
}
