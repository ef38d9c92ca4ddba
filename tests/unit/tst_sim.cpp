// The simulated Halden-D2 seen through the driver table and the device layer:
// device identity, configuration, what reaches which channel, and the state
// machine of channels and adapter.
#include "tst_sim_support.h"

#include "AppPaths.h"

#include <QtTest>

using namespace simtest;

namespace {

// A received record's head as the driver lays it out: identifier word, byte
// count, flags byte (0 in a classic record), two zero bytes, the data.
QByteArray recordHead(uint32_t id, int length, int flags, const QByteArray &data, int dataBytes)
{
    QByteArray bytes;
    for (int i = 0; i < 4; ++i)
        bytes.append(char(id >> (8 * i)));
    bytes.append(char(length));
    bytes.append(char(flags));
    bytes.append(2, '\0');
    QByteArray payload = data.left(dataBytes);
    payload.append(dataBytes - payload.size(), '\0');
    return bytes + payload;
}

QByteArray counting(int n, int from = 0)
{
    QByteArray bytes;
    for (int i = 0; i < n; ++i)
        bytes.append(char(from + i));
    return bytes;
}

ChannelSetup notStarted()
{
    ChannelSetup s;
    s.start = false;
    return s;
}

} // namespace

class tst_Sim : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void openArguments_data();
    void openArguments();
    void deviceInfoAndBootLoader();
    void rateIndexes_data();
    void rateIndexes();
    void propertyPaths_data();
    void propertyPaths();

    void loopbackRecordBytes_data();
    void loopbackRecordBytes();
    void selfReceive_data();
    void selfReceive();
    void listenOnly();
    void rateMatching_data();
    void rateMatching();
    void acceptanceFilter_data();
    void acceptanceFilter();

    void nothingBeforeStart();
    void resetDropsQueues();
    void unplugAndReplug();
    void injection();
};

void tst_Sim::init()
{
    installDriver(simulatedDriver());
    SimControl::resetForTests();
    resetDeviceState();
    SimControl::setNodesEnabled(false);
}

void tst_Sim::cleanup()
{
    if (isDeviceOpen())
        closeDevice();
    SimControl::resetForTests();
    resetDeviceState();
}

void tst_Sim::openArguments_data()
{
    QTest::addColumn<uint>("type");
    QTest::addColumn<uint>("index");
    QTest::addColumn<bool>("opens");
    QTest::newRow("type 41, index 0") << 41u << 0u << true;
    QTest::newRow("second adapter") << 41u << 1u << false;
    QTest::newRow("type 42") << 42u << 0u << false;
    QTest::newRow("type 4") << 4u << 0u << false;
}

void tst_Sim::openArguments()
{
    QFETCH(uint, type);
    QFETCH(uint, index);
    QFETCH(bool, opens);
    const uint32_t device = kx().OpenDevice(type, index, 0);
    QCOMPARE(device != 0, opens);
    if (!device)
        return;
    QCOMPARE(kx().OpenDevice(type, index, 0), 0u);
    QCOMPARE(kx().GetDeviceStatus(device), 2u);
    QVERIFY(kx().GetPropertyInterface(device));
    QCOMPARE(kx().CloseDevice(device), 1u);
    QVERIFY(kx().GetDeviceStatus(device) != 2);
    QVERIFY(!kx().GetPropertyInterface(device));
    const uint32_t again = kx().OpenDevice(type, index, 0);
    QVERIFY(again);
    QCOMPARE(kx().CloseDevice(again), 1u);
}

