#include "sendThread.h"

#include "DeviceLayer.h"
#include "FrameBatch.h"
#include "FrameText.h"
#include "Lang.h"
#include "LogFormat.h"
#include "LogReader.h"
#include "PendingFrames.h"
#include "SendRules.h"

#include <QFile>
#include <QTextStream>
#include <QTime>
#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace {
constexpr qint64 kKeepSendingCount = 0x7FFFFFFFFFFFFFFFLL;
constexpr qint64 kDayMs = 86400000;

// An interval of 0 means no pause: even msleep(0) gives the CPU away for the
// timer slack (tens of microseconds), a gap on a busy bus.
void pause(ulong ms)
{
    if (ms != 0)
        QThread::msleep(ms);
}

// Time of the previous file row in ms since midnight (0 = none). Shared by
// both send threads on purpose: two file sends at once disturb each other's
// recorded timing, which is accepted.
std::atomic<qint64> g_previousRowTime { 0 };

// Which of the three texts the current language wants; null for an unknown language.
const char *chooseSource(const char *zh, const char *zht, const char *en)
{
    switch (languageCode()) {
    case 0:
        return zh;
    case 1:
        return zht;
    case 2:
        return en;
    default:
        return nullptr;
    }
}
} // namespace

sendThread::sendThread(uint channel, QObject *parent)
    : QThread(parent)
    , m_channel(channel)
{
}

sendThread::~sendThread()
{
    stop();
    wait();
}

bool sendThread::setSend(uint id, int idIncrement, uint extended, uint canFd, uint8_t bitRateSwitch,
    const uint8_t *data, uint length, int dataIncrement, qint64 count, uint framesPerSend, uint interval, uint remote,
    uint transmitType)
{
    if (isRunning())
        return false;
    m_mode = 0;
    m_id = id;
    m_idIncrement = idIncrement;
    m_extended = extended;
    m_canFd = canFd;
    m_bitRateSwitch = bitRateSwitch;
    std::memset(m_data, 0, sizeof m_data);
    if (data)
        std::memcpy(m_data, data, std::min<uint>(length, sizeof m_data));
    m_length = length;
    m_dataIncrement = dataIncrement;
    m_keepSending = (count == -1);
    m_count = m_keepSending ? kKeepSendingCount : count;
    m_framesPerSend = std::clamp<uint>(framesPerSend, 1, kMaxFramesPerSend);
    m_interval = interval;
    m_remote = remote;
    m_transmitType = transmitType;
    m_stop.clear();
    return true;
}

bool sendThread::setFileSend(QString path, int repeat, uint interval, uint channel)
{
    if (isRunning())
        return false;
    m_mode = 1;
    m_filePath = path;
    m_fileRepeat = repeat;
    m_fileInterval = interval;
    m_fileChannel = channel;
    // As setSend: a stop pressed while idle belongs to no run of this file.
    m_stop.clear();
    return true;
}

void sendThread::stop() { m_stop.request(); }

void sendThread::run()
{
    if (m_mode == 1)
        runFile();
    else
        runCount();
}

// Log lines pick the text of the current language, then pass it through the
// translator; an unknown language code logs nothing.
void sendThread::emitText(const char *zh, const char *zht, const char *en)
{
    if (const char *source = chooseSource(zh, zht, en))
        emit log(tr(source));
}

void sendThread::emitChannelText(const char *zh, const char *zht, const char *en)
{
    const char *prefix = chooseSource(QT_TR_NOOP("通道"), QT_TR_NOOP("通道"), QT_TR_NOOP("channel"));
    const char *source = chooseSource(zh, zht, en);
    if (prefix && source)
        emit log(tr(prefix) + QString::number(m_channel + 1) + tr(source));
}

void sendThread::advanceFrame()
{
    if (m_idIncrement)
        m_id = SendRules::nextId(m_id, m_extended != 0);
    if (m_dataIncrement)
        SendRules::incrementData(m_data, std::min<uint>(m_length, sizeof m_data));
}

