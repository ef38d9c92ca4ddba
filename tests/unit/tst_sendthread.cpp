// The send thread against the recording fake driver: batches, increments and
// wraps, log lines, failures and stopping in the count mode; CSV parsing,
// timing and channels in the file mode.
#include "AppPaths.h"
#include "DeviceLayer.h"
#include "ModelItem.h"
#include "SettingsStore.h"
#include "common/FakeDriver.h"
#include "sendThread.h"

#include <QTemporaryDir>
#include <QTranslator>
#include <QtTest>

namespace {
using FakeDriver::Call;

// Everything the thread reports, in arrival order on the test's thread.
struct Recorder {
    QObject context;
    QStringList lines;
    QList<uint> ends;
    QStringList events;

    explicit Recorder(sendThread &t)
    {
        QObject::connect(&t, &sendThread::log, &context, [this](QString msg) {
            lines << msg;
            events << msg;
        });
        QObject::connect(&t, &sendThread::endSend, &context, [this](uint ch) {
            ends << ch;
            events << QStringLiteral("end %1").arg(ch);
        });
    }
};

QString csvRow(const QString &time, const QString &channel, const QString &id, const QString &frame,
    const QString &type, const QString &dlc, const QString &protocol, const QString &data)
{
    return QStringLiteral("7,=\"") + time + QStringLiteral("\",0x1F,") + channel + QStringLiteral(",Rx,") + id
        + QLatin1Char(',') + frame + QLatin1Char(',') + type + QLatin1Char(',') + dlc + QLatin1Char(',') + protocol
        + QLatin1Char(',') + data;
}

QString stdRow(const QString &time, const QString &id, const QString &channel = QStringLiteral("1"))
{
    return csvRow(time, channel, id, QStringLiteral("标准帧"), QStringLiteral("数据帧"), QStringLiteral("1"),
        QStringLiteral("CAN"), QStringLiteral("x| 5A "));
}

qint64 gapMs(const Call &a, const Call &b) { return (b.nsecs - a.nsecs) / 1000000; }

QByteArray dataOf(const Call &call, int length)
{
    if (call.name == QLatin1String("TransmitCanFd"))
        return QByteArray(
            reinterpret_cast<const char *>(FakeDriver::records<CanFdTransmitRecord>(call).first().data), length);
    return QByteArray(
        reinterpret_cast<const char *>(FakeDriver::records<CanTransmitRecord>(call).first().data), length);
}

uint32_t idOf(const Call &call)
{
    if (call.name == QLatin1String("TransmitCanFd"))
        return FakeDriver::records<CanFdTransmitRecord>(call).first().id;
    return FakeDriver::records<CanTransmitRecord>(call).first().id;
}

QList<Call> transmits()
{
    QList<Call> out;
    for (const Call &c : FakeDriver::calls()) {
        if (c.name.startsWith(QLatin1String("Transmit")))
            out << c;
    }
    return out;
}
} // namespace

class tst_SendThread : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void countBatches_data();
    void countBatches();
    void logLines_data();
    void logLines();
    void failure_data();
    void failure();
    void identifierIncrement_data();
    void identifierIncrement();
    void dataIncrement_data();
    void dataIncrement();
    void recordLayout_data();
    void recordLayout();
    void keepSendingUntilStopped();
    void stopBeforeStartAndSetSendClears();
    void closedChannelSendsNothing();

    void fileFixedInterval();
    void fileRecordedTimingAcrossMidnight();
    void fileRecordedTimingRestartsEachPass();
    void fileRowParsing_data();
    void fileRowParsing();
    void fileShortRows();
    void fileRepeat_data();
    void fileRepeat();
    void fileRepeatForeverUntilStopped();
    void fileMissing();
    void fileNoChannelOpen();
    void fileInEnglishCatalogue();

private:
    QString writeFile(const QStringList &rows);
    void runCount(sendThread &t, Recorder &rec);
    void runFile(sendThread &t, Recorder &rec, int timeoutMs = 10000);

    QTemporaryDir m_dir;
    int m_files = 0;
};

void tst_SendThread::initTestCase()
{
    QVERIFY(m_dir.isValid());
    registerModelItemTypes();
}

void tst_SendThread::init()
{
    SettingsStore::load(m_dir.filePath(QStringLiteral("setdb.txt")));
    FakeDriver::install();
    FakeDriver::openChannels(true, true);
    takePendingFrames();
    setLanguageCode(0);
}

void tst_SendThread::cleanup()
{
    resetDeviceState();
    setLanguageCode(0);
}

QString tst_SendThread::writeFile(const QStringList &rows)
{
    const QString path = m_dir.filePath(QStringLiteral("frames%1.csv").arg(++m_files));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QString();
    QByteArray text = "序号,系统时间,时间标识,通道,收/发,ID,Frame,类型,DLC,CAN-FD,数据\n";
    for (const QString &row : rows)
        text += row.toUtf8() + '\n';
    file.write(text);
    return path;
}

