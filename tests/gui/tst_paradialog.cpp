#include "common/DevFakeDriver.h"

#include "DeviceActions.h"
#include "DeviceLayer.h"
#include "FilterDialog.h"
#include "ParaDialog.h"
#include "Prompt.h"
#include "SettingsStore.h"
#include "valueDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QtTest>

namespace {
const QString D = QString::number(DevFake::kDevice);

QComboBox *combo(QWidget *w, const char *name)
{
    return w->findChild<QComboBox *>(QLatin1String(name));
}

QStringList items(QComboBox *c)
{
    QStringList out;
    for (int i = 0; i < c->count(); ++i)
        out << c->itemText(i);
    return out;
}

QStringList fileKeys(const QString &file)
{
    QStringList keys;
    for (const QString &entry : file.split(QLatin1Char(';')))
        keys << entry.section(QLatin1Char(','), 0, 0);
    return keys;
}

QStringList channelKeys(int n)
{
    QStringList keys;
    for (const char *name : {"ABIT1", "ABIT2", "CustomBaudrate", "FilterID", "canFDStandard", "filterMode",
                             "isCustomBaudrate", "workStatus"})
        keys << QStringLiteral("ch%1param").arg(n) + QLatin1String(name);
    return keys;
}

// Clicks a check box on its indicator (a click in the middle of a wide box misses it).
void tick(QCheckBox *box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2));
}

void set(const QString &key, const QString &value)
{
    SettingsStore::setValue(key, value, false);
}
} // namespace

class TestParaDialog : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void bitRateTables();
    void storesKeysInOrder_data();
    void storesKeysInOrder();
    void loadsEveryValueAndKeepsHiddenOnes();
    void saveButtonKeepsDialogOpen();
    void cancelLeavesFileUntouched();
    void readOnlyView();
    void translatedChoices();
    void valueDialogReportsIndex();

    void applyAction_data();
    void applyAction();
    void applyWithoutOpenChannel();

private:
    std::unique_ptr<DevAppDir> m_app;
};

void TestParaDialog::init()
{
    m_app.reset(new DevAppDir);
    DevFake::install();
    Prompt::recordForTests(true);
    Prompt::clearShown();
    setLanguageCode(0);
}

void TestParaDialog::cleanup()
{
    DevFake::uninstall();
    m_app.reset();
}

void TestParaDialog::bitRateTables()
{
    // The index is what the driver gets: the order is the driver's numbering.
    ParaDialog dlg(true, true, 3);
    QCOMPARE(items(combo(&dlg, "ABIT1Combo")),
             QStringList({"1Mbps(80%)", "800kbps(80%)", "500kbps(80%)", "400kbps(80%)", "250kbps(80%)",
                          "200kbps(80%)", "125kbps(80%)", "100kbps(80%)", "80kbps(80%)", "50kbps(80%)", "40kbps(80%)",
                          "20kbps(80%)", "10kbps(80%)", "5kbps(80%)", "666.66kbps(80%)", "83.33kbps(80%)",
                          "66.66kbps(80%)", "33.33kbps(80%)"}));
    QCOMPARE(items(combo(&dlg, "ABIT2Combo")),
             QStringList({"5Mbps(75%)", "4Mbps(80%)", "2Mbps(80%)", "1Mbps(80%)", "800kbps(80%)", "500kbps(80%)",
                          "250kbps(80%)", "125kbps(80%)", "100kbps(80%)"}));
    QCOMPARE(items(combo(&dlg, "canFDStandardCombo")), QStringList({"CANFD ISO", "CANFD BOSCH"}));
    QCOMPARE(items(combo(&dlg, "workStatusCombo")), QStringList({"正常", "只听"}));
    QCOMPARE(items(combo(&dlg, "chCombo")), QStringList({"通道1", "通道2"}));
}

void TestParaDialog::storesKeysInOrder_data()
{
    QTest::addColumn<bool>("showChoice");
    QTest::addColumn<int>("selector");
    QTest::addColumn<int>("chooseIndex");   // -1: leave the channel choice alone
    QTest::addColumn<QStringList>("keys");

    QTest::newRow("open dialog, channel 1") << false << 0 << -1 << channelKeys(1);
    QTest::newRow("open dialog, channel 2") << false << 1 << -1 << channelKeys(2);
    QTest::newRow("open dialog, both") << false << 3 << -1 << channelKeys(1) + channelKeys(2);
    QTest::newRow("setting action, first") << true << 3 << -1 << channelKeys(1);
}

