// Filling a list send row by its signals, through the list send window and
// the signal dialog's widgets: a message chosen from channel 1's database,
// values typed into the signal editors, the row's bytes compared with bytes
// worked out by hand and decoded back; held values and a rounded length reported; a row opened again
// keeps the signals not edited; no database; the filled row on the bus.
#include "FileDialogs.h"
#include "ListSendKit.h"
#include "ListSendModel.h"
#include "MainWindow.h"
#include "MyTableModel.h"
#include "RuntimeFolder.h"
#include "SignalEditDlg.h"
#include "TestKit.h"
#include "listSendDlg.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QTableWidget>
#include <QTextEdit>

namespace {
// Signals crossing bytes in both byte orders, a signed one with factor and
// offset, value descriptions, a range narrower than the bits and none at
// all, a 16-byte CAN FD message, a multiplexed one, and a length CAN FD
// does not have.
const char kDbc[] = R"(VERSION ""

BU_: Ecu Tester

BO_ 291 Mixed: 8 Ecu
 SG_ LeSpeed : 4|12@1+ (0.5,0) [0|2000] "km/h" Tester
 SG_ BeTemp : 23|10@0+ (1,0) [0|1023] "" Tester
 SG_ Torque : 32|16@1- (0.1,-100) [-500|500] "Nm" Tester
 SG_ Gear : 48|3@1+ (1,0) [0|7] "" Tester
 SG_ Limit : 56|4@1+ (1,0) [0|0] "" Tester

BO_ 2147484416 FdLong: 16 Ecu
 SG_ Head : 0|8@1+ (1,0) [0|255] "" Tester
 SG_ Tail : 112|16@1+ (1,0) [0|65535] "" Tester

BO_ 1024 Muxed: 8 Ecu
 SG_ Sel M : 0|8@1+ (1,0) [0|3] "" Tester
 SG_ Wide m0 : 8|16@1+ (1,0) [0|65535] "" Tester
 SG_ Narrow m1 : 8|8@1+ (1,0) [0|255] "" Tester
 SG_ Common : 56|8@1+ (1,0) [0|255] "" Tester

BO_ 1280 Odd: 10 Ecu
 SG_ Last : 72|8@1+ (1,0) [0|255] "" Tester

VAL_ 291 Gear 0 "Park" 1 "Reverse" 2 "Neutral" 3 "Drive" ;
)";

// The Mixed message with LeSpeed 1000.5 (raw 2001 = 0x7D1 from bit 4), BeTemp
// 701 (0x2BD, Motorola from bit 23: 0xAF into byte 2, 01 into the top of
// byte 3), Torque -150 (raw -500 = 0xFE0C), Gear 3, Limit 9.
const char kMixedBytes[] = "10 7D AF 40 0C FE 03 09";
} // namespace

class ListSendSignalsTest : public QObject {
    Q_OBJECT
    std::unique_ptr<RuntimeFolder> m_folder;
    std::unique_ptr<MainWindow> m_window;
    listSendDlg *dlg = nullptr;
    ListSendModel *model = nullptr;

    void loadDatabase()
    {
        FileDialogs::queueAnswersForTests({ m_folder->path("test.dbc") });
        child<QAction>(m_window.get(), "actionLoadDbcCh1")->trigger();
        QCOMPARE(dlg->databases(0).size(), 1);
    }
    void addRow()
    {
        click(dlg, "pbnAdd");
        dlg->table()->selectRow(model->rowCount() - 1);
    }
    // Opens the signal dialog on the current row, runs `fill` on it, then OK
    // (or Cancel).
    void editBySignal(const std::function<void(SignalEditDlg *)> &fill, bool ok = true)
    {
        bool ran = false;
        ModalAnswer answer([&](QWidget *w) {
            auto *d = qobject_cast<SignalEditDlg *>(w);
            if (!d || ran)
                return false;
            ran = true;
            fill(d);
            click(d, ok ? "pbnOk" : "pbnCancel");
            return true;
        });
        click(dlg, "pbnSignals");
        QVERIFY(ran);
    }
    static void chooseMessage(SignalEditDlg *d, const QString &name)
    {
        auto *combo = child<QComboBox>(d, "messageCombo");
        combo->setCurrentIndex(combo->findText(name + "  ", Qt::MatchStartsWith));
    }
    // Types into a signal's editor and presses Enter.
    static void typeValue(SignalEditDlg *d, const QString &signal, const QString &text)
    {
        QWidget *editor = child<QWidget>(d, "value_" + signal);
        QLineEdit *edit = qobject_cast<QLineEdit *>(editor);
        if (!edit)
            edit = qobject_cast<QComboBox *>(editor)->lineEdit();
        edit->selectAll();
        QTest::keyClicks(edit, text);
        QTest::keyClick(edit, Qt::Key_Return);
        QCoreApplication::processEvents(); // a new multiplexor value rebuilds the table
    }
    // One row filled with the values whose bytes are kMixedBytes.
    void fillMixedRow()
    {
        loadDatabase();
        addRow();
        editBySignal([&](SignalEditDlg *d) {
            chooseMessage(d, "Mixed");
            for (const char *t : { "LeSpeed=1000.5", "BeTemp=701", "Torque=-150", "Gear=3", "Limit=9" })
                typeValue(d, QString(t).section('=', 0, 0), QString(t).section('=', 1));
        });
    }
    QString logText() const { return child<QTextEdit>(m_window.get(), "logEdit")->toPlainText(); }
    // signal=physical of the row's bytes, as the decoder reads them back.
    QStringList decodedRow(int row) const
    {
        const ListSendRow &r = model->row(row);
        const SignalDecoder decoder(dlg->databases(r.channel));
        QVector<DecodedSignal> out;
        decoder.decode(r.id, r.extended, reinterpret_cast<const uchar *>(r.data.constData()), r.data.size(), out);
        QStringList texts;
        for (const DecodedSignal &d : qAsConst(out))
            texts << d.signal->name + '=' + d.physicalText();
        return texts;
    }

private slots:
    void init()
    {
        m_folder = std::make_unique<RuntimeFolder>();
        m_folder->write("test.dbc", kDbc);
        dlg = openListSendWindow(m_window);
        model = dlg->model();
        QVERIFY(QTest::qWaitForWindowExposed(dlg));
    }
    void cleanup()
    {
        m_window.reset();
        closeDevice();
        m_folder.reset();
    }

