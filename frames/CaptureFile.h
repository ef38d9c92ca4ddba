#pragma once
// The file behind the real-time save: Ostrel's own CSV rows, or one of the
// standard log formats (Vector ASC and BLF, PEAK TRC, can-utils log) when the
// chosen file's extension names one. Optionally a long capture continues in
// numbered files (bus_002.blf, bus_003.blf, ...) after a size or time limit;
// every frame goes to exactly one of them. Used by the GUI thread only.

#include "LogFormat.h"
#include "LogFrame.h"
#include "ModelItem.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class QFile;
class LogWriter;

class CaptureFile {
public:
    // When a part is full; 0 = no such limit.
    struct Limits {
        qint64 bytes = 0;
        qint64 ms = 0;
    };
    // The CSV header line of the frame list as it reads when a part starts.
    using HeaderText = std::function<QString()>;

    ~CaptureFile();
    CaptureFile(const CaptureFile &) = delete;
    CaptureFile &operator=(const CaptureFile &) = delete;

    // Starts the capture at `path`. A CSV file is opened for reading and
    // writing without truncation and gets the header line at its start; null
    // when it cannot be opened. A log file is made when its first frame comes.
    static std::unique_ptr<CaptureFile> open(const QString &path, HeaderText header, Limits limits);

    // The name of part `part` (1 is the chosen file itself).
    static QString partPath(const QString &path, int part);

    // One refresh round: beginRound(), write() for every saved frame, endRound()
    // (which pushes the round to the disk). expectedBytes sizes the CSV buffer.
    void beginRound(int expectedBytes);
    void write(const ModelItem &item);
    // The same for a record whose index text was not made (a frame that is
    // saved but never shown): its number is written instead.
    void write(const ModelItem &item, quint64 index);
    void endRound();
    void close();

    bool isCsv() const { return m_csv; }
    QString currentPath() const { return partPath(m_path, m_part); }
    int part() const { return m_part; }

    // Parts started since the last call (their paths), for the operation log.
    QStringList takeNewParts();
    // A failure of a log writer since the last call, in the current language;
    // empty when none. The capture then loses its frames until it is restarted.
    QString takeProblem();

    // One capture row, appended to out:
    // index,="system time",time stamp,channel,Rx/Tx,ID,Frame,type,DLC,CAN-FD,data
    static void appendCsvRow(QByteArray &out, const ModelItem &item);

    // The frame as a log file holds it; `timeNs` is the capture clock's time
    // for it (see frameTimeNs).
    static LogFrame logFrame(const ModelItem &item, qint64 timeNs);
    // Wall-clock time of a frame in nanoseconds since 1970: received frames by
    // their device time stamp (mapped onto the host clock per channel),
    // transmitted ones by the time their batch was sent.
    qint64 frameTimeNs(const ModelItem &item);

private:
    CaptureFile() = default;
    bool openCsvPart(bool truncate);
    void startNextPart();
    bool rotateDue(qint64 bytes) const;
    void writeLogFrame(const ModelItem &item);
    void writeFrame(const ModelItem &item, const quint64 *index);
    static void appendCsvRow(QByteArray &out, const ModelItem &item, const quint64 *index);
    void finishLogPart();
    void fail(const QString &message);

    QString m_path;
    LogFormat::Format m_format = LogFormat::Csv;
    bool m_csv = true;
    HeaderText m_header;
    Limits m_limits;
    int m_part = 1;
    qint64 m_partStartedNs = 0; // steady clock
    quint64 m_partFrames = 0;
    bool m_rotate = false; // the current part is full: the next frame starts a new one
    QStringList m_newParts;
    QString m_problem;

    // CSV
    std::unique_ptr<QFile> m_file;
    QByteArray m_rows; // the round's rows, written at its end

    // Log formats
    std::unique_ptr<LogWriter> m_writer;
    bool m_failed = false;
    qint64 m_originNs = 0; // wall-clock time the part's relative time stamps count from
    qint64 m_lastFlushNs = 0;

    // Capture clock: wall-clock time at the start, and per channel the offset
    // from device time to the host's steady clock.
    qint64 m_wallStartNs = 0;
    qint64 m_steadyStartNs = 0;
    qint64 m_deviceOffset[2] = { 0, 0 };
    bool m_offsetKnown[2] = { false, false };
};
