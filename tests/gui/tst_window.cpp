// The main window offscreen on the simulated adapter (start-up language,
// help menu, About box, refresh tick, send panels, list, filter and live
// capture), and the side dialogs through their widgets.
#include "DataDlg.h"
#include "FileDialogs.h"
#include "FrameCellDelegate.h"
#include "FrameTableView.h"
#include "MainWindow.h"
#include "MyTableModel.h"
#include "ParaDialog.h"
#include "RuntimeFolder.h"
#include "SettingsStore.h"
#include "SiftDialog.h"
#include "TestKit.h"
#include "fileDlg.h"
#include "savefileDlg.h"
#include "sendThread.h"

#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPainter>
#include <QProxyStyle>
#include <QScreen>
#include <QScrollBar>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QTableView>
#include <QTableWidget>
#include <QTextEdit>
#ifdef Q_OS_LINUX
#include <sys/inotify.h>
#include <unistd.h>
#endif

namespace {
ModelItem frame(uint ch, uint dir, const QString &id, const QString &data = "x| 01 ")
{
    ModelItem m;
    m.channel = ch;
    m.direction = dir;
    m.timeStamp = dir ? "0x10" : "无";
    m.channelText = QString::number(ch + 1);
    m.dirText = dir ? "Rx" : "Tx";
    m.idText = id;
    m.formatText = "标准帧";
    m.typeText = "数据帧";
    m.dlcText = "1";
    m.protocolText = "CAN";
    m.dataText = data;
    return m;
}

QStringList fileLines(const QString &path) { return QString::fromUtf8(readFile(path)).split('\n', Qt::SkipEmptyParts); }

void startWindow(std::unique_ptr<MainWindow> &window)
{
    freshProcess();
    SimControl::setNodesEnabled(false);
    window = std::make_unique<MainWindow>();
    window->show();
}

// Completed writes of a file, counted with inotify (Linux only): a close after
// writing, or a finished file put under the name, linked or renamed (the
// settings store writes an unnamed or temporary file and then gives it the
// name). One store write must be one write, not several ending alike.
int countWrites(const QString &file, const std::function<void()> &action)
{
#ifdef Q_OS_LINUX
    const int fd = inotify_init1(IN_NONBLOCK);
    inotify_add_watch(fd, QFile::encodeName(QFileInfo(file).absolutePath()).constData(),
        IN_OPEN | IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE);
    action();
    int n = 0;
    alignas(inotify_event) char buf[4096];
    for (ssize_t len; (len = read(fd, buf, sizeof buf)) > 0;)
        for (char *p = buf; p < buf + len; p += sizeof(inotify_event) + reinterpret_cast<inotify_event *>(p)->len) {
            auto *ev = reinterpret_cast<inotify_event *>(p);
            n += (ev->mask & (IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE)) && ev->len
                && QFileInfo(file).fileName() == QString::fromLocal8Bit(ev->name);
        }
    close(fd);
    return n;
#else
    action();
    return 1;
#endif
}
// Counts the paint events a widget receives.
class PaintCounter : public QObject {
public:
    explicit PaintCounter(QWidget *target) { target->installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::Paint;
        return false;
    }
};

// A table set up as the main window sets up its frame list.
void setUpLikeFrameList(QTableView *view, QAbstractItemModel *model)
{
    view->setModel(model);
    view->setAlternatingRowColors(true);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setSelectionMode(QAbstractItemView::SingleSelection);
    view->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 6);
    view->verticalHeader()->hide();
    view->horizontalHeader()->setStretchLastSection(true);
    view->resize(520, 200);
}
// A style that tints every item cell: no cell is plain for it.
class TintedCellsStyle : public QProxyStyle {
public:
    TintedCellsStyle()
        : QProxyStyle(QStringLiteral("Fusion"))
    {
    }
    void drawPrimitive(
        PrimitiveElement element, const QStyleOption *option, QPainter *painter, const QWidget *widget) const override
    {
        if (element == PE_PanelItemViewItem)
            painter->fillRect(option->rect.adjusted(1, 1, -1, -1), QColor(0xE0, 0xF0, 0xD0));
        QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
};
} // namespace

class MainWindowTest : public QObject {
    Q_OBJECT
    std::unique_ptr<RuntimeFolder> m_folder;
    std::unique_ptr<MainWindow> m_window;

private slots:
    void init() { m_folder = std::make_unique<RuntimeFolder>(); }
    void cleanup()
    {
        m_window.reset();
        m_folder.reset();
    }

    void startUp_data()
    {
        // removed: files gone from the folder; about: the About box text
        columns<QByteArray, QByteArray, QStringList, int, QString>({ "ini", "store", "removed", "code", "about" });
        QTest::newRow("LAST/Sel 5 out of range, short About")
            << QByteArray("[LAST]\nSel=5\n") << QByteArray() << QStringList() << 0
            << "^Ostrel-V1\\.17\\nCopyright © 2023 [^,]*$";
        QTest::newRow("stored language wins, long About")
            << QByteArray("[LAST]\nSel=2\n[LAST2]\nSel=1\n") << QByteArray("Language,CNF.qm") << QStringList() << 1
            << "^Ostrel-V1\\.17\\(\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}\\)\\nCopyright © 2023 "
               ".*,奧斯特爾電子科技有限公司$";
        QTest::newRow("missing catalogue keeps the language, missing company")
            << QByteArray("[LAST2]\nSel=1\n") << QByteArray() << QStringList { "language/EN.qm", "config/company.txt" }
            << 0 << "^Ostrel-V1\\.17\\(.*\\)\\n.*,公司名称缺失$";
    }
    void startUp()
    {
        QFETCH(QByteArray, ini);
        QFETCH(QByteArray, store);
        QFETCH(QStringList, removed);
        QFETCH(QString, about);
        m_folder->write("language/config.ini", ini);
        if (!store.isEmpty())
            m_folder->write("config/setdb.txt", store);
        for (const QString &f : removed)
            QFile::remove(m_folder->path(f));
        startWindow(m_window);
        if (!removed.isEmpty())
            child<QAction>(m_window.get(), "actionEnglish")->trigger();
        QTEST(languageCode(), "code");
        const QStringList expected = { "多条发送(&T)", "多條發送(&T)", "Multiple Transmiter(&T)" };
        QCOMPARE(child<QMenu>(m_window.get(), "menuMultiSend")->title(), expected.at(languageCode()));
        child<QAction>(m_window.get(), "actionAbout")->trigger();
        QCOMPARE(Prompt::shown().size(), 1);
        QCOMPARE(Prompt::shown().at(0).first,
            QStringList({ "关于Ostrel", "關於Ostrel", "About Ostrel" }).at(languageCode()));
        QVERIFY2(QRegularExpression(about).match(Prompt::shown().at(0).second).hasMatch(),
            qPrintable(Prompt::shown().at(0).second));
    }

