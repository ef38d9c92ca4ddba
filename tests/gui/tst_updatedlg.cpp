#include "common/DevFakeDriver.h"

#include "DeviceLayer.h"
#include "Prompt.h"
#include "UpdateDlg.h"

#include <QFile>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

namespace {
const QByteArray kImage("NEW FIRMWARE IMAGE");

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}
} // namespace

class TestUpdateDlg : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void question_data();
    void question();
    void noLeavesDeviceAlone();
    void restartFailure();
    void copiesOntoNewDrive_data();
    void copiesOntoNewDrive();
    void givesUpAfterFifteenAttempts();

private:
    // Clicks "yes" and waits until the restart into the boot loader was asked for.
    void startUpgrade(UpdateDlg &dlg);

    QTemporaryDir m_tmp;
    QString m_source;
    QList<QPair<QString, QString>> m_volumes;
    int m_listings = 0;
    int m_quits = 0;
};

void TestUpdateDlg::init()
{
    DevFake::install();
    Prompt::recordForTests(true);
    Prompt::clearShown();
    setLanguageCode(0);
    m_source = m_tmp.path() + QStringLiteral("/hd2-V2.20-0301.bin");
    write(m_source, kImage);
    m_volumes = {qMakePair(QStringLiteral("System"), QStringLiteral("/"))};
    m_listings = 0;
    m_quits = 0;
    UpdateDlg::setVolumeLister([this] {
        ++m_listings;
        return m_volumes;
    });
    UpdateDlg::setQuitHandler([this] { ++m_quits; });
}

void TestUpdateDlg::cleanup()
{
    UpdateDlg::setVolumeLister({});
    UpdateDlg::setQuitHandler({});
    DevFake::uninstall();
}

void TestUpdateDlg::startUpgrade(UpdateDlg &dlg)
{
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("pushButton")), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(!DevFake::calls().filter(QStringLiteral("UpdateDevice")).isEmpty(), 2000);
}

void TestUpdateDlg::question_data()
{
    QTest::addColumn<int>("language");
    QTest::addColumn<QString>("question");
    QTest::addColumn<QString>("warning");

    QTest::newRow("zh") << 0 << "固件版本(V2.10)过低，是否升级固件？" << "警告：升级固件中，请勿关闭此界面及拔出设备。";
    QTest::newRow("zht") << 1 << "固件版本(V2.10)過低，是否升級固件？" << "警告：升級固件中，請勿關閉此界面及拔除設備。";
    QTest::newRow("en") << 2 << "The firmware version(V2.10)is too low，Do you want to upgrade the firmware?"
                        << "Warning: Do not close this interface or unplug the device during firmware upgrade.";
}

void TestUpdateDlg::question()
{
    QFETCH(int, language);
    QFETCH(QString, question);
    QFETCH(QString, warning);
    setLanguageCode(language);

    UpdateDlg dlg(QStringLiteral("V2.10"), m_source, 0);
    dlg.show();
    auto *text = dlg.findChild<QLabel *>(QStringLiteral("label"));
    QCOMPARE(text->text(), question);
    QVERIFY(dlg.findChild<QProgressBar *>()->isVisible());

    startUpgrade(dlg);
    QCOMPARE(text->text(), warning);
    QVERIFY(!dlg.findChild<QPushButton *>(QStringLiteral("pushButton"))->isEnabled());
    QVERIFY(!dlg.findChild<QPushButton *>(QStringLiteral("pushButton_2"))->isEnabled());
    // No way out while the adapter restarts.
    QTest::keyClick(&dlg, Qt::Key_Escape);
    dlg.close();
    QVERIFY(dlg.isVisible());
}

void TestUpdateDlg::noLeavesDeviceAlone()
{
    UpdateDlg dlg(QStringLiteral("V2.10"), m_source, 0);
    dlg.show();
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("pushButton_2")), Qt::LeftButton);
    QCOMPARE(dlg.result(), int(QDialog::Rejected));
    QVERIFY(!dlg.isVisible());
    QVERIFY(DevFake::calls().isEmpty());
    QCOMPARE(m_quits, 0);
    QCOMPARE(m_listings, 0);
}

void TestUpdateDlg::restartFailure()
{
    setLanguageCode(2);
    DevFake::setResult(QStringLiteral("UpdateDevice"), 0);
    UpdateDlg dlg(QStringLiteral("V2.10"), m_source, 1);
    dlg.show();
    startUpgrade(dlg);
    QTRY_COMPARE_WITH_TIMEOUT(m_quits, 1, 2000);
    // No device was open: the upgrade opens the chosen index itself.
    const QString dev = QString::number(DevFake::kDevice + 1);
    QCOMPARE(DevFake::calls(), QStringList({QStringLiteral("OpenDevice(41,1,0)"),
                                            QStringLiteral("GetPropertyInterface(%1)").arg(dev),
                                            QStringLiteral("UpdateDevice(%1)").arg(dev)}));
    QCOMPARE(Prompt::shownKinds(), QList<Prompt::Kind>{Prompt::Kind::Critical});
    QCOMPARE(Prompt::shown().at(0).first, QStringLiteral("error"));
    QCOMPARE(Prompt::shown().at(0).second,
             QStringLiteral("Firmware upgrade failed, please reinsert or unplug the device and restart the software!"));
    dlg.timer();   // a late poll after the end changes nothing
    QCOMPARE(dlg.attempts(), 0);
    QCOMPARE(m_quits, 1);
}

