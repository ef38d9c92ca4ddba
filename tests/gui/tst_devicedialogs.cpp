// The device dialogs driven through their widgets on the recording fake
// driver: open flow and its warnings, channel parameters, filter rows,
// device information, firmware choice and the upgrade onto a boot drive.
#include "DeviceActions.h"
#include "FakeDriver.h"
#include "FilterDialog.h"
#include "INfDialog.h"
#include "OpenDlg.h"
#include "ParaDialog.h"
#include "RuntimeFolder.h"
#include "SettingsStore.h"
#include "TestKit.h"
#include "UpdateDlg.h"

#include <QComboBox>
#include <QLabel>
#include <QProgressBar>
#include <QSpinBox>
#include <QTableWidget>

namespace {
QComboBox *combo(QWidget *w, const char *name) { return child<QComboBox>(w, name); }

QStringList fileKeys(const QByteArray &file)
{
    QStringList keys;
    for (const QString &entry : QString::fromUtf8(file).split(';'))
        keys << entry.section(',', 0, 0);
    return keys;
}

QStringList channelKeys(int n)
{
    QStringList keys;
    for (const char *name : { "ABIT1", "ABIT2", "CustomBaudrate", "FilterID", "canFDStandard", "filterMode",
             "isCustomBaudrate", "workStatus" })
        keys << QString("ch%1param").arg(n) + name;
    return keys;
}

DeviceInfoRecord infoRecord(uint16_t firmware, const QByteArray &serial = "HD2", const QByteArray &hwType = "Halden-D2")
{
    QByteArray raw(80, '\0');
    const uint16_t words[]
        = { 0x0123, firmware, 0x1234, 0x00FF, 300 }; // hardware, firmware, driver, interface, interrupt
    for (int i = 0; i < 5; ++i)
        qToLittleEndian(words[i], raw.data() + 2 * i);
    raw[10] = 2;
    raw.replace(11, serial.size(), serial);
    raw.replace(31, hwType.size(), hwType);
    DeviceInfoRecord rec;
    std::memcpy(&rec, raw.constData(), sizeof rec);
    return rec;
}

} // namespace

class DeviceDialogsTest : public QObject {
    Q_OBJECT
    std::unique_ptr<RuntimeFolder> m_folder;
    QByteArray settingsFile() const { return m_folder->read("config/setdb.txt"); }

    // An open dialog with the device opened through its button.
    void openDialogWithDevice(OpenDlg &dlg)
    {
        dlg.show();
        click(&dlg, "pushButton");
        QVERIFY(isDeviceOpen());
        FakeDriver::clearCalls();
    }

private slots:
    void init()
    {
        m_folder = std::make_unique<RuntimeFolder>(false);
        SettingsStore::load(m_folder->path("config/setdb.txt"));
        FakeDriver::install();
        FakeDriver::setDeviceInfo(infoRecord(0x0211));
        Prompt::recordForTests(true);
        Prompt::clearShown();
        switchLanguage(0);
    }
    void cleanup()
    {
        FakeDriver::uninstall();
        m_folder.reset();
    }

    void openDevice()
    {
        setLanguageCode(2);
        FakeDriver::setResult("OpenDevice", 0);
        OpenDlg dlg(0);
        dlg.show();
        combo(&dlg, "deviceCombo")->setCurrentIndex(1);
        click(&dlg, "pushButton");
        QCOMPARE(FakeDriver::log(), QStringList({ "OpenDevice(41,1,0)", "ResetDriver()", "OpenDevice(41,1,0)" }));
        QCOMPARE(shownBox(), QString("warning|Device opening failed!"));

        FakeDriver::install();
        FakeDriver::setDeviceInfo(infoRecord(0x0211));
        click(&dlg, "pushButton");
        QCOMPARE(FakeDriver::log(),
            QStringList({ "OpenDevice(41,1,0)", "GetPropertyInterface(1)", "GetDeviceStatus(1)", "GetDeviceInfo(1)" }));
        QCOMPARE(dlg.deviceIndex(), 1);
        // Only what an open device without open channels allows is offered.
        QCOMPARE(enabledOf(&dlg,
                     { "pushButton", "pushButton_2", "pushButton_3", "pushButton_4", "pushButton_5", "pushButton_6",
                         "pushButton_8", "pushButton_9" }),
            QString("01111000"));
    }

