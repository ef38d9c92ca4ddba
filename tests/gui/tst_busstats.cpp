// The bus statistics window on the simulated adapter: opened from the
// information menu in every language, its figures and chart after a known
// burst sent from the send panel, peak and reset, error frames and lost
// frames injected into the simulator, exports, and the counting switched off
// while it is closed.
#include "BusStatsWindow.h"
#include "BusTally.h"
#include "FileDialogs.h"
#include "MainWindow.h"
#include "RuntimeFolder.h"
#include "TestKit.h"

#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>

using Row = BusStatsWindow::Row;

class BusStatsTest : public QObject {
    Q_OBJECT
    std::unique_ptr<RuntimeFolder> m_folder;
    std::unique_ptr<MainWindow> m_window;
    MainWindow *w = nullptr;
    BusStatsWindow *stats = nullptr;

    void openBothChannels(uint32_t arbitration, uint32_t data)
    {
        QVERIFY(openDevice(41, 0, 0));
        for (unsigned ch = 0; ch < 2; ++ch)
            QVERIFY(setCanFdStandard(ch, 0) && setBaudRate(ch, arbitration, data) && initChannel(ch, 0)
                && startChannel(ch));
        w->channelsOpened(true, true);
    }
    // Opens the window from the menu; the test takes the samples itself.
    void openStats()
    {
        w->busStatsAction()->trigger();
        stats = w->busStatsWindow();
        QVERIFY(stats && stats->isVisible());
        stats->sampleTimer()->stop();
    }
    QString value(int ch, Row row) const { return stats->valueLabel(ch, row)->text(); }
    QStringList values(int ch, std::initializer_list<Row> rows) const
    {
        QStringList out;
        for (Row r : rows)
            out << value(ch, r);
        return out;
    }
    // One interval whose counts give the channel this load at the channel's
    // arbitration rate (classic bits only).
    static void addLoad(unsigned ch, uint32_t rate, double percent)
    {
        BusTally::Counts c;
        c.arbitrationBits = uint64_t(rate * percent / 100);
        c.frames = c.classic = 1;
        BusTally::add(ch, c);
    }

private slots:
    void init()
    {
        m_folder = std::make_unique<RuntimeFolder>();
        freshProcess();
        SimControl::setNodesEnabled(false);
        m_window = std::make_unique<MainWindow>();
        w = m_window.get();
        w->show();
        QTRY_COMPARE(child<QLineEdit>(w, "ch1SendDataEdit")->text(), QString("00 11 22 33 44 55 66 77"));
    }
    void cleanup()
    {
        m_window.reset();
        stats = nullptr;
        m_folder.reset();
        switchLanguage(0);
    }

    void menuAndTexts_data()
    {
        columns<int, QString, QString, QString, QString>({ "language", "action", "title", "row", "note" });
        QTest::newRow("zh") << 0 << "总线统计(&B)"
                            << "总线统计"
                            << "总线负载率"
                            << "驱动库不报告错误帧和丢失帧（“—”）。";
        QTest::newRow("zht") << 1 << "總線統計(&B)"
                             << "總線統計"
                             << "總線負載率"
                             << "驅動庫不報告錯誤幀和丟失幀（“—”）。";
        QTest::newRow("en") << 2 << "Bus Statistics(&B)"
                            << "Bus Statistics"
                            << "Bus load"
                            << "The driver library reports no error frames and no lost frames (\"—\").";
    }
    // The action sits in the information menu before "clear log"; the DLL's
    // missing counters are shown as "—" and said in the note.
    void menuAndTexts()
    {
        QFETCH(int, language);
        QFETCH(QString, action);
        QFETCH(QString, title);
        QFETCH(QString, row);
        QFETCH(QString, note);
        switchLanguage(language);
        QMenu *info = child<QMenu>(w, "menuInfo");
        const QList<QAction *> actions = info->actions();
        const int at = actions.indexOf(w->busStatsAction());
        QVERIFY(at > 0 && actions.at(at + 1)->objectName() == "actionClearLog");
        QCOMPARE(w->busStatsAction()->text(), action);

        installDriver(simulatedDriver()); // a back-end without the extension, as the DLL
        openStats();
        QCOMPARE(stats->windowTitle(), title);
        bool titled = false;
        for (QLabel *l : stats->findChildren<QLabel *>())
            titled |= l->text() == row;
        QVERIFY(titled);
        QVERIFY2(child<QLabel>(stats, "noteLabel")->text().endsWith(note),
            qPrintable(child<QLabel>(stats, "noteLabel")->text()));
        stats->sampleNow(1000);
        QCOMPARE(values(0, { Row::Errors, Row::ErrorTotal, Row::Lost, Row::LostTotal }),
            QStringList({ "—", "—", "—", "—" }));
    }

