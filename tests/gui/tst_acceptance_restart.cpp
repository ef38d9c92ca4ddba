// Acceptance: a user sets the program up the way they like it (channel bit
// rates, both send panels, list buffer, a file send, the three options, the
// English interface), quits, and starts it again from the same folder:
// everything is as they left it.
#include "AcceptanceUser.h"

#include "FileDialogs.h"

#include <QMenu>
#include <QSpinBox>

using namespace Acceptance;

namespace {
// A frame file the user wrote by hand in the capture layout: one frame for
// each channel, 10 ms apart.
const char kFrameFile[] = "序号,系统时间,时间标识,通道,收/发,ID,Frame,类型,DLC,CAN-FD,数据\n"
                          "1,=\"10:00:00.000\",无,1,Tx,0x123,标准帧,数据帧,2,CAN,x| AA BB \n"
                          "2,=\"10:00:00.010\",无,2,Tx,0x00000456,扩展帧,数据帧,1,CAN,x| CC \n";

int rowsWith(const QList<QStringList> &rows, const QString &channel, const QString &dir, const QString &id)
{
    int n = 0;
    for (const QStringList &r : rowsOf(rows, channel, dir))
        n += r.at(5) == id ? 1 : 0;
    return n;
}

QString comboText(const QObject *parent, const char *name)
{
    return child<QComboBox>(parent, QLatin1String(name))->currentText();
}
} // namespace

class AcceptanceRestart : public QObject {
    Q_OBJECT
    std::unique_ptr<Install> m_install;
    std::unique_ptr<MainWindow> m_window;
    MainWindow *w = nullptr;
    bool m_firstSessionDone = false;