    void channelSteps_data()
    {
        // callsMade: up to and including the failing one
        columns<int, bool, QString, int, QString>({ "language", "custom", "failing", "callsMade", "warning" });
        QTest::newRow("all steps") << 0 << false << "" << 13 << "";
        QTest::newRow("all steps, custom rate") << 0 << true << "" << 12 << "";
        QTest::newRow("standard en") << 2 << false << "SetCanFdStandard" << 1
                                     << "warning|Failed to set CANFD standard!";
        QTest::newRow("data rate zht") << 1 << false << "SetDataBaud" << 3 << "警告|設置波特率失敗！";
        QTest::newRow("custom rate en") << 2 << true << "SetValue:0/baud_rate_custom" << 2
                                        << "warning|Setting custom baud rate failed!";
        QTest::newRow("init") << 0 << false << "InitChannel" << 4 << "警告|CAN初始化失败！";
        QTest::newRow("filter end zht") << 1 << false << "SetValue:0/filter_end" << 8 << "警告|設置濾波失敗！";
        QTest::newRow("filter ack en") << 2 << false << "SetValue:0/filter_ack" << 12
                                       << "warning|Setting filtering failed!";
        QTest::newRow("start") << 0 << false << "StartChannel" << 13 << "警告|CAN启动失败！";
    }
    void channelSteps()
    {
        QFETCH(int, language);
        QFETCH(bool, custom);
        QFETCH(QString, failing);
        QFETCH(int, callsMade);
        QFETCH(QString, warning);
        setLanguageCode(language);
        for (const char *kv : { "canFDStandard=1", "ABIT1=14", "ABIT2=3", "CustomBaudrate=1.0M(75%)/4.0M(80%)",
                 "workStatus=1", "filterMode=1", "FilterID=0-100-1FF|1-18FF0000-18FF00FF" })
            SettingsStore::setValue("ch1param" + QString(kv).section('=', 0, 0), QString(kv).section('=', 1));
        SettingsStore::setValue("ch1paramisCustomBaudrate", custom ? "1" : "0");
        OpenDlg dlg(0);
        openDialogWithDevice(dlg);
        FakeDriver::fail(failing);
        ModalAnswer answer(clickIn<ParaDialog>("btnConfirm"));
        click(&dlg, "pushButton_3");
        QCOMPARE(answer.count(), 1);
        QStringList expected = { "SetCanFdStandard(1,0,1)" };
        expected << (custom ? QStringList { "SetValue(0/baud_rate_custom,1.0M(75%)/4.0M(80%))" }
                            : QStringList { "SetArbitrationBaud(1,0,14)", "SetDataBaud(1,0,3)" })
                 << "InitChannel(1,0)"
                 << "SetValue(0/filter_clear,0)"
                 << "SetValue(0/filter_mode,0)"
                 << "SetValue(0/filter_start,0x100)"
                 << "SetValue(0/filter_end,0x1FF)"
                 << "SetValue(0/filter_mode,1)"
                 << "SetValue(0/filter_start,0x18FF0000)"
                 << "SetValue(0/filter_end,0x18FF00FF)"
                 << "SetValue(0/filter_ack,0)"
                 << "StartChannel(256)";
        QCOMPARE(FakeDriver::log(), expected.mid(0, callsMade));
        QCOMPARE(shownBox(), warning);
        QCOMPARE(Prompt::shown().size(), warning.isEmpty() ? 0 : 1);
        QCOMPARE(dlg.channelOpened(0), warning.isEmpty());
        QVERIFY(!dlg.channelOpened(1));
        if (callsMade >= 4) { // listen-only in both mode bytes
            const QByteArray init = FakeDriver::calls("InitChannel").value(0).records;
            QVERIFY(init.at(19) == 1 && init.at(25) == 1);
        }
    }

