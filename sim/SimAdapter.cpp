#include "SimAdapter.h"

#include "AppPaths.h"
#include "BusTiming.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

namespace {

constexpr uint32_t kDeviceType = 41;
constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNever = std::numeric_limits<int64_t>::max();
// A transmit call that finds its queue full waits this long for the bus to
// take a frame before it accepts nothing.
constexpr int64_t kTransmitWaitNs = 10 * kNsPerMs;
// After a stall (a suspended process, a debugger) at most this much node and
// flood traffic is replayed.
constexpr int64_t kMaxCatchUpNs = 500 * kNsPerMs;
// The bus thread runs the bus at least this often while a channel is started,
// so queues fill steadily even when nobody polls, and at most this often, so
// a busy bus costs no more than one wake-up per millisecond.
constexpr int64_t kBusIdleNs = 50 * kNsPerMs;
constexpr int64_t kBusTickNs = 1 * kNsPerMs;
// How long the bus thread leaves the bus to a polling reader before it checks again.
constexpr int64_t kReaderCoverNs = 10 * kNsPerMs;
constexpr size_t kFloodBatch = 256;
// An error frame: 6-bit error flag, 8-bit delimiter, 3-bit intermission.
constexpr uint32_t kErrorFrameBits = 17;

constexpr uint16_t kHardwareVersion = 0x0100;
constexpr uint16_t kDriverVersion = 0x0117;
constexpr uint16_t kInterfaceVersion = 0x0100;
constexpr char kSerialNumber[20]
    = { 'H', 'D', '2', '-', 'S', 'I', 'M', '-', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '1' };

// The identifier word as a controller puts it on the wire: 11 or 29 bits, the
// extended and remote flags; any other bit is not part of a frame.
uint32_t wireId(uint32_t idWord)
{
    const bool extended = idWord & 0x80000000u;
    return (idWord & (extended ? 0x1FFFFFFFu : 0x7FFu)) | (idWord & 0xC0000000u);
}

void putSequence(uint8_t *data, uint64_t sequence)
{
    for (int i = 0; i < 8; ++i)
        data[i] = static_cast<uint8_t>(sequence >> (8 * i));
}

} // namespace

SimAdapter &SimAdapter::instance()
{
    static SimAdapter adapter;
    return adapter;
}

SimAdapter::SimAdapter()
    : m_epoch(std::chrono::steady_clock::now())
{
}

SimAdapter::~SimAdapter()
{
    std::lock_guard<std::mutex> control(m_control);
    stopFloodThread();
    stopBusThread();
}

int64_t SimAdapter::nowNs() const
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - m_epoch).count();
}

std::chrono::steady_clock::time_point SimAdapter::timePoint(int64_t ns) const
{
    return m_epoch + std::chrono::nanoseconds(ns);
}

int SimAdapter::channelOf(uint32_t handle) const
{
    if (!m_open || handle == 0)
        return -1;
    for (int c = 0; c < 2; ++c) {
        if (m_ch[c].handle == handle)
            return c;
    }
    return -1;
}

bool SimAdapter::canTransmit(int c, bool fd) const
{
    const Channel &ch = m_ch[c];
    return m_plugged && ch.started && !ch.listenOnly && !(fd && ch.classicOnly);
}

void SimAdapter::busRates(const Channel &ch, uint32_t &arbitration, uint32_t &data) const
{
    if (ch.customRate) {
        arbitration = BusTiming::kCustomArbitrationRate;
        data = BusTiming::kCustomDataRate;
    } else {
        arbitration = BusTiming::arbitrationRate(ch.arbitrationIndex);
        data = BusTiming::dataRate(ch.dataIndex);
    }
}

// The nodes and the flood are timed at the rates of a started channel: they
// are whatever the bus runs at, so every channel hears them.
const SimAdapter::Channel &SimAdapter::timingChannel() const
{
    return (!m_ch[0].started && m_ch[1].started) ? m_ch[1] : m_ch[0];
}

// A receiver at another rate only sees error frames: the frame is lost for it.
// A custom bit-timing text is compared as a whole, for both phases.
bool SimAdapter::ratesMatch(const Channel &from, const Channel &to, const BusFrame &frame) const
{
    if (from.customRate != to.customRate)
        return false;
    if (from.customRate)
        return from.customText == to.customText;
    if (from.arbitrationIndex != to.arbitrationIndex)
        return false;
    return !frame.bitRateSwitch || from.dataIndex == to.dataIndex;
}

