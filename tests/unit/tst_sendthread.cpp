// The send thread against the recording fake driver: batches, increments,
// record bytes, log lines and failures in the count mode; CSV rows, timing,
// channels and errors in the file mode, and the replay of standard log files.
#include "FakeDriver.h"
#include "Lang.h"
#include "LogWriter.h"
#include "ModelItem.h"
#include "PendingFrames.h"
#include "SettingsStore.h"
#include "TestKit.h"
#include "recvThread.h"
#include "sendThread.h"

#include <QRegularExpression>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QtEndian>

namespace {
using FakeDriver::Call;

// Everything the thread reports, in arrival order: log lines and "end <ch>".
struct Recorder {
    QObject context;
    QStringList events;
    explicit Recorder(sendThread &t)
    {
        QObject::connect(&t, &sendThread::log, &context, [this](QString msg) { events << msg; });
        QObject::connect(&t, &sendThread::endSend, &context, [this](uint ch) { events << QString("end %1").arg(ch); });
    }
    int ends() const { return events.filter(QRegularExpression("^end \\d$")).size(); }
};

QString csvRow(const QString &channel, const QString &id, const QString &frame, const QString &type, const QString &dlc,
    const QString &protocol, const QString &data, const QString &time = "10:00:00.000")
{
    return QStringList { "7", "=\"" + time + "\"", "0x1F", channel, "Rx", id, frame, type, dlc, protocol, data }.join(
        ',');
}
QString stdRow(const QString &time, const QString &id, const QString &channel = "1")
{
    return csvRow(channel, id, "标准帧", "数据帧", "1", "CAN", "x| 5A ", time);
}

QList<Call> transmits() { return FakeDriver::calls("Transmit"); }

// Identifier word and data bytes of each transmitted record, "id:hex".
QStringList sentFrames(int dataBytes = 0)
{
    QStringList out;
    for (const Call &c : transmits()) {
        const int size = c.name == "TransmitCanFd" ? 76 : 20;
        for (int at = 0; at < c.records.size(); at += size)
            out << QString::number(qFromLittleEndian<quint32>(c.records.constData() + at), 16) + ':'
                    + c.records.mid(at + 8, dataBytes).toHex();
    }
    return out;
}

qint64 gapMs(const Call &a, const Call &b) { return (b.nsecs - a.nsecs) / 1000000; }

LogFrame logFrame(qint64 ms, quint32 channel, quint32 id, const QString &kind, int length)
{
    LogFrame f;
    f.timeNs = ms * 1000000;
    f.channel = channel;
    f.id = id;
    f.extended = kind.contains('x');
    f.remote = kind.contains('r');
    f.canFd = kind.contains("fd");
    f.bitRateSwitch = kind.contains('b');
    f.errorFrame = kind.contains('e');
    f.length = quint8(length);
    for (int i = 0; i < length; ++i)
        f.data[size_t(i)] = quint8(0x11 * i + 1);
    return f;
}

// Frames of a log file for the replay tests, 1-based channels 1, 2 and 3, an error frame last.
QList<LogFrame> replayFrames()
{
    return { logFrame(0, 0, 0x123, "", 8), logFrame(60, 1, 0x1ABCDEF, "x", 3), logFrame(100, 0, 0x7FF, "r", 2),
        logFrame(130, 1, 0x10, "fdb", 12), logFrame(180, 0, 0x18FF0010, "xfd", 64), logFrame(200, 2, 0x55, "", 1),
        logFrame(210, 0, 0, "e", 0) };
}
} // namespace

class tst_SendThread : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    int m_files = 0;

    QString csvFile(const QStringList &rows)
    {
        const QString path = m_dir.filePath(QString("frames%1.csv").arg(++m_files));
        writeFile(path,
            ("序号,系统时间,时间标识,通道,收/发,ID,Frame,类型,DLC,CAN-FD,数据\n" + rows.join('\n') + '\n').toUtf8());
        return path;
    }
    QString logFile(const QString &format, const QList<LogFrame> &frames)
    {
        const QString path = m_dir.filePath(QString("frames%1.%2").arg(++m_files).arg(format));
        LogError error;
        auto writer = LogWriter::create(path, LogWriterOptions(), &error);
        for (const LogFrame &f : frames)
            writer->write(f);
        writer->finish();
        return path;
    }
    void run(sendThread &t, Recorder &rec, int ends = 1)
    {
        t.start();
        QTRY_COMPARE_WITH_TIMEOUT(rec.ends(), ends, 10000);
        QVERIFY(t.wait(5000));
    }

