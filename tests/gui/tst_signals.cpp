// Signal databases in the window, on the simulated adapter with the shipped
// example DBC: the signal panel of a clicked row, the signal list and plot,
// the CSV export, the remembered files, and a broken file refused whole.
#include "FileDialogs.h"
#include "MainWindow.h"
#include "MyTableModel.h"
#include "RuntimeFolder.h"
#include "SettingsStore.h"
#include "SignalPanel.h"
#include "SignalPlot.h"
#include "TestKit.h"

#include <QAction>
#include <QDockWidget>
#include <QMenu>
#include <QTableView>
#include <QTableWidget>
#include <QTreeWidget>

namespace {
void openBus(MainWindow &w)
{
    QVERIFY(openDevice(41, 0, 0));
    for (unsigned ch = 0; ch < 2; ++ch)
        QVERIFY(setCanFdStandard(ch, 0) && setBaudRate(ch, 0, 0) && initChannel(ch, 0) && startChannel(ch));
    w.channelsOpened(true, true);
}

int rowOf(const MyTableModel *model, const QString &id)
{
    for (int r = model->rowCount() - 1; r >= 0; --r)
        if (model->cellText(r, 5) == id && model->cellText(r, 3) == QLatin1String("1"))
            return r;
    return -1;
}

// Signal name -> the panel's row texts (message, raw, physical, description).
QMap<QString, QStringList> panelRows(const SignalPanel *panel)
{
    QMap<QString, QStringList> rows;
    const QTableWidget *t = panel->table();
    for (int r = 0; r < t->rowCount(); ++r)
        rows.insert(t->item(r, 1)->text(),
            { t->item(r, 0)->text(), t->item(r, 2)->text(), t->item(r, 3)->text(), t->item(r, 4)->text() });
    return rows;
}

QTreeWidgetItem *signalItem(QTreeWidget *tree, int channel, const QString &message, const QString &signal)
{
    QTreeWidgetItem *top = tree->topLevelItem(channel);
    for (int m = 0; m < top->childCount(); ++m)
        if (top->child(m)->text(0).startsWith(message + QLatin1Char(' ')))
            for (int s = 0; s < top->child(m)->childCount(); ++s)
                if (top->child(m)->child(s)->text(0) == signal)
                    return top->child(m)->child(s);
    return nullptr;
}
} // namespace

class SignalsTest : public QObject {
    Q_OBJECT
    std::unique_ptr<RuntimeFolder> m_folder;

private slots:
    void init()
    {
        m_folder = std::make_unique<RuntimeFolder>();
        const QString built = QCoreApplication::applicationDirPath() + QStringLiteral("/config/");
        for (const char *f : { "simulator.ini", "simulator.dbc" })
            QFile::copy(built + QLatin1String(f), m_folder->path(QStringLiteral("config/") + QLatin1String(f)));
        freshProcess();
    }
    void cleanup() { m_folder.reset(); }

    void exampleOnSimulatedBus();
    void brokenFileRefusedWhole();
};

