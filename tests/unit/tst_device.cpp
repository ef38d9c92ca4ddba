// The device layer against the recording fake driver (call order, arguments,
// record bytes), the settings store on real files, and the translation sources.
#include "AppPaths.h"
#include "DeviceLayer.h"
#include "FakeDriver.h"
#include "SettingsStore.h"
#include "TestKit.h"

#include <QTemporaryDir>
#include <QThread>
#include <QXmlStreamReader>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {
void openFake()
{
    QVERIFY(openDevice(41, 0, 0));
    FakeDriver::clearCalls();
}
} // namespace

class DeviceLayerTest : public QObject {
    Q_OBJECT
private slots:
    void init() { FakeDriver::install(); }
    void cleanupTestCase() { FakeDriver::uninstall(); }

    void openSequence_data()
    {
        // opens: OpenDevice answers in turn; property: GetPropertyInterface: 0 = null
        columns<QList<uint32_t>, uint32_t, bool, QStringList>({ "opens", "property", "ok", "log" });
        QTest::newRow("retry after ResetDriver")
            << QList<uint32_t> { 0, 0x77 } << 1u << true
            << QStringList { "OpenDevice(41,2,0)", "ResetDriver()", "OpenDevice(41,2,0)", "GetPropertyInterface(119)" };
        QTest::newRow("one retry only") << QList<uint32_t> { 0, 0, 5 } << 1u << false
                                        << QStringList { "OpenDevice(41,2,0)", "ResetDriver()", "OpenDevice(41,2,0)" };
        QTest::newRow("no property interface")
            << QList<uint32_t> { 0x41 } << 0u << false
            << QStringList { "OpenDevice(41,2,0)", "GetPropertyInterface(65)", "CloseDevice(65)" };
    }
    void openSequence()
    {
        QFETCH(QList<uint32_t>, opens);
        QFETCH(uint32_t, property);
        FakeDriver::queueResults("OpenDevice", opens);
        FakeDriver::setResult("GetPropertyInterface", property);
        QTEST(openDevice(41, 2, 0), "ok");
        QTEST(FakeDriver::log(), "log");
        const auto calls = FakeDriver::calls();
        if (calls.size() > 2 && calls[1].name == "ResetDriver")
            QVERIFY2(calls[2].nsecs - calls[1].nsecs >= 9000000, "about 10 ms pass after ResetDriver");
        // A refused property interface closes the device but keeps its handle.
        QCOMPARE(isDeviceOpen(), opens.size() < 3);
        if (isDeviceOpen()) { // a second open is refused without a driver call
            FakeDriver::clearCalls();
            QVERIFY(!openDevice(41, 2, 0));
            QVERIFY(FakeDriver::log().isEmpty());
        }
    }

    void configurationCalls_data()
    {
        // failing: operation or "SetValue:<path>" answering 0
        columns<int, QString, bool, QStringList>({ "which", "failing", "ok", "log" });
        QTest::newRow("rates") << 0 << "" << true << QStringList { "SetArbitrationBaud(1,1,14)", "SetDataBaud(1,1,2)" };
        QTest::newRow("failed arbitration rate stops")
            << 0 << "SetArbitrationBaud" << false << QStringList { "SetArbitrationBaud(1,1,14)" };
        QTest::newRow("custom rate ch0") << 1 << "" << true << QStringList { "SetValue(0/baud_rate_custom,a,b;c)" };
        QTest::newRow("resistance, any non-zero is 1")
            << 2 << "" << true << QStringList { "SetValue(1/initenal_resistance,120)" };
        QTest::newRow("range") << 4 << "" << true
                               << QStringList { "SetValue(0/filter_mode,1)", "SetValue(0/filter_start,0x100)",
                                      "SetValue(0/filter_end,0x1FF)" };
        QTest::newRow("range stops at failed start")
            << 4 << "SetValue:0/filter_start" << false
            << QStringList { "SetValue(0/filter_mode,1)", "SetValue(0/filter_start,0x100)" };
        QTest::newRow("ack") << 5 << "" << true << QStringList { "SetValue(1/filter_ack,0)" };
        QTest::newRow("standard") << 6 << "" << true << QStringList { "SetCanFdStandard(1,1,1)" };
    }
    void configurationCalls()
    {
        QFETCH(int, which);
        QFETCH(QString, failing);
        openFake();
        FakeDriver::fail(failing);
        const bool ok = which == 0 ? setBaudRate(7, 14, 2)
            : which == 1           ? setCustomBaudRate(0, "a,b;c")
            : which == 2           ? setTerminalResistance(5, 120)
            : which == 3           ? clearFilter(1)
            : which == 4           ? setFilterRange(0, 1, "0x100", "0x1FF")
            : which == 5           ? ackFilter(3)
                                   : setCanFdStandard(1, 1);
        QTEST(ok, "ok");
        QTEST(FakeDriver::log(), "log");
    }