void tst_Sim::deviceInfoAndBootLoader()
{
    QVERIFY(openDevice(41, 0, 0));
    DeviceInfoRecord info;
    readDeviceInfo(info);
    const QByteArray raw = bytesOf(info, 80);
    const int firmware = quint8(raw[2]) | quint8(raw[3]) << 8;
    QVERIFY2(firmware >= 0x0211, "a fresh adapter must not be offered an upgrade");
    QVERIFY(quint8(raw[4]) | quint8(raw[5]) << 8);   // driver library version
    QCOMPARE(int(raw[10]), 2);
    QVERIFY(!raw.mid(11, 20).contains('\0'));
    QCOMPARE(raw.mid(31, 10), QByteArray("Halden-D2\0", 10));
    QCOMPARE(refreshDeviceInfo(), uint16_t(firmware));
    QVERIFY(deviceInfoText().startsWith("SN:HD2-SIM-"));

    SimControl::setFirmwareVersion(0x0210);
    QCOMPARE(refreshDeviceInfo(), uint16_t(0x0210));
    QVERIFY(deviceInfoText().endsWith("Firmware:V2.10"));

    // Into the boot loader: the adapter drops off until it is plugged in again.
    QVERIFY(updateDevice(0));
    QVERIFY(kx().GetDeviceStatus(deviceState().deviceHandle) != 2);
    QVERIFY(deviceInfoText().isEmpty());
    QCOMPARE(kx().GetDeviceInfo(deviceState().deviceHandle, &info), 0u);
    closeDevice();
    QVERIFY(!openDevice(41, 0, 0));
    resetDeviceState();
    SimControl::replug();
    QVERIFY(openDevice(41, 0, 0));

    // ResetDriver lets go of the open adapter.
    QCOMPARE(kx().ResetDriver(), 1u);
    QVERIFY(kx().GetDeviceStatus(deviceState().deviceHandle) != 2);
    resetDeviceState();
    QVERIFY(openDevice(41, 0, 0));
}

void tst_Sim::rateIndexes_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<uint>("channel");
    QTest::addColumn<uint>("value");
    QTest::addColumn<uint>("result");
    QTest::newRow("arbitration 0") << "arbitration" << 0u << 0u << 1u;
    QTest::newRow("arbitration 17") << "arbitration" << 1u << 17u << 1u;
    QTest::newRow("arbitration 18") << "arbitration" << 0u << 18u << 0u;
    QTest::newRow("arbitration, channel 2") << "arbitration" << 2u << 0u << 0u;
    QTest::newRow("data 8") << "data" << 1u << 8u << 1u;
    QTest::newRow("data 9") << "data" << 0u << 9u << 0u;
    QTest::newRow("standard 1") << "standard" << 0u << 1u << 1u;
    QTest::newRow("standard 2") << "standard" << 1u << 2u << 0u;
}

void tst_Sim::rateIndexes()
{
    QFETCH(QString, operation);
    QFETCH(uint, channel);
    QFETCH(uint, value);
    QFETCH(uint, result);
    QVERIFY(openDevice(41, 0, 0));
    const uint32_t device = deviceState().deviceHandle;
    auto call = [&](uint32_t dev) {
        if (operation == "arbitration")
            return kx().SetArbitrationBaud(dev, channel, value);
        if (operation == "data")
            return kx().SetDataBaud(dev, channel, value);
        return kx().SetCanFdStandard(dev, channel, value);
    };
    QCOMPARE(call(device), result);
    QCOMPARE(call(device + 1), 0u);
}

void tst_Sim::propertyPaths_data()
{
    QTest::addColumn<QStringList>("writes");
    QTest::addColumn<QString>("results");
    QTest::newRow("standard range")
        << QStringList{"0/filter_clear=0", "0/filter_mode=0", "0/filter_start=0x100", "0/filter_end=0x1FF",
               "0/filter_ack=0"}
        << "11111";
    QTest::newRow("extended range") << QStringList{"1/filter_mode=1", "1/filter_start=0x18FF0000",
        "1/filter_end=0x18FF00FF"} << "111";
    QTest::newRow("standard start past 0x7FF") << QStringList{"0/filter_mode=0", "0/filter_start=0x800"} << "10";
    QTest::newRow("end below start") << QStringList{"0/filter_mode=0", "0/filter_start=0x200", "0/filter_end=0x1FF"}
                                     << "110";
    QTest::newRow("end without start") << QStringList{"0/filter_mode=0", "0/filter_end=0x100"} << "10";
    QTest::newRow("kind 2") << QStringList{"0/filter_mode=2"} << "0";
    QTest::newRow("not hexadecimal") << QStringList{"0/filter_mode=0", "0/filter_start=0x1G"} << "10";
    QTest::newRow("custom rate text") << QStringList{"0/baud_rate_custom=1.0Mbps(80%),5.0Mbps(75%),(60,0112A,0102)"}
                                      << "1";
    QTest::newRow("empty custom rate") << QStringList{"1/baud_rate_custom="} << "0";
    QTest::newRow("termination") << QStringList{"0/initenal_resistance=1", "1/initenal_resistance=0"} << "11";
    QTest::newRow("termination value 2") << QStringList{"0/initenal_resistance=2"} << "0";
    QTest::newRow("termination spelt otherwise") << QStringList{"0/internal_resistance=1"} << "0";
    QTest::newRow("channel 2") << QStringList{"2/filter_clear=0"} << "0";
    QTest::newRow("no channel") << QStringList{"filter_clear=0"} << "0";
    QTest::newRow("unknown property") << QStringList{"0/filter_reset=0"} << "0";
}

