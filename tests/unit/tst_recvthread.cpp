// The receive thread against the recording fake driver: what reaches
// pendingFrames, in which order, how the loop ends, and the one-shot
// identifier continuity check.
#include "DeviceLayer.h"
#include "ModelItem.h"
#include "SettingsStore.h"
#include "common/FakeDriver.h"
#include "recvThread.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

namespace {
using Frame = QPair<bool, uint>; // (CAN FD, identifier word)

QString setting(const char *key) { return SettingsStore::value(QString::fromLatin1(key), QStringLiteral("?")); }

// Takes frames until `count` have arrived or the time is up.
QList<ModelItem> collect(int count, int timeoutMs = 10000)
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
} // namespace

class tst_RecvThread : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void classicBeforeFdInEveryPass();
    void readsAreCappedAtThousand();
    void nothingLostOverLongRun();
    void stopBeforeStart();
    void stopEndsTheLoopAndRestarts();
    void endsWhenChannelCloses();
    void continuityCheck_data();
    void continuityCheck();
    void lastIdentifierSurvivesRearming();
    void resetLastIdsStartsAfresh();
    void errorIdReachesGuiThread();

private:
    QTemporaryDir m_dir;
};

void tst_RecvThread::initTestCase()
{
    QVERIFY(m_dir.isValid());
    registerModelItemTypes();
}

void tst_RecvThread::init()
{
    SettingsStore::load(m_dir.filePath(QStringLiteral("setdb.txt")));
    FakeDriver::install();
    FakeDriver::openChannels(true, true);
    takePendingFrames();
    setLanguageCode(2);
}

void tst_RecvThread::cleanup()
{
    resetDeviceState();
    setLanguageCode(0);
}

void tst_RecvThread::classicBeforeFdInEveryPass()
{
    using FakeDriver::canFdRecord;
    using FakeDriver::canRecord;
    FakeDriver::queueCanRead(0, { canRecord(0x1, {}), canRecord(0x2, {}) });
    FakeDriver::queueCanRead(0, { canRecord(0x4, {}) });
    FakeDriver::queueCanFdRead(0, { canFdRecord(0x3, {}) });
    FakeDriver::queueCanFdRead(0, { canFdRecord(0x5, {}) });

    recvThread rx(0);
    rx.setRecvParams(500, 7);
    rx.start();
    const QList<ModelItem> items = collect(5);
    rx.stop();
    QVERIFY(rx.wait(5000));

    QStringList ids;
    for (const ModelItem &item : items)
        ids << item.idText;
    // Pass 1 reads 1, 2 then FD 3; pass 2 reads 4 then FD 5.
    QCOMPARE(ids, QStringList({ "0x001", "0x002", "0x003", "0x004", "0x005" }));
    QCOMPARE(items.at(2).protocolText, QStringLiteral("CANFD"));
    QCOMPARE(items.at(3).protocolText, QStringLiteral("CAN"));

    // Every pass polls classic then FD, on this channel's handle, without waiting,
    // whatever setRecvParams was given.
    const QList<FakeDriver::Call> calls = FakeDriver::calls();
    QVERIFY(calls.size() >= 4);
    for (int i = 0; i < calls.size(); ++i) {
        QCOMPARE(calls.at(i).name, i % 2 ? QStringLiteral("ReceiveCanFd") : QStringLiteral("ReceiveCan"));
        QCOMPARE(calls.at(i).args.at(0), quint64(FakeDriver::channelHandle(0)));
        QCOMPARE(calls.at(i).args.at(1), quint64(1000));
        QCOMPARE(calls.at(i).args.at(2), quint64(0));
    }
}