    void openChSelectors_data()
    {
        // alreadyOpen: -1: none
        columns<int, int, QStringList>({ "selector", "alreadyOpen", "starts" });
        QTest::newRow("first") << 0 << -1 << QStringList { "InitChannel(1,0)", "StartChannel(256)" };
        QTest::newRow("second") << 1 << -1 << QStringList { "InitChannel(1,1)", "StartChannel(257)" };
        QTest::newRow("2 = both") << 2 << -1
                                  << QStringList { "InitChannel(1,0)", "StartChannel(256)", "InitChannel(1,1)",
                                         "StartChannel(257)" };
        QTest::newRow("3 = both") << 3 << -1
                                  << QStringList { "InitChannel(1,0)", "StartChannel(256)", "InitChannel(1,1)",
                                         "StartChannel(257)" };
        QTest::newRow("open-all with channel 1 open")
            << 9 << 0 << QStringList { "InitChannel(1,1)", "StartChannel(257)" };
    }
    void openChSelectors()
    {
        QFETCH(int, selector);
        QFETCH(int, alreadyOpen);
        QFETCH(QStringList, starts);
        OpenDlg dlg(0);
        openDialogWithDevice(dlg);
        if (alreadyOpen >= 0) {
            ModalAnswer first(clickIn<ParaDialog>("btnConfirm"));
            dlg.openCh(alreadyOpen);
            FakeDriver::clearCalls();
        }
        int shownChannel = -1;
        bool savesAll = false, chooserHidden = false;
        ModalAnswer answer(clickIn<ParaDialog>("btnConfirm", [&](ParaDialog *p) {
            savesAll = p->savesAllChannels();
            chooserHidden = combo(p, "chCombo")->isHidden();
            shownChannel = combo(p, "chCombo")->currentIndex();
        }));
        if (selector == 9)
            click(&dlg, "pushButton_2");
        else
            dlg.openCh(selector);
        QCOMPARE(answer.count(), 1);
        QCOMPARE(FakeDriver::log().filter(QRegularExpression("^(Init|Start)Channel")), starts);
        QCOMPARE(savesAll, starts.size() == 4);
        if (selector == 9)
            QCOMPARE(shownChannel, 1); // the closed one
        else
            QVERIFY(chooserHidden);
        for (int ch : { 0, 1 })
            QCOMPARE(dlg.channelOpened(ch), isChannelOpen(ch));
        // The parameter dialog stored what it showed for every channel it opened.
        QCOMPARE(settingsFile().contains("ch2paramABIT1,0"), selector != 0);
        if (selector == 9) // both open: the open-all button goes grey
            QVERIFY(!child<QPushButton>(&dlg, "pushButton_2")->isEnabled());
    }

    void cancelOpensNothingAndCloseLogs()
    {
        SettingsStore::save();
        const QByteArray before = settingsFile();
        OpenDlg dlg(0);
        QSignalSpy closed(&dlg, &OpenDlg::deviceClosed);
        openDialogWithDevice(dlg);
        {
            ModalAnswer answer(clickIn<ParaDialog>("btnCancel"));
            click(&dlg, "pushButton_2");
            QCOMPARE(answer.count(), 1);
        }
        QVERIFY(FakeDriver::log().isEmpty() && Prompt::shown().isEmpty());
        QVERIFY(!dlg.channelOpened(0) && !dlg.channelOpened(1));
        QCOMPARE(settingsFile(), before);
        // Reset channel 2, then close: one call each, on the right handles.
        ModalAnswer answer(clickIn<ParaDialog>("btnConfirm"));
        click(&dlg, "pushButton_2");
        FakeDriver::clearCalls();
        click(&dlg, "pushButton_9");
        click(&dlg, "pushButton_5");
        QCOMPARE(FakeDriver::log(), QStringList({ "ResetChannel(257)", "CloseDevice(1)" }));
        QCOMPARE(closed.count(), 1);
        QCOMPARE(enabledOf(&dlg, { "pushButton", "pushButton_5" }), QString("10"));
    }