bool SimAdapter::accepts(const Channel &ch, uint32_t idWord)
{
    if (ch.ranges.empty())
        return true;
    const bool extended = idWord & 0x80000000u;
    const uint32_t id = idWord & 0x1FFFFFFFu;
    for (const Range &r : ch.ranges) {
        if (r.extended == extended && id >= r.first && id <= r.last)
            return true;
    }
    return false;
}

void SimAdapter::notifyArrived()
{
    if (m_waiters > 0)
        m_arrived.notify_all();
}

// ---- device -------------------------------------------------------------

uint32_t SimAdapter::openDevice(uint32_t type, uint32_t index)
{
    if (type != kDeviceType || index != 0)
        return 0;
    std::lock_guard<std::mutex> control(m_control);
    {
        std::lock_guard<std::mutex> lock(m_lock);
        if (m_open || !m_plugged)
            return 0;
    }
    // The node file is read outside the bus lock: file access may take a while.
    const QString path = AppPaths::appDir() + QStringLiteral("/config/simulator.ini");
    QString problem;
    std::vector<SimNode> nodes = SimNodes::load(path, problem);
    if (!problem.isEmpty())
        std::fprintf(stderr, "Ostrel simulator: %s; using the built-in bus nodes\n", problem.toLocal8Bit().constData());

    std::lock_guard<std::mutex> lock(m_lock);
    m_open = true;
    m_device = 0x41000000u | (++m_openCount & 0xFFFFu);
    m_nodes = std::move(nodes);
    m_clocks.assign(m_nodes.size(), NodeClock { 0, 0, 0, 0 });
    for (size_t i = 0; i < m_nodes.size(); ++i)
        m_clocks[i].key = BusTiming::arbitrationKey(m_nodes[i].idWord());
    m_configProblem = problem;
    for (Channel &ch : m_ch)
        ch = Channel();
    return m_device;
}

void SimAdapter::closeLocked()
{
    m_open = false;
    m_device = 0;
    for (Channel &ch : m_ch)
        ch = Channel();
    m_floodOnBus = false;
    m_nextEvent = kNever;
    m_arrived.notify_all();
    m_floodRoom.notify_all();
    m_busWake.notify_all();
}

uint32_t SimAdapter::closeDevice(uint32_t device)
{
    std::lock_guard<std::mutex> control(m_control);
    {
        std::lock_guard<std::mutex> lock(m_lock);
        if (!deviceOk(device))
            return 0;
        closeLocked();
    }
    stopFloodThread();
    stopBusThread();
    return 1;
}

uint32_t SimAdapter::resetDriver()
{
    std::lock_guard<std::mutex> control(m_control);
    {
        std::lock_guard<std::mutex> lock(m_lock);
        closeLocked();
    }
    stopFloodThread();
    stopBusThread();
    return 1;
}

uint32_t SimAdapter::deviceInfo(uint32_t device, DeviceInfoRecord *info)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (!info || !deviceOk(device) || !m_plugged)
        return 0;
    std::memset(info, 0, sizeof *info);
    info->hwVersion = kHardwareVersion;
    info->fwVersion = m_firmware;
    info->drVersion = kDriverVersion;
    info->inVersion = kInterfaceVersion;
    info->irqNum = 0;
    info->canNum = 2;
    std::memcpy(info->serialNumber, kSerialNumber, sizeof info->serialNumber);
    std::strcpy(info->hwType, "Halden-D2");
    return 1;
}

uint32_t SimAdapter::deviceStatus(uint32_t device)
{
    std::lock_guard<std::mutex> lock(m_lock);
    return (deviceOk(device) && m_plugged) ? 2 : 0;
}

bool SimAdapter::isOpenDevice(uint32_t device)
{
    std::lock_guard<std::mutex> lock(m_lock);
    return deviceOk(device);
}

// The adapter restarts into its boot loader: it leaves the bus and drops off
// USB until it is plugged in again.
uint32_t SimAdapter::updateDevice(uint32_t device)
{
    std::lock_guard<std::mutex> control(m_control);
    {
        std::lock_guard<std::mutex> lock(m_lock);
        if (!deviceOk(device) || !m_plugged)
            return 0;
        m_plugged = false;
        for (Channel &ch : m_ch) {
            ch.started = false;
            ch.handle = 0;
            dropQueues(ch);
        }
        m_arrived.notify_all();
    }
    stopBusThread();
    return 1;
}