void tst_RecvThread::readsAreCappedAtThousand()
{
    std::vector<CanReceiveRecord> many;
    for (int i = 0; i < 2500; ++i)
        many.push_back(FakeDriver::canRecord(0x100, {}, quint64(i)));
    FakeDriver::queueCanRead(1, many);
    FakeDriver::queueCanFdRead(1, { FakeDriver::canFdRecord(0x200, {}) });

    recvThread rx(1);
    rx.start();
    const QList<ModelItem> items = collect(2501);
    rx.stop();
    QVERIFY(rx.wait(5000));

    QCOMPARE(items.size(), 2501);
    // The FD frame came in the first pass, right after the first 1000 classic frames.
    QCOMPARE(items.at(1000).idText, QStringLiteral("0x200"));
    QCOMPARE(items.at(999).timeStamp, QStringLiteral("0x3E7"));
    QCOMPARE(items.at(1001).timeStamp, QStringLiteral("0x3E8"));
    QCOMPARE(items.last().timeStamp, QStringLiteral("0x9C3"));
}

void tst_RecvThread::nothingLostOverLongRun()
{
    // Time stamps carry a running number per kind, so order and gaps show.
    QRandomGenerator rng(20240611);
    quint64 classicSeq = 0, fdSeq = 0;
    for (int read = 0; read < 300; ++read) {
        std::vector<CanReceiveRecord> classic;
        const int nc = rng.bounded(0, 40);
        for (int i = 0; i < nc; ++i)
            classic.push_back(FakeDriver::canRecord(0x10, QByteArray(8, char(i)), classicSeq++));
        if (!classic.empty())
            FakeDriver::queueCanRead(1, classic);
        std::vector<CanFdReceiveRecord> fd;
        const int nf = rng.bounded(0, 20);
        for (int i = 0; i < nf; ++i)
            fd.push_back(FakeDriver::canFdRecord(0x20, QByteArray(64, char(i)), 1, fdSeq++));
        if (!fd.empty())
            FakeDriver::queueCanFdRead(1, fd);
    }
    const int total = int(classicSeq + fdSeq);

    recvThread rx(1);
    rx.start();
    const QList<ModelItem> items = collect(total, 30000);
    rx.stop();
    QVERIFY(rx.wait(5000));
    QCOMPARE(FakeDriver::queuedReads(1), 0);
    QCOMPARE(items.size(), total);

    quint64 nextClassic = 0, nextFd = 0;
    for (const ModelItem &item : items) {
        QCOMPARE(item.channel, 1u);
        QCOMPARE(item.channelText, QStringLiteral("2"));
        QCOMPARE(item.direction, 1u);
        bool ok = false;
        const quint64 seq = item.timeStamp.mid(2).toULongLong(&ok, 16);
        QVERIFY(ok);
        if (item.protocolText == QLatin1String("CAN")) {
            QCOMPARE(seq, nextClassic++);
            QCOMPARE(item.idText, QStringLiteral("0x010"));
        } else {
            QCOMPARE(item.protocolText, QStringLiteral("CANFD-acceleration"));
            QCOMPARE(seq, nextFd++);
            QCOMPARE(item.dataText.size(), 195);
        }
    }
    QCOMPARE(nextClassic, classicSeq);
    QCOMPARE(nextFd, fdSeq);
}

void tst_RecvThread::stopBeforeStart()
{
    FakeDriver::queueCanRead(0, { FakeDriver::canRecord(0x1, {}) });
    recvThread rx(0);
    rx.stop();
    rx.start();
    QVERIFY(rx.wait(5000));
    QVERIFY(!rx.stopRequested());
    QCOMPARE(FakeDriver::calls().size(), 0);
    QVERIFY(takePendingFrames().isEmpty());
}

void tst_RecvThread::stopEndsTheLoopAndRestarts()
{
    recvThread rx(0);
    rx.start();
    QTRY_VERIFY_WITH_TIMEOUT(FakeDriver::callCount(QStringLiteral("ReceiveCan")) >= 3, 5000);
    rx.stop();
    QVERIFY(rx.wait(5000));
    QVERIFY(!rx.stopRequested());

    // The cleared flag lets the same object run again.
    FakeDriver::queueCanRead(0, { FakeDriver::canRecord(0x7, {}) });
    rx.start();
    const QList<ModelItem> items = collect(1);
    rx.stop();
    QVERIFY(rx.wait(5000));
    QCOMPARE(items.size(), 1);
    QCOMPARE(items.first().idText, QStringLiteral("0x007"));
}

