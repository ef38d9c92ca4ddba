// Device layer against a recording fake driver: call order, arguments and the
// exact result tests of every wrapper.
#include "DeviceLayer.h"
#include "SimulatedAdapter.h"

#include <QElapsedTimer>
#include <QtTest>
#include <cstring>

namespace {
struct Call {
    QString name;
    QList<quint64> args;
    QByteArray text;   // property path=value for SetValue
    qint64 atMs = 0;
};

QList<Call> g_calls;
QElapsedTimer g_clock;
QList<uint32_t> g_openResults;
uint32_t g_result = 1;          // answer of most operations
uint32_t g_arbResult = 1;
uint32_t g_status = 2;
uint32_t g_transmitResult = 1;
QMap<QByteArray, uint32_t> g_propResults;   // path -> result, default 1
bool g_propNull = false;
DeviceInfoRecord g_info{};
uint32_t g_infoResult = 1;
ChannelInitRecord g_lastInit{};

void rec(const char *name, QList<quint64> args, const QByteArray &text = QByteArray())
{
    g_calls.append({QString::fromLatin1(name), args, text, g_clock.elapsed()});
}

uint32_t KX_CALL fSetValue(const char *path, const char *value)
{
    rec("SetValue", {}, QByteArray(path) + '=' + value);
    return g_propResults.value(QByteArray(path), 1);
}
PropertyInterface g_props{fSetValue, nullptr};

uint32_t KX_CALL fOpen(uint32_t t, uint32_t i, uint32_t r)
{
    rec("OpenDevice", {t, i, r});
    return g_openResults.isEmpty() ? 0 : g_openResults.takeFirst();
}
uint32_t KX_CALL fClose(uint32_t d) { rec("CloseDevice", {d}); return 1; }
uint32_t KX_CALL fInfo(uint32_t d, DeviceInfoRecord *r)
{
    rec("GetDeviceInfo", {d});
    std::memcpy(r, &g_info, sizeof g_info);
    return g_infoResult;
}
uint32_t KX_CALL fStatus(uint32_t d) { rec("GetDeviceStatus", {d}); return g_status; }
uint32_t KX_CALL fInit(uint32_t d, uint32_t c, ChannelInitRecord *r)
{
    rec("InitChannel", {d, c});
    g_lastInit = *r;
    return g_result ? 0x500 + c : 0;
}
uint32_t KX_CALL fStart(uint32_t h) { rec("StartChannel", {h}); return g_result; }
uint32_t KX_CALL fReset(uint32_t h) { rec("ResetChannel", {h}); return g_result; }
uint32_t KX_CALL fTx(uint32_t h, CanTransmitRecord *, uint32_t n) { rec("TransmitCan", {h, n}); return g_transmitResult; }
uint32_t KX_CALL fRx(uint32_t h, CanReceiveRecord *, uint32_t c, int32_t w) { rec("ReceiveCan", {h, c, quint64(w)}); return 7; }
uint32_t KX_CALL fTxFd(uint32_t h, CanFdTransmitRecord *, uint32_t n) { rec("TransmitCanFd", {h, n}); return g_transmitResult; }
uint32_t KX_CALL fRxFd(uint32_t h, CanFdReceiveRecord *, uint32_t c, int32_t w) { rec("ReceiveCanFd", {h, c, quint64(w)}); return 9; }
PropertyInterface *KX_CALL fProp(uint32_t d) { rec("GetPropertyInterface", {d}); return g_propNull ? nullptr : &g_props; }
uint32_t KX_CALL fUpdate(uint32_t d) { rec("UpdateDevice", {d}); return g_result; }
uint32_t KX_CALL fArb(uint32_t d, uint32_t c, uint32_t v) { rec("SetArbitrationBaud", {d, c, v}); return g_arbResult; }
uint32_t KX_CALL fData(uint32_t d, uint32_t c, uint32_t v) { rec("SetDataBaud", {d, c, v}); return g_result; }
uint32_t KX_CALL fStd(uint32_t d, uint32_t c, uint32_t v) { rec("SetCanFdStandard", {d, c, v}); return g_result; }
uint32_t KX_CALL fResetDriver() { rec("ResetDriver", {}); return 1; }

const KestrixDriver g_fake = {fOpen, fClose, fInfo, fStatus, fInit, fStart, fReset, fTx, fRx, fTxFd, fRxFd, fProp,
    fUpdate, fArb, fData, fStd, fResetDriver};

QStringList names()
{
    QStringList out;
    for (const Call &c : g_calls)
        out << c.name;
    return out;
}

QList<QByteArray> propertyWrites()
{
    QList<QByteArray> out;
    for (const Call &c : g_calls)
        if (c.name == QLatin1String("SetValue"))
            out << c.text;
    return out;
}

void openFakeDevice()
{
    g_openResults = {0x41};
    QVERIFY(openDevice(41, 0, 0));
    g_calls.clear();
}
} // namespace