// ---- channel configuration ----------------------------------------------

uint32_t SimAdapter::setArbitrationBaud(uint32_t device, uint32_t channel, uint32_t index)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (!deviceOk(device) || !m_plugged || channel > 1 || index >= BusTiming::kArbitrationRateCount)
        return 0;
    m_ch[channel].arbitrationIndex = index;
    m_ch[channel].customRate = false;
    return 1;
}

uint32_t SimAdapter::setDataBaud(uint32_t device, uint32_t channel, uint32_t index)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (!deviceOk(device) || !m_plugged || channel > 1 || index >= BusTiming::kDataRateCount)
        return 0;
    m_ch[channel].dataIndex = index;
    m_ch[channel].customRate = false;
    return 1;
}

uint32_t SimAdapter::setCanFdStandard(uint32_t device, uint32_t channel, uint32_t standard)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (!deviceOk(device) || !m_plugged || channel > 1 || standard > 1)
        return 0;
    m_ch[channel].fdStandard = standard;
    return 1;
}

uint32_t SimAdapter::setValue(const char *path, const char *value)
{
    if (!path || !value || (path[0] != '0' && path[0] != '1') || path[1] != '/')
        return 0;
    const std::string name(path + 2);
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_open || !m_plugged)
        return 0;
    Channel &ch = m_ch[path[0] - '0'];

    switch (ch.filterRows.write(name.c_str(), value)) {
    case FilterRowStaging::Result::Accepted:
        return 1;
    case FilterRowStaging::Result::Refused:
        return 0;
    case FilterRowStaging::Result::Acknowledged:
        ch.ranges = ch.filterRows.staged();
        return 1;
    case FilterRowStaging::Result::NotFilter:
        break;
    }
    if (name == "baud_rate_custom") {
        if (value[0] == '\0')
            return 0;
        ch.customRate = true;
        ch.customText = value;
        return 1;
    }
    // Spelt as the driver spells it.
    if (name == "initenal_resistance") {
        if (std::strcmp(value, "0") != 0 && std::strcmp(value, "1") != 0)
            return 0;
        ch.termination = uint32_t(value[0] - '0');
        return 1;
    }
    return 0;
}

std::string SimAdapter::value(const char *path)
{
    if (!path || (path[0] != '0' && path[0] != '1') || path[1] != '/')
        return std::string();
    const std::string name(path + 2);
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_open)
        return std::string();
    const Channel &ch = m_ch[path[0] - '0'];
    if (name == "filter_mode")
        return ch.filterRows.rowMode() < 0 ? std::string() : std::to_string(ch.filterRows.rowMode());
    if (name == "baud_rate_custom")
        return ch.customRate ? ch.customText : std::string();
    if (name == "initenal_resistance")
        return std::to_string(ch.termination);
    return std::string();
}

// ---- channel state ------------------------------------------------------

uint32_t SimAdapter::initChannel(uint32_t device, uint32_t channel, const ChannelInitRecord *record)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (!deviceOk(device) || !m_plugged || channel > 1 || !record)
        return 0;
    // Both copies of the work mode must agree; 0 normal, 1 listen-only.
    const uint8_t mode = record->workMode;
    if (record->channelType > 1 || mode > 1 || mode != record->workModeCopy)
        return 0;
    Channel &ch = m_ch[channel];
    if (ch.started)
        return 0;
    ch.listenOnly = mode == 1;
    ch.classicOnly = record->channelType == 0;
    if (++m_handleCount == 0)
        ++m_handleCount;
    ch.handle = m_handleCount;
    return ch.handle;
}

void SimAdapter::rebaseBus(int64_t now)
{
    m_busFree = std::max(m_busFree, now);
    m_floodReady = std::max(m_floodReady, now);
    // Spread the nodes' first frames over the first few milliseconds.
    for (size_t i = 0; i < m_clocks.size(); ++i)
        m_clocks[i].due = now + int64_t(i + 1) * kNsPerMs;
}