void TestParaDialog::storesKeysInOrder()
{
    QFETCH(bool, showChoice);
    QFETCH(int, selector);
    QFETCH(QStringList, keys);
    QVERIFY(!QFile::exists(m_app->settingsFile()));

    ParaDialog dlg(true, showChoice, selector);
    dlg.show();
    QCOMPARE(combo(&dlg, "chCombo")->isHidden(), !showChoice);
    QCOMPARE(combo(&dlg, "chCombo")->isEnabled(), selector == 3);
    QCOMPARE(combo(&dlg, "chCombo")->currentIndex(), selector == 3 ? 0 : selector);
    combo(&dlg, "ABIT1Combo")->setCurrentIndex(13);
    combo(&dlg, "ABIT2Combo")->setCurrentIndex(8);
    combo(&dlg, "workStatusCombo")->setCurrentIndex(1);
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnConfirm")), Qt::LeftButton);
    QCOMPARE(dlg.result(), int(QDialog::Accepted));

    const QString file = m_app->readSettingsFile();
    QVERIFY(!file.endsWith(QLatin1Char(';')));
    QCOMPARE(fileKeys(file), keys);
    for (int n : {1, 2}) {
        const bool stored = keys.contains(channelKeys(n).first());
        const QString prefix = QStringLiteral("ch%1param").arg(n);
        QCOMPARE(file.contains(prefix + QStringLiteral("ABIT1,13;") + prefix + QStringLiteral("ABIT2,8;") + prefix
                               + QStringLiteral("CustomBaudrate,;") + prefix + QStringLiteral("FilterID,;") + prefix
                               + QStringLiteral("canFDStandard,0;") + prefix + QStringLiteral("filterMode,0;") + prefix
                               + QStringLiteral("isCustomBaudrate,0;") + prefix + QStringLiteral("workStatus,1")),
                 stored);
    }
}

void TestParaDialog::loadsEveryValueAndKeepsHiddenOnes()
{
    set(QStringLiteral("ch2paramworkStatus"), QStringLiteral("1"));
    set(QStringLiteral("ch2paramcanFDStandard"), QStringLiteral("1"));
    set(QStringLiteral("ch2paramABIT1"), QStringLiteral("14"));
    set(QStringLiteral("ch2paramABIT2"), QStringLiteral("x"));   // not a number: first entry
    set(QStringLiteral("ch2paramisCustomBaudrate"), QStringLiteral("1"));
    set(QStringLiteral("ch2paramCustomBaudrate"), QStringLiteral("500k(87.5%)/2M(75%)"));
    set(QStringLiteral("ch2paramfilterMode"), QStringLiteral("1"));
    set(QStringLiteral("ch2paramFilterID"), QStringLiteral("1-18FF0000-18FF00FF"));

    ParaDialog dlg(true, true, 3);
    dlg.show();
    QVERIFY(dlg.findChild<QCheckBox *>(QStringLiteral("CustomBaudrateCheckBox"))->isHidden());
    QVERIFY(dlg.findChild<QLineEdit *>(QStringLiteral("CustomBaudrateEdit"))->isHidden());
    QVERIFY(dlg.findChild<QWidget *>(QStringLiteral("CustomBaudrateHint"))->isHidden());
    QVERIFY(!dlg.findChild<QCheckBox *>(QStringLiteral("filterModeCheck"))->isChecked());

    combo(&dlg, "chCombo")->setCurrentIndex(1);
    QCOMPARE(combo(&dlg, "workStatusCombo")->currentIndex(), 1);
    QCOMPARE(combo(&dlg, "canFDStandardCombo")->currentIndex(), 1);
    QCOMPARE(combo(&dlg, "ABIT1Combo")->currentText(), QStringLiteral("666.66kbps(80%)"));
    QCOMPARE(combo(&dlg, "ABIT2Combo")->currentIndex(), 0);
    QVERIFY(dlg.findChild<QCheckBox *>(QStringLiteral("CustomBaudrateCheckBox"))->isChecked());
    QVERIFY(dlg.findChild<QCheckBox *>(QStringLiteral("filterModeCheck"))->isChecked());
    QCOMPARE(dlg.filterRowText(), QStringLiteral("1-18FF0000-18FF00FF"));

    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnConfirm")), Qt::LeftButton);
    QCOMPARE(SettingsStore::value(QStringLiteral("ch2paramCustomBaudrate")), QStringLiteral("500k(87.5%)/2M(75%)"));
    QCOMPARE(SettingsStore::value(QStringLiteral("ch2paramisCustomBaudrate")), QStringLiteral("1"));
    QCOMPARE(SettingsStore::value(QStringLiteral("ch2paramABIT2")), QStringLiteral("0"));
    QCOMPARE(SettingsStore::value(QStringLiteral("ch2paramFilterID")), QStringLiteral("1-18FF0000-18FF00FF"));
    QVERIFY(m_app->readSettingsFile().contains(QLatin1String("ch2paramCustomBaudrate,500k(87.5%)/2M(75%)")));
}

