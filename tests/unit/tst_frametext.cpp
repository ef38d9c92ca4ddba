// Frame records: raw driver records in, display texts out, through the four
// batch builders; and the hand-over list between the threads.
#include "DeviceLayer.h"
#include "ModelItem.h"
#include "SettingsStore.h"
#include "common/FakeDriver.h"
#include "recvThread.h"
#include "sendThread.h"

#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

namespace {
enum Kind { ClassicRx, FdRx, ClassicTx, FdTx };

QByteArray bytes(int n, int start = 0)
{
    QByteArray b;
    for (int i = 0; i < n; ++i)
        b.append(char(start + i));
    return b;
}
} // namespace

Q_DECLARE_METATYPE(Kind)

class tst_FrameText : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void texts_data();
    void texts();
    void channelOfTransmittedBatch_data();
    void channelOfTransmittedBatch();
    void countZeroAppendsNothing();
    void takeFromEmptyList();
    void concurrentBatchesStayWhole();
    void listCrossesThreadsQueued();

private:
    QTemporaryDir m_dir;
};

void tst_FrameText::initTestCase()
{
    QVERIFY(m_dir.isValid());
    registerModelItemTypes();
}

void tst_FrameText::init()
{
    SettingsStore::load(m_dir.filePath(QStringLiteral("setdb.txt")));
    takePendingFrames();
    setLanguageCode(0);
}

void tst_FrameText::cleanup() { setLanguageCode(0); }