void TestUpdateDlg::copiesOntoNewDrive_data()
{
    QTest::addColumn<int>("language");
    QTest::addColumn<int>("appearsAfter");   // attempts before the new drive shows up
    QTest::addColumn<bool>("oldFile");       // a firmware.bin already on the new drive

    QTest::newRow("at once") << 0 << 0 << false;
    QTest::newRow("after 3 s, replacing firmware.bin") << 1 << 3 << true;
    QTest::newRow("at the last attempt") << 2 << 14 << true;
}

void TestUpdateDlg::copiesOntoNewDrive()
{
    QFETCH(int, language);
    QFETCH(int, appearsAfter);
    QFETCH(bool, oldFile);
    setLanguageCode(language);

    QTemporaryDir oldDrive;
    QTemporaryDir newDrive;
    m_volumes << qMakePair(QStringLiteral("CRP DISABLD"), oldDrive.path());
    if (oldFile)
        write(newDrive.path() + QStringLiteral("/firmware.bin"), "OLD");

    QVERIFY(openDevice(41, 0, 0));
    UpdateDlg dlg(QStringLiteral("V2.10"), m_source, 0);
    dlg.show();
    startUpgrade(dlg);
    for (int i = 0; i < appearsAfter; ++i)
        dlg.timer();
    QCOMPARE(dlg.attempts(), appearsAfter);
    QVERIFY(Prompt::shown().isEmpty());
    QCOMPARE(m_quits, 0);

    m_volumes << qMakePair(QStringLiteral("NXP CRP DISABLD"), newDrive.path());
    dlg.timer();
    QCOMPARE(readAll(newDrive.path() + QStringLiteral("/firmware.bin")), kImage);
    QVERIFY(!QFile::exists(oldDrive.path() + QStringLiteral("/firmware.bin")));
    QCOMPARE(Prompt::shownKinds(), QList<Prompt::Kind>{Prompt::Kind::Information});
    const QStringList titles = {"提示", "提示", "tip"};
    const QStringList texts = {"固件升级成功，请重新插拔设备并重启软件！", "固件升級成功，請重新插拔設備並重啓軟件！",
                               "Firmware upgrade successfully, please reinsert or unplug the device and restart the "
                               "software!"};
    QCOMPARE(Prompt::shown().at(0), qMakePair(titles.at(language), texts.at(language)));
    QCOMPARE(m_quits, 1);
    QCOMPARE(dlg.result(), int(QDialog::Accepted));
    QCOMPARE(dlg.findChild<QProgressBar *>()->value(), dlg.findChild<QProgressBar *>()->maximum());
}

void TestUpdateDlg::givesUpAfterFifteenAttempts()
{
    QTemporaryDir oldDrive;
    m_volumes << qMakePair(QStringLiteral("CRP DISABLD"), oldDrive.path());
    QVERIFY(openDevice(41, 0, 0));
    UpdateDlg dlg(QStringLiteral("V2.10"), m_source, 0);
    dlg.show();
    startUpgrade(dlg);
    QCOMPARE(m_listings, 1);   // the drives already there

    // From the 5th attempt a drive appears that cannot take the file.
    auto *progress = dlg.findChild<QProgressBar *>();
    for (int i = 1; i <= 15; ++i) {
        if (i == 5)
            m_volumes << qMakePair(QStringLiteral("CRP DISABLD"), m_tmp.path() + QStringLiteral("/missing/drive"));
        dlg.timer();
        QCOMPARE(progress->value(), i);
    }
    QVERIFY(Prompt::shown().isEmpty());
    QCOMPARE(m_quits, 0);
    QCOMPARE(m_listings, 16);

    dlg.timer();   // the 16th attempt fails without looking
    QCOMPARE(m_listings, 16);
    QCOMPARE(dlg.attempts(), 16);
    QCOMPARE(Prompt::shownKinds(), QList<Prompt::Kind>{Prompt::Kind::Critical});
    QCOMPARE(Prompt::shown().at(0),
             qMakePair(QStringLiteral("错误"), QStringLiteral("固件升级失败，请重新插拔设备并重启软件！")));
    QCOMPARE(m_quits, 1);
    QVERIFY(!QFile::exists(oldDrive.path() + QStringLiteral("/firmware.bin")));
    QVERIFY(!dlg.isVisible());
}

QTEST_MAIN(TestUpdateDlg)
#include "tst_updatedlg.moc"
