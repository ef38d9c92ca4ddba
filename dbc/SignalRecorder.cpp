#include "SignalRecorder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

SignalRecorder::SignalRecorder() { m_clock.start(); }

void SignalRecorder::setDecoder(int channel, const SignalDecoder &decoder)
{
    Channel &c = m_channels[size_t(channel)];
    c.decoder = decoder;
    c.last.assign(decoder.messages().size(), Last());
    m_series.erase(
        std::remove_if(m_series.begin(), m_series.end(), [channel](const Series &s) { return s.channel == channel; }),
        m_series.end());
    relink();
}

bool SignalRecorder::hasDatabases() const
{
    for (const Channel &c : m_channels)
        if (!c.decoder.isEmpty())
            return true;
    return false;
}

double SignalRecorder::frameTime(int channel, qint64 deviceMicros, double hostNow)
{
    if (deviceMicros < 0)
        return hostNow;
    Channel &c = m_channels[size_t(channel)];
    const double device = double(deviceMicros) * 1e-6;
    if (!c.anchored || std::fabs(device + c.offset - hostNow) > 2.0) {
        c.offset = hostNow - device;
        c.anchored = true;
    }
    return device + c.offset;
}

void SignalRecorder::offer(int channel, int message, const uchar *data, int length, double time)
{
    Channel &c = m_channels[size_t(channel)];
    Last &last = c.last[size_t(message)];
    length = std::min(length, int(last.data.size()));
    std::memcpy(last.data.data(), data, size_t(length));
    last.length = length;
    last.serial = ++m_serial;
    if (last.series.empty())
        return;
    const DbcMessage &m = *c.decoder.messages()[size_t(message)];
    DecodedSignal d;
    for (int k : last.series) {
        Series &s = m_series[size_t(k)];
        if (!SignalDecoder::decodeSignal(m, s.signal, data, length, d))
            continue;
        if (s.points.size() >= kMaxPoints)
            s.points.remove(0, kMaxPoints / 4);
        s.points.append(QPointF(time, d.physical));
    }
}

QVector<DecodedSignal> SignalRecorder::lastValues(int channel, int message) const
{
    QVector<DecodedSignal> out;
    const Channel &c = m_channels[size_t(channel)];
    const Last &last = c.last[size_t(message)];
    if (last.serial != 0)
        SignalDecoder::decodeMessage(*c.decoder.messages()[size_t(message)], last.data.data(), last.length, out);
    return out;
}

quint64 SignalRecorder::lastSerial(int channel, int message) const
{
    return m_channels[size_t(channel)].last[size_t(message)].serial;
}

void SignalRecorder::choose(int channel, int message, int signal, bool on)
{
    const bool chosen = isChosen(channel, message, signal);
    if (on == chosen)
        return;
    if (on) {
        Series s;
        s.channel = channel;
        s.message = message;
        s.signal = signal;
        m_series.push_back(s);
    } else {
        m_series.erase(
            std::remove_if(m_series.begin(), m_series.end(),
                [&](const Series &s) { return s.channel == channel && s.message == message && s.signal == signal; }),
            m_series.end());
    }
    relink();
}

bool SignalRecorder::isChosen(int channel, int message, int signal) const
{
    for (const Series &s : m_series)
        if (s.channel == channel && s.message == message && s.signal == signal)
            return true;
    return false;
}

void SignalRecorder::trim(double oldest)
{
    for (Series &s : m_series) {
        const auto first = std::lower_bound(
            s.points.cbegin(), s.points.cend(), oldest, [](const QPointF &p, double t) { return p.x() < t; });
        const int n = int(first - s.points.cbegin());
        if (n > 0)
            s.points.remove(0, n);
    }
}

void SignalRecorder::clearPoints()
{
    for (Series &s : m_series)
        s.points.clear();
}

// Each message keeps the list of its plotted signals, so a frame finds them
// without a search.
void SignalRecorder::relink()
{
    for (Channel &c : m_channels)
        for (Last &l : c.last)
            l.series.clear();
    for (size_t k = 0; k < m_series.size(); ++k) {
        const Series &s = m_series[k];
        m_channels[size_t(s.channel)].last[size_t(s.message)].series.push_back(int(k));
    }
}