    void start()
    {
        m_window = std::make_unique<MainWindow>();
        w = m_window.get();
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w));
    }

    void sendFromPanel(const QString &ch)
    {
        const QString button = ch + QStringLiteral("SendBtn");
        click(w, button);
        QVERIFY(!child<QPushButton>(w, button)->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(child<QPushButton>(w, button)->isEnabled(), 5000);
    }

private slots:
    void initTestCase()
    {
        resetProcess();
        m_install = std::make_unique<Install>();
    }
    void cleanupTestCase()
    {
        m_window.reset();
        m_install.reset();
    }

    void firstSessionSetsEverythingUp()
    {
        start();
        QTRY_COMPARE(child<QLineEdit>(w, QStringLiteral("ch1SendIDEdit"))->text(), QStringLiteral("00000001"));

        // 500 kbit/s arbitration, 2 Mbit/s data, for both channels.
        openDeviceFromMenu(w, [](ParaDialog *para) {
            child<QComboBox>(para, QStringLiteral("ABIT1Combo"))->setCurrentIndex(2);
            child<QComboBox>(para, QStringLiteral("ABIT2Combo"))->setCurrentIndex(2);
        });
        QVERIFY(logText(w).contains(QStringLiteral("通道2打开成功！")));
        // The window watches the adapter once it has shown it in the title.
        QTRY_VERIFY_WITH_TIMEOUT(w->windowTitle().startsWith(QLatin1String("Ostrel-V1.17 - SN:")), 3000);
        setListBuffer(w, 3000);

        // Channel 1: three extended CAN FD frames with bit-rate switch, 12 bytes.
        child<QComboBox>(w, QStringLiteral("ch1FrameTypeCombo"))->setCurrentIndex(1);
        child<QComboBox>(w, QStringLiteral("ch1ProtocolCombo"))->setCurrentIndex(2);
        child<QComboBox>(w, QStringLiteral("ch1sendLenCombo"))->setCurrentIndex(9);
        setText(w, "ch1SendIDEdit", QStringLiteral("1ABCDEF"));
        setText(w, "ch1SendDataEdit", QStringLiteral("01 02 03"));
        setText(w, "ch1SendCountEdit", QStringLiteral("3"));
        setText(w, "ch1SendInvEdit", QStringLiteral("5"));
        setTicked(w, QStringLiteral("ch1DataAddChk"), true);
        setTicked(w, QStringLiteral("ch1IDAddChk"), true);
        sendFromPanel(QStringLiteral("ch1"));

        // Channel 2: two standard remote frames, sent as single shots.
        child<QComboBox>(w, QStringLiteral("ch2FrameDataCombo"))->setCurrentIndex(1);
        child<QComboBox>(w, QStringLiteral("ch2SendTypeCombo"))->setCurrentIndex(1);
        child<QComboBox>(w, QStringLiteral("ch2sendLenCombo"))->setCurrentIndex(4);
        setText(w, "ch2SendIDEdit", QStringLiteral("7FF"));
        setText(w, "ch2SendCountEdit", QStringLiteral("2"));
        setText(w, "ch2SendInvEdit", QStringLiteral("20"));
        sendFromPanel(QStringLiteral("ch2"));

        QTRY_COMPARE(rowsOf(rows(w), QStringLiteral("2"), QStringLiteral("Rx")).isEmpty(), false);
        QTRY_COMPARE(rowsWith(rows(w), QStringLiteral("2"), QStringLiteral("Rx"), QStringLiteral("0x01ABCDF1")), 1);
        QTRY_COMPARE(rowsWith(rows(w), QStringLiteral("1"), QStringLiteral("Rx"), QStringLiteral("0x7FF")), 2);

        // A hand-written frame file, each row on its own channel, twice, 20 ms apart.
        const QString frameFile = m_install->path(QStringLiteral("frames.csv"));
        m_install->write(QStringLiteral("frames.csv"), kFrameFile);
        trigger(w, "actionFileSend");
        auto *dlg = child<QDialog>(w, QStringLiteral("fileDlg"));
        QTRY_VERIFY(dlg->isVisible());
        FileDialogs::queueAnswersForTests({frameFile});
        click(dlg, QStringLiteral("pbfile"));
        child<QComboBox>(dlg, QStringLiteral("comboBox"))->setCurrentIndex(2);
        child<QComboBox>(dlg, QStringLiteral("comboBox_2"))->setCurrentIndex(0);
        child<QSpinBox>(dlg, QStringLiteral("spinBox"))->setValue(2);
        child<QSpinBox>(dlg, QStringLiteral("spinBox_2"))->setValue(20);
        click(dlg, QStringLiteral("pbSend"));
        QTRY_VERIFY_WITH_TIMEOUT(logText(w).contains(QStringLiteral("文件发送完成！")), 5000);
        QTRY_COMPARE(rowsWith(rows(w), QStringLiteral("2"), QStringLiteral("Rx"), QStringLiteral("0x123")), 2);
        QTRY_COMPARE(rowsWith(rows(w), QStringLiteral("1"), QStringLiteral("Rx"), QStringLiteral("0x00000456")), 2);
        QCOMPARE(rowsWith(rows(w), QStringLiteral("1"), QStringLiteral("Tx"), QStringLiteral("0x123")), 2);
        QCOMPARE(rowsWith(rows(w), QStringLiteral("2"), QStringLiteral("Tx"), QStringLiteral("0x00000456")), 2);
        dlg->close();

        // Device closed, then the options and the language the user prefers.
        SimControl::unplug();
        QTRY_VERIFY_WITH_TIMEOUT(logText(w).contains(QStringLiteral("设备已关闭！")), 3000);
        trigger(w, "actionTimeHex");
        trigger(w, "actionRecvIDAdd");
        trigger(w, "actionMerge");
        trigger(w, "actionEnglish");
        QTRY_COMPARE(child<QMenu>(w, QStringLiteral("menuMultiSend"))->title(), QStringLiteral("Multiple Transmiter(&T)"));
        QCOMPARE(Prompt::shown().size(), 0);

        // Quit.
        w->close();
        m_window.reset();
        m_firstSessionDone = true;
    }

    void secondSessionRestoresEverything()
    {
        if (!m_firstSessionDone)
            QSKIP("the first session did not finish");
        resetProcess();   // a new process: nothing carried over but the folder
        start();

        // The English interface.
        QCOMPARE(child<QMenu>(w, QStringLiteral("menuMultiSend"))->title(), QStringLiteral("Multiple Transmiter(&T)"));
        QVERIFY(child<QAction>(w, QStringLiteral("actionEnglish"))->isChecked());
        QCOMPARE(headers(w).first(), QStringLiteral("index"));
        QTRY_COMPARE(child<QPushButton>(w, QStringLiteral("pushButton"))->text(), QStringLiteral("Reset Count"));

        // Options and list buffer.
        QVERIFY(!child<QAction>(w, QStringLiteral("actionTimeHex"))->isChecked());
        QVERIFY(child<QAction>(w, QStringLiteral("actionRecvIDAdd"))->isChecked());
        QVERIFY(child<QAction>(w, QStringLiteral("actionMerge"))->isChecked());
        QCOMPARE(child<QAction>(w, QStringLiteral("actionListBuffer"))->text(), QStringLiteral("Data List Buffer(3000)(&D)"));

        // Both send panels, filled in once the window has settled.
        QTRY_COMPARE(child<QLineEdit>(w, QStringLiteral("ch1SendIDEdit"))->text(), QStringLiteral("1ABCDEF"));
        QCOMPARE(comboText(w, "ch1FrameTypeCombo"), QStringLiteral("Extended Frame"));
        QCOMPARE(comboText(w, "ch1FrameDataCombo"), QStringLiteral("data frame"));
        QCOMPARE(comboText(w, "ch1ProtocolCombo"), QStringLiteral("CANFD-acceleration"));
        QCOMPARE(comboText(w, "ch1SendTypeCombo"), QStringLiteral("Normal Send"));
        QCOMPARE(comboText(w, "ch1sendLenCombo"), QStringLiteral("12"));
        QCOMPARE(child<QLineEdit>(w, QStringLiteral("ch1SendDataEdit"))->text(), QStringLiteral("01 02 03"));
        QCOMPARE(child<QLineEdit>(w, QStringLiteral("ch1SendCountEdit"))->text(), QStringLiteral("3"));
        QCOMPARE(child<QLineEdit>(w, QStringLiteral("ch1SendInvEdit"))->text(), QStringLiteral("5"));
        QVERIFY(child<QCheckBox>(w, QStringLiteral("ch1DataAddChk"))->isChecked());
        QVERIFY(child<QCheckBox>(w, QStringLiteral("ch1IDAddChk"))->isChecked());

        QCOMPARE(child<QLineEdit>(w, QStringLiteral("ch2SendIDEdit"))->text(), QStringLiteral("7FF"));
        QCOMPARE(comboText(w, "ch2FrameTypeCombo"), QStringLiteral("Standard Frame"));
        QCOMPARE(comboText(w, "ch2FrameDataCombo"), QStringLiteral("Remote Frame"));
        QCOMPARE(comboText(w, "ch2ProtocolCombo"), QStringLiteral("CAN"));
        QVERIFY(!child<QComboBox>(w, QStringLiteral("ch2ProtocolCombo"))->isEnabled());   // remote frames are CAN only
        QCOMPARE(comboText(w, "ch2SendTypeCombo"), QStringLiteral("Single Send"));
        QCOMPARE(comboText(w, "ch2sendLenCombo"), QStringLiteral("4"));
        QCOMPARE(child<QLineEdit>(w, QStringLiteral("ch2SendCountEdit"))->text(), QStringLiteral("2"));
        QCOMPARE(child<QLineEdit>(w, QStringLiteral("ch2SendInvEdit"))->text(), QStringLiteral("20"));
        QVERIFY(!child<QCheckBox>(w, QStringLiteral("ch2DataAddChk"))->isChecked());

        // The file send dialog.
        trigger(w, "actionFileSend");
        auto *dlg = child<QDialog>(w, QStringLiteral("fileDlg"));
        QTRY_VERIFY(dlg->isVisible());
        QCOMPARE(child<QLineEdit>(dlg, QStringLiteral("lineEdit"))->text(), m_install->path(QStringLiteral("frames.csv")));
        QCOMPARE(child<QComboBox>(dlg, QStringLiteral("comboBox"))->currentIndex(), 2);
        QCOMPARE(child<QComboBox>(dlg, QStringLiteral("comboBox_2"))->currentIndex(), 0);
        QCOMPARE(child<QSpinBox>(dlg, QStringLiteral("spinBox"))->value(), 2);
        QCOMPARE(child<QSpinBox>(dlg, QStringLiteral("spinBox_2"))->value(), 20);
        QVERIFY(child<QSpinBox>(dlg, QStringLiteral("spinBox_2"))->isEnabled());
        dlg->close();

        // The channel parameters: in the settings file, and offered again
        // when the channels are next opened.
        const QByteArray store = m_install->read(QStringLiteral("config/setdb.txt"));
        for (const char *entry : {"ch1paramABIT1,2", "ch1paramABIT2,2", "ch2paramABIT1,2", "ch2paramABIT2,2",
                                  "ch1paramworkStatus,0", "ch2paramcanFDStandard,0"})
            QVERIFY2(store.contains(entry), entry);
        QString arbitration, data;
        openDeviceFromMenu(w, [&arbitration, &data](ParaDialog *para) {
            arbitration = comboText(para, "ABIT1Combo");
            data = comboText(para, "ABIT2Combo");
        });
        QCOMPARE(arbitration, QStringLiteral("500kbps(80%)"));
        QCOMPARE(data, QStringLiteral("2Mbps(80%)"));
        QVERIFY(logText(w).contains(QStringLiteral("Channel 1 opened successfully!")));
        QVERIFY(child<QPushButton>(w, QStringLiteral("ch2SendBtn"))->isEnabled());
    }
};

QTEST_MAIN(AcceptanceRestart)
#include "tst_acceptance_restart.moc"