class DeviceLayerTest : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        resetDeviceState();
        installDriver(&g_fake);
        g_calls.clear();
        g_clock.start();
        g_openResults.clear();
        g_result = g_arbResult = g_transmitResult = 1;
        g_status = 2;
        g_propResults.clear();
        g_propNull = false;
        g_infoResult = 1;
        std::memset(&g_info, 0, sizeof g_info);
    }
    void cleanupTestCase() { installDriver(simulatedDriver()); }

    void openRetriesOnceAfterResetDriver()
    {
        g_openResults = {0, 0x77};
        QVERIFY(openDevice(41, 2, 0));
        QCOMPARE(names(), QStringList({"OpenDevice", "ResetDriver", "OpenDevice", "GetPropertyInterface"}));
        QCOMPARE(g_calls[0].args, QList<quint64>({41, 2, 0}));
        QCOMPARE(g_calls[2].args, QList<quint64>({41, 2, 0}));
        QVERIFY2(g_calls[2].atMs - g_calls[1].atMs >= 9, "a pause of about 10 ms follows ResetDriver");
        QCOMPARE(g_calls[3].args, QList<quint64>({0x77}));
        QVERIFY(isDeviceOpen());
    }

    void openFailsAfterSingleRetry()
    {
        g_openResults = {0, 0, 0x99};
        QVERIFY(!openDevice(41, 0, 0));
        QCOMPARE(names(), QStringList({"OpenDevice", "ResetDriver", "OpenDevice"}));
        QVERIFY(!isDeviceOpen());
    }

    void secondOpenRefusedWithoutDriverCall()
    {
        openFakeDevice();
        QVERIFY(!openDevice(41, 0, 0));
        QVERIFY(g_calls.isEmpty());
    }

    void nullPropertyInterfaceClosesButKeepsHandle()
    {
        g_openResults = {0x41};
        g_propNull = true;
        QVERIFY(!openDevice(41, 0, 0));
        QCOMPARE(names(), QStringList({"OpenDevice", "GetPropertyInterface", "CloseDevice"}));
        QVERIFY(isDeviceOpen());
        closeDevice();
        QVERIFY(!isDeviceOpen());
    }

    void baudRateStopsAfterFailedArbitration()
    {
        openFakeDevice();
        g_arbResult = 0;
        QVERIFY(!setBaudRate(1, 13, 3));
        QCOMPARE(names(), QStringList({"SetArbitrationBaud"}));
        QCOMPARE(g_calls[0].args, QList<quint64>({0x41, 1, 13}));
        g_arbResult = 1;
        g_calls.clear();
        QVERIFY(setBaudRate(7, 14, 2));
        QCOMPARE(names(), QStringList({"SetArbitrationBaud", "SetDataBaud"}));
        QCOMPARE(g_calls[1].args, QList<quint64>({0x41, 1, 2}));
    }

    void propertyPaths_data()
    {
        QTest::addColumn<int>("which");
        QTest::addColumn<unsigned>("ch");
        QTest::addColumn<QList<QByteArray>>("writes");
        QTest::newRow("custom rate ch0") << 0 << 0u << QList<QByteArray>{"0/baud_rate_custom=a,b;c"};
        QTest::newRow("resistance ch1") << 1 << 1u << QList<QByteArray>{"1/initenal_resistance=120"};
        QTest::newRow("clear, any non-zero is 1") << 2 << 5u << QList<QByteArray>{"1/filter_clear=0"};
        QTest::newRow("range") << 3 << 0u
                               << QList<QByteArray>{"0/filter_mode=1", "0/filter_start=0x100", "0/filter_end=0x1FF"};
        QTest::newRow("ack") << 4 << 1u << QList<QByteArray>{"1/filter_ack=0"};
    }
    void propertyPaths()
    {
        QFETCH(int, which);
        QFETCH(unsigned, ch);
        QFETCH(QList<QByteArray>, writes);
        openFakeDevice();
        bool ok = false;
        switch (which) {
        case 0: ok = setCustomBaudRate(ch, QStringLiteral("a,b;c")); break;
        case 1: ok = setTerminalResistance(ch, 120); break;
        case 2: ok = clearFilter(ch); break;
        case 3: ok = setFilterRange(ch, 1, QStringLiteral("0x100"), QStringLiteral("0x1FF")); break;
        case 4: ok = ackFilter(ch); break;
        }
        QVERIFY(ok);
        QCOMPARE(propertyWrites(), writes);
    }

    void filterRangeStopsAtFirstFailedWrite()
    {
        openFakeDevice();
        g_propResults.insert("0/filter_mode", 0);
        QVERIFY(!setFilterRange(0, 0, QStringLiteral("0x1"), QStringLiteral("0x2")));
        QCOMPARE(propertyWrites(), QList<QByteArray>{"0/filter_mode=0"});
        g_calls.clear();
        g_propResults.clear();
        g_propResults.insert("1/filter_start", 2);
        QVERIFY(!setFilterRange(1, 0, QStringLiteral("0x1"), QStringLiteral("0x2")));
        QCOMPARE(propertyWrites(), QList<QByteArray>({"1/filter_mode=0", "1/filter_start=0x1"}));
    }

    void initChannelRecordAndMapping()
    {
        openFakeDevice();
        QVERIFY(initChannel(9, 1));
        QCOMPARE(g_calls[0].args, QList<quint64>({0x41, 1}));
        const auto *bytes = reinterpret_cast<const uint8_t *>(&g_lastInit);
        QCOMPARE(int(bytes[0]), 1);
        QCOMPARE(int(bytes[19]), 1);
        QCOMPARE(int(bytes[25]), 1);
        for (int i = 1; i < 32; ++i)
            if (i != 19 && i != 25)
                QCOMPARE(int(bytes[i]), 0);
        QVERIFY(isChannelOpen(1));
        QVERIFY(isChannelOpen(3));
        QVERIFY(!isChannelOpen(0));
        g_calls.clear();
        QVERIFY(startChannel(2));
        QCOMPARE(g_calls[0].args, QList<quint64>({0x501}));
        g_result = 0;
        QVERIFY(!resetChannel(1));
        QVERIFY2(isChannelOpen(1), "a failed reset keeps the handle");
        g_result = 1;
        QVERIFY(resetChannel(1));
        QVERIFY(!isChannelOpen(1));
    }

    void sendSucceedsOnlyForExactlyOne_data()
    {
        QTest::addColumn<uint32_t>("answer");
        QTest::addColumn<bool>("ok");
        QTest::newRow("1") << 1u << true;
        QTest::newRow("0") << 0u << false;
        QTest::newRow("3 of 3") << 3u << false;
    }
    void sendSucceedsOnlyForExactlyOne()
    {
        QFETCH(uint32_t, answer);
        QFETCH(bool, ok);
        openFakeDevice();
        QVERIFY(initChannel(0, 0));
        g_transmitResult = answer;
        CanTransmitRecord c[3]{};
        CanFdTransmitRecord f[3]{};
        QCOMPARE(sendCan(0, c, 3), ok);
        QCOMPARE(sendCanFd(0, f, 3), ok);
        CanReceiveRecord r[4];
        CanFdReceiveRecord rf[4];
        QCOMPARE(receiveCan(0, r, 4, 0), 7u);
        QCOMPARE(receiveCanFd(0, rf, 4, 0), 9u);
    }

    void makeFrameIdBits_data()
    {
        QTest::addColumn<uint32_t>("ext");
        QTest::addColumn<uint32_t>("rtr");
        QTest::addColumn<uint32_t>("third");
        QTest::addColumn<uint32_t>("word");
        QTest::newRow("extended") << 1u << 0u << 0u << 0x80000123u;
        QTest::newRow("remote") << 0u << 1u << 0u << 0x40000123u;
        QTest::newRow("all") << 1u << 5u << 9u << 0xE0000123u;
        QTest::newRow("plain") << 0u << 0u << 0u << 0x123u;
    }
    void makeFrameIdBits()
    {
        QFETCH(uint32_t, ext);
        QFETCH(uint32_t, rtr);
        QFETCH(uint32_t, third);
        QFETCH(uint32_t, word);
        QCOMPARE(makeFrameId(0x123, ext, rtr, third), word);
    }

    void versionTextDigits_data()
    {
        QTest::addColumn<uint16_t>("word");
        QTest::addColumn<QString>("text");
        QTest::newRow("0x0123") << uint16_t(0x0123) << "V1.23";
        QTest::newRow("0x012A") << uint16_t(0x012A) << "V1.2a";
        QTest::newRow("0x1234 drops bits 12-15") << uint16_t(0x1234) << "V2.34";
        QTest::newRow("0x00FF") << uint16_t(0x00FF) << "V0.ff";
        QTest::newRow("0x0205") << uint16_t(0x0205) << "V2.05";
    }
    void versionTextDigits()
    {
        QFETCH(uint16_t, word);
        QFETCH(QString, text);
        QCOMPARE(versionText(word), text);
    }

    void deviceInfoTextFollowsStatus()
    {
        openFakeDevice();
        g_info.fwVersion = 0x0211;
        g_info.drVersion = 0x0117;
        std::memcpy(g_info.serialNumber, "AB 12 CD", 8);
        QCOMPARE(refreshDeviceInfo(), uint16_t(0x0211));
        QString expected = QStringLiteral("SN:AB12CD");
        expected += QString(12, QChar(0));   // all 20 bytes are kept, zero bytes included
        expected += QStringLiteral(", DriverLib:V1.17, Firmware:V2.11");
        QCOMPARE(deviceInfoText(), expected);
        g_status = 1;
        QVERIFY(deviceInfoText().isEmpty());
        QCOMPARE(refreshDeviceInfo(), uint16_t(0));
    }

    void failedInfoReadZeroesRecord()
    {
        openFakeDevice();
        g_info.fwVersion = 0x0300;
        g_infoResult = 0;
        DeviceInfoRecord r;
        std::memset(&r, 0xAB, sizeof r);
        readDeviceInfo(r);
        const auto *bytes = reinterpret_cast<const uint8_t *>(&r);
        QVERIFY(std::all_of(bytes, bytes + sizeof r, [](uint8_t b) { return b == 0; }));
    }

    void updateDeviceOpensFirstWhenClosed()
    {
        g_openResults = {0x41};
        QVERIFY(updateDevice(1));
        QCOMPARE(names(), QStringList({"OpenDevice", "GetPropertyInterface", "UpdateDevice"}));
        QCOMPARE(g_calls[0].args, QList<quint64>({41, 1, 0}));
        g_calls.clear();
        resetDeviceState();
        g_openResults = {0, 0};
        QVERIFY(!updateDevice(0));
        QVERIFY(!names().contains("UpdateDevice"));
    }

    void closeResetsState()
    {
        openFakeDevice();
        QVERIFY(initChannel(0, 1));
        QVERIFY(initChannel(1, 0));
        g_calls.clear();
        closeDevice();
        QCOMPARE(names(), QStringList({"CloseDevice"}));   // no per-channel reset
        QVERIFY(!isDeviceOpen());
        QVERIFY(!isChannelOpen(0));
        QVERIFY(!isChannelOpen(1));
        QCOMPARE(deviceState().property.load(), nullptr);
        const auto *bytes = reinterpret_cast<const uint8_t *>(&deviceState().initRecord);
        QVERIFY(std::all_of(bytes, bytes + 32, [](uint8_t b) { return b == 0; }));
    }
};

QTEST_GUILESS_MAIN(DeviceLayerTest)
#include "tst_devicelayer.moc"