void tst_FrameText::texts_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<int>("lang");
    QTest::addColumn<QString>("timeHex"); // empty: key absent
    QTest::addColumn<uint>("idWord");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("flags");
    QTest::addColumn<quint64>("timestamp");
    QTest::addColumn<QString>("timeText");
    QTest::addColumn<QString>("idText");
    QTest::addColumn<QString>("formatText");
    QTest::addColumn<QString>("typeText");
    QTest::addColumn<QString>("dlcText");
    QTest::addColumn<QString>("protocolText");
    QTest::addColumn<QString>("dataText");

    const QByteArray abc = QByteArray::fromHex("01ABFF");
    QTest::newRow("standard padded to 3, hex time by default")
        << ClassicRx << 0 << QString() << 0x12u << abc << 0 << quint64(12345678) << "0xBC614E"
        << "0x012"
        << "标准帧"
        << "数据帧"
        << "3"
        << "CAN"
        << "x| 01 AB FF ";
    QTest::newRow("extended padded to 8, decimal time")
        << ClassicRx << 1 << "0" << 0x80000005u << QByteArray() << 0 << quint64(12345678) << "12.3457"
        << "0x00000005"
        << "擴展幀"
        << "數據幀"
        << "0"
        << "CAN"
        << "x| ";
    QTest::newRow("standard 0x7FF, english lower-case data frame")
        << ClassicRx << 2 << "1" << 0x7FFu << QByteArray::fromHex("00") << 0 << quint64(0) << "0x0"
        << "0x7FF"
        << "Standard Frame"
        << "data frame"
        << "1"
        << "CAN"
        << "x| 00 ";
    QTest::newRow("zero time decimal") << ClassicRx << 2 << "0" << 0x1u << QByteArray() << 0 << quint64(0) << "0.0000"
                                       << "0x001"
                                       << "Standard Frame"
                                       << "data frame"
                                       << "0"
                                       << "CAN"
                                       << "x| ";
    QTest::newRow("timeHex other than 0 means hex")
        << ClassicRx << 0 << "7" << 0x1u << QByteArray() << 0 << quint64(0xABCDEF0123ull) << "0xABCDEF0123"
        << "0x001"
        << "标准帧"
        << "数据帧"
        << "0"
        << "CAN"
        << "x| ";
    QTest::newRow("extended max identifier")
        << ClassicRx << 2 << "1" << 0x9FFFFFFFu << QByteArray() << 0 << quint64(16) << "0x10"
        << "0x1FFFFFFF"
        << "Extended Frame"
        << "data frame"
        << "0"
        << "CAN"
        << "x| ";
    QTest::newRow("standard word with a wide number is never cut")
        << ClassicRx << 0 << "1" << 0x12345u << QByteArray() << 0 << quint64(0) << "0x0"
        << "0x12345"
        << "标准帧"
        << "数据帧"
        << "0"
        << "CAN"
        << "x| ";
    QTest::newRow("bit 29 is not part of the identifier")
        << ClassicRx << 0 << "1" << 0x20000123u << QByteArray() << 0 << quint64(0) << "0x0"
        << "0x123"
        << "标准帧"
        << "数据帧"
        << "0"
        << "CAN"
        << "x| ";
    QTest::newRow("classic remote received keeps x| and its length")
        << ClassicRx << 0 << "1" << 0x40000123u << QByteArray::fromHex("1122") << 0 << quint64(0) << "0x0"
        << "0x123"
        << "标准帧"
        << "远程帧"
        << "2"
        << "CAN"
        << "x| ";
    QTest::newRow("FD remote received has empty data")
        << FdRx << 2 << "1" << 0xC0000123u << QByteArray::fromHex("1122") << 0 << quint64(0) << "0x0"
        << "0x00000123"
        << "Extended Frame"
        << "Remote Frame"
        << "2"
        << "CANFD"
        << "";
    QTest::newRow("FD remote transmitted keeps x|")
        << FdTx << 1 << "1" << 0x40000123u << QByteArray::fromHex("1122") << 0 << quint64(0) << "无"
        << "0x123"
        << "標準幀"
        << "遠程幀"
        << "2"
        << "CANFD"
        << "x| ";
    QTest::newRow("classic remote transmitted keeps x|")
        << ClassicTx << 2 << "0" << 0x40000001u << QByteArray() << 0 << quint64(0) << "无"
        << "0x001"
        << "Standard Frame"
        << "Remote Frame"
        << "0"
        << "CAN"
        << "x| ";

    QString full = QStringLiteral("x| ");
    for (int i = 0; i < 64; ++i)
        full += QString::asprintf("%02X ", (0xC0 + i) & 0xFF);
    QCOMPARE(full.size(), 195);
    QTest::newRow("FD 64 bytes, bit-rate switch, simplified")
        << FdRx << 0 << "1" << 0x100u << bytes(64, 0xC0) << 1 << quint64(1) << "0x1"
        << "0x100"
        << "标准帧"
        << "数据帧"
        << "64"
        << "CANFD-加速" << full;
    QTest::newRow("FD 64 bytes transmitted") << FdTx << 0 << "1" << 0x100u << bytes(64, 0xC0) << 1 << quint64(1) << "无"
                                             << "0x100"
                                             << "标准帧"
                                             << "数据帧"
                                             << "64"
                                             << "CANFD-加速" << full;
    QTest::newRow("FD switch traditional") << FdRx << 1 << "1" << 0x100u << QByteArray() << 1 << quint64(0) << "0x0"
                                           << "0x100"
                                           << "標準幀"
                                           << "數據幀"
                                           << "0"
                                           << "CANFD-加速"
                                           << "x| ";
    QTest::newRow("FD switch english") << FdTx << 2 << "1" << 0x100u << QByteArray() << 1 << quint64(0) << "无"
                                       << "0x100"
                                       << "Standard Frame"
                                       << "data frame"
                                       << "0"
                                       << "CANFD-acceleration"
                                       << "x| ";
    QTest::newRow("FD flags 3 is not the switch")
        << FdRx << 0 << "1" << 0x100u << QByteArray() << 3 << quint64(0) << "0x0"
        << "0x100"
        << "标准帧"
        << "数据帧"
        << "0"
        << "CANFD"
        << "x| ";
    QTest::newRow("FD flags 2 is not the switch")
        << FdTx << 2 << "1" << 0x100u << QByteArray() << 2 << quint64(0) << "无"
        << "0x100"
        << "Standard Frame"
        << "data frame"
        << "0"
        << "CANFD"
        << "x| ";
    QTest::newRow("unknown language leaves the language texts empty")
        << FdRx << 7 << "1" << 0x80000100u << QByteArray::fromHex("0a") << 1 << quint64(0) << "0x0"
        << "0x00000100"
        << ""
        << ""
        << "1"
        << "CANFD"
        << "x| 0A ";
    QTest::newRow("unknown language transmitted")
        << ClassicTx << -1 << "1" << 0x40000100u << QByteArray() << 0 << quint64(0) << "无"
        << "0x100"
        << ""
        << ""
        << "0"
        << "CAN"
        << "x| ";
    QTest::newRow("transmitted time is 无 in english")
        << ClassicTx << 2 << "1" << 0x80000000u << QByteArray::fromHex("ff00") << 0 << quint64(0) << "无"
        << "0x00000000"
        << "Extended Frame"
        << "data frame"
        << "2"
        << "CAN"
        << "x| FF 00 ";
}

