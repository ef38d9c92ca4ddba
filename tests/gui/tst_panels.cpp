// The send panels, the refresh tick and the column filter of the main window,
// driven offscreen on the simulated adapter.
#include "DeviceLayer.h"
#include "MainWindow.h"
#include "MyTableModel.h"
#include "Prompt.h"
#include "RuntimeFolder.h"
#include "SettingsStore.h"
#include "SiftDialog.h"
#include "SimControl.h"
#include "SimulatedAdapter.h"
#include "recvThread.h"
#include "sendThread.h"

#include <QAction>

#include <QApplication>
#include <QCheckBox>
#include <QTimer>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTableView>
#include <QTextEdit>
#include <QtTest>

namespace {
ModelItem frame(uint ch, uint dir, const QString &id, const QString &data = QStringLiteral("x| 01 "))
{
    ModelItem m;
    m.channel = ch;
    m.direction = dir;
    m.timeStamp = dir ? QStringLiteral("0x10") : QStringLiteral("无");
    m.channelText = QString::number(ch + 1);
    m.dirText = dir ? QStringLiteral("Rx") : QStringLiteral("Tx");
    m.idText = id;
    m.formatText = QStringLiteral("标准帧");
    m.typeText = QStringLiteral("数据帧");
    m.dlcText = QStringLiteral("1");
    m.protocolText = QStringLiteral("CAN");
    m.dataText = data;
    return m;
}

QStringList rowTexts(const MyTableModel *model, int row)
{
    QStringList texts;
    for (int c = 0; c < 11; ++c)
        texts << model->cellText(row, c);
    return texts;
}

// Answers the capture dialog that the real-time save box opens: types the path
// (as a user may) and presses OK with the given mode.
void answerCaptureDialog(const QString &path, int mode)
{
    QTimer::singleShot(0, [path, mode] {
        QWidget *dlg = QApplication::activeModalWidget();
        if (!dlg)
            return;
        dlg->findChild<QLineEdit *>(QStringLiteral("lineEdit"))->setText(path);
        dlg->findChild<QComboBox *>(QStringLiteral("comboBox"))->setCurrentIndex(mode);
        QTest::mouseClick(dlg->findChild<QPushButton *>(QStringLiteral("pbOk")), Qt::LeftButton);
    });
}

QStringList fileLines(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(f.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
} // namespace

class PanelsTest : public QObject {
    Q_OBJECT
    std::unique_ptr<RuntimeFolder> m_folder;
    std::unique_ptr<MainWindow> m_window;
    MainWindow *w = nullptr;

    template <typename T>
    T *find(const char *name)
    {
        T *x = w->findChild<T *>(QLatin1String(name));
        if (!x)
            qFatal("no widget %s", name);
        return x;
    }

    void openBothChannels()
    {
        QVERIFY(openDevice(41, 0, 0));
        for (unsigned ch = 0; ch < 2; ++ch) {
            QVERIFY(setCanFdStandard(ch, 0));
            QVERIFY(setBaudRate(ch, 0, 0));
            QVERIFY(initChannel(ch, 0));
            QVERIFY(startChannel(ch));
        }
        w->channelsOpened(true, true);
    }

    QString label(const char *name) { return find<QLabel>(name)->text(); }

private slots:
    void init()
    {
        installDriver(simulatedDriver());
        SimControl::resetForTests();
        SimControl::setNodesEnabled(false);
        resetDeviceState();
        resetFrameCounter();
        takePendingFrames();
        setLanguageCode(0);
        Prompt::recordForTests(true);
        Prompt::clearShown();
        m_folder = std::make_unique<RuntimeFolder>();
        m_window = std::make_unique<MainWindow>();
        w = m_window.get();
        w->show();
        // Let the start-up events run: the posted language change and the late restore of the panels.
        QTest::qWait(100);
        QCOMPARE(find<QLineEdit>("ch1SendDataEdit")->text(), QStringLiteral("00 11 22 33 44 55 66 77"));
    }
    void cleanup()
    {
        m_window.reset();
        m_folder.reset();
    }

    void sendShowsTxAndPeerRx()
    {
        openBothChannels();
        find<QLineEdit>("ch1SendIDEdit")->setText(QStringLiteral("123"));
        find<QComboBox>("ch1sendLenCombo")->setCurrentIndex(2);
        find<QLineEdit>("ch1SendDataEdit")->setText(QStringLiteral("11 22"));
        QTest::mouseClick(find<QPushButton>("ch1SendBtn"), Qt::LeftButton);
        MyTableModel *model = w->frameModel();
        QTRY_COMPARE_WITH_TIMEOUT(model->rowCount(), 2, 3000);
        const int tx = model->cellText(0, 4) == QLatin1String("Tx") ? 0 : 1;
        QStringList txRow = rowTexts(model, tx);
        QStringList rxRow = rowTexts(model, 1 - tx);
        QCOMPARE(txRow.mid(2), QStringList({"无", "1", "Tx", "0x123", "标准帧", "数据帧", "2", "CAN", "x| 11 22 "}));
        QCOMPARE(rxRow.mid(3), QStringList({"2", "Rx", "0x123", "标准帧", "数据帧", "2", "CAN", "x| 11 22 "}));
        QVERIFY(rxRow.at(2).startsWith(QLatin1String("0x")));
        QVERIFY(QRegularExpression(QStringLiteral("^\\d{2}:\\d{2}:\\d{2}\\.\\d{3}$")).match(txRow.at(1)).hasMatch());
        QTRY_COMPARE(label("labelCh1TxCount"), QStringLiteral("1"));
        QCOMPARE(label("labelCh2RxCount"), QStringLiteral("1"));
        QTRY_VERIFY(find<QPushButton>("ch1SendBtn")->isEnabled());
        QVERIFY(!find<QPushButton>("ch1StopSendBtn")->isEnabled());
        // Every field went to the settings store under its own name.
        QCOMPARE(SettingsStore::value(QStringLiteral("ch1SendIDEdit")), QStringLiteral("123"));
        QCOMPARE(SettingsStore::value(QStringLiteral("ch1sendLenCombo")), QStringLiteral("2"));
        QVERIFY(m_folder->read(QStringLiteral("config/setdb.txt")).contains("ch1IDAddChk,0"));
    }

    void identifierRange_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("channel");
        QTest::addColumn<int>("format");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("refusal");   // empty: sent
        QTest::newRow("std 7FF") << 0 << "ch1" << 0 << "7FF" << "";
        QTest::newRow("std 800") << 0 << "ch1" << 0 << "800" << "发送失败，标准帧ID范围为0~0x7FF！";
        QTest::newRow("ext 1FFFFFFF") << 0 << "ch1" << 1 << "1FFFFFFF" << "";
        QTest::newRow("ext 20000000") << 0 << "ch1" << 1 << "20000000" << "发送失败，扩展帧ID范围为0~0x1FFFFFFF！";
        QTest::newRow("zht ch1 std") << 1 << "ch1" << 0 << "800" << "發送失敗，標準幀ID範圍為0~0x7FF！";
        QTest::newRow("zht ch2 std") << 1 << "ch2" << 0 << "800" << "发送失败，標準幀ID範圍為0~0x7FF！";
        QTest::newRow("zht ch2 ext") << 1 << "ch2" << 1 << "20000000" << "发送失败，擴展幀ID範圍為0~0x1FFFFFFF！";
        QTest::newRow("en ext") << 2 << "ch2" << 1 << "20000000"
                                << "Sending failed, expanding frame ID range from 0 to 0x1FFFFFFFF!";
    }
    void identifierRange()
    {
        QFETCH(int, language);
        QFETCH(QString, channel);
        QFETCH(int, format);
        QFETCH(QString, id);
        QFETCH(QString, refusal);
        openBothChannels();
        setLanguageCode(language);
        const QByteArray p = channel.toLatin1();
        find<QComboBox>(p + "FrameTypeCombo")->setCurrentIndex(format);
        find<QLineEdit>(p + "SendIDEdit")->setText(id);
        QTest::mouseClick(find<QPushButton>(p + "SendBtn"), Qt::LeftButton);
        if (refusal.isEmpty()) {
            QVERIFY(Prompt::shown().isEmpty());
            QTRY_COMPARE_WITH_TIMEOUT(w->frameModel()->rowCount(), 2, 3000);
        } else {
            QCOMPARE(Prompt::shown().size(), 1);
            QCOMPARE(Prompt::shown().at(0).first, language == 2 ? QStringLiteral("warning") : QStringLiteral("警告"));
            QCOMPARE(Prompt::shown().at(0).second, refusal);
            QVERIFY(find<QPushButton>(p + "SendBtn")->isEnabled());
            QVERIFY(!w->sender(channel == QLatin1String("ch2"))->isRunning());
        }
    }

    void closedChannelIsRefusedAndLogged()
    {
        setLanguageCode(2);
        find<QPushButton>("ch2SendBtn")->setEnabled(true);
        QTest::mouseClick(find<QPushButton>("ch2SendBtn"), Qt::LeftButton);
        QCOMPARE(Prompt::shown().value(0), qMakePair(QStringLiteral("warning"), QStringLiteral("Channel 2 is not open!")));
        QVERIFY(find<QTextEdit>("logEdit")->toPlainText().endsWith(QLatin1String("Channel 2 is not open!")));
    }

    void protocolAndLength()
    {
        auto *protocol = find<QComboBox>("ch1ProtocolCombo");
        auto *len = find<QComboBox>("ch1sendLenCombo");
        auto *items = qobject_cast<QStandardItemModel *>(len->model());
        protocol->setCurrentIndex(1);
        QCOMPARE(items->data(items->index(15, 0), Qt::UserRole - 1).toInt(), 255);
        len->setCurrentIndex(15);
        QCOMPARE(len->currentText(), QStringLiteral("64"));
        protocol->setCurrentIndex(0);
        QCOMPARE(len->currentText(), QStringLiteral("8"));
        for (int i = 9; i < 16; ++i)
            QCOMPARE(items->data(items->index(i, 0), Qt::UserRole - 1).toInt(), 0);
        QCOMPARE(items->data(items->index(8, 0), Qt::UserRole - 1).isValid() ? items->data(items->index(8, 0), Qt::UserRole - 1).toInt() : 255, 255);

        // A remote frame is CAN only, and the protocol stays locked until a data frame is chosen.
        protocol->setCurrentIndex(2);
        find<QComboBox>("ch1FrameDataCombo")->setCurrentIndex(1);
        QCOMPARE(protocol->currentIndex(), 0);
        QVERIFY(!protocol->isEnabled());
        find<QComboBox>("ch1FrameDataCombo")->setCurrentIndex(0);
        QVERIFY(protocol->isEnabled());
    }

    void dataNormalisedAndCutToLength()
    {
        auto *data = find<QLineEdit>("ch1SendDataEdit");
        data->setText(QStringLiteral("123 4567 8"));
        find<QComboBox>("ch1sendLenCombo")->setCurrentIndex(8);   // "8" again: no change signal
        find<QComboBox>("ch1sendLenCombo")->setCurrentIndex(5);
        QCOMPARE(data->text(), QStringLiteral("01 23 45 67 08"));
        find<QComboBox>("ch1sendLenCombo")->setCurrentIndex(2);
        QCOMPARE(data->text(), QStringLiteral("01 23 "));
        // The validator refuses anything but hex digits and blanks.
        data->clear();
        QTest::keyClicks(data, QStringLiteral("1g2"));
        QCOMPARE(data->text(), QStringLiteral("12"));
    }

    void keepSendingUntilStopped()
    {
        openBothChannels();
        find<QLineEdit>("ch1SendCountEdit")->setText(QStringLiteral("-1"));
        find<QLineEdit>("ch1SendInvEdit")->setText(QStringLiteral("5"));
        QTest::mouseClick(find<QPushButton>("ch1SendBtn"), Qt::LeftButton);
        QVERIFY(find<QPushButton>("ch1StopSendBtn")->isEnabled());
        QVERIFY(!find<QLineEdit>("ch1SendIDEdit")->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(label("labelCh1TxCount").toInt() >= 20, 5000);
        QTest::mouseClick(find<QPushButton>("ch1StopSendBtn"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(find<QPushButton>("ch1SendBtn")->isEnabled(), 3000);
        QVERIFY(find<QLineEdit>("ch1SendIDEdit")->isEnabled());
        QVERIFY(find<QTextEdit>("logEdit")->toPlainText().contains(QStringLiteral("通道1数据中止发送！")));
    }

    void listLimitKeepsNewestRows()
    {
        w->close();
        m_window.reset();
        m_folder->write(QStringLiteral("config/setdb.txt"), "listCount,10");
        m_window = std::make_unique<MainWindow>();
        w = m_window.get();
        QList<ModelItem> batch;
        for (int i = 0; i < 25; ++i)
            batch << frame(0, 1, QStringLiteral("0x%1").arg(i, 3, 16, QLatin1Char('0')));
        appendPendingFrames(batch);
        QTRY_COMPARE(label("labelCh1RxCount"), QStringLiteral("25"));
        QCOMPARE(w->frameModel()->rowCount(), 10);
        QCOMPARE(w->frameModel()->cellText(0, 0), QStringLiteral("16"));
        QCOMPARE(w->frameModel()->cellText(9, 0), QStringLiteral("25"));
        appendPendingFrames({frame(1, 0, QStringLiteral("0x7FF"))});
        QTRY_COMPARE(label("labelCh2TxCount"), QStringLiteral("1"));
        QCOMPARE(w->frameModel()->rowCount(), 10);
        QCOMPARE(w->frameModel()->cellText(9, 5), QStringLiteral("0x7FF"));
    }

    void pauseMergeAndClear()
    {
        find<QCheckBox>("pauseCheck")->setChecked(true);
        appendPendingFrames({frame(0, 1, QStringLiteral("0x100")), frame(0, 1, QStringLiteral("0x101"))});
        QTRY_COMPARE(label("labelCh1RxCount"), QStringLiteral("2"));
        QCOMPARE(w->frameModel()->rowCount(), 0);
        find<QCheckBox>("pauseCheck")->setChecked(false);

        w->findChild<QAction *>(QStringLiteral("actionMerge"))->trigger();
        QCOMPARE(SettingsStore::value(QStringLiteral("merge")), QStringLiteral("1"));
        appendPendingFrames({frame(0, 1, QStringLiteral("0x100"), QStringLiteral("x| 01 ")),
                             frame(0, 1, QStringLiteral("0x100"), QStringLiteral("x| 02 ")),
                             frame(0, 0, QStringLiteral("0x100")), frame(1, 1, QStringLiteral("0x100"))});
        QTRY_COMPARE(label("labelCh1RxCount"), QStringLiteral("4"));
        QCOMPARE(w->frameModel()->rowCount(), 3);
        QCOMPARE(w->frameModel()->cellText(0, 10), QStringLiteral("x| 02 "));
        QCOMPARE(w->frameModel()->cellText(0, 0), QStringLiteral("2"));   // merge on cleared the list and its numbering

        QTest::mouseClick(find<QPushButton>("cleanListBtn"), Qt::LeftButton);
        QCOMPARE(w->frameModel()->rowCount(), 0);
        appendPendingFrames({frame(0, 1, QStringLiteral("0x200"))});
        QTRY_COMPARE(w->frameModel()->rowCount(), 1);
        QCOMPARE(w->frameModel()->cellText(0, 0), QStringLiteral("1"));

        QTest::mouseClick(find<QPushButton>("pushButton"), Qt::LeftButton);
        QCOMPARE(label("labelCh1RxCount"), QStringLiteral("0"));
    }

    void siftMatching_data()
    {
        QTest::addColumn<bool>("caseSensitive");
        QTest::addColumn<bool>("whole");
        QTest::addColumn<QStringList>("listed");
        QTest::newRow("neither") << false << false << QStringList{"xAbx", "ab", "AB"};
        QTest::newRow("whole only") << false << true << QStringList{"ab", "AB"};
        QTest::newRow("case only") << true << false << QStringList{"ab"};
        QTest::newRow("both") << true << true << QStringList{"ab"};
    }
    void siftMatching()
    {
        QFETCH(bool, caseSensitive);
        QFETCH(bool, whole);
        QFETCH(QStringList, listed);
        SiftDialog *sift = w->siftDialog();
        sift->fill({"xAbx", "ab", "AB", "zz"}, 5);
        sift->findChild<QCheckBox *>(QStringLiteral("caseCheck"))->setChecked(caseSensitive);
        sift->findChild<QCheckBox *>(QStringLiteral("wholeCheck"))->setChecked(whole);
        QTest::keyClicks(sift->findChild<QLineEdit *>(QStringLiteral("searchEdit")), QStringLiteral("ab"));
        QStringList shown;
        for (QCheckBox *box : sift->valueBoxes())
            shown << box->text();
        QCOMPARE(shown, listed);
        auto *list = sift->findChild<QListWidget *>(QStringLiteral("listWidget"));
        QVERIFY2(list->item(0)->isHidden(), "the all row hides while searching");
    }

    void siftFiltersTheTable()
    {
        appendPendingFrames({frame(0, 1, QStringLiteral("0x100")), frame(0, 1, QStringLiteral("0x101")),
                             frame(0, 1, QStringLiteral("0x100")), frame(0, 1, QStringLiteral("0x102"))});
        QTRY_COMPARE(w->frameModel()->rowCount(), 4);
        QCOMPARE(w->distinctValues(5), QStringList({"0x100", "0x101", "0x102"}));
        w->openSiftFor(5, QPoint(10, 10));
        SiftDialog *sift = w->siftDialog();
        QVERIFY(sift->isVisible());
        QVERIFY(sift->windowFlags() & Qt::FramelessWindowHint);
        QCOMPARE(sift->allBox()->text(), QStringLiteral("全部"));
        sift->allBox()->setChecked(true);
        QCOMPARE(sift->selection().size(), 3);
        sift->valueBoxes().at(1)->setChecked(false);   // untick 0x101
        QVERIFY(!sift->allBox()->isChecked());
        QVERIFY(sift->valueBoxes().at(0)->isChecked());
        QVERIFY(sift->valueBoxes().at(2)->isChecked());
        QTest::mouseClick(sift->findChild<QPushButton *>(QStringLiteral("btnConfirm")), Qt::LeftButton);
        QVERIFY(!sift->isVisible());
        QCOMPARE(w->frameModel()->header().at(5), QStringLiteral("ID*"));
        auto *view = w->findChild<QTableView *>(QStringLiteral("tableView"));
        QVERIFY(view->isRowHidden(1));
        QVERIFY(!view->isRowHidden(2));

        appendPendingFrames({frame(0, 1, QStringLiteral("0x101")), frame(0, 1, QStringLiteral("0x102"))});
        QTRY_COMPARE(label("labelCh1RxCount"), QStringLiteral("6"));
        QCOMPARE(w->frameModel()->rowCount(), 5);   // the 0x101 frame is counted, not shown

        QTest::mouseClick(find<QPushButton>("pushButton_2"), Qt::LeftButton);
        QCOMPARE(w->frameModel()->header().at(5), QStringLiteral("ID"));
        QVERIFY(!view->isRowHidden(1));
    }
    void liveCaptureMatchesTable()
    {
        const QString path = m_folder->path(QStringLiteral("capture.csv"));
        answerCaptureDialog(path, 0);
        QTest::mouseClick(find<QCheckBox>("checkBox"), Qt::LeftButton);
        QVERIFY(find<QCheckBox>("checkBox")->isChecked());
        appendPendingFrames({frame(0, 1, QStringLiteral("0x100")), frame(1, 0, QStringLiteral("0x101"), QStringLiteral("x| "))});
        QTRY_COMPARE(w->frameModel()->rowCount(), 2);
        find<QCheckBox>("pauseCheck")->setChecked(true);
        appendPendingFrames({frame(0, 1, QStringLiteral("0x102"))});
        QTRY_COMPARE(label("labelCh1RxCount"), QStringLiteral("2"));
        QTest::mouseClick(find<QCheckBox>("checkBox"), Qt::LeftButton);   // capture off: file closed

        const QStringList lines = fileLines(path);
        QCOMPARE(lines.size(), 4);
        QCOMPARE(lines.at(0), QStringLiteral("序号,系统时间,时间标识,通道,收/发,ID,Frame,类型,DLC,CAN-FD,数据"));
        for (int r = 0; r < 2; ++r) {
            QStringList cells = rowTexts(w->frameModel(), r);
            cells[1] = QStringLiteral("=\"%1\"").arg(cells[1]);
            QCOMPARE(lines.at(r + 1), cells.join(QLatin1Char(',')));
        }
        QVERIFY2(lines.at(3).startsWith(QLatin1String("3,=\"")), "a paused display keeps capturing");
        QVERIFY2(lines.at(3).endsWith(QStringLiteral(",0x102,标准帧,数据帧,1,CAN,x| 01 ")), qPrintable(lines.at(3)));
    }

    void filteredOnlyCapture_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("rows");
        QTest::newRow("all rows") << 0 << 2;
        QTest::newRow("filtered rows") << 1 << 1;
    }
    void filteredOnlyCapture()
    {
        QFETCH(int, mode);
        QFETCH(int, rows);
        w->frameModel()->setFilter(5, {QStringLiteral("0x100")});
        const QString path = m_folder->path(QStringLiteral("filtered.csv"));
        answerCaptureDialog(path, mode);
        QTest::mouseClick(find<QCheckBox>("checkBox"), Qt::LeftButton);
        appendPendingFrames({frame(0, 1, QStringLiteral("0x100")), frame(0, 1, QStringLiteral("0x200"))});
        QTRY_COMPARE(label("labelCh1RxCount"), QStringLiteral("2"));
        QCOMPARE(w->frameModel()->rowCount(), 1);   // the rejected frame is counted, never shown
        QTest::mouseClick(find<QCheckBox>("checkBox"), Qt::LeftButton);
        const QStringList lines = fileLines(path);
        QCOMPARE(lines.size(), 1 + rows);
        QVERIFY2(lines.at(0).contains(QStringLiteral("ID*")), qPrintable(lines.at(0)));
    }

    void cancelledCaptureUnticks()
    {
        QTimer::singleShot(0, [] {
            if (QWidget *dlg = QApplication::activeModalWidget())
                QTest::mouseClick(dlg->findChild<QPushButton *>(QStringLiteral("pbCancel")), Qt::LeftButton);
        });
        QTest::mouseClick(find<QCheckBox>("checkBox"), Qt::LeftButton);
        QVERIFY(!find<QCheckBox>("checkBox")->isChecked());
    }
    void identifierGapWarnsOnce_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");
        QTest::newRow("zh") << 0 << "提示" << "ID 不连续:上一帧ID:7fe,当前ID:1a";
        QTest::newRow("zht") << 1 << "提示" << "ID 不連續:上一幀ID:7fe,當前ID:1a";
        QTest::newRow("en") << 2 << "warning" << "ID error:last ID:7fe,current ID:1a";
    }
    void identifierGapWarnsOnce()
    {
        QFETCH(int, language);
        QFETCH(QString, title);
        QFETCH(QString, text);
        setLanguageCode(language);
        auto *check = w->findChild<QAction *>(QStringLiteral("actionRecvIDAdd"));
        check->trigger();
        QCOMPARE(SettingsStore::value(QStringLiteral("recvIDAdd")), QStringLiteral("1"));
        emit w->receiver(1)->errorID(0x7FE, 0x1A);
        QCOMPARE(Prompt::shown().value(0), qMakePair(title, text));
        QVERIFY(!check->isChecked());
        QCOMPARE(SettingsStore::value(QStringLiteral("recvIDAdd")), QStringLiteral("0"));
    }

    void receiveTuningRetitlesAndPersistsListCount()
    {
        w->findChild<QAction *>(QStringLiteral("actionListBuffer"))->trigger();
        QDialog *dlg = w->findChild<QDialog *>(QStringLiteral("valueDialog"));
        QVERIFY(dlg && dlg->isVisible());
        auto *edit = dlg->findChild<QLineEdit *>();
        QCOMPARE(edit->text(), QStringLiteral("1000"));
        edit->setText(QStringLiteral("5"));
        QTest::mouseClick(dlg->findChild<QPushButton *>(QStringLiteral("btnValueOK")), Qt::LeftButton);
        QCOMPARE(w->findChild<QAction *>(QStringLiteral("actionListBuffer"))->text(), QStringLiteral("列表缓存帧数(5)(&D)"));
        QVERIFY(m_folder->read(QStringLiteral("config/setdb.txt")).contains("listCount,5"));
        QList<ModelItem> batch;
        for (int i = 0; i < 8; ++i)
            batch << frame(0, 1, QStringLiteral("0x100"));
        appendPendingFrames(batch);
        QTRY_COMPARE(label("labelCh1RxCount"), QStringLiteral("8"));
        QCOMPARE(w->frameModel()->rowCount(), 5);
        w->findChild<QAction *>(QStringLiteral("actionEnglish"))->trigger();
        QTRY_COMPARE(w->findChild<QAction *>(QStringLiteral("actionListBuffer"))->text(), QStringLiteral("Data List Buffer(5)(&D)"));
    }
};

QTEST_MAIN(PanelsTest)
#include "tst_panels.moc"
