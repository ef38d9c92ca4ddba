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

// The current texts of named combo boxes, line edits and check boxes, joined by "|".
QString shown(const QObject *parent, const QStringList &names)
{
    QStringList out;
    for (const QString &name : names) {
        if (auto *c = parent->findChild<QComboBox *>(name))
            out << c->currentText() + (c->isEnabled() ? "" : " (locked)");
        else if (auto *e = parent->findChild<QLineEdit *>(name))
            out << e->text();
        else
            out << (child<QCheckBox>(parent, name)->isChecked() ? "on" : "off");
    }
    return out.join('|');
}
const QStringList kPanel = { "SendIDEdit", "FrameTypeCombo", "FrameDataCombo", "ProtocolCombo", "SendTypeCombo",
    "sendLenCombo", "SendDataEdit", "SendCountEdit", "SendInvEdit", "DataAddChk", "IDAddChk" };
QStringList panel(const QString &ch)
{
    QStringList names;
    for (const QString &n : kPanel)
        names << ch + n;
    return names;
}
} // namespace

class AcceptanceRestart : public QObject {
    Q_OBJECT
    std::unique_ptr<Install> m_install;
    std::unique_ptr<MainWindow> m_window;
    MainWindow *w = nullptr;
    bool m_firstSessionDone = false;