void tst_SendThread::runCount(sendThread &t, Recorder &rec)
{
    t.start();
    QTRY_COMPARE_WITH_TIMEOUT(rec.ends.size(), 1, 10000);
    QVERIFY(t.wait(5000));
}

void tst_SendThread::runFile(sendThread &t, Recorder &rec, int timeoutMs)
{
    t.start();
    QTRY_COMPARE_WITH_TIMEOUT(rec.ends.size(), 2, timeoutMs);
    QVERIFY(t.wait(5000));
    QCOMPARE(rec.ends, (QList<uint> { 0, 1 }));
}

void tst_SendThread::countBatches_data()
{
    QTest::addColumn<qint64>("count");
    QTest::addColumn<uint>("framesPerSend");
    QTest::addColumn<QList<quint64>>("batches");
    QTest::addColumn<uint>("framesPerSendAfter");

    QTest::newRow("5 by 2") << qint64(5) << 2u << QList<quint64> { 2, 2, 1 } << 1u;
    QTest::newRow("3 by 1") << qint64(3) << 1u << QList<quint64> { 1, 1, 1 } << 1u;
    QTest::newRow("4 by 4") << qint64(4) << 4u << QList<quint64> { 4 } << 4u;
    QTest::newRow("2 by 5") << qint64(2) << 5u << QList<quint64> { 2 } << 2u;
    QTest::newRow("2500 by 1000") << qint64(2500) << 1000u << QList<quint64> { 1000, 1000, 500 } << 500u;
    QTest::newRow("0 frames") << qint64(0) << 3u << QList<quint64> {} << 3u;
}

void tst_SendThread::countBatches()
{
    QFETCH(qint64, count);
    QFETCH(uint, framesPerSend);
    QFETCH(QList<quint64>, batches);

    sendThread t(0);
    Recorder rec(t);
    const uint8_t data[8] = { 1, 2, 3, 4, 5, 6, 7, 8 };
    t.setSend(0x100, 0, 0, 0, 0, data, 8, 0, count, framesPerSend, 0, 0, 0);
    runCount(t, rec);

    QList<quint64> sent;
    for (const Call &c : transmits()) {
        QCOMPARE(c.name, QStringLiteral("TransmitCan"));
        QCOMPARE(c.args.at(0), quint64(FakeDriver::channelHandle(0)));
        QCOMPARE(quint64(FakeDriver::records<CanTransmitRecord>(c).size()), c.args.at(1));
        sent << c.args.at(1);
    }
    QCOMPARE(sent, batches);
    QTEST(t.framesPerSend(), "framesPerSendAfter");

    const QString start = QStringLiteral("通道: 1开始发送数据：数据总帧数:%1，发送间隔:0ms...").arg(count);
    QCOMPARE(rec.events, (QStringList { start, QStringLiteral("通道1数据发送完成！"), QStringLiteral("end 0") }));

    const QList<ModelItem> items = takePendingFrames();
    QCOMPARE(qint64(items.size()), count);
    for (const ModelItem &item : items) {
        QCOMPARE(item.direction, 0u);
        QCOMPARE(item.channel, 0u);
        QCOMPARE(item.timeStamp, QStringLiteral("无"));
        QCOMPARE(item.dataText, QStringLiteral("x| 01 02 03 04 05 06 07 08 "));
    }
}

void tst_SendThread::logLines_data()
{
    QTest::addColumn<int>("lang");
    QTest::addColumn<uint>("channel");
    QTest::addColumn<QString>("scenario");
    QTest::addColumn<QStringList>("lines");

    QTest::newRow("count zh") << 0 << 0u << "count"
                              << QStringList { "通道: 1开始发送数据：数据总帧数:1，发送间隔:3ms...",
                                     "通道1数据发送完成！" };
    QTest::newRow("count zht") << 1 << 1u << "count"
                               << QStringList { "通道: 2開始發送數據：數據縂幀數:1，發送間隔:3ms...",
                                      "通道2數據發送完成！" };
    QTest::newRow("count en") << 2 << 0u << "count"
                              << QStringList {
                                     "Channel:1 Start sending data: Total frames of data:1, sending interval:3ms...",
                                     "channel1Data transmission completed!"
                                 };
    QTest::newRow("keep zh") << 0 << 1u << "keep"
                             << QStringList { "通道: 2开始发送数据：一直发送，发送间隔:3ms...", "通道2数据中止发送！" };
    QTest::newRow("keep zht") << 1 << 0u << "keep"
                              << QStringList { "通道: 1開始發送數據：一直發送，發送間隔:3ms...",
                                     "通道1數據中止發送！" };
    QTest::newRow("keep en") << 2 << 1u << "keep"
                             << QStringList { "Channel:2 Start sending data: Keep sending, sending interval:3ms...",
                                    "channel2Data Aborted Sending!" };
    QTest::newRow("classic failure zh") << 0 << 0u << "failCan"
                                        << QStringList { "通道: 1开始发送数据：数据总帧数:1，发送间隔:3ms...",
                                               "通道1CAN数据发送失败！", "通道1数据发送完成！" };
    QTest::newRow("classic failure zht") << 1 << 0u << "failCan"
                                         << QStringList { "通道: 1開始發送數據：數據縂幀數:1，發送間隔:3ms...",
                                                "通道1CAN數據發送失敗！", "通道1數據發送完成！" };
    QTest::newRow("classic failure en")
        << 2 << 1u << "failCan"
        << QStringList { "Channel:2 Start sending data: Total frames of data:1, sending interval:3ms...",
               "channel2CAN Data sending failed！", "channel2Data transmission completed!" };
    QTest::newRow("FD failure zh") << 0 << 1u << "failFd"
                                   << QStringList { "通道: 2开始发送数据：数据总帧数:1，发送间隔:3ms...",
                                          "通道2CANFD数据发送失败！", "通道2数据发送完成！" };
    QTest::newRow("FD failure zht") << 1 << 1u << "failFd"
                                    << QStringList { "通道: 2開始發送數據：數據縂幀數:1，發送間隔:3ms...",
                                           "通道2CANFD數據發送失敗！", "通道2數據發送完成！" };
    QTest::newRow("FD failure en")
        << 2 << 0u << "failFd"
        << QStringList { "Channel:1 Start sending data: Total frames of data:1, sending interval:3ms...",
               "channel1CANFD Data sending failed！", "channel1Data transmission completed!" };
    QTest::newRow("unknown language count") << 3 << 0u << "count" << QStringList {};
    QTest::newRow("unknown language keep") << -1 << 1u << "keep" << QStringList {};
    QTest::newRow("unknown language failure") << 9 << 0u << "failFd" << QStringList {};
}

