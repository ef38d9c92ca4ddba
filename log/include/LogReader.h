#pragma once
// Reads frames from a log file one at a time; the file is never loaded whole.

#include "LogError.h"
#include "LogFrame.h"

#include <QString>

#include <memory>

class QFile;

class LogReader {
public:
    virtual ~LogReader();
    LogReader(const LogReader &) = delete;
    LogReader &operator=(const LogReader &) = delete;

    // Opens `path` with the reader its extension names and reads its header.
    // Returns null and fills *error when the file cannot be opened or its
    // header is not what the format needs.
    static std::unique_ptr<LogReader> open(const QString &path, LogError *error);

    // The next frame. False at the end of the file and on the first malformed
    // record, after which error() says where and what; a reader never returns
    // a half-read frame.
    bool next(LogFrame &frame);

    const LogError &error() const { return m_error; }
    bool failed() const { return m_error.isError(); }
    // Records that hold no frame (comments, statistics, markers, bus status).
    quint64 skippedRecords() const { return m_skipped; }
    quint64 framesRead() const { return m_frames; }
    qint64 bytePosition() const;
    qint64 fileSize() const;

protected:
    LogReader();
    virtual bool readHeader() = 0;
    // One frame, or false at the end (m_error clear) or on a malformed record (m_error set).
    virtual bool readFrame(LogFrame &frame) = 0;

    bool fail(LogError::Code code, const LogText &expected, const QString &found = QString());

    std::unique_ptr<QFile> m_file;
    LogError m_error;
    qint64 m_line = 0; // text readers: number of the line last read
    qint64 m_offset = -1; // binary readers: offset of the record in hand
    qint64 m_innerOffset = -1;
    quint64 m_skipped = 0;

private:
    quint64 m_frames = 0;
};
