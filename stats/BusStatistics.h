#pragma once
// The figures of the bus statistics window, one sample per second per
// channel: bus load from the bits the worker threads counted (BusTally) at the
// channel's configured rates, frames by kind, and error frames and receive
// overflows from the back-end's counters where it has them. No Qt widgets
// here: the window drives sample() once a second, tests drive it directly.
#include <QByteArray>
#include <QtGlobal>
#include <deque>

namespace BusTally {
struct Counts;
}

class BusStatistics {
public:
    struct Channel {
        double load = -1; // percent; -1 = rates unknown (custom bit rate, no rate written)
        quint64 frames = 0; // in the sample's interval, every kind
        quint64 classic = 0;
        quint64 fd = 0;
        quint64 remote = 0;
        quint64 extended = 0;
        qint64 errors = -1; // in the interval; -1 = the back-end does not report them
        qint64 lost = -1;
    };
    struct Sample {
        qint64 time = 0; // ms since the epoch, end of the interval
        qint64 elapsedMs = 0; // length of the interval
        Channel ch[2];
    };

    // Enough samples for the longest chart span (60 minutes) at one a second.
    static constexpr int kHistorySamples = 3600;

    // Starts counting: switches the worker threads' tally on, drops whatever
    // it held, and takes the back-end's counters as the starting point.
    void start();
    // Stops counting: the tally is off, nothing more is counted.
    void stop();
    bool running() const { return m_running; }

    // Ends one interval of elapsedMs at time (ms since the epoch): takes the
    // tally and the back-end's counters, appends a sample, updates peak and
    // totals. Returns the new sample.
    const Sample &sample(qint64 time, qint64 elapsedMs);

    // Peak load and the error and lost totals start again from zero.
    void reset();

    double peak(int ch) const { return m_peak[ch ? 1 : 0]; }
    quint64 errorTotal(int ch) const { return m_errorTotal[ch ? 1 : 0]; }
    quint64 lostTotal(int ch) const { return m_lostTotal[ch ? 1 : 0]; }
    const std::deque<Sample> &history() const { return m_history; }

    // One channel's figures from one interval's counts and the counters'
    // change (-1 = not reported), at the given rates (bit/s, 0 = unknown).
    static Channel figures(const BusTally::Counts &counts, quint32 arbitrationRate, quint32 dataRate, qint64 elapsedMs,
        qint64 errors, qint64 lost);
    // A count of the interval as a rate per second, rounded.
    static quint64 perSecond(quint64 count, qint64 elapsedMs);

    // The samples from time `from` on (ms since the epoch) as CSV: a header
    // of column titles in the current language, then one row per sample.
    QByteArray csv(qint64 from) const;

private:
    bool m_running = false;
    std::deque<Sample> m_history;
    double m_peak[2] = { 0, 0 };
    quint64 m_errorTotal[2] = { 0, 0 };
    quint64 m_lostTotal[2] = { 0, 0 };
    // The back-end's counters at the previous sample; valid only while the
    // channel was open then.
    bool m_haveLast[2] = { false, false };
    quint64 m_lastErrors[2] = { 0, 0 };
    quint64 m_lastLost[2] = { 0, 0 };
};
