#include "LogReader.h"

#include "Formats.h"
#include "LogFormat.h"
#include "LogTexts.h"

#include <QFile>

LogReader::LogReader() = default;
LogReader::~LogReader() = default;

std::unique_ptr<LogReader> LogReader::open(const QString &path, LogError *error)
{
    std::unique_ptr<LogReader> reader;
    switch (LogFormat::fromPath(path)) {
    case LogFormat::Csv:
        reader = makeCsvReader();
        break;
    case LogFormat::Asc:
        reader = makeAscReader();
        break;
    case LogFormat::Blf:
        reader = makeBlfReader();
        break;
    case LogFormat::Trc:
        reader = makeTrcReader();
        break;
    case LogFormat::Candump:
        reader = makeCandumpReader();
        break;
    case LogFormat::Unknown:
        break;
    }
    LogError e;
    e.path = path;
    if (!reader) {
        e.code = LogError::UnknownFormat;
        e.expected = LogTexts::knownExtension();
        e.found = path.section(QLatin1Char('/'), -1);
    } else {
        reader->m_file = std::make_unique<QFile>(path);
        reader->m_error.path = path;
        if (!reader->m_file->open(QIODevice::ReadOnly)) {
            e.code = LogError::CannotOpen;
            e.expected = LogTexts::readable();
            e.found = reader->m_file->errorString();
        } else if (!reader->readHeader()) {
            if (!reader->failed())
                reader->fail(LogError::Truncated, LogTexts::header(QString()));
            e = reader->m_error;
        }
    }
    if (e.isError()) {
        if (error)
            *error = e;
        return nullptr;
    }
    if (error)
        *error = LogError();
    return reader;
}

bool LogReader::next(LogFrame &frame)
{
    if (failed())
        return false;
    frame = LogFrame();
    if (!readFrame(frame))
        return false;
    // Every reader hands out frames a bus can carry.
    if (frame.id > (frame.extended ? 0x1FFFFFFFu : 0x7FFu))
        return fail(LogError::BadRecord, LogTexts::identifier(), QString::number(frame.id, 16).toUpper());
    if (frame.length > (frame.canFd ? 64 : 8) && !frame.remote)
        return fail(LogError::BadRecord, LogTexts::dataLength(frame.canFd ? 64 : 8), QString::number(frame.length));
    ++m_frames;
    return true;
}

qint64 LogReader::bytePosition() const { return m_file ? m_file->pos() : 0; }
qint64 LogReader::fileSize() const { return m_file ? m_file->size() : 0; }

bool LogReader::fail(LogError::Code code, const LogText &expected, const QString &found)
{
    m_error.code = code;
    m_error.line = m_line;
    m_error.offset = m_line > 0 ? -1 : m_offset;
    m_error.innerOffset = m_line > 0 ? -1 : m_innerOffset;
    m_error.expected = expected;
    m_error.found = found;
    return false;
}