    void helpMenuListsLowerCasePdfOnly()
    {
        for (const char *f :
            { "help/Chinese/a.PDF", "help/Chinese/b.pdf", "help/Chinese/more/c.pdf", "help/English/manual.pdf" }) {
            QDir().mkpath(QFileInfo(m_folder->path(f)).path());
            m_folder->write(f, "x");
        }
        startWindow(m_window);
        auto pdfs = [this] {
            QStringList names;
            for (QAction *a : m_window->helpMenu()->actions())
                if (a->text().endsWith("pdf", Qt::CaseInsensitive))
                    names << a->text();
            return names;
        };
        QCOMPARE(pdfs(), QStringList({ "b.pdf", "c.pdf" }));
        child<QAction>(m_window.get(), "actionEnglish")->trigger();
        QCOMPARE(pdfs(), QStringList({ "manual.pdf" }));
    }

    void refreshIntervalHonoured()
    {
        m_folder->write("config/setdb.txt", "refreshInterval,250");
        startWindow(m_window);
        // Timers never fire early, so the gap between two takes is a safe lower bound.
        QList<qint64> takes;
        QElapsedTimer clock;
        clock.start();
        for (int round = 0; round < 3; ++round) {
            appendPendingFrames({ frame(0, 1, "0x1") });
            QTRY_VERIFY_WITH_TIMEOUT(pendingFrames().pendingCount() == 0, 3000);
            takes << clock.elapsed();
        }
        QVERIFY2(takes[2] - takes[1] >= 200, qPrintable(QString::number(takes[2] - takes[1])));
        QCOMPARE(m_window->frameModel()->rowCount(), 3);
    }
};

class PanelsTest : public QObject {
    Q_OBJECT
    std::unique_ptr<RuntimeFolder> m_folder;
    std::unique_ptr<MainWindow> m_window;
    MainWindow *w = nullptr;

    template <typename T> T *find(const QString &name) { return child<T>(w, name); }
    QString label(const char *name) { return find<QLabel>(name)->text(); }
    MyTableModel *model() { return w->frameModel(); }
    void openBothChannels()
    {
        QVERIFY(openDevice(41, 0, 0));
        for (unsigned ch = 0; ch < 2; ++ch)
            QVERIFY(setCanFdStandard(ch, 0) && setBaudRate(ch, 0, 0) && initChannel(ch, 0) && startChannel(ch));
        w->channelsOpened(true, true);
    }
    // Ticks the live save box and answers its dialog with a typed path and mode.
    void startCapture(const QString &path, int mode)
    {
        QTimer::singleShot(0, [path, mode] {
            if (QWidget *dlg = QApplication::activeModalWidget()) {
                child<QLineEdit>(dlg, "lineEdit")->setText(path);
                child<QComboBox>(dlg, "comboBox")->setCurrentIndex(mode);
                click(dlg, "pbOk");
            }
        });
        setTicked(find<QCheckBox>("checkBox"), true);
    }

private slots:
    void init()
    {
        m_folder = std::make_unique<RuntimeFolder>();
        startWindow(m_window);
        w = m_window.get();
        // The posted language change and the late restore of the panels run first.
        QTRY_COMPARE(find<QLineEdit>("ch1SendDataEdit")->text(), QString("00 11 22 33 44 55 66 77"));
        QTest::qWait(100); // a language change resets the titles, and with them any filter mark
    }
    void cleanup()
    {
        m_window.reset();
        m_folder.reset();
    }

    void identifierRange_data()
    {
        // refusal: empty: sent
        columns<int, QString, int, QString, QString>({ "language", "channel", "format", "id", "refusal" });
        QTest::newRow("std 7FF") << 0 << "ch1" << 0 << "7FF"
                                 << "";
        QTest::newRow("std 800") << 0 << "ch1" << 0 << "800"
                                 << "警告|发送失败，标准帧ID范围为0~0x7FF！";
        QTest::newRow("ext 1FFFFFFF") << 0 << "ch2" << 1 << "1FFFFFFF"
                                      << "";
        QTest::newRow("ext 20000000") << 0 << "ch1" << 1 << "20000000"
                                      << "警告|发送失败，扩展帧ID范围为0~0x1FFFFFFF！";
        QTest::newRow("en ext") << 2 << "ch2" << 1 << "20000000"
                                << "warning|Sending failed, expanding frame ID range from 0 to 0x1FFFFFFFF!";
        QTest::newRow("en closed channel") << 2 << "ch2" << 0 << "1"
                                           << "warning|Channel 2 is not open!";
    }
    void identifierRange()
    {
        QFETCH(int, language);
        QFETCH(QString, channel);
        QFETCH(int, format);
        QFETCH(QString, id);
        QFETCH(QString, refusal);
        if (!refusal.endsWith("not open!"))
            openBothChannels();
        setLanguageCode(language);
        find<QComboBox>(channel + "FrameTypeCombo")->setCurrentIndex(format);
        find<QLineEdit>(channel + "SendIDEdit")->setText(id);
        find<QPushButton>(channel + "SendBtn")->setEnabled(true);
        click(w, channel + "SendBtn");
        QCOMPARE(shownBox(), refusal);
        if (refusal.isEmpty())
            QTRY_COMPARE_WITH_TIMEOUT(model()->rowCount(), 2, 3000);
        else
            QVERIFY(!w->sender(channel == "ch2")->isRunning() && find<QPushButton>(channel + "SendBtn")->isEnabled());
        if (refusal.endsWith("not open!"))
            QVERIFY(find<QTextEdit>("logEdit")->toPlainText().endsWith("Channel 2 is not open!"));
    }