uint32_t SimAdapter::startChannel(uint32_t handle)
{
    std::lock_guard<std::mutex> control(m_control);
    {
        std::lock_guard<std::mutex> lock(m_lock);
        const int c = channelOf(handle);
        if (c < 0 || !m_plugged)
            return 0;
        Channel &ch = m_ch[c];
        if (!ch.started) {
            const int64_t now = nowNs();
            if (!anyStarted())
                rebaseBus(now);
            dropQueues(ch);
            ch.dropped = 0;
            ch.errors = 0;
            ch.started = true;
            ch.startNs = now;
        }
    }
    ensureBusThread();
    return 1;
}

void SimAdapter::dropQueues(Channel &ch)
{
    ch.tx.clear();
    ch.rxCan.clear();
    ch.rxFd.clear();
}

uint32_t SimAdapter::resetChannel(uint32_t handle)
{
    std::lock_guard<std::mutex> control(m_control);
    bool idle = false;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        const int c = channelOf(handle);
        if (c < 0 || !m_plugged)
            return 0;
        Channel &ch = m_ch[c];
        ch.started = false;
        dropQueues(ch);
        idle = !anyStarted();
        m_arrived.notify_all();
    }
    if (idle)
        stopBusThread();
    return 1;
}

// ---- transmit and receive -----------------------------------------------

template <typename Pred> void SimAdapter::waitUntil(std::unique_lock<std::mutex> &lock, int64_t deadline, Pred done)
{
    ++m_waiters;
    for (;;) {
        if (done())
            break;
        const int64_t now = nowNs();
        if (now >= deadline)
            break;
        // Wake for the next frame end even if no other thread runs the bus.
        const int64_t wake = std::min({ deadline, std::max(m_nextEvent, now + 20000), now + 100 * kNsPerMs });
        m_arrived.wait_until(lock, timePoint(wake));
        runBus(nowNs());
    }
    --m_waiters;
}

namespace {
void fillFrame(const CanTransmitRecord &r, uint8_t &length, uint8_t *data, bool remote)
{
    length = std::min<uint8_t>(r.length, 8);
    if (!remote)
        std::memcpy(data, r.data, length);
}

void fillFrame(const CanFdTransmitRecord &r, uint8_t &length, uint8_t *data, bool remote)
{
    const uint8_t given = std::min<uint8_t>(r.length, 64);
    length = BusTiming::fdPayloadLength(given);
    if (!remote)
        std::memcpy(data, r.data, given); // padding up to the DLC size stays 0
}

bool bitRateSwitchOf(const CanTransmitRecord &) { return false; }
bool bitRateSwitchOf(const CanFdTransmitRecord &r) { return r.flags & 1; }
} // namespace

template <typename Record>
uint32_t SimAdapter::transmit(uint32_t handle, const Record *records, uint32_t count, bool fd)
{
    if (!records || count == 0)
        return 0;
    std::unique_lock<std::mutex> lock(m_lock);
    const int c = channelOf(handle);
    if (c < 0 || !canTransmit(c, fd))
        return 0;
    Channel &ch = m_ch[c];
    runBus(nowNs());
    if (ch.tx.space() == 0) {
        waitUntil(lock, nowNs() + kTransmitWaitNs,
            [&] { return channelOf(handle) != c || !canTransmit(c, fd) || ch.tx.space() > 0; });
        if (channelOf(handle) != c || !canTransmit(c, fd))
            return 0;
    }
    const int64_t now = nowNs();
    uint32_t accepted = 0;
    // Types: 0 normal, 1 single shot, 2 self-receive, 3 single shot with
    // self-receive. The bus never loses arbitration for good nor misses an
    // acknowledge (the nodes acknowledge), so single shot sends like normal.
    // An unknown type ends the batch: the records before it are accepted.
    for (; accepted < count && ch.tx.space() > 0; ++accepted) {
        const Record &r = records[accepted];
        if (r.transmitType > 3)
            break;
        BusFrame *f = ch.tx.pushSlot();
        if (!f)
            break;
        std::memset(f, 0, sizeof *f);
        f->ready = now;
        f->idWord = wireId(r.id);
        f->fd = fd;
        f->bitRateSwitch = bitRateSwitchOf(r);
        f->selfReceive = r.transmitType >= 2;
        fillFrame(r, f->length, f->data, f->idWord & 0x40000000u);
    }
    if (accepted) {
        runBus(now);
        // Waiting receivers learn the new next event.
        notifyArrived();
    }
    return accepted;
}

