// The simulated Halden-D2 through the driver table and the device layer:
// record bytes on the bus, what reaches which channel, rates and filters,
// resets and unplugging, bus timing and concurrency.
#include "DeviceLayer.h"
#include "SimControl.h"
#include "SimulatedAdapter.h"
#include "TestKit.h"

#include <QtEndian>
#include <QtTest>
#include <atomic>
#include <cstring>
#include <numeric>
#include <thread>

namespace {
const KestrixDriver &kx() { return *simulatedDriver(); }
uint32_t handle(unsigned ch) { return deviceState().channelHandle[ch].load(); }

struct Setup {
    uint32_t arbitration = 0, data = 0, mode = 0; // mode 1: listen-only
    QString custom; // custom bit timing instead of the indexes
};

// Opens the adapter and starts both channels in the open dialog's order.
bool openBus(const Setup &a = {}, const Setup &b = {})
{
    if (!openDevice(41, 0, 0))
        return false;
    for (unsigned ch = 0; ch < 2; ++ch) {
        const Setup &s = ch ? b : a;
        const bool rates
            = s.custom.isEmpty() ? setBaudRate(ch, s.arbitration, s.data) : setCustomBaudRate(ch, s.custom);
        if (!setCanFdStandard(ch, 0) || !rates || !initChannel(ch, s.mode) || !startChannel(ch))
            return false;
    }
    return true;
}

// A transmit record; CAN FD records get the bit-rate switch.
template <typename Record = CanTransmitRecord>
Record tx(uint32_t id, const QByteArray &data, uint32_t type = 0, uint8_t flags = 1)
{
    Record r {};
    r.id = id;
    r.length = uint8_t(data.size());
    std::memcpy(r.data, data.constData(), std::min(sizeof r.data, size_t(data.size())));
    r.transmitType = type;
    if constexpr (std::is_same_v<Record, CanFdTransmitRecord>)
        r.flags = flags;
    return r;
}
uint32_t transmit(unsigned ch, CanTransmitRecord *r, uint32_t n) { return kx().TransmitCan(handle(ch), r, n); }
uint32_t transmit(unsigned ch, CanFdTransmitRecord *r, uint32_t n) { return kx().TransmitCanFd(handle(ch), r, n); }
uint32_t readInto(unsigned ch, CanReceiveRecord *b, uint32_t n, int32_t w) { return receiveCan(ch, b, n, w); }
uint32_t readInto(unsigned ch, CanFdReceiveRecord *b, uint32_t n, int32_t w) { return receiveCanFd(ch, b, n, w); }

// Receives until `count` records came or the time is up (count 0: what is queued now).
template <typename Record> QVector<Record> collect(unsigned ch, int count = 0, int timeoutMs = 5000)
{
    QVector<Record> got, buffer(1000);
    QElapsedTimer timer;
    timer.start();
    while (count ? got.size() < count && timer.elapsed() < timeoutMs : true) {
        const uint32_t room = uint32_t(count ? std::min(1000, count - got.size()) : 1000);
        const uint32_t n = readInto(ch, buffer.data(), room, count ? 20 : 0);
        got += buffer.mid(0, int(n));
        if (!count && !n)
            break;
    }
    return got;
}

template <typename Record> QByteArray bytesOf(const Record &r, int n)
{
    return QByteArray(reinterpret_cast<const char *>(&r), n);
}

// A received record's head as the driver lays it out: identifier word, byte
// count, flags (0 when classic), two zero bytes, then the data padded.
QByteArray recordHead(uint32_t id, int length, int flags, const QByteArray &data, int dataBytes)
{
    QByteArray bytes(8, '\0');
    qToLittleEndian(id, bytes.data());
    bytes[4] = char(length);
    bytes[5] = char(flags);
    return bytes + data.left(dataBytes) + QByteArray(dataBytes - data.left(dataBytes).size(), '\0');
}

QByteArray counting(int n, int from)
{
    QByteArray b(n, '\0');
    std::iota(b.begin(), b.end(), char(from));
    return b;
}
template <typename Record> QList<uint> ids(const QVector<Record> &records)
{
    QList<uint> out;
    for (const Record &r : records)
        out << r.id;
    return out;
}

uint64_t sequenceOf(const uint8_t *data) { return qFromLittleEndian<quint64>(data); }

template <typename Record> double stampedRate(const QVector<Record> &r)
{
    for (int i = 1; i < r.size(); ++i)
        if (r[i].timestamp <= r[i - 1].timestamp)
            return -1;
    return (r.size() - 1) * 1e6 / double(r.last().timestamp - r.first().timestamp);
}
} // namespace

