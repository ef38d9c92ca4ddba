#include "common/DevFakeDriver.h"

#include "DeviceLayer.h"
#include "OpenDlg.h"
#include "ParaDialog.h"
#include "Prompt.h"
#include "SettingsStore.h"
#include "SimulatedAdapter.h"
#include "UpdateDlg.h"

#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

namespace {
const QString D = QString::number(DevFake::kDevice);
const QString C0 = QString::number(DevFake::kChannel0);
const QString C1 = QString::number(DevFake::kChannel0 + 1);

QPushButton *button(QWidget *w, const char *name)
{
    auto *b = w->findChild<QPushButton *>(QLatin1String(name));
    Q_ASSERT(b);
    return b;
}

void touch(const QString &path)
{
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write("image");
}

// Channel 1's set used by the call-order rows; every value differs from its default.
void storeChannelOne(bool custom)
{
    SettingsStore::setValue(QStringLiteral("ch1paramcanFDStandard"), QStringLiteral("1"));
    SettingsStore::setValue(QStringLiteral("ch1paramABIT1"), QStringLiteral("14"));
    SettingsStore::setValue(QStringLiteral("ch1paramABIT2"), QStringLiteral("3"));
    SettingsStore::setValue(QStringLiteral("ch1paramisCustomBaudrate"), custom ? QStringLiteral("1") : QStringLiteral("0"));
    SettingsStore::setValue(QStringLiteral("ch1paramCustomBaudrate"), QStringLiteral("1.0M(75%)/4.0M(80%)"));
    SettingsStore::setValue(QStringLiteral("ch1paramworkStatus"), QStringLiteral("1"));
    SettingsStore::setValue(QStringLiteral("ch1paramfilterMode"), QStringLiteral("1"));
    SettingsStore::setValue(QStringLiteral("ch1paramFilterID"), QStringLiteral("0-100-1FF|1-18FF0000-18FF00FF"), true);
}
} // namespace

class TestOpenDlg : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void openDevice_data();
    void openDevice();
    void channelSteps_data();
    void channelSteps();
    void openChSelectors_data();
    void openChSelectors();
    void openAllOpensOnlyTheClosedChannel_data();
    void openAllOpensOnlyTheClosedChannel();
    void cancelOpensNothing();
    void resetAndClose();
    void bestFirmware_data();
    void bestFirmware();
    void upgradeOffer_data();
    void upgradeOffer();
    void simulatedAdapterOpensBothChannels();

private:
    std::unique_ptr<DevAppDir> m_app;
};

void TestOpenDlg::init()
{
    m_app.reset(new DevAppDir);
    DevFake::install();
    Prompt::recordForTests(true);
    Prompt::clearShown();
    setLanguageCode(0);
}

void TestOpenDlg::cleanup()
{
    DevFake::uninstall();
    m_app.reset();
}

void TestOpenDlg::openDevice_data()
{
    QTest::addColumn<int>("language");
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("fails");
    QTest::addColumn<QString>("warning");

    QTest::newRow("index 2 opens") << 0 << 2 << false << QString();
    QTest::newRow("failure zh") << 0 << 1 << true << QStringLiteral("警告|设备打开失败！");
    QTest::newRow("failure zht") << 1 << 1 << true << QStringLiteral("警告|設備打開失敗！");
    QTest::newRow("failure en") << 2 << 1 << true << QStringLiteral("warning|Device opening failed!");
}