void tst_Sim::propertyPaths()
{
    QFETCH(QStringList, writes);
    QFETCH(QString, results);
    QVERIFY(openDevice(41, 0, 0));
    PropertyInterface *properties = deviceState().property;
    QString got;
    for (const QString &write : writes) {
        const int eq = write.indexOf('=');
        got += QString::number(properties->SetValue(write.left(eq).toUtf8(), write.mid(eq + 1).toUtf8()));
    }
    QCOMPARE(got, results);
    closeDevice();
    QCOMPARE(properties->SetValue("0/filter_clear", "0"), 0u);
}

void tst_Sim::loopbackRecordBytes_data()
{
    QTest::addColumn<bool>("fd");
    QTest::addColumn<bool>("brs");
    QTest::addColumn<uint>("txId");
    QTest::addColumn<int>("txLength");
    QTest::addColumn<QByteArray>("txData");
    QTest::addColumn<QByteArray>("expected");

    const QByteArray eight = QByteArray::fromHex("0102030405060708");
    QTest::newRow("classic standard") << false << false << 0x123u << 8 << eight
                                      << recordHead(0x123, 8, 0, eight, 8);
    QTest::newRow("classic extended, bytes past the length")
        << false << false << 0x81ABCDEFu << 3 << QByteArray::fromHex("112233EEEEEEEEEE")
        << recordHead(0x81ABCDEF, 3, 0, QByteArray::fromHex("112233"), 8);
    QTest::newRow("classic remote") << false << false << 0x400007DFu << 8 << QByteArray(8, '\xFF')
                                    << recordHead(0x400007DF, 8, 0, QByteArray(), 8);
    QTest::newRow("classic empty") << false << false << 0x7FFu << 0 << eight << recordHead(0x7FF, 0, 0, QByteArray(), 8);
    QTest::newRow("identifier bits outside the frame")
        << false << false << 0x20000F23u << 1 << eight << recordHead(0x723, 1, 0, eight.left(1), 8);
    QTest::newRow("classic length 12") << false << false << 0x10u << 12 << eight << recordHead(0x10, 8, 0, eight, 8);
    QTest::newRow("CAN FD 64, bit-rate switch")
        << true << true << 0x555u << 64 << counting(64, 1) << recordHead(0x555, 64, 1, counting(64, 1), 64);
    QTest::newRow("CAN FD 12 extended") << true << false << 0x80012345u << 12 << counting(12, 0x40)
                                        << recordHead(0x80012345, 12, 0, counting(12, 0x40), 64);
    QTest::newRow("CAN FD 10 padded to 12")
        << true << true << 0x321u << 10 << (counting(10, 0x20) + QByteArray(54, '\xEE'))
        << recordHead(0x321, 12, 1, counting(10, 0x20), 64);
}