void tst_SendThread::logLines()
{
    QFETCH(int, lang);
    QFETCH(uint, channel);
    QFETCH(QString, scenario);
    setLanguageCode(lang);

    sendThread t(channel);
    Recorder rec(t);
    const uint8_t data[2] = { 0xAA, 0x55 };
    const bool keep = scenario == QLatin1String("keep");
    const bool fd = scenario == QLatin1String("failFd");
    if (scenario.startsWith(QLatin1String("fail")))
        FakeDriver::setResult(fd ? QStringLiteral("TransmitCanFd") : QStringLiteral("TransmitCan"), 0);
    t.setSend(0x55, 0, 0, fd ? 1 : 0, 0, data, 2, 0, keep ? -1 : 1, 1, 3, 0, 0);
    t.start();
    if (keep) {
        QTRY_VERIFY_WITH_TIMEOUT(FakeDriver::callCount(QStringLiteral("TransmitCan")) >= 2, 5000);
        t.stop();
    }
    QTRY_COMPARE_WITH_TIMEOUT(rec.ends.size(), 1, 10000);
    QVERIFY(t.wait(5000));
    QTEST(rec.lines, "lines");
    QCOMPARE(rec.ends, QList<uint> { channel });
    QCOMPARE(rec.events.last(), QStringLiteral("end %1").arg(channel));
}

void tst_SendThread::failure_data()
{
    QTest::addColumn<QList<uint>>("answers"); // the driver's answers to TransmitCan in turn
    QTest::addColumn<qint64>("count");
    QTest::addColumn<uint>("framesPerSend");
    QTest::addColumn<int>("calls");
    QTest::addColumn<int>("shown"); // transmitted frames that reached the list
    QTest::addColumn<QStringList>("lines"); // after the start line

    QTest::newRow("refused at once") << QList<uint> { 0 } << qint64(5) << 1u << 1 << 0
                                     << QStringList { "通道1CAN数据发送失败！" };
    QTest::newRow("answer 2 for a batch of 2 is a failure")
        << QList<uint> { 2 } << qint64(4) << 2u << 1 << 0 << QStringList { "通道1CAN数据发送失败！" };
    QTest::newRow("refused after one success")
        << QList<uint> { 1, 0 } << qint64(5) << 1u << 2 << 1 << QStringList { "通道1CAN数据发送失败！" };
    QTest::newRow("last batch refused still reaches the count") << QList<uint> { 1,
        0 } << qint64(2) << 1u << 2 << 1 << QStringList { "通道1CAN数据发送失败！", "通道1数据发送完成！" };
}

void tst_SendThread::failure()
{
    QFETCH(QList<uint>, answers);
    QFETCH(qint64, count);
    QFETCH(uint, framesPerSend);
    FakeDriver::queueResults(QStringLiteral("TransmitCan"), answers);
    FakeDriver::setResult(QStringLiteral("TransmitCan"), 1);

    sendThread t(0);
    Recorder rec(t);
    t.setSend(0x1, 1, 0, 0, 0, nullptr, 0, 0, count, framesPerSend, 0, 0, 0);
    runCount(t, rec);
    QTEST(int(transmits().size()), "calls");
    QTEST(int(takePendingFrames().size()), "shown");
    QTEST(QStringList(rec.lines.mid(1)), "lines");
}