    void fillsARow_data()
    {
        columns<QString, QStringList, QString, QString, QStringList, QString>(
            { "message", "typed", "frame", "bytes", "decoded", "note" });
        QTest::newRow("byte orders, signed, value description")
            << "Mixed" << QStringList { "LeSpeed=1000.5", "BeTemp=701", "Torque=-150", "Gear=3 Drive", "Limit=9" }
            << "123 std CAN 8" << kMixedBytes
            << QStringList { "LeSpeed=1000.5", "BeTemp=701", "Torque=-150", "Gear=3", "Limit=9" } << "";
        // 600 is held at 500, raw 6000 = 0x1770; 2.2 km/h is raw 4 (steps of 0.5).
        QTest::newRow("held to the range")
            << "Mixed" << QStringList { "Torque=600", "LeSpeed=2.2" } << "123 std CAN 8"
            << "40 00 00 00 70 17 00 00" << QStringList { "LeSpeed=2", "BeTemp=0", "Torque=500", "Gear=0", "Limit=0" }
            << "Torque：600超出范围-500…500，已限制为500";
        QTest::newRow("held to the bits")
            << "Mixed" << QStringList { "Limit=16" } << "123 std CAN 8"
            << "00 00 00 00 00 00 00 0F" << QStringList { "LeSpeed=0", "BeTemp=0", "Torque=-100", "Gear=0", "Limit=15" }
            << "Limit：16超出4位信号能表示的范围，已限制为15";
        QTest::newRow("CAN FD, 16 bytes, extended")
            << "FdLong" << QStringList { "Head=0xA5", "Tail=4660" } << "300 ext CANFD 16"
            << "A5 00 00 00 00 00 00 00 00 00 00 00 00 00 34 12" << QStringList { "Head=165", "Tail=4660" } << "";
        QTest::newRow("multiplexed") << "Muxed" << QStringList { "Sel=1", "Narrow=85", "Common=7" } << "400 std CAN 8"
                                     << "01 55 00 00 00 00 00 07" << QStringList { "Sel=1", "Narrow=85", "Common=7" }
                                     << "";
        QTest::newRow("10 bytes sent as 12") << "Odd" << QStringList { "Last=9" } << "500 std CANFD 12"
                                             << "00 00 00 00 00 00 00 00 00 09 00 00" << QStringList { "Last=9" }
                                             << "报文长10字节，CAN FD没有这个长度：按12字节发送，多出的字节为00。";
    }
    void fillsARow()
    {
        QFETCH(QString, message);
        QFETCH(QStringList, typed);
        QFETCH(QString, note);
        loadDatabase();
        addRow();
        QString shownNote;
        editBySignal([&](SignalEditDlg *d) {
            chooseMessage(d, message);
            for (const QString &t : typed)
                typeValue(d, t.section('=', 0, 0), t.section('=', 1));
            shownNote = child<QLabel>(d, "noteLabel")->text();
        });
        const ListSendRow &r = model->row(0);
        QTEST(QStringLiteral("%1 %2 %3 %4")
                  .arg(QString::number(r.id, 16), r.extended ? "ext" : "std",
                      QStringList({ "CAN", "CANFD", "CANFD-BRS" }).value(r.protocol))
                  .arg(r.length),
            "frame");
        QTEST(r.dataText(), "bytes");
        QTEST(decodedRow(0), "decoded");
        QCOMPARE(r.name, message);
        // A held value or a rounded length is said in the dialog and in the log.
        QCOMPARE(shownNote.contains(note), true);
        QCOMPARE(logText().contains(note), true);
        QCOMPARE(logText().contains("列表发送第1行"), !note.isEmpty());
    }