    void firmwareChoice_data()
    {
        columns<QStringList, int, QString, bool>({ "files", "deviceFirmware", "best", "offered" });
        QTest::newRow("only firmware.bin, 0x210 offered")
            << QStringList { "firmware.bin" } << 0x210 << "firmware.bin" << true;
        QTest::newRow("only firmware.bin, 0x211 current")
            << QStringList { "firmware.bin" } << 0x211 << "firmware.bin" << false;
        QTest::newRow("x-V2.20-y wins") << QStringList { "firmware.bin", "x-V2.20-y.bin" } << 0x211 << "x-V2.20-y.bin"
                                        << true;
        QTest::newRow("no V ignored") << QStringList { "x-2.20-y.bin" } << 0x211 << "firmware.bin" << false;
        QTest::newRow("two fields ignored") << QStringList { "x-V2.20.bin" } << 0x211 << "firmware.bin" << false;
        QTest::newRow("four fields ignored") << QStringList { "a-b-V2.20-y.bin" } << 0x211 << "firmware.bin" << false;
        QTest::newRow("newest of several")
            << QStringList { "a-V2.12-y.bin", "b-V3.01-y.bin", "c-V2.90-y.bin" } << 0x211 << "b-V3.01-y.bin" << true;
    }
    void firmwareChoice()
    {
        QFETCH(QStringList, files);
        QFETCH(int, deviceFirmware);
        QFETCH(QString, best);
        QFETCH(bool, offered);
        const QString folder = m_folder->path("firmware");
        for (const QString &f : files)
            writeFile(folder + '/' + f, "image");
        QDir(folder).mkdir("d-V9.99-y.bin"); // folders never count
        QCOMPARE(OpenDlg::bestFirmware(folder).second, best);
        FakeDriver::setDeviceInfo(infoRecord(uint16_t(deviceFirmware)));
        QString source, question;
        OpenDlg dlg(0);
        dlg.show();
        ModalAnswer answer(clickIn<UpdateDlg>("pushButton_2", [&](UpdateDlg *u) {
            source = u->sourcePath();
            question = child<QLabel>(u, "label")->text();
        }));
        click(&dlg, "pushButton");
        QCOMPARE(answer.count(), offered ? 1 : 0);
        if (offered) {
            QCOMPARE(source, folder + '/' + best);
            QCOMPARE(question, QString("固件版本(%1)过低，是否升级固件？").arg(versionText(uint16_t(deviceFirmware))));
            QVERIFY(FakeDriver::callCount("UpdateDevice") == 0 && isDeviceOpen()); // "no" leaves the device alone
        }
    }

    // The menu entry offers the upgrade only for a newer image, else says why not.
    void upgradeMenuEntry_data()
    {
        // deviceFirmware -1: no device open; box empty: UpdateDlg offered
        columns<int, int, QString, QString>({ "language", "deviceFirmware", "image", "box" });
        QTest::newRow("no device") << 0 << -1 << "x-V2.20-y.bin"
                                   << "警告|设备未打开！";
        QTest::newRow("as new as firmware.bin") << 1 << 0x211 << ""
                                                << "提示|固件版本(V2.11)已是最新，無需升級！";
        QTest::newRow("as new as the newest image")
            << 2 << 0x220 << "x-V2.20-y.bin"
            << "tip|The firmware version(V2.20) is up to date, no upgrade is needed!";
        QTest::newRow("no answer") << 0 << 0 << "x-V2.20-y.bin"
                                   << "警告|设备信息获取失败！";
        QTest::newRow("newer image offered") << 0 << 0x211 << "x-V2.20-y.bin"
                                             << "";
    }
    void upgradeMenuEntry()
    {
        QFETCH(int, language);
        QFETCH(int, deviceFirmware);
        QFETCH(QString, image);
        QFETCH(QString, box);
        if (!image.isEmpty())
            writeFile(m_folder->path("firmware/") + image, "image");
        if (deviceFirmware >= 0) {
            FakeDriver::setDeviceInfo(infoRecord(uint16_t(deviceFirmware)));
            QVERIFY(::openDevice(41, 0, 0));
        }
        setLanguageCode(language);
        QString source;
        ModalAnswer answer(clickIn<UpdateDlg>("pushButton_2", [&](UpdateDlg *u) { source = u->sourcePath(); }));
        DeviceActions::upgradeFirmware(nullptr, 0);
        QCOMPARE(shownBox(), box);
        QCOMPARE(answer.count(), box.isEmpty() ? 1 : 0);
        if (box.isEmpty())
            QCOMPARE(source, m_folder->path("firmware/") + image);
        QCOMPARE(Prompt::shownKinds().value(0, Prompt::Kind::Warning),
            box.startsWith("提示") || box.startsWith("tip") ? Prompt::Kind::Information : Prompt::Kind::Warning);
        QCOMPARE(FakeDriver::callCount("UpdateDevice"), 0);
    }