uint32_t SimAdapter::transmitCan(uint32_t handle, const CanTransmitRecord *records, uint32_t count)
{
    return transmit(handle, records, count, false);
}

uint32_t SimAdapter::transmitCanFd(uint32_t handle, const CanFdTransmitRecord *records, uint32_t count)
{
    return transmit(handle, records, count, true);
}

template <typename Record>
uint32_t SimAdapter::receive(
    uint32_t handle, Record *out, uint32_t capacity, int32_t waitMs, RingQueue<Record> Channel::*queue)
{
    if (!out || capacity == 0)
        return 0;
    std::unique_lock<std::mutex> lock(m_lock);
    const int c = channelOf(handle);
    if (c < 0 || !m_plugged || !m_ch[c].started)
        return 0;
    m_readerRanBus = nowNs();
    runBus(m_readerRanBus);
    RingQueue<Record> &q = m_ch[c].*queue;
    if (q.empty() && waitMs != 0) {
        const int64_t deadline = waitMs < 0 ? kNever : nowNs() + int64_t(waitMs) * kNsPerMs;
        auto gone = [&] { return channelOf(handle) != c || !m_plugged || !m_ch[c].started; };
        waitUntil(lock, deadline, [&] { return gone() || !q.empty(); });
        if (gone())
            return 0;
    }
    const uint32_t n = static_cast<uint32_t>(q.take(out, capacity));
    if (n && m_floodWaiting)
        m_floodRoom.notify_all();
    return n;
}

uint32_t SimAdapter::receiveCan(uint32_t handle, CanReceiveRecord *out, uint32_t capacity, int32_t waitMs)
{
    return receive(handle, out, capacity, waitMs, &Channel::rxCan);
}

uint32_t SimAdapter::receiveCanFd(uint32_t handle, CanFdReceiveRecord *out, uint32_t capacity, int32_t waitMs)
{
    return receive(handle, out, capacity, waitMs, &Channel::rxFd);
}

// ---- the bus ------------------------------------------------------------

void SimAdapter::buildNodeFrame(size_t i, BusFrame &f) const
{
    const SimNode &node = m_nodes[i];
    std::memset(&f, 0, sizeof f);
    f.ready = m_clocks[i].due;
    f.idWord = node.idWord();
    f.length = node.length;
    f.fd = node.fd;
    f.bitRateSwitch = node.bitRateSwitch;
    if (!node.remote) {
        std::memcpy(f.data, node.data, node.length);
        if (node.counterByte >= 0)
            f.data[node.counterByte] = static_cast<uint8_t>(node.data[node.counterByte] + m_clocks[i].sent);
    }
}

void SimAdapter::buildFloodFrame(uint64_t sequence, BusFrame &f) const
{
    std::memset(&f, 0, sizeof f);
    f.ready = m_floodReady;
    f.idWord = static_cast<uint32_t>(sequence & 0x7FF);
    switch (m_floodFrame) {
    case Sim::FloodFrame::CanFdEmpty:
        f.fd = true;
        f.bitRateSwitch = true;
        break;
    case Sim::FloodFrame::Can8:
        f.length = 8;
        putSequence(f.data, sequence);
        break;
    case Sim::FloodFrame::CanFd64:
        f.fd = true;
        f.bitRateSwitch = true;
        f.length = 64;
        putSequence(f.data, sequence);
        break;
    }
}