    void protocolLengthAndData()
    {
        auto *protocol = find<QComboBox>("ch1ProtocolCombo");
        auto *len = find<QComboBox>("ch1sendLenCombo");
        auto *items = qobject_cast<QStandardItemModel *>(len->model());
        auto enabled = [items](int row) { return items->item(row)->isEnabled(); };
        protocol->setCurrentIndex(1);
        QVERIFY(enabled(15));
        len->setCurrentIndex(15);
        QCOMPARE(len->currentText(), QString("64"));
        protocol->setCurrentIndex(0); // classic: back to 8, the longer lengths greyed
        QCOMPARE(len->currentText(), QString("8"));
        QVERIFY(enabled(8) && !enabled(9) && !enabled(15));
        // A remote frame is CAN only, and the protocol stays locked until a data frame is chosen.
        protocol->setCurrentIndex(2);
        find<QComboBox>("ch1FrameDataCombo")->setCurrentIndex(1);
        QVERIFY(protocol->currentIndex() == 0 && !protocol->isEnabled());
        find<QComboBox>("ch1FrameDataCombo")->setCurrentIndex(0);
        QVERIFY(protocol->isEnabled());
    }

    void keepSendingUntilStopped()
    {
        openBothChannels();
        find<QLineEdit>("ch1SendCountEdit")->setText("-1");
        find<QLineEdit>("ch1SendInvEdit")->setText("5");
        click(w, "ch1SendBtn");
        QCOMPARE(enabledOf(w, { "ch1SendBtn", "ch1StopSendBtn", "ch1SendIDEdit" }), QString("010"));
        QTRY_VERIFY_WITH_TIMEOUT(label("labelCh1TxCount").toInt() >= 20, 5000);
        click(w, "ch1StopSendBtn");
        QTRY_COMPARE_WITH_TIMEOUT(
            enabledOf(w, { "ch1SendBtn", "ch1StopSendBtn", "ch1SendIDEdit" }), QString("101"), 3000);
        QVERIFY(find<QTextEdit>("logEdit")->toPlainText().contains("通道1数据中止发送！"));
    }

    // The channel is reset and opened again while an endless send sleeps
    // between batches; the send goes on, so its panel must stay locked.
    void reopenDuringEndlessSend()
    {
        openBothChannels();
        find<QLineEdit>("ch1SendCountEdit")->setText("-1");
        find<QLineEdit>("ch1SendInvEdit")->setText("300");
        click(w, "ch1SendBtn");
        QTRY_VERIFY(label("labelCh1TxCount").toInt() >= 1);
        QVERIFY(
            resetChannel(0) && setCanFdStandard(0, 0) && setBaudRate(0, 0, 0) && initChannel(0, 0) && startChannel(0));
        w->channelsOpened(true, false);
        QVERIFY(w->sender(0)->isRunning());
        QCOMPARE(enabledOf(w, { "ch1SendBtn", "ch1StopSendBtn", "ch1SendIDEdit" }), QString("010"));
        QTRY_VERIFY_WITH_TIMEOUT(label("labelCh1TxCount").toInt() >= 2, 3000); // still sending after the reopen
        click(w, "ch1StopSendBtn");
        QTRY_COMPARE_WITH_TIMEOUT(
            enabledOf(w, { "ch1SendBtn", "ch1StopSendBtn", "ch1SendIDEdit" }), QString("101"), 3000);
    }

    void listLimitKeepsNewestRows()
    {
        m_window.reset();
        m_folder->write("config/setdb.txt", "listCount,10");
        startWindow(m_window);
        w = m_window.get();
        QList<ModelItem> batch;
        for (int i = 0; i < 25; ++i)
            batch << frame(0, 1, QString("0x%1").arg(i, 3, 16, QChar('0')));
        appendPendingFrames(batch);
        QTRY_COMPARE(label("labelCh1RxCount"), QString("25"));
        QCOMPARE(model()->rowCount(), 10);
        QCOMPARE(model()->cellText(0, 0) + ' ' + model()->cellText(9, 0), QString("16 25"));
        appendPendingFrames({ frame(1, 0, "0x7FF") });
        QTRY_COMPARE(label("labelCh2TxCount"), QString("1"));
        QCOMPARE(model()->rowCount(), 10);
        QCOMPARE(model()->cellText(9, 5), QString("0x7FF"));
    }

    // Frames that are saved but pushed out of the table by the list limit (or
    // rejected by a filter on the index column) keep their own numbers in the
    // capture file.
    void captureNumbersFramesBeyondTheList_data()
    {
        columns<int, QStringList, QStringList, QStringList>({ "mode", "indexFilter", "saved", "shown" });
        QTest::newRow("no filter") << 0 << QStringList() << QStringList { "1", "2", "3", "4", "5", "6", "7" }
                                   << QStringList { "5", "6", "7" };
        QTest::newRow("index filter, all saved")
            << 0 << QStringList { "2", "6" } << QStringList { "1", "2", "3", "4", "5", "6", "7" }
            << QStringList { "2", "6" };
        QTest::newRow("index filter, filtered saved")
            << 1 << QStringList { "2", "6" } << QStringList { "2", "6" } << QStringList { "2", "6" };
    }
    void captureNumbersFramesBeyondTheList()
    {
        QFETCH(int, mode);
        QFETCH(QStringList, indexFilter);
        QFETCH(QStringList, saved);
        QFETCH(QStringList, shown);
        m_window.reset();
        m_folder->write("config/setdb.txt", "listCount,3");
        startWindow(m_window);
        w = m_window.get();
        if (!indexFilter.isEmpty())
            model()->setFilter(0, indexFilter);
        const QString path = m_folder->path("numbered.csv");
        startCapture(path, mode);
        QList<ModelItem> batch;
        for (int i = 0; i < 5; ++i)
            batch << frame(0, 1, QString("0x%1").arg(i, 3, 16, QChar('0')));
        appendPendingFrames(batch);
        QTRY_COMPARE(label("labelCh1RxCount"), QString("5"));
        appendPendingFrames({ frame(1, 1, "0x005"), frame(1, 1, "0x006") });
        QTRY_COMPARE(label("labelCh2RxCount"), QString("2"));
        setTicked(find<QCheckBox>("checkBox"), false);
        QStringList savedIndexes;
        for (const QString &line : fileLines(path).mid(1))
            savedIndexes << line.section(',', 0, 0);
        QCOMPARE(savedIndexes, saved);
        QStringList shownIndexes;
        for (int r = 0; r < model()->rowCount(); ++r)
            shownIndexes << model()->cellText(r, 0);
        QCOMPARE(shownIndexes, shown);
        // Number 6 is the second tick's first frame.
        QCOMPARE(fileLines(path).value(saved.indexOf("6") + 1).section(',', 5, 5), QString("0x005"));
    }