    void channelRecordAndHandles()
    {
        openFake();
        QVERIFY(initChannel(9, 1));
        const auto init = FakeDriver::calls("InitChannel").value(0);
        QCOMPARE(init.args, QVector<quint64>({ 1, 1 }));
        QByteArray expected(32, '\0');
        expected[0] = expected[19] = expected[25] = 1;
        QCOMPARE(init.records.toHex(' '), expected.toHex(' '));
        QVERIFY(isChannelOpen(1) && isChannelOpen(3) && !isChannelOpen(0));
        FakeDriver::clearCalls();
        QVERIFY(startChannel(2));
        QCOMPARE(FakeDriver::log(), QStringList { "StartChannel(257)" });
        FakeDriver::setResult("ResetChannel", 0);
        QVERIFY(!resetChannel(1));
        QVERIFY2(isChannelOpen(1), "a failed reset keeps the handle");
        FakeDriver::setResult("ResetChannel", 1);
        QVERIFY(resetChannel(1));
        QVERIFY(!isChannelOpen(1));
        // Closing the device resets nothing per channel but clears the whole state.
        QVERIFY(initChannel(0, 0));
        FakeDriver::clearCalls();
        closeDevice();
        QCOMPARE(FakeDriver::log(), QStringList { "CloseDevice(1)" });
        QVERIFY(!isDeviceOpen() && !isChannelOpen(0));
        QCOMPARE(deviceState().property.load(), nullptr);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(&deviceState().initRecord), 32), QByteArray(32, '\0'));
    }

    void sendAndReceive_data()
    {
        columns<uint32_t, bool>({ "answer", "ok" });
        QTest::newRow("1") << 1u << true;
        QTest::newRow("0") << 0u << false;
        QTest::newRow("3 of 3") << 3u << false;
    }
    void sendAndReceive()
    {
        QFETCH(uint32_t, answer);
        openFake();
        QVERIFY(initChannel(0, 0));
        FakeDriver::setResult("TransmitCan", answer);
        FakeDriver::setResult("TransmitCanFd", answer);
        CanTransmitRecord c[3] {};
        CanFdTransmitRecord f[3] {};
        QTEST(sendCan(0, c, 3), "ok");
        QTEST(sendCanFd(0, f, 3), "ok");
        FakeDriver::queueCanRead(0, { FakeDriver::canRecord(1, {}), FakeDriver::canRecord(2, {}) });
        CanReceiveRecord r[4];
        QCOMPARE(receiveCan(0, r, 4, 7), 2u);
        QCOMPARE(FakeDriver::calls("ReceiveCan").value(0).args, QVector<quint64>({ 0x100, 4, 7 }));
        QCOMPARE(r[1].id, 2u);
    }

    void frameIdAndVersionText_data()
    {
        // flags: extended, remote, third as bits 0..2
        columns<uint32_t, uint32_t, uint16_t, QString>({ "flags", "word", "version", "text" });
        QTest::newRow("extended, 0x0123") << 1u << 0x80000123u << uint16_t(0x0123) << "V1.23";
        QTest::newRow("remote, 0x012A") << 2u << 0x40000123u << uint16_t(0x012A) << "V1.2a";
        QTest::newRow("all, bits 12-15 dropped") << 7u << 0xE0000123u << uint16_t(0x1234) << "V2.34";
        QTest::newRow("plain, 0x00FF") << 0u << 0x123u << uint16_t(0x00FF) << "V0.ff";
    }
    void frameIdAndVersionText()
    {
        QFETCH(uint32_t, flags);
        QFETCH(uint16_t, version);
        QTEST(makeFrameId(0x123, flags & 1, (flags >> 1) & 1 ? 5 : 0, flags >> 2 ? 9 : 0), "word");
        QTEST(versionText(version), "text");
    }

    void deviceInfo()
    {
        openFake();
        DeviceInfoRecord info {};
        info.fwVersion = 0x0211;
        info.drVersion = 0x0117;
        std::memcpy(info.serialNumber, "AB 12 CD", 8);
        FakeDriver::setDeviceInfo(info);
        QCOMPARE(refreshDeviceInfo(), uint16_t(0x0211));
        // All 20 serial bytes are kept, zero bytes included; blanks go.
        QCOMPARE(deviceInfoText(), "SN:AB12CD" + QString(12, QChar(0)) + ", DriverLib:V1.17, Firmware:V2.11");
        FakeDriver::setResult("GetDeviceStatus", 1);
        QVERIFY(deviceInfoText().isEmpty());
        QCOMPARE(refreshDeviceInfo(), uint16_t(0));
        FakeDriver::setResult("GetDeviceStatus", 2);
        FakeDriver::setResult("GetDeviceInfo", 0);
        DeviceInfoRecord r;
        std::memset(&r, 0xAB, sizeof r);
        readDeviceInfo(r);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(&r), sizeof r), QByteArray(sizeof r, '\0'));
    }

    void updateOpensFirst()
    {
        QVERIFY(updateDevice(1));
        QCOMPARE(
            FakeDriver::log(), QStringList({ "OpenDevice(41,1,0)", "GetPropertyInterface(1)", "UpdateDevice(1)" }));
        FakeDriver::install();
        FakeDriver::setResult("OpenDevice", 0);
        QVERIFY(!updateDevice(0));
        QCOMPARE(FakeDriver::callCount("UpdateDevice"), 0);
    }
};