void tst_SendThread::identifierIncrement_data()
{
    QTest::addColumn<uint>("id");
    QTest::addColumn<uint>("extended");
    QTest::addColumn<uint>("remote");
    QTest::addColumn<int>("increment");
    QTest::addColumn<QList<uint>>("words");

    QTest::newRow("standard wraps after 0x7FF")
        << 0x7FEu << 0u << 0u << 1 << QList<uint> { 0x7FE, 0x7FF, 0x000, 0x001 };
    QTest::newRow("standard remote wraps")
        << 0x7FFu << 0u << 1u << 1 << QList<uint> { 0x400007FF, 0x40000000, 0x40000001, 0x40000002 };
    QTest::newRow("extended wraps after 0x1FFFFFFF")
        << 0x1FFFFFFEu << 1u << 0u << 1 << QList<uint> { 0x9FFFFFFE, 0x9FFFFFFF, 0x80000000, 0x80000001 };
    QTest::newRow("extended passes 0x7FF")
        << 0x7FFu << 1u << 1u << 1 << QList<uint> { 0xC00007FF, 0xC0000800, 0xC0000801, 0xC0000802 };
    QTest::newRow("no increment") << 0x123u << 0u << 0u << 0 << QList<uint> { 0x123, 0x123, 0x123, 0x123 };
}

void tst_SendThread::identifierIncrement()
{
    QFETCH(uint, id);
    QFETCH(uint, extended);
    QFETCH(uint, remote);
    QFETCH(int, increment);

    // Two frames per call: the increment runs per frame, also inside a batch.
    sendThread t(1);
    Recorder rec(t);
    t.setSend(id, increment, extended, 1, 0, nullptr, 0, 0, 4, 2, 0, remote, 0);
    runCount(t, rec);
    QList<uint> words;
    for (const Call &c : transmits()) {
        QCOMPARE(c.name, QStringLiteral("TransmitCanFd"));
        QCOMPARE(c.args.at(0), quint64(FakeDriver::channelHandle(1)));
        for (const CanFdTransmitRecord &r : FakeDriver::records<CanFdTransmitRecord>(c))
            words << r.id;
    }
    QTEST(words, "words");
}

void tst_SendThread::dataIncrement_data()
{
    QTest::addColumn<uint>("canFd");
    QTest::addColumn<uint>("length");
    QTest::addColumn<QByteArray>("start"); // handed to setSend with `length`
    QTest::addColumn<QList<QByteArray>>("frames"); // data bytes of each frame, as many as start has

    QTest::newRow("FF FF wraps to 00 00")
        << 0u << 2u << QByteArray::fromHex("ffff")
        << QList<QByteArray> { QByteArray::fromHex("ffff"), QByteArray::fromHex("0000"), QByteArray::fromHex("0100") };
    QTest::newRow("FF 00 carries into byte 1")
        << 0u << 2u << QByteArray::fromHex("ff00")
        << QList<QByteArray> { QByteArray::fromHex("ff00"), QByteArray::fromHex("0001"), QByteArray::fromHex("0101") };
    QTest::newRow("no carry past the length")
        << 0u << 1u << QByteArray::fromHex("ff55")
        << QList<QByteArray> { QByteArray::fromHex("ff00"), QByteArray::fromHex("0000"), QByteArray::fromHex("0100") };
    QTest::newRow("carry through two bytes") << 0u << 3u << QByteArray::fromHex("ffff7f")
                                             << QList<QByteArray> { QByteArray::fromHex("ffff7f"),
                                                    QByteArray::fromHex("000080"), QByteArray::fromHex("010080") };
    QTest::newRow("length 0 sends and changes nothing")
        << 0u << 0u << QByteArray::fromHex("ff")
        << QList<QByteArray> { QByteArray::fromHex("00"), QByteArray::fromHex("00"), QByteArray::fromHex("00") };
    QTest::newRow("64 FD bytes all wrap") << 1u << 64u << QByteArray(64, char(0xFF))
                                          << QList<QByteArray> { QByteArray(64, char(0xFF)), QByteArray(64, char(0)),
                                                 QByteArray(1, char(1)) + QByteArray(63, char(0)) };
}

void tst_SendThread::dataIncrement()
{
    QFETCH(uint, canFd);
    QFETCH(uint, length);
    QFETCH(QByteArray, start);
    QFETCH(QList<QByteArray>, frames);

    sendThread t(0);
    Recorder rec(t);
    t.setSend(0x10, 0, 0, canFd, 0, reinterpret_cast<const uint8_t *>(start.constData()), length, 1, 3, 1, 0, 0, 0);
    runCount(t, rec);
    const QList<Call> calls = transmits();
    QCOMPARE(calls.size(), frames.size());
    for (int i = 0; i < calls.size(); ++i)
        QCOMPARE(dataOf(calls.at(i), start.size()).toHex(), frames.at(i).toHex());
}