private slots:
    void init()
    {
        SettingsStore::load(m_dir.filePath("setdb.txt"));
        FakeDriver::install();
        FakeDriver::openChannels(true, true);
        takePendingFrames();
        setLanguageCode(0);
    }
    void cleanupTestCase() { FakeDriver::uninstall(); }

    void countMode_data()
    {
        // answers: TransmitCan answers in turn (1 after them); shown: frames that reached the list; lines: after the
        // start line
        columns<qint64, uint, QList<uint>, QVector<quint64>, uint, int, QString>(
            { "count", "framesPerSend", "answers", "batches", "framesPerSendAfter", "shown", "lines" });
        const QString done = "通道1数据发送完成！", failed = "通道1CAN数据发送失败！";
        QTest::newRow("5 by 2") << qint64(5) << 2u << QList<uint>() << QVector<quint64> { 2, 2, 1 } << 1u << 5 << done;
        QTest::newRow("2500 by 1000") << qint64(2500) << 1000u << QList<uint>() << QVector<quint64> { 1000, 1000, 500 }
                                      << 500u << 2500 << done;
        QTest::newRow("0 frames") << qint64(0) << 3u << QList<uint>() << QVector<quint64> {} << 3u << 0 << done;
        QTest::newRow("refused at once") << qint64(5) << 1u << QList<uint> { 0 } << QVector<quint64> { 1 } << 1u << 0
                                         << failed;
        QTest::newRow("2 for a batch of 2 is a failure")
            << qint64(4) << 2u << QList<uint> { 2 } << QVector<quint64> { 2 } << 2u << 0 << failed;
        QTest::newRow("last batch refused")
            << qint64(2) << 1u << QList<uint> { 1, 0 } << QVector<quint64> { 1, 1 } << 1u << 1 << failed + '|' + done;
    }
    void countMode()
    {
        QFETCH(qint64, count);
        QFETCH(uint, framesPerSend);
        QFETCH(QList<uint>, answers);
        FakeDriver::queueResults("TransmitCan", answers);
        sendThread t(0);
        Recorder rec(t);
        const uint8_t data[8] = { 1, 2, 3, 4, 5, 6, 7, 8 };
        t.setSend(0x100, 0, 0, 0, 0, data, 8, 0, count, framesPerSend, 0, 0, 0);
        run(t, rec);
        QVector<quint64> batches;
        for (const Call &c : transmits()) {
            QVERIFY(c.name == "TransmitCan" && c.args.at(0) == FakeDriver::channelHandle(0));
            QCOMPARE(quint64(c.records.size() / 20), c.args.at(1));
            batches << c.args.at(1);
        }
        QTEST(batches, "batches");
        QTEST(t.framesPerSend(), "framesPerSendAfter");
        QCOMPARE(rec.events.value(0), QString("通道: 1开始发送数据：数据总帧数:%1，发送间隔:0ms...").arg(count));
        QTEST(rec.events.mid(1, rec.events.size() - 2).join('|'), "lines");
        const QList<ModelItem> items = takePendingFrames();
        QTEST(items.size(), "shown");
        for (const ModelItem &item : items)
            QVERIFY(item.direction == 0 && item.channel == 0 && item.timeStamp == "无"
                && item.dataText == "x| 01 02 03 04 05 06 07 08 ");
    }

    void logLines_data()
    {
        columns<int, uint, QString, QString>({ "lang", "channel", "scenario", "lines" });
        QTest::newRow("count zh") << 0 << 0u << "count"
                                  << "通道: 1开始发送数据：数据总帧数:1，发送间隔:3ms...|通道1数据发送完成！";
        QTest::newRow("count zht") << 1 << 1u << "count"
                                   << "通道: 2開始發送數據：數據縂幀數:1，發送間隔:3ms...|通道2數據發送完成！";
        QTest::newRow("count en") << 2 << 0u << "count"
                                  << "Channel:1 Start sending data: Total frames of data:1, sending "
                                     "interval:3ms...|channel1Data transmission completed!";
        QTest::newRow("keep zh") << 0 << 1u << "keep"
                                 << "通道: 2开始发送数据：一直发送，发送间隔:3ms...|通道2数据中止发送！";
        QTest::newRow("keep en")
            << 2 << 1u << "keep"
            << "Channel:2 Start sending data: Keep sending, sending interval:3ms...|channel2Data Aborted Sending!";
        QTest::newRow("classic failure en")
            << 2 << 1u << "failCan"
            << "Channel:2 Start sending data: Total frames of data:1, sending interval:3ms...|channel2CAN Data sending "
               "failed！|channel2Data transmission completed!";
        QTest::newRow("FD failure zh")
            << 0 << 1u << "failFd"
            << "通道: 2开始发送数据：数据总帧数:1，发送间隔:3ms...|通道2CANFD数据发送失败！|通道2数据发送完成！";
        QTest::newRow("unknown language") << 3 << 0u << "failFd"
                                          << "";
        QTest::newRow("closed channel sends nothing") << 0 << 1u << "closed"
                                                      << "通道: 2开始发送数据：数据总帧数:1，发送间隔:3ms...";
        QTest::newRow("stop before start") << 0 << 0u << "stopped"
                                           << "通道: 1开始发送数据：数据总帧数:1，发送间隔:3ms...|通道1数据中止发送！";
    }
    void logLines()
    {
        QFETCH(int, lang);
        QFETCH(uint, channel);
        QFETCH(QString, scenario);
        setLanguageCode(lang);
        if (scenario == "closed")
            FakeDriver::openChannels(true, false);
        sendThread t(channel);
        Recorder rec(t);
        const bool keep = scenario == "keep", fd = scenario == "failFd";
        if (scenario.startsWith("fail"))
            FakeDriver::setResult(fd ? "TransmitCanFd" : "TransmitCan", 0);
        const uint8_t bytes[2] = { 0xAA, 0x55 };
        t.setSend(0x55, 0, 0, fd ? 1 : 0, 0, bytes, 2, 0, keep ? -1 : 1, 1, 3, 0, 0);
        if (scenario == "stopped")
            t.stop();
        t.start();
        if (keep) {
            QTRY_VERIFY_WITH_TIMEOUT(FakeDriver::callCount("TransmitCan") >= 2, 5000);
            QVERIFY(t.remainingCount() > (qint64(1) << 62));
            t.stop();
        }
        QTRY_COMPARE_WITH_TIMEOUT(rec.ends(), 1, 10000);
        QVERIFY(t.wait(5000));
        QVERIFY(!t.stopRequested());
        QTEST(rec.events.mid(0, rec.events.size() - 1).join('|'), "lines");
        QCOMPARE(rec.events.last(), QString("end %1").arg(channel));
        if (scenario == "closed" || scenario == "stopped")
            QVERIFY(transmits().isEmpty() && takePendingFrames().isEmpty());
        if (keep) // every frame sent shows, the identifier counting on
            QCOMPARE(takePendingFrames().size(), transmits().size());
    }

    void increments_data()
    {
        // flags: extended, remote, CAN FD as bits 0..2
        columns<uint, uint, int, QByteArray, uint, QString>(
            { "id", "flags", "idIncrement", "data", "length", "frames" });
        QTest::newRow("standard wraps after 7FF") << 0x7FEu << 4u << 1 << QByteArray() << 0u << "7fe: 7ff: 0: 1:";
        QTest::newRow("standard remote wraps")
            << 0x7FFu << 6u << 1 << QByteArray() << 0u << "400007ff: 40000000: 40000001: 40000002:";
        QTest::newRow("extended wraps after 1FFFFFFF")
            << 0x1FFFFFFEu << 5u << 1 << QByteArray() << 0u << "9ffffffe: 9fffffff: 80000000: 80000001:";
        QTest::newRow("extended passes 7FF")
            << 0x7FFu << 7u << 1 << QByteArray() << 0u << "c00007ff: c0000800: c0000801: c0000802:";
        QTest::newRow("FF FF wraps to 00 00")
            << 0x10u << 0u << 0 << QByteArray::fromHex("ffff") << 2u << "10:ffff 10:0000 10:0100 10:0200";
        QTest::newRow("no carry past the length")
            << 0x10u << 0u << 0 << QByteArray::fromHex("ff55") << 1u << "10:ff00 10:0000 10:0100 10:0200";
        QTest::newRow("carry through two bytes")
            << 0x10u << 0u << 0 << QByteArray::fromHex("ffff7f") << 3u << "10:ffff7f 10:000080 10:010080 10:020080";
        QTest::newRow("64 FD bytes wrap")
            << 0x10u << 4u << 0 << QByteArray(64, char(0xFF)) << 64u
            << QString("10:" + QByteArray(64, char(0xFF)).toHex() + " 10:" + QByteArray(64, 0).toHex() + " 10:01"
                   + QByteArray(63, 0).toHex() + " 10:02" + QByteArray(63, 0).toHex());
    }
    void increments()
    {
        QFETCH(uint, id);
        QFETCH(uint, flags);
        QFETCH(int, idIncrement);
        QFETCH(QByteArray, data);
        QFETCH(uint, length);
        // Two frames per call: the increments run per frame, also inside a batch.
        sendThread t(1);
        Recorder rec(t);
        t.setSend(id, idIncrement, flags & 1, flags >> 2, 0, reinterpret_cast<const uint8_t *>(data.constData()),
            length, data.isEmpty() ? 0 : 1, 4, 2, 0, (flags >> 1) & 1, 0);
        run(t, rec);
        QCOMPARE(transmits().size(), 2);
        QCOMPARE(transmits().at(0).args.at(0), quint64(FakeDriver::channelHandle(1)));
        QTEST(sentFrames(data.size()).join(' '), "frames");
    }

    void recordBytes_data()
    {
        columns<uint, uint, int, uint, int, QString>(
            { "canFd", "length", "bitRateSwitch", "transmitType", "lengthByte", "protocol" });
        QTest::newRow("classic 8") << 0u << 8u << 1 << 2u << 8 << "CAN";
        QTest::newRow("FD 64 switch") << 1u << 64u << 1 << 1u << 64 << "CANFD-加速";
        QTest::newRow("FD 70 limited to 64") << 1u << 70u << 0 << 0u << 64 << "CANFD";
        QTest::newRow("FD flags 2 passed unchanged") << 1u << 5u << 2 << 0u << 5 << "CANFD";
    }
    void recordBytes()
    {
        QFETCH(uint, canFd);
        QFETCH(uint, length);
        QFETCH(int, bitRateSwitch);
        QFETCH(uint, transmitType);
        QFETCH(int, lengthByte);
        uint8_t data[64];
        for (int i = 0; i < 64; ++i)
            data[i] = uint8_t(0x80 + i);
        sendThread t(0);
        Recorder rec(t);
        t.setSend(0x321, 0, 1, canFd, uint8_t(bitRateSwitch), data, length, 0, 1, 1, 0, 0, transmitType);
        run(t, rec);
        QCOMPARE(transmits().size(), 1);
        const QByteArray raw = transmits().first().records; // offsets read from the bytes, not the struct
        QCOMPARE(raw.size(), canFd ? 76 : 20);
        QCOMPARE(qFromLittleEndian<quint32>(raw.constData()), 0x80000321u);
        QCOMPARE(int(uint8_t(raw.at(4))), lengthByte);
        QCOMPARE(int(uint8_t(raw.at(5))), canFd ? bitRateSwitch : 0);
        QCOMPARE(raw.mid(6, 2), QByteArray(2, '\0'));
        QCOMPARE(raw.mid(8, lengthByte), QByteArray(reinterpret_cast<const char *>(data), lengthByte));
        QCOMPARE(qFromLittleEndian<quint32>(raw.constData() + (canFd ? 72 : 16)), transmitType);
        const QList<ModelItem> items = takePendingFrames();
        QCOMPARE(items.size(), 1);
        QTEST(items.first().protocolText, "protocol");
        QCOMPARE(items.first().dlcText, QString::number(lengthByte));
    }

    void fileTiming_data()
    {
        // minGaps: ms between successive transmits
        columns<QStringList, uint, int, QList<int>>({ "times", "interval", "repeat", "minGaps" });
        QTest::newRow("fixed interval ignores recorded times")
            << QStringList { "10:00:00.000", "10:00:05.000", "09:00:00.000" } << 40u << 1 << QList<int> { 38, 38 };
        QTest::newRow("recorded, across midnight") << QStringList { "23:59:59.900", "00:00:00.100", "00:00:00.150" }
                                                   << sendThread::kRecordedTiming << 1 << QList<int> { 195, 45 };
        // Were the previous row kept across passes, the second pass would wait almost a day.
        QTest::newRow("recorded, restarts each pass") << QStringList { "10:00:00.000", "10:00:00.100" }
                                                      << sendThread::kRecordedTiming << 2 << QList<int> { 95, 0, 95 };
    }
    void fileTiming()
    {
        QFETCH(QStringList, times);
        QFETCH(uint, interval);
        QFETCH(int, repeat);
        QFETCH(QList<int>, minGaps);
        QStringList rows;
        for (int i = 0; i < times.size(); ++i)
            rows << stdRow(times[i], QString("0x00%1").arg(i + 1));
        const QString path = csvFile(rows);
        sendThread t(1);
        Recorder rec(t);
        t.setFileSend(path, repeat, interval, 0);
        run(t, rec, 2);
        QCOMPARE(rec.events, QStringList({ "开始发送文件: " + path + "...", "文件发送完成！", "end 0", "end 1" }));
        const QList<Call> calls = transmits();
        QCOMPARE(calls.size(), times.size() * repeat);
        QStringList order;
        for (int i = 0; i < calls.size(); ++i) {
            order << QString::number(FakeDriver::records<CanTransmitRecord>(calls[i]).first().id);
            QCOMPARE(calls[i].args.at(0), quint64(FakeDriver::channelHandle(0)));
            if (i > 0) {
                const qint64 gap = gapMs(calls[i - 1], calls[i]);
                QVERIFY2(gap >= minGaps[i - 1] && gap < 2000, qPrintable(QString("gap %1: %2 ms").arg(i).arg(gap)));
            }
        }
        QCOMPARE(order.join(' '), repeat == 2 ? QString("1 2 1 2") : QString("1 2 3"));
        const QList<ModelItem> items = takePendingFrames();
        QCOMPARE(items.size(), calls.size());
        QVERIFY(items.last().channel == 0 && items.last().timeStamp == "无" && items.last().dataText == "x| 5A ");
    }

    void fileRows_data()
    {
        // sent: "<ch> <name> <id word>:<data hex> <length> <flags>"
        columns<uint, QString, QString>({ "fileChannel", "row", "sent" });
        QTest::newRow("standard data zh") << 0u << csvRow("1", "0x123", "标准帧", "数据帧", "3", "CAN", "x| 01 02 03 ")
                                          << "0 TransmitCan 123:010203 3 0";
        QTest::newRow("extended zht") << 0u << csvRow("1", "0x1ABCDEF", "擴展幀", "數據幀", "2", "CAN", "x| AA BB ")
                                      << "0 TransmitCan 81abcdef:aabb 2 0";
        QTest::newRow("standard remote en")
            << 0u << csvRow("1", "0x7FF", "Standard Frame", "Remote Frame", "0", "CAN", "x| ")
            << "0 TransmitCan 400007ff: 0 0";
        QTest::newRow("unknown format is extended")
            << 0u << csvRow("1", "0x10", "", "数据帧", "0", "CAN", "x| ") << "0 TransmitCan 80000010: 0 0";
        QTest::newRow("type compared case-sensitively")
            << 0u << csvRow("1", "0x10", "Standard Frame", "Data Frame", "0", "CAN", "x| ")
            << "0 TransmitCan 40000010: 0 0";
        QTest::newRow("FD switch zh") << 0u << csvRow("1", "0x10", "标准帧", "数据帧", "2", "CANFD-加速", "x| 01 02 ")
                                      << "0 TransmitCanFd 10:0102 2 1";
        QTest::newRow("FD without switch")
            << 0u << csvRow("1", "0x10", "标准帧", "数据帧", "1", "CANFD", "x| 09 ") << "0 TransmitCanFd 10:09 1 0";
        QTest::newRow("length cuts the data")
            << 0u << csvRow("1", "0x10", "标准帧", "数据帧", "2", "CAN", "x| 01 02 03 ") << "0 TransmitCan 10:0102 2 0";
        QTest::newRow("channel from the row: 2")
            << 2u << stdRow("10:00:00.000", "0x1", "2") << "1 TransmitCan 1:5a 1 0";
        QTest::newRow("fixed channel overrides the row")
            << 1u << stdRow("10:00:00.000", "0x1", "1") << "1 TransmitCan 1:5a 1 0";
        QTest::newRow("short rows skipped")
            << 0u << "\njust text\n1,2,3,4,5,6,7,8,9,10\n" + stdRow("10:00:00.000", "0x2") << "0 TransmitCan 2:5a 1 0";
        QTest::newRow("eleven empty fields: empty extended remote") << 0u << ",,,,,,,,,,"
                                                                    << "0 TransmitCan c0000000: 0 0";
    }
    void fileRows()
    {
        QFETCH(uint, fileChannel);
        QFETCH(QString, row);
        QFETCH(QString, sent);
        const QString path = csvFile({ row });
        sendThread t(0);
        Recorder rec(t);
        t.setFileSend(path, 1, 0, fileChannel);
        run(t, rec, 2);
        QCOMPARE(transmits().size(), 1);
        const Call c = transmits().first();
        const int length = uint8_t(c.records.at(4));
        const QString got = QString("%1 %2 %3 %4 %5")
                                .arg(c.args.at(0) == FakeDriver::channelHandle(1) ? 1 : 0)
                                .arg(c.name, sentFrames(sent.section(':', 1).section(' ', 0, 0).size() / 2).first())
                                .arg(length)
                                .arg(c.name == "TransmitCanFd" ? int(uint8_t(c.records.at(5))) : 0);
        QCOMPARE(got, sent);
        QCOMPARE(c.args.at(1), quint64(1));
        QCOMPARE(takePendingFrames().value(0).channel, uint(sent.at(0).digitValue()));
    }

    void fileErrors_data()
    {
        // lines: "%1" is the path
        columns<int, bool, int, QString>({ "lang", "exists", "repeat", "lines" });
        QTest::newRow("missing file en") << 2 << false << 1 << "send file: %1...|File transmission Error!";
        QTest::newRow("repeat 0 sends nothing") << 1 << true << 0 << "開始發送文件: %1...|文件發送完成！";
        QTest::newRow("repeat -3 sends nothing") << 0 << true << -3 << "开始发送文件: %1...|文件发送完成！";
    }
    void fileErrors()
    {
        QFETCH(int, lang);
        QFETCH(bool, exists);
        QFETCH(int, repeat);
        QFETCH(QString, lines);
        setLanguageCode(lang);
        const QString path = exists ? csvFile({ stdRow("10:00:00.000", "0x001") }) : m_dir.filePath("no such file.csv");
        sendThread t(1);
        Recorder rec(t);
        t.setFileSend(path, repeat, 0, 2);
        run(t, rec, 2);
        QCOMPARE(rec.events.join('|'), lines.arg(path) + "|end 0|end 1");
        QCOMPARE(transmits().size(), 0);
    }

    void logReplay_data()
    {
        // sent: per frame "<ch> <id word>:<data hex> <length> <flags>", FD records marked "fd"
        columns<QString, uint, uint, QStringList>({ "format", "fileChannel", "interval", "lines" });
        for (const QString format : { "asc", "blf", "trc", "log" }) {
            QTest::addRow("%s, the file's channels, recorded timing", qPrintable(format))
                << format << 2u << sendThread::kRecordedTiming
                << QStringList { "1帧的通道不是1或2，不发送", "1个错误帧不发送" };
            QTest::addRow("%s, channel 2, fixed interval", qPrintable(format))
                << format << 1u << 0u << QStringList { "1个错误帧不发送" };
        }
    }
    void logReplay()
    {
        QFETCH(QString, format);
        QFETCH(uint, fileChannel);
        QFETCH(uint, interval);
        QFETCH(QStringList, lines);
        const QString path = logFile(format, replayFrames());
        sendThread t(0);
        Recorder rec(t);
        t.setFileSend(path, 1, interval, fileChannel);
        run(t, rec, 2);
        QCOMPARE(rec.events,
            QStringList("开始发送文件: " + path + "...") + lines + QStringList({ "文件发送完成！", "end 0", "end 1" }));
        // Every frame a bus can carry, in file order, on the file's channel or the chosen one.
        QStringList expected;
        for (const LogFrame &f : replayFrames()) {
            if (f.errorFrame || (fileChannel == 2 && f.channel > 1))
                continue;
            const quint32 word = f.id | (f.extended ? 0x80000000u : 0) | (f.remote ? 0x40000000u : 0);
            QByteArray data(reinterpret_cast<const char *>(f.data.data()), f.remote ? 0 : f.length);
            expected << QString("%1 %2%3:%4 %5 %6")
                            .arg(fileChannel == 2 ? f.channel : fileChannel)
                            .arg(f.canFd ? "fd " : "")
                            .arg(word, 0, 16)
                            .arg(QString(data.toHex()))
                            .arg(f.length)
                            .arg(f.bitRateSwitch ? 1 : 0);
        }
        QStringList sent;
        const QList<Call> calls = transmits();
        for (const Call &c : calls) {
            const bool fd = c.name == "TransmitCanFd";
            const int length = uint8_t(c.records.at(4));
            const bool remote = c.records.at(3) & 0x40;
            sent << QString("%1 %2%3:%4 %5 %6")
                        .arg(c.args.at(0) == FakeDriver::channelHandle(1) ? 1 : 0)
                        .arg(fd ? "fd " : "")
                        .arg(qFromLittleEndian<quint32>(c.records.constData()), 0, 16)
                        .arg(QString(c.records.mid(8, remote ? 0 : length).toHex()))
                        .arg(length)
                        .arg(fd ? int(uint8_t(c.records.at(5))) : 0);
        }
        QCOMPARE(sent, expected);
        if (interval == sendThread::kRecordedTiming) // 60, 40, 30, 50 ms apart in the file
            for (int i = 1; i < calls.size(); ++i)
                QVERIFY2(gapMs(calls.first(), calls[i]) >= QList<int>({ 0, 59, 99, 129, 179 }).at(i),
                    qPrintable(QString("frame %1 at %2 ms").arg(i).arg(gapMs(calls.first(), calls[i]))));
        QCOMPARE(takePendingFrames().size(), calls.size());
    }

    void logReplayErrors_data()
    {
        // damage: text appended to a good file, "cut N" drops its last N bytes, "header" puts a line before it;
        // where: what follows the path in the reason, %1 the appended line
        columns<QString, int, QString, QString>({ "format", "lang", "damage", "where" });
        QTest::newRow("asc, bad hex") << "asc" << 2 << "   0.300000 1  123             Rx   d 2 0G 01\n"
                                      << ": line %1: bad record";
        QTest::newRow("trc, length over 64") << "trc" << 0 << "      9       300.000 FD  1     0123 Rx -  F    00\n"
                                             << "：第%1行：";
        QTest::newRow("candump, unknown text") << "log" << 1 << "(1.300000) can0 hello\n"
                                               << "：第%1行：";
        QTest::newRow("blf, truncated") << "blf" << 2 << "cut 20"
                                        << ": byte offset 144: file is truncated";
        QTest::newRow("asc, not a log") << "asc" << 2 << "header"
                                        << ": line 1: bad header";
    }
    void logReplayErrors()
    {
        QFETCH(QString, format);
        QFETCH(int, lang);
        QFETCH(QString, damage);
        QFETCH(QString, where);
        setLanguageCode(lang);
        QString path = logFile(format, replayFrames().mid(0, 5));
        QByteArray bytes = readFile(path);
        if (damage == "header")
            bytes = "no header here\n" + bytes;
        else if (damage.startsWith("cut "))
            bytes.chop(damage.mid(4).toInt());
        else
            bytes += damage.toUtf8();
        QVERIFY(writeFile(path, bytes));
        const int badLine = bytes.count('\n');
        sendThread t(0);
        Recorder rec(t);
        t.setFileSend(path, 1, 0, 2);
        run(t, rec, 2);
        // The reason names the file and the line or offset; nothing at all was sent.
        QCOMPARE(rec.events.size(), 5);
        if (where.contains("%1"))
            where = where.arg(badLine);
        QVERIFY2(rec.events.at(1).startsWith(path + where), qPrintable(rec.events.at(1)));
        const QString error = Lang::pick(lang, "文件发送错误！", "文件發送錯誤！", "File transmission Error!");
        QCOMPARE(rec.events.mid(2), QStringList({ error, "end 0", "end 1" }));
        QCOMPARE(transmits().size(), 0);
        QCOMPARE(takePendingFrames().size(), 0);
    }
};