void tst_Sim::loopbackRecordBytes()
{
    QFETCH(bool, fd);
    QFETCH(bool, brs);
    QFETCH(uint, txId);
    QFETCH(int, txLength);
    QFETCH(QByteArray, txData);
    QFETCH(QByteArray, expected);

    QElapsedTimer sinceStart;
    sinceStart.start();
    QVERIFY(openBus());
    uint64_t stamp = 0;
    if (fd) {
        CanFdTransmitRecord record = fdTx(txId, txData, brs);
        record.length = uint8_t(txLength);
        QVERIFY(sendCanFd(0, &record, 1));
        const QVector<CanFdReceiveRecord> got = collect<CanFdReceiveRecord>(1, 1);
        QCOMPARE(got.size(), 1);
        QCOMPARE(bytesOf(got[0], 72).toHex(' '), expected.toHex(' '));
        stamp = got[0].timestamp;
    } else {
        CanTransmitRecord record = canTx(txId, txData);
        record.length = uint8_t(txLength);
        QVERIFY(sendCan(0, &record, 1));
        const QVector<CanReceiveRecord> got = collect<CanReceiveRecord>(1, 1);
        QCOMPARE(got.size(), 1);
        QCOMPARE(bytesOf(got[0], 16).toHex(' '), expected.toHex(' '));
        stamp = got[0].timestamp;
    }
    // Microseconds since channel 1 started: at least the arbitration part of
    // one frame, at most the time this test has run.
    QVERIFY2(stamp >= 30, QByteArray::number(qulonglong(stamp)));
    QVERIFY2(stamp * 1000 <= quint64(sinceStart.nsecsElapsed()), QByteArray::number(qulonglong(stamp)));
    QVERIFY(queued<CanReceiveRecord>(0).isEmpty());
    QVERIFY(queued<CanFdReceiveRecord>(0).isEmpty());
}

void tst_Sim::selfReceive_data()
{
    QTest::addColumn<bool>("fd");
    QTest::addColumn<uint>("type");
    QTest::addColumn<uint>("accepted");
    QTest::addColumn<int>("ownCopies");
    QTest::newRow("normal") << false << 0u << 1u << 0;
    QTest::newRow("single") << false << 1u << 1u << 0;
    QTest::newRow("self-receive") << false << 2u << 1u << 1;
    QTest::newRow("single self-receive") << false << 3u << 1u << 1;
    QTest::newRow("type 4") << false << 4u << 0u << 0;
    QTest::newRow("CAN FD normal") << true << 0u << 1u << 0;
    QTest::newRow("CAN FD self-receive") << true << 2u << 1u << 1;
    QTest::newRow("CAN FD single self-receive") << true << 3u << 1u << 1;
}

void tst_Sim::selfReceive()
{
    QFETCH(bool, fd);
    QFETCH(uint, type);
    QFETCH(uint, accepted);
    QFETCH(int, ownCopies);
    QVERIFY(openBus());
    const QByteArray data = QByteArray::fromHex("C0FFEE");
    if (fd) {
        CanFdTransmitRecord record = fdTx(0x2A0, data, true, type);
        QCOMPARE(kx().TransmitCanFd(handle(0), &record, 1), accepted);
        const QVector<CanFdReceiveRecord> peer = collect<CanFdReceiveRecord>(1, 1);
        QCOMPARE(peer.size(), int(accepted));
        // The sender's copy is queued when the frame ends, with the peer's.
        const QVector<CanFdReceiveRecord> own = queued<CanFdReceiveRecord>(0);
        QCOMPARE(own.size(), ownCopies);
        if (ownCopies)
            QCOMPARE(bytesOf(own[0], 72), bytesOf(peer[0], 72));
    } else {
        CanTransmitRecord record = canTx(0x2A0, data, type);
        QCOMPARE(kx().TransmitCan(handle(0), &record, 1), accepted);
        if (!accepted) {
            // Nothing went out: a later frame is the first the peer sees.
            CanTransmitRecord marker = canTx(0x7FF, QByteArray(), 2);
            QCOMPARE(kx().TransmitCan(handle(0), &marker, 1), 1u);
            QCOMPARE(collect<CanReceiveRecord>(0, 1).size(), 1);
            const QVector<CanReceiveRecord> peer = queued<CanReceiveRecord>(1);
            QCOMPARE(peer.size(), 1);
            QCOMPARE(peer[0].id, 0x7FFu);
            return;
        }
        const QVector<CanReceiveRecord> peer = collect<CanReceiveRecord>(1, 1);
        QCOMPARE(peer.size(), 1);
        const QVector<CanReceiveRecord> own = queued<CanReceiveRecord>(0);
        QCOMPARE(own.size(), ownCopies);
        if (ownCopies)
            QCOMPARE(bytesOf(own[0], 16), bytesOf(peer[0], 16));
    }
}

