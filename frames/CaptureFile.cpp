#include "CaptureFile.h"

#include "FrameText.h"
#include "Lang.h"
#include "LogWriter.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {

constexpr qint64 kMsNs = 1000000;
// A received frame whose device time, mapped with its channel's offset, lies
// this far before the host's time of its batch means the device clock was
// restarted (channel reopened) or has drifted: the offset is taken afresh.
constexpr qint64 kResyncNs = 1000 * kMsNs;
// A BLF writer closes its current container on flush(), so a live BLF file is
// pushed to the disk once a second rather than every refresh round.
constexpr qint64 kBlfFlushNs = 1000 * kMsNs;
// The capture buffer of one round is kept for the next up to this size.
constexpr int kKeptRowBytes = 4 << 20;
// zlib level of live BLF containers: the fastest level keeps up with the bus
// at a fraction of the default level's time and still packs frames well.
constexpr int kLiveBlfCompression = 1;

// Writes the UTF-8 form of a text at p and returns the end; false when the
// text holds surrogates (never in frame texts), which take the general path.
// Frame texts are mostly ASCII, the rest (frame, type and protocol names)
// plain BMP characters of three bytes at most.
bool writeUtf8(char *&p, const QString &text)
{
    const ushort *in = reinterpret_cast<const ushort *>(text.constData());
    const ushort *const end = in + text.size();
    char *out = p;
    for (; in != end; ++in) {
        const ushort c = *in;
        if (c < 0x80) {
            *out++ = char(c);
        } else if (c < 0x800) {
            *out++ = char(0xC0 | (c >> 6));
            *out++ = char(0x80 | (c & 0x3F));
        } else if (QChar::isSurrogate(c)) {
            return false;
        } else {
            *out++ = char(0xE0 | (c >> 12));
            *out++ = char(0x80 | ((c >> 6) & 0x3F));
            *out++ = char(0x80 | (c & 0x3F));
        }
    }
    p = out;
    return true;
}

int hexDigit(ushort c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// The text matches the given text of one of the three languages.
bool isAnyLanguage(const QString &text, QString (*make)(int, bool), bool which)
{
    for (int lang = 0; lang < 3; ++lang)
        if (text == make(lang, which))
            return true;
    return false;
}

} // namespace

CaptureFile::~CaptureFile() { close(); }

QString CaptureFile::partPath(const QString &path, int part)
{
    if (part <= 1)
        return path;
    const QFileInfo info(path);
    QString name = info.completeBaseName() + QStringLiteral("_%1").arg(part, 3, 10, QLatin1Char('0'));
    if (!info.suffix().isEmpty())
        name += QLatin1Char('.') + info.suffix();
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? name : path.left(slash + 1) + name;
}

std::unique_ptr<CaptureFile> CaptureFile::open(const QString &path, HeaderText header, Limits limits)
{
    std::unique_ptr<CaptureFile> capture(new CaptureFile);
    capture->m_path = path;
    capture->m_header = std::move(header);
    capture->m_limits = limits;
    const LogFormat::Format format = LogFormat::fromPath(path);
    // Any name without a log format's extension is written as CSV, as always.
    capture->m_format = format == LogFormat::Unknown ? LogFormat::Csv : format;
    capture->m_csv = capture->m_format == LogFormat::Csv;
    capture->m_steadyStartNs = frameClockNs();
    capture->m_wallStartNs = QDateTime::currentMSecsSinceEpoch() * kMsNs;
    capture->m_partStartedNs = capture->m_steadyStartNs;
    capture->m_lastFlushNs = capture->m_steadyStartNs;
    if (capture->m_csv && !capture->openCsvPart(false))
        return nullptr;
    return capture;
}

// The first part is opened without truncation (the capture dialog already
// emptied a browsed file) and the header goes at its start, so the first line
// is always the header a replay skips. Later parts are new files.
bool CaptureFile::openCsvPart(bool truncate)
{
    auto file = std::make_unique<QFile>(currentPath());
    QIODevice::OpenMode mode = QIODevice::ReadWrite | QIODevice::Text;
    if (truncate)
        mode |= QIODevice::Truncate;
    if (!file->open(mode))
        return false;
    file->write(m_header().toUtf8() + '\n');
    file->flush();
    m_file = std::move(file);
    return true;
}

void CaptureFile::beginRound(int expectedBytes)
{
    // A part that got no frame yet is kept, whatever its age.
    if (m_limits.ms > 0 && m_partFrames > 0 && frameClockNs() - m_partStartedNs >= m_limits.ms * kMsNs)
        m_rotate = true;
    if (m_csv && expectedBytes > 0)
        m_rows.reserve(expectedBytes);
}

void CaptureFile::write(const ModelItem &item) { writeFrame(item, nullptr); }

