// The list send window inside the main window, through its widgets: editing
// in place with the send panel's rules and messages, the list file across a
// restart (and a malformed one), open and save as, start and stop on the
// simulated adapter, and rows added from the frame table's menu.
#include "FileDialogs.h"
#include "ListSendKit.h"
#include "ListSendModel.h"
#include "MainWindow.h"
#include "MyTableModel.h"
#include "PendingFrames.h"
#include "RuntimeFolder.h"
#include "TestKit.h"
#include "listSendDlg.h"

#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QSpinBox>
#include <QTableView>
#include <QTextEdit>

class ListSendWindowTest : public QObject {
    Q_OBJECT
    std::unique_ptr<RuntimeFolder> m_folder;
    std::unique_ptr<MainWindow> m_window;
    listSendDlg *dlg = nullptr;
    ListSendModel *model = nullptr;
    QTableView *view = nullptr;

    void startWindow()
    {
        dlg = openListSendWindow(m_window);
        model = dlg->model();
        view = dlg->table();
        QVERIFY(QTest::qWaitForWindowExposed(dlg));
    }
    void openBothChannels()
    {
        QVERIFY(openDevice(41, 0, 0));
        for (unsigned ch = 0; ch < 2; ++ch)
            QVERIFY(setCanFdStandard(ch, 0) && setBaudRate(ch, 0, 0) && initChannel(ch, 0) && startChannel(ch));
        m_window->channelsOpened(true, true);
    }
    // The in-place editor of a cell, opened as a double click would.
    template <typename T> T *openEditor(int row, int column)
    {
        const QModelIndex i = model->index(row, column);
        view->setCurrentIndex(i);
        view->edit(i);
        for (T *e : view->viewport()->findChildren<T *>())
            if (e->isVisible())
                return e;
        qFatal("no editor");
    }
    // Types into the cell's editor and presses Enter.
    void type(int row, int column, const QString &text)
    {
        QWidget *editor = openEditor<QWidget>(row, column);
        if (auto *spin = qobject_cast<QSpinBox *>(editor)) {
            spin->selectAll();
            QTest::keyClicks(spin, text);
        } else if (auto *edit = qobject_cast<QLineEdit *>(editor)) {
            edit->selectAll();
            QTest::keyClicks(edit, text);
        }
        QTest::keyClick(editor, Qt::Key_Return);
        QCoreApplication::processEvents(); // the delegate commits through a queued call
    }
    void choose(int row, int column, const QString &item)
    {
        auto *combo = openEditor<QComboBox>(row, column);
        combo->setCurrentText(item);
        QTest::keyClick(combo, Qt::Key_Return);
        QCoreApplication::processEvents();
    }
    QString cell(int row, int column) const { return model->index(row, column).data(Qt::EditRole).toString(); }
    QString listFile() const { return QString::fromUtf8(m_folder->read("config/listsend.txt")); }

private slots:
    void init()
    {
        m_folder = std::make_unique<RuntimeFolder>();
        startWindow();
    }
    void cleanup()
    {
        m_window.reset();
        m_folder.reset();
    }

    void editing_data()
    {
        columns<int, int, QString, QString, QString>({ "column", "format", "typed", "after", "box" });
        const int id = ListSendModel::Id, data = ListSendModel::Data, period = ListSendModel::Period;
        QTest::newRow("standard 7FF") << id << 0 << "7FF"
                                      << "7FF"
                                      << "";
        QTest::newRow("standard 800") << id << 0 << "800"
                                      << "100"
                                      << "警告|发送失败，标准帧ID范围为0~0x7FF！";
        QTest::newRow("extended 1FFFFFFF") << id << 1 << "1FFFFFFF"
                                           << "1FFFFFFF"
                                           << "";
        QTest::newRow("extended 20000000") << id << 1 << "20000000"
                                           << "100"
                                           << "警告|发送失败，扩展帧ID范围为0~0x1FFFFFFF！";
        QTest::newRow("data cleaned up") << data << 0 << "123 4567 8"
                                         << "01 23 45 67 08 00 00 00"
                                         << "";
        QTest::newRow("data cut to the length") << data << 0 << "0102030405060708090a"
                                                << "01 02 03 04 05 06 07 08"
                                                << "";
        QTest::newRow("period 60000") << period << 0 << "60000"
                                      << "60000"
                                      << "";
        QTest::newRow("period 0") << period << 0 << "0"
                                  << "100"
                                  << "警告|发送失败，周期范围为1~60000ms！";
        QTest::newRow("period 60001") << period << 0 << "60001"
                                      << "100"
                                      << "警告|发送失败，周期范围为1~60000ms！";
    }
    void editing()
    {
        QFETCH(int, column);
        QFETCH(int, format);
        QFETCH(QString, typed);
        click(dlg, "pbnAdd");
        QVERIFY(model->setData(model->index(0, ListSendModel::Format), format));
        Prompt::clearShown();
        type(0, column, typed);
        QTEST(cell(0, column), "after");
        QTEST(shownBox(), "box");
    }

