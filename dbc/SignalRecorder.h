#pragma once
// What the signal views need from the live traffic, kept per channel: the
// last frame of every message a database describes (decoded only when a view
// asks) and, for the signals chosen for plotting, every value over time.
//
// Fed by the window's refresh tick, one call per frame of a described
// message; a frame of any other identifier costs one look-up. Only the chosen
// signals are decoded frame by frame.
#include "SignalDecoder.h"

#include <QElapsedTimer>
#include <QPointF>
#include <QVector>

#include <array>
#include <vector>

class SignalRecorder {
public:
    static constexpr int kChannels = 2;
    // Points kept per plotted signal at most, whatever the time window.
    static constexpr int kMaxPoints = 200000;

    struct Series {
        int channel = 0;
        int message = 0; // index in the channel decoder's messages()
        int signal = 0; // index in the message's signalList
        QVector<QPointF> points; // x: seconds on the recorder's clock, y: physical value
    };

    SignalRecorder();

    // Replaces a channel's databases; its last frames and plotted signals go.
    void setDecoder(int channel, const SignalDecoder &decoder);
    const SignalDecoder &decoder(int channel) const { return m_channels[size_t(channel)].decoder; }
    bool hasDatabases() const;

    // Seconds since the recorder was made; the time axis of every series.
    double now() const { return double(m_clock.nsecsElapsed()) * 1e-9; }
    // A frame's time on the recorder's clock. The device time stamp (in
    // microseconds; negative for none, as sent frames have) is tied to the
    // recorder's clock at the first frame and again whenever the two drift
    // more than two seconds apart (a reopened device starts from 0).
    double frameTime(int channel, qint64 deviceMicros, double hostNow);

    // The message a frame carries on a channel, as an index for offer(), or -1.
    int find(int channel, quint32 id, bool extended) const
    {
        return m_channels[size_t(channel)].decoder.indexOf(id, extended);
    }
    void offer(int channel, int message, const uchar *data, int length, double time);

    // The last frame of a message: its signals, and a number that changes
    // with every new frame (0 = none yet).
    QVector<DecodedSignal> lastValues(int channel, int message) const;
    quint64 lastSerial(int channel, int message) const;

    void choose(int channel, int message, int signal, bool on);
    bool isChosen(int channel, int message, int signal) const;
    bool hasChosen() const { return !m_series.empty(); }
    const std::vector<Series> &series() const { return m_series; }
    // Drops the points older than the given time.
    void trim(double oldest);
    void clearPoints();

private:
    struct Last {
        std::array<uchar, 64> data {};
        int length = 0;
        quint64 serial = 0;
        std::vector<int> series; // plotted signals of this message, by index in m_series
    };
    struct Channel {
        SignalDecoder decoder;
        std::vector<Last> last; // by message index
        bool anchored = false;
        double offset = 0.0;
    };
    void relink();

    QElapsedTimer m_clock;
    std::array<Channel, kChannels> m_channels;
    std::vector<Series> m_series;
    quint64 m_serial = 0;
};