void SimAdapter::runBus(int64_t now)
{
    m_nextEvent = kNever;
    if (!m_open || !m_plugged || !anyStarted())
        return;
    if (now - m_busFree > kMaxCatchUpNs) {
        m_busFree = now - kMaxCatchUpNs;
        for (size_t i = 0; i < m_clocks.size(); ++i) {
            NodeClock &clock = m_clocks[i];
            const int64_t period = int64_t(m_nodes[i].periodMs) * kNsPerMs;
            if (clock.due < m_busFree)
                clock.due += ((m_busFree - clock.due) / period + 1) * period;
        }
    }
    const bool nodesOn = m_nodesOn;
    int delivered = 0;
    BusFrame scratch;
    for (;;) {
        int64_t earliest = kNever;
        for (const Channel &ch : m_ch) {
            if (!ch.tx.empty())
                earliest = std::min(earliest, ch.tx.front().ready);
        }
        if (nodesOn) {
            for (const NodeClock &clock : m_clocks)
                earliest = std::min(earliest, clock.due);
        }
        if (m_floodOnBus)
            earliest = std::min(earliest, m_floodReady);
        if (earliest == kNever)
            break;
        const int64_t start = std::max(m_busFree, earliest);
        if (start > now) {
            m_nextEvent = start;
            break;
        }

        // Arbitration among everything ready when the bus becomes free; on
        // equal keys channel 0 goes before channel 1, the nodes, the flood.
        Source source = Source::ChannelTx;
        size_t which = 0;
        uint64_t best = std::numeric_limits<uint64_t>::max();
        for (size_t c = 0; c < 2; ++c) {
            const RingQueue<BusFrame> &tx = m_ch[c].tx;
            if (!tx.empty() && tx.front().ready <= start) {
                const uint32_t key = BusTiming::arbitrationKey(tx.front().idWord);
                if (key < best) {
                    best = key;
                    source = Source::ChannelTx;
                    which = c;
                }
            }
        }
        if (nodesOn) {
            for (size_t i = 0; i < m_clocks.size(); ++i) {
                if (m_clocks[i].due <= start && m_clocks[i].key < best) {
                    best = m_clocks[i].key;
                    source = Source::Node;
                    which = i;
                }
            }
        }
        if (m_floodOnBus && m_floodReady <= start
            && BusTiming::arbitrationKey(uint32_t(m_floodSequence & 0x7FF)) < best) {
            source = Source::Flood;
        }

        const BusFrame *frame = &scratch;
        uint32_t arbitrationRate = 0;
        uint32_t dataRate = 0;
        if (source == Source::ChannelTx) {
            frame = &m_ch[which].tx.front();
            busRates(m_ch[which], arbitrationRate, dataRate);
        } else {
            if (source == Source::Node)
                buildNodeFrame(which, scratch);
            else
                buildFloodFrame(m_floodSequence, scratch);
            busRates(timingChannel(), arbitrationRate, dataRate);
        }
        const BusTiming::FrameBits bits = BusTiming::frameBits(
            frame->fd, frame->idWord & 0x80000000u, frame->idWord & 0x40000000u, frame->bitRateSwitch, frame->length);
        int64_t end = start + BusTiming::frameDurationNs(bits, arbitrationRate, dataRate);
        // A node told to fail every n-th attempt: the frame is destroyed at its
        // end by an error frame that every started channel sees, and the node
        // sends it again when it next wins the bus.
        const SimNode *node = source == Source::Node ? &m_nodes[which] : nullptr;
        const bool failed = node && node->errorEvery && (m_clocks[which].attempts + 1) % node->errorEvery == 0;
        if (failed)
            end += BusTiming::frameDurationNs({ kErrorFrameBits, 0 }, arbitrationRate, dataRate);
        if (end > now) {
            m_nextEvent = end;
            break;
        }
        m_busFree = end;
        if (failed) {
            ++m_clocks[which].attempts;
            for (Channel &ch : m_ch) {
                if (ch.started && end >= ch.startNs)
                    ++ch.errors;
            }
            continue;
        }

        const bool lost = node && node->overflowEvery && (m_clocks[which].sent + 1) % node->overflowEvery == 0;
        deliver(*frame, source == Source::ChannelTx ? int(which) : -1, end, lost);
        ++delivered;
        if (source == Source::ChannelTx) {
            m_ch[which].tx.pop();
        } else if (source == Source::Node) {
            NodeClock &clock = m_clocks[which];
            const int64_t period = int64_t(m_nodes[which].periodMs) * kNsPerMs;
            ++clock.sent;
            ++clock.attempts;
            // A node held off the bus for longer than its period skips the
            // frames it missed instead of sending them back to back.
            clock.due += period;
            if (clock.due <= end)
                clock.due += ((end - clock.due) / period + 1) * period;
        } else {
            ++m_floodSequence;
        }
    }
    if (delivered)
        notifyArrived();
}

void SimAdapter::deliver(const BusFrame &frame, int fromChannel, int64_t end, bool lost)
{
    if (fromChannel < 0) {
        offer(0, frame, end, lost);
        offer(1, frame, end, lost);
        return;
    }
    // A self-received frame is the sender's own: its filter does not apply.
    if (frame.selfReceive)
        pushReceived(fromChannel, frame, end);
    const int other = 1 - fromChannel;
    if (ratesMatch(m_ch[fromChannel], m_ch[other], frame))
        offer(other, frame, end);
}