void CaptureFile::write(const ModelItem &item, quint64 index) { writeFrame(item, &index); }

void CaptureFile::writeFrame(const ModelItem &item, const quint64 *index)
{
    if (m_rotate)
        startNextPart();
    ++m_partFrames;
    if (m_csv) {
        if (!m_file)
            return;
        appendCsvRow(m_rows, item, index);
        if (m_limits.bytes > 0 && m_file->pos() + m_rows.size() >= m_limits.bytes)
            m_rotate = true;
    } else {
        writeLogFrame(item);
        if (m_limits.bytes > 0 && m_writer && m_writer->bytesWritten() >= m_limits.bytes)
            m_rotate = true;
    }
}

void CaptureFile::endRound()
{
    if (m_csv) {
        if (m_file && !m_rows.isEmpty()) {
            m_file->write(m_rows);
            m_file->flush();
        }
        // The buffer is kept for the next round (a round at the bus limit is
        // about half a megabyte; allocating and freeing that much every tick
        // makes the heap sort all its small free blocks each time), unless an
        // overload made it large.
        if (m_rows.capacity() <= kKeptRowBytes)
            m_rows.resize(0);
        else
            m_rows.clear();
        return;
    }
    if (!m_writer || m_failed)
        return;
    const qint64 now = frameClockNs();
    if (m_format == LogFormat::Blf && now - m_lastFlushNs < kBlfFlushNs)
        return;
    m_lastFlushNs = now;
    if (!m_writer->flush())
        fail(m_writer->error().message().pick(languageCode()));
}

void CaptureFile::close()
{
    if (m_csv) {
        if (m_file) {
            if (!m_rows.isEmpty())
                m_file->write(m_rows);
            m_rows.clear();
            m_file->flush();
            m_file->close();
            m_file.reset();
        }
        return;
    }
    // A capture that saw no frame still leaves a valid, empty log.
    if (!m_writer && !m_failed && m_part == 1) {
        LogWriterOptions options;
        options.atomic = false;
        m_writer = LogWriter::create(currentPath(), options, nullptr);
    }
    finishLogPart();
    m_failed = true; // nothing more goes into a closed capture
}

void CaptureFile::startNextPart()
{
    m_rotate = false;
    m_partFrames = 0;
    if (m_csv) {
        if (!m_file)
            return;
        if (!m_rows.isEmpty()) {
            m_file->write(m_rows);
            m_rows.clear();
        }
        m_file->flush();
        m_file->close();
        m_file.reset();
        ++m_part;
        if (!openCsvPart(true)) {
            fail(Lang::pick(QStringLiteral("无法创建文件 %1"), QStringLiteral("無法創建文件 %1"),
                QStringLiteral("cannot create the file %1"))
                     .arg(currentPath()));
            return;
        }
    } else {
        if (m_failed)
            return;
        finishLogPart();
        ++m_part;
    }
    m_partStartedNs = frameClockNs();
    m_newParts << currentPath();
}

void CaptureFile::finishLogPart()
{
    if (!m_writer)
        return;
    if (!m_writer->finish() && !m_failed)
        fail(m_writer->error().message().pick(languageCode()));
    m_writer.reset();
}

void CaptureFile::writeLogFrame(const ModelItem &item)
{
    if (m_failed)
        return;
    const qint64 timeNs = frameTimeNs(item);
    if (!m_writer) {
        // The part's time stamps count from its first frame, to the millisecond
        // that ASC and TRC headers hold.
        m_originNs = timeNs - timeNs % kMsNs;
        LogWriterOptions options;
        options.atomic = false;
        options.startTime = QDateTime::fromMSecsSinceEpoch(m_originNs / kMsNs);
        options.blfCompression = kLiveBlfCompression;
        LogError error;
        m_writer = LogWriter::create(currentPath(), options, &error);
        if (!m_writer) {
            fail(error.message().pick(languageCode()));
            return;
        }
        m_lastFlushNs = frameClockNs();
    }
    // BLF and candump logs hold wall-clock time; ASC and TRC time from their header's start.
    const bool wallClock = m_format == LogFormat::Blf || m_format == LogFormat::Candump;
    if (!m_writer->write(logFrame(item, wallClock ? timeNs : std::max<qint64>(0, timeNs - m_originNs))))
        fail(m_writer->error().message().pick(languageCode()));
}

void CaptureFile::fail(const QString &message)
{
    m_failed = true;
    if (m_problem.isEmpty())
        m_problem = message;
}

QStringList CaptureFile::takeNewParts()
{
    QStringList parts;
    parts.swap(m_newParts);
    return parts;
}

QString CaptureFile::takeProblem()
{
    QString problem;
    problem.swap(m_problem);
    return problem;
}