void sendThread::runCount()
{
    // Reused for every batch of the run.
    static_assert(sizeof(CanFdTransmitRecord) * kMaxFramesPerSend <= 80000, "record array stays small");
    CanTransmitRecord canRecords[kMaxFramesPerSend];
    CanFdTransmitRecord fdRecords[kMaxFramesPerSend];

    if (m_keepSending) {
        if (const char *source = chooseSource(QT_TR_NOOP("通道: %1开始发送数据：一直发送，发送间隔:%2ms..."),
                QT_TR_NOOP("通道: %1開始發送數據：一直發送，發送間隔:%2ms..."),
                QT_TR_NOOP("Channel:%1 Start sending data: Keep sending, sending interval:%2ms...")))
            emit log(tr(source).arg(m_channel + 1).arg(m_interval));
    } else {
        if (const char *source = chooseSource(QT_TR_NOOP("通道: %1开始发送数据：数据总帧数:%2，发送间隔:%3ms..."),
                QT_TR_NOOP("通道: %1開始發送數據：數據縂幀數:%2，發送間隔:%3ms..."),
                QT_TR_NOOP("Channel:%1 Start sending data: Total frames of data:%2, sending interval:%3ms...")))
            emit log(tr(source).arg(m_channel + 1).arg(m_count.load()).arg(m_interval));
    }

    // The stop flag is looked at before the first batch and after each batch's sleep.
    while (!m_stop.requested() && isChannelOpen(m_channel) && m_count > 0) {
        uint batch = m_framesPerSend;
        if (m_count < qint64(batch)) {
            batch = uint(m_count.load());
            m_framesPerSend = batch;
        }

        const uint32_t idWordFlags = makeFrameId(0, m_extended, m_remote, 0);
        for (uint i = 0; i < batch; ++i) {
            const uint32_t idWord = m_id | idWordFlags;
            if (m_canFd)
                SendRules::fillRecord(fdRecords[i], idWord, m_length, m_data, m_bitRateSwitch, m_transmitType);
            else
                SendRules::fillRecord(canRecords[i], idWord, m_length, m_data, m_transmitType);
            advanceFrame();
        }

        // The driver's answer is only a flag (exactly 1 = success), never a frame count.
        const bool sent = m_canFd ? sendCanFd(m_channel, fdRecords, batch) : sendCan(m_channel, canRecords, batch);
        qint64 left = m_count - batch;
        if (left == 0 && m_keepSending)
            left = kKeepSendingCount;
        m_count = left;
        if (!sent) {
            if (m_canFd)
                emitChannelText(QT_TR_NOOP("CANFD数据发送失败！"), QT_TR_NOOP("CANFD數據發送失敗！"),
                    QT_TR_NOOP("CANFD Data sending failed！"));
            else
                emitChannelText(QT_TR_NOOP("CAN数据发送失败！"), QT_TR_NOOP("CAN數據發送失敗！"),
                    QT_TR_NOOP("CAN Data sending failed！"));
            break;
        }
        if (m_canFd)
            buildCanFdBatch(fdRecords, batch, 2);
        else
            buildCanBatch(canRecords, batch, 2);

        pause(m_interval);
    }

    if (m_stop.requested())
        emitChannelText(
            QT_TR_NOOP("数据中止发送！"), QT_TR_NOOP("數據中止發送！"), QT_TR_NOOP("Data Aborted Sending!"));
    else if (m_count == 0)
        emitChannelText(
            QT_TR_NOOP("数据发送完成！"), QT_TR_NOOP("數據發送完成！"), QT_TR_NOOP("Data transmission completed!"));

    buildCanBatch(canRecords, 0, 2);
    emit endSend(m_channel);
    m_stop.runEnded();
}

void sendThread::runFile()
{
    if (const char *source = chooseSource(
            QT_TR_NOOP("开始发送文件: %1..."), QT_TR_NOOP("開始發送文件: %1..."), QT_TR_NOOP("send file: %1...")))
        emit log(tr(source).arg(m_filePath));

    const LogFormat::Format format = LogFormat::fromPath(m_filePath);
    QFile file(m_filePath);
    if (format != LogFormat::Csv && format != LogFormat::Unknown) {
        if (!replayLog())
            emitText(
                QT_TR_NOOP("文件发送错误！"), QT_TR_NOOP("文件發送錯誤！"), QT_TR_NOOP("File transmission Error!"));
        else if (!m_stop.requested())
            emitText(
                QT_TR_NOOP("文件发送完成！"), QT_TR_NOOP("文件發送完成！"), QT_TR_NOOP("File transmission completed!"));
        else
            emitText(QT_TR_NOOP("文件中止发送！"), QT_TR_NOOP("文件中止發送！"), QT_TR_NOOP("File Aborted Sending!"));
    } else if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        emitText(QT_TR_NOOP("文件发送错误！"), QT_TR_NOOP("文件發送錯誤！"), QT_TR_NOOP("File transmission Error!"));
    } else {
        QTextStream in(&file);
        in.setCodec("UTF-8");
        int passesLeft = m_fileRepeat;
        while (!m_stop.requested() && (m_fileRepeat == -1 || passesLeft-- > 0)) {
            in.seek(0);
            in.readLine(); // the header line is never a frame
            sendFileRow(QStringList());
            bool sentAny = false;
            while (!in.atEnd() && !m_stop.requested()) {
                if (!isChannelOpen(0) && !isChannelOpen(1))
                    break;
                sentAny |= sendFileRow(in.readLine().split(QLatin1Char(',')));
            }
            // A pass that sent nothing must not spin when repeating until stopped.
            if (!sentAny)
                QThread::msleep(1);
        }
        if (!m_stop.requested())
            emitText(
                QT_TR_NOOP("文件发送完成！"), QT_TR_NOOP("文件發送完成！"), QT_TR_NOOP("File transmission completed!"));
        else
            emitText(QT_TR_NOOP("文件中止发送！"), QT_TR_NOOP("文件中止發送！"), QT_TR_NOOP("File Aborted Sending!"));
    }

    // A file can address both channels, so both send panels are released.
    emit endSend(0);
    emit endSend(1);
    m_stop.runEnded();
}