    void knownBurst_data()
    {
        columns<int, int, int, int, QString, int, int>(
            { "protocol", "lengthIndex", "arbitration", "data", "load", "classic", "fd" });
        // 200 x 135 bits at 500 kbit/s.
        QTest::newRow("classic 8 at 500k") << 0 << 8 << 2 << 2 << "5.40 %" << 200 << 0;
        // 200 x (34 / 1M + 678 / 5M) s.
        QTest::newRow("fd 64 brs at 1M/5M") << 2 << 15 << 0 << 0 << "3.39 %" << 0 << 200;
        // 200 x 187 bits at 250 kbit/s, no bit-rate switch.
        QTest::newRow("fd 12 at 250k") << 1 << 9 << 4 << 0 << "14.96 %" << 0 << 200;
    }
    // 200 frames sent on channel 1 reach channel 2: both channels show them
    // in one interval of one second, and the chart holds the same point.
    void knownBurst()
    {
        QFETCH(int, protocol);
        QFETCH(int, lengthIndex);
        QFETCH(int, arbitration);
        QFETCH(int, data);
        QFETCH(QString, load);
        QFETCH(int, classic);
        QFETCH(int, fd);
        openBothChannels(uint32_t(arbitration), uint32_t(data));
        openStats();
        child<QComboBox>(w, "ch1ProtocolCombo")->setCurrentIndex(protocol);
        child<QComboBox>(w, "ch1sendLenCombo")->setCurrentIndex(lengthIndex);
        child<QLineEdit>(w, "ch1SendCountEdit")->setText("200");
        child<QLineEdit>(w, "ch1SendInvEdit")->setText("0");
        click(w, "ch1SendBtn");
        QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(w, "labelCh2RxCount")->text(), QString("200"), 10000);
        QTRY_COMPARE(child<QLabel>(w, "labelCh1TxCount")->text(), QString("200"));
        stats->sampleNow(1000);
        const QStringList expected { load, load, "200/s", QString("%1/s").arg(classic), QString("%1/s").arg(fd), "0/s",
            "0/s", "0/s", "0/s" };
        for (int ch = 0; ch < 2; ++ch) {
            QCOMPARE(values(ch,
                         { Row::Load, Row::Peak, Row::Frames, Row::Classic, Row::Fd, Row::Remote, Row::Extended,
                             Row::Errors, Row::Lost }),
                expected);
            QCOMPARE(stats->loadSeries(ch)->count(), 1);
            QCOMPARE(QString::number(stats->loadSeries(ch)->at(0).y(), 'f', 2) + " %", load);
            QCOMPARE(stats->rateSeries(ch)->at(0).y(), 200.0);
        }
    }

    // Peak since reset; error and lost frames injected into the simulator
    // show per interval and in the totals, which the reset button clears.
    void peakResetErrorsAndLoss()
    {
        openBothChannels(2, 2);
        openStats();
        for (double percent : { 10.0, 30.0, 20.0 }) {
            addLoad(0, 500000, percent);
            stats->sampleNow(1000);
        }
        QVERIFY(SimControl::injectErrorFrames(0, 3));
        QVERIFY(SimControl::injectOverflows(1, 2));
        stats->sampleNow(1000);
        QVERIFY(SimControl::injectErrorFrames(0, 4));
        addLoad(0, 500000, 20.0);
        stats->sampleNow(500); // half a second: the same bits are twice the load
        QCOMPARE(values(0, { Row::Load, Row::Peak, Row::Errors, Row::ErrorTotal, Row::Lost, Row::LostTotal }),
            QStringList({ "40.00 %", "40.00 %", "8/s", "7", "0/s", "0" }));
        QCOMPARE(values(1, { Row::Load, Row::Peak, Row::Errors, Row::ErrorTotal, Row::Lost, Row::LostTotal }),
            QStringList({ "0.00 %", "0.00 %", "0/s", "0", "0/s", "2" }));

        click(stats, "resetBtn");
        QCOMPARE(values(0, { Row::Peak, Row::ErrorTotal }), QStringList({ "0.00 %", "0" }));
        QCOMPARE(value(1, Row::LostTotal), QString("0"));
        addLoad(0, 500000, 5.0);
        stats->sampleNow(1000);
        QCOMPARE(value(0, Row::Peak), QString("5.00 %"));
        QCOMPARE(stats->loadSeries(0)->count(), 6);
    }

    // The CSV holds the samples of the shown span with the figures as the
    // window shows them; the PNG is the chart as drawn.
    void exports()
    {
        openBothChannels(2, 2);
        openStats();
        addLoad(0, 500000, 12.5);
        BusTally::Counts c;
        c.frames = c.fd = c.extended = 40;
        BusTally::add(1, c);
        QVERIFY(SimControl::injectErrorFrames(1, 2));
        stats->sampleNow(2000);
        const QString csv = m_folder->path("stats.csv");
        const QString png = m_folder->path("chart.png");
        FileDialogs::queueAnswersForTests({ csv, png, QString() });
        click(stats, "exportCsvBtn");
        click(stats, "exportPngBtn");
        click(stats, "exportCsvBtn"); // cancelled: nothing written
        const QStringList lines = QString::fromUtf8(readFile(csv)).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines.at(0),
            QString("时间,通道1负载率(%),通道1帧/s,通道1 CAN帧/s,通道1 CANFD帧/s,通道1远程帧/s,通道1扩展帧/s,"
                    "通道1错误帧,通道1丢失帧,通道2负载率(%),通道2帧/s,通道2 CAN帧/s,通道2 CANFD帧/s,"
                    "通道2远程帧/s,通道2扩展帧/s,通道2错误帧,通道2丢失帧"));
        QCOMPARE(lines.at(1).section(',', 1), QString("6.25,1,1,0,0,0,0,0,0.00,20,0,20,0,20,2,0"));
        QVERIFY(QDateTime::fromString(lines.at(1).section(',', 0, 0), "yyyy-MM-dd hh:mm:ss").isValid());
        const QImage image(png);
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), child<QtCharts::QChartView>(stats, "chartView")->size());
        QVERIFY(Prompt::shown().isEmpty());
    }

    // Closed, the window stops its timer and the worker threads' counting;
    // open again, it counts again and keeps its history.
    void closedCostsNothing()
    {
        QVERIFY(!BusTally::enabled());
        openStats();
        QVERIFY(BusTally::enabled());
        stats->sampleNow(1000);
        stats->sampleTimer()->start();
        stats->close();
        QVERIFY(!BusTally::enabled() && !stats->sampleTimer()->isActive());
        w->busStatsAction()->trigger();
        QVERIFY(BusTally::enabled() && stats->sampleTimer()->isActive());
        QCOMPARE(stats->statistics().history().size(), size_t(1));
    }
};

OSTREL_TEST_MAIN(QApplication, new BusStatsTest)
#include "tst_busstats.moc"
