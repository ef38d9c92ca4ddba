// The simulated bus under load: capacity and time stamps, bounded queues,
// several threads at once, the simulated nodes and their file, the floods.
#include "tst_sim_support.h"

#include "AppPaths.h"
#include "SimNodes.h"

#include <QtTest>
#include <atomic>
#include <thread>

using namespace simtest;

Q_DECLARE_METATYPE(SimControl::FloodFrame)

namespace {

uint64_t sequenceOf(const uint8_t *data)
{
    uint64_t value = 0;
    for (int i = 7; i >= 0; --i)
        value = (value << 8) | data[i];
    return value;
}

// Frames per second from the first and last bus time stamp of a back-to-back run.
template <typename Record>
double stampedRate(const QVector<Record> &records)
{
    const double span = double(records.last().timestamp - records.first().timestamp);
    return span > 0 ? (records.size() - 1) * 1e6 / span : 0;
}

} // namespace

class tst_SimBus : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void busRateLimit_data();
    void busRateLimit();
    void transmitQueueBound();
    void concurrentSendAndReceive();

    void nodeTraffic();
    void nodeFile_data();
    void nodeFile();
    void shippedNodeFile();

    void floodAtBusLimit_data();
    void floodAtBusLimit();
    void floodAsFastAsPossible_data();
    void floodAsFastAsPossible();
};

void tst_SimBus::init()
{
    installDriver(simulatedDriver());
    SimControl::resetForTests();
    resetDeviceState();
    SimControl::setNodesEnabled(false);
    AppPaths::setAppDirForTests(QString());
}

void tst_SimBus::cleanup()
{
    if (isDeviceOpen())
        closeDevice();
    SimControl::resetForTests();
    resetDeviceState();
    AppPaths::setAppDirForTests(QString());
}

void tst_SimBus::busRateLimit_data()
{
    QTest::addColumn<bool>("fd");
    QTest::addColumn<int>("length");
    QTest::addColumn<uint>("arbitration");
    QTest::addColumn<uint>("data");
    QTest::addColumn<double>("framesPerSecond");
    // Half the two-channel reference figures: one bus carries these.
    QTest::newRow("classic 8 bytes, 1 Mbit/s") << false << 8 << 0u << 0u << 1e6 / 111;
    QTest::newRow("classic empty, 1 Mbit/s") << false << 0 << 0u << 0u << 42553 / 2.0;
    QTest::newRow("CAN FD empty, 1M/5M switched") << true << 0 << 0u << 0u << 54945 / 2.0;
    QTest::newRow("classic 8 bytes, 500 kbit/s") << false << 8 << 2u << 0u << 5e5 / 111;
}

void tst_SimBus::busRateLimit()
{
    QFETCH(bool, fd);
    QFETCH(int, length);
    QFETCH(uint, arbitration);
    QFETCH(uint, data);
    QFETCH(double, framesPerSecond);
    ChannelSetup setup;
    setup.arbitration = arbitration;
    setup.data = data;
    QVERIFY(openBus(setup, setup));

    // One call queues them all; the bus alone sets the pace.
    constexpr int kFrames = 1000;
    double rate = 0;
    if (fd) {
        QVector<CanFdTransmitRecord> records(kFrames, fdTx(0x100, QByteArray(length, '\x5A'), true));
        QCOMPARE(kx().TransmitCanFd(handle(0), records.data(), kFrames), uint32_t(kFrames));
        const QVector<CanFdReceiveRecord> got = collect<CanFdReceiveRecord>(1, kFrames);
        QCOMPARE(got.size(), kFrames);
        for (int i = 1; i < got.size(); ++i)
            QVERIFY(got[i].timestamp > got[i - 1].timestamp);
        rate = stampedRate(got);
    } else {
        QVector<CanTransmitRecord> records(kFrames, canTx(0x100, QByteArray(length, '\x5A')));
        QCOMPARE(kx().TransmitCan(handle(0), records.data(), kFrames), uint32_t(kFrames));
        const QVector<CanReceiveRecord> got = collect<CanReceiveRecord>(1, kFrames);
        QCOMPARE(got.size(), kFrames);
        for (int i = 1; i < got.size(); ++i)
            QVERIFY(got[i].timestamp > got[i - 1].timestamp);
        rate = stampedRate(got);
    }
    QVERIFY2(qAbs(rate / framesPerSecond - 1) < 0.10,
        qPrintable(QString("%1 frames/s, expected %2").arg(rate).arg(framesPerSecond)));
}