void tst_Sim::listenOnly()
{
    ChannelSetup listener;
    listener.mode = 1;
    QVERIFY(openBus(ChannelSetup(), listener));
    CanTransmitRecord classic = canTx(0x321, QByteArray::fromHex("0102"), 2);
    CanFdTransmitRecord fd = fdTx(0x322, QByteArray::fromHex("0102"), true, 2);
    QCOMPARE(kx().TransmitCan(handle(1), &classic, 1), 0u);
    QCOMPARE(kx().TransmitCanFd(handle(1), &fd, 1), 0u);

    QCOMPARE(kx().TransmitCan(handle(0), &classic, 1), 1u);
    QCOMPARE(kx().TransmitCanFd(handle(0), &fd, 1), 1u);
    const QVector<CanReceiveRecord> heard = collect<CanReceiveRecord>(1, 1);
    QCOMPARE(heard.size(), 1);
    QCOMPARE(heard[0].id, 0x321u);
    const QVector<CanFdReceiveRecord> heardFd = collect<CanFdReceiveRecord>(1, 1);
    QCOMPARE(heardFd.size(), 1);
    QCOMPARE(heardFd[0].id, 0x322u);
}

void tst_Sim::rateMatching_data()
{
    QTest::addColumn<uint>("arbitration0");
    QTest::addColumn<uint>("data0");
    QTest::addColumn<QString>("custom0");
    QTest::addColumn<uint>("arbitration1");
    QTest::addColumn<uint>("data1");
    QTest::addColumn<QString>("custom1");
    QTest::addColumn<int>("kind");   // 0 classic, 1 CAN FD, 2 CAN FD with bit-rate switch
    QTest::addColumn<bool>("heard");
    QTest::newRow("same rates") << 2u << 2u << "" << 2u << 2u << "" << 2 << true;
    QTest::newRow("arbitration differs, classic") << 2u << 0u << "" << 4u << 0u << "" << 0 << false;
    QTest::newRow("arbitration differs, CAN FD") << 0u << 0u << "" << 1u << 0u << "" << 1 << false;
    QTest::newRow("data differs, switch") << 2u << 0u << "" << 2u << 3u << "" << 2 << false;
    QTest::newRow("data differs, no switch") << 2u << 0u << "" << 2u << 3u << "" << 1 << true;
    QTest::newRow("data differs, classic") << 2u << 0u << "" << 2u << 3u << "" << 0 << true;
    QTest::newRow("same custom text") << 0u << 0u << "A1B2" << 5u << 5u << "A1B2" << 2 << true;
    QTest::newRow("other custom text") << 0u << 0u << "A1B2" << 0u << 0u << "A1B3" << 0 << false;
    QTest::newRow("custom against indexes") << 0u << 0u << "A1B2" << 0u << 0u << "" << 0 << false;
}

void tst_Sim::rateMatching()
{
    QFETCH(uint, arbitration0);
    QFETCH(uint, data0);
    QFETCH(QString, custom0);
    QFETCH(uint, arbitration1);
    QFETCH(uint, data1);
    QFETCH(QString, custom1);
    QFETCH(int, kind);
    QFETCH(bool, heard);
    ChannelSetup a;
    a.arbitration = arbitration0;
    a.data = data0;
    a.custom = custom0;
    ChannelSetup b;
    b.arbitration = arbitration1;
    b.data = data1;
    b.custom = custom1;
    QVERIFY(openBus(a, b));
    // The sender's own copy shows that the frame has left the bus.
    if (kind == 0) {
        CanTransmitRecord record = canTx(0x123, QByteArray::fromHex("AA"), 2);
        QVERIFY(sendCan(0, &record, 1));
        QCOMPARE(collect<CanReceiveRecord>(0, 1).size(), 1);
        QCOMPARE(queued<CanReceiveRecord>(1).size(), heard ? 1 : 0);
    } else {
        CanFdTransmitRecord record = fdTx(0x123, QByteArray::fromHex("AA"), kind == 2, 2);
        QVERIFY(sendCanFd(0, &record, 1));
        QCOMPARE(collect<CanFdReceiveRecord>(0, 1).size(), 1);
        QCOMPARE(queued<CanFdReceiveRecord>(1).size(), heard ? 1 : 0);
    }
}