void TestParaDialog::saveButtonKeepsDialogOpen()
{
    set(QStringLiteral("ch1paramABIT1"), QStringLiteral("5"));
    ParaDialog dlg(true, false, 3);
    dlg.show();
    QVERIFY(dlg.savesAllChannels());
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnSave")), Qt::LeftButton);
    QVERIFY(dlg.isVisible());
    // The save button stores the shown channel only; confirm copies it to both.
    QCOMPARE(fileKeys(m_app->readSettingsFile()), channelKeys(1));
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnConfirm")), Qt::LeftButton);
    QCOMPARE(SettingsStore::value(QStringLiteral("ch2paramABIT1")), QStringLiteral("5"));
    QCOMPARE(fileKeys(m_app->readSettingsFile()), channelKeys(1) + channelKeys(2));
}

void TestParaDialog::cancelLeavesFileUntouched()
{
    set(QStringLiteral("ch1paramfilterMode"), QStringLiteral("0"));
    SettingsStore::save();
    const QString before = m_app->readSettingsFile();

    ParaDialog dlg(true, false, 0);
    dlg.show();
    ModalAnswer answer(clickIn<FilterDialog>("btnConfirm", [](FilterDialog *f) {
        f->findChild<QComboBox *>(QStringLiteral("comboBox"))->setCurrentIndex(1);
        f->findChild<QSpinBox *>(QStringLiteral("startSpin"))->setValue(0x123);
        QTest::mouseClick(f->findChild<QPushButton *>(QStringLiteral("btnAdd")), Qt::LeftButton);
    }));
    tick(dlg.findChild<QCheckBox *>(QStringLiteral("filterModeCheck")));
    QCOMPARE(answer.count(), 1);
    QCOMPARE(dlg.filterRowText(), QStringLiteral("0-123-123"));
    combo(&dlg, "ABIT1Combo")->setCurrentIndex(4);
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnCancel")), Qt::LeftButton);
    QCOMPARE(dlg.result(), int(QDialog::Rejected));
    QCOMPARE(m_app->readSettingsFile(), before);
}

void TestParaDialog::readOnlyView()
{
    set(QStringLiteral("ch1paramfilterMode"), QStringLiteral("1"));
    set(QStringLiteral("ch1paramFilterID"), QStringLiteral("0-1-2"));
    int filterChannel = 0;
    QString filterTitle;
    ModalAnswer answer(clickIn<ParaDialog>("btnConfirm", [&](ParaDialog *p) {
        for (const char *name : {"workStatusCombo", "canFDStandardCombo", "ABIT1Combo", "ABIT2Combo"})
            QVERIFY2(!combo(p, name)->isEnabled(), name);
        QVERIFY(!p->findChild<QLineEdit *>(QStringLiteral("CustomBaudrateEdit"))->isEnabled());
        QVERIFY(combo(p, "chCombo")->isEnabled());
        auto *filter = p->findChild<QCheckBox *>(QStringLiteral("filterModeCheck"));
        QVERIFY(filter->isEnabled());
        combo(p, "chCombo")->setCurrentIndex(1);
        // Ticking the box for channel 2 opens its filter editor.
        ModalAnswer inner(clickIn<FilterDialog>("btnCancel", [&](FilterDialog *f) {
            filterTitle = f->windowTitle();
            ++filterChannel;
        }));
        tick(filter);
    }));
    DeviceActions::viewChannelParameters(nullptr);
    QCOMPARE(answer.count(), 1);
    QCOMPARE(filterChannel, 1);
    QCOMPARE(filterTitle, QStringLiteral("通道2滤波设置"));
    QCOMPARE(SettingsStore::value(QStringLiteral("ch2paramfilterMode")), QStringLiteral("1"));
    QCOMPARE(SettingsStore::value(QStringLiteral("ch1paramFilterID")), QStringLiteral("0-1-2"));
}