    void paraDialogStoresKeysInOrder_data()
    {
        // keys: in the settings file afterwards, nothing when the button leaves it alone
        columns<bool, int, QString, QStringList>({ "showChoice", "selector", "button", "keys" });
        QTest::newRow("open dialog, channel 1") << false << 0 << "btnConfirm" << channelKeys(1);
        QTest::newRow("open dialog, channel 2") << false << 1 << "btnConfirm" << channelKeys(2);
        QTest::newRow("open dialog, both") << false << 3 << "btnConfirm" << channelKeys(1) + channelKeys(2);
        QTest::newRow("setting action, first") << true << 3 << "btnConfirm" << channelKeys(1);
        QTest::newRow("save stores the shown channel only") << false << 3 << "btnSave" << channelKeys(1);
        QTest::newRow("cancel leaves the file untouched") << false << 0 << "btnCancel" << QStringList { "<missing>" };
    }
    void paraDialogStoresKeysInOrder()
    {
        QFETCH(bool, showChoice);
        QFETCH(int, selector);
        QFETCH(QString, button);
        QFETCH(QStringList, keys);
        ParaDialog dlg(true, showChoice, selector);
        dlg.show();
        QCOMPARE(combo(&dlg, "chCombo")->isHidden(), !showChoice);
        // The index is what the driver gets: 13 is 5 kbit/s, 8 is 100 kbit/s.
        combo(&dlg, "ABIT1Combo")->setCurrentIndex(13);
        combo(&dlg, "ABIT2Combo")->setCurrentIndex(8);
        QCOMPARE(combo(&dlg, "ABIT1Combo")->currentText() + combo(&dlg, "ABIT2Combo")->currentText(),
            QString("5kbps(80%)100kbps(80%)"));
        combo(&dlg, "workStatusCombo")->setCurrentIndex(1);
        click(&dlg, button);
        QCOMPARE(dlg.isVisible(), button == "btnSave");
        const QByteArray file = settingsFile();
        QVERIFY(!file.endsWith(';'));
        QCOMPARE(fileKeys(file), keys);
        const QString p = keys.first().left(8);
        if (button != "btnCancel")
            QVERIFY(file.contains((p + "ABIT1,13;" + p + "ABIT2,8;" + p + "CustomBaudrate,;" + p + "FilterID,;" + p
                + "canFDStandard,0;" + p + "filterMode,0;" + p + "isCustomBaudrate,0;" + p + "workStatus,1")
                                      .toUtf8()));
    }