void TestOpenDlg::openDevice()
{
    QFETCH(int, language);
    QFETCH(int, index);
    QFETCH(bool, fails);
    QFETCH(QString, warning);
    setLanguageCode(language);
    if (fails)
        DevFake::setResult(QStringLiteral("OpenDevice"), 0);

    OpenDlg dlg(0);
    dlg.show();
    dlg.findChild<QComboBox *>(QStringLiteral("deviceCombo"))->setCurrentIndex(index);
    QVERIFY(!button(&dlg, "pushButton_3")->isEnabled());
    QTest::mouseClick(button(&dlg, "pushButton"), Qt::LeftButton);

    const QString dev = QString::number(DevFake::kDevice + index);
    if (fails) {
        QCOMPARE(DevFake::calls(), QStringList({QStringLiteral("OpenDevice(41,%1,0)").arg(index),
                                                QStringLiteral("ResetDriver()"),
                                                QStringLiteral("OpenDevice(41,%1,0)").arg(index)}));
        QCOMPARE(Prompt::shown().size(), 1);
        QCOMPARE(Prompt::shown().at(0).first + QLatin1Char('|') + Prompt::shown().at(0).second, warning);
        QCOMPARE(dlg.deviceIndex(), 0);
        QVERIFY(button(&dlg, "pushButton")->isEnabled());
    } else {
        QCOMPARE(DevFake::calls(),
                 QStringList({QStringLiteral("OpenDevice(41,%1,0)").arg(index),
                              QStringLiteral("GetPropertyInterface(%1)").arg(dev),
                              QStringLiteral("GetDeviceStatus(%1)").arg(dev), QStringLiteral("GetDeviceInfo(%1)").arg(dev)}));
        QVERIFY(Prompt::shown().isEmpty());
        QCOMPARE(dlg.deviceIndex(), index);
        // Only the actions of an open device without open channels are offered.
        QVERIFY(!button(&dlg, "pushButton")->isEnabled());
        QVERIFY(!dlg.findChild<QComboBox *>(QStringLiteral("deviceCombo"))->isEnabled());
        for (const char *b : {"pushButton_2", "pushButton_3", "pushButton_4", "pushButton_5"})
            QVERIFY2(button(&dlg, b)->isEnabled(), b);
        for (const char *b : {"pushButton_6", "pushButton_8", "pushButton_9"})
            QVERIFY2(!button(&dlg, b)->isEnabled(), b);
    }
}

void TestOpenDlg::channelSteps_data()
{
    QTest::addColumn<int>("language");
    QTest::addColumn<bool>("custom");
    QTest::addColumn<QString>("failOperation");   // "SetValue:<path>" for a property write
    QTest::addColumn<int>("callsMade");           // calls up to and including the failing one
    QTest::addColumn<QString>("warning");

    // Full sequence with bit rates (13 calls) or the custom rate (12 calls).
    QTest::newRow("all steps") << 0 << false << QString() << 13 << QString();
    QTest::newRow("all steps custom") << 0 << true << QString() << 12 << QString();
    QTest::newRow("standard") << 0 << false << "SetCanFdStandard" << 1 << "设置CANFD标准失败！";
    QTest::newRow("standard en") << 2 << false << "SetCanFdStandard" << 1 << "Failed to set CANFD standard!";
    QTest::newRow("arbitration") << 0 << false << "SetArbitrationBaud" << 2 << "设置波特率失败！";
    QTest::newRow("data rate zht") << 1 << false << "SetDataBaud" << 3 << "設置波特率失敗！";
    QTest::newRow("custom rate") << 0 << true << "SetValue:0/baud_rate_custom" << 2 << "设置自定义波特率失败！";
    QTest::newRow("custom rate en") << 2 << true << "SetValue:0/baud_rate_custom" << 2
                                    << "Setting custom baud rate failed!";
    QTest::newRow("init") << 0 << false << "InitChannel" << 4 << "CAN初始化失败！";
    QTest::newRow("init en") << 2 << false << "InitChannel" << 4 << "CAN Initialization failed!";
    QTest::newRow("filter clear") << 0 << false << "SetValue:0/filter_clear" << 5 << "设置滤波失败！";
    QTest::newRow("filter mode") << 0 << false << "SetValue:0/filter_mode" << 6 << "设置滤波失败！";
    QTest::newRow("filter end") << 1 << false << "SetValue:0/filter_end" << 8 << "設置濾波失敗！";
    QTest::newRow("filter ack en") << 2 << false << "SetValue:0/filter_ack" << 12 << "Setting filtering failed!";
    QTest::newRow("start") << 0 << false << "StartChannel" << 13 << "CAN启动失败！";
    QTest::newRow("start zht") << 1 << false << "StartChannel" << 13 << "CAN啓動失敗！";
}