void SignalsTest::exampleOnSimulatedBus()
{
    auto w = std::make_unique<MainWindow>();
    w->resize(1400, 900);
    w->show();
    QVERIFY(!w->signalPanelDock()->isVisible());
    child<QAction>(w.get(), "actionLoadExampleDbc")->trigger();
    const QString example = m_folder->path(QStringLiteral("config/simulator.dbc"));
    QCOMPARE(w->databaseFiles(0), QStringList { example });
    QCOMPARE(w->databaseFiles(1), QStringList { example });
    QVERIFY(w->signalPanelDock()->isVisible() && w->signalPlotDock()->isVisible());
    QVERIFY(Prompt::shown().isEmpty());

    // Plot eight signals of the simulated nodes.
    QTreeWidget *tree = w->signalPlot()->signalTree();
    const char *plotted[][2] = { { "EngineData", "AliveCounter" }, { "EngineData", "EngineSpeed" },
        { "EngineData", "CoolantTemp" }, { "BodyStatus", "CabinTemp" }, { "BodyStatus", "BodyCounter" },
        { "CameraObjects", "ObjectSlot" }, { "CameraObjects", "Obj1Distance" }, { "GatewayFrame", "GatewayCounter" } };
    for (const auto &p : plotted) {
        QTreeWidgetItem *item = signalItem(tree, 0, QLatin1String(p[0]), QLatin1String(p[1]));
        QVERIFY2(item, p[1]);
        item->setCheckState(0, Qt::Checked);
    }
    QCOMPARE(w->signalPlot()->drawnPoints().size(), 8);

    openBus(*w);
    QTRY_VERIFY_WITH_TIMEOUT(rowOf(w->frameModel(), "0x100") >= 0 && rowOf(w->frameModel(), "0x18FF0010") >= 0
            && rowOf(w->frameModel(), "0x01CEBA55") >= 0,
        5000);
    // Every plotted signal has points, the gateway's (500 ms) too.
    QTRY_VERIFY_WITH_TIMEOUT(!w->signalPlot()->drawnPoints().contains(0), 5000);

    setTicked(child<QCheckBox>(w.get(), "pauseCheck"), true);
    QTest::qWait(300);
    QTableView *view = child<QTableView>(w.get(), "tableView");
    struct Expect {
        const char *id;
        const char *signal;
        QStringList row; // message, raw, physical, description
    };
    const Expect expects[] = {
        { "0x100", "EngineSpeed", { "EngineData", "10000", "1250 rpm", "" } },
        { "0x100", "CoolantTemp", { "EngineData", "100", "60 degC", "" } },
        { "0x100", "FaultCode", { "EngineData", "0", "0", "No fault" } },
        { "0x18FF0010", "CabinTemp", { "BodyStatus", "772", "28.6 degC", "" } },
        { "0x18FF0010", "Lights", { "BodyStatus", "2", "2", "Low beam" } },
        { "0x200", "CameraState", { "CameraObjects", "170", "170", "Ready" } },
    };
    for (const Expect &e : expects) {
        const int row = rowOf(w->frameModel(), QLatin1String(e.id));
        QVERIFY2(row >= 0, e.id);
        view->scrollTo(w->frameModel()->index(row, 0));
        QTest::mouseClick(view->viewport(), Qt::LeftButton, Qt::NoModifier,
            view->visualRect(w->frameModel()->index(row, 5)).center());
        const QMap<QString, QStringList> rows = panelRows(w->signalPanel());
        QCOMPARE(rows.value(QLatin1String(e.signal)), e.row);
        QVERIFY(w->signalPanel()->caption().contains(QLatin1String(e.id)));
    }
    // The camera frame's multiplexor picks one object slot: only its signals show.
    const QMap<QString, QStringList> camera = panelRows(w->signalPanel());
    const int slot = camera.value("ObjectSlot").value(1).toInt();
    QCOMPARE(camera.contains(QStringLiteral("Obj%1Distance").arg(slot)), true);
    QCOMPARE(camera.keys().filter(QRegularExpression("^Obj\\dDistance$")).size(), 1);

    // The list shows last values; a paused plot keeps what it draws.
    QTRY_VERIFY_WITH_TIMEOUT(signalItem(tree, 0, "EngineData", "EngineSpeed")->text(1) == "1250 rpm", 3000);
    QCOMPARE(signalItem(tree, 1, "EngineData", "FaultCode")->text(1), QStringLiteral("0  No fault"));
    setTicked(w->signalPlot()->pauseBox(), true);
    const QVector<int> frozen = w->signalPlot()->drawnPoints();
    QTest::qWait(1200);
    QCOMPARE(w->signalPlot()->drawnPoints(), frozen);
    setTicked(w->signalPlot()->pauseBox(), false);
    QTRY_VERIFY_WITH_TIMEOUT(w->signalPlot()->drawnPoints() != frozen, 3000);

    // Export: every kept value of the plotted signals, oldest first.
    const QString csv = m_folder->path(QStringLiteral("signals.csv"));
    FileDialogs::queueAnswersForTests({ csv });
    QTest::mouseClick(w->signalPlot()->exportButton(), Qt::LeftButton);
    const QStringList lines = QString::fromUtf8(readFile(csv)).split('\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.first(), QStringLiteral("时间(s),通道,报文,信号,物理值,单位"));
    QVERIFY(lines.size() > 20);
    double last = -1;
    QSet<QString> seen;
    for (const QString &line : lines.mid(1)) {
        const QStringList f = line.split(',');
        QCOMPARE(f.size(), 6);
        QVERIFY(f.at(0).toDouble() >= last);
        last = f.at(0).toDouble();
        seen << f.at(3);
        if (f.at(3) == QLatin1String("EngineSpeed"))
            QCOMPARE(f.mid(1), QStringList({ "1", "EngineData", "EngineSpeed", "1250", "rpm" }));
    }
    QCOMPARE(seen.size(), 8);

    // The texts follow the language.
    switchLanguage(2);
    QCOMPARE(w->signalPanel()->table()->horizontalHeaderItem(3)->text(), QStringLiteral("Physical"));
    QCOMPARE(w->signalPanelDock()->windowTitle(), QStringLiteral("Signal Panel"));
    QCOMPARE(w->databaseMenu()->title(), QStringLiteral("Signal Database(&B)"));

    // The files are remembered: a new start loads them again.
    w.reset();
    closeDevice();
    QVERIFY(SettingsStore::value("ch1DbcFiles").endsWith("/config/simulator.dbc"));
    SettingsStore::load(m_folder->path(QStringLiteral("config/setdb.txt")));
    MainWindow again;
    QCOMPARE(again.databaseFiles(0), QStringList { example });
    QCOMPARE(again.databaseFiles(1), QStringList { example });
}

void SignalsTest::brokenFileRefusedWhole()
{
    MainWindow w;
    const QString good = m_folder->path(QStringLiteral("config/simulator.dbc"));
    const QString bad = m_folder->path(QStringLiteral("bad.dbc"));
    m_folder->write(QStringLiteral("bad.dbc"), "VERSION \"\"\nBO_ 256 M: 8 Ecu\n SG_ S : 0|8@1+ (1,0) [0|1] rpm A\n");
    FileDialogs::queueAnswersForTests({ good, good + '\n' + bad });
    child<QAction>(&w, "actionLoadDbcCh2")->trigger();
    QCOMPARE(w.databaseFiles(1), QStringList { good });
    child<QAction>(&w, "actionLoadDbcCh2")->trigger();
    // The good file of the second choice is not taken either.
    QCOMPARE(w.databaseFiles(1), QStringList { good });
    QCOMPARE(w.databaseFiles(0), QStringList());
    QCOMPARE(shownBox(),
        QStringLiteral("错误|DBC文件 bad.dbc 第3行有误：应为 \"<unit>\"，实际是“rpm”。\n所选文件都没有加载。"));
    QCOMPARE(SettingsStore::value("ch2DbcFiles"), good);
}

OSTREL_TEST_MAIN(QApplication, new SignalsTest)
#include "tst_signals.moc"
