#include "common/DevFakeDriver.h"

#include "DeviceActions.h"
#include "DeviceLayer.h"
#include "INfDialog.h"
#include "Prompt.h"

#include <QLabel>
#include <QtTest>
#include <cstring>

namespace {
// A record built from raw offsets, so a wrong field layout cannot hide.
DeviceInfoRecord rawRecord(const QByteArray &serial, const QByteArray &hwTypeBytes)
{
    QByteArray raw(80, '\0');
    auto put16 = [&](int offset, uint16_t v) {
        raw[offset] = char(v & 0xFF);
        raw[offset + 1] = char(v >> 8);
    };
    put16(0, 0x0123);   // hardware
    put16(2, 0x0205);   // firmware
    put16(4, 0x1234);   // driver: bits 12-15 dropped
    put16(6, 0x00FF);   // interface library
    put16(8, 300);      // interrupt number
    raw[10] = char(2);  // channels
    raw.replace(11, serial.size(), serial);
    raw.replace(31, hwTypeBytes.size(), hwTypeBytes);
    DeviceInfoRecord rec;
    std::memcpy(&rec, raw.constData(), sizeof rec);
    return rec;
}

QString label(QWidget *w, const char *name)
{
    return w->findChild<QLabel *>(QLatin1String(name))->text();
}
} // namespace

class TestINfDialog : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void labels();
    void captionsFollowLanguage();
    void infoAction_data();
    void infoAction();
};

void TestINfDialog::init()
{
    DevFake::install();
    Prompt::recordForTests(true);
    Prompt::clearShown();
    devSetLanguage(0);
}

void TestINfDialog::cleanup()
{
    DevFake::uninstall();
    devSetLanguage(0);
}

void TestINfDialog::labels()
{
    const QByteArray serial("HD2-2024-0000123456X");   // all 20 bytes, no terminator
    QCOMPARE(serial.size(), 20);
    INfDialog dlg(rawRecord(serial, QByteArray("Halden-D2\0junk", 14)));
    QCOMPARE(label(&dlg, "labelhwVersion"), QStringLiteral("V1.23"));
    QCOMPARE(label(&dlg, "labelfwVersion"), QStringLiteral("V2.05"));
    QCOMPARE(label(&dlg, "labeldrVersion"), QStringLiteral("V2.34"));
    QCOMPARE(label(&dlg, "labelinVersion"), QStringLiteral("V0.ff"));
    QCOMPARE(label(&dlg, "labelirqNum"), QStringLiteral("300"));
    QCOMPARE(label(&dlg, "labelcanNum"), QStringLiteral("2"));
    QCOMPARE(label(&dlg, "labelSerialNum"), QString::fromLatin1(serial));
    QCOMPARE(label(&dlg, "labelhwType"), QStringLiteral("Halden-D2"));

    // A shorter serial is padded with zero bytes, which are not shown.
    INfDialog padded(rawRecord(QByteArray("HD2SIM01"), QByteArray("T")));
    QCOMPARE(label(&padded, "labelSerialNum"), QStringLiteral("HD2SIM01"));

    // 8-bit text, not UTF-8.
    INfDialog latin(rawRecord(QByteArray("SN\xE9", 3), QByteArray("Typ\xFC", 4)));
    QCOMPARE(label(&latin, "labelhwType"), QStringLiteral("Typ\u00FC"));
    QVERIFY(label(&latin, "labelSerialNum").startsWith(QStringLiteral("SN\u00E9")));

    // A type without any zero byte stops at the end of the record.
    INfDialog unterminated(rawRecord(serial, QByteArray(49, 'A')));
    QCOMPARE(label(&unterminated, "labelhwType"), QString(49, QLatin1Char('A')));
}

void TestINfDialog::captionsFollowLanguage()
{
    INfDialog dlg(rawRecord(QByteArray("S"), QByteArray("T")));
    QCOMPARE(label(&dlg, "captionfwVersion"), QStringLiteral("固件版本号："));
    devSetLanguage(2);
    QCOMPARE(label(&dlg, "captionfwVersion"), QStringLiteral("Firmware Version:"));
    QCOMPARE(label(&dlg, "captionSerialNum"), QStringLiteral("Serial Number:"));
    QCOMPARE(label(&dlg, "labelfwVersion"), QStringLiteral("V2.05"));   // values stay
    devSetLanguage(1);
    QCOMPARE(label(&dlg, "captiondrVersion"), QStringLiteral("驅動程序版本號："));
}

void TestINfDialog::infoAction_data()
{
    QTest::addColumn<int>("language");
    QTest::addColumn<bool>("open");
    QTest::addColumn<int>("firmware");
    QTest::addColumn<QString>("warning");   // empty: the dialog is shown

    QTest::newRow("not open zh") << 0 << false << 0x211 << "警告|设备未打开！";
    QTest::newRow("not open zht") << 1 << false << 0x211 << "警告|設備未打開！";
    QTest::newRow("not open en") << 2 << false << 0x211 << "warning|The device is not opened!";
    QTest::newRow("no firmware zh") << 0 << true << 0 << "警告|设备信息获取失败！";
    QTest::newRow("no firmware zht") << 1 << true << 0 << "警告|設備信息獲取失敗！";
    QTest::newRow("no firmware en") << 2 << true << 0 << "warning|Device information acquisition failed!";
    QTest::newRow("shown") << 0 << true << 0x211 << QString();
}

void TestINfDialog::infoAction()
{
    QFETCH(int, language);
    QFETCH(bool, open);
    QFETCH(int, firmware);
    QFETCH(QString, warning);
    setLanguageCode(language);

    DeviceInfoRecord rec = rawRecord(QByteArray("HD2SERIAL"), QByteArray("Halden-D2"));
    rec.fwVersion = uint16_t(firmware);
    DevFake::setDeviceInfo(rec);
    if (open)
        QVERIFY(openDevice(41, 0, 0));

    QString shownFirmware;
    ModalAnswer answer(clickIn<INfDialog>("pushButton", [&](INfDialog *d) { shownFirmware = label(d, "labelfwVersion"); }));
    DeviceActions::showDeviceInfo(nullptr);
    if (warning.isEmpty()) {
        QCOMPARE(answer.count(), 1);
        QCOMPARE(shownFirmware, QStringLiteral("V2.11"));
        QVERIFY(Prompt::shown().isEmpty());
    } else {
        QCOMPARE(answer.count(), 0);
        QCOMPARE(Prompt::shown().size(), 1);
        QCOMPARE(Prompt::shown().at(0).first + QLatin1Char('|') + Prompt::shown().at(0).second, warning);
    }
}

QTEST_MAIN(TestINfDialog)
#include "tst_infdialog.moc"
