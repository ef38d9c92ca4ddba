#pragma once
// Writes frames to a log file as they come; nothing but the current BLF
// container (128 KiB) is held in memory.

#include "LogError.h"
#include "LogFrame.h"

#include <QDateTime>
#include <QString>

#include <memory>

class QFileDevice;

struct LogWriterOptions {
    // Write to a temporary file that replaces `path` only when finish() succeeds
    // (conversions). Off for live captures, which must be on disk as they grow.
    bool atomic = true;
    // Language of the texts of a CSV frame file: 0 Simplified Chinese,
    // 1 Traditional Chinese, 2 English.
    int csvLanguage = 0;
    // Wall-clock start written into the headers that have one (ASC, TRC);
    // invalid means now.
    QDateTime startTime;
    // zlib level of BLF containers: 0 stores them uncompressed, -1 is zlib's default.
    int blfCompression = -1;
};

class LogWriter {
public:
    virtual ~LogWriter(); // drops an unfinished atomic file
    LogWriter(const LogWriter &) = delete;
    LogWriter &operator=(const LogWriter &) = delete;

    // Creates the writer its extension names and writes the header.
    static std::unique_ptr<LogWriter> create(const QString &path, const LogWriterOptions &options, LogError *error);

    // Appends one frame. A frame the format cannot hold (an error frame in a
    // CSV file) is counted in framesSkipped() and is not an error.
    bool write(const LogFrame &frame);
    // Pushes everything written so far to the file (a BLF writer closes its
    // current container early).
    bool flush();
    // Writes what closes the file (last container, header counts) and commits it.
    bool finish();
    // Stops and drops an atomic file; a direct file keeps what was written.
    void abort();

    quint64 framesWritten() const { return m_written; }
    quint64 framesSkipped() const { return m_skippedFrames; }
    qint64 bytesWritten() const;
    const LogError &error() const { return m_error; }

protected:
    LogWriter();
    virtual bool begin() = 0;
    // False when the format cannot hold the frame (then nothing was written).
    virtual bool put(const LogFrame &frame) = 0;
    virtual bool pushOut() { return true; }
    virtual bool end() = 0;

    // Buffered output: frames are formatted into m_out, which goes to the
    // file whenever it grows past a few tens of kilobytes.
    bool drain(bool force = false);
    bool writeFailed();

    std::unique_ptr<QFileDevice> m_file;
    LogWriterOptions m_options;
    QByteArray m_out;
    LogError m_error;

private:
    quint64 m_written = 0;
    quint64 m_skippedFrames = 0;
    bool m_finished = false;
};