void SimAdapter::offer(int c, const BusFrame &frame, int64_t end, bool lost)
{
    Channel &ch = m_ch[c];
    if (!ch.started || (frame.fd && ch.classicOnly) || !accepts(ch, frame.idWord))
        return;
    if (lost) {
        if (end >= ch.startNs)
            ++ch.dropped;
        return;
    }
    pushReceived(c, frame, end);
}

void SimAdapter::pushReceived(int c, const BusFrame &frame, int64_t end)
{
    Channel &ch = m_ch[c];
    if (!ch.started || end < ch.startNs)
        return;
    const uint64_t stamp = uint64_t(end - ch.startNs) / 1000;
    if (frame.fd) {
        CanFdReceiveRecord *r = ch.rxFd.pushSlot();
        if (!r) {
            ++ch.dropped;
            return;
        }
        std::memset(r, 0, sizeof *r);
        r->id = frame.idWord;
        r->length = frame.length;
        r->flags = frame.bitRateSwitch ? 1 : 0;
        std::memcpy(r->data, frame.data, frame.length);
        r->timestamp = stamp;
    } else {
        CanReceiveRecord *r = ch.rxCan.pushSlot();
        if (!r) {
            ++ch.dropped;
            return;
        }
        std::memset(r, 0, sizeof *r);
        r->id = frame.idWord;
        r->length = frame.length;
        std::memcpy(r->data, frame.data, std::min<uint8_t>(frame.length, 8));
        r->timestamp = stamp;
    }
}

// ---- threads ------------------------------------------------------------

void SimAdapter::ensureBusThread()
{
    if (m_busThread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_busStop = false;
    }
    m_busThread = std::thread(&SimAdapter::busLoop, this);
}

void SimAdapter::stopBusThread()
{
    if (!m_busThread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_busStop = true;
    }
    m_busWake.notify_all();
    m_busThread.join();
}

void SimAdapter::busLoop()
{
    std::unique_lock<std::mutex> lock(m_lock);
    while (!m_busStop) {
        const int64_t now = nowNs();
        // A reader polling every millisecond runs the bus in its own calls;
        // the thread then only looks now and then whether it still does, and
        // runs the bus itself once nobody has for a tick.
        if (now - m_readerRanBus < kBusTickNs) {
            m_busWake.wait_until(lock, timePoint(m_readerRanBus + kReaderCoverNs));
            continue;
        }
        runBus(now);
        const int64_t wake = std::min(std::max(m_nextEvent, now + kBusTickNs), now + kBusIdleNs);
        m_busWake.wait_until(lock, timePoint(wake));
    }
}

void SimAdapter::stopFloodThread()
{
    if (!m_floodThread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_floodStop = true;
    }
    m_floodRoom.notify_all();
    m_floodThread.join();
}

void SimAdapter::floodLoop()
{
    std::unique_lock<std::mutex> lock(m_lock);
    const bool fd = m_floodFrame != Sim::FloodFrame::Can8;
    while (!m_floodStop) {
        size_t batch = kFloodBatch;
        int targets = 0;
        for (const Channel &ch : m_ch) {
            if (m_open && m_plugged && ch.started) {
                ++targets;
                batch = std::min(batch, fd ? ch.rxFd.space() : ch.rxCan.space());
            }
        }
        if (targets == 0 || batch == 0) {
            // Never drop: wait for a reader (or a started channel).
            m_floodWaiting = true;
            m_floodRoom.wait_for(lock, std::chrono::milliseconds(20));
            m_floodWaiting = false;
            continue;
        }
        const int64_t now = nowNs();
        BusFrame frame;
        for (size_t i = 0; i < batch; ++i) {
            buildFloodFrame(m_floodSequence + i, frame);
            for (int c = 0; c < 2; ++c) {
                if (m_ch[c].started)
                    pushReceived(c, frame, now);
            }
        }
        m_floodSequence += batch;
        notifyArrived();
        // Let the readers at the lock between batches.
        lock.unlock();
        std::this_thread::yield();
        lock.lock();
    }
}

// ---- controls -----------------------------------------------------------