    void sendFromPanel(const QString &ch)
    {
        click(w, ch + "SendBtn");
        QVERIFY(!child<QWidget>(w, ch + "SendBtn")->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(child<QWidget>(w, ch + "SendBtn")->isEnabled(), 5000);
    }

private slots:
    void initTestCase()
    {
        freshProcess();
        m_install = std::make_unique<Install>();
    }
    void cleanupTestCase()
    {
        m_window.reset();
        m_install.reset();
    }

    void firstSessionSetsEverythingUp()
    {
        w = startWindow(m_window);
        QTRY_COMPARE(child<QLineEdit>(w, "ch1SendIDEdit")->text(), QString("00000001"));
        // 500 kbit/s arbitration, 2 Mbit/s data, for both channels.
        openDeviceFromMenu(w, [](ParaDialog *para) {
            setIndex(para, "ABIT1Combo", 2);
            setIndex(para, "ABIT2Combo", 2);
        });
        QVERIFY(logText(w).contains("通道2打开成功！"));
        // The window watches the adapter once it has shown it in the title.
        QTRY_VERIFY_WITH_TIMEOUT(w->windowTitle().startsWith("Ostrel-V1.17 - SN:"), 3000);
        setListBuffer(w, 3000);
        // Channel 1: three extended CAN FD frames with bit-rate switch, 12 bytes.
        setFields(w,
            { "ch1FrameTypeCombo=1", "ch1ProtocolCombo=2", "ch1sendLenCombo=9", "ch1SendIDEdit=1ABCDEF",
                "ch1SendDataEdit=01 02 03", "ch1SendCountEdit=3", "ch1SendInvEdit=5", "ch1DataAddChk=1",
                "ch1IDAddChk=1" });
        sendFromPanel("ch1");
        // Channel 2: two standard remote frames, sent as single shots.
        setFields(w,
            { "ch2FrameDataCombo=1", "ch2SendTypeCombo=1", "ch2sendLenCombo=4", "ch2SendIDEdit=7FF",
                "ch2SendCountEdit=2", "ch2SendInvEdit=20" });
        sendFromPanel("ch2");
        QTRY_COMPARE(rowsWith(rows(w), "2", "Rx", "0x01ABCDF1"), 1);
        QTRY_COMPARE(rowsWith(rows(w), "1", "Rx", "0x7FF"), 2);

        // A hand-written frame file, each row on its own channel, twice, 20 ms apart.
        m_install->write("frames.csv", kFrameFile);
        trigger(w, "actionFileSend");
        auto *dlg = child<QDialog>(w, "fileDlg");
        QTRY_VERIFY(dlg->isVisible());
        FileDialogs::queueAnswersForTests({ m_install->path("frames.csv") });
        click(dlg, "pbfile");
        setIndex(dlg, "comboBox", 2);
        setIndex(dlg, "comboBox_2", 0);
        child<QSpinBox>(dlg, "spinBox")->setValue(2);
        child<QSpinBox>(dlg, "spinBox_2")->setValue(20);
        click(dlg, "pbSend");
        QTRY_VERIFY_WITH_TIMEOUT(logText(w).contains("文件发送完成！"), 5000);
        QTRY_COMPARE(rowsWith(rows(w), "2", "Rx", "0x123") + rowsWith(rows(w), "1", "Rx", "0x00000456"), 4);
        QCOMPARE(rowsWith(rows(w), "1", "Tx", "0x123") + rowsWith(rows(w), "2", "Tx", "0x00000456"), 4);
        dlg->close();

        // Device closed, then the options and the language the user prefers; quit.
        SimControl::unplug();
        QTRY_VERIFY_WITH_TIMEOUT(logText(w).contains("设备已关闭！"), 3000);
        for (const char *action : { "actionTimeHex", "actionRecvIDAdd", "actionMerge", "actionEnglish" })
            trigger(w, action);
        QTRY_COMPARE(child<QMenu>(w, "menuMultiSend")->title(), QString("Multiple Transmiter(&T)"));
        QCOMPARE(Prompt::shown().size(), 0);
        w->close();
        m_window.reset();
        m_firstSessionDone = true;
    }

    void secondSessionRestoresEverything()
    {
        if (!m_firstSessionDone)
            QSKIP("the first session did not finish");
        freshProcess(); // a new process: nothing carried over but the folder
        w = startWindow(m_window);
        // The English interface, options and list buffer.
        QCOMPARE(child<QMenu>(w, "menuMultiSend")->title(), QString("Multiple Transmiter(&T)"));
        QCOMPARE(headers(w).first(), QString("index"));
        QTRY_COMPARE(child<QPushButton>(w, "pushButton")->text(), QString("Reset Count"));
        QString options;
        for (const char *action : { "actionEnglish", "actionTimeHex", "actionRecvIDAdd", "actionMerge" })
            options += child<QAction>(w, action)->isChecked() ? '1' : '0';
        QCOMPARE(options, QString("1011"));
        QCOMPARE(child<QAction>(w, "actionListBuffer")->text(), QString("Data List Buffer(3000)(&D)"));
        // Both send panels, filled in once the window has settled; remote frames lock the protocol to CAN.
        QTRY_COMPARE(child<QLineEdit>(w, "ch1SendIDEdit")->text(), QString("1ABCDEF"));
        QCOMPARE(shown(w, panel("ch1")),
            QString("1ABCDEF|Extended Frame|data frame|CANFD-acceleration|Normal Send|12|01 02 03|3|5|on|on"));
        QCOMPARE(shown(w, panel("ch2")).section('|', 0, 5) + '|' + shown(w, panel("ch2")).section('|', 7),
            QString("7FF|Standard Frame|Remote Frame|CAN (locked)|Single Send|4|2|20|off|off"));
        // The file send dialog.
        trigger(w, "actionFileSend");
        auto *dlg = child<QDialog>(w, "fileDlg");
        QTRY_VERIFY(dlg->isVisible());
        QCOMPARE(QString("%1|%2|%3|%4|%5|%6")
                     .arg(child<QLineEdit>(dlg, "lineEdit")->text())
                     .arg(child<QComboBox>(dlg, "comboBox")->currentIndex())
                     .arg(child<QComboBox>(dlg, "comboBox_2")->currentIndex())
                     .arg(child<QSpinBox>(dlg, "spinBox")->value())
                     .arg(child<QSpinBox>(dlg, "spinBox_2")->value())
                     .arg(child<QSpinBox>(dlg, "spinBox_2")->isEnabled()),
            m_install->path("frames.csv") + "|2|0|2|20|1");
        dlg->close();
        // The channel parameters: in the settings file, and offered again when the channels are next opened.
        const QByteArray store = m_install->read("config/setdb.txt");
        for (const char *entry : { "ch1paramABIT1,2", "ch1paramABIT2,2", "ch2paramABIT1,2", "ch2paramABIT2,2",
                 "ch1paramworkStatus,0", "ch2paramcanFDStandard,0" })
            QVERIFY2(store.contains(entry), entry);
        QString offered;
        openDeviceFromMenu(w, [&offered](ParaDialog *para) { offered = shown(para, { "ABIT1Combo", "ABIT2Combo" }); });
        QCOMPARE(offered, QString("500kbps(80%)|2Mbps(80%)"));
        QVERIFY(logText(w).contains("Channel 1 opened successfully!"));
        QVERIFY(child<QPushButton>(w, "ch2SendBtn")->isEnabled());
    }
};

QTEST_MAIN(AcceptanceRestart)
#include "tst_acceptance_restart.moc"