    // The length choices follow the protocol as on the send panel, and the
    // data bytes follow the length; a remote frame is classic CAN only.
    void lengthsFollowTheProtocol()
    {
        click(dlg, "pbnAdd");
        QCOMPARE(openEditor<QComboBox>(0, ListSendModel::Length)->count(), 9); // 0-8
        view->closePersistentEditor(model->index(0, ListSendModel::Length));
        choose(0, ListSendModel::Protocol, "CANFD");
        QCOMPARE(openEditor<QComboBox>(0, ListSendModel::Length)->count(), 16);
        choose(0, ListSendModel::Length, "64");
        QCOMPARE(cell(0, ListSendModel::Data).split(' ').size(), 64);
        choose(0, ListSendModel::Protocol, "CAN");
        QCOMPARE(cell(0, ListSendModel::Length), QString("8"));
        QCOMPARE(cell(0, ListSendModel::Data), QString("00 00 00 00 00 00 00 00"));
        choose(0, ListSendModel::Protocol, "CANFD");
        choose(0, ListSendModel::Length, "12");
        choose(0, ListSendModel::Type, "远程帧");
        QCOMPARE(QStringList({ cell(0, ListSendModel::Protocol), cell(0, ListSendModel::Length) }),
            QStringList({ "0", "8" }));
        QVERIFY(!(model->flags(model->index(0, ListSendModel::Protocol)) & Qt::ItemIsEditable));
    }

    // Every change is written at once; a new start finds the list again.
    void listSurvivesARestart()
    {
        click(dlg, "pbnAdd");
        click(dlg, "pbnAdd");
        type(1, ListSendModel::Name, "brake; left");
        type(1, ListSendModel::Id, "7A");
        click(dlg, "pbnUp");
        click(dlg, "pbnCopy");
        QCOMPARE(listFile().split('\n').filter(QRegularExpression("^[^#]")).join('|'),
            QString("1;1;7A;std;data;CAN;8;00 00 00 00 00 00 00 00;100;0;0;0;brake; left|"
                    "1;1;7A;std;data;CAN;8;00 00 00 00 00 00 00 00;100;0;0;0;brake; left|"
                    "1;1;100;std;data;CAN;8;00 00 00 00 00 00 00 00;100;0;0;0;"));
        const QList<ListSendRow> before = model->rows();
        startWindow();
        QCOMPARE(model->rows(), before);
        QCOMPARE(shownBox(), QString());
    }

    // A list file that cannot be read: one clear box when the window comes
    // up, an empty list, and the file left alone until the list changes.
    void malformedListFile()
    {
        const QByteArray broken = "1;1;123;std;data;CAN;8;00;10;0;0;0;ok\n1;1;999;std;data;CAN;8;00;10;0;0;0;bad\n";
        m_folder->write("config/listsend.txt", broken);
        startWindow();
        QTRY_COMPARE(shownBox(),
            QString("警告|列表文件“%1”第2行的字段“id”有误：应为 0-7FF，实为“999”。列表已清空。")
                .arg(m_folder->path("config/listsend.txt")));
        QCOMPARE(model->rowCount(), 0);
        QCOMPARE(m_folder->read("config/listsend.txt"), broken);
        click(dlg, "pbnAdd");
        QCOMPARE(listFile().count("\n1;1;100;"), 1);
    }

    void openAndSaveAs()
    {
        click(dlg, "pbnAdd");
        type(0, ListSendModel::Period, "25");
        const QString kept = m_folder->path("kept.txt");
        FileDialogs::queueAnswersForTests({ kept });
        click(dlg, "pbnSaveAs");
        click(dlg, "pbnDelete");
        QCOMPARE(model->rowCount(), 0);

        const QString bad = m_folder->path("bad.txt");
        m_folder->write("bad.txt", "1;1;1;std;data;CAN;8;00;10;0;0;0;a\n1;1;1;std\n");
        FileDialogs::queueAnswersForTests({ bad, kept });
        click(dlg, "pbnOpen");
        QVERIFY(shownBox().endsWith("列表未改变。"));
        QCOMPARE(model->rowCount(), 0);
        click(dlg, "pbnOpen");
        QCOMPARE(model->rowCount(), 1);
        QCOMPARE(cell(0, ListSendModel::Period), QString("25"));
        QVERIFY(listFile().contains(";25;0;0;0;"));
    }