    // Rows arriving at the bottom of the list cost the table one repaint per
    // tick, and none while the window is minimised.
    void oneRepaintPerTick()
    {
        QWidget *viewport = find<QTableView>("tableView")->viewport();
        QVERIFY(QTest::qWaitForWindowExposed(w));
        QList<ModelItem> batch;
        for (int i = 0; i < 300; ++i)
            batch << frame(0, 1, QString("0x%1").arg(i, 3, 16, QChar('0')));
        appendPendingFrames(batch);
        QTRY_COMPARE(label("labelCh1RxCount"), QString("300"));
        QTest::qWait(50);
        PaintCounter paints(viewport);
        appendPendingFrames(batch);
        QTRY_COMPARE(label("labelCh1RxCount"), QString("600"));
        QTest::qWait(300); // two more ticks with nothing new
        QCOMPARE(paints.count, 1);
        w->showMinimized();
        QTest::qWait(50);
        paints.count = 0;
        appendPendingFrames(batch);
        QTRY_COMPARE(label("labelCh1RxCount"), QString("900"));
        QTest::qWait(300);
        QCOMPARE(paints.count, 0);
        QCOMPARE(model()->rowCount(), 900);
        w->showNormal(); // and drawn again when it comes back
        QTRY_VERIFY(paints.count > 0);
    }

    void pauseMergeAndClear()
    {
        find<QCheckBox>("pauseCheck")->setChecked(true);
        appendPendingFrames({ frame(0, 1, "0x100"), frame(0, 1, "0x101") });
        QTRY_COMPARE(label("labelCh1RxCount"), QString("2")); // counted while paused, not shown
        QCOMPARE(model()->rowCount(), 0);
        find<QCheckBox>("pauseCheck")->setChecked(false);
        child<QAction>(w, "actionMerge")->trigger();
        QCOMPARE(SettingsStore::value("merge"), QString("1"));
        appendPendingFrames({ frame(0, 1, "0x100", "x| 01 "), frame(0, 1, "0x100", "x| 02 "), frame(0, 0, "0x100"),
            frame(1, 1, "0x100") });
        QTRY_COMPARE(label("labelCh1RxCount"), QString("4"));
        QCOMPARE(model()->rowCount(), 3);
        QCOMPARE(model()->cellText(0, 10), QString("x| 02 "));
        QCOMPARE(model()->cellText(0, 0), QString("2")); // merge on cleared the list and its numbering
        click(w, "cleanListBtn");
        QCOMPARE(model()->rowCount(), 0);
        appendPendingFrames({ frame(0, 1, "0x200") });
        QTRY_COMPARE(model()->rowCount(), 1);
        QCOMPARE(model()->cellText(0, 0), QString("1"));
        click(w, "pushButton");
        QCOMPARE(label("labelCh1RxCount"), QString("0"));
    }

    void siftSearch_data()
    {
        columns<bool, bool, QStringList>({ "caseSensitive", "whole", "listed" });
        QTest::newRow("neither") << false << false << QStringList { "xAbx", "ab", "AB", "abx" };
        QTest::newRow("whole only") << false << true << QStringList { "ab", "AB" };
        QTest::newRow("case only") << true << false << QStringList { "ab", "abx" };
        QTest::newRow("both") << true << true << QStringList { "ab" };
    }
    void siftSearch()
    {
        QFETCH(bool, caseSensitive);
        QFETCH(bool, whole);
        SiftDialog *sift = w->siftDialog();
        sift->fill({ "xAbx", "ab", "AB", "zz", "abx" }, 5);
        child<QCheckBox>(sift, "caseCheck")->setChecked(caseSensitive);
        child<QCheckBox>(sift, "wholeCheck")->setChecked(whole);
        QTest::keyClicks(child<QLineEdit>(sift, "searchEdit"), "ab");
        QStringList shown;
        for (QCheckBox *box : sift->valueBoxes())
            shown << box->text();
        QTEST(shown, "listed");
        QVERIFY2(child<QListWidget>(sift, "listWidget")->item(0)->isHidden(), "the all row hides while searching");
    }

    void siftFiltersTheTable()
    {
        appendPendingFrames({ frame(0, 1, "0x100"), frame(0, 1, "0x101"), frame(0, 1, "0x100"), frame(0, 1, "0x102") });
        QTRY_COMPARE(model()->rowCount(), 4);
        QCOMPARE(w->distinctValues(5), QStringList({ "0x100", "0x101", "0x102" }));
        w->openSiftFor(5, QPoint(10, 10));
        SiftDialog *sift = w->siftDialog();
        QVERIFY(sift->isVisible());
        QCOMPARE(sift->allBox()->text(), QString("全部"));
        sift->allBox()->setChecked(true);
        QCOMPARE(sift->selection().size(), 3);
        sift->valueBoxes().at(1)->setChecked(false); // untick 0x101
        QVERIFY(!sift->allBox()->isChecked() && sift->valueBoxes().at(0)->isChecked()
            && sift->valueBoxes().at(2)->isChecked());
        click(sift, "btnConfirm");
        QCOMPARE(model()->header().at(5), QString("ID*"));
        auto *view = find<QTableView>("tableView");
        QVERIFY(view->isRowHidden(1) && !view->isRowHidden(2));
        appendPendingFrames({ frame(0, 1, "0x101"), frame(0, 1, "0x102") });
        QTRY_COMPARE(label("labelCh1RxCount"), QString("6"));
        QCOMPARE(model()->rowCount(), 5); // the 0x101 frame is counted, not shown
        click(w, "pushButton_2");
        QVERIFY(model()->header().at(5) == "ID" && !view->isRowHidden(1));
    }