void tst_FrameText::texts()
{
    QFETCH(Kind, kind);
    QFETCH(int, lang);
    QFETCH(QString, timeHex);
    QFETCH(uint, idWord);
    QFETCH(QByteArray, data);
    QFETCH(int, flags);
    QFETCH(quint64, timestamp);

    setLanguageCode(lang);
    if (!timeHex.isNull())
        SettingsStore::setValue(QStringLiteral("timeHex"), timeHex);

    // Each record sits second in a batch of two so that a wrong record stride shows.
    recvThread rx(1);
    sendThread tx(1);
    switch (kind) {
    case ClassicRx: {
        CanReceiveRecord recs[2]
            = { FakeDriver::canRecord(0x7, QByteArray()), FakeDriver::canRecord(idWord, data, timestamp) };
        rx.buildCanBatch(recs, 2);
        break;
    }
    case FdRx: {
        CanFdReceiveRecord recs[2] = { FakeDriver::canFdRecord(0x7, QByteArray()),
            FakeDriver::canFdRecord(idWord, data, uint8_t(flags), timestamp) };
        rx.buildCanFdBatch(recs, 2);
        break;
    }
    case ClassicTx: {
        CanTransmitRecord recs[2] = {};
        recs[1].id = idWord;
        recs[1].length = uint8_t(data.size());
        memcpy(recs[1].data, data.constData(), size_t(data.size()));
        recs[1].transmitType = 0xFFFFFFFF;
        tx.buildCanBatch(recs, 2, 2);
        break;
    }
    case FdTx: {
        CanFdTransmitRecord recs[2] = {};
        recs[1].id = idWord;
        recs[1].length = uint8_t(data.size());
        recs[1].flags = uint8_t(flags);
        memcpy(recs[1].data, data.constData(), size_t(data.size()));
        recs[1].transmitType = 0xFFFFFFFF;
        tx.buildCanFdBatch(recs, 2, 2);
        break;
    }
    }

    const QList<ModelItem> items = takePendingFrames();
    QCOMPARE(items.size(), 2);
    const ModelItem &item = items.at(1);
    const bool received = kind == ClassicRx || kind == FdRx;
    QCOMPARE(item.channel, 1u);
    QCOMPARE(item.direction, received ? 1u : 0u);
    QVERIFY(item.indexText.isEmpty());
    QVERIFY(item.systemTime.isEmpty());
    QCOMPARE(item.channelText, QStringLiteral("2"));
    QCOMPARE(item.dirText, received ? QStringLiteral("Rx") : QStringLiteral("Tx"));
    QTEST(item.timeStamp, "timeText");
    QTEST(item.idText, "idText");
    QTEST(item.formatText, "formatText");
    QTEST(item.typeText, "typeText");
    QTEST(item.dlcText, "dlcText");
    QTEST(item.protocolText, "protocolText");
    QTEST(item.dataText, "dataText");
}

void tst_FrameText::channelOfTransmittedBatch_data()
{
    QTest::addColumn<uint>("threadChannel");
    QTest::addColumn<int>("argument");
    QTest::addColumn<uint>("channel");
    QTest::addColumn<QString>("channelText");

    QTest::newRow("2 means the thread's own channel 0") << 0u << 2 << 0u << "1";
    QTest::newRow("2 means the thread's own channel 1") << 1u << 2 << 1u << "2";
    QTest::newRow("0 on the thread of channel 1") << 1u << 0 << 0u << "1";
    QTest::newRow("1 on the thread of channel 0") << 0u << 1 << 1u << "2";
}