    void applyAction_data()
    {
        // calls: how many of the full sequence
        columns<QList<int>, QString, int, QString, int>({ "open", "failing", "calls", "warning", "logLines" });
        QTest::newRow("both running") << QList<int> { 0, 1 } << "" << 10 << "" << 2;
        QTest::newRow("first only") << QList<int> { 0 } << "" << 7 << "" << 1;
        QTest::newRow("second only: nothing") << QList<int> { 1 } << "" << 0 << "" << 0;
        QTest::newRow("custom fails") << QList<int> { 0, 1 } << "SetValue:0/baud_rate_custom" << 2
                                      << "警告|设置自定义波特率失败！" << 0;
        QTest::newRow("ack fails") << QList<int> { 0, 1 } << "SetValue:0/filter_ack" << 7 << "警告|设置滤波失败！" << 0;
        QTest::newRow("second channel rate fails")
            << QList<int> { 0, 1 } << "SetDataBaud" << 10 << "警告|设置波特率失败！" << 1;
    }
    void applyAction()
    {
        QFETCH(QList<int>, open);
        QFETCH(QString, failing);
        QFETCH(int, calls);
        QFETCH(QString, warning);
        QFETCH(int, logLines);
        for (const char *kv : { "ch1paramcanFDStandard=1", "ch1paramisCustomBaudrate=1",
                 "ch1paramCustomBaudrate=250k/1M", "ch1paramfilterMode=1", "ch1paramFilterID=0-100-1FF",
                 "ch2paramABIT1=13", "ch2paramABIT2=8", "ch2paramFilterID=0-7-7" }) // box unticked: not applied
            SettingsStore::setValue(QString(kv).section('=', 0, 0), QString(kv).section('=', 1));
        QVERIFY(::openDevice(41, 0, 0));
        for (int ch : open)
            QVERIFY(initChannel(ch, 0));
        FakeDriver::clearCalls();
        FakeDriver::fail(failing);
        QStringList log;
        ModalAnswer answer(clickIn<ParaDialog>("btnConfirm", [](ParaDialog *p) { QVERIFY(!p->savesAllChannels()); }));
        const bool ok = DeviceActions::applyChannelParameters(nullptr, [&](const QString &line) { log << line; });
        QCOMPARE(answer.count(), 1);
        const QStringList all = { "SetCanFdStandard(1,0,1)", "SetValue(0/baud_rate_custom,250k/1M)",
            "SetValue(0/filter_clear,0)", "SetValue(0/filter_mode,0)", "SetValue(0/filter_start,0x100)",
            "SetValue(0/filter_end,0x1FF)", "SetValue(0/filter_ack,0)", "SetCanFdStandard(1,1,0)",
            "SetArbitrationBaud(1,1,13)", "SetDataBaud(1,1,8)" };
        QCOMPARE(FakeDriver::log(), all.mid(0, calls));
        QCOMPARE(log, QStringList(QVector<QString>(logLines, "设备参数设置成功！").toList()));
        QCOMPARE(ok, warning.isEmpty() && logLines > 0);
        QCOMPARE(shownBox(), warning);
    }

    // A ticked filter without rows: opening runs the channel unfiltered, while
    // re-applying still clears the filter and writes its one empty row.
    void tickedFilterWithoutRows()
    {
        SettingsStore::setValue("ch1paramfilterMode", "1");
        SettingsStore::setValue("ch1paramFilterID", "");
        OpenDlg dlg(0);
        openDialogWithDevice(dlg);
        {
            ModalAnswer answer(clickIn<ParaDialog>("btnConfirm"));
            click(&dlg, "pushButton_3");
        }
        QCOMPARE(FakeDriver::log(),
            QStringList({ "SetCanFdStandard(1,0,0)", "SetArbitrationBaud(1,0,0)", "SetDataBaud(1,0,0)",
                "InitChannel(1,0)", "StartChannel(256)" }));
        FakeDriver::clearCalls();
        ModalAnswer answer(clickIn<ParaDialog>("btnConfirm"));
        QVERIFY(DeviceActions::applyChannelParameters(nullptr, {}));
        QCOMPARE(FakeDriver::log(),
            QStringList({ "SetCanFdStandard(1,0,0)", "SetArbitrationBaud(1,0,0)", "SetDataBaud(1,0,0)",
                "SetValue(0/filter_clear,0)", "SetValue(0/filter_mode,0)", "SetValue(0/filter_start,0x)",
                "SetValue(0/filter_end,0x)", "SetValue(0/filter_ack,0)" }));
    }

