#pragma once
// Transmits on one channel away from the GUI thread: either one configured
// frame a number of times (count mode), or the frames of a file (file mode):
// the rows of a CSV frame file, or the frames of a standard log (ASC, BLF,
// TRC, candump log) when the file's extension names one. Every transmitted frame also reaches the frame list through
// pendingFrames.

#include "DriverApi.h"
#include "ModelItem.h"
#include "RunStop.h"

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

    // Count mode. A count of -1 keeps sending until stop(). Both setters
    // change nothing and give false while a run is going: the run reads these
    // fields without a lock.
    bool setSend(uint id, int idIncrement, uint extended, uint canFd, uint8_t bitRateSwitch, const uint8_t *data,
        uint length, int dataIncrement, qint64 count, uint framesPerSend, uint interval, uint remote,
        uint transmitType);
    // File mode. repeat -1 = until stopped; interval 0xFFFFFFFF = recorded timing;
    // channel 2 = the channel written in each row.
    bool setFileSend(QString path, int repeat, uint interval, uint channel);
    // Asks the run to end at its next check; returns at once.
    void stop();

    uint channel() const { return m_channel; }
    uint framesPerSend() const { return m_framesPerSend.load(); }
    qint64 remainingCount() const { return m_count.load(); }
    bool stopRequested() const { return m_stop.requested(); }

    // One row of a CSV frame file as the file mode reads it.
    struct FileRow {
        qint64 timeMs = 0; // field 1 (="hh:mm:ss.zzz") in ms since midnight; 0 when unreadable
        bool canFd = false;
        uint8_t flags = 0; // 1 = bit-rate switch (CAN FD only)
        uint32_t idWord = 0;
        uint8_t length = 0; // field 8, kept as one byte
        uint8_t data[64] = {};
        int channelField = 0; // field 3 as written (1-based)
    };
    // Reads the fields of one row (the frame-list columns, split at ",");
    // false for a row with fewer than eleven fields. Pure: no driver, no state.
    static bool parseFileRow(const QStringList &fields, FileRow &row);

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
    static bool isStandardFrameText(const QString &text);
    static bool isDataFrameText(const QString &text);

    const uint m_channel;
    RunStop m_stop { this };

    // Count and file mode; written only while the thread is idle.
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
