// Bus load arithmetic and its inputs: the bits one frame occupies in each
// phase (stuff bits estimated as the worst case), the tally the batch builders
// keep, the load at the rates of the bit-rate indexes, and the error frames
// and receive overflows the simulated adapter reports through the extension
// table (injected by its controls or by a node of config/simulator.ini).
#include "BusTally.h"
#include "BusTiming.h"
#include "DeviceLayer.h"
#include "PendingFrames.h"
#include "RuntimeFolder.h"
#include "SimControl.h"
#include "SimulatedAdapter.h"
#include "TestKit.h"
#include "recvThread.h"
#include "sendThread.h"

#include <QtTest>

namespace {
bool openBus(uint32_t arbitration = 0, uint32_t data = 0)
{
    if (!openDevice(41, 0, 0))
        return false;
    for (unsigned ch = 0; ch < 2; ++ch) {
        if (!setCanFdStandard(ch, 0) || !setBaudRate(ch, arbitration, data) || !initChannel(ch, 0) || !startChannel(ch))
            return false;
    }
    return true;
}

QList<quint64> tallied(const BusTally::Counts &c)
{
    return { c.frames, c.classic, c.fd, c.remote, c.extended, c.arbitrationBits, c.dataBits };
}
} // namespace

class tst_BusLoad : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        freshProcess();
        SimControl::setNodesEnabled(false);
        BusTally::take(0);
        BusTally::take(1);
    }
    void cleanup()
    {
        BusTally::setEnabled(false);
        closeDevice();
        SimControl::resetForTests();
    }

    // Bits per frame, worked out by hand from the field lengths:
    // classic standard = 47 + 8n + floor((33 + 8n) / 4), extended = 67 + 8n + floor((53 + 8n) / 4);
    // CAN FD standard: arbitration 30 + 4, data 1 + 4 + 8n + 4 + CRC + fixed stuff bits, plus
    // floor((21 + 8n) / 4) - 4; extended: arbitration 49 + 8, data share floor((40 + 8n) / 4) - 8.
    void frameBits_data()
    {
        columns<bool, bool, bool, bool, int, int, int>(
            { "fd", "extended", "remote", "brs", "length", "arbitration", "data" });
        QTest::newRow("classic std 0") << false << false << false << false << 0 << 47 + 8 << 0;
        QTest::newRow("classic std 8") << false << false << false << false << 8 << 111 + 24 << 0;
        QTest::newRow("classic ext 8") << false << true << false << false << 8 << 131 + 29 << 0;
        QTest::newRow("classic std remote dlc 8") << false << false << true << false << 8 << 47 + 8 << 0;
        QTest::newRow("classic ext remote") << false << true << true << false << 0 << 67 + 13 << 0;
        QTest::newRow("fd std 0 brs") << true << false << false << true << 0 << 34 << 32 + 1;
        QTest::newRow("fd std 16 brs") << true << false << false << true << 16 << 34 << 160 + 33;
        QTest::newRow("fd std 64 brs") << true << false << false << true << 64 << 34 << 549 + 129;
        QTest::newRow("fd ext 20 brs") << true << true << false << true << 20 << 57 << 197 + 42;
        QTest::newRow("fd std 12 no brs") << true << false << false << false << 12 << 30 + 128 + 29 << 0;
        QTest::newRow("fd ext 64 no brs") << true << true << false << false << 64 << 49 + 549 + 138 << 0;
    }
    void frameBits()
    {
        QFETCH(bool, fd);
        QFETCH(bool, extended);
        QFETCH(bool, remote);
        QFETCH(bool, brs);
        QFETCH(int, length);
        QFETCH(int, arbitration);
        QFETCH(int, data);
        const BusTiming::FrameBits bits = BusTiming::stuffedFrameBits(fd, extended, remote, brs, uint32_t(length));
        QCOMPARE(int(bits.arbitration), arbitration);
        QCOMPARE(int(bits.data), data);
    }

    // count frames of one kind, tallied as the batch builders do, over
    // elapsedMs at the rates of two bit-rate indexes; the expected load is
    // count x (arbitration bits / rate + data bits / rate) / time.
    void load_data()
    {
        columns<bool, bool, int, int, int, int, int, double>(
            { "fd", "brs", "length", "count", "arbitrationIndex", "dataIndex", "elapsedMs", "load" });
        // 1000 x 135 bits at 500 kbit/s in one second.
        QTest::newRow("classic 8 at 500k") << false << false << 8 << 1000 << 2 << 2 << 1000 << 27.0;
        // 100 x 135 bits at 125 kbit/s.
        QTest::newRow("classic 8 at 125k") << false << false << 8 << 100 << 6 << 0 << 1000 << 10.8;
        // 100 x 135 bits at 666.66 kbit/s (index 14, after 5 kbit/s): 13,500 / 666,666.
        QTest::newRow("classic 8 at 666k") << false << false << 8 << 100 << 14 << 0 << 1000 << 2.025002;
        // 10 x 135 bits at 5 kbit/s (index 13) over two seconds.
        QTest::newRow("classic 8 at 5k") << false << false << 8 << 10 << 13 << 0 << 2000 << 13.5;
        // 1000 x (34 / 1M + 678 / 5M) s.
        QTest::newRow("fd 64 brs at 1M/5M") << true << true << 64 << 1000 << 0 << 0 << 1000 << 16.96;
        // 500 x (34 / 500k + 33 / 2M) s in half a second.
        QTest::newRow("fd 0 brs at 500k/2M") << true << true << 0 << 500 << 2 << 2 << 500 << 8.45;
        // A 10-byte FD frame is padded to 12 bytes: 1000 x (34 / 1M + (128 + 25) / 100k).
        QTest::newRow("fd 10 brs at 1M/100k") << true << true << 10 << 1000 << 0 << 8 << 1000 << 156.4;
        // Without bit-rate switch the data rate plays no part: 1000 x 187 / 1M.
        QTest::newRow("fd 12 at 1M") << true << false << 12 << 1000 << 0 << 8 << 1000 << 18.7;
    }
    void load()
    {
        QFETCH(bool, fd);
        QFETCH(bool, brs);
        QFETCH(int, length);
        QFETCH(int, count);
        QFETCH(int, arbitrationIndex);
        QFETCH(int, dataIndex);
        QFETCH(int, elapsedMs);
        QFETCH(double, load);
        BusTally::Counts sums;
        for (int i = 0; i < count; ++i)
            BusTally::countFrame(sums, 0x123, uint32_t(length), fd, brs ? 1 : 0);
        const double got = BusTiming::loadPercent(sums.arbitrationBits, sums.dataBits,
            BusTiming::arbitrationRate(uint32_t(arbitrationIndex)), BusTiming::dataRate(uint32_t(dataIndex)),
            int64_t(elapsedMs) * 1000000);
        QVERIFY2(qAbs(got - load) < 1e-6, qPrintable(QString::number(got, 'f', 6)));
        // An unknown rate gives no load rather than a wrong one.
        QCOMPARE(BusTiming::loadPercent(sums.arbitrationBits, sums.dataBits, 0, 5000000, 1000000000), -1.0);
    }

    // The receive and send builders count what they build, per channel, only
    // while the tally is on; a flag byte other than 1 is no bit-rate switch.
    void tallyFollowsBatches()
    {
        recvThread rx(1);
        sendThread tx(0);
        CanReceiveRecord classic[3] {};
        classic[0].length = 8;
        classic[1].id = 0x80000123u; // extended, no data
        classic[2].id = 0x40000010u; // remote, DLC 8
        classic[2].length = 8;
        CanFdReceiveRecord fd[2] {};
        fd[0].length = 64;
        fd[0].flags = 1;
        fd[1].length = 12;
        fd[1].flags = 3;
        CanTransmitRecord sent[1] {};
        sent[0].length = 8;

        rx.buildCanBatch(classic, 3);
        tx.buildCanBatch(sent, 1, 2);
        QCOMPARE(tallied(BusTally::take(1)), QList<quint64>({ 0, 0, 0, 0, 0, 0, 0 }));

        BusTally::setEnabled(true);
        rx.buildCanBatch(classic, 3);
        rx.buildCanFdBatch(fd, 2);
        tx.buildCanBatch(sent, 1, 2);
        tx.buildCanBatch(sent, 1, 1); // on behalf of channel 2 (a file row)
        // arbitration: 135 + 80 + 55 | 34 + 187 | 135; data: 678.
        QCOMPARE(tallied(BusTally::take(1)), QList<quint64>({ 6, 4, 2, 1, 1, 270 + 221 + 135, 678 }));
        QCOMPARE(tallied(BusTally::take(0)), QList<quint64>({ 1, 1, 0, 0, 0, 135, 0 }));
        QCOMPARE(tallied(BusTally::take(1)), QList<quint64>({ 0, 0, 0, 0, 0, 0, 0 }));
        takePendingFrames();
    }

    // The rates the device layer last wrote are the ones the load uses; a
    // custom bit-rate text leaves them unknown.
    void configuredRates()
    {
        QVERIFY(openBus(14, 4));
        QCOMPARE(::configuredRates(0).arbitration, 666666u);
        QCOMPARE(::configuredRates(1).data, 800000u);
        QVERIFY(setCustomBaudRate(1, "custom"));
        QCOMPARE(::configuredRates(1).arbitration, 0u);
        QCOMPARE(::configuredRates(0).data, 800000u);
        closeDevice();
        QCOMPARE(::configuredRates(0).arbitration, 0u);
    }

    // Injected error frames and overflows reach the device layer per
    // channel; a restarted channel counts from zero, a closed one and a
    // back-end without the extension report nothing.
    void injectedCounters()
    {
        QVERIFY(openBus());
        QVERIFY(hasBusCounters());
        QVERIFY(SimControl::injectErrorFrames(1, 3));
        QVERIFY(SimControl::injectOverflows(1, 2));
        QVERIFY(SimControl::injectErrorFrames(0, 1));
        BusCounters c {};
        QVERIFY(readBusCounters(1, c));
        QCOMPARE(QList<quint64>({ c.errorFrames, c.receiveOverflows }), QList<quint64>({ 3, 2 }));
        QVERIFY(readBusCounters(0, c));
        QCOMPARE(QList<quint64>({ c.errorFrames, c.receiveOverflows }), QList<quint64>({ 1, 0 }));

        QVERIFY(resetChannel(1));
        QVERIFY(!readBusCounters(1, c));
        QVERIFY(!SimControl::injectErrorFrames(1, 1));
        QVERIFY(initChannel(1, 0) && startChannel(1));
        QVERIFY(readBusCounters(1, c));
        QCOMPARE(QList<quint64>({ c.errorFrames, c.receiveOverflows }), QList<quint64>({ 0, 0 }));

        installDriver(simulatedDriver());
        QVERIFY(!hasBusCounters());
        QVERIFY(!readBusCounters(0, c));
    }

    // Nodes of config/simulator.ini: "errors = 4" fails every fourth attempt
    // (the frame is sent again), "overflows = 5" loses every fifth frame in
    // the receive queue. Seen on channel 1, started first.
    void nodeInjections()
    {
        RuntimeFolder folder;
        folder.write("config/simulator.ini",
            "[noisy]\nid = 0x100\nperiod = 1\nerrors = 4\n\n[lossy]\nid = 0x200\nperiod = 1\noverflows = 5\n");
        SimControl::setNodesEnabled(true);
        QVERIFY(openBus());
        QCOMPARE(SimControl::configProblem(), QString());
        QTest::qWait(300);
        SimControl::setNodesEnabled(false);
        CanReceiveRecord buffer[1000];
        int noisy = 0, lossy = 0;
        for (uint32_t n; (n = receiveCan(0, buffer, 1000, 0)) > 0;)
            for (uint32_t i = 0; i < n; ++i)
                ++(buffer[i].id == 0x100 ? noisy : lossy);
        BusCounters c {};
        QVERIFY(readBusCounters(0, c));
        QVERIFY2(noisy > 100 && lossy > 100, qPrintable(QString("%1 %2").arg(noisy).arg(lossy)));
        QCOMPARE(int(c.errorFrames), (noisy + int(c.errorFrames)) / 4);
        QCOMPARE(int(c.receiveOverflows), (lossy + int(c.receiveOverflows)) / 5);
        QCOMPARE(SimControl::droppedFrames(0), quint64(c.receiveOverflows));

        // A node that could never get a frame through is refused.
        folder.write("config/simulator.ini", "[stuck]\nid = 0x100\nperiod = 1\nerrors = 1\n");
        closeDevice();
        QVERIFY(openDevice(41, 0, 0));
        QVERIFY(SimControl::configProblem().contains("errors = 1"));
    }
};

QTEST_GUILESS_MAIN(tst_BusLoad)
#include "tst_busload.moc"
