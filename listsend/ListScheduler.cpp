#include "ListScheduler.h"

#include "DeviceLayer.h"
#include "FrameBatch.h"
#include "Lang.h"
#include "PendingFrames.h"
#include "SendRules.h"

#include <QMetaType>
#include <algorithm>
#include <cstring>

#ifdef Q_OS_LINUX
#include <sys/prctl.h>
#endif

struct ListScheduler::Entry {
    quint64 key = 0;
    uint32_t idWordFlags = 0;
    uint32_t id = 0;
    bool extended = false;
    bool canFd = false;
    uint8_t flags = 0;
    bool idIncrement = false;
    bool dataIncrement = false;
    unsigned length = 0;
    uint8_t data[64] = {};
    Clock::time_point start;
    Clock::duration period {};
    qint64 slot = 0; // the n of the next due time
    Clock::time_point due;
    qint64 left = -1; // frames still to send; -1 = until stopped
    std::shared_ptr<ListRowProgress> progress;
};

ListScheduler::ListScheduler(unsigned channel, QObject *parent)
    : QThread(parent)
    , m_channel(channel)
{
    qRegisterMetaType<quint64>("quint64");
    // The thread's name in the system's tools (and the benchmark's CPU figures).
    setObjectName(QStringLiteral("ListScheduler%1").arg(channel + 1));
}

ListScheduler::~ListScheduler()
{
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_quit = true;
    }
    m_wake.notify_all();
    wait();
}

void ListScheduler::add(
    quint64 key, const ListSendRow &row, Clock::time_point firstDue, std::shared_ptr<ListRowProgress> progress)
{
    progress->running = true;
    Command c { Command::Add, key, row, firstDue, std::move(progress) };
    push(std::move(c));
    if (!isRunning())
        start(QThread::HighPriority);
}

void ListScheduler::remove(quint64 key)
{
    Command c { Command::Remove, key, {}, {}, {} };
    push(std::move(c));
}

void ListScheduler::removeAll()
{
    Command c { Command::RemoveAll, 0, {}, {}, {} };
    push(std::move(c));
}

void ListScheduler::push(Command command)
{
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_commands.push_back(std::move(command));
    }
    m_wake.notify_all();
}

void ListScheduler::end(std::vector<Entry> &entries, size_t i, int reason)
{
    entries[i].progress->running = false;
    const quint64 key = entries[i].key;
    entries.erase(entries.begin() + std::ptrdiff_t(i));
    emit rowEnded(key, reason);
}

void ListScheduler::run()
{
#ifdef Q_OS_LINUX
    // The default timer slack lets a sleep overrun by 50 us; the periods
    // should not.
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
#endif
    std::vector<Entry> entries;
    std::vector<Command> commands;
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(m_lock);
            if (m_quit)
                break;
            commands.swap(m_commands);
        }
        for (Command &c : commands) {
            if (c.kind == Command::Add) {
                Entry e;
                e.key = c.key;
                e.idWordFlags = makeFrameId(0, c.row.extended ? 1 : 0, c.row.remote ? 1 : 0, 0);
                e.id = c.row.id;
                e.extended = c.row.extended;
                e.canFd = c.row.canFd();
                e.flags = c.row.bitRateSwitch() ? 1 : 0;
                e.idIncrement = c.row.idIncrement;
                e.dataIncrement = c.row.dataIncrement;
                e.length = unsigned(std::clamp(c.row.length, 0, 64));
                std::memcpy(e.data, c.row.data.constData(), std::min<size_t>(size_t(c.row.data.size()), sizeof e.data));
                e.start = c.start;
                e.period = std::chrono::milliseconds(std::max(1, c.row.periodMs));
                e.due = c.start;
                e.left = c.row.count > 0 ? c.row.count : -1;
                e.progress = std::move(c.progress);
                entries.push_back(std::move(e));
                continue;
            }
            for (size_t i = entries.size(); i-- > 0;) {
                if (c.kind == Command::RemoveAll || entries[i].key == c.key) {
                    entries[i].progress->running = false;
                    entries.erase(entries.begin() + std::ptrdiff_t(i));
                }
            }
        }
        commands.clear();

        if (entries.empty()) {
            std::unique_lock<std::mutex> lock(m_lock);
            m_wake.wait(lock, [this] { return m_quit || !m_commands.empty(); });
            continue;
        }
        if (!isChannelOpen(m_channel)) {
            while (!entries.empty())
                end(entries, entries.size() - 1, ChannelClosed);
            continue;
        }

        Clock::time_point now = Clock::now();
        auto earliest = [&entries] {
            Clock::time_point t = Clock::time_point::max();
            for (const Entry &e : entries)
                t = std::min(t, e.due);
            return t;
        };
        if (earliest() <= now + kBatchWindow) {
            sendDue(entries, now);
            if (entries.empty())
                continue;
            now = Clock::now();
        }
        const Clock::time_point wakeAt = std::min(earliest(), now + kIdleCheck);
        std::unique_lock<std::mutex> lock(m_lock);
        m_wake.wait_until(lock, wakeAt, [this] { return m_quit || !m_commands.empty(); });
    }
    for (Entry &e : entries)
        e.progress->running = false;
}