void tst_FrameText::channelOfTransmittedBatch()
{
    QFETCH(uint, threadChannel);
    QFETCH(int, argument);
    sendThread tx(threadChannel);
    CanTransmitRecord classic {};
    CanFdTransmitRecord fd {};
    tx.buildCanBatch(&classic, 1, uint16_t(argument));
    tx.buildCanFdBatch(&fd, 1, uint16_t(argument));
    const QList<ModelItem> items = takePendingFrames();
    QCOMPARE(items.size(), 2);
    for (const ModelItem &item : items) {
        QTEST(item.channel, "channel");
        QTEST(item.channelText, "channelText");
    }
}

void tst_FrameText::countZeroAppendsNothing()
{
    recvThread rx(0);
    sendThread tx(0);
    rx.buildCanBatch(nullptr, 0);
    rx.buildCanFdBatch(nullptr, 0);
    tx.buildCanBatch(nullptr, 0, 2);
    tx.buildCanFdBatch(nullptr, 0, 2);
    QVERIFY(takePendingFrames().isEmpty());
}

void tst_FrameText::takeFromEmptyList()
{
    QVERIFY(takePendingFrames().isEmpty());
    appendPendingFrames(QList<ModelItem>() << ModelItem());
    QCOMPARE(takePendingFrames().size(), 1);
    QVERIFY(takePendingFrames().isEmpty());
}

// Four producers append tagged batches while a consumer keeps taking: every
// batch must arrive whole and each producer's batches in order.
void tst_FrameText::concurrentBatchesStayWhole()
{
    constexpr int kProducers = 4;
    constexpr int kBatches = 400;
    constexpr int kBatchSize = 5;
    std::atomic<int> running { kProducers };
    QList<QThread *> threads;
    for (int p = 0; p < kProducers; ++p) {
        threads << QThread::create([p, &running] {
            for (int b = 0; b < kBatches; ++b) {
                QList<ModelItem> batch;
                for (int i = 0; i < kBatchSize; ++i) {
                    ModelItem item;
                    item.channel = uint(p);
                    item.indexText = QString::number(b);
                    item.dlcText = QString::number(i);
                    batch << item;
                }
                appendPendingFrames(batch);
            }
            --running;
        });
        threads.last()->start();
    }
    QList<ModelItem> all;
    while (running > 0)
        all += takePendingFrames();
    for (QThread *t : threads) {
        t->wait();
        delete t;
    }
    all += takePendingFrames();

    QCOMPARE(all.size(), kProducers * kBatches * kBatchSize);
    int nextBatch[kProducers] = {};
    for (int i = 0; i < all.size(); i += kBatchSize) {
        const uint p = all.at(i).channel;
        QCOMPARE(all.at(i).indexText.toInt(), nextBatch[p]++);
        for (int k = 0; k < kBatchSize; ++k) {
            QCOMPARE(all.at(i + k).channel, p);
            QCOMPARE(all.at(i + k).dlcText.toInt(), k);
            QCOMPARE(all.at(i + k).indexText, all.at(i).indexText);
        }
    }
}

void tst_FrameText::listCrossesThreadsQueued()
{
    recvThread rx(1);
    QList<ModelItem> got;
    uint gotChannel = 9;
    QObject context;
    connect(&rx, &recvThread::recvData, &context, [&](QList<ModelItem> list, uint channel) {
        QCOMPARE(QThread::currentThread(), context.thread());
        got = list;
        gotChannel = channel;
    });
    QThread *emitter = QThread::create([&rx] {
        ModelItem item;
        item.idText = QStringLiteral("0x123");
        emit rx.recvData(QList<ModelItem>() << item, 1);
    });
    emitter->start();
    emitter->wait();
    delete emitter;
    QTRY_COMPARE_WITH_TIMEOUT(got.size(), 1, 5000);
    QCOMPARE(got.first().idText, QStringLiteral("0x123"));
    QCOMPARE(gotChannel, 1u);
}

QTEST_GUILESS_MAIN(tst_FrameText)
#include "tst_frametext.moc"