void TestOpenDlg::channelSteps()
{
    QFETCH(int, language);
    QFETCH(bool, custom);
    QFETCH(QString, failOperation);
    QFETCH(int, callsMade);
    QFETCH(QString, warning);
    setLanguageCode(language);
    storeChannelOne(custom);

    OpenDlg dlg(0);
    dlg.show();
    QTest::mouseClick(button(&dlg, "pushButton"), Qt::LeftButton);
    DevFake::clearCalls();
    if (failOperation.startsWith(QLatin1String("SetValue:")))
        DevFake::setPropertyResult(failOperation.mid(9), 0);
    else if (!failOperation.isEmpty())
        DevFake::setResult(failOperation, 0);

    ModalAnswer answer(clickIn<ParaDialog>("btnConfirm"));
    QTest::mouseClick(button(&dlg, "pushButton_3"), Qt::LeftButton);
    QCOMPARE(answer.count(), 1);

    QStringList expected = {QStringLiteral("SetCanFdStandard(%1,0,1)").arg(D)};
    if (custom)
        expected << QStringLiteral("SetValue(0/baud_rate_custom,1.0M(75%)/4.0M(80%))");
    else
        expected << QStringLiteral("SetArbitrationBaud(%1,0,14)").arg(D) << QStringLiteral("SetDataBaud(%1,0,3)").arg(D);
    expected << QStringLiteral("InitChannel(%1,0,mode=1/1)").arg(D) << QStringLiteral("SetValue(0/filter_clear,0)")
             << QStringLiteral("SetValue(0/filter_mode,0)") << QStringLiteral("SetValue(0/filter_start,0x100)")
             << QStringLiteral("SetValue(0/filter_end,0x1FF)") << QStringLiteral("SetValue(0/filter_mode,1)")
             << QStringLiteral("SetValue(0/filter_start,0x18FF0000)")
             << QStringLiteral("SetValue(0/filter_end,0x18FF00FF)") << QStringLiteral("SetValue(0/filter_ack,0)")
             << QStringLiteral("StartChannel(%1)").arg(C0);
    QCOMPARE(DevFake::calls(), expected.mid(0, callsMade));

    if (warning.isEmpty()) {
        QVERIFY(Prompt::shown().isEmpty());
        QVERIFY(dlg.channelOpened(0));
        QVERIFY(!button(&dlg, "pushButton_3")->isEnabled());
        QVERIFY(button(&dlg, "pushButton_8")->isEnabled());
    } else {
        QCOMPARE(Prompt::shown().size(), 1);
        QCOMPARE(Prompt::shown().at(0).first, language == 2 ? QStringLiteral("warning") : QStringLiteral("警告"));
        QCOMPARE(Prompt::shown().at(0).second, warning);
        QVERIFY(!dlg.channelOpened(0));
    }
    QVERIFY(!dlg.channelOpened(1));
}

void TestOpenDlg::openChSelectors_data()
{
    QTest::addColumn<int>("selector");
    QTest::addColumn<QList<int>>("opened");

    QTest::newRow("first") << 0 << QList<int>{0};
    QTest::newRow("second") << 1 << QList<int>{1};
    QTest::newRow("2 = both") << 2 << QList<int>{0, 1};
    QTest::newRow("3 = both") << 3 << QList<int>{0, 1};
}

