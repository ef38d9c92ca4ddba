#include "LogWriter.h"

#include "Formats.h"
#include "LogFormat.h"
#include "LogTexts.h"

#include <QFile>
#include <QSaveFile>

namespace {
constexpr int kDrainAt = 64 * 1024;
}

LogWriter::LogWriter() = default;

LogWriter::~LogWriter()
{
    if (!m_finished)
        abort();
}

std::unique_ptr<LogWriter> LogWriter::create(const QString &path, const LogWriterOptions &options, LogError *error)
{
    std::unique_ptr<LogWriter> writer;
    switch (LogFormat::fromPath(path)) {
    case LogFormat::Csv:
        writer = makeCsvWriter();
        break;
    case LogFormat::Asc:
        writer = makeAscWriter();
        break;
    case LogFormat::Blf:
        writer = makeBlfWriter();
        break;
    case LogFormat::Trc:
        writer = makeTrcWriter();
        break;
    case LogFormat::Candump:
        writer = makeCandumpWriter();
        break;
    case LogFormat::Unknown:
        break;
    }
    LogError e;
    e.path = path;
    if (!writer) {
        e.code = LogError::UnknownFormat;
        e.expected = LogTexts::knownExtension();
        e.found = path.section(QLatin1Char('/'), -1);
    } else {
        writer->m_options = options;
        if (!writer->m_options.startTime.isValid())
            writer->m_options.startTime = QDateTime::currentDateTime();
        writer->m_error.path = path;
        if (options.atomic)
            writer->m_file = std::make_unique<QSaveFile>(path);
        else
            writer->m_file = std::make_unique<QFile>(path);
        writer->m_out.reserve(kDrainAt + 4096);
        if (!writer->m_file->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            e.code = LogError::CannotOpen;
            e.expected = LogTexts::writable();
            e.found = writer->m_file->errorString();
        } else if (!writer->begin() || !writer->drain()) {
            e = writer->m_error;
        }
    }
    if (e.isError()) {
        if (error)
            *error = e;
        return nullptr;
    }
    if (error)
        *error = LogError();
    return writer;
}

bool LogWriter::write(const LogFrame &frame)
{
    if (m_finished || m_error.isError())
        return false;
    const bool held = put(frame);
    if (m_error.isError())
        return false;
    if (held)
        ++m_written;
    else
        ++m_skippedFrames;
    return drain();
}

bool LogWriter::flush()
{
    if (m_finished || m_error.isError())
        return false;
    return pushOut() && drain(true) && m_file->flush();
}

bool LogWriter::finish()
{
    if (m_finished || m_error.isError())
        return false;
    if (!end() || !drain(true))
        return false;
    bool ok = true;
    if (auto *save = qobject_cast<QSaveFile *>(m_file.get()))
        ok = save->commit();
    else
        m_file->close();
    m_finished = true;
    return ok || writeFailed();
}

void LogWriter::abort()
{
    if (m_finished || !m_file)
        return;
    m_finished = true;
    if (auto *save = qobject_cast<QSaveFile *>(m_file.get())) {
        save->cancelWriting();
        save->commit(); // refused after cancelWriting(): the temporary file goes away
    } else {
        drain(true);
        m_file->close();
    }
}

qint64 LogWriter::bytesWritten() const { return (m_file ? m_file->pos() : 0) + m_out.size(); }

bool LogWriter::drain(bool force)
{
    if (m_out.isEmpty() || (!force && m_out.size() < kDrainAt))
        return true;
    if (m_file->write(m_out) != m_out.size())
        return writeFailed();
    m_out.resize(0);
    return true;
}

bool LogWriter::writeFailed()
{
    m_error.code = LogError::CannotWrite;
    m_error.expected = LogTexts::writable();
    m_error.found = m_file->errorString();
    return false;
}