void tst_SimBus::transmitQueueBound()
{
    // At 5 kbit/s one 64-byte CAN FD frame without switch holds the bus for
    // about 116 ms, so nothing leaves the queue while the test runs.
    ChannelSetup slow;
    slow.arbitration = 13;
    QVERIFY(openBus(slow, slow));
    QVector<CanFdTransmitRecord> records(5000, fdTx(0x100, QByteArray(64, 'x'), false));
    QCOMPARE(kx().TransmitCanFd(handle(0), records.data(), 5000), 4096u);
    QCOMPARE(kx().TransmitCanFd(handle(0), records.data(), 1), 0u);
    QCOMPARE(kx().TransmitCanFd(handle(1), records.data(), 1), 1u);
}

void tst_SimBus::concurrentSendAndReceive()
{
    QVERIFY(openBus());
    constexpr uint32_t kFrames = 3000;
    std::atomic<bool> sendersDone{false};

    // Each sender numbers its frames in bytes 0-3 and alternates batches of
    // classic and CAN FD frames of changing size.
    auto send = [](unsigned ch) {
        const uint32_t h = handle(ch);
        QVector<CanTransmitRecord> classic(64);
        QVector<CanFdTransmitRecord> fd(64);
        uint32_t sequence = 0;
        for (int batch = 0; sequence < kFrames; ++batch) {
            const uint32_t n = std::min<uint32_t>(1 + batch % 37, kFrames - sequence);
            for (uint32_t i = 0; i < n; ++i) {
                QByteArray payload(8, char(ch));
                for (int b = 0; b < 4; ++b)
                    payload[b] = char((sequence + i) >> (8 * b));
                classic[int(i)] = canTx(0x100 + ch, payload);
                fd[int(i)] = fdTx(0x100 + ch, payload, true);
            }
            uint32_t done = 0;
            while (done < n) {
                done += (batch % 2) ? kx().TransmitCanFd(h, fd.data() + done, n - done)
                                    : kx().TransmitCan(h, classic.data() + done, n - done);
            }
            sequence += n;
        }
    };

    struct Heard {
        QVector<uint32_t> classic;
        QVector<uint32_t> fd;
        bool foreign = false;
    };
    Heard heard[2];
    auto receive = [&](unsigned ch) {
        QVector<CanReceiveRecord> classic(1000);
        QVector<CanFdReceiveRecord> fd(1000);
        QElapsedTimer timer;
        timer.start();
        Heard &h = heard[ch];
        while (uint32_t(h.classic.size() + h.fd.size()) < kFrames && timer.elapsed() < 30000) {
            const uint32_t n = receiveCan(ch, classic.data(), 1000, 0);
            for (uint32_t i = 0; i < n; ++i) {
                h.classic.append(uint32_t(sequenceOf(classic[int(i)].data) & 0xFFFFFFFF));
                h.foreign |= classic[int(i)].data[4] != 1 - ch;
            }
            const uint32_t m = receiveCanFd(ch, fd.data(), 1000, 0);
            for (uint32_t i = 0; i < m; ++i) {
                h.fd.append(uint32_t(sequenceOf(fd[int(i)].data) & 0xFFFFFFFF));
                h.foreign |= fd[int(i)].data[4] != 1 - ch;
            }
            if (n == 0 && m == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    };

    std::thread receivers[2] = {std::thread(receive, 0), std::thread(receive, 1)};
    std::thread senders[2] = {std::thread(send, 0), std::thread(send, 1)};
    std::thread gui([&] {
        // Meanwhile the GUI thread polls the adapter and writes properties.
        DeviceInfoRecord info;
        while (!sendersDone) {
            kx().GetDeviceStatus(deviceState().deviceHandle);
            kx().GetDeviceInfo(deviceState().deviceHandle, &info);
            setTerminalResistance(0, 1);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    for (std::thread &t : senders)
        t.join();
    sendersDone = true;
    gui.join();
    for (std::thread &t : receivers)
        t.join();

    for (unsigned ch = 0; ch < 2; ++ch) {
        const Heard &h = heard[ch];
        QVERIFY(!h.foreign);
        QVERIFY(std::is_sorted(h.classic.begin(), h.classic.end()));
        QVERIFY(std::is_sorted(h.fd.begin(), h.fd.end()));
        QVector<uint32_t> all = h.classic + h.fd;
        std::sort(all.begin(), all.end());
        QCOMPARE(uint32_t(all.size()), kFrames);
        for (uint32_t i = 0; i < kFrames; ++i)
            QCOMPARE(all[int(i)], i);
    }
}

void tst_SimBus::nodeTraffic()
{
    SimControl::setNodesEnabled(true);
    QVERIFY(openBus());
    const QSet<uint32_t> classicIds{0x100, 0x98FF0010, 0x400007DF};
    const QSet<uint32_t> fdIds{0x200, 0x300, 0x81CEBA55};
    for (unsigned ch = 0; ch < 2; ++ch) {
        QSet<uint32_t> seen;
        QVector<CanReceiveRecord> engine;
        QVector<CanReceiveRecord> classic(1000);
        QVector<CanFdReceiveRecord> fd(1000);
        QElapsedTimer timer;
        timer.start();
        while ((!seen.contains(classicIds + fdIds) || engine.size() < 3) && timer.elapsed() < 5000) {
            const uint32_t n = receiveCan(ch, classic.data(), 1000, 20);
            for (uint32_t i = 0; i < n; ++i) {
                const CanReceiveRecord &r = classic[int(i)];
                seen.insert(r.id);
                if (r.id == 0x100)
                    engine.append(r);
                if (r.id == 0x400007DF) {
                    QCOMPARE(int(r.length), 8);
                    QCOMPARE(QByteArray(reinterpret_cast<const char *>(r.data), 8), QByteArray(8, '\0'));
                }
            }
            const uint32_t m = receiveCanFd(ch, fd.data(), 1000, 0);
            for (uint32_t i = 0; i < m; ++i) {
                const CanFdReceiveRecord &r = fd[int(i)];
                seen.insert(r.id);
                if (r.id == 0x200)
                    QCOMPARE(int(r.length) * 10 + r.flags, 161);
                if (r.id == 0x300)
                    QCOMPARE(int(r.length) * 10 + r.flags, 120);
            }
        }
        QVERIFY2(seen.contains(classicIds + fdIds), qPrintable(QString("channel %1").arg(ch)));
        QVERIFY(engine.size() >= 3);
        for (int i = 1; i < engine.size(); ++i) {
            QCOMPARE(uint8_t(engine[i].data[0]), uint8_t(engine[i - 1].data[0] + 1));
            QCOMPARE(QByteArray(reinterpret_cast<const char *>(engine[i].data) + 1, 3), QByteArray::fromHex("102764"));
            QVERIFY(engine[i].timestamp > engine[i - 1].timestamp);
        }
    }
}

void tst_SimBus::nodeFile_data()
{
    QTest::addColumn<bool>("writeFile");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("problem");   // part of the reported problem; empty = none
    QTest::addColumn<uint>("expectedId");   // a frame to wait for; 0 = a quiet bus
    QTest::addColumn<bool>("onlyThatId");

    QTest::newRow("own node") << true << QByteArray("[tester]\nid = 0x555\nperiod = 5\ndata = 01 02\n") << ""
                              << 0x555u << true;
    QTest::newRow("comments and defaults")
        << true << QByteArray("; a comment\n[a] ; trailing\nID=0x18FF0011 # extended by size\nperiod=5\nlength=1\n")
        << "" << 0x98FF0011u << true;
    QTest::newRow("empty file") << true << QByteArray() << "" << 0u << true;
    QTest::newRow("missing file") << false << QByteArray() << "not found" << 0x100u << false;
    QTest::newRow("line without =") << true << QByteArray("[a]\nid = 0x555\nperiod 5\n") << "line 3" << 0x100u
                                    << false;
    QTest::newRow("unknown key") << true << QByteArray("[a]\nid = 0x555\nperiod = 5\nspeed = 3\n")
                                 << "unknown key" << 0x100u << false;
    QTest::newRow("standard id past 0x7FF")
        << true << QByteArray("[a]\nid = 0x800\nextended = 0\nperiod = 5\n") << "0x7FF" << 0x100u << false;
    QTest::newRow("no period") << true << QByteArray("[a]\nid = 0x555\n") << "no period" << 0x100u << false;
    QTest::newRow("CAN FD length 10") << true << QByteArray("[a]\nid = 0x555\nfd = 1\nlength = 10\nperiod = 5\n")
                                      << "length 10" << 0x100u << false;
    QTest::newRow("key outside a node") << true << QByteArray("id = 0x555\n[a]\nid = 0x555\nperiod = 5\n")
                                        << "outside" << 0x100u << false;
}

void tst_SimBus::nodeFile()
{
    QFETCH(bool, writeFile);
    QFETCH(QByteArray, content);
    QFETCH(QString, problem);
    QFETCH(uint, expectedId);
    QFETCH(bool, onlyThatId);

    QTemporaryDir dir;
    QVERIFY(QDir().mkpath(dir.path() + "/config"));
    if (writeFile) {
        QFile file(dir.path() + "/config/simulator.ini");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    AppPaths::setAppDirForTests(dir.path());
    SimControl::setNodesEnabled(true);
    QVERIFY(openBus());
    const QString reported = SimControl::configProblem();
    if (problem.isEmpty())
        QVERIFY2(reported.isEmpty(), qPrintable(reported));
    else
        QVERIFY2(reported.contains(problem), qPrintable(reported));

    CanReceiveRecord buffer[64];
    if (expectedId == 0) {
        QCOMPARE(receiveCan(0, buffer, 64, 200), 0u);
        CanFdReceiveRecord fd[4];
        QCOMPARE(receiveCanFd(0, fd, 4, 0), 0u);
        return;
    }
    QVector<CanReceiveRecord> got;
    QElapsedTimer timer;
    timer.start();
    while (got.size() < 3 && timer.elapsed() < 3000) {
        const uint32_t n = receiveCan(0, buffer, 64, 20);
        for (uint32_t i = 0; i < n; ++i) {
            if (buffer[i].id == expectedId)
                got.append(buffer[i]);
            else if (onlyThatId)
                QFAIL(qPrintable(QString("unexpected id %1").arg(buffer[i].id, 0, 16)));
        }
    }
    // One read may bring more than three frames of a 5 ms node on a busy machine.
    QVERIFY(got.size() >= 3);
    if (expectedId == 0x555) {
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(int(got[i].length), 2);
            QCOMPARE(int(got[i].data[1]), 2);
            QCOMPARE(int(got[i].data[0]), int(got[0].data[0]) + i);
        }
    }
}

void tst_SimBus::shippedNodeFile()
{
    QString problem;
    const std::vector<SimNode> nodes = SimNodes::load(AppPaths::appDir() + "/config/simulator.ini", problem);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    QVERIFY(nodes == SimNodes::defaults());
    int framesPerSecond = 0;
    for (const SimNode &node : nodes)
        framesPerSecond += 1000 / int(node.periodMs);
    QVERIFY2(framesPerSecond < 1000, "node traffic is meant to stay readable");
}

void tst_SimBus::floodAtBusLimit_data()
{
    QTest::addColumn<SimControl::FloodFrame>("frame");
    QTest::addColumn<double>("totalPerSecond");   // both channels together
    QTest::newRow("CAN FD empty") << SimControl::FloodFrame::CanFdEmpty << 54945.0;
    QTest::newRow("classic 8 bytes") << SimControl::FloodFrame::Can8 << 2e6 / 111;
}

void tst_SimBus::floodAtBusLimit()
{
    QFETCH(SimControl::FloodFrame, frame);
    QFETCH(double, totalPerSecond);
    QVERIFY(openBus());
    SimControl::startFlood(SimControl::FloodMode::BusLimit, frame);
    constexpr int kFrames = 4000;
    for (unsigned ch = 0; ch < 2; ++ch) {
        double rate = 0;
        if (frame == SimControl::FloodFrame::Can8) {
            const QVector<CanReceiveRecord> got = collect<CanReceiveRecord>(ch, kFrames);
            QCOMPARE(got.size(), kFrames);
            for (int i = 0; i < kFrames; ++i) {
                QCOMPARE(sequenceOf(got[i].data), uint64_t(i));
                QCOMPARE(got[i].id, uint32_t(i & 0x7FF));
            }
            rate = stampedRate(got);
        } else {
            const QVector<CanFdReceiveRecord> got = collect<CanFdReceiveRecord>(ch, kFrames);
            QCOMPARE(got.size(), kFrames);
            for (int i = 0; i < kFrames; ++i) {
                QCOMPARE(got[i].id, uint32_t(i & 0x7FF));
                QCOMPARE(int(got[i].length), 0);
                QCOMPARE(int(got[i].flags), 1);
            }
            rate = stampedRate(got);
        }
        QVERIFY2(qAbs(2 * rate / totalPerSecond - 1) < 0.10,
            qPrintable(QString("channel %1: %2 frames/s").arg(ch).arg(rate)));
    }
    QVERIFY(SimControl::floodInjected() >= quint64(kFrames));
    SimControl::stopFlood();
    QCOMPARE(SimControl::droppedFrames(0) + SimControl::droppedFrames(1), 0ull);
}

void tst_SimBus::floodAsFastAsPossible_data()
{
    QTest::addColumn<SimControl::FloodFrame>("frame");
    QTest::newRow("classic 8 bytes") << SimControl::FloodFrame::Can8;
    QTest::newRow("CAN FD empty") << SimControl::FloodFrame::CanFdEmpty;
    QTest::newRow("CAN FD 64 bytes") << SimControl::FloodFrame::CanFd64;
}

void tst_SimBus::floodAsFastAsPossible()
{
    QFETCH(SimControl::FloodFrame, frame);
    QVERIFY(openBus());
    SimControl::startFlood(SimControl::FloodMode::AsFastAsPossible, frame);
    // Nobody reads until both queues are full: the flood must wait, not drop.
    QTRY_VERIFY_WITH_TIMEOUT(SimControl::floodInjected() >= 100000, 10000);

    constexpr uint64_t kFrames = 250000;
    const bool classic = frame == SimControl::FloodFrame::Can8;
    QVector<CanReceiveRecord> can(1000);
    QVector<CanFdReceiveRecord> fd(1000);
    uint64_t next[2] = {0, 0};
    bool inOrder = true;
    QElapsedTimer timer;
    timer.start();
    while ((next[0] < kFrames || next[1] < kFrames) && timer.elapsed() < 30000) {
        for (unsigned ch = 0; ch < 2; ++ch) {
            if (classic) {
                const uint32_t n = receiveCan(ch, can.data(), 1000, 1);
                for (uint32_t i = 0; i < n; ++i, ++next[ch])
                    inOrder &= sequenceOf(can[int(i)].data) == next[ch] && can[int(i)].id == (next[ch] & 0x7FF);
            } else {
                const uint32_t n = receiveCanFd(ch, fd.data(), 1000, 1);
                for (uint32_t i = 0; i < n; ++i, ++next[ch]) {
                    inOrder &= fd[int(i)].id == (next[ch] & 0x7FF);
                    if (frame == SimControl::FloodFrame::CanFd64)
                        inOrder &= fd[int(i)].length == 64 && sequenceOf(fd[int(i)].data) == next[ch];
                }
            }
        }
        if (!inOrder)
            break;
    }
    SimControl::stopFlood();
    QVERIFY(inOrder);
    QVERIFY(next[0] >= kFrames);
    QVERIFY(next[1] >= kFrames);
    QCOMPARE(SimControl::droppedFrames(0) + SimControl::droppedFrames(1), 0ull);
}

QTEST_GUILESS_MAIN(tst_SimBus)
#include "tst_sim_bus.moc"