void TestOpenDlg::openChSelectors()
{
    QFETCH(int, selector);
    QFETCH(QList<int>, opened);

    OpenDlg dlg(0);
    dlg.show();
    QTest::mouseClick(button(&dlg, "pushButton"), Qt::LeftButton);
    DevFake::clearCalls();

    bool chooserHidden = false;
    bool savesAll = false;
    ModalAnswer answer(clickIn<ParaDialog>("btnConfirm", [&](ParaDialog *p) {
        chooserHidden = p->findChild<QComboBox *>(QStringLiteral("chCombo"))->isHidden();
        savesAll = p->savesAllChannels();
    }));
    dlg.openCh(selector);
    QCOMPARE(answer.count(), 1);
    QVERIFY(chooserHidden);
    QCOMPARE(savesAll, opened.size() == 2);

    QStringList starts;
    for (const QString &c : DevFake::calls()) {
        if (c.startsWith(QLatin1String("InitChannel")) || c.startsWith(QLatin1String("StartChannel")))
            starts << c;
    }
    QStringList expected;
    for (int ch : opened)
        expected << QStringLiteral("InitChannel(%1,%2,mode=0/0)").arg(D).arg(ch)
                 << QStringLiteral("StartChannel(%1)").arg(DevFake::kChannel0 + ch);
    QCOMPARE(starts, expected);
    for (int ch : {0, 1}) {
        QCOMPARE(dlg.channelOpened(ch), opened.contains(ch));
        QCOMPARE(isChannelOpen(ch), opened.contains(ch));
    }
    // The parameter dialog stored what it showed for every channel it opened.
    const QString file = m_app->readSettingsFile();
    QCOMPARE(file.contains(QLatin1String("ch1paramABIT1,0")), opened.contains(0));
    QCOMPARE(file.contains(QLatin1String("ch2paramABIT1,0")), opened.contains(1));
}

void TestOpenDlg::openAllOpensOnlyTheClosedChannel_data()
{
    QTest::addColumn<int>("alreadyOpen");
    QTest::newRow("channel 0 open") << 0;
    QTest::newRow("channel 1 open") << 1;
}

void TestOpenDlg::openAllOpensOnlyTheClosedChannel()
{
    QFETCH(int, alreadyOpen);
    const int other = 1 - alreadyOpen;

    OpenDlg dlg(0);
    dlg.show();
    QTest::mouseClick(button(&dlg, "pushButton"), Qt::LeftButton);
    {
        ModalAnswer answer(clickIn<ParaDialog>("btnConfirm"));
        QTest::mouseClick(button(&dlg, alreadyOpen == 0 ? "pushButton_3" : "pushButton_4"), Qt::LeftButton);
    }
    QVERIFY(isChannelOpen(alreadyOpen));
    QVERIFY(button(&dlg, "pushButton_2")->isEnabled());
    DevFake::clearCalls();

    int shownChannel = -1;
    ModalAnswer answer(clickIn<ParaDialog>("btnConfirm", [&](ParaDialog *p) {
        shownChannel = p->findChild<QComboBox *>(QStringLiteral("chCombo"))->currentIndex();
    }));
    QTest::mouseClick(button(&dlg, "pushButton_2"), Qt::LeftButton);
    QCOMPARE(answer.count(), 1);
    QCOMPARE(shownChannel, other);
    QCOMPARE(DevFake::calls().filter(QStringLiteral("InitChannel")),
             QStringList{QStringLiteral("InitChannel(%1,%2,mode=0/0)").arg(D).arg(other)});
    QVERIFY(isChannelOpen(0) && isChannelOpen(1));
    // Both open: the open buttons go grey and the open-all button does nothing.
    QVERIFY(!button(&dlg, "pushButton_2")->isEnabled());
    DevFake::clearCalls();
    dlg.openCh(other);   // the parameter dialog still asks, but an open channel is skipped
    QVERIFY(DevFake::calls().filter(QStringLiteral("InitChannel")).isEmpty());
}