void tst_RecvThread::endsWhenChannelCloses()
{
    recvThread rx(1);
    rx.start();
    QTRY_VERIFY_WITH_TIMEOUT(FakeDriver::callCount(QStringLiteral("ReceiveCanFd")) >= 2, 5000);
    deviceState().channelHandle[1] = 0;
    QVERIFY(rx.wait(5000));
    QVERIFY(!rx.stopRequested());

    // A channel that is closed at start ends the run before any read.
    FakeDriver::clearCalls();
    rx.start();
    QVERIFY(rx.wait(5000));
    QCOMPARE(FakeDriver::calls().size(), 0);
}

void tst_RecvThread::continuityCheck_data()
{
    QTest::addColumn<QString>("armed"); // "recvIDAdd" before; empty = absent
    QTest::addColumn<QList<Frame>>("frames"); // built one batch per frame
    QTest::addColumn<QList<QPair<uint, uint>>>("errors");
    QTest::addColumn<QString>("after");

    using E = QList<QPair<uint, uint>>;
    QTest::newRow("in order") << "1" << QList<Frame> { { false, 0x100 }, { false, 0x101 } } << E {} << "0";
    QTest::newRow("gap") << "1" << QList<Frame> { { false, 0x100 }, { false, 0x102 } } << E { { 0x100, 0x102 } } << "0";
    QTest::newRow("backwards") << "1" << QList<Frame> { { true, 0x100 }, { true, 0x0FF } } << E { { 0x100, 0x0FF } }
                               << "0";
    QTest::newRow("standard wrap") << "1" << QList<Frame> { { false, 0x7FF }, { false, 0x000 } } << E {} << "0";
    QTest::newRow("extended wrap is a gap")
        << "1" << QList<Frame> { { true, 0x9FFFFFFF }, { true, 0x80000000 } } << E { { 0x1FFFFFFF, 0 } } << "0";
    QTest::newRow("flag bits ignored") << "1" << QList<Frame> { { false, 0x80000100 }, { false, 0x40000101 } } << E {}
                                       << "0";
    QTest::newRow("flag bits removed from the report")
        << "1" << QList<Frame> { { false, 0xC0000100 }, { false, 0x80000200 } } << E { { 0x100, 0x200 } } << "0";
    QTest::newRow("one pair only") << "1" << QList<Frame> { { false, 0x100 }, { false, 0x101 }, { false, 0x500 } }
                                   << E {} << "0";
    QTest::newRow("one pair only after a gap")
        << "1" << QList<Frame> { { false, 0x100 }, { false, 0x300 }, { false, 0x500 } } << E { { 0x100, 0x300 } }
        << "0";
    QTest::newRow("first frame only arms") << "1" << QList<Frame> { { false, 0x100 } } << E {} << "1";
    QTest::newRow("classic and FD kept apart")
        << "1" << QList<Frame> { { false, 0x100 }, { true, 0x300 }, { false, 0x101 }, { true, 0x900 } } << E {} << "0";
    QTest::newRow("FD pair while classic waits")
        << "1" << QList<Frame> { { true, 0x10 }, { false, 0x300 }, { true, 0x12 } } << E { { 0x10, 0x12 } } << "0";
    QTest::newRow("identifier 0 counts as none yet")
        << "1" << QList<Frame> { { false, 0x000 }, { false, 0x555 }, { false, 0x556 } } << E {} << "0";
    QTest::newRow("off") << "0" << QList<Frame> { { false, 0x100 }, { false, 0x300 } } << E {} << "0";
    QTest::newRow("absent") << "" << QList<Frame> { { false, 0x100 }, { false, 0x300 } } << E {} << "0";
    QTest::newRow("2 is not armed") << "2" << QList<Frame> { { false, 0x100 }, { false, 0x300 } } << E {} << "2";
}