    // The multiplexor's value chooses the signals on show.
    void multiplexorSwitchesSignals()
    {
        loadDatabase();
        addRow();
        QStringList shown;
        editBySignal([&](SignalEditDlg *d) {
            auto *table = child<QTableWidget>(d, "signalTable");
            auto editors = [table] {
                QStringList names;
                for (int r = 0; r < table->rowCount(); ++r)
                    names << table->cellWidget(r, 1)->objectName().mid(6);
                return names.join(',');
            };
            chooseMessage(d, "Muxed");
            shown << editors();
            typeValue(d, "Sel", "1");
            shown << editors();
        });
        QCOMPARE(shown, QStringList({ "Sel,Wide,Common", "Sel,Narrow,Common" }));
    }

    // Opened on a row carrying a described message, the dialog starts from
    // its bytes: changing one signal keeps the others; Cancel changes nothing.
    void keepsTheOtherSignals()
    {
        fillMixedRow();
        QCOMPARE(model->row(0).dataText(), QString(kMixedBytes));
        QString opened;
        editBySignal([&](SignalEditDlg *d) {
            opened = child<QComboBox>(d, "messageCombo")->currentText() + '|'
                + child<QLineEdit>(d, "value_LeSpeed")->text() + '|' + child<QComboBox>(d, "value_Gear")->currentText();
            // Down from "3 Drive" is the end of the list; up is "2 Neutral".
            QComboBox *gear = child<QComboBox>(d, "value_Gear");
            gear->setFocus();
            QTest::keyClick(gear, Qt::Key_Up);
        });
        QCOMPARE(opened, QString("Mixed  0x123|1000.5|3 Drive"));
        QCOMPARE(model->row(0).dataText(), QString("10 7D AF 40 0C FE 02 09"));
        editBySignal([&](SignalEditDlg *d) { typeValue(d, "Torque", "0"); }, false);
        QCOMPARE(model->row(0).dataText(), QString("10 7D AF 40 0C FE 02 09"));
    }

    // Without a database on the row's channel the button says what to do.
    void noDatabase()
    {
        loadDatabase(); // on channel 1 only
        addRow();
        QVERIFY(model->setData(model->index(0, ListSendModel::Channel), 1));
        dlg->table()->selectRow(0);
        click(dlg, "pbnSignals");
        const QString text = "通道2没有加载信号数据库。请先在“信号数据库”菜单中为通道2加载DBC文件，再按信号编辑。";
        QCOMPARE(shownBox(), "提示|" + text);
        QCOMPARE(child<QPushButton>(dlg, "pbnSignals")->toolTip(), text);
        QCOMPARE(model->row(0).id, 0x100u);
    }

    // The filled row goes out on the simulated adapter: sent on channel 1,
    // heard on channel 2, with the encoded bytes in the frame table.
    void filledRowIsSent()
    {
        fillMixedRow();
        QVERIFY(openDevice(41, 0, 0));
        for (unsigned ch = 0; ch < 2; ++ch)
            QVERIFY(setCanFdStandard(ch, 0) && setBaudRate(ch, 0, 0) && initChannel(ch, 0) && startChannel(ch));
        m_window->channelsOpened(true, true);
        QVERIFY(model->setData(model->index(0, ListSendModel::Period), 10));
        click(dlg, "pbnStart");
        QVERIFY(model->isRunning(0));
        const MyTableModel *frames = m_window->frameModel();
        auto seen = [frames](const QString &dir, const QString &ch) {
            for (int r = 0; r < frames->rowCount(); ++r)
                if (frames->cellText(r, MyTableModel::IdColumn) == "0x123"
                    && frames->cellText(r, MyTableModel::DirectionColumn) == dir
                    && frames->cellText(r, MyTableModel::ChannelColumn) == ch
                    && frames->cellText(r, MyTableModel::DataColumn) == QString("x| %1 ").arg(kMixedBytes))
                    return true;
            return false;
        };
        QTRY_VERIFY(seen("Tx", "1") && seen("Rx", "2"));
        click(dlg, "pbnStop");
    }
};

QTEST_MAIN(ListSendSignalsTest)
#include "tst_listsend_signals.moc"