void TestOpenDlg::cancelOpensNothing()
{
    SettingsStore::save();
    const QString before = m_app->readSettingsFile();
    OpenDlg dlg(0);
    dlg.show();
    QTest::mouseClick(button(&dlg, "pushButton"), Qt::LeftButton);
    DevFake::clearCalls();

    ModalAnswer answer(clickIn<ParaDialog>("btnCancel"));
    QTest::mouseClick(button(&dlg, "pushButton_2"), Qt::LeftButton);
    QCOMPARE(answer.count(), 1);
    QVERIFY(DevFake::calls().isEmpty());
    QVERIFY(Prompt::shown().isEmpty());
    QVERIFY(!dlg.channelOpened(0) && !dlg.channelOpened(1));
    QCOMPARE(m_app->readSettingsFile(), before);
}

void TestOpenDlg::resetAndClose()
{
    OpenDlg dlg(0);
    dlg.show();
    QSignalSpy closed(&dlg, &OpenDlg::deviceClosed);
    QTest::mouseClick(button(&dlg, "pushButton"), Qt::LeftButton);
    {
        ModalAnswer answer(clickIn<ParaDialog>("btnConfirm"));
        QTest::mouseClick(button(&dlg, "pushButton_2"), Qt::LeftButton);
    }
    QVERIFY(isChannelOpen(0) && isChannelOpen(1));

    DevFake::clearCalls();
    QTest::mouseClick(button(&dlg, "pushButton_9"), Qt::LeftButton);
    QCOMPARE(DevFake::calls(), QStringList{QStringLiteral("ResetChannel(%1)").arg(C1)});
    QVERIFY(isChannelOpen(0) && !isChannelOpen(1));
    QVERIFY(!button(&dlg, "pushButton_9")->isEnabled() && button(&dlg, "pushButton_4")->isEnabled());

    DevFake::clearCalls();
    QTest::mouseClick(button(&dlg, "pushButton_6"), Qt::LeftButton);
    QCOMPARE(DevFake::calls(), QStringList{QStringLiteral("ResetChannel(%1)").arg(C0)});
    QVERIFY(!button(&dlg, "pushButton_6")->isEnabled());

    DevFake::clearCalls();
    QTest::mouseClick(button(&dlg, "pushButton_5"), Qt::LeftButton);
    QCOMPARE(DevFake::calls(), QStringList{QStringLiteral("CloseDevice(%1)").arg(D)});
    QCOMPARE(closed.count(), 1);
    QVERIFY(!isDeviceOpen());
    QVERIFY(button(&dlg, "pushButton")->isEnabled() && !button(&dlg, "pushButton_5")->isEnabled());
    // Channels opened here stay reported, so the main window can still log them.
    QVERIFY(dlg.channelOpened(0) && dlg.channelOpened(1));
}

void TestOpenDlg::bestFirmware_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<int>("version");
    QTest::addColumn<QString>("file");

    QTest::newRow("empty folder") << QStringList() << 0x211 << "firmware.bin";
    QTest::newRow("only firmware.bin") << QStringList{"firmware.bin"} << 0x211 << "firmware.bin";
    QTest::newRow("x-V2.20-y wins") << QStringList{"firmware.bin", "x-V2.20-y.bin"} << 0x220 << "x-V2.20-y.bin";
    QTest::newRow("lower-case v") << QStringList{"x-v2.1a-y.bin"} << 0x21a << "x-v2.1a-y.bin";
    QTest::newRow("no V ignored") << QStringList{"x-2.20-y.bin"} << 0x211 << "firmware.bin";
    QTest::newRow("two fields ignored") << QStringList{"x-V2.20.bin"} << 0x211 << "firmware.bin";
    QTest::newRow("four fields ignored") << QStringList{"a-b-V2.20-y.bin"} << 0x211 << "firmware.bin";
    QTest::newRow("equal to floor loses") << QStringList{"x-V2.11-y.bin"} << 0x211 << "firmware.bin";
    QTest::newRow("newest of several") << QStringList{"a-V2.12-y.bin", "b-V3.01-y.bin", "c-V2.90-y.bin"} << 0x301
                                       << "b-V3.01-y.bin";
    QTest::newRow("not a .bin") << QStringList{"x-V9.99-y.hex"} << 0x211 << "firmware.bin";
}