void tst_Sim::acceptanceFilter_data()
{
    QTest::addColumn<QStringList>("program");   // "clear", "ack" or a row "kind-start-end"
    QTest::addColumn<QList<uint>>("sent");
    QTest::addColumn<QList<uint>>("heard");
    const QList<uint> mix{0x0FF, 0x100, 0x1FF, 0x200, 0x40000150, 0x80000150, 0x98FF0010, 0x98FF0100};
    QTest::newRow("no filter") << QStringList() << mix << mix;
    QTest::newRow("standard range") << QStringList{"clear", "0-100-1FF", "ack"} << mix
                                    << QList<uint>{0x100, 0x1FF, 0x40000150};
    QTest::newRow("extended range") << QStringList{"clear", "1-18FF0000-18FF00FF", "ack"} << mix
                                    << QList<uint>{0x98FF0010};
    QTest::newRow("several ranges") << QStringList{"clear", "0-100-100", "0-200-2FF", "1-150-150", "ack"} << mix
                                    << QList<uint>{0x100, 0x200, 0x80000150};
    QTest::newRow("without ack") << QStringList{"clear", "0-100-1FF"} << mix << mix;
    QTest::newRow("cleared and acked") << QStringList{"clear", "0-100-1FF", "ack", "clear", "ack"} << mix << mix;
    QTest::newRow("new rows before ack") << QStringList{"clear", "0-100-1FF", "ack", "clear", "0-200-2FF"} << mix
                                         << QList<uint>{0x100, 0x1FF, 0x40000150};
}

void tst_Sim::acceptanceFilter()
{
    QFETCH(QStringList, program);
    QFETCH(QList<uint>, sent);
    QFETCH(QList<uint>, heard);
    QVERIFY(openBus());
    for (const QString &step : program) {
        if (step == "clear") {
            QVERIFY(clearFilter(1));
        } else if (step == "ack") {
            QVERIFY(ackFilter(1));
        } else {
            const QStringList row = step.split('-');
            QVERIFY(setFilterRange(1, row[0].toUInt(), "0x" + row[1], "0x" + row[2]));
        }
    }
    QVector<CanTransmitRecord> records;
    for (uint id : sent)
        records.append(canTx(id, QByteArray::fromHex("01"), 2));
    QCOMPARE(kx().TransmitCan(handle(0), records.data(), uint32_t(records.size())), uint32_t(records.size()));
    QCOMPARE(collect<CanReceiveRecord>(0, records.size()).size(), records.size());
    QList<uint> got;
    for (const CanReceiveRecord &r : queued<CanReceiveRecord>(1))
        got.append(r.id);
    QCOMPARE(got, heard);
}

void tst_Sim::nothingBeforeStart()
{
    QVERIFY(openBus(ChannelSetup(), notStarted()));
    CanTransmitRecord record = canTx(0x10, QByteArray::fromHex("01"), 2);
    CanReceiveRecord buffer[4];
    QCOMPARE(kx().TransmitCan(handle(1), &record, 1), 0u);
    QCOMPARE(kx().ReceiveCan(handle(1), buffer, 4, 0), 0u);

    QCOMPARE(kx().TransmitCan(handle(0), &record, 1), 1u);
    QCOMPARE(collect<CanReceiveRecord>(0, 1).size(), 1);
    QVERIFY(startChannel(1));
    QVERIFY(queued<CanReceiveRecord>(1).isEmpty());

    QCOMPARE(kx().TransmitCan(handle(0), &record, 1), 1u);
    QCOMPARE(collect<CanReceiveRecord>(1, 1).size(), 1);
}

