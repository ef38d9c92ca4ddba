// Signal databases in the window: the DBC files of each channel, the signal
// panel of the selected row, and the signal list and plot fed by the refresh
// tick. The frame table and its capture file do not change with them.
#include "MainWindow.h"
#include "ui_MainWindow.h"

#include "AppPaths.h"
#include "DbcParser.h"
#include "FileDialogs.h"
#include "Lang.h"
#include "MyTableModel.h"
#include "Prompt.h"
#include "SettingsStore.h"
#include "SignalPanel.h"
#include "SignalPlot.h"
#include "SignalRecorder.h"
#include "listSendDlg.h"

#include <QDockWidget>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QMenu>
#include <QMenuBar>

#include <algorithm>
#include <memory>

namespace {
const QString kFilesKey[2] = { QStringLiteral("ch1DbcFiles"), QStringLiteral("ch2DbcFiles") };
const QString kMinutesKey = QStringLiteral("signalMinutes");

// The settings store keeps "key,value" entries joined by ";": a path list is
// kept with those two characters, '|' (the separator) and '%' escaped.
QString joinPaths(const QStringList &paths)
{
    QStringList escaped;
    for (QString p : paths) {
        p.replace(QLatin1Char('%'), QLatin1String("%25"));
        p.replace(QLatin1Char(','), QLatin1String("%2C"));
        p.replace(QLatin1Char(';'), QLatin1String("%3B"));
        p.replace(QLatin1Char('|'), QLatin1String("%7C"));
        escaped << p;
    }
    return escaped.join(QLatin1Char('|'));
}

QStringList splitPaths(const QString &text)
{
    QStringList paths;
    for (QString p : text.split(QLatin1Char('|'), Qt::SkipEmptyParts)) {
        p.replace(QLatin1String("%7C"), QLatin1String("|"));
        p.replace(QLatin1String("%3B"), QLatin1String(";"));
        p.replace(QLatin1String("%2C"), QLatin1String(","));
        p.replace(QLatin1String("%25"), QLatin1String("%"));
        paths << p;
    }
    return paths;
}

inline int hexDigit(ushort c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// The identifier of a row's "0x123" / "0x00000123" text: eight digits mark an
// extended frame, as the frame texts are written.
bool parseId(const QString &text, quint32 &id, bool &extended)
{
    const int n = text.size();
    if (n < 3 || n > 10)
        return false;
    const ushort *c = reinterpret_cast<const ushort *>(text.constData());
    quint32 v = 0;
    for (int i = 2; i < n; ++i) {
        const int d = hexDigit(c[i]);
        if (d < 0)
            return false;
        v = v << 4 | quint32(d);
    }
    id = v;
    extended = n == 10;
    return true;
}

// The bytes of a row's "x| 01 AB FF " text.
int parseData(const QString &text, uchar *bytes, int capacity)
{
    const ushort *c = reinterpret_cast<const ushort *>(text.constData());
    int n = 0;
    for (int i = 3; i + 1 < text.size() && n < capacity; i += 3) {
        const int hi = hexDigit(c[i]);
        const int lo = hexDigit(c[i + 1]);
        if (hi < 0 || lo < 0)
            break;
        bytes[n++] = uchar(hi << 4 | lo);
    }
    return n;
}

// The device time stamp in microseconds: "0x..." (hexadecimal microseconds)
// or seconds with four decimals; -1 for none ("无" on sent frames).
qint64 parseTimeStamp(const QString &text)
{
    if (text.startsWith(QLatin1String("0x"))) {
        bool ok = false;
        const qint64 v = text.midRef(2).toLongLong(&ok, 16);
        return ok ? v : -1;
    }
    bool ok = false;
    const double seconds = text.toDouble(&ok);
    return ok ? qint64(seconds * 1e6) : -1;
}
} // namespace

void MainWindow::buildSignalViews()
{
    m_signals = std::make_unique<SignalRecorder>();

    m_signalPanel = new SignalPanel(this);
    m_panelDock = new QDockWidget(this);
    m_panelDock->setObjectName(QStringLiteral("signalPanelDock"));
    m_panelDock->setWidget(m_signalPanel);
    addDockWidget(Qt::RightDockWidgetArea, m_panelDock);
    m_panelDock->hide();

    m_signalPlot = new SignalPlot(m_signals.get(), this);
    m_plotDock = new QDockWidget(this);
    m_plotDock->setObjectName(QStringLiteral("signalPlotDock"));
    m_plotDock->setWidget(m_signalPlot);
    addDockWidget(Qt::BottomDockWidgetArea, m_plotDock);
    m_plotDock->hide();
    m_signalPlot->setMinutes(qBound(1, SettingsStore::value(kMinutesKey, QStringLiteral("5")).toInt(), 60));
    connect(m_signalPlot, &SignalPlot::minutesChanged, this,
        [](int minutes) { SettingsStore::setValue(kMinutesKey, QString::number(minutes), true); });

    m_dbcMenu = new QMenu(this);
    m_dbcMenu->setObjectName(QStringLiteral("menuDatabase"));
    for (int ch = 0; ch < 2; ++ch) {
        m_loadDbc[ch] = m_dbcMenu->addAction(QString());
        m_loadDbc[ch]->setObjectName(QStringLiteral("actionLoadDbcCh%1").arg(ch + 1));
        connect(m_loadDbc[ch], &QAction::triggered, this, [this, ch] { chooseDatabaseFiles(ch); });
    }
    m_loadExample = m_dbcMenu->addAction(QString());
    m_loadExample->setObjectName(QStringLiteral("actionLoadExampleDbc"));
    connect(m_loadExample, &QAction::triggered, this, &MainWindow::loadExampleDatabase);
    m_clearDbc = m_dbcMenu->addAction(QString());
    m_clearDbc->setObjectName(QStringLiteral("actionClearDbc"));
    connect(m_clearDbc, &QAction::triggered, this, &MainWindow::clearDatabases);
    m_dbcMenu->addSeparator();
    for (int ch = 0; ch < 2; ++ch) {
        m_dbcInfo[ch] = m_dbcMenu->addAction(QString());
        m_dbcInfo[ch]->setEnabled(false);
    }
    m_dbcMenu->addSeparator();
    QAction *panel = m_panelDock->toggleViewAction();
    panel->setObjectName(QStringLiteral("actionSignalPanel"));
    QAction *plot = m_plotDock->toggleViewAction();
    plot->setObjectName(QStringLiteral("actionSignalPlot"));
    m_dbcMenu->addAction(panel);
    m_dbcMenu->addAction(plot);
    menuBar()->insertMenu(ui->menuHelp->menuAction(), m_dbcMenu);

    connect(ui->tableView->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
        &MainWindow::showSelectedSignals);
    connect(m_panelDock, &QDockWidget::visibilityChanged, this, [this](bool shown) {
        if (shown)
            showSelectedSignals();
    });
    setSignalTexts();
}

void MainWindow::setSignalTexts()
{
    if (!m_dbcMenu)
        return;
    auto p = [](const char *zh, const char *zht, const char *en) {
        return Lang::pick(QString::fromUtf8(zh), QString::fromUtf8(zht), QString::fromUtf8(en));
    };
    m_dbcMenu->setTitle(p("信号数据库(&B)", "信號數據庫(&B)", "Signal Database(&B)"));
    m_loadDbc[0]->setText(
        p("通道1加载DBC文件(&1)...", "通道1載入DBC文件(&1)...", "Load DBC Files on Channel 1(&1)..."));
    m_loadDbc[1]->setText(
        p("通道2加载DBC文件(&2)...", "通道2載入DBC文件(&2)...", "Load DBC Files on Channel 2(&2)..."));
    m_loadExample->setText(
        p("加载模拟总线示例DBC(&E)", "載入模擬總線示例DBC(&E)", "Load the Simulated Bus Example DBC(&E)"));
    m_clearDbc->setText(p("移除全部DBC文件(&R)", "移除全部DBC文件(&R)", "Remove All DBC Files(&R)"));
    for (int ch = 0; ch < 2; ++ch) {
        QStringList names;
        for (const QString &path : qAsConst(m_dbcFiles[ch]))
            names << QFileInfo(path).fileName();
        m_dbcInfo[ch]->setText(p("通道%1：%2", "通道%1：%2", "Channel %1: %2")
                                   .arg(ch + 1)
                                   .arg(names.isEmpty() ? p("无", "無", "none") : names.join(QStringLiteral(", "))));
    }
    m_panelDock->setWindowTitle(p("信号面板", "信號面板", "Signal Panel"));
    m_plotDock->setWindowTitle(p("信号曲线", "信號曲線", "Signal Plot"));
    m_panelDock->toggleViewAction()->setText(p("信号面板(&P)", "信號面板(&P)", "Signal Panel(&P)"));
    m_plotDock->toggleViewAction()->setText(p("信号曲线(&G)", "信號曲線(&G)", "Signal Plot(&G)"));
    m_signalPanel->retranslate();
    m_signalPlot->retranslate();
}

QString MainWindow::databaseErrorText(const DbcError &e)
{
    const QString name = QFileInfo(e.path).fileName();
    if (e.line <= 0)
        return Lang::pick(QStringLiteral("无法打开DBC文件 %1。"), QStringLiteral("無法打開DBC文件 %1。"),
            QStringLiteral("Cannot open the DBC file %1."))
            .arg(e.path);
    const QString found = e.found.isEmpty()
        ? Lang::pick(QStringLiteral("行尾"), QStringLiteral("行尾"), QStringLiteral("the end of the line"))
        : Lang::pick(QStringLiteral("“%1”"), QStringLiteral("“%1”"), QStringLiteral("\"%1\"")).arg(e.found);
    return Lang::pick(QStringLiteral("DBC文件 %1 第%2行有误：应为 %3，实际是%4。"),
        QStringLiteral("DBC文件 %1 第%2行有誤：應為 %3，實際是%4。"),
        QStringLiteral("The DBC file %1 has a mistake on line %2: expected %3, found %4."))
        .arg(name)
        .arg(e.line)
        .arg(e.expected, found);
}

// Reads every file of the list; only when all of them read does the channel
// take them (in this order, the first file's message winning an identifier).
bool MainWindow::readDatabases(int ch, const QStringList &paths, bool tellUser)
{
    SignalDecoder::Databases databases;
    for (const QString &path : paths) {
        auto db = std::make_shared<DbcDatabase>();
        DbcError error;
        if (!DbcParser::load(path, *db, error)) {
            const QString text = databaseErrorText(error);
            if (tellUser)
                Prompt::warning(this, Lang::errorTitle(),
                    text + QLatin1Char('\n')
                        + Lang::pick(QStringLiteral("所选文件都没有加载。"), QStringLiteral("所選文件都沒有載入。"),
                            QStringLiteral("None of the chosen files was loaded.")));
            else
                writeLog(text);
            return false;
        }
        databases.append(db);
    }
    m_dbcFiles[ch] = paths;
    m_signals->setDecoder(ch, SignalDecoder(databases));
    m_listDlg->setDatabases(unsigned(ch), databases); // its rows are filled by signal from the same files
    SettingsStore::setValue(kFilesKey[ch], joinPaths(paths), true);
    m_signalPlot->rebuild();
    setSignalTexts();
    showSelectedSignals();
    if (!paths.isEmpty()) {
        int messages = 0;
        for (const auto &db : qAsConst(databases))
            messages += db->messages.size();
        QStringList names;
        for (const QString &path : paths)
            names << QFileInfo(path).fileName();
        writeLog(Lang::pick(QStringLiteral("通道%1已加载DBC文件：%2（%3个报文）"),
            QStringLiteral("通道%1已載入DBC文件：%2（%3個報文）"),
            QStringLiteral("DBC files on channel %1: %2 (%3 messages)"))
                     .arg(ch + 1)
                     .arg(names.join(QStringLiteral(", ")))
                     .arg(messages));
        // Shown with room for their columns the first time they come up.
        if (!m_panelDock->isVisible()) {
            m_panelDock->show();
            resizeDocks({ m_panelDock }, { std::max(420, width() * 2 / 5) }, Qt::Horizontal);
        }
        if (!m_plotDock->isVisible()) {
            m_plotDock->show();
            resizeDocks({ m_plotDock }, { std::max(280, height() * 2 / 5) }, Qt::Vertical);
        }
    }
    return true;
}

bool MainWindow::addDatabases(int ch, const QStringList &paths)
{
    ch = ch ? 1 : 0;
    QStringList all = m_dbcFiles[ch];
    for (const QString &path : paths) {
        const QString absolute = QFileInfo(path).absoluteFilePath();
        all.removeAll(absolute); // a file loaded again is read anew and moves to the end
        all << absolute;
    }
    return readDatabases(ch, all, true);
}

void MainWindow::chooseDatabaseFiles(int ch)
{
    const QStringList paths = FileDialogs::getOpenFileNames(this,
        Lang::pick(QStringLiteral("为通道%1选择DBC文件"), QStringLiteral("為通道%1選擇DBC文件"),
            QStringLiteral("Choose DBC files for channel %1"))
            .arg(ch + 1),
        m_dbcFiles[ch].isEmpty() ? QString() : QFileInfo(m_dbcFiles[ch].last()).absolutePath(),
        QStringLiteral("DBC (*.dbc *.DBC);;* (*)"));
    if (!paths.isEmpty())
        addDatabases(ch, paths);
}

void MainWindow::loadExampleDatabase()
{
    const QString example = AppPaths::appDir() + QStringLiteral("/config/simulator.dbc");
    if (addDatabases(0, { example }))
        addDatabases(1, { example });
}

void MainWindow::clearDatabases()
{
    for (int ch = 0; ch < 2; ++ch)
        readDatabases(ch, QStringList(), false);
    m_signalPanel->clearFrame();
}

// At start-up: the lists kept from the last run. A file that no longer reads
// leaves its channel without databases, with the reason in the log.
void MainWindow::restoreDatabases()
{
    for (int ch = 0; ch < 2; ++ch) {
        const QStringList paths = splitPaths(SettingsStore::value(kFilesKey[ch], QString()));
        if (!paths.isEmpty() && !readDatabases(ch, paths, false))
            m_dbcFiles[ch].clear();
    }
}

void MainWindow::showSelectedSignals()
{
    if (!m_panelDock || !m_panelDock->isVisible())
        return;
    const QModelIndex current = ui->tableView->currentIndex();
    if (!current.isValid())
        return; // the panel keeps the frame it shows
    const int row = current.row();
    const int channel = m_model->cellText(row, 3).toInt();
    quint32 id = 0;
    bool extended = false;
    if (channel < 1 || channel > 2 || !parseId(m_model->cellText(row, 5), id, extended))
        return;
    uchar bytes[64];
    const int n = parseData(m_model->cellText(row, 10), bytes, 64);
    m_signalPanel->showFrame(m_signals->decoder(channel - 1), m_model->cellText(row, 0), channel, id, extended,
        QByteArray(reinterpret_cast<const char *>(bytes), n));
}

// Called by the refresh tick for every frame while signals are watched: one
// identifier look-up, and for a described message its bytes and time. Records
// from the batch builders carry the identifier word and time stamps; others
// (the batch slots, tests) are read from their texts.
void MainWindow::offerToSignals(const ModelItem &item, double hostNow)
{
    const bool raw = item.hostTimeNs != 0;
    quint32 id = 0;
    bool extended = false;
    if (raw) {
        if (item.idWord & 0x40000000u)
            return; // a remote frame carries no signals
        id = item.idWord & 0x1FFFFFFFu;
        extended = item.idWord & 0x80000000u;
    } else if (!parseId(item.idText, id, extended)) {
        return;
    }
    const int ch = item.channel ? 1 : 0;
    const int message = m_signals->find(ch, id, extended);
    if (message < 0)
        return;
    uchar bytes[64];
    const int n = parseData(item.dataText, bytes, 64);
    if (n == 0)
        return; // nothing to decode; the last values stay those of the last data
    double time = hostNow;
    if (raw && item.direction == 0)
        time = hostNow - double(m_signalTickNs - item.hostTimeNs) * 1e-9; // sent: when the sender made it
    else
        time = m_signals->frameTime(ch, raw ? qint64(item.deviceTimeUs) : parseTimeStamp(item.timeStamp), hostNow);
    m_signals->offer(ch, message, bytes, n, time);
}