void ListScheduler::sendDue(std::vector<Entry> &entries, Clock::time_point now)
{
    const Clock::time_point limit = now + kBatchWindow;
    std::vector<CanTransmitRecord> can;
    std::vector<CanFdTransmitRecord> fd;
    std::vector<size_t> canRows, fdRows;
    can.reserve(entries.size());
    fd.reserve(entries.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        Entry &e = entries[i];
        if (e.due > limit)
            continue;
        const uint32_t idWord = e.id | e.idWordFlags;
        if (e.canFd) {
            fd.emplace_back();
            SendRules::fillRecord(fd.back(), idWord, e.length, e.data, e.flags, 0);
            fdRows.push_back(i);
        } else {
            can.emplace_back();
            SendRules::fillRecord(can.back(), idWord, e.length, e.data, 0);
            canRows.push_back(i);
        }
        // The same steps as the send panel's count mode: the first frame
        // carries the row's identifier and data unchanged.
        if (e.idIncrement)
            e.id = SendRules::nextId(e.id, e.extended);
        if (e.dataIncrement)
            SendRules::incrementData(e.data, e.length);
        ++e.slot;
        e.due = e.start + e.slot * e.period;
        if (e.due + e.period <= now) {
            e.slot = (now - e.start) / e.period + 1;
            e.due = e.start + e.slot * e.period;
        }
    }

    // One driver call per record kind. The driver accepts the first records
    // of a batch; a record it did not take misses its slot, and a row whose
    // batch was refused as a whole ends with the failure line.
    const uint32_t canSent = can.empty() ? 0 : sendCanCount(m_channel, can.data(), uint32_t(can.size()));
    const uint32_t fdSent = fd.empty() ? 0 : sendCanFdCount(m_channel, fd.data(), uint32_t(fd.size()));

    QList<ModelItem> shown;
    if (canSent)
        shown = FrameBatch::build(can.data(), canSent, m_channel);
    if (fdSent)
        shown.append(FrameBatch::build(fd.data(), fdSent, m_channel));
    if (!shown.isEmpty())
        appendPendingFrames(std::move(shown));

    std::vector<std::pair<size_t, int>> ended;
    auto settle = [&](const std::vector<size_t> &rows, uint32_t sent) {
        for (size_t k = 0; k < rows.size(); ++k) {
            Entry &e = entries[rows[k]];
            if (sent == 0) {
                ended.emplace_back(rows[k], SendFailed);
                continue;
            }
            if (k >= sent)
                continue;
            e.progress->sent.fetch_add(1, std::memory_order_relaxed);
            if (e.left > 0 && --e.left == 0)
                ended.emplace_back(rows[k], CountReached);
        }
    };
    settle(canRows, canSent);
    settle(fdRows, fdSent);

    const QString prefix = Lang::pick(QStringLiteral("通道"), QStringLiteral("通道"), QStringLiteral("channel"))
        + QString::number(m_channel + 1);
    if (!can.empty() && !canSent)
        emit log(prefix
            + Lang::pick(QStringLiteral("CAN数据发送失败！"), QStringLiteral("CAN數據發送失敗！"),
                QStringLiteral("CAN Data sending failed！")));
    if (!fd.empty() && !fdSent)
        emit log(prefix
            + Lang::pick(QStringLiteral("CANFD数据发送失败！"), QStringLiteral("CANFD數據發送失敗！"),
                QStringLiteral("CANFD Data sending failed！")));

    std::sort(ended.begin(), ended.end(), [](const auto &a, const auto &b) { return a.first > b.first; });
    for (const auto &x : ended)
        end(entries, x.first, x.second);
}
