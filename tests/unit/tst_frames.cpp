// Frame texts from raw records through the batch builders, the hand-over
// list, the receive thread on the recording fake driver, and the frame list
// model under QAbstractItemModelTester.
#include "FakeDriver.h"
#include "ModelItem.h"
#include "MyTableModel.h"
#include "SettingsStore.h"
#include "TestKit.h"
#include "recvThread.h"
#include "sendThread.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QTemporaryDir>

namespace {
enum Kind { ClassicRx, FdRx, ClassicTx, FdTx };

QByteArray counting(int n, int start)
{
    QByteArray b;
    for (int i = 0; i < n; ++i)
        b.append(char(start + i));
    return b;
}

// Time stamp, identifier, format, type, DLC, protocol and data texts joined by "|".
QString texts(const ModelItem &m)
{
    return QStringList { m.timeStamp, m.idText, m.formatText, m.typeText, m.dlcText, m.protocolText, m.dataText }.join('|');
}

QList<ModelItem> collectFrames(int count, int timeoutMs = 10000)
{
    QList<ModelItem> all;
    QElapsedTimer timer;
    timer.start();
    while (all.size() < count && timer.elapsed() < timeoutMs) {
        all += takePendingFrames();
        QTest::qWait(2);
    }
    return all;
}

ModelItem row(const QString &index, const QString &channel, const QString &id, const QString &dir, const QString &data = "x| ")
{
    ModelItem m;
    m.indexText = index;
    m.systemTime = "10:00:00." + index.rightJustified(3, '0');
    m.timeStamp = "0x" + index;
    m.channelText = channel;
    m.dirText = dir;
    m.idText = id;
    m.formatText = id.size() > 5 ? "Extended Frame" : "Standard Frame";
    m.typeText = "data frame";
    m.dlcText = "0";
    m.protocolText = "CAN";
    m.dataText = data;
    return m;
}

QStringList column(const MyTableModel &model, int col)
{
    QStringList out;
    for (int r = 0; r < model.rowCount(); ++r)
        out << model.cellText(r, col);
    return out;
}

const QStringList kTitles = { "index", "system time", "time stamp", "channel", "Rx/Tx", "ID", "Frame", "type", "DLC", "CAN-FD", "data" };
using Steps = QList<QPair<int, QStringList>>; // (column, accepted texts) in turn
} // namespace

Q_DECLARE_METATYPE(Kind)

class FrameTextTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void init()
    {
        SettingsStore::load(m_dir.filePath("setdb.txt"));
        takePendingFrames();
        FakeDriver::install();
        FakeDriver::openChannels(true, true);
    }
    void cleanup()
    {
        setLanguageCode(0);
        FakeDriver::uninstall();
    }

    void builders_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<int>("lang");
        QTest::addColumn<QString>("timeHex"); // null: key absent
        QTest::addColumn<uint>("idWord");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<int>("flags");
        QTest::addColumn<quint64>("stamp");
        QTest::addColumn<QString>("expected");
        const QByteArray abc = QByteArray::fromHex("01ABFF");
        QString full = "x| ";
        for (int i = 0; i < 64; ++i)
            full += QString::asprintf("%02X ", 0xC0 + i);
        QCOMPARE(full.size(), 195);
        QTest::newRow("standard padded to 3, hex time by default") << ClassicRx << 0 << QString() << 0x12u << abc << 0 << 12345678ull
                                                                   << "0xBC614E|0x012|标准帧|数据帧|3|CAN|x| 01 AB FF ";
        QTest::newRow("extended padded to 8, decimal time") << ClassicRx << 1 << "0" << 0x80000005u << QByteArray() << 0
                                                            << 12345678ull << "12.3457|0x00000005|擴展幀|數據幀|0|CAN|x| ";
        QTest::newRow("english lower-case data frame") << ClassicRx << 2 << "1" << 0x7FFu << QByteArray(1, 0) << 0 << 0ull
                                                       << "0x0|0x7FF|Standard Frame|data frame|1|CAN|x| 00 ";
        QTest::newRow("zero time decimal") << ClassicRx << 2 << "0" << 0x1u << QByteArray() << 0 << 0ull
                                           << "0.0000|0x001|Standard Frame|data frame|0|CAN|x| ";
        QTest::newRow("timeHex 7 means hex") << ClassicRx << 0 << "7" << 0x1u << QByteArray() << 0 << 0xABCDEF0123ull
                                             << "0xABCDEF0123|0x001|标准帧|数据帧|0|CAN|x| ";
        QTest::newRow("extended max") << ClassicRx << 2 << "1" << 0x9FFFFFFFu << QByteArray() << 0 << 16ull
                                      << "0x10|0x1FFFFFFF|Extended Frame|data frame|0|CAN|x| ";
        QTest::newRow("wide standard number never cut") << ClassicRx << 0 << "1" << 0x12345u << QByteArray() << 0 << 0ull
                                                        << "0x0|0x12345|标准帧|数据帧|0|CAN|x| ";
        QTest::newRow("bit 29 not part of the id") << ClassicRx << 0 << "1" << 0x20000123u << QByteArray() << 0 << 0ull
                                                   << "0x0|0x123|标准帧|数据帧|0|CAN|x| ";
        QTest::newRow("classic remote Rx keeps x| and length") << ClassicRx << 0 << "1" << 0x40000123u << abc.left(2) << 0
                                                               << 0ull << "0x0|0x123|标准帧|远程帧|2|CAN|x| ";
        QTest::newRow("FD remote Rx has empty data") << FdRx << 2 << "1" << 0xC0000123u << abc.left(2) << 0 << 0ull
                                                     << "0x0|0x00000123|Extended Frame|Remote Frame|2|CANFD|";
        QTest::newRow("FD remote Tx keeps x|") << FdTx << 1 << "1" << 0x40000123u << abc.left(2) << 0 << 0ull
                                               << "无|0x123|標準幀|遠程幀|2|CANFD|x| ";
        QTest::newRow("classic remote Tx") << ClassicTx << 2 << "0" << 0x40000001u << QByteArray() << 0 << 0ull
                                           << "无|0x001|Standard Frame|Remote Frame|0|CAN|x| ";
        QTest::newRow("FD 64 bytes, switch") << FdRx << 0 << "1" << 0x100u << counting(64, 0xC0) << 1 << 1ull
                                             << "0x1|0x100|标准帧|数据帧|64|CANFD-加速|" + full;
        QTest::newRow("FD 64 bytes Tx") << FdTx << 0 << "1" << 0x100u << counting(64, 0xC0) << 1 << 1ull
                                        << "无|0x100|标准帧|数据帧|64|CANFD-加速|" + full;
        QTest::newRow("FD switch english") << FdTx << 2 << "1" << 0x100u << QByteArray() << 1 << 0ull
                                           << "无|0x100|Standard Frame|data frame|0|CANFD-acceleration|x| ";
        QTest::newRow("FD flags 3 is no switch") << FdRx << 0 << "1" << 0x100u << QByteArray() << 3 << 0ull
                                                 << "0x0|0x100|标准帧|数据帧|0|CANFD|x| ";
        QTest::newRow("FD flags 2 is no switch") << FdTx << 2 << "1" << 0x100u << QByteArray() << 2 << 0ull
                                                 << "无|0x100|Standard Frame|data frame|0|CANFD|x| ";
        QTest::newRow("unknown language: texts empty") << FdRx << 7 << "1" << 0x80000100u << QByteArray(1, 10) << 1 << 0ull
                                                       << "0x0|0x00000100|||1|CANFD|x| 0A ";
        QTest::newRow("unknown language Tx") << ClassicTx << -1 << "1" << 0x40000100u << QByteArray() << 0 << 0ull
                                             << "无|0x100|||0|CAN|x| ";
    }
    void builders()
    {
        QFETCH(Kind, kind);
        QFETCH(QString, timeHex);
        QFETCH(uint, idWord);
        QFETCH(QByteArray, data);
        QFETCH(int, flags);
        QFETCH(quint64, stamp);
        QFETCH(int, lang);
        setLanguageCode(lang);
        if (!timeHex.isNull())
            SettingsStore::setValue("timeHex", timeHex);
        // Each record sits second in a batch of two, so that a wrong stride shows.
        recvThread rx(1);
        sendThread tx(1);
        if (kind == ClassicRx) {
            const CanReceiveRecord r[2] = { FakeDriver::canRecord(7, {}), FakeDriver::canRecord(idWord, data, stamp) };
            rx.buildCanBatch(r, 2);
        } else if (kind == FdRx) {
            const CanFdReceiveRecord r[2] = { FakeDriver::canFdRecord(7, {}), FakeDriver::canFdRecord(idWord, data, uint8_t(flags), stamp) };
            rx.buildCanFdBatch(r, 2);
        } else if (kind == ClassicTx) {
            CanTransmitRecord r[2] = {};
            r[1].id = idWord;
            r[1].length = uint8_t(data.size());
            std::memcpy(r[1].data, data.constData(), size_t(data.size()));
            tx.buildCanBatch(r, 2, 2);
        } else {
            CanFdTransmitRecord r[2] = {};
            r[1].id = idWord;
            r[1].length = uint8_t(data.size());
            r[1].flags = uint8_t(flags);
            std::memcpy(r[1].data, data.constData(), size_t(data.size()));
            tx.buildCanFdBatch(r, 2, 2);
        }
        const QList<ModelItem> items = takePendingFrames();
        QCOMPARE(items.size(), 2);
        const ModelItem &item = items.at(1);
        const bool rxKind = kind == ClassicRx || kind == FdRx;
        QCOMPARE(item.channel, 1u);
        QCOMPARE(item.channelText, QString("2"));
        QCOMPARE(item.direction, rxKind ? 1u : 0u);
        QCOMPARE(item.dirText, QString(rxKind ? "Rx" : "Tx"));
        QVERIFY(item.indexText.isEmpty() && item.systemTime.isEmpty());
        QTEST(texts(item), "expected");
    }

    void transmittedChannel_data()
    {
        QTest::addColumn<uint>("threadChannel");
        QTest::addColumn<int>("argument");
        QTest::addColumn<uint>("channel");
        QTest::newRow("2 is the thread's own channel 0") << 0u << 2 << 0u;
        QTest::newRow("2 is the thread's own channel 1") << 1u << 2 << 1u;
        QTest::newRow("0 on the thread of channel 1") << 1u << 0 << 0u;
        QTest::newRow("1 on the thread of channel 0") << 0u << 1 << 1u;
    }
    void transmittedChannel()
    {
        QFETCH(uint, threadChannel);
        QFETCH(int, argument);
        QFETCH(uint, channel);
        sendThread tx(threadChannel);
        CanTransmitRecord classic {};
        CanFdTransmitRecord fd {};
        tx.buildCanBatch(&classic, 1, uint16_t(argument));
        tx.buildCanFdBatch(&fd, 1, uint16_t(argument));
        const QList<ModelItem> items = takePendingFrames();
        QCOMPARE(items.size(), 2);
        for (const ModelItem &item : items)
            QVERIFY(item.channel == channel && item.channelText == QString::number(channel + 1));
    }

    // Four producers append tagged batches while a consumer takes: every batch
    // arrives whole, each producer's batches in order.
    void handOverKeepsBatchesWhole()
    {
        constexpr int kProducers = 4, kBatches = 400, kSize = 5;
        std::atomic<int> running { kProducers };
        QList<QThread *> threads;
        for (int p = 0; p < kProducers; ++p) {
            threads << QThread::create([p, &running] {
                for (int b = 0; b < kBatches; ++b) {
                    QList<ModelItem> batch;
                    for (int i = 0; i < kSize; ++i)
                        batch << row(QString::number(b), QString::number(p), QString::number(i), "Rx");
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
        QCOMPARE(all.size(), kProducers * kBatches * kSize);
        int next[kProducers] = {};
        for (int i = 0; i < all.size(); i += kSize) {
            const int p = all.at(i).channelText.toInt();
            QCOMPARE(all.at(i).indexText.toInt(), next[p]++);
            for (int k = 0; k < kSize; ++k)
                QVERIFY(all.at(i + k).channelText == all.at(i).channelText && all.at(i + k).idText.toInt() == k
                    && all.at(i + k).indexText == all.at(i).indexText);
        }
    }

    void receiveThreadOrder()
    {
        using FakeDriver::canFdRecord;
        using FakeDriver::canRecord;
        setLanguageCode(2);
        FakeDriver::queueCanRead(0, { canRecord(0x1, {}), canRecord(0x2, {}) });
        FakeDriver::queueCanRead(0, { canRecord(0x4, {}) });
        FakeDriver::queueCanFdRead(0, { canFdRecord(0x3, {}) });
        FakeDriver::queueCanFdRead(0, { canFdRecord(0x5, {}) });
        recvThread rx(0);
        rx.setRecvParams(500, 7);
        rx.start();
        const QList<ModelItem> items = collectFrames(5);
        rx.stop();
        QVERIFY(rx.wait(5000));
        QVERIFY(!rx.stopRequested());
        QStringList ids;
        for (const ModelItem &item : items)
            ids << item.idText + ' ' + item.protocolText;
        // Each pass reads classic, then CAN FD.
        QCOMPARE(ids, QStringList({ "0x001 CAN", "0x002 CAN", "0x003 CANFD", "0x004 CAN", "0x005 CANFD" }));
        // On this channel's handle, up to 1000 records, without waiting, whatever setRecvParams said.
        const QList<FakeDriver::Call> calls = FakeDriver::calls();
        QVERIFY(calls.size() >= 4);
        for (int i = 0; i < calls.size(); ++i) {
            QCOMPARE(calls.at(i).name, QString(i % 2 ? "ReceiveCanFd" : "ReceiveCan"));
            QCOMPARE(calls.at(i).args, QVector<quint64>({ FakeDriver::channelHandle(0), 1000, 0 }));
        }
        // A stop before the start ends the next run before any read.
        FakeDriver::clearCalls();
        rx.stop();
        rx.start();
        QVERIFY(rx.wait(5000));
        QCOMPARE(FakeDriver::calls().size(), 0);
        // A closed channel ends the loop.
        rx.start();
        QTRY_VERIFY_WITH_TIMEOUT(FakeDriver::callCount("ReceiveCanFd") >= 2, 5000);
        deviceState().channelHandle[0] = 0;
        QVERIFY(rx.wait(5000));
    }

    void receiveThreadLosesNothing()
    {
        // Time stamps carry a running number per kind, so order and gaps show.
        QRandomGenerator rng(20240611);
        quint64 classicSeq = 0, fdSeq = 0;
        for (int read = 0; read < 300; ++read) {
            std::vector<CanReceiveRecord> classic;
            for (int i = rng.bounded(0, 40); i > 0; --i)
                classic.push_back(FakeDriver::canRecord(0x10, QByteArray(8, char(i)), classicSeq++));
            if (read == 100) // larger than one read: handed out over several calls
                for (int i = 0; i < 2500; ++i)
                    classic.push_back(FakeDriver::canRecord(0x10, QByteArray(8, char(i)), classicSeq++));
            if (!classic.empty())
                FakeDriver::queueCanRead(1, classic);
            std::vector<CanFdReceiveRecord> fd;
            for (int i = rng.bounded(0, 20); i > 0; --i)
                fd.push_back(FakeDriver::canFdRecord(0x20, QByteArray(64, char(i)), 1, fdSeq++));
            if (!fd.empty())
                FakeDriver::queueCanFdRead(1, fd);
        }
        recvThread rx(1);
        rx.start();
        const QList<ModelItem> items = collectFrames(int(classicSeq + fdSeq), 30000);
        rx.stop();
        QVERIFY(rx.wait(5000));
        QCOMPARE(FakeDriver::queuedReads(1), 0);
        QCOMPARE(items.size(), int(classicSeq + fdSeq));
        quint64 next[2] = {};
        for (const ModelItem &item : items) {
            const bool fd = item.protocolText != "CAN";
            QVERIFY(item.channel == 1 && item.direction == 1);
            QCOMPARE(item.timeStamp.mid(2).toULongLong(nullptr, 16), next[fd]++);
            QCOMPARE(item.dataText.size(), fd ? 195 : 27);
        }
    }

    void continuityCheck_data()
    {
        QTest::addColumn<QString>("armed"); // "recvIDAdd" before; null = absent
        QTest::addColumn<QString>("steps"); // cXXX classic, fXXX CAN FD (one batch each), A re-arms, R resetLastIds
        QTest::addColumn<QString>("errors");
        QTest::addColumn<QString>("after");
        QTest::newRow("in order") << "1" << "c100 c101" << "" << "0";
        QTest::newRow("gap") << "1" << "c100 c102" << "100>102 " << "0";
        QTest::newRow("backwards") << "1" << "f100 fFF" << "100>ff " << "0";
        QTest::newRow("standard wrap") << "1" << "c7FF c0" << "" << "0";
        QTest::newRow("extended wrap is a gap") << "1" << "f9FFFFFFF f80000000" << "1fffffff>0 " << "0";
        QTest::newRow("flag bits ignored") << "1" << "c80000100 c40000101" << "" << "0";
        QTest::newRow("flag bits left out") << "1" << "cC0000100 c80000200" << "100>200 " << "0";
        QTest::newRow("one pair only") << "1" << "c100 c101 c500" << "" << "0";
        QTest::newRow("one pair after a gap") << "1" << "c100 c300 c500" << "100>300 " << "0";
        QTest::newRow("first frame only arms") << "1" << "c100" << "" << "1";
        QTest::newRow("kinds kept apart") << "1" << "c100 f300 c101 f900" << "" << "0";
        QTest::newRow("FD pair while classic waits") << "1" << "f10 c300 f12" << "10>12 " << "0";
        QTest::newRow("id 0 counts as none yet") << "1" << "c0 c555 c556" << "" << "0";
        QTest::newRow("off") << "0" << "c100 c300" << "" << "0";
        QTest::newRow("absent") << QString() << "c100 c300" << "" << "0";
        QTest::newRow("2 is not armed") << "2" << "c100 c300" << "" << "2";
        QTest::newRow("last id survives re-arming") << "1" << "c100 c101 A c200" << "101>200 " << "0";
        QTest::newRow("resetLastIds starts afresh") << "1" << "c100 f100 R c400 c401" << "" << "0";
    }
    void continuityCheck()
    {
        QFETCH(QString, armed);
        QFETCH(QString, steps);
        if (!armed.isNull())
            SettingsStore::setValue("recvIDAdd", armed);
        recvThread rx(0);
        QString errors;
        connect(&rx, &recvThread::errorID, this, [&](uint last, uint id) { errors += QString("%1>%2 ").arg(last, 0, 16).arg(id, 0, 16); });
        for (const QString &s : steps.split(' ')) {
            if (s == "A")
                SettingsStore::setValue("recvIDAdd", "1");
            else if (s == "R")
                rx.resetLastIds();
            else if (s[0] == 'f') {
                const CanFdReceiveRecord r = FakeDriver::canFdRecord(s.mid(1).toUInt(nullptr, 16), {});
                rx.buildCanFdBatch(&r, 1);
            } else {
                const CanReceiveRecord r = FakeDriver::canRecord(s.mid(1).toUInt(nullptr, 16), {});
                rx.buildCanBatch(&r, 1);
            }
        }
        QTEST(errors, "errors");
        QTEST(SettingsStore::value("recvIDAdd", "?"), "after");
        if (armed == "1" && steps.count(' ')) { // disarming is saved at once
            QFile file(SettingsStore::path());
            QVERIFY(file.open(QIODevice::ReadOnly) && file.readAll().contains("recvIDAdd,0"));
        }
    }
};

class ModelTest : public QObject {
    Q_OBJECT
    MyTableModel *m_model = nullptr;
    QAbstractItemModelTester *m_tester = nullptr;

private slots:
    void initTestCase() { qRegisterMetaType<Qt::Orientation>(); }
    void init()
    {
        m_model = new MyTableModel;
        m_tester = new QAbstractItemModelTester(m_model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        m_model->setHeader(kTitles);
    }
    void cleanup()
    {
        delete m_tester;
        delete m_model;
    }

    void cellTexts_data()
    {
        QTest::addColumn<int>("titles");
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("text");
        QTest::newRow("inside") << 11 << 1 << 5 << "0x2";
        QTest::newRow("last column") << 11 << 0 << 10 << "x| 01 ";
        QTest::newRow("row past the end") << 11 << 2 << 0 << "";
        QTest::newRow("negative row") << 11 << -1 << 0 << "";
        QTest::newRow("negative column") << 11 << 0 << -1 << "";
        QTest::newRow("column 11 with a twelfth title") << 12 << 0 << 11 << "";
        QTest::newRow("column beyond a short header") << 5 << 0 << 5 << "";
        QTest::newRow("inside a short header") << 5 << 0 << 4 << "Rx";
    }
    void cellTexts()
    {
        QFETCH(int, titles);
        QFETCH(int, row);
        QFETCH(int, column);
        m_model->setHeader((kTitles + QStringList { "extra" }).mid(0, titles));
        m_model->appendRows({ ::row("1", "2", "0x1", "Rx", "x| 01 "), ::row("2", "1", "0x2", "Rx") });
        QTEST(m_model->cellText(row, column), "text");
        if (titles == 11 && row == 0) { // every column shows its own field, for display and edit
            const QStringList expected = { "1", "10:00:00.001", "0x1", "2", "Rx", "0x1", "Standard Frame", "data frame", "0", "CAN", "x| 01 " };
            for (int c = 0; c < 11; ++c)
                QCOMPARE(m_model->data(m_model->index(0, c), c % 2 ? Qt::DisplayRole : Qt::EditRole).toString(), expected.at(c));
        }
    }

    void mergeRow_data()
    {
        QTest::addColumn<QList<ModelItem>>("rows");
        QTest::addColumn<ModelItem>("merged");
        QTest::addColumn<QStringList>("indexes"); // index column afterwards
        const QList<ModelItem> three = { row("1", "1", "0x123", "Rx"), row("2", "1", "0x456", "Rx"), row("3", "2", "0x123", "Rx") };
        QTest::newRow("empty model") << QList<ModelItem> {} << row("9", "1", "0x123", "Rx") << QStringList { "9" };
        QTest::newRow("same key overwrites in place") << three << row("9", "1", "0x456", "Rx") << QStringList { "1", "9", "3" };
        QTest::newRow("other direction") << three << row("9", "1", "0x456", "Tx") << QStringList { "1", "2", "3", "9" };
        QTest::newRow("other channel") << three << row("9", "2", "0x456", "Rx") << QStringList { "1", "2", "3", "9" };
        QTest::newRow("extended text of the same number") << three << row("9", "1", "0x00000123", "Rx") << QStringList { "1", "2", "3", "9" };
        QTest::newRow("case-sensitive id") << QList<ModelItem> { row("1", "1", "0x1AB", "Rx") } << row("9", "1", "0x1ab", "Rx") << QStringList { "1", "9" };
        QTest::newRow("oldest of two equal rows") << QList<ModelItem> { row("1", "1", "0x7", "Rx"), row("2", "1", "0x7", "Rx") }
                                                  << row("9", "1", "0x7", "Rx") << QStringList { "9", "2" };
    }
    void mergeRow()
    {
        QFETCH(QList<ModelItem>, rows);
        QFETCH(ModelItem, merged);
        m_model->appendRows(rows);
        m_model->mergeRow(merged);
        QTEST(column(*m_model, 0), "indexes");
        const int at = column(*m_model, 0).indexOf(merged.indexText); // every text of the newest frame
        QCOMPARE(m_model->cellText(at, 1) + m_model->cellText(at, 2), merged.systemTime + merged.timeStamp);
    }

    void removeFirstRows_data()
    {
        QTest::addColumn<int>("n");
        QTest::addColumn<QStringList>("left");
        QTest::newRow("two of three") << 2 << QStringList { "3" };
        QTest::newRow("past the end") << 5 << QStringList {};
        QTest::newRow("zero") << 0 << QStringList { "1", "2", "3" };
        QTest::newRow("negative") << -4 << QStringList { "1", "2", "3" };
    }
    void removeFirstRows()
    {
        QFETCH(int, n);
        m_model->appendRows({ row("1", "1", "0x1", "Rx"), row("2", "1", "0x2", "Rx"), row("3", "1", "0x3", "Rx") });
        m_model->removeFirstRows(n);
        QTEST(column(*m_model, 0), "left");
    }

    void headerChanges()
    {
        MyTableModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy header(&model, &QAbstractItemModel::headerDataChanged);
        model.appendRows({ row("1", "1", "0x1", "Rx") });
        model.setHeader(kTitles);
        QCOMPARE(model.columnCount(), 11);
        // A language change: same count, new titles, the view is told once.
        const QStringList chinese = { "序号", "系统时间", "时间标识", "通道", "收/发", "ID", "Frame", "类型", "DLC", "CAN-FD", "数据" };
        model.setHeader(chinese);
        model.setHeader(chinese);
        QCOMPARE(header.count(), 1);
        QCOMPARE(header.first().at(2).toInt(), 10);
        QCOMPARE(model.headerData(10, Qt::Horizontal).toString(), QString("数据"));
        model.setHeader(chinese.mid(0, 4));
        QCOMPARE(model.columnCount(), 4);
    }

    void filterMarks_data()
    {
        QTest::addColumn<Steps>("steps");
        QTest::addColumn<QString>("titles"); // titles of columns 5 and 7
        QTest::addColumn<int>("headerSignals");
        QTest::newRow("mark") << Steps { { 5, { "0x123" } } } << "ID*|type" << 1;
        QTest::newRow("mark once only") << Steps { { 5, { "0x123" } }, { 5, { "0x123", "0x456" } } } << "ID*|type" << 2;
        QTest::newRow("same list is no change") << Steps { { 5, { "0x123" } }, { 5, { "0x123" } } } << "ID*|type" << 1;
        QTest::newRow("unmark") << Steps { { 5, { "0x123" } }, { 5, {} } } << "ID|type" << 2;
        QTest::newRow("unmark when never marked") << Steps { { 5, {} } } << "ID|type" << 0;
        QTest::newRow("two columns") << Steps { { 5, { "a" } }, { 7, { "b" } } } << "ID*|type*" << 2;
        QTest::newRow("column outside") << Steps { { 11, { "a" } }, { -1, { "a" } } } << "ID|type" << 0;
    }
    void filterMarks()
    {
        QFETCH(Steps, steps);
        QSignalSpy header(m_model, &QAbstractItemModel::headerDataChanged);
        for (const auto &step : steps)
            m_model->setFilter(step.first, step.second);
        QTEST(m_model->headerData(5, Qt::Horizontal).toString() + '|' + m_model->headerData(7, Qt::Horizontal).toString(), "titles");
        QTEST(header.count(), "headerSignals");
        QCOMPARE(m_model->header().at(5), m_model->headerData(5, Qt::Horizontal).toString());
    }

    void acceptsRow_data()
    {
        QTest::addColumn<Steps>("conditions");
        QTest::addColumn<ModelItem>("item");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("no conditions") << Steps {} << row("1", "1", "0x00000123", "Rx") << true;
        QTest::newRow("listed") << Steps { { 5, { "0x123" } } } << row("1", "1", "0x123", "Rx") << true;
        QTest::newRow("wider id not listed") << Steps { { 5, { "0x123" } } } << row("1", "1", "0x00000123", "Rx") << false;
        QTest::newRow("case-sensitive") << Steps { { 5, { "0x1AB" } } } << row("1", "1", "0x1ab", "Rx") << false;
        QTest::newRow("one of several") << Steps { { 5, { "0x1", "0x2", "0x3" } } } << row("1", "1", "0x2", "Rx") << true;
        QTest::newRow("every column must pass") << Steps { { 5, { "0x2" } }, { 4, { "Tx" } } } << row("1", "1", "0x2", "Rx") << false;
        QTest::newRow("all pass") << Steps { { 5, { "0x2" } }, { 4, { "Rx" } }, { 3, { "1" } } } << row("1", "1", "0x2", "Rx") << true;
        QTest::newRow("whole text only") << Steps { { 10, { "x| 01" } } } << row("1", "1", "0x2", "Rx", "x| 01 ") << false;
        QTest::newRow("cleared again") << Steps { { 5, { "0x9" } }, { 5, {} } } << row("1", "1", "0x2", "Rx") << true;
    }
    void acceptsRow()
    {
        QFETCH(Steps, conditions);
        QFETCH(ModelItem, item);
        for (const auto &c : conditions)
            m_model->setFilter(c.first, c.second);
        QTEST(m_model->acceptsRow(item), "accepted");
        QTEST(m_model->acceptsRow(MyTableModel::rowFromItem(item)), "accepted");
    }
};

OSTREL_TEST_MAIN(QCoreApplication, new FrameTextTest, new ModelTest)
#include "tst_frames.moc"