void TestParaDialog::translatedChoices()
{
    ParaDialog dlg(true, true, 3);
    combo(&dlg, "workStatusCombo")->setCurrentIndex(1);
    devSetLanguage(2);
    QCOMPARE(items(combo(&dlg, "workStatusCombo")), QStringList({"Normal", "Listen Only"}));
    QCOMPARE(combo(&dlg, "workStatusCombo")->currentIndex(), 1);
    QCOMPARE(items(combo(&dlg, "chCombo")), QStringList({"Channel 1", "Channel 2"}));
    QCOMPARE(combo(&dlg, "ABIT2Combo")->itemText(0), QStringLiteral("5Mbps(75%)"));
    QCOMPARE(dlg.windowTitle(), QStringLiteral("Parameter Configuration"));
    devSetLanguage(1);
    QCOMPARE(items(combo(&dlg, "workStatusCombo")), QStringList({"正常", "只聽"}));
    devSetLanguage(0);
    QCOMPARE(dlg.windowTitle(), QStringLiteral("参数配置"));
}

void TestParaDialog::valueDialogReportsIndex()
{
    valueDialog dlg;
    dlg.setIndex(7);
    dlg.show();
    QSignalSpy spy(&dlg, &valueDialog::getValue);
    QTest::keyClicks(dlg.findChild<QLineEdit *>(QStringLiteral("valueEdit")), QStringLiteral("1A"));
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnValueOK")), Qt::LeftButton);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toString(), QStringLiteral("1A"));
    QCOMPARE(spy.at(0).at(1).toInt(), 7);
    QVERIFY(!dlg.isVisible());
    dlg.show();
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnValueCancel")), Qt::LeftButton);
    QCOMPARE(spy.count(), 1);
    QVERIFY(!dlg.isVisible());
}

void TestParaDialog::applyAction_data()
{
    QTest::addColumn<QList<int>>("open");
    QTest::addColumn<int>("language");
    QTest::addColumn<QString>("failOperation");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QString>("warning");
    QTest::addColumn<int>("logLines");

    const QStringList ch0 = {"SetCanFdStandard(" + D + ",0,1)", "SetValue(0/baud_rate_custom,250k/1M)",
                             "SetValue(0/filter_clear,0)", "SetValue(0/filter_mode,0)",
                             "SetValue(0/filter_start,0x100)", "SetValue(0/filter_end,0x1FF)",
                             "SetValue(0/filter_ack,0)"};
    const QStringList ch1 = {"SetCanFdStandard(" + D + ",1,0)", "SetArbitrationBaud(" + D + ",1,13)",
                             "SetDataBaud(" + D + ",1,8)"};

    QTest::newRow("both running") << QList<int>{0, 1} << 0 << QString() << QStringList(ch0 + ch1) << QString() << 2;
    QTest::newRow("first only") << QList<int>{0} << 0 << QString() << ch0 << QString() << 1;
    QTest::newRow("second only: nothing") << QList<int>{1} << 0 << QString() << QStringList() << QString() << 0;
    QTest::newRow("standard fails") << QList<int>{0, 1} << 2 << "SetCanFdStandard" << QStringList(ch0.mid(0, 1))
                                    << "warning|Failed to set CANFD standard!" << 0;
    QTest::newRow("custom fails") << QList<int>{0, 1} << 0 << "SetValue:0/baud_rate_custom" << QStringList(ch0.mid(0, 2))
                                  << "警告|设置自定义波特率失败！" << 0;
    QTest::newRow("filter start fails") << QList<int>{0, 1} << 1 << "SetValue:0/filter_start" << QStringList(ch0.mid(0, 5))
                                        << "警告|設置濾波失敗！" << 0;
    QTest::newRow("ack fails") << QList<int>{0, 1} << 0 << "SetValue:0/filter_ack" << ch0 << "警告|设置滤波失败！"
                               << 0;
    QTest::newRow("second channel rate fails") << QList<int>{0, 1} << 2 << "SetDataBaud" << ch0 + ch1
                                               << "warning|Setting baud rate failed!" << 1;
}