class SettingsStoreTest : public QObject {
    Q_OBJECT
    // A fresh folder per test: QSettings caches INI files by path and time stamp.
    std::unique_ptr<QTemporaryDir> m_tmp;
    QString m_file, m_ini;

private slots:
    void init()
    {
        m_tmp.reset(new QTemporaryDir);
        QDir(m_tmp->path()).mkpath("config");
        QDir(m_tmp->path()).mkpath("language");
        AppPaths::setAppDirForTests(m_tmp->path());
        m_file = m_tmp->path() + "/config/setdb.txt";
        m_ini = m_tmp->path() + "/language/config.ini";
    }
    void cleanupTestCase() { AppPaths::setAppDirForTests(QString()); }

    void loading_data()
    {
        // value: of "ch1paramABIT1" (or "Language" when the ini is given) read with default "def"; entries: -1 not
        // counted
        columns<QByteArray, QByteArray, QString, int>({ "content", "ini", "value", "entries" });
        QTest::newRow("absent file") << QByteArray("<missing>") << QByteArray() << "def" << 0;
        QTest::newRow("empty line") << QByteArray("") << QByteArray() << "def" << 0;
        QTest::newRow("two entries") << QByteArray("ch1paramABIT1,13;ch1paramABIT2,3") << QByteArray() << "13" << 2;
        QTest::newRow("trailing semicolon") << QByteArray("ch1paramABIT1,13;") << QByteArray() << "def" << 0;
        QTest::newRow("malformed first") << QByteArray("nocomma;ch1paramABIT1,13") << QByteArray() << "def" << 0;
        QTest::newRow("malformed last") << QByteArray("ch1paramABIT1,13;a,b,c") << QByteArray() << "def" << 0;
        QTest::newRow("later duplicate wins")
            << QByteArray("ch1paramABIT1,1;ch1paramABIT1,2") << QByteArray() << "2" << 1;
        QTest::newRow("only first line") << QByteArray("ch1paramABIT1,4\nzz,9") << QByteArray() << "4" << 1;
        QTest::newRow("language: no ini") << QByteArray("<missing>") << QByteArray("-") << "CN.qm" << -1;
        QTest::newRow("language: Sel 2") << QByteArray("<missing>") << QByteArray("[LAST]\nSel=2\n") << "EN.qm" << -1;
        QTest::newRow("language: Sel 5 out of range")
            << QByteArray("<missing>") << QByteArray("[LAST]\nSel=5\n") << "CN.qm" << -1;
        QTest::newRow("language: stored wins")
            << QByteArray("Language,CNF.qm") << QByteArray("[LAST]\nSel=2\n") << "CNF.qm" << -1;
    }
    void loading()
    {
        QFETCH(QByteArray, content);
        QFETCH(QByteArray, ini);
        QFETCH(int, entries);
        if (content != "<missing>")
            writeFile(m_file, content);
        if (ini.size() > 1)
            writeFile(m_ini, ini);
        SettingsStore::load(m_file);
        if (entries >= 0)
            QCOMPARE(SettingsStore::snapshot().size(), entries);
        const QString key = ini.isEmpty() ? "ch1paramABIT1" : "Language";
        QTEST(SettingsStore::value(key, ini.isEmpty() ? "def" : "CN.qm"), "value");
        QTEST(SettingsStore::snapshot().value(key), "value"); // a default is kept in memory ...
        QCOMPARE(readFile(m_file), content); // ... and never written by reading
    }

