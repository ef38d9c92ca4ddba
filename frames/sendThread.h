#pragma once
// Transmits on one channel away from the GUI thread: either one configured
// frame a number of times (count mode), or the frames of a file (file mode):
// the rows of a CSV frame file, or the frames of a standard log (ASC, BLF,
// TRC, candump log) when the file's extension names one. Every transmitted frame also reaches the frame list through
// pendingFrames.

#include "DriverApi.h"
#include "ModelItem.h"

#include <QString>
#include <QStringList>
#include <QThread>
#include <atomic>
#include <cstdint>

struct LogFrame;

class sendThread : public QThread {
    Q_OBJECT
public:
    // The largest batch handed to the driver in one call; larger requests are cut to it.
    static constexpr uint kMaxFramesPerSend = 1000;
    // File interval that means "replay the recorded timing of the rows".
    static constexpr uint kRecordedTiming = 0xFFFFFFFFu;

    explicit sendThread(uint channel, QObject *parent = nullptr);
    ~sendThread() override;

    // Count mode. A count of -1 keeps sending until stop().
    void setSend(uint id, int idIncrement, uint extended, uint canFd, uint8_t bitRateSwitch, const uint8_t *data,
        uint length, int dataIncrement, qint64 count, uint framesPerSend, uint interval, uint remote,
        uint transmitType);
    // File mode. repeat -1 = until stopped; interval 0xFFFFFFFF = recorded timing;
    // channel 2 = the channel written in each row.
    void setFileSend(QString path, int repeat, uint interval, uint channel);
    // Asks the run to end at its next check; returns at once.
    void stop();

    uint channel() const { return m_channel; }
    uint framesPerSend() const { return m_framesPerSend.load(); }
    qint64 remainingCount() const { return m_count.load(); }
    bool stopRequested() const { return m_stop.load(); }

    // Transmitted-batch builders. channel 2 means this thread's own channel,
    // any other value is taken as the 0-based channel.
    void buildCanBatch(const CanTransmitRecord *records, uint count, uint16_t channel);
    void buildCanFdBatch(const CanFdTransmitRecord *records, uint count, uint16_t channel);

signals:
    void endSend(uint channel);
    void log(QString msg);
    void sendedData(QList<ModelItem> modelList, uint channel);

protected:
    void run() override;

private:
    void runCount();
    void runFile();
    bool sendFileRow(const QStringList &fields);
    bool replayLog();
    void sendLogFrame(const LogFrame &frame, uint channel);
    void waitUntil(qint64 steadyNs);
    void advanceFrame();
    void emitText(const char *zh, const char *zht, const char *en);
    void emitChannelText(const char *zh, const char *zht, const char *en);
    bool isStandardFrameText(const QString &text) const;
    bool isDataFrameText(const QString &text) const;

    const uint m_channel;
    std::atomic<bool> m_stop { false };

    // Count mode; written only while the thread is idle.
    uint m_id = 0;
    int m_idIncrement = 0;
    uint m_extended = 0;
    uint m_canFd = 0;
    uint8_t m_bitRateSwitch = 0;
    uint8_t m_data[64] = {};
    uint m_length = 0;
    int m_dataIncrement = 0;
    std::atomic<qint64> m_count { 0 };
    uint m_interval = 0;
    std::atomic<uint> m_framesPerSend { 0 };
    uint m_remote = 0;
    uint m_transmitType = 0;
    bool m_keepSending = false;
    int m_mode = 0;

    // File mode.
    QString m_filePath;
    int m_fileRepeat = 0;
    uint m_fileInterval = 0;
    uint m_fileChannel = 0;
};