    void liveCapture_data()
    {
        columns<int, QStringList>({ "mode", "filter" });
        QTest::newRow("all rows") << 0 << QStringList();
        QTest::newRow("all rows, filter on") << 0 << QStringList { "0x100", "0x102" };
        QTest::newRow("filtered rows") << 1 << QStringList { "0x100", "0x102" };
    }
    void liveCapture()
    {
        QFETCH(int, mode);
        QFETCH(QStringList, filter);
        if (!filter.isEmpty())
            model()->setFilter(5, filter);
        const QString path = m_folder->path("capture.csv");
        startCapture(path, mode);
        QVERIFY(find<QCheckBox>("checkBox")->isChecked());
        appendPendingFrames({ frame(0, 1, "0x100"), frame(1, 0, "0x101", "x| ") });
        QTRY_COMPARE(label("labelCh1RxCount"), QString("1"));
        find<QCheckBox>("pauseCheck")->setChecked(true);
        appendPendingFrames({ frame(0, 1, "0x102") });
        QTRY_COMPARE(label("labelCh1RxCount"), QString("2"));
        setTicked(find<QCheckBox>("checkBox"), false); // capture off: file closed
        const QStringList lines = fileLines(path);
        const bool filtered = !filter.isEmpty();
        QCOMPARE(lines.value(0),
            QString(filtered ? "序号,系统时间,时间标识,通道,收/发,ID*,Frame,类型,DLC,CAN-FD,数据"
                             : "序号,系统时间,时间标识,通道,收/发,ID,Frame,类型,DLC,CAN-FD,数据"));
        QCOMPARE(lines.size(), mode ? 3 : 4);
        for (int r = 0; r < model()->rowCount(); ++r) { // line by line what the table shows
            QStringList cells;
            for (int c = 0; c < 11; ++c)
                cells << (c == 1 ? "=\"" + model()->cellText(r, c) + '"' : model()->cellText(r, c));
            QCOMPARE(lines.at(r + 1), cells.join(','));
        }
        QVERIFY2(lines.last().endsWith(",0x102,标准帧,数据帧,1,CAN,x| 01 "), "a paused display keeps capturing");
    }

    // A typed path is opened without truncation: the header goes at the start
    // and the rows overwrite the old content from there; a path that cannot be
    // opened loses the rows without a word.
    void liveCaptureIntoExistingFile_data()
    {
        columns<QString>({ "file" });
        QTest::newRow("longer old file") << "old.csv";
        QTest::newRow("cannot be opened") << "missing/x.csv";
    }
    void liveCaptureIntoExistingFile()
    {
        QFETCH(QString, file);
        const QString path = m_folder->path(file);
        const QByteArray old = "old header\n" + QByteArray(400, 'o') + "\nold tail\n";
        writeFile(path, old);
        const QString log = find<QTextEdit>("logEdit")->toPlainText();
        startCapture(path, 0);
        QVERIFY(find<QCheckBox>("checkBox")->isChecked());
        appendPendingFrames({ frame(0, 1, "0x100") });
        QTRY_COMPARE(label("labelCh1RxCount"), QString("1"));
        setTicked(find<QCheckBox>("checkBox"), false);
        QVERIFY(Prompt::shown().isEmpty());
        QCOMPARE(find<QTextEdit>("logEdit")->toPlainText(), log);
        if (!QFileInfo(path).dir().exists())
            return;
        const QByteArray written = "序号,系统时间,时间标识,通道,收/发,ID,Frame,类型,DLC,CAN-FD,数据\n1,=\""
            + model()->cellText(0, 1).toUtf8() + "\",0x10,1,Rx,0x100,标准帧,数据帧,1,CAN,x| 01 \n";
        const QByteArray now = readFile(path);
        QCOMPARE(now.left(written.size()), written);
        QCOMPARE(now.mid(written.size()), old.mid(written.size()));
    }

    // The file send dialog's count -1 replays the file until it is stopped.
    void fileSendUntilStopped()
    {
        openBothChannels();
        const QString csv = m_folder->path("frames.csv");
        writeFile(csv,
            "序号,系统时间,时间标识,通道,收/发,ID,Frame,类型,DLC,CAN-FD,数据\n"
            "1,=\"09:15:02.317\",0x1A2B3C,1,Tx,0x123,标准帧,数据帧,2,CAN,x| 11 22 \n"
            "2,=\"09:15:02.318\",0x1A2B3D,1,Tx,0x124,标准帧,数据帧,2,CAN,x| 33 44 \n");
        fileDlg *dlg = w->fileSendDialog();
        dlg->show();
        child<QLineEdit>(dlg, "lineEdit")->setText(csv);
        child<QComboBox>(dlg, "comboBox")->setCurrentIndex(0);
        child<QComboBox>(dlg, "comboBox_2")->setCurrentIndex(0);
        child<QSpinBox>(dlg, "spinBox_2")->setValue(5);
        auto *count = child<QSpinBox>(dlg, "spinBox");
        count->setValue(1);
        QTest::keyClick(count, Qt::Key_Down);
        QTest::keyClick(count, Qt::Key_Down);
        QTest::keyClick(count, Qt::Key_Down);
        QCOMPARE(count->value(), -1);
        click(dlg, "pbSend");
        QCOMPARE(SettingsStore::value("sendFileCnt"), QString("-1"));
        QTRY_VERIFY_WITH_TIMEOUT(label("labelCh1TxCount").toInt() > 6, 5000); // more passes than one
        QVERIFY(w->sender(0)->isRunning());
        click(dlg, "pbStop");
        QTRY_VERIFY_WITH_TIMEOUT(!w->sender(0)->isRunning(), 3000);
        QTRY_VERIFY(find<QTextEdit>("logEdit")->toPlainText().endsWith("文件中止发送！"));
        QCOMPARE(enabledOf(dlg, { "spinBox", "pbSend", "pbStop" }), QString("110"));
        QTRY_COMPARE(enabledOf(w, { "ch1SendBtn", "ch1StopSendBtn", "ch2SendBtn" }), QString("101"));
    }
};