qint64 CaptureFile::frameTimeNs(const ModelItem &item)
{
    qint64 steady;
    if (item.hostTimeNs == 0) {
        steady = frameClockNs(); // a record made elsewhere: the time it is saved
    } else if (item.direction) {
        // Device time is exact between the frames of one channel; the offset to
        // the host clock is the smallest seen (the least receive latency).
        const int ch = item.channel ? 1 : 0;
        const qint64 device = qint64(item.deviceTimeUs) * 1000;
        const qint64 seen = item.hostTimeNs - device;
        if (!m_offsetKnown[ch] || seen < m_deviceOffset[ch] || seen - m_deviceOffset[ch] > kResyncNs) {
            m_deviceOffset[ch] = seen;
            m_offsetKnown[ch] = true;
        }
        steady = device + m_deviceOffset[ch];
    } else {
        steady = item.hostTimeNs;
    }
    return m_wallStartNs + (steady - m_steadyStartNs);
}

LogFrame CaptureFile::logFrame(const ModelItem &item, qint64 timeNs)
{
    LogFrame f;
    f.timeNs = timeNs;
    f.channel = item.channel;
    f.received = item.direction != 0;
    quint32 idWord = item.idWord;
    int length = item.length;
    bool canFd = item.canFd;
    quint8 flags = item.fdFlags;
    if (item.hostTimeNs == 0) {
        // Not made by a batch builder: the texts are all there is.
        idWord = item.idText.mid(2).toUInt(nullptr, 16) & FrameText::kIdMask;
        if (isAnyLanguage(item.formatText, &FrameText::formatText, true))
            idWord |= FrameText::kExtendedBit;
        if (isAnyLanguage(item.typeText, &FrameText::typeText, true))
            idWord |= FrameText::kRemoteBit;
        length = int(item.dlcText.toUInt());
        canFd = item.protocolText.startsWith(QLatin1String("CANFD"));
        flags = item.protocolText.contains(QLatin1Char('-')) ? 1 : 0;
    }
    f.id = idWord & FrameText::kIdMask;
    f.extended = idWord & FrameText::kExtendedBit;
    f.remote = idWord & FrameText::kRemoteBit;
    f.canFd = canFd;
    // Only the flag value 1 is a bit-rate switch, as the frame list shows it.
    f.bitRateSwitch = canFd && flags == 1;
    f.length = quint8(std::min(length, canFd ? 64 : 8));
    if (f.remote)
        return f;
    // The data text is "x| " and two hex digits and a blank per byte.
    const ushort *text = reinterpret_cast<const ushort *>(item.dataText.constData());
    const int size = item.dataText.size();
    for (int i = 0; i < f.length; ++i) {
        const int at = 3 + 3 * i;
        if (at + 1 >= size)
            break;
        const int hi = hexDigit(text[at]), lo = hexDigit(text[at + 1]);
        if (hi < 0 || lo < 0)
            break;
        f.data[size_t(i)] = quint8(hi << 4 | lo);
    }
    return f;
}

void CaptureFile::appendCsvRow(QByteArray &out, const ModelItem &item) { appendCsvRow(out, item, nullptr); }

// With `index`, the row starts with that number instead of the index text.
void CaptureFile::appendCsvRow(QByteArray &out, const ModelItem &item, const quint64 *index)
{
    const QString *texts[] = { &item.timeStamp, &item.channelText, &item.dirText, &item.idText, &item.formatText,
        &item.typeText, &item.dlcText, &item.protocolText };
    char digits[20];
    const char *firstDigit = index ? FrameText::decimalDigits(*index, digits) : digits + sizeof digits;
    const int digitCount = int(digits + sizeof digits - firstDigit);
    int room = 3 * (item.indexText.size() + item.systemTime.size() + item.dataText.size()) + digitCount + 16;
    for (const QString *t : texts)
        room += 3 * t->size();
    const int at = out.size();
    out.resize(at + room);
    char *p = out.data() + at;
    bool plain = true;
    if (index) {
        std::copy_n(firstDigit, digitCount, p);
        p += digitCount;
    } else
        plain = writeUtf8(p, item.indexText);
    *p++ = ',';
    *p++ = '=';
    *p++ = '"';
    plain = plain && writeUtf8(p, item.systemTime);
    *p++ = '"';
    *p++ = ',';
    for (const QString *t : texts) {
        plain = plain && writeUtf8(p, *t);
        *p++ = ',';
    }
    plain = plain && writeUtf8(p, item.dataText);
    *p++ = '\n';
    if (plain) {
        out.resize(int(p - out.constData()));
        return;
    }
    out.resize(at);
    QString row = (index ? QString::number(*index) : item.indexText) + QLatin1String(",=\"") + item.systemTime
        + QLatin1String("\",");
    for (const QString *t : texts)
        row += *t + QLatin1Char(',');
    row += item.dataText + QLatin1Char('\n');
    out += row.toUtf8();
}