void tst_SendThread::recordLayout_data()
{
    QTest::addColumn<uint>("canFd");
    QTest::addColumn<uint>("length");
    QTest::addColumn<int>("bitRateSwitch");
    QTest::addColumn<uint>("transmitType");
    QTest::addColumn<int>("lengthByte");
    QTest::addColumn<QString>("protocol");

    QTest::newRow("classic 8") << 0u << 8u << 1 << 2u << 8 << "CAN";
    QTest::newRow("classic 12 limited to 8") << 0u << 12u << 0 << 3u << 8 << "CAN";
    QTest::newRow("FD 64 switch") << 1u << 64u << 1 << 1u << 64 << "CANFD-加速";
    QTest::newRow("FD 70 limited to 64") << 1u << 70u << 0 << 0u << 64 << "CANFD";
    QTest::newRow("FD flags byte 2 passed unchanged") << 1u << 5u << 2 << 0u << 5 << "CANFD";
}

void tst_SendThread::recordLayout()
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
    runCount(t, rec);
    const QList<Call> calls = transmits();
    QCOMPARE(calls.size(), 1);
    const QByteArray raw = calls.first().records;
    // Offsets of the driver's records, read from the bytes rather than the struct.
    QCOMPARE(raw.size(), canFd ? 76 : 20);
    QCOMPARE(qFromLittleEndian<quint32>(raw.constData()), 0x80000321u);
    QCOMPARE(int(uint8_t(raw.at(4))), lengthByte);
    QCOMPARE(int(uint8_t(raw.at(5))), canFd ? bitRateSwitch : 0);
    QCOMPARE(raw.mid(6, 2), QByteArray(2, '\0'));
    QCOMPARE(uint8_t(raw.at(8)), uint8_t(0x80));
    QCOMPARE(uint8_t(raw.at(8 + lengthByte - 1)), uint8_t(0x80 + lengthByte - 1));
    QCOMPARE(qFromLittleEndian<quint32>(raw.constData() + (canFd ? 72 : 16)), transmitType);

    const QList<ModelItem> items = takePendingFrames();
    QCOMPARE(items.size(), 1);
    QTEST(items.first().protocolText, "protocol");
    QCOMPARE(items.first().dlcText, QString::number(lengthByte));
    QCOMPARE(items.first().dataText.size(), 3 + 3 * lengthByte);
}

void tst_SendThread::keepSendingUntilStopped()
{
    sendThread t(1);
    Recorder rec(t);
    t.setSend(0x7FF, 1, 0, 0, 0, nullptr, 0, 0, -1, 1, 2, 0, 0);
    t.start();
    QTRY_VERIFY_WITH_TIMEOUT(FakeDriver::callCount(QStringLiteral("TransmitCan")) >= 5, 5000);
    QVERIFY(t.isRunning());
    QVERIFY(t.remainingCount() > (qint64(1) << 62));
    t.stop();
    QTRY_COMPARE_WITH_TIMEOUT(rec.ends, QList<uint> { 1 }, 5000);
    QVERIFY(t.wait(5000));
    QVERIFY(!t.stopRequested());
    QCOMPARE(rec.lines, (QStringList { "通道: 2开始发送数据：一直发送，发送间隔:2ms...", "通道2数据中止发送！" }));
    const QList<ModelItem> items = takePendingFrames();
    QCOMPARE(items.size(), transmits().size());
    QCOMPARE(items.at(0).idText, QStringLiteral("0x7FF"));
    QCOMPARE(items.at(1).idText, QStringLiteral("0x000"));
}

void tst_SendThread::stopBeforeStartAndSetSendClears()
{
    sendThread t(0);
    {
        Recorder rec(t);
        t.setSend(0x1, 0, 0, 0, 0, nullptr, 0, 0, 3, 1, 0, 0, 0);
        t.stop();
        runCount(t, rec);
        QCOMPARE(
            rec.lines, (QStringList { "通道: 1开始发送数据：数据总帧数:3，发送间隔:0ms...", "通道1数据中止发送！" }));
        QCOMPARE(transmits().size(), 0);
    }
    {
        // A stop left over from an earlier run does not reach the next configured run.
        Recorder rec(t);
        t.stop();
        t.setSend(0x1, 0, 0, 0, 0, nullptr, 0, 0, 3, 1, 0, 0, 0);
        runCount(t, rec);
        QCOMPARE(rec.lines.last(), QStringLiteral("通道1数据发送完成！"));
        QCOMPARE(transmits().size(), 3);
    }
}

void tst_SendThread::closedChannelSendsNothing()
{
    deviceState().channelHandle[0] = 0;
    sendThread t(0);
    Recorder rec(t);
    t.setSend(0x1, 0, 0, 0, 0, nullptr, 0, 0, 3, 1, 0, 0, 0);
    runCount(t, rec);
    QCOMPARE(rec.events, (QStringList { "通道: 1开始发送数据：数据总帧数:3，发送间隔:0ms...", "end 0" }));
    QCOMPARE(transmits().size(), 0);
    QVERIFY(takePendingFrames().isEmpty());
}