// A standard log file: the whole file is read once before anything is sent,
// so a file that cannot be read to its end sends nothing; then the passes.
// File channels 1 and 2 are Ostrel's channels; with "the file's channel"
// frames of other channels are skipped, and error frames always are.
bool sendThread::replayLog()
{
    LogError error;
    std::unique_ptr<LogReader> reader = LogReader::open(m_filePath, &error);
    quint64 otherChannels = 0, errorFrames = 0;
    LogFrame frame;
    if (reader) {
        while (!m_stop.requested() && reader->next(frame)) {
            if (frame.errorFrame)
                ++errorFrames;
            else if (m_fileChannel == 2 && frame.channel > 1)
                ++otherChannels;
        }
        if (reader->failed())
            error = reader->error();
    }
    if (error.isError()) {
        emit log(error.message().pick(languageCode()));
        return false;
    }
    if (m_stop.requested())
        return true;
    if (otherChannels)
        emit log(Lang::pick(QStringLiteral("%1帧的通道不是1或2，不发送"), QStringLiteral("%1幀的通道不是1或2，不發送"),
            QStringLiteral("%1 frames on channels other than 1 and 2 are not sent"))
                     .arg(otherChannels));
    if (errorFrames)
        emit log(Lang::pick(QStringLiteral("%1个错误帧不发送"), QStringLiteral("%1個錯誤幀不發送"),
            QStringLiteral("%1 error frames are not sent"))
                     .arg(errorFrames));

    int passesLeft = m_fileRepeat;
    while (!m_stop.requested() && (m_fileRepeat == -1 || passesLeft-- > 0)) {
        reader = LogReader::open(m_filePath, &error);
        if (!reader) {
            emit log(error.message().pick(languageCode()));
            return false;
        }
        // Recorded timing: each frame at its time after the pass's first
        // frame, measured from when that one went out, so the pauses do not
        // add up the time spent sending.
        bool sentAny = false;
        qint64 passStartNs = 0, firstTimeNs = 0;
        while (!m_stop.requested() && reader->next(frame)) {
            if (!isChannelOpen(0) && !isChannelOpen(1))
                break;
            if (frame.errorFrame || (m_fileChannel == 2 && frame.channel > 1))
                continue;
            if (m_fileInterval != kRecordedTiming) {
                pause(m_fileInterval);
            } else if (!sentAny) {
                passStartNs = frameClockNs();
                firstTimeNs = frame.timeNs;
            } else {
                waitUntil(passStartNs + (frame.timeNs - firstTimeNs));
            }
            sendLogFrame(frame, m_fileChannel == 2 ? frame.channel : m_fileChannel);
            sentAny = true;
        }
        if (reader->failed()) { // the file changed since it was checked
            emit log(reader->error().message().pick(languageCode()));
            return false;
        }
        // A pass that sent nothing must not spin when repeating until stopped.
        if (!sentAny)
            QThread::msleep(1);
    }
    return true;
}

// Sleeps until the steady clock reaches the time, in slices short enough to
// notice stop() during a long gap of the recording.
void sendThread::waitUntil(qint64 steadyNs)
{
    constexpr qint64 kSliceNs = 100000000;
    for (qint64 left = steadyNs - frameClockNs(); left > 0 && !m_stop.requested(); left = steadyNs - frameClockNs())
        std::this_thread::sleep_for(std::chrono::nanoseconds(std::min(left, kSliceNs)));
}

// One frame of a log; the result is not checked, as for CSV rows.
void sendThread::sendLogFrame(const LogFrame &frame, uint channel)
{
    const uint32_t idWord = makeFrameId(frame.id, frame.extended ? 1 : 0, frame.remote ? 1 : 0, 0);
    if (frame.canFd && !frame.remote) {
        CanFdTransmitRecord rec {};
        rec.id = idWord;
        rec.length = std::min<uint8_t>(frame.length, sizeof rec.data);
        rec.flags = frame.bitRateSwitch ? 1 : 0;
        std::memcpy(rec.data, frame.data.data(), sizeof rec.data);
        sendCanFd(channel, &rec, 1);
        buildCanFdBatch(&rec, 1, uint16_t(channel));
    } else {
        CanTransmitRecord rec {};
        rec.id = idWord;
        rec.length = std::min<uint8_t>(frame.length, sizeof rec.data);
        if (!frame.remote)
            std::memcpy(rec.data, frame.data.data(), sizeof rec.data);
        sendCan(channel, &rec, 1);
        buildCanBatch(&rec, 1, uint16_t(channel));
    }
}