// Holds a worker after its run() has returned, as a slow end of the thread
// would: the window in which a late stop() used to be kept for the next run.
template <class Worker> class HeldTail : public Worker {
public:
    using Worker::Worker;
    ~HeldTail() override
    {
        go.release(100);
        this->wait();
    }
    QSemaphore ended, go;

protected:
    void run() override
    {
        Worker::run();
        ended.release();
        go.acquire();
    }
};

// The stop flags and the configuration of the two workers, stopped or set at
// the wrong moment from the GUI thread.
class WorkerRaceTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void init()
    {
        SettingsStore::load(m_dir.filePath("setdb.txt"));
        FakeDriver::install();
        takePendingFrames();
        setLanguageCode(0);
    }
    void cleanupTestCase() { FakeDriver::uninstall(); }

    // when: "tail" = stop() after the previous run cleared its flag but before
    // its thread finished; "idle" = stop() before start(), which still ends
    // that run at once.
    void receiveStop_data()
    {
        columns<QString, bool>({ "when", "receives" });
        QTest::newRow("late stop of the ended run") << "tail" << true;
        QTest::newRow("stop before start") << "idle" << false;
    }
    void receiveStop()
    {
        QFETCH(QString, when);
        QFETCH(bool, receives);
        HeldTail<recvThread> rx(0);
        if (when == "tail") {
            rx.start(); // the channel is closed: this run ends at once
            QVERIFY(rx.ended.tryAcquire(1, 5000));
            rx.stop();
            rx.go.release();
            QVERIFY(rx.wait(5000));
        } else {
            rx.stop();
        }
        FakeDriver::openChannels(true, false);
        FakeDriver::queueCanRead(0, { FakeDriver::canRecord(0x123, "\x01") });
        rx.go.release();
        rx.start();
        QList<ModelItem> got;
        if (receives) {
            QTRY_VERIFY_WITH_TIMEOUT((got += takePendingFrames(), !got.isEmpty()), 5000);
            QCOMPARE(got.first().idText, QString("0x123"));
            FakeDriver::openChannels(false, false);
        }
        QVERIFY(rx.ended.tryAcquire(1, 5000));
        QVERIFY(rx.wait(5000));
        QCOMPARE(FakeDriver::callCount("ReceiveCan") > 0, receives);
        QVERIFY(!rx.stopRequested());
    }

    // A stop pressed while nothing is sent (the stop button of the other
    // panel during a file send, a double click), or one that lands as a count
    // send ends, belongs to no later run: the next file send goes through.
    void sendStop_data()
    {
        columns<QString>({ "when" });
        QTest::newRow("stray stop while idle") << "idle";
        QTest::newRow("late stop of an ended count send") << "tail";
    }
    void sendStop()
    {
        QFETCH(QString, when);
        FakeDriver::openChannels(true, true);
        HeldTail<sendThread> t(0);
        Recorder rec(t);
        if (when == "tail") {
            const uint8_t data[1] = { 7 };
            t.setSend(0x10, 0, 0, 0, 0, data, 1, 0, 1, 1, 0, 0, 0);
            t.start();
            QVERIFY(t.ended.tryAcquire(1, 5000));
            t.stop();
            t.go.release();
            QVERIFY(t.wait(5000));
            QCoreApplication::sendPostedEvents(); // that run's lines and endSend
        } else {
            t.stop();
        }
        const QString path = m_dir.filePath("one.csv");
        writeFile(path, ("header\n" + stdRow("10:00:00.000", "0x321") + "\n").toUtf8());
        FakeDriver::clearCalls();
        rec.events.clear();
        QVERIFY(t.setFileSend(path, 1, 0, 0));
        t.go.release();
        t.start();
        QVERIFY(t.ended.tryAcquire(1, 5000));
        QTRY_COMPARE(rec.ends(), 2);
        QCOMPARE(rec.events.mid(1, 1), QStringList("文件发送完成！"));
        QCOMPARE(sentFrames(), QStringList("321:"));
    }

    // A send panel re-enabled under a running endless send used to reach
    // setSend, which rewrote the frame the thread was sending from.
    void configureWhileRunning()
    {
        FakeDriver::openChannels(true, true);
        sendThread t(0);
        Recorder rec(t);
        const uint8_t first[1] = { 0x11 }, second[1] = { 0x22 };
        QVERIFY(t.setSend(0x100, 0, 0, 0, 0, first, 1, 0, -1, 1, 1, 0, 0));
        t.start();
        QTRY_VERIFY(transmits().size() >= 3);
        QVERIFY(!t.setSend(0x200, 0, 0, 0, 0, second, 1, 0, -1, 1, 1, 0, 0));
        QVERIFY(!t.setFileSend(m_dir.filePath("x.csv"), 1, 0, 0));
        const int before = transmits().size();
        QTRY_VERIFY(transmits().size() >= before + 5);
        t.stop();
        QTRY_COMPARE(rec.ends(), 1);
        QVERIFY(t.wait(5000));
        const QStringList sent = sentFrames(1);
        QCOMPARE(QSet<QString>(sent.begin(), sent.end()), QSet<QString> { "100:11" });
        QVERIFY(t.setSend(0x200, 0, 0, 0, 0, second, 1, 0, 1, 1, 0, 0, 0)); // idle again: taken
    }
};

OSTREL_TEST_MAIN(QCoreApplication, new tst_SendThread, new WorkerRaceTest)
#include "tst_sendthread.moc"