class SideDialogsTest : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> m_dir;
    QString storePath() const { return m_dir->filePath("config/setdb.txt"); }
    static QString rowText(QTableWidget *table, int row)
    {
        QStringList cells;
        for (int c = 0; c < table->columnCount(); ++c)
            cells << table->item(row, c)->text();
        return cells.join('|');
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QDir(m_dir->path()).mkpath("config");
        SettingsStore::load(storePath());
        FileDialogs::queueAnswersForTests({});
    }
    void cleanup() { switchLanguage(0); }

    void dataEditor_data()
    {
        // action: "edit <column> <text>" or "click <column>..."; row: row 1 afterwards; for no edit, all rows joined by
        // " / "
        columns<QByteArray, QString, QString>({ "bytes", "action", "row" });
        QTest::newRow("fill: no leading zeros, bit 7 first")
            << QByteArray("\x00\x07\xab", 3) << ""
            << "0|0|0|0|0|0|0|0|0|0 / 7|7|0|0|0|0|0|1|1|1 / AB|171|1|0|1|0|1|0|1|1";
        QTest::newRow("zero rows") << QByteArray() << ""
                                   << "";
        QTest::newRow("hex 1FF keeps the low byte") << QByteArray("\x11\x22", 2) << "edit 0 1FF"
                                                    << "FF|255|1|1|1|1|1|1|1|1";
        QTest::newRow("decimal 300 wraps to 44") << QByteArray("\x11\x22", 2) << "edit 1 300"
                                                 << "2C|44|0|0|1|0|1|1|0|0";
        QTest::newRow("hex not a number") << QByteArray("\x11\x22", 2) << "edit 0 zz"
                                          << "0|0|0|0|0|0|0|0|0|0";
        QTest::newRow("column 2 is bit 7") << QByteArray("\x00\x00", 2) << "click 2"
                                           << "80|128|1|0|0|0|0|0|0|0";
        QTest::newRow("column 9 is bit 0, two clicks restore") << QByteArray("\x00\xff", 2) << "click 9 5 5"
                                                               << "FE|254|1|1|1|1|1|1|1|0";
        QTest::newRow("data columns do not flip") << QByteArray("\x00\x3c", 2) << "click 0 1"
                                                  << "3C|60|0|0|1|1|1|1|0|0";
    }
    void dataEditor()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, action);
        QFETCH(QString, row);
        DataDlg dlg(reinterpret_cast<const uint8_t *>(bytes.constData()), bytes.size());
        dlg.show();
        QVERIFY(QTest::qWaitForWindowActive(&dlg));
        auto *table = child<QTableWidget>(&dlg, "tableWidget");
        QCOMPARE(child<QLabel>(&dlg, "labelLength")->text(), QString::number(bytes.size()));
        QSignalSpy changes(table, &QTableWidget::itemChanged);
        const QStringList a = action.split(' ');
        if (a[0] == "edit") {
            table->setFocus();
            table->setCurrentCell(1, a[1].toInt());
            QTest::keyClick(table, Qt::Key_F2);
            auto *editor = qobject_cast<QLineEdit *>(QApplication::focusWidget());
            QVERIFY(editor);
            editor->selectAll();
            QTest::keyClicks(editor, a[2]);
            QTest::keyClick(editor, Qt::Key_Return);
            QTRY_COMPARE_WITH_TIMEOUT(rowText(table, 1), row, 2000);
            QCOMPARE(changes.count(), 1); // only the user's own edit, not the refill of the row
        } else if (a[0] == "click") {
            for (const QString &column : a.mid(1))
                QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                    table->visualItemRect(table->item(1, column.toInt())).center());
            QCOMPARE(rowText(table, 1), row);
        } else {
            QStringList rows;
            for (int r = 0; r < table->rowCount(); ++r)
                rows << rowText(table, r);
            QCOMPARE(rows.join(" / "), row);
        }
        QCOMPARE(dlg.result().size(), bytes.size());
        if (bytes.size() > 1) {
            QCOMPARE(dlg.result().at(0), bytes.at(0));
            QCOMPARE(uint8_t(dlg.result().at(1)), uint8_t(rowText(table, 1).section('|', 1, 1).toUInt()));
        }
    }

    void fileSendDialog_data()
    {
        // restored: path|channel text|count|mode|interval; interval: sent
        columns<QByteArray, QString, int, int>({ "stored", "restored", "mode", "interval" });
        QTest::newRow("fresh, fixed interval on ch2") << QByteArray() << "|ch1|1|0|0" << 0 << 250;
        QTest::newRow("stored file timing sends -1")
            << QByteArray("sendFile,/data/run.csv;sendFileCH,2;sendFileCnt,5;sendFileJG,1;sendFileJGT,40")
            << "/data/run.csv|随文件|5|1|40" << 1 << -1;
    }
    void fileSendDialog()
    {
        QFETCH(QByteArray, stored);
        QFETCH(int, mode);
        QFETCH(int, interval);
        if (!stored.isEmpty()) {
            QVERIFY(writeFile(storePath(), stored));
            SettingsStore::load(storePath());
        }
        fileDlg dlg;
        dlg.show();
        auto *path = child<QLineEdit>(&dlg, "lineEdit");
        auto *spacing = child<QSpinBox>(&dlg, "spinBox_2");
        QTEST(QStringList({ path->text(), child<QComboBox>(&dlg, "comboBox")->currentText(),
                              QString::number(child<QSpinBox>(&dlg, "spinBox")->value()),
                              QString::number(child<QComboBox>(&dlg, "comboBox_2")->currentIndex()),
                              QString::number(spacing->value()) })
                  .join('|'),
            "restored");
        QCOMPARE(spacing->isEnabled(), mode == 0);
        // Browse: a choice fills the field, a cancelled one empties it.
        FileDialogs::queueAnswersForTests({ m_dir->filePath("frames.csv") });
        click(&dlg, "pbfile");
        QCOMPARE(path->text(), m_dir->filePath("frames.csv"));
        child<QComboBox>(&dlg, "comboBox")->setCurrentIndex(1);
        child<QSpinBox>(&dlg, "spinBox")->setValue(3);
        spacing->setValue(250);
        QSignalSpy sent(&dlg, &fileDlg::send);
        QCOMPARE(countWrites(storePath(), [&] { click(&dlg, "pbSend"); }), 1);
        QCOMPARE(sent.value(0), QVariantList({ m_dir->filePath("frames.csv"), 3, interval, 1 }));
        QCOMPARE(fileLines(storePath()).value(0),
            QString("sendFile,%1;sendFileCH,1;sendFileCnt,3;sendFileJG,%2;sendFileJGT,250")
                .arg(m_dir->filePath("frames.csv"))
                .arg(mode));
        const QStringList fields
            = { "lineEdit", "pbfile", "comboBox", "spinBox", "comboBox_2", "spinBox_2", "pbSend", "pbStop" };
        QCOMPARE(enabledOf(&dlg, fields), QString("00000001"));
        dlg.setIdle();
        QCOMPARE(enabledOf(&dlg, fields), QString(mode ? "11111010" : "11111110"));
        FileDialogs::queueAnswersForTests({ QString() });
        click(&dlg, "pbfile");
        QCOMPARE(path->text(), QString());
    }

    // Every text shows whole and no dialog is taller than its fields and
    // buttons, in each language and at twice the usual DPI.
    void dialogsFitTheirContents_data()
    {
        columns<int, qreal>({ "language", "dpi" });
        for (int code : { 0, 1, 2 })
            for (qreal dpi : { 96.0, 192.0 })
                QTest::addRow("language %d, %g dpi", code, dpi) << code << dpi;
    }
    void dialogsFitTheirContents()
    {
        QFETCH(int, language);
        QFETCH(qreal, dpi);
        fileDlg file;
        savefileDlg save;
        ParaDialog para(true, true, 3);
        const QList<QDialog *> dialogs { &file, &save, &para };
        for (QDialog *dlg : dialogs) {
            dlg->show();
            QVERIFY(QTest::qWaitForWindowExposed(dlg));
        }
        switchLanguage(language); // shown first in Simplified Chinese, as after start-up
        if (dpi != 96.0)
            emit QGuiApplication::primaryScreen()->logicalDotsPerInchChanged(dpi);
        for (QDialog *dlg : dialogs) {
            dlg->layout()->activate();
            QCOMPARE(dlg->height(), dlg->minimumSizeHint().height());
            for (QWidget *c : dlg->findChildren<QWidget *>()) {
                if (!c->isVisible()
                    || !(qobject_cast<QComboBox *>(c) || qobject_cast<QLabel *>(c)
                        || qobject_cast<QAbstractButton *>(c)))
                    continue;
                QVERIFY2(c->width() >= c->sizeHint().width(), qPrintable(dlg->objectName() + '.' + c->objectName()));
                if (auto *combo = qobject_cast<QComboBox *>(c)) { // its longest item, measured afresh
                    int text = 0;
                    for (int i = 0; i < combo->count(); ++i)
                        text = qMax(text, combo->fontMetrics().boundingRect(combo->itemText(i)).width());
                    QStyleOptionComboBox option;
                    option.initFrom(combo);
                    const QSize need = combo->style()->sizeFromContents(
                        QStyle::CT_ComboBox, &option, QSize(text, combo->height()), combo);
                    QVERIFY2(combo->width() >= need.width(), qPrintable(dlg->objectName() + '.' + c->objectName()));
                }
            }
        }
    }

    void captureDialog_data()
    {
        // answers: browse answers, relative to the folder; "" cancels
        columns<QStringList, bool, bool, QString>({ "answers", "ok", "hint", "field" });
        QTest::newRow("new file") << QStringList { "new.csv" } << true << false << "new.csv";
        QTest::newRow("existing file truncated") << QStringList { "old.csv" } << true << false << "old.csv";
        QTest::newRow("unwritable folder") << QStringList { "missing/x.csv" } << false << true << "missing/x.csv";
        QTest::newRow("good path after a bad one")
            << QStringList { "missing/x.csv", "new.csv" } << true << false << "new.csv";
        QTest::newRow("cancelled browse changes nothing") << QStringList { "" } << true << false << "typed.csv";
        QTest::newRow("cancel after browse") << QStringList { "new.csv" } << false << false << "new.csv";
    }
    void captureDialog()
    {
        QFETCH(QStringList, answers);
        QFETCH(bool, ok);
        QFETCH(bool, hint);
        QFETCH(QString, field);
        QVERIFY(writeFile(m_dir->filePath("old.csv"), "1,=\"10:00:00.000\",rows from last time\n"));
        savefileDlg dlg;
        dlg.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dlg));
        child<QLineEdit>(&dlg, "lineEdit")->setText(m_dir->filePath("typed.csv"));
        for (const QString &a : answers) {
            FileDialogs::queueAnswersForTests({ a.isEmpty() ? QString() : m_dir->filePath(a) });
            click(&dlg, "pbBrowse");
        }
        QCOMPARE(child<QLineEdit>(&dlg, "lineEdit")->text(), m_dir->filePath(field));
        QCOMPARE(child<QLabel>(&dlg, "labelHint")->isVisible(), hint);
        const QFileInfo target(
            m_dir->filePath(field)); // a chosen file is created empty at once; a typed one is not touched
        QCOMPARE(target.exists() ? target.size() : -1, field == "typed.csv" || hint ? -1 : 0);
        child<QComboBox>(&dlg, "comboBox")->setCurrentIndex(1);
        click(&dlg, ok ? "pbOk" : "pbCancel");
        QVERIFY(!dlg.isVisible());
        QCOMPARE(dlg.path(), ok ? m_dir->filePath(field) : QString());
        QCOMPARE(dlg.mode(), ok ? 1 : 0);
    }
};