void TestParaDialog::applyAction()
{
    QFETCH(QList<int>, open);
    QFETCH(int, language);
    QFETCH(QString, failOperation);
    QFETCH(QStringList, calls);
    QFETCH(QString, warning);
    QFETCH(int, logLines);
    setLanguageCode(language);

    set(QStringLiteral("ch1paramcanFDStandard"), QStringLiteral("1"));
    set(QStringLiteral("ch1paramisCustomBaudrate"), QStringLiteral("1"));
    set(QStringLiteral("ch1paramCustomBaudrate"), QStringLiteral("250k/1M"));
    set(QStringLiteral("ch1paramfilterMode"), QStringLiteral("1"));
    set(QStringLiteral("ch1paramFilterID"), QStringLiteral("0-100-1FF"));
    set(QStringLiteral("ch2paramABIT1"), QStringLiteral("13"));
    set(QStringLiteral("ch2paramABIT2"), QStringLiteral("8"));
    set(QStringLiteral("ch2paramFilterID"), QStringLiteral("0-7-7"));   // box unticked: not applied

    QVERIFY(openDevice(41, 0, 0));
    for (int ch : open)
        QVERIFY(initChannel(ch, 0));
    DevFake::clearCalls();
    if (failOperation.startsWith(QLatin1String("SetValue:")))
        DevFake::setPropertyResult(failOperation.mid(9), 0);
    else if (!failOperation.isEmpty())
        DevFake::setResult(failOperation, 0);

    QStringList log;
    ModalAnswer answer(clickIn<ParaDialog>("btnConfirm", [](ParaDialog *p) {
        QVERIFY(!p->savesAllChannels());
        QVERIFY(combo(p, "chCombo")->isVisible() && combo(p, "chCombo")->isEnabled());
    }));
    const bool ok = DeviceActions::applyChannelParameters(nullptr, [&](const QString &line) { log << line; });
    QCOMPARE(answer.count(), 1);
    QCOMPARE(DevFake::calls(), calls);
    QCOMPARE(log.size(), logLines);
    QCOMPARE(log.count(QStringLiteral("设备参数设置成功！")), logLines);
    QCOMPARE(ok, warning.isEmpty() && logLines > 0);
    if (warning.isEmpty()) {
        QVERIFY(Prompt::shown().isEmpty());
    } else {
        QCOMPARE(Prompt::shown().size(), 1);
        QCOMPARE(Prompt::shown().at(0).first + QLatin1Char('|') + Prompt::shown().at(0).second, warning);
    }
}

void TestParaDialog::applyWithoutOpenChannel()
{
    for (int language : {0, 1, 2}) {
        Prompt::clearShown();
        setLanguageCode(language);
        QVERIFY(!isChannelOpen(0) && !isChannelOpen(1));
        ModalAnswer answer(clickIn<ParaDialog>("btnConfirm"));
        bool logged = false;
        QVERIFY(!DeviceActions::applyChannelParameters(nullptr, [&](const QString &) { logged = true; }));
        QCOMPARE(answer.count(), 0);
        QVERIFY(!logged);
        const QList<QPair<QString, QString>> expected = {
            qMakePair(QStringLiteral("提示"), QStringLiteral("设备未打开！")),
            qMakePair(QStringLiteral("提示"), QStringLiteral("設備未打開！")),
            qMakePair(QStringLiteral("warning"), QStringLiteral("The device is not opened!"))};
        QCOMPARE(Prompt::shown().size(), 1);
        QCOMPARE(Prompt::shown().at(0), expected.at(language));
    }
}

QTEST_MAIN(TestParaDialog)
#include "tst_paradialog.moc"