    void savingAndWriteNow()
    {
        SettingsStore::load(m_file);
        SettingsStore::save();
        QCOMPARE(readFile(m_file), QByteArray(""));
        SettingsStore::setValue("b", "2");
        SettingsStore::setValue("B", "x");
        SettingsStore::setValue("a", QString());
        QCOMPARE(readFile(m_file), QByteArray(""));
        SettingsStore::setValue("c", "中文", true);
        QCOMPARE(readFile(m_file), QString("B,x;a,;b,2;c,中文").toUtf8());
        QFile::remove(m_file);
        SettingsStore::setValue("c", "中文", true); // unchanged, written all the same
        QVERIFY(QFile::exists(m_file));
        SettingsStore::load(m_file);
        QCOMPARE(SettingsStore::value("c"), QString("中文"));
    }

    // A process killed while it writes (a crash, a power cut) must leave the
    // previous file whole: the loader throws every setting away on one torn
    // entry. The child rewrites a 2 MB store in a loop, every version holding
    // 200 keys with one letter throughout; the parent kills it at varying times.
    void killedWriterLeavesWholeFile()
    {
#ifdef Q_OS_UNIX
        const int keys = 200;
        for (int round = 0; round < 5; ++round) {
            QFile::remove(m_file);
            const pid_t child = fork();
            QVERIFY(child >= 0);
            if (child == 0) {
                SettingsStore::load(m_file);
                for (int i = 0;; ++i) {
                    const QString text(10000, QChar('a' + i % 26));
                    for (int k = 0; k < keys; ++k)
                        SettingsStore::setValue(QString::number(k), text, k == keys - 1);
                }
            }
            struct Reaper {
                pid_t pid;
                ~Reaper()
                {
                    ::kill(pid, SIGKILL);
                    ::waitpid(pid, nullptr, 0);
                }
            };
            {
                const Reaper reaper { child };
                // Let it complete at least one write, then kill it mid-loop.
                QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(m_file).size() > 0, 20000);
                QThread::msleep(7 + 13 * round);
            }
            SettingsStore::load(m_file);
            const auto map = SettingsStore::snapshot();
            QCOMPARE(map.size(), keys);
            const QString first = map.first();
            QCOMPARE(first.size(), 10000);
            QCOMPARE(first.count(first.at(0)), first.size());
            for (const QString &v : map)
                QVERIFY(v == first);
        }
#else
        QSKIP("needs fork()");
#endif
    }
};

class CataloguesTest : public QObject {
    Q_OBJECT
private slots:
    void everyEntryFinished()
    {
        const QString dir = qEnvironmentVariable("OSTREL_SOURCE_DIR") + "/language";
        const QStringList files = QDir(dir).entryList({ "*.ts" }, QDir::Files);
        QVERIFY2(!files.isEmpty(), "run through ctest, which names the source folder");
        QStringList problems;
        QMap<QString, QStringList> areas; // area -> languages
        for (const QString &name : files) {
            areas[name.section('_', 0, -2)] << name.section('_', -1).chopped(3);
            QFile file(dir + '/' + name);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QXmlStreamReader xml(&file);
            QString source;
            while (!xml.atEnd()) {
                if (xml.readNext() != QXmlStreamReader::StartElement)
                    continue;
                if (xml.name() == QLatin1String("source"))
                    source = xml.readElementText();
                else if (xml.name() == QLatin1String("translation")) {
                    const QString type = xml.attributes().value("type").toString();
                    if (!type.isEmpty() || xml.readElementText().isEmpty())
                        problems << name + ": \"" + source + "\" " + type;
                }
            }
            QVERIFY2(!xml.hasError(), qPrintable(name + ' ' + xml.errorString()));
        }
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));
        for (auto it = areas.cbegin(); it != areas.cend(); ++it)
            QVERIFY2(it.value().size() == 3, qPrintable(it.key() + " lacks a language"));
    }
};

OSTREL_TEST_MAIN(QCoreApplication, new DeviceLayerTest, new SettingsStoreTest, new CataloguesTest)
#include "tst_device.moc"