void tst_SendThread::fileFixedInterval()
{
    const QString path = writeFile(
        { stdRow("10:00:00.000", "0x001"), stdRow("10:00:05.000", "0x002"), stdRow("09:00:00.000", "0x003") });
    sendThread t(1);
    Recorder rec(t);
    t.setFileSend(path, 1, 40, 0);
    runFile(t, rec);

    const QList<Call> calls = transmits();
    QCOMPARE(calls.size(), 3);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(calls.at(i).args.at(0), quint64(FakeDriver::channelHandle(0)));
        QCOMPARE(idOf(calls.at(i)), uint32_t(i + 1));
    }
    // The recorded times are ignored: every row waits the fixed interval.
    QVERIFY2(gapMs(calls.at(0), calls.at(1)) >= 38, qPrintable(QString::number(gapMs(calls.at(0), calls.at(1)))));
    QVERIFY(gapMs(calls.at(0), calls.at(1)) < 2000);
    QVERIFY(gapMs(calls.at(1), calls.at(2)) >= 38);
    QCOMPARE(rec.events, (QStringList { "开始发送文件: " + path + "...", "文件发送完成！", "end 0", "end 1" }));
    const QList<ModelItem> items = takePendingFrames();
    QCOMPARE(items.size(), 3);
    QCOMPARE(items.at(2).channel, 0u);
    QCOMPARE(items.at(2).timeStamp, QStringLiteral("无"));
    QCOMPARE(items.at(2).dataText, QStringLiteral("x| 5A "));
}

void tst_SendThread::fileRecordedTimingAcrossMidnight()
{
    const QString path = writeFile(
        { stdRow("23:59:59.900", "0x001"), stdRow("00:00:00.100", "0x002"), stdRow("00:00:00.150", "0x003") });
    sendThread t(0);
    Recorder rec(t);
    t.setFileSend(path, 1, sendThread::kRecordedTiming, 0);
    runFile(t, rec);

    const QList<Call> calls = transmits();
    QCOMPARE(calls.size(), 3);
    QCOMPARE(idOf(calls.at(0)), 1u);
    QCOMPARE(idOf(calls.at(1)), 2u);
    QCOMPARE(idOf(calls.at(2)), 3u);
    const qint64 first = gapMs(calls.at(0), calls.at(1));
    const qint64 second = gapMs(calls.at(1), calls.at(2));
    QVERIFY2(first >= 195 && first < 2000, qPrintable(QString::number(first)));
    QVERIFY2(second >= 45 && second < 2000, qPrintable(QString::number(second)));
}

void tst_SendThread::fileRecordedTimingRestartsEachPass()
{
    // Were the previous row time kept across passes, the second pass's first
    // row would count as the next day and wait almost 24 hours.
    const QString path = writeFile({ stdRow("10:00:00.000", "0x001"), stdRow("10:00:00.100", "0x002") });
    sendThread t(0);
    Recorder rec(t);
    t.setFileSend(path, 2, sendThread::kRecordedTiming, 0);
    runFile(t, rec);
    const QList<Call> calls = transmits();
    QCOMPARE(calls.size(), 4);
    QVERIFY(gapMs(calls.at(0), calls.at(1)) >= 95);
    QVERIFY(gapMs(calls.at(1), calls.at(2)) < 2000);
    QVERIFY(gapMs(calls.at(2), calls.at(3)) >= 95);
}