    void filterRows_data()
    {
        // added: "kind start end" in hex; rows: table texts, then "=" and the text read back
        columns<int, QString, QString, QString>({ "language", "initial", "added", "rows" });
        QTest::newRow("single id ignores end") << 0 << ""
                                               << "1 7FF 10"
                                               << "标准帧 7FF 7FF=0-7FF-7FF";
        QTest::newRow("extended single") << 1 << ""
                                         << "3 1FFFFFFF 0"
                                         << "擴展幀 1FFFFFFF 1FFFFFFF=1-1FFFFFFF-1FFFFFFF";
        QTest::newRow("end below start") << 2 << ""
                                         << "0 200 1FF"
                                         << "=";
        QTest::newRow("empty table") << 0 << ""
                                     << ""
                                     << "=";
        QTest::newRow("duplicate stored once") << 0 << "0-7-7|0-7-7"
                                               << ""
                                               << "标准帧 7 7|标准帧 7 7=0-7-7";
        QTest::newRow("contained row dropped") << 0 << "0-1-10|0-1-1"
                                               << ""
                                               << "标准帧 1 10|标准帧 1 1=0-1-10";
        QTest::newRow("same ids, other kind") << 2 << "0-7-7"
                                              << "2 7 7"
                                              << "Standard Frame 7 7|Extended Frame 7 7=0-7-7|1-7-7";
    }
    void filterRows()
    {
        QFETCH(int, language);
        QFETCH(QString, initial);
        QFETCH(QString, added);
        QFETCH(QString, rows);
        switchLanguage(language);
        FilterDialog dlg(1, initial);
        dlg.show();
        auto *table = child<QTableWidget>(&dlg, "filterTable");
        if (!added.isEmpty()) {
            const QStringList f = added.split(' ');
            combo(&dlg, "comboBox")->setCurrentIndex(f[0].toInt());
            child<QSpinBox>(&dlg, "startSpin")->setValue(f[1].toInt(nullptr, 16));
            child<QSpinBox>(&dlg, "endSpin")->setValue(f[2].toInt(nullptr, 16));
            click(&dlg, "btnAdd");
        }
        QStringList shown;
        for (int r = 0; r < table->rowCount(); ++r)
            shown << table->item(r, 0)->text() + ' ' + table->item(r, 1)->text() + ' ' + table->item(r, 2)->text();
        click(&dlg, "btnConfirm");
        QCOMPARE(shown.join('|') + '=' + dlg.rowText(), rows);
        QCOMPARE(shownBox(),
            QString(rows == "=" && !added.isEmpty() ? "error|The end ID cannot be less than the start ID" : ""));
    }

    void filterKindClampsAndLanguageChange()
    {
        FilterDialog dlg(1, QString());
        auto *kind = combo(&dlg, "comboBox");
        auto *start = child<QSpinBox>(&dlg, "startSpin");
        auto *end = child<QSpinBox>(&dlg, "endSpin");
        kind->setCurrentIndex(2);
        QCOMPARE(start->maximum(), 0x1FFFFFFF);
        start->setValue(0x18FF0000);
        end->setValue(0x500);
        kind->setCurrentIndex(3);
        QVERIFY(!end->isEnabled());
        kind->setCurrentIndex(1); // narrowing to 0..7FF clamps both fields
        QVERIFY(
            start->maximum() == 0x7FF && end->maximum() == 0x7FF && start->value() == 0x7FF && end->value() == 0x500);
        kind->setCurrentIndex(0);
        start->setValue(0x100);
        end->setValue(0x1FF);
        click(&dlg, "btnAdd");
        // Switched while open: a row of each language in one table, both read back.
        switchLanguage(2);
        QCOMPARE(dlg.windowTitle(), QString("Channel1 filter set"));
        kind->setCurrentIndex(3);
        start->setValue(0x18FF0000);
        click(&dlg, "btnAdd");
        click(&dlg, "btnConfirm");
        QCOMPARE(dlg.rowText(), QString("0-100-1FF|1-18FF0000-18FF0000"));
        switchLanguage(1);
        FilterDialog again(2, dlg.rowText());
        QCOMPARE(again.windowTitle(), QString("通道2濾波設置"));
        QCOMPARE(child<QTableWidget>(&again, "filterTable")->item(1, 0)->text(), QString("擴展幀"));
    }

    void deviceInformation()
    {
        const QByteArray serial("HD2-2024-0000123456X"); // all 20 bytes, no terminator
        INfDialog dlg(infoRecord(0x0205, serial, QByteArray("Halden-D2\0junk", 14)));
        QStringList labels;
        for (const char *name :
            { "hwVersion", "fwVersion", "drVersion", "inVersion", "irqNum", "canNum", "SerialNum", "hwType" })
            labels << child<QLabel>(&dlg, QString("label") + name)->text();
        QCOMPARE(labels.join('|'), QString("V1.23|V2.05|V2.34|V0.ff|300|2|HD2-2024-0000123456X|Halden-D2"));
        INfDialog latin(infoRecord(
            0x0205, QByteArray("SN\xE9", 3), QByteArray(49, 'A'))); // 8-bit text; no terminator: up to the end
        QVERIFY(child<QLabel>(&latin, "labelSerialNum")->text().startsWith(QString("SN\u00E9")));
        QCOMPARE(child<QLabel>(&latin, "labelhwType")->text(), QString(49, 'A'));
    }
};

class UpgradeTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    QString m_source;
    QList<QPair<QString, QString>> m_volumes;
    int m_listings = 0, m_quits = 0;

    void startUpgrade(UpdateDlg &dlg)
    {
        dlg.show();
        click(&dlg, "pushButton");
        QTRY_VERIFY_WITH_TIMEOUT(FakeDriver::callCount("UpdateDevice") == 1, 2000);
    }

private slots:
    void init()
    {
        FakeDriver::install();
        Prompt::recordForTests(true);
        Prompt::clearShown();
        setLanguageCode(0);
        m_source = m_tmp.path() + "/hd2-V2.20-0301.bin";
        QVERIFY(writeFile(m_source, "NEW IMAGE"));
        m_volumes = { qMakePair(QString("System"), QString("/")) };
        m_listings = m_quits = 0;
        UpdateDlg::setVolumeLister([this] {
            ++m_listings;
            return m_volumes;
        });
        UpdateDlg::setQuitHandler([this] { ++m_quits; });
    }
    void cleanup()
    {
        UpdateDlg::setVolumeLister({});
        UpdateDlg::setQuitHandler({});
        FakeDriver::uninstall();
    }

    void upgradeOntoBootDrive_data()
    {
        // drive: attempts before the boot drive shows up; one that cannot take the file shows up at the 5th
        columns<int, int, QString>({ "language", "drive", "box" });
        QTest::newRow("at once") << 0 << 0 << "提示|固件升级成功，请重新插拔设备并重启软件！";
        QTest::newRow("at the last attempt, replacing firmware.bin")
            << 2 << 14
            << "tip|Firmware upgrade successfully, please reinsert or unplug the device and restart the software!";
        QTest::newRow("unwritable drive: fails after fifteen attempts")
            << 0 << -1 << "错误|固件升级失败，请重新插拔设备并重启软件！";
    }
    void upgradeOntoBootDrive()
    {
        QFETCH(int, language);
        QFETCH(int, drive);
        setLanguageCode(language);
        QTemporaryDir oldDrive, newDrive;
        m_volumes << qMakePair(QString("CRP DISABLD"), oldDrive.path()); // mounted before: never written
        QVERIFY(writeFile(newDrive.path() + "/firmware.bin", "OLD IMAGE, LONGER"));
        QVERIFY(::openDevice(41, 0, 0));
        UpdateDlg dlg("V2.10", m_source, 0);
        startUpgrade(dlg);
        QCOMPARE(child<QLabel>(&dlg, "label")->text(),
            QString(language ? "Warning: Do not close this interface or unplug the device during firmware upgrade."
                             : "警告：升级固件中，请勿关闭此界面及拔出设备。"));
        dlg.close(); // no way out while the adapter restarts
        QVERIFY(dlg.isVisible());
        for (int i = 1; i <= (drive < 0 ? 15 : drive); ++i) {
            if (i == 5 && drive < 0)
                m_volumes << qMakePair(QString("CRP DISABLD"), m_tmp.path() + "/missing/drive");
            dlg.timer();
            QCOMPARE(dlg.findChild<QProgressBar *>()->value(), i);
        }
        QVERIFY(Prompt::shown().isEmpty() && m_quits == 0);
        if (drive >= 0)
            m_volumes << qMakePair(QString("NXP CRP DISABLD"), newDrive.path());
        dlg.timer();
        QCOMPARE(
            readFile(newDrive.path() + "/firmware.bin"), QByteArray(drive < 0 ? "OLD IMAGE, LONGER" : "NEW IMAGE"));
        QVERIFY(!QFile::exists(oldDrive.path() + "/firmware.bin"));
        QCOMPARE(Prompt::shownKinds(),
            QList<Prompt::Kind> { drive < 0 ? Prompt::Kind::Critical : Prompt::Kind::Information });
        QTEST(shownBox(), "box");
        QCOMPARE(m_quits, 1);
    }
};

OSTREL_TEST_MAIN(QApplication, new DeviceDialogsTest, new UpgradeTest)
#include "tst_devicedialogs.moc"