// The frame table's own drawing against the standard table's.
class FrameTableTest : public QObject {
    Q_OBJECT

private slots:
    // Every pixel as the standard view and delegate draw it: texts that fit,
    // texts the standard path wraps or elides, mixed scripts, a selected row,
    // a hidden row (the grid skips it), a partial repaint, a style that tints
    // every cell (plain cells then need the style).
    void drawnAsTheStandardTable_data()
    {
        columns<QStringList, bool>({ "texts", "tinted" });
        QTest::newRow("fitting") << QStringList { "1", "12:00:00.123", "0x00000123", "Rx", "x| 00 11 22 " } << false;
        QTest::newRow("mixed scripts") << QStringList { "2", "无", "扩展帧", "數據幀", "CANFD-加速" } << false;
        QTest::newRow("too wide") << QStringList { "1234567890123456", "12:00:00.123 12:00:00.123", "0x1FFFFFFF",
            "Extended Frame", "x| 00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF 00 11 22 33 44 55 66 77 " }
                                  << false;
        QTest::newRow("wide word") << QStringList { "x", "y", "z", "w", QString(80, QChar('0')) } << false;
        QTest::newRow("tinted cells") << QStringList { "1", "12:00:00.123", "0x00000123", "Rx", "x| 00 " } << true;
    }
    void drawnAsTheStandardTable()
    {
        QFETCH(QStringList, texts);
        QFETCH(bool, tinted);
        TintedCellsStyle tint;
        QStandardItemModel model(6, texts.size());
        for (int r = 0; r < model.rowCount(); ++r)
            for (int c = 0; c < texts.size(); ++c)
                model.setItem(r, c, new QStandardItem(r % 2 ? texts.at(c) : texts.at(texts.size() - 1 - c)));
        QTableView standard;
        FrameTableView ours;
        for (QTableView *view : { &standard, static_cast<QTableView *>(&ours) }) {
            setUpLikeFrameList(view, &model);
            for (int c = 0; c + 1 < texts.size(); ++c)
                view->setColumnWidth(c, 90);
            view->setRowHidden(2, true);
            view->selectRow(4);
            if (tinted)
                view->setStyle(&tint);
            view->show();
        }
        QVERIFY(QTest::qWaitForWindowExposed(&ours));
        const QImage expected = standard.viewport()->grab().toImage();
        QCOMPARE(ours.viewport()->grab().toImage(), expected);
        QVERIFY(ours.cellDelegate()->cachedPathUsed(&ours));
        const QRect part(37, 11, 150, 50); // crosses cells and grid lines
        QCOMPARE(ours.viewport()->grab(part).toImage(), standard.viewport()->grab(part).toImage());
    }