// A frame file written in any of the three languages must replay the same,
// so these texts are translated to themselves in every catalogue.
bool sendThread::isStandardFrameText(const QString &text)
{
    //: Matched against the Frame column of saved frame files: keep the source text unchanged.
    const QString zh = tr("标准帧");
    //: Matched against the Frame column of saved frame files: keep the source text unchanged.
    const QString zht = tr("標準幀");
    //: Matched against the Frame column of saved frame files: keep the source text unchanged.
    const QString en = tr("Standard Frame");
    return text == zh || text == zht || text == en;
}

bool sendThread::isDataFrameText(const QString &text)
{
    //: Matched against the type column of saved frame files: keep the source text unchanged.
    const QString zh = tr("数据帧");
    //: Matched against the type column of saved frame files: keep the source text unchanged.
    const QString zht = tr("數據幀");
    //: Matched against the type column of saved frame files: keep the source text unchanged.
    const QString en = tr("data frame");
    return text == zh || text == zht || text == en;
}

// Fields as the frame-list columns: 0 index, 1 system time, 2 time stamp,
// 3 channel, 4 Rx/Tx, 5 ID, 6 Frame, 7 type, 8 DLC, 9 CAN-FD, 10 data.
bool sendThread::parseFileRow(const QStringList &fields, FileRow &row)
{
    row = FileRow();
    if (fields.size() < 11)
        return false;

    // The capture writes the system time as ="hh:mm:ss.zzz".
    const QTime time = QTime::fromString(fields.at(1).mid(2, 12), QStringLiteral("hh:mm:ss.zzz"));
    row.timeMs = time.isValid() ? time.msecsSinceStartOfDay() : 0;

    const QString &protocol = fields.at(9);
    row.canFd = protocol.contains(QLatin1String("CANFD"));
    row.flags = (row.canFd && protocol.contains(QLatin1Char('-'))) ? 1 : 0;

    const uint id = fields.at(5).mid(2).toUInt(nullptr, 16);
    const bool extended = !isStandardFrameText(fields.at(6));
    const bool remote = !isDataFrameText(fields.at(7));
    row.idWord = makeFrameId(id, extended, remote, 0);

    row.length = uint8_t(fields.at(8).toUInt());
    if (row.length > 0) {
        const QStringList bytes = fields.at(10).mid(3).split(QLatin1Char(' '));
        const int n = std::min<int>(bytes.size(), std::min<int>(row.length, int(sizeof row.data)));
        for (int i = 0; i < n; ++i)
            row.data[i] = uint8_t(bytes.at(i).toUInt(nullptr, 16));
    }

    row.channelField = fields.at(3).toInt();
    return true;
}

bool sendThread::sendFileRow(const QStringList &fields)
{
    if (fields.isEmpty()) {
        g_previousRowTime = 0;
        return false;
    }
    FileRow row;
    if (!parseFileRow(fields, row))
        return false;

    qint64 rowTime = row.timeMs;
    const qint64 previous = g_previousRowTime;
    if (rowTime < previous)
        rowTime += kDayMs; // the capture ran past midnight
    if (m_fileInterval != kRecordedTiming)
        pause(m_fileInterval);
    else if (previous != 0 && rowTime - previous > 0)
        pause(ulong(rowTime - previous));
    g_previousRowTime = rowTime;

    // Unsigned arithmetic: a row written "-2147483648" must not overflow an int.
    const uint channel = (m_fileChannel == 2) ? uint(row.channelField) - 1u : m_fileChannel;

    // Failures of single rows are ignored in the file mode.
    if (row.canFd) {
        CanFdTransmitRecord rec;
        SendRules::fillRecord(rec, row.idWord, row.length, row.data, row.flags, 0);
        sendCanFd(channel, &rec, 1);
        buildCanFdBatch(&rec, 1, uint16_t(channel));
    } else {
        CanTransmitRecord rec;
        SendRules::fillRecord(rec, row.idWord, row.length, row.data, 0);
        sendCan(channel, &rec, 1);
        buildCanBatch(&rec, 1, uint16_t(channel));
    }
    return true;
}

void sendThread::buildCanBatch(const CanTransmitRecord *records, uint count, uint16_t channel)
{
    appendPendingFrames(FrameBatch::build(records, count, (channel == 2) ? m_channel : channel));
}

void sendThread::buildCanFdBatch(const CanFdTransmitRecord *records, uint count, uint16_t channel)
{
    appendPendingFrames(FrameBatch::build(records, count, (channel == 2) ? m_channel : channel));
}