    void startAndStopInTheWindow()
    {
        click(dlg, "pbnAdd");
        click(dlg, "pbnStart");
        QCOMPARE(shownBox(), QString("提示|通道1未打开！"));
        QVERIFY(child<QTextEdit>(m_window.get(), "logEdit")->toPlainText().contains("通道1未打开！"));
        QVERIFY(!model->isRunning(0));

        openBothChannels();
        type(0, ListSendModel::Period, "10");
        click(dlg, "pbnStartAll");
        QVERIFY(model->isRunning(0));
        QVERIFY(child<QPushButton>(dlg, "pbnStop")->isEnabled());
        QVERIFY(!(model->flags(model->index(0, ListSendModel::Id)) & Qt::ItemIsEditable));
        QTRY_VERIFY(model->index(0, ListSendModel::Sent).data().toInt() >= 5);
        // The frames show in the frame table: sent on channel 1, heard on channel 2.
        auto *frames = m_window->frameModel();
        auto rowsOf = [frames](const QString &dir, const QString &ch) {
            int n = 0;
            for (int r = 0; r < frames->rowCount(); ++r)
                n += frames->cellText(r, MyTableModel::IdColumn) == "0x100"
                    && frames->cellText(r, MyTableModel::DirectionColumn) == dir
                    && frames->cellText(r, MyTableModel::ChannelColumn) == ch;
            return n;
        };
        QTRY_VERIFY(rowsOf("Tx", "1") >= 3 && rowsOf("Rx", "2") >= 3);
        click(dlg, "pbnStop");
        QVERIFY(!model->isRunning(0));
        QCOMPARE(model->index(0, ListSendModel::State).data().toString(), QString("停止"));
        QVERIFY(!child<QPushButton>(dlg, "pbnStop")->isEnabled());
        QCOMPARE(dlg->windowTitle(), QString("列表发送"));
        QCOMPARE(child<QPushButton>(dlg, "pbnStop")->text(), QString("停止发送"));
        click(dlg, "pbnClose");
        QVERIFY(!dlg->isVisible());
    }

    // The send menu's entry adds the selected frame, read back from its
    // texts, as a list row.
    void addFromTheFrameTable()
    {
        ModelItem classic;
        classic.channel = 1;
        classic.channelText = "2";
        classic.dirText = "Rx";
        classic.idText = "0x123";
        classic.formatText = "标准帧";
        classic.typeText = "数据帧";
        classic.dlcText = "2";
        classic.protocolText = "CAN";
        classic.dataText = "x| 0A B0 ";
        ModelItem fd = classic;
        fd.channel = 0;
        fd.channelText = "1";
        fd.idText = "0x0001ABCD";
        fd.formatText = "Extended Frame";
        fd.dlcText = "12";
        fd.protocolText = "CANFD-加速";
        fd.dataText = "x| 01 02 03 04 05 06 07 08 09 0A 0B 0C ";
        ModelItem skipped = classic;
        skipped.idText = "0x555";
        appendPendingFrames({ classic, skipped, fd });
        m_window->refreshDisplay();
        auto *table = child<QTableView>(m_window.get(), "tableView");
        QCOMPARE(table->model()->rowCount(), 3);
        auto *add = m_window->findChild<QAction *>("actionAddToListSend");
        QVERIFY(add);
        // Nothing selected: a notice, nothing added.
        add->trigger();
        QCOMPARE(Prompt::shown().size(), 1);
        QCOMPARE(model->rowCount(), 0);
        // The table keeps its single selection: the last clicked row is the one added.
        QTest::mouseClick(
            table->viewport(), Qt::LeftButton, {}, table->visualRect(table->model()->index(0, 5)).center());
        add->trigger();
        QTest::mouseClick(
            table->viewport(), Qt::LeftButton, {}, table->visualRect(table->model()->index(2, 5)).center());
        QCOMPARE(table->selectionModel()->selectedRows().size(), 1);
        add->trigger();
        QCOMPARE(model->rowCount(), 2);
        const QString file = listFile();
        QVERIFY2(file.contains("\n1;2;123;std;data;CAN;2;0A B0;100;0;0;0;\n"), qPrintable(file));
        QVERIFY2(file.contains("\n1;1;1ABCD;ext;data;CANFD-BRS;12;01 02 03 04 05 06 07 08 09 0A 0B 0C;100;0;0;0;\n"),
            qPrintable(file));
    }
};

QTEST_MAIN(ListSendWindowTest)
#include "tst_listsend_window.moc"