    // The list trimmed as the refresh tick trims it (oldest rows removed one
    // notification each, then new rows appended) ends up as the standard
    // table: the same rows hidden, the same scroll range, the same picture,
    // whether the header hears of the removals at once or merged.
    void trimmedAsTheStandardTable_data()
    {
        columns<QList<int>, int, QList<int>>({ "hidden", "removed", "steps" });
        // steps: > 0 append that many rows, < 0 remove row -n (not the top), 0 wait for the event loop
        QTest::newRow("none hidden") << QList<int> {} << 30 << QList<int> { 30 };
        QTest::newRow("hidden rows move up") << QList<int> { 0, 3, 31, 32, 59 } << 30 << QList<int> { 30 };
        QTest::newRow("all of the rows") << QList<int> { 40 } << 60 << QList<int> { 5 };
        QTest::newRow("only removed") << QList<int> { 35 } << 12 << QList<int> {};
        QTest::newRow("a middle row after the run") << QList<int> { 20, 45 } << 10 << QList<int> { -7, 4 };
        QTest::newRow("event loop between runs") << QList<int> { 25 } << 10 << QList<int> { 0, 3 };
    }
    void trimmedAsTheStandardTable()
    {
        QFETCH(QList<int>, hidden);
        QFETCH(int, removed);
        QFETCH(QList<int>, steps);
        QStandardItemModel model(0, 3);
        int made = 0;
        auto row = [&made] {
            QList<QStandardItem *> items;
            for (int c = 0; c < 3; ++c)
                items << new QStandardItem(QString("%1-%2").arg(made).arg(c));
            ++made;
            return items;
        };
        for (int r = 0; r < 60; ++r)
            model.appendRow(row());
        QTableView standard;
        FrameTableView ours;
        for (QTableView *view : { &standard, static_cast<QTableView *>(&ours) }) {
            setUpLikeFrameList(view, &model);
            for (int r : qAsConst(hidden))
                view->setRowHidden(r, true);
            view->show();
        }
        QVERIFY(QTest::qWaitForWindowExposed(&ours));
        for (int i = 0; i < removed; ++i)
            model.removeRow(0);
        for (int step : qAsConst(steps)) {
            if (step > 0) {
                for (int i = 0; i < step; ++i)
                    model.appendRow(row());
            } else if (step < 0) {
                model.removeRow(-step);
            } else {
                QCoreApplication::processEvents();
                for (int i = 0; i < 5; ++i)
                    model.removeRow(0);
            }
        }
        for (QTableView *view : { &standard, static_cast<QTableView *>(&ours) })
            view->scrollToBottom();
        QCoreApplication::processEvents(); // as before the next paint
        QCOMPARE(ours.verticalHeader()->count(), model.rowCount());
        QCOMPARE(ours.verticalScrollBar()->maximum(), standard.verticalScrollBar()->maximum());
        for (int r = 0; r < model.rowCount(); ++r)
            QVERIFY2(ours.isRowHidden(r) == standard.isRowHidden(r), qPrintable(QString("row %1").arg(r)));
        QCOMPARE(ours.rowViewportPosition(model.rowCount() - 1), standard.rowViewportPosition(model.rowCount() - 1));
        QCOMPARE(ours.viewport()->grab().toImage(), standard.viewport()->grab().toImage());
    }

    // However many distinct texts pass, the cache keeps at most its limit.
    void cacheBounded()
    {
        const int n = FrameCellDelegate::kCacheLimit * 2 + 100;
        QStandardItemModel model(n, 1);
        for (int r = 0; r < n; ++r)
            model.setItem(r, 0, new QStandardItem(QString::number(r)));
        FrameTableView view;
        setUpLikeFrameList(&view, &model);
        QImage image(200, 30, QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&image);
        QStyleOptionViewItem option;
        option.initFrom(&view);
        option.widget = &view;
        option.rect = QRect(0, 0, 200, 30);
        option.showDecorationSelected = true;
        option.displayAlignment = Qt::AlignLeft | Qt::AlignVCenter;
        for (int r = 0; r < n; ++r) {
            view.cellDelegate()->paint(&painter, option, model.index(r, 0));
            QVERIFY(view.cellDelegate()->cachedTexts() <= FrameCellDelegate::kCacheLimit);
        }
        QVERIFY(view.cellDelegate()->cachedPathUsed(&view));
        QVERIFY(view.cellDelegate()->cachedTexts() >= FrameCellDelegate::kCacheLimit / 2);
    }
};

OSTREL_TEST_MAIN(QApplication, new MainWindowTest, new PanelsTest, new SideDialogsTest, new FrameTableTest)
#include "tst_window.moc"