void tst_SendThread::fileRowParsing_data()
{
    QTest::addColumn<uint>("fileChannel");
    QTest::addColumn<QString>("row");
    QTest::addColumn<bool>("canFd");
    QTest::addColumn<uint>("idWord");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("flags");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<uint>("channel");

    QTest::newRow("standard data zh") << 0u
                                      << csvRow("10:00:00.000", "1", "0x123", "标准帧", "数据帧", "3", "CAN",
                                             "x| 01 02 03 ")
                                      << false << 0x123u << 3 << 0 << QByteArray::fromHex("010203") << 0u;
    QTest::newRow("extended zht") << 0u
                                  << csvRow(
                                         "10:00:00.000", "1", "0x1ABCDEF", "擴展幀", "數據幀", "2", "CAN", "x| AA BB ")
                                  << false << 0x81ABCDEFu << 2 << 0 << QByteArray::fromHex("aabb") << 0u;
    QTest::newRow("standard remote en") << 0u
                                        << csvRow("10:00:00.000", "1", "0x7FF", "Standard Frame", "Remote Frame", "0",
                                               "CAN", "x| ")
                                        << false << 0x400007FFu << 0 << 0 << QByteArray() << 0u;
    QTest::newRow("standard text of zht, data of en")
        << 0u << csvRow("10:00:00.000", "1", "0x10", "標準幀", "data frame", "1", "CAN", "x| 0f ") << false << 0x10u
        << 1 << 0 << QByteArray::fromHex("0f") << 0u;
    QTest::newRow("unknown format text is extended")
        << 0u << csvRow("10:00:00.000", "1", "0x10", "", "数据帧", "0", "CAN", "x| ") << false << 0x80000010u << 0 << 0
        << QByteArray() << 0u;
    QTest::newRow("type text compared case-sensitively")
        << 0u << csvRow("10:00:00.000", "1", "0x10", "Standard Frame", "Data Frame", "0", "CAN", "x| ") << false
        << 0x40000010u << 0 << 0 << QByteArray() << 0u;
    QTest::newRow("FD with switch zh") << 0u
                                       << csvRow("10:00:00.000", "1", "0x10", "标准帧", "数据帧", "2", "CANFD-加速",
                                              "x| 01 02 ")
                                       << true << 0x10u << 2 << 1 << QByteArray::fromHex("0102") << 0u;
    QTest::newRow("FD with switch en") << 0u
                                       << csvRow("10:00:00.000", "1", "0x10", "标准帧", "数据帧", "2",
                                              "CANFD-acceleration", "x| 01 02 ")
                                       << true << 0x10u << 2 << 1 << QByteArray::fromHex("0102") << 0u;
    QTest::newRow("FD without switch") << 0u
                                       << csvRow(
                                              "10:00:00.000", "1", "0x10", "标准帧", "数据帧", "1", "CANFD", "x| 09 ")
                                       << true << 0x10u << 1 << 0 << QByteArray::fromHex("09") << 0u;
    QTest::newRow("length cuts the data")
        << 0u << csvRow("10:00:00.000", "1", "0x10", "标准帧", "数据帧", "2", "CAN", "x| 01 02 03 ") << false << 0x10u
        << 2 << 0 << QByteArray::fromHex("010200") << 0u;
    QTest::newRow("missing bytes stay 0")
        << 0u << csvRow("10:00:00.000", "1", "0x10", "标准帧", "数据帧", "4", "CAN", "x| 01 02 ") << false << 0x10u << 4
        << 0 << QByteArray::fromHex("01020000") << 0u;
    QTest::newRow("length 0 reads nothing")
        << 0u << csvRow("10:00:00.000", "1", "0x10", "标准帧", "数据帧", "0", "CAN", "x| 01 02 ") << false << 0x10u << 0
        << 0 << QByteArray::fromHex("0000") << 0u;
    QString big;
    for (int i = 0; i < 64; ++i)
        big += QString::asprintf("%02X ", i);
    QByteArray bigBytes;
    for (int i = 0; i < 64; ++i)
        bigBytes += char(i);
    QTest::newRow("FD 64 bytes") << 0u
                                 << csvRow("10:00:00.000", "1", "0x00000010", "扩展帧", "数据帧", "64", "CANFD",
                                        "x| " + big)
                                 << true << 0x80000010u << 64 << 0 << bigBytes << 0u;
    QTest::newRow("channel from the row: 2")
        << 2u << stdRow("10:00:00.000", "0x1", "2") << false << 0x1u << 1 << 0 << QByteArray::fromHex("5a") << 1u;
    QTest::newRow("channel from the row: 1")
        << 2u << stdRow("10:00:00.000", "0x1", "1") << false << 0x1u << 1 << 0 << QByteArray::fromHex("5a") << 0u;
    QTest::newRow("fixed channel 1 overrides the row")
        << 1u << stdRow("10:00:00.000", "0x1", "1") << false << 0x1u << 1 << 0 << QByteArray::fromHex("5a") << 1u;
}

void tst_SendThread::fileRowParsing()
{
    QFETCH(uint, fileChannel);
    QFETCH(QString, row);
    QFETCH(bool, canFd);
    QFETCH(uint, idWord);
    QFETCH(int, length);
    QFETCH(int, flags);
    QFETCH(QByteArray, data);
    QFETCH(uint, channel);

    const QString path = writeFile({ row });
    sendThread t(0);
    Recorder rec(t);
    t.setFileSend(path, 1, 0, fileChannel);
    runFile(t, rec);

    const QList<Call> calls = transmits();
    QCOMPARE(calls.size(), 1);
    const Call &c = calls.first();
    QCOMPARE(c.name, canFd ? QStringLiteral("TransmitCanFd") : QStringLiteral("TransmitCan"));
    QCOMPARE(c.args.at(0), quint64(FakeDriver::channelHandle(channel)));
    QCOMPARE(c.args.at(1), quint64(1));
    QCOMPARE(uint(idOf(c)), idWord);
    QCOMPARE(int(uint8_t(c.records.at(4))), length);
    if (canFd)
        QCOMPARE(int(uint8_t(c.records.at(5))), flags);
    QCOMPARE(dataOf(c, data.size()).toHex(), data.toHex());

    const QList<ModelItem> items = takePendingFrames();
    QCOMPARE(items.size(), 1);
    QCOMPARE(items.first().channel, channel);
    QCOMPARE(items.first().direction, 0u);
}