void tst_Sim::resetDropsQueues()
{
    // Receive queue: frames waiting for a reader are gone after a reset.
    QVERIFY(openBus());
    QVector<CanTransmitRecord> burst;
    for (int i = 0; i < 10; ++i)
        burst.append(canTx(0x100 + i, QByteArray::fromHex("01"), 2));
    QCOMPARE(kx().TransmitCan(handle(0), burst.data(), 10), 10u);
    QCOMPARE(collect<CanReceiveRecord>(0, 10).size(), 10);
    QVERIFY(resetChannel(1));
    QVERIFY(!isChannelOpen(1));
    QVERIFY(initChannel(1, 0));
    QVERIFY(startChannel(1));
    QVERIFY(queued<CanReceiveRecord>(1).isEmpty());
    closeDevice();

    // Transmit queue: at 5 kbit/s forty frames take almost a second; a reset
    // of the sender after the first has arrived drops the rest.
    ChannelSetup slow;
    slow.arbitration = 13;
    QVERIFY(openBus(slow, slow));
    QVector<CanTransmitRecord> queue;
    for (int i = 0; i < 40; ++i)
        queue.append(canTx(uint32_t(i), QByteArray(8, char(i))));
    QCOMPARE(kx().TransmitCan(handle(0), queue.data(), 40), 40u);
    QCOMPARE(collect<CanReceiveRecord>(1, 1, 3000).size(), 1);
    const uint32_t sender = handle(0);
    QCOMPARE(kx().ResetChannel(sender), 1u);
    QCOMPARE(kx().StartChannel(sender), 1u);
    CanTransmitRecord marker = canTx(0x7FF, QByteArray(), 2);
    QCOMPARE(kx().TransmitCan(sender, &marker, 1), 1u);
    QCOMPARE(collect<CanReceiveRecord>(0, 1, 3000).size(), 1);
    const QVector<CanReceiveRecord> rest = queued<CanReceiveRecord>(1);
    QVERIFY(!rest.isEmpty());
    QCOMPARE(rest.last().id, 0x7FFu);
    QVERIFY2(rest.size() < 39, QByteArray::number(rest.size()));
    for (int i = 0; i + 1 < rest.size(); ++i)
        QCOMPARE(rest[i].id, uint32_t(i + 1));
}

void tst_Sim::unplugAndReplug()
{
    QVERIFY(openBus());
    const uint32_t device = deviceState().deviceHandle;
    const uint32_t h0 = handle(0);
    const uint32_t h1 = handle(1);
    CanTransmitRecord record = canTx(0x55, QByteArray::fromHex("01"), 2);
    QCOMPARE(kx().TransmitCan(h0, &record, 1), 1u);
    QCOMPARE(collect<CanReceiveRecord>(0, 1).size(), 1);   // channel 1 now holds one frame

    SimControl::unplug();
    QVERIFY(kx().GetDeviceStatus(device) != 2);
    QVERIFY(deviceInfoText().isEmpty());
    DeviceInfoRecord info;
    QCOMPARE(kx().GetDeviceInfo(device, &info), 0u);
    QCOMPARE(kx().TransmitCan(h0, &record, 1), 0u);
    CanReceiveRecord buffer[4];
    QCOMPARE(kx().ReceiveCan(h1, buffer, 4, 10), 0u);
    QCOMPARE(handle(0), h0);
    QCOMPARE(handle(1), h1);

    SimControl::replug();
    QCOMPARE(kx().GetDeviceStatus(device), 2u);
    QVERIFY(queued<CanReceiveRecord>(1).isEmpty());
    QCOMPARE(kx().TransmitCan(h0, &record, 1), 1u);
    QCOMPARE(collect<CanReceiveRecord>(1, 1).size(), 1);
}

void tst_Sim::injection()
{
    QVERIFY(openBus());
    CanFdReceiveRecord fd;
    CanReceiveRecord classic;
    auto *fdBytes = reinterpret_cast<uint8_t *>(&fd);
    auto *classicBytes = reinterpret_cast<uint8_t *>(&classic);
    for (size_t i = 0; i < sizeof fd; ++i)
        fdBytes[i] = uint8_t(i * 7 + 1);
    for (size_t i = 0; i < sizeof classic; ++i)
        classicBytes[i] = uint8_t(i * 5 + 3);
    QVERIFY(SimControl::injectCanFd(1, fd));
    QVERIFY(SimControl::injectCan(0, classic));
    const QVector<CanFdReceiveRecord> gotFd = collect<CanFdReceiveRecord>(1, 1);
    QCOMPARE(gotFd.size(), 1);
    QCOMPARE(bytesOf(gotFd[0], 80), bytesOf(fd, 80));
    const QVector<CanReceiveRecord> got = collect<CanReceiveRecord>(0, 1);
    QCOMPARE(got.size(), 1);
    QCOMPARE(bytesOf(got[0], 24), bytesOf(classic, 24));

    QVERIFY(resetChannel(0));
    QVERIFY(!SimControl::injectCan(0, classic));
    QVERIFY(!SimControl::injectCan(2, classic));
}

QTEST_GUILESS_MAIN(tst_Sim)
#include "tst_sim.moc"