class tst_Sim : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        installDriver(simulatedDriver(), simulatedExtension());
        SimControl::resetForTests();
        resetDeviceState();
        SimControl::setNodesEnabled(false);
    }
    void cleanup()
    {
        if (isDeviceOpen())
            closeDevice();
        SimControl::resetForTests();
        resetDeviceState();
    }

    void loopbackRecordBytes_data()
    {
        // rate: frames/s the bus carries for a queue of 1000 such frames, measured on its time stamps; 0: one frame
        columns<bool, uint, int, QByteArray, QByteArray, double>(
            { "fd", "txId", "txLength", "txData", "expected", "rate" });
        const QByteArray eight = QByteArray::fromHex("0102030405060708");
        QTest::newRow("classic standard") << false << 0x123u << 8 << eight << recordHead(0x123, 8, 0, eight, 8) << 0.0;
        QTest::newRow("extended, bytes past the length")
            << false << 0x81ABCDEFu << 3 << QByteArray::fromHex("112233EEEE")
            << recordHead(0x81ABCDEF, 3, 0, QByteArray::fromHex("112233"), 8) << 0.0;
        QTest::newRow("remote carries no data") << false << 0x400007DFu << 8 << QByteArray(8, '\xFF')
                                                << recordHead(0x400007DF, 8, 0, QByteArray(), 8) << 0.0;
        QTest::newRow("id bits outside the frame")
            << false << 0x20000F23u << 1 << eight << recordHead(0x723, 1, 0, eight.left(1), 8) << 0.0;
        QTest::newRow("classic length 12 is 8")
            << false << 0x10u << 12 << eight << recordHead(0x10, 8, 0, eight, 8) << 0.0;
        QTest::newRow("FD 64, switch") << true << 0x555u << 64 << counting(64, 1)
                                       << recordHead(0x555, 64, 1, counting(64, 1), 64) << 0.0;
        QTest::newRow("FD 10 padded to 12") << true << 0x321u << 10 << counting(10, 0x20) + QByteArray(54, '\xEE')
                                            << recordHead(0x321, 12, 1, counting(10, 0x20), 64) << 0.0;
        QTest::newRow("classic 8 bytes at 1 Mbit/s: bus limit")
            << false << 0x100u << 8 << eight << recordHead(0x100, 8, 0, eight, 8) << 1e6 / 111;
        QTest::newRow("FD empty at 1M/5M switched: bus limit")
            << true << 0x100u << 0 << QByteArray() << recordHead(0x100, 0, 1, QByteArray(), 64) << 54945 / 2.0;
    }
    void loopbackRecordBytes()
    {
        QFETCH(bool, fd);
        QFETCH(uint, txId);
        QFETCH(int, txLength);
        QFETCH(QByteArray, txData);
        QFETCH(QByteArray, expected);
        QFETCH(double, rate);
        const int n = rate > 0 ? 1000 : 1; // one call queues them all; the bus alone sets the pace
        QElapsedTimer sinceStart;
        sinceStart.start();
        QVERIFY(openBus());
        QByteArray got;
        quint64 stamp = 0;
        double measured = 0;
        if (fd) {
            QVector<CanFdTransmitRecord> records(n, tx<CanFdTransmitRecord>(txId, txData));
            records[0].length = uint8_t(txLength);
            QCOMPARE(transmit(0, records.data(), uint32_t(n)), uint32_t(n));
            const auto heard = collect<CanFdReceiveRecord>(1, n);
            got = bytesOf(heard.value(0), 72), stamp = heard.value(0).timestamp, measured = stampedRate(heard);
        } else {
            QVector<CanTransmitRecord> records(n, tx(txId, txData));
            records[0].length = uint8_t(txLength);
            QCOMPARE(transmit(0, records.data(), uint32_t(n)), uint32_t(n));
            const auto heard = collect<CanReceiveRecord>(1, n);
            got = bytesOf(heard.value(0), 16), stamp = heard.value(0).timestamp, measured = stampedRate(heard);
        }
        QCOMPARE(got.toHex(' '), expected.toHex(' '));
        // Microseconds since the channel started: at least one frame's arbitration, at most the test's run time.
        QVERIFY2(stamp >= 30 && stamp * 1000 <= quint64(sinceStart.nsecsElapsed()), QByteArray::number(stamp));
        QVERIFY(collect<CanReceiveRecord>(0).isEmpty() && collect<CanFdReceiveRecord>(0).isEmpty());
        if (n > 1)
            QVERIFY2(qAbs(measured / rate - 1) < 0.10, qPrintable(QString("%1 frames/s").arg(measured)));
    }

    void selfReceiveAndListenOnly_data()
    {
        columns<bool, uint, uint, uint, int>({ "fd", "type", "listenerMode", "accepted", "ownCopies" });
        QTest::newRow("normal") << false << 0u << 0u << 1u << 0;
        QTest::newRow("single") << false << 1u << 0u << 1u << 0;
        QTest::newRow("self-receive") << false << 2u << 0u << 1u << 1;
        QTest::newRow("single self-receive") << false << 3u << 0u << 1u << 1;
        QTest::newRow("type 4 refused") << false << 4u << 0u << 0u << 0;
        QTest::newRow("FD self-receive") << true << 2u << 0u << 1u << 1;
        QTest::newRow("FD single self-receive") << true << 3u << 0u << 1u << 1;
        QTest::newRow("listen-only peer hears") << false << 0u << 1u << 1u << 0;
        QTest::newRow("listen-only peer hears FD") << true << 2u << 1u << 1u << 1;
    }
    void selfReceiveAndListenOnly()
    {
        QFETCH(bool, fd);
        QFETCH(uint, type);
        QFETCH(uint, listenerMode);
        QFETCH(uint, accepted);
        QFETCH(int, ownCopies);
        Setup listener;
        listener.mode = listenerMode;
        QVERIFY(openBus({}, listener));
        auto c = tx(0x2A0, QByteArray::fromHex("C0FFEE"), type);
        auto f = tx<CanFdTransmitRecord>(0x2A0, QByteArray::fromHex("C0FFEE"), type);
        if (listenerMode) // a listen-only channel never sends
            QCOMPARE(transmit(1, &c, 1) + transmit(1, &f, 1), 0u);
        QCOMPARE(fd ? transmit(0, &f, 1) : transmit(0, &c, 1), accepted);
        // A self-received marker shows that the frame before it has left the bus.
        auto marker = tx(0x7FF, QByteArray(), 2);
        QCOMPARE(transmit(0, &marker, 1), 1u);
        const auto ownClassic = collect<CanReceiveRecord>(0, fd ? 1 : 1 + ownCopies);
        const auto ownFd = collect<CanFdReceiveRecord>(0);
        const auto peerClassic = collect<CanReceiveRecord>(1);
        const auto peerFd = collect<CanFdReceiveRecord>(1);
        QCOMPARE(ids(ownClassic).size() + ids(ownFd).size(), 1 + ownCopies);
        const QList<uint> expected = !accepted ? QList<uint> { 0x7FF }
            : fd                               ? QList<uint> { 0x7FF, 0x2A0 }
                                               : QList<uint> { 0x2A0, 0x7FF };
        QCOMPARE(ids(peerClassic) + ids(peerFd), expected);
        if (ownCopies) // the own copy is byte for byte what the peer got
            QCOMPARE(fd ? bytesOf(ownFd.value(0), 72) : bytesOf(ownClassic.value(0), 16),
                fd ? bytesOf(peerFd.value(0), 72) : bytesOf(peerClassic.value(0), 16));
    }

    void rateMatching_data()
    {
        // rates: "arb0/data0/custom0 arb1/data1/custom1"; kind: 0 classic, 1 CAN FD, 2 CAN FD with bit-rate switch
        columns<QString, int, bool>({ "rates", "kind", "heard" });
        QTest::newRow("same rates") << "2/2/ 2/2/" << 2 << true;
        QTest::newRow("arbitration differs, classic") << "2/0/ 4/0/" << 0 << false;
        QTest::newRow("arbitration differs, FD") << "0/0/ 1/0/" << 1 << false;
        QTest::newRow("data differs, switch") << "2/0/ 2/3/" << 2 << false;
        QTest::newRow("data differs, no switch") << "2/0/ 2/3/" << 1 << true;
        QTest::newRow("data differs, classic") << "2/0/ 2/3/" << 0 << true;
        QTest::newRow("same custom text") << "0/0/A1B2 5/5/A1B2" << 2 << true;
        QTest::newRow("other custom text") << "0/0/A1B2 0/0/A1B3" << 0 << false;
        QTest::newRow("custom against indexes") << "0/0/A1B2 0/0/" << 0 << false;
    }
    void rateMatching()
    {
        QFETCH(QString, rates);
        QFETCH(int, kind);
        Setup s[2];
        for (int ch = 0; ch < 2; ++ch) {
            const QStringList f = rates.split(' ')[ch].split('/');
            s[ch].arbitration = f[0].toUInt();
            s[ch].data = f[1].toUInt();
            s[ch].custom = f[2];
        }
        QVERIFY(openBus(s[0], s[1]));
        // The sender's own copy shows that the frame has left the bus.
        auto c = tx(0x123, QByteArray::fromHex("AA"), 2);
        auto f = tx<CanFdTransmitRecord>(0x123, QByteArray::fromHex("AA"), 2, kind == 2);
        QCOMPARE(kind ? transmit(0, &f, 1) : transmit(0, &c, 1), 1u);
        QCOMPARE(kind ? collect<CanFdReceiveRecord>(0, 1).size() : collect<CanReceiveRecord>(0, 1).size(), 1);
        QTEST(kind ? !collect<CanFdReceiveRecord>(1).isEmpty() : !collect<CanReceiveRecord>(1).isEmpty(), "heard");
    }

    void acceptanceFilter_data()
    {
        // program: "clear", "ack" or a row "kind-start-end"
        columns<QStringList, QList<uint>>({ "program", "heard" });
        const QList<uint> all { 0x0FF, 0x100, 0x1FF, 0x200, 0x40000150, 0x80000150, 0x98FF0010, 0x98FF0100 };
        QTest::newRow("no filter") << QStringList() << all;
        QTest::newRow("standard range") << QStringList { "clear", "0-100-1FF", "ack" }
                                        << QList<uint> { 0x100, 0x1FF, 0x40000150 };
        QTest::newRow("extended range") << QStringList { "clear", "1-18FF0000-18FF00FF", "ack" }
                                        << QList<uint> { 0x98FF0010 };
        QTest::newRow("several ranges") << QStringList { "clear", "0-100-100", "0-200-2FF", "1-150-150", "ack" }
                                        << QList<uint> { 0x100, 0x200, 0x80000150 };
        QTest::newRow("without ack") << QStringList { "clear", "0-100-1FF" } << all;
        QTest::newRow("cleared and acked") << QStringList { "clear", "0-100-1FF", "ack", "clear", "ack" } << all;
        QTest::newRow("new rows wait for ack") << QStringList { "clear", "0-100-1FF", "ack", "clear", "0-200-2FF" }
                                               << QList<uint> { 0x100, 0x1FF, 0x40000150 };
    }
    void acceptanceFilter()
    {
        QFETCH(QStringList, program);
        QVERIFY(openBus());
        for (const QString &step : program) {
            const QStringList row = step.split('-');
            QVERIFY(step == "clear" ? clearFilter(1)
                    : step == "ack" ? ackFilter(1)
                                    : setFilterRange(1, row[0].toUInt(), "0x" + row[1], "0x" + row[2]));
        }
        QVector<CanTransmitRecord> records;
        for (uint id : { 0x0FFu, 0x100u, 0x1FFu, 0x200u, 0x40000150u, 0x80000150u, 0x98FF0010u, 0x98FF0100u })
            records.append(tx(id, QByteArray::fromHex("01"), 2));
        QCOMPARE(transmit(0, records.data(), 8), 8u);
        QCOMPARE(collect<CanReceiveRecord>(0, 8).size(), 8);
        QTEST(ids(collect<CanReceiveRecord>(1)), "heard");
    }

    void resetDropsQueues()
    {
        // Receive queue: frames waiting for a reader are gone after a reset.
        QVERIFY(openBus());
        QVector<CanTransmitRecord> burst(10, tx(0x100, QByteArray::fromHex("01"), 2));
        QCOMPARE(kx().TransmitCan(handle(0), burst.data(), 10), 10u);
        QCOMPARE(collect<CanReceiveRecord>(0, 10).size(), 10);
        QVERIFY(resetChannel(1) && !isChannelOpen(1));
        QVERIFY(initChannel(1, 0) && startChannel(1));
        QVERIFY(collect<CanReceiveRecord>(1).isEmpty());
        closeDevice();

        // Transmit queue: at 5 kbit/s forty frames take almost a second; a
        // reset of the sender after the first arrived drops the rest.
        Setup slow;
        slow.arbitration = 13;
        QVERIFY(openBus(slow, slow));
        QVector<CanTransmitRecord> queue;
        for (int i = 0; i < 40; ++i)
            queue.append(tx(uint32_t(i), QByteArray(8, char(i))));
        QCOMPARE(kx().TransmitCan(handle(0), queue.data(), 40), 40u);
        QCOMPARE(collect<CanReceiveRecord>(1, 1, 3000).size(), 1);
        const uint32_t sender = handle(0);
        QCOMPARE(kx().ResetChannel(sender), 1u);
        QCOMPARE(kx().StartChannel(sender), 1u);
        CanTransmitRecord marker = tx(0x7FF, QByteArray(), 2);
        QCOMPARE(kx().TransmitCan(sender, &marker, 1), 1u);
        QCOMPARE(collect<CanReceiveRecord>(0, 1, 3000).size(), 1);
        const auto rest = collect<CanReceiveRecord>(1);
        QVERIFY2(!rest.isEmpty() && rest.size() < 39, QByteArray::number(rest.size()));
        QCOMPARE(rest.last().id, 0x7FFu);
        for (int i = 0; i + 1 < rest.size(); ++i)
            QCOMPARE(rest[i].id, uint32_t(i + 1));
    }

    void unplugAndReplug()
    {
        QVERIFY(openBus());
        const uint32_t device = deviceState().deviceHandle, h0 = handle(0), h1 = handle(1);
        QCOMPARE(refreshDeviceInfo(), SimControl::kDefaultFirmwareVersion);
        QVERIFY(deviceInfoText().startsWith("SN:HD2-SIM-"));
        CanTransmitRecord r = tx(0x55, QByteArray::fromHex("01"), 2);
        QCOMPARE(kx().TransmitCan(h0, &r, 1), 1u);
        QCOMPARE(collect<CanReceiveRecord>(0, 1).size(), 1); // channel 1 now holds one frame

        SimControl::unplug();
        QVERIFY(kx().GetDeviceStatus(device) != 2);
        QVERIFY(deviceInfoText().isEmpty());
        QCOMPARE(kx().TransmitCan(h0, &r, 1), 0u);
        CanReceiveRecord buffer[4];
        QCOMPARE(kx().ReceiveCan(h1, buffer, 4, 10), 0u);
        QVERIFY(handle(0) == h0 && handle(1) == h1);

        // Plugged in again: the queued frame is lost, the handles carry traffic again.
        SimControl::replug();
        QCOMPARE(kx().GetDeviceStatus(device), 2u);
        QVERIFY(collect<CanReceiveRecord>(1).isEmpty());
        QCOMPARE(kx().TransmitCan(h0, &r, 1), 1u);
        QCOMPARE(collect<CanReceiveRecord>(1, 1).size(), 1);
    }

    void concurrentSendAndReceive()
    {
        QVERIFY(openBus());
        constexpr int kFrames = 3000;
        std::atomic<bool> sendersDone { false }, foreign { false };
        // Each sender numbers its frames in bytes 0-3, byte 4 names the channel;
        // batches of changing size alternate between classic and CAN FD.
        auto send = [](unsigned ch) {
            QVector<CanTransmitRecord> classic(64);
            QVector<CanFdTransmitRecord> fd(64);
            for (uint32_t sequence = 0, batch = 0, n = 0; sequence < kFrames; sequence += n, ++batch) {
                n = std::min<uint32_t>(1 + batch % 37, kFrames - sequence);
                for (uint32_t i = 0; i < n; ++i) {
                    QByteArray payload(8, char(ch));
                    qToLittleEndian(sequence + i, payload.data());
                    classic[int(i)] = tx(0x100 + ch, payload);
                    fd[int(i)] = tx<CanFdTransmitRecord>(0x100 + ch, payload);
                }
                for (uint32_t done = 0; done < n;)
                    done += batch % 2 ? transmit(ch, fd.data() + done, n - done)
                                      : transmit(ch, classic.data() + done, n - done);
            }
        };
        QVector<uint32_t> heard[2][2]; // [channel][classic, FD]: sequence numbers in arrival order
        auto note = [&foreign](QVector<uint32_t> &seq, unsigned ch, const uint8_t *data) {
            seq << uint32_t(sequenceOf(data));
            foreign = foreign || data[4] != 1 - ch;
        };
        auto receive = [&](unsigned ch) {
            QElapsedTimer timer;
            timer.start();
            while (heard[ch][0].size() + heard[ch][1].size() < kFrames && timer.elapsed() < 30000) {
                const auto classic = collect<CanReceiveRecord>(ch);
                const auto fd = collect<CanFdReceiveRecord>(ch);
                for (const auto &r : classic)
                    note(heard[ch][0], ch, r.data);
                for (const auto &r : fd)
                    note(heard[ch][1], ch, r.data);
                if (classic.isEmpty() && fd.isEmpty())
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        };
        std::thread threads[]
            = { std::thread(receive, 0), std::thread(receive, 1), std::thread(send, 0), std::thread(send, 1) };
        std::thread gui([&] { // meanwhile the GUI thread polls the adapter and writes properties
            for (DeviceInfoRecord info; !sendersDone; std::this_thread::sleep_for(std::chrono::microseconds(200))) {
                kx().GetDeviceStatus(deviceState().deviceHandle);
                kx().GetDeviceInfo(deviceState().deviceHandle, &info);
                setTerminalResistance(0, 1);
            }
        });
        threads[2].join();
        threads[3].join();
        sendersDone = true;
        gui.join();
        threads[0].join();
        threads[1].join();
        QVERIFY(!foreign);
        for (unsigned ch = 0; ch < 2; ++ch) {
            QVERIFY(std::is_sorted(heard[ch][0].begin(), heard[ch][0].end())
                && std::is_sorted(heard[ch][1].begin(), heard[ch][1].end()));
            QVector<uint32_t> all = heard[ch][0] + heard[ch][1];
            std::sort(all.begin(), all.end());
            QCOMPARE(all.size(), kFrames); // none lost ...
            QVERIFY(std::unique(all.begin(), all.end()) == all.end() && all.last() == kFrames - 1); // ... none twice
        }
    }
};

QTEST_GUILESS_MAIN(tst_Sim)
#include "tst_sim.moc"