void tst_RecvThread::continuityCheck()
{
    QFETCH(QString, armed);
    QFETCH(QList<Frame>, frames);
    if (!armed.isEmpty())
        SettingsStore::setValue(QStringLiteral("recvIDAdd"), armed);

    recvThread rx(0);
    QList<QPair<uint, uint>> errors;
    connect(&rx, &recvThread::errorID, this, [&](uint last, uint id) { errors << qMakePair(last, id); });
    for (const Frame &f : frames) {
        if (f.first) {
            const CanFdReceiveRecord rec = FakeDriver::canFdRecord(f.second, {});
            rx.buildCanFdBatch(&rec, 1);
        } else {
            const CanReceiveRecord rec = FakeDriver::canRecord(f.second, {});
            rx.buildCanBatch(&rec, 1);
        }
    }
    QTEST(errors, "errors");
    QTEST(setting("recvIDAdd"), "after");
    QCOMPARE(takePendingFrames().size(), frames.size());
}

void tst_RecvThread::lastIdentifierSurvivesRearming()
{
    recvThread rx(0);
    QList<QPair<uint, uint>> errors;
    connect(&rx, &recvThread::errorID, this, [&](uint last, uint id) { errors << qMakePair(last, id); });
    const CanReceiveRecord recs[3]
        = { FakeDriver::canRecord(0x100, {}), FakeDriver::canRecord(0x101, {}), FakeDriver::canRecord(0x200, {}) };
    SettingsStore::setValue(QStringLiteral("recvIDAdd"), QStringLiteral("1"));
    rx.buildCanBatch(recs, 2);
    QVERIFY(errors.isEmpty());
    QCOMPARE(setting("recvIDAdd"), QStringLiteral("0"));

    // Re-armed: the first frame is compared with the one seen when the check last ran.
    SettingsStore::setValue(QStringLiteral("recvIDAdd"), QStringLiteral("1"));
    rx.buildCanBatch(recs + 2, 1);
    QCOMPARE(errors, (QList<QPair<uint, uint>> { { 0x101, 0x200 } }));

    // The disarming write is saved to the settings file at once.
    QFile file(SettingsStore::path());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains("recvIDAdd,0"));
}

void tst_RecvThread::resetLastIdsStartsAfresh()
{
    recvThread rx(0);
    QList<QPair<uint, uint>> errors;
    connect(&rx, &recvThread::errorID, this, [&](uint last, uint id) { errors << qMakePair(last, id); });
    const CanReceiveRecord old = FakeDriver::canRecord(0x100, {});
    const CanFdReceiveRecord oldFd = FakeDriver::canFdRecord(0x100, {});
    SettingsStore::setValue(QStringLiteral("recvIDAdd"), QStringLiteral("1"));
    rx.buildCanBatch(&old, 1);
    rx.buildCanFdBatch(&oldFd, 1);

    rx.resetLastIds();
    const CanReceiveRecord recs[2] = { FakeDriver::canRecord(0x400, {}), FakeDriver::canRecord(0x401, {}) };
    rx.buildCanBatch(recs, 2);
    QVERIFY(errors.isEmpty());
    QCOMPARE(setting("recvIDAdd"), QStringLiteral("0"));
}

void tst_RecvThread::errorIdReachesGuiThread()
{
    SettingsStore::setValue(QStringLiteral("recvIDAdd"), QStringLiteral("1"));
    FakeDriver::queueCanRead(1, { FakeDriver::canRecord(0x100, {}), FakeDriver::canRecord(0x105, {}) });
    recvThread rx(1);
    QList<QPair<uint, uint>> errors;
    connect(&rx, &recvThread::errorID, this, [&](uint last, uint id) {
        QCOMPARE(QThread::currentThread(), thread());
        errors << qMakePair(last, id);
    });
    rx.start();
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, 5000);
    rx.stop();
    QVERIFY(rx.wait(5000));
    QCOMPARE(errors.first(), qMakePair(0x100u, 0x105u));
    QCOMPARE(takePendingFrames().size(), 2);
}

QTEST_GUILESS_MAIN(tst_RecvThread)
#include "tst_recvthread.moc"
