#include "BusStatistics.h"

#include "BusTally.h"
#include "BusTiming.h"
#include "DeviceLayer.h"
#include "Lang.h"

#include <QDateTime>
#include <QStringList>
#include <algorithm>

namespace {
// A cumulative counter's change since the previous reading; a smaller value
// means the channel was started again and counts from zero.
quint64 change(quint64 previous, quint64 now, bool havePrevious)
{
    return (havePrevious && now >= previous) ? now - previous : now;
}
} // namespace

void BusStatistics::start()
{
    BusTally::take(0);
    BusTally::take(1);
    BusTally::setEnabled(true);
    for (int ch = 0; ch < 2; ++ch) {
        BusCounters now {};
        m_haveLast[ch] = readBusCounters(unsigned(ch), now);
        m_lastErrors[ch] = now.errorFrames;
        m_lastLost[ch] = now.receiveOverflows;
    }
    m_running = true;
}

void BusStatistics::stop()
{
    BusTally::setEnabled(false);
    m_running = false;
}

quint64 BusStatistics::perSecond(quint64 count, qint64 elapsedMs)
{
    if (elapsedMs <= 0)
        return count;
    return (count * 1000 + quint64(elapsedMs) / 2) / quint64(elapsedMs);
}

BusStatistics::Channel BusStatistics::figures(const BusTally::Counts &counts, quint32 arbitrationRate, quint32 dataRate,
    qint64 elapsedMs, qint64 errors, qint64 lost)
{
    Channel c;
    c.load = BusTiming::loadPercent(
        counts.arbitrationBits, counts.dataBits, arbitrationRate, dataRate, elapsedMs * 1000000);
    c.frames = counts.frames;
    c.classic = counts.classic;
    c.fd = counts.fd;
    c.remote = counts.remote;
    c.extended = counts.extended;
    c.errors = errors;
    c.lost = lost;
    return c;
}

const BusStatistics::Sample &BusStatistics::sample(qint64 time, qint64 elapsedMs)
{
    Sample s;
    s.time = time;
    s.elapsedMs = elapsedMs;
    const bool reported = hasBusCounters();
    for (int ch = 0; ch < 2; ++ch) {
        qint64 errors = -1;
        qint64 lost = -1;
        if (reported) {
            BusCounters now {};
            if (readBusCounters(unsigned(ch), now)) {
                errors = qint64(change(m_lastErrors[ch], now.errorFrames, m_haveLast[ch]));
                lost = qint64(change(m_lastLost[ch], now.receiveOverflows, m_haveLast[ch]));
                m_lastErrors[ch] = now.errorFrames;
                m_lastLost[ch] = now.receiveOverflows;
                m_haveLast[ch] = true;
            } else {
                // A closed channel: when it starts again its counters start from zero.
                errors = lost = 0;
                m_haveLast[ch] = false;
            }
        }
        const ChannelRates rates = configuredRates(unsigned(ch));
        s.ch[ch] = figures(BusTally::take(unsigned(ch)), rates.arbitration, rates.data, elapsedMs, errors, lost);
        m_peak[ch] = std::max(m_peak[ch], s.ch[ch].load);
        m_errorTotal[ch] += quint64(std::max<qint64>(errors, 0));
        m_lostTotal[ch] += quint64(std::max<qint64>(lost, 0));
    }
    m_history.push_back(s);
    while (m_history.size() > size_t(kHistorySamples))
        m_history.pop_front();
    return m_history.back();
}

void BusStatistics::reset()
{
    for (int ch = 0; ch < 2; ++ch) {
        m_peak[ch] = 0;
        m_errorTotal[ch] = 0;
        m_lostTotal[ch] = 0;
    }
}

QByteArray BusStatistics::csv(qint64 from) const
{
    QStringList header { Lang::pick(QStringLiteral("时间"), QStringLiteral("時間"), QStringLiteral("time")) };
    for (int ch = 1; ch <= 2; ++ch) {
        const QString n = QString::number(ch);
        header << Lang::pick(
            QStringLiteral("通道%1负载率(%)"), QStringLiteral("通道%1負載率(%)"), QStringLiteral("channel %1 load (%)"))
                      .arg(n)
               << Lang::pick(
                      QStringLiteral("通道%1帧/s"), QStringLiteral("通道%1幀/s"), QStringLiteral("channel %1 frames/s"))
                      .arg(n)
               << Lang::pick(QStringLiteral("通道%1 CAN帧/s"), QStringLiteral("通道%1 CAN幀/s"),
                      QStringLiteral("channel %1 CAN frames/s"))
                      .arg(n)
               << Lang::pick(QStringLiteral("通道%1 CANFD帧/s"), QStringLiteral("通道%1 CANFD幀/s"),
                      QStringLiteral("channel %1 CAN FD frames/s"))
                      .arg(n)
               << Lang::pick(QStringLiteral("通道%1远程帧/s"), QStringLiteral("通道%1遠程幀/s"),
                      QStringLiteral("channel %1 remote frames/s"))
                      .arg(n)
               << Lang::pick(QStringLiteral("通道%1扩展帧/s"), QStringLiteral("通道%1擴展幀/s"),
                      QStringLiteral("channel %1 extended frames/s"))
                      .arg(n)
               << Lang::pick(QStringLiteral("通道%1错误帧"), QStringLiteral("通道%1錯誤幀"),
                      QStringLiteral("channel %1 error frames"))
                      .arg(n)
               << Lang::pick(QStringLiteral("通道%1丢失帧"), QStringLiteral("通道%1丟失幀"),
                      QStringLiteral("channel %1 lost frames"))
                      .arg(n);
    }
    QByteArray out = header.join(QLatin1Char(',')).toUtf8() + '\n';
    // Counts per second as the window shows them; error and lost frames as
    // counted in the interval; an empty field where a figure is unknown.
    for (const Sample &s : m_history) {
        if (s.time < from)
            continue;
        QStringList row { QDateTime::fromMSecsSinceEpoch(s.time).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")) };
        for (const Channel &c : s.ch) {
            row << (c.load < 0 ? QString() : QString::number(c.load, 'f', 2))
                << QString::number(perSecond(c.frames, s.elapsedMs))
                << QString::number(perSecond(c.classic, s.elapsedMs)) << QString::number(perSecond(c.fd, s.elapsedMs))
                << QString::number(perSecond(c.remote, s.elapsedMs))
                << QString::number(perSecond(c.extended, s.elapsedMs))
                << (c.errors < 0 ? QString() : QString::number(c.errors))
                << (c.lost < 0 ? QString() : QString::number(c.lost));
        }
        out += row.join(QLatin1Char(',')).toUtf8() + '\n';
    }
    return out;
}