void SimAdapter::unplug()
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_plugged = false;
    for (Channel &ch : m_ch)
        dropQueues(ch);
    m_arrived.notify_all();
}

void SimAdapter::replug()
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (m_plugged)
        return;
    m_plugged = true;
    rebaseBus(nowNs());
    m_busWake.notify_all();
}

bool SimAdapter::isPlugged()
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_plugged;
}

void SimAdapter::setFirmwareVersion(uint16_t version)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_firmware = version;
}

uint16_t SimAdapter::firmwareVersion()
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_firmware;
}

bool SimAdapter::injectCan(unsigned channel, const CanReceiveRecord &record)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (channel > 1 || !m_open || !m_plugged || !m_ch[channel].started)
        return false;
    if (!m_ch[channel].rxCan.push(record)) {
        ++m_ch[channel].dropped;
        return false;
    }
    notifyArrived();
    return true;
}

bool SimAdapter::injectCanFd(unsigned channel, const CanFdReceiveRecord &record)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (channel > 1 || !m_open || !m_plugged || !m_ch[channel].started)
        return false;
    if (!m_ch[channel].rxFd.push(record)) {
        ++m_ch[channel].dropped;
        return false;
    }
    notifyArrived();
    return true;
}

void SimAdapter::setNodesEnabled(bool on)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (on && !m_nodesOn) {
        const int64_t now = nowNs();
        for (size_t i = 0; i < m_clocks.size(); ++i)
            m_clocks[i].due = now + int64_t(i + 1) * kNsPerMs;
    }
    m_nodesOn = on;
    m_busWake.notify_all();
}

bool SimAdapter::nodesEnabled()
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_nodesOn;
}

QString SimAdapter::configProblem()
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_configProblem;
}

quint64 SimAdapter::droppedFrames(unsigned channel)
{
    std::lock_guard<std::mutex> lock(m_lock);
    return channel > 1 ? 0 : m_ch[channel].dropped;
}

bool SimAdapter::injectErrorFrames(unsigned channel, quint32 count)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (channel > 1 || !m_open || !m_plugged || !m_ch[channel].started)
        return false;
    m_ch[channel].errors += count;
    return true;
}

bool SimAdapter::injectOverflows(unsigned channel, quint32 count)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (channel > 1 || !m_open || !m_plugged || !m_ch[channel].started)
        return false;
    m_ch[channel].dropped += count;
    return true;
}

quint64 SimAdapter::errorFrames(unsigned channel)
{
    std::lock_guard<std::mutex> lock(m_lock);
    return channel > 1 ? 0 : m_ch[channel].errors;
}

uint32_t SimAdapter::readBusCounters(uint32_t handle, BusCounters *counters)
{
    std::lock_guard<std::mutex> lock(m_lock);
    const int c = channelOf(handle);
    if (!counters || c < 0 || !m_plugged || !m_ch[c].started)
        return 0;
    counters->errorFrames = m_ch[c].errors;
    counters->receiveOverflows = m_ch[c].dropped;
    return 1;
}

void SimAdapter::startFlood(Sim::FloodMode mode, Sim::FloodFrame frame)
{
    std::lock_guard<std::mutex> control(m_control);
    stopFloodThread();
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_floodFrame = frame;
        m_floodSequence = 0;
        m_floodOnBus = mode == Sim::FloodMode::BusLimit;
        m_floodReady = nowNs();
        m_floodStop = false;
    }
    if (mode == Sim::FloodMode::AsFastAsPossible)
        m_floodThread = std::thread(&SimAdapter::floodLoop, this);
    m_busWake.notify_all();
}

void SimAdapter::stopFlood()
{
    std::lock_guard<std::mutex> control(m_control);
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_floodOnBus = false;
    }
    stopFloodThread();
}

quint64 SimAdapter::floodInjected()
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_floodSequence;
}

void SimAdapter::resetForTests()
{
    std::lock_guard<std::mutex> control(m_control);
    stopFloodThread();
    stopBusThread();
    std::lock_guard<std::mutex> lock(m_lock);
    closeLocked();
    m_plugged = true;
    m_firmware = Sim::kDefaultFirmwareVersion;
    m_nodes.clear();
    m_clocks.clear();
    m_nodesOn = true;
    m_configProblem.clear();
    m_floodSequence = 0;
    m_floodFrame = Sim::FloodFrame::CanFdEmpty;
}