void tst_SendThread::fileShortRows()
{
    const QString path = writeFile({ stdRow("10:00:00.000", "0x001"), "", "just text", "1,2,3,4,5,6,7,8,9,10",
        stdRow("10:00:00.000", "0x002"), ",,,,,,,,,," });
    sendThread t(0);
    Recorder rec(t);
    t.setFileSend(path, 1, 0, 0);
    runFile(t, rec);
    QList<uint> ids;
    for (const Call &c : transmits())
        ids << idOf(c);
    // The row of eleven empty fields is complete: it goes out as an empty extended remote frame.
    QCOMPARE(ids, (QList<uint> { 0x1, 0x2, 0xC0000000 }));
    QCOMPARE(rec.lines.last(), QStringLiteral("文件发送完成！"));
}

void tst_SendThread::fileRepeat_data()
{
    QTest::addColumn<int>("repeat");
    QTest::addColumn<int>("sent");
    QTest::newRow("twice") << 2 << 4;
    QTest::newRow("once") << 1 << 2;
    QTest::newRow("zero") << 0 << 0;
    QTest::newRow("negative other than -1") << -3 << 0;
}

void tst_SendThread::fileRepeat()
{
    QFETCH(int, repeat);
    const QString path = writeFile({ stdRow("10:00:00.000", "0x001"), stdRow("10:00:00.000", "0x002") });
    sendThread t(0);
    Recorder rec(t);
    t.setFileSend(path, repeat, 0, 2);
    runFile(t, rec);
    QTEST(int(transmits().size()), "sent");
    for (const Call &c : transmits())
        QVERIFY(idOf(c) == 1 || idOf(c) == 2);
    QCOMPARE(rec.lines, (QStringList { "开始发送文件: " + path + "...", "文件发送完成！" }));
}

void tst_SendThread::fileRepeatForeverUntilStopped()
{
    const QString path = writeFile({ stdRow("10:00:00.000", "0x001") });
    sendThread t(1);
    Recorder rec(t);
    t.setFileSend(path, -1, 1, 1);
    t.start();
    QTRY_VERIFY_WITH_TIMEOUT(transmits().size() >= 5, 5000);
    t.stop();
    QTRY_COMPARE_WITH_TIMEOUT(rec.ends.size(), 2, 5000);
    QVERIFY(t.wait(5000));
    QVERIFY(!t.stopRequested());
    QCOMPARE(rec.events, (QStringList { "开始发送文件: " + path + "...", "文件中止发送！", "end 0", "end 1" }));
}

void tst_SendThread::fileMissing()
{
    const QString path = m_dir.filePath(QStringLiteral("no such file.csv"));
    setLanguageCode(2);
    sendThread t(1);
    Recorder rec(t);
    t.setFileSend(path, 1, 0, 2);
    runFile(t, rec);
    QCOMPARE(rec.events, (QStringList { "send file: " + path + "...", "File transmission Error!", "end 0", "end 1" }));
    QCOMPARE(FakeDriver::calls().size(), 0);
}

void tst_SendThread::fileNoChannelOpen()
{
    resetDeviceState();
    const QString path = writeFile({ stdRow("10:00:00.000", "0x001") });
    setLanguageCode(1);
    sendThread t(0);
    Recorder rec(t);
    t.setFileSend(path, 3, 0, 0);
    runFile(t, rec);
    QCOMPARE(transmits().size(), 0);
    QCOMPARE(rec.lines, (QStringList { "開始發送文件: " + path + "...", "文件發送完成！" }));
}

// With the English catalogue installed, log lines stay as specified and the
// Chinese frame texts of a file still count as standard data frames.
void tst_SendThread::fileInEnglishCatalogue()
{
    QTranslator translator;
    QVERIFY(translator.load(AppPaths::appDir() + QStringLiteral("/language/EN.qm")));
    QCoreApplication::installTranslator(&translator);
    setLanguageCode(2);

    const QString path = writeFile({ stdRow("10:00:00.000", "0x001"),
        csvRow("10:00:00.000", "1", "0x2", "Standard Frame", "data frame", "0", "CAN", "x| "),
        csvRow("10:00:00.000", "1", "0x3", "標準幀", "數據幀", "0", "CAN", "x| ") });
    sendThread t(0);
    Recorder rec(t);
    t.setFileSend(path, 1, 0, 0);
    runFile(t, rec);
    QList<uint> ids;
    for (const Call &c : transmits())
        ids << idOf(c);
    QCOMPARE(ids, (QList<uint> { 1, 2, 3 }));
    QCOMPARE(rec.lines, (QStringList { "send file: " + path + "...", "File transmission completed!" }));

    Recorder countRec(t);
    t.setSend(0x1, 0, 0, 0, 0, nullptr, 0, 0, 1, 1, 0, 0, 0);
    runCount(t, countRec);
    QCOMPARE(countRec.lines,
        (QStringList { "Channel:1 Start sending data: Total frames of data:1, sending interval:0ms...",
            "channel1Data transmission completed!" }));
    QCoreApplication::removeTranslator(&translator);
}

QTEST_GUILESS_MAIN(tst_SendThread)
#include "tst_sendthread.moc"