void TestOpenDlg::bestFirmware()
{
    QFETCH(QStringList, files);
    QFETCH(int, version);
    QFETCH(QString, file);
    const QString folder = m_app->path() + QStringLiteral("/firmware");
    for (const QString &f : files)
        touch(folder + QLatin1Char('/') + f);
    QDir(folder).mkdir(QStringLiteral("d-V9.99-y.bin"));   // folders never count

    const auto best = OpenDlg::bestFirmware(folder);
    QCOMPARE(int(best.first), version);
    QCOMPARE(best.second, file);
}

void TestOpenDlg::upgradeOffer_data()
{
    QTest::addColumn<int>("deviceFirmware");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("offered");   // empty: no upgrade offered

    QTest::newRow("0x210 gets firmware.bin") << 0x210 << QStringList{"firmware.bin"} << "firmware.bin";
    QTest::newRow("0x211 is current") << 0x211 << QStringList{"firmware.bin"} << QString();
    QTest::newRow("newer image") << 0x211 << QStringList{"firmware.bin", "hd2-V2.20-0301.bin"}
                                 << "hd2-V2.20-0301.bin";
}

void TestOpenDlg::upgradeOffer()
{
    QFETCH(int, deviceFirmware);
    QFETCH(QStringList, files);
    QFETCH(QString, offered);
    const QString folder = m_app->path() + QStringLiteral("/firmware");
    for (const QString &f : files)
        touch(folder + QLatin1Char('/') + f);
    DeviceInfoRecord info{};
    info.fwVersion = uint16_t(deviceFirmware);
    DevFake::setDeviceInfo(info);

    QString source;
    QString question;
    OpenDlg dlg(0);
    dlg.show();
    ModalAnswer answer(clickIn<UpdateDlg>("pushButton_2", [&](UpdateDlg *u) {
        source = u->sourcePath();
        question = u->findChild<QLabel *>(QStringLiteral("label"))->text();
    }));
    QTest::mouseClick(button(&dlg, "pushButton"), Qt::LeftButton);
    if (offered.isEmpty()) {
        QCOMPARE(answer.count(), 0);
        return;
    }
    QCOMPARE(answer.count(), 1);
    QCOMPARE(source, folder + QLatin1Char('/') + offered);
    QCOMPARE(question, QStringLiteral("固件版本(%1)过低，是否升级固件？").arg(versionText(uint16_t(deviceFirmware))));
    // "No" leaves the device alone.
    QVERIFY(DevFake::calls().filter(QStringLiteral("UpdateDevice")).isEmpty());
    QVERIFY(isDeviceOpen());
}

void TestOpenDlg::simulatedAdapterOpensBothChannels()
{
    DevFake::uninstall();
    OpenDlg dlg(0);
    dlg.show();
    QTest::mouseClick(button(&dlg, "pushButton"), Qt::LeftButton);
    QVERIFY(isDeviceOpen());
    ModalAnswer answer(clickIn<UpdateDlg>("pushButton_2"));
    ModalAnswer para(clickIn<ParaDialog>("btnConfirm"));
    QTest::mouseClick(button(&dlg, "pushButton_2"), Qt::LeftButton);
    QCOMPARE(answer.count(), 0);   // the simulated adapter's firmware is current
    QVERIFY(Prompt::shown().isEmpty());
    QVERIFY(dlg.channelOpened(0) && dlg.channelOpened(1));
    QVERIFY(isChannelOpen(0) && isChannelOpen(1));
    QTest::mouseClick(button(&dlg, "pushButton_5"), Qt::LeftButton);
    QVERIFY(!isDeviceOpen());
}

QTEST_MAIN(TestOpenDlg)
#include "tst_opendlg.moc"
