#include "MainWindow.h"
#include "ui_MainWindow.h"

#include "AppPaths.h"
#include "BusStatsWindow.h"
#include "CaptureFile.h"
#include "DeviceActions.h"
#include "DeviceLayer.h"
#include "DpiScaler.h"
#include "FileDialogs.h"
#include "InterfaceDlg.h"
#include "Interfaces.h"
#include "Lang.h"
#include "MyTableModel.h"
#include "OpenDlg.h"
#include "Prompt.h"
#include "SettingsStore.h"
#include "SiftDialog.h"
#include "SignalRecorder.h"
#include "fileDlg.h"
#include "listSendDlg.h"
#include "recvThread.h"
#include "sendThread.h"
#include "valueDialog.h"

#include <QActionGroup>
#include <QApplication>
#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QHeaderView>
#include <QRegularExpressionValidator>
#include <QScreen>
#include <QScrollBar>
#include <QSettings>
#include <QTextStream>
#include <QTimer>
#include <QTranslator>
#include <QWindow>

namespace {
const QString kTitlePrefix = QStringLiteral("Ostrel-");

QString iniPath() { return AppPaths::appDir() + QStringLiteral("/language/config.ini"); }
} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , ui(new Ui::MainWindow)
{
    ui->setupUi(this);
    SettingsStore::load(AppPaths::appDir() + QStringLiteral("/config/setdb.txt"));
    // The interface chosen in an earlier run; with none stored the table the
    // program started with stays in force.
    Interfaces::restore();
    Interfaces::setNoticeSink([this](const QString &line) {
        QMetaObject::invokeMethod(
            this, [this, line] { writeLog(line); }, Qt::QueuedConnection);
    });

    m_fileDlg = new fileDlg(this);
    m_fileDlg->setWindowFlag(Qt::Window);
    m_fileDlg->hide();
    connect(m_fileDlg, &fileDlg::send, this, &MainWindow::onFileSend);
    connect(m_fileDlg, &fileDlg::stop, this, &MainWindow::onFileStop);

    // Kept for the whole session: a list goes on sending while its window is closed.
    m_listDlg = new listSendDlg(this);
    m_listDlg->setWindowFlag(Qt::Window);
    m_listDlg->hide();
    connect(m_listDlg, &listSendDlg::log, this, &MainWindow::canLog);
    connect(m_listDlg, &listSendDlg::windowLog, this, &MainWindow::writeLog);

    setTitle(kTitlePrefix + versionText());
    connect(ui->tableView->verticalScrollBar(), &QScrollBar::valueChanged, this, &MainWindow::onTableScrolled);

    m_languageGroup = new QActionGroup(this);
    m_languageGroup->setExclusive(true);
    for (QAction *a : { ui->actionChinese, ui->actionTraditional, ui->actionEnglish })
        m_languageGroup->addAction(a);
    m_listLimit = SettingsStore::value(QStringLiteral("listCount"), QStringLiteral("1000")).toUInt();

    // Language start-up: the catalogue named by "Language" (or the INI choice).
    m_translator = new QTranslator(this);
    const QString catalogue = SettingsStore::value(QStringLiteral("Language"), QStringLiteral("CN.qm"));
    if (m_translator->load(AppPaths::appDir() + QStringLiteral("/language/") + catalogue))
        qApp->installTranslator(m_translator);
    if (catalogue == QLatin1String("CN.qm"))
        setLanguageCode(0);
    else if (catalogue == QLatin1String("CNF.qm"))
        setLanguageCode(1);
    else if (catalogue == QLatin1String("EN.qm"))
        setLanguageCode(2);
    const int code = languageCode();
    (code == 1 ? ui->actionTraditional : code == 2 ? ui->actionEnglish : ui->actionChinese)->setChecked(true);

    m_model = new MyTableModel(this);
    ui->tableView->setModel(m_model);
    m_busStatsAction = new QAction(this);
    m_busStatsAction->setObjectName(QStringLiteral("actionBusStats"));
    ui->menuInfo->insertAction(ui->actionClearLog, m_busStatsAction);
    setLa();

    DpiScaler::attach(this);

    const QRegularExpression hexBytes(QStringLiteral("^[0-9a-fA-F ]+$"));
    ui->ch1SendDataEdit->setValidator(new QRegularExpressionValidator(hexBytes, this));
    ui->ch2SendDataEdit->setValidator(new QRegularExpressionValidator(hexBytes, this));

    registerModelItemTypes();

    for (uint ch = 0; ch < 2; ++ch) {
        m_recv[ch] = new recvThread(ch, this);
        m_send[ch] = new sendThread(ch, this);
        connect(m_recv[ch], &recvThread::log, this, &MainWindow::canLog);
        connect(m_recv[ch], &recvThread::recvData, this, &MainWindow::recvData);
        connect(m_recv[ch], &recvThread::errorID, this, &MainWindow::onErrorID);
        connect(m_send[ch], &sendThread::log, this, &MainWindow::canLog);
        connect(m_send[ch], &sendThread::sendedData, this, &MainWindow::sendedData);
        connect(m_send[ch], &sendThread::endSend, this, &MainWindow::endSend);
    }

    ui->actionTimeHex->setChecked(SettingsStore::value(QStringLiteral("timeHex"), QStringLiteral("1")).toUInt() == 1);
    ui->actionRecvIDAdd->setChecked(
        SettingsStore::value(QStringLiteral("recvIDAdd"), QStringLiteral("0")).toUInt() == 1);
    if (SettingsStore::value(QStringLiteral("recvIDAdd"), QStringLiteral("0")).toUInt() == 1) {
        m_recv[0]->resetLastIds();
        m_recv[1]->resetLastIds();
    }
    ui->actionMerge->setChecked(SettingsStore::value(QStringLiteral("merge"), QStringLiteral("0")).toUInt() == 1);
    connect(ui->actionTimeHex, &QAction::toggled, this, [](bool on) {
        SettingsStore::setValue(QStringLiteral("timeHex"), on ? QStringLiteral("1") : QStringLiteral("0"), true);
    });
    connect(ui->actionRecvIDAdd, &QAction::toggled, this, [this](bool on) {
        if (on) {
            m_recv[0]->resetLastIds();
            m_recv[1]->resetLastIds();
        }
        SettingsStore::setValue(QStringLiteral("recvIDAdd"), on ? QStringLiteral("1") : QStringLiteral("0"), true);
    });
    connect(ui->actionMerge, &QAction::toggled, this, [this](bool on) {
        if (on) {
            on_cleanListBtn_clicked();
            on_pushButton_2_clicked();
        }
        SettingsStore::setValue(QStringLiteral("merge"), on ? QStringLiteral("1") : QStringLiteral("0"), true);
    });

    connect(ui->actionDeviceInfo, &QAction::triggered, this, [this] { DeviceActions::showDeviceInfo(this); });
    connect(m_busStatsAction, &QAction::triggered, this, &MainWindow::openBusStats);
    for (QAction *a : { ui->actionChinese, ui->actionTraditional, ui->actionEnglish })
        connect(a, &QAction::triggered, this, [this, a](bool checked) { languageTriggered(a, checked); });
    connect(ui->actionAbout, &QAction::triggered, this, [this] {
        Prompt::information(this,
            Lang::pick(QStringLiteral("关于Ostrel"), QStringLiteral("關於Ostrel"), QStringLiteral("About Ostrel")),
            aboutText());
    });
    connect(ui->actionHelpFolder, &QAction::triggered, this, [] {
        const QString sub = languageCode() == 2 ? QStringLiteral("/help/English") : QStringLiteral("/help/Chinese");
        FileDialogs::openWithDesktop(AppPaths::appDir() + sub);
    });
    connect(ui->actionOpenDevice, &QAction::triggered, this, &MainWindow::openDeviceAction);
    connect(ui->actionUpgrade, &QAction::triggered, this, &MainWindow::upgradeAction);
    connect(ui->actionInterface, &QAction::triggered, this, &MainWindow::interfaceAction);
    ui->actionUpgrade->setEnabled(Interfaces::isHaldenD2());
    connect(ui->actionCanSetting, &QAction::triggered, this,
        [this] { DeviceActions::applyChannelParameters(this, [this](const QString &msg) { writeLog(msg); }); });
    connect(ui->actionViewParam, &QAction::triggered, this, [this] { DeviceActions::viewChannelParameters(this); });
    connect(ui->actionFileSend, &QAction::triggered, this, &MainWindow::on_ch1SendFileBtn_clicked);
    connect(ui->actionAddToListSend, &QAction::triggered, this, &MainWindow::addSelectedFramesToList);
    connect(ui->actionListSend, &QAction::triggered, this, [this] {
        m_listDlg->show();
        m_listDlg->raise();
        m_listDlg->activateWindow();
    });
    connect(ui->actionClearLog, &QAction::triggered, ui->logEdit, &QTextEdit::clear);

    m_valueDlg = new valueDialog(this);
    auto askValue = [this](int index) {
        const quint32 current[3] = { m_scanTime, m_framesPerRecv, m_listLimit };
        m_valueDlg->setIndex(index);
        m_valueDlg->setText(QString::number(current[index]));
        m_valueDlg->show();
        m_valueDlg->raise();
    };
    connect(ui->actionScanTime, &QAction::triggered, this, [askValue] { askValue(0); });
    connect(ui->actionRecvFrames, &QAction::triggered, this, [askValue] { askValue(1); });
    connect(ui->actionListBuffer, &QAction::triggered, this, [askValue] { askValue(2); });

    buildHelpMenu();

    m_sift = new SiftDialog(this);
    m_sift->hide();
    connect(m_sift, &SiftDialog::siftedData, this, &MainWindow::onSifted);
    connect(m_valueDlg, &valueDialog::getValue, this, &MainWindow::onValue);

    QTableView *view = ui->tableView;
    view->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    view->setAlternatingRowColors(true);
    view->setSelectionMode(QAbstractItemView::SingleSelection);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    // Fixed row heights: a high-rate list must never measure its rows.
    view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 6);
    view->verticalHeader()->hide();
    view->horizontalHeader()->setStretchLastSection(true);
    // Columns wide enough for their longest text in any language.
    const char *samples[] = { "0000000", "00:00:00.000", "0x00000000", "channel", "Rx/Tx", "0x00000000",
        "Extended Frame", "Remote Frame", "DLC", "CANFD-acceleration" };
    for (int c = 0; c < 10; ++c)
        view->setColumnWidth(c, view->fontMetrics().horizontalAdvance(QLatin1String(samples[c])) + 12);
    connect(view, &QTableView::clicked, this, [this] { m_selectionKept = true; });
    connect(view, &QTableView::pressed, this, [this] { m_selectionKept = true; });
    ui->splitter->setStretchFactor(0, 3);
    ui->splitter->setStretchFactor(1, 2);
    ui->topSplitter->setStretchFactor(0, 4);
    ui->topSplitter->setStretchFactor(1, 1);
    ui->topSplitter->setSizes({ 1100, 260 });

    buildSignalViews();
    restoreDatabases();

    QTimer::singleShot(1000, this, &MainWindow::deviceWatch);
    QTimer::singleShot(SettingsStore::value(QStringLiteral("refreshInterval"), QStringLiteral("100")).toInt(), this,
        &MainWindow::refreshDisplay);
    QTimer::singleShot(20, this, &MainWindow::lateInit);
}

MainWindow::~MainWindow()
{
    Interfaces::setNoticeSink(nullptr);
    // The list's schedulers end before the device closes under them.
    delete m_listDlg;
    m_listDlg = nullptr;
    handleDeviceClosed();
    for (int ch = 0; ch < 2; ++ch)
        m_send[ch]->stop();
    for (int ch = 0; ch < 2; ++ch) {
        m_recv[ch]->wait();
        m_send[ch]->wait();
    }
    closeCapture();
    if (m_translator)
        qApp->removeTranslator(m_translator);
}

void MainWindow::setTitle(const QString &title)
{
    m_title = title;
    setWindowTitle(title);
}

QMenu *MainWindow::helpMenu() const { return ui->menuHelp; }

// Made on first use and kept, so its history survives closing; it counts
// only while it is open.
void MainWindow::openBusStats()
{
    if (!m_busStats)
        m_busStats = new BusStatsWindow(this);
    m_busStats->show();
    m_busStats->raise();
    m_busStats->activateWindow();
}

void MainWindow::setLa()
{
    auto p = [](const char *zh, const char *zht, const char *en) {
        return Lang::pick(QString::fromUtf8(zh), QString::fromUtf8(zht), QString::fromUtf8(en));
    };
    ui->menuDevice->setTitle(p("设备管理(&O)", "設備管理(&O)", "Device Manage(&O)"));
    ui->actionOpenDevice->setText(p("设备操作(&S)", "設備操作(&S)", "Device Operations(&S)"));
    ui->menuMultiSend->setTitle(p("多条发送(&T)", "多條發送(&T)", "Multiple Transmiter(&T)"));
    ui->actionFileSend->setText(p("文件发送(&F)", "文件發送(&F)", "Fie Transmiter(&F)"));
    ui->menuParam->setTitle(p("参数设定(&S)", "參數設定(&S)", "Parameter Setting(&S)"));
    ui->actionCanSetting->setText(p("CAN参数设置(&C)", "CAN參數設置(&C)", "CAN Setting(&C)"));
    ui->menuInfo->setTitle(p("信息(&I)", "信息(&I)", "Information(&I)"));
    ui->actionDeviceInfo->setText(p("设备信息(&I)", "設備信息(&I)", "Device Info(&I)"));
    m_busStatsAction->setText(p("总线统计(&B)", "總線統計(&B)", "Bus Statistics(&B)"));
    ui->actionViewParam->setText(p("显示(&V)", "顯示(&V)", "View(&V)"));
    ui->actionClearLog->setText(p("清空日志(&D)", "清空日志(&D)", "Clear Log(&D)"));
    ui->menuLanguage->setTitle(p("语言(&L)", "語言(&L)", "Language(&L)"));
    ui->menuHelp->setTitle(p("帮助(&H)", "幫助(&H)", "Help(&H)"));
    ui->actionAbout->setText(p("关于(&A)", "關於(&A)", "About(&A)"));
    ui->actionUpgrade->setText(p("固件升级(&U)", "固件升級(&U)", "Firmware Upgrade(&U)"));
    ui->actionInterface->setText(p("接口选择(&N)", "介面選擇(&N)", "Interface Selection(&N)"));
    ui->actionHelpFolder->setText(p("帮助文档目录(&P)", "幫助文檔目錄(&P)", "Help Folder(&P)"));
    ui->actionListSend->setText(p("列表发送(&L)", "列表發送(&L)", "List Send(&L)"));
    ui->actionAddToListSend->setText(
        p("添加选中帧到列表发送(&A)", "添加選中幀到列表發送(&A)", "Add Selected Frame to List Send(&A)"));
    ui->actionTimeHex->setText(p("时间标识(Hex)(&H)", "時間標識(Hex)(&H)", "time stamp(Hex)(&H)"));
    ui->actionRecvIDAdd->setText(p("接收ID累加判断(&A)", "接收ID纍加判斷(&A)", "check recv ID(&A)"));
    ui->actionMerge->setText(p("合并相同ID数据(&M)", "合并相同ID數據(&M)", "Merge list data(&M)"));
    ui->logGroupBox->setTitle(p("操作记录", "操作記錄", "Operation Log"));
    updateTuningTexts();
    setSignalTexts();

    m_model->setHeader(
        { p("序号", "序號", "index"), p("系统时间", "系統時間", "system time"), p("时间标识", "時間標識", "time stamp"),
            p("通道", "通道", "channel"), p("收/发", "收/發", "Rx/Tx"), QStringLiteral("ID"), QStringLiteral("Frame"),
            p("类型", "類型", "type"), QStringLiteral("DLC"), QStringLiteral("CAN-FD"), p("数据", "數據", "data") });

    for (int ch = 0; ch < 2; ++ch) {
        const Panel w = panel(ch);
        auto setItems = [](QComboBox *combo, const QStringList &items) {
            for (int i = 0; i < items.size() && i < combo->count(); ++i)
                combo->setItemText(i, items.at(i));
        };
        setItems(w.frameType, { p("标准帧", "標準幀", "Standard Frame"), p("扩展帧", "擴展幀", "Extended Frame") });
        setItems(w.frameData, { p("数据帧", "數據幀", "data frame"), p("远程帧", "遠程幀", "Remote Frame") });
        setItems(w.protocol,
            { QStringLiteral("CAN"), QStringLiteral("CANFD"), p("CANFD加速", "CANFD加速", "CANFD-acceleration") });
        setItems(w.sendType,
            { p("正常发送", "正常發送", "Normal Send"), p("单次发送", "單次發送", "Single Send"),
                p("自发自收", "自發自收", "Self Send Receive"),
                p("单次自发自收", "單次自發自收", "Single Self Send Receive") });
    }
}

void MainWindow::updateTuningTexts()
{
    ui->actionScanTime->setText(Lang::pick(QStringLiteral("接收扫描时间(%1ms)(&S)"),
        QStringLiteral("接收掃描時間(%1ms)(&S)"), QStringLiteral("Receive Scan Time(%1ms)(&S)"))
                                    .arg(m_scanTime));
    ui->actionRecvFrames->setText(Lang::pick(QStringLiteral("每次接收帧数(%1)(&F)"),
        QStringLiteral("每次接收幀數(%1)(&F)"), QStringLiteral("Frames per Receive(%1)(&F)"))
                                      .arg(m_framesPerRecv));
    ui->actionListBuffer->setText(Lang::pick(QStringLiteral("列表缓存帧数(%1)(&D)"),
        QStringLiteral("列表緩存幀數(%1)(&D)"), QStringLiteral("Data List Buffer(%1)(&D)"))
                                      .arg(m_listLimit));
}

void MainWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        ui->retranslateUi(this);
        // The generated texts hold the source language; the exact menu texts,
        // headers and the current title are ours.
        setLa();
        setWindowTitle(m_title);
    }
    if (event->type() == QEvent::WindowStateChange) {
        // Frames keep arriving while the window is minimised; the table is
        // drawn once when it comes back, not at every tick in between.
        ui->tableView->setUpdatesEnabled(!isMinimized());
    }
    QMainWindow::changeEvent(event);
}

bool MainWindow::switchLanguage(const QString &catalogue, int code)
{
    auto *translator = new QTranslator(this);
    if (!translator->load(AppPaths::appDir() + QStringLiteral("/language/") + catalogue)) {
        // A missing catalogue keeps the previous language in force.
        delete translator;
        const int cur = languageCode();
        (cur == 1 ? ui->actionTraditional : cur == 2 ? ui->actionEnglish : ui->actionChinese)->setChecked(true);
        return false;
    }
    if (m_translator) {
        qApp->removeTranslator(m_translator);
        delete m_translator;
    }
    m_translator = translator;
    setLanguageCode(code);
    setLa();
    SettingsStore::setValue(QStringLiteral("Language"), catalogue, true);
    qApp->installTranslator(m_translator);
    buildHelpMenu();
    return true;
}

void MainWindow::languageTriggered(QAction *action, bool checked)
{
    if (!checked)
        return;
    if (action == ui->actionChinese)
        switchLanguage(QStringLiteral("CN.qm"), 0);
    else if (action == ui->actionTraditional)
        switchLanguage(QStringLiteral("CNF.qm"), 1);
    else
        switchLanguage(QStringLiteral("EN.qm"), 2);
}

void MainWindow::buildHelpMenu()
{
    QMenu *menu = ui->menuHelp;
    menu->clear();
    menu->addAction(ui->actionHelpFolder);
    menu->addSeparator();
    menu->addAction(ui->actionAbout);
    menu->addSeparator();
    const QString folder = AppPaths::appDir()
        + (languageCode() == 2 ? QStringLiteral("/help/English") : QStringLiteral("/help/Chinese"));
    QDirIterator it(folder, QDir::Files | QDir::NoSymLinks | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    QStringList files;
    while (it.hasNext())
        files << it.next();
    files.sort();
    for (const QString &path : qAsConst(files)) {
        const QFileInfo info(path);
        if (info.suffix() != QLatin1String("pdf"))
            continue;
        QAction *a = menu->addAction(info.fileName());
        const QString absolute = info.absoluteFilePath();
        connect(a, &QAction::triggered, this, [absolute] { FileDialogs::openWithDesktop(absolute); });
    }
}

QString MainWindow::companyName()
{
    QFile file(AppPaths::appDir() + QStringLiteral("/config/company.txt"));
    if (file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        QTextStream in(&file);
        in.setCodec("UTF-8");
        const QStringList fields = in.readLine().split(QLatin1Char(';'));
        const int code = languageCode();
        if (code >= 0 && code < fields.size())
            return fields.at(code);
    }
    return QStringLiteral("公司名称缺失");
}

QString MainWindow::buildDateText(const QString &cDate)
{
    // The compiler writes "MMM dd yyyy" with a blank before a one-digit day.
    static const char *months[]
        = { "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec" };
    const QStringList parts = cDate.simplified().split(QLatin1Char(' '));
    if (parts.size() != 3)
        return cDate;
    int month = 0;
    for (int i = 0; i < 12; ++i)
        if (parts.at(0) == QLatin1String(months[i]))
            month = i + 1;
    return QStringLiteral("%1-%2-%3")
        .arg(parts.at(2))
        .arg(month, 2, 10, QLatin1Char('0'))
        .arg(parts.at(1).toInt(), 2, 10, QLatin1Char('0'));
}

QString MainWindow::aboutText() const
{
    const QString notice = Lang::pick(QStringLiteral("Copyright © 2023 版权所有，保留所有权利。"),
        QStringLiteral("Copyright © 2023 版權所有，保留所有權利。"),
        QStringLiteral("Copyright © 2023 All rights reserved."));
    QSettings ini(iniPath(), QSettings::IniFormat);
    if (ini.value(QStringLiteral("LAST2/Sel"), 0).toInt() == 0)
        return kTitlePrefix + versionText() + QLatin1Char('\n') + notice;
    return QStringLiteral("Ostrel-%1(%2 %3)")
               .arg(versionText(), buildDateText(QStringLiteral(__DATE__)), QStringLiteral(__TIME__))
        + QLatin1Char('\n') + notice + QLatin1Char(',') + companyName();
}

void MainWindow::deviceWatch()
{
    if (!m_send[0]->isRunning() && !m_send[1]->isRunning()) {
        const QString info = deviceInfoText();
        if (!info.isEmpty() && !m_deviceShown) {
            setTitle(kTitlePrefix + versionText() + QStringLiteral(" - ") + info);
            m_deviceShown = true;
        } else if (info.isEmpty() && m_deviceShown) {
            handleDeviceClosed();
            setTitle(kTitlePrefix + versionText());
            m_deviceShown = false;
        }
    }
    const QString rate = QStringLiteral("%1/s;");
    ui->labelCh1RxRate->setText(rate.arg(m_perSecond[0]));
    ui->labelCh1TxRate->setText(rate.arg(m_perSecond[2]));
    ui->labelCh2RxRate->setText(rate.arg(m_perSecond[1]));
    ui->labelCh2TxRate->setText(rate.arg(m_perSecond[3]));
    for (quint32 &n : m_perSecond)
        n = 0;
    QTimer::singleShot(1000, this, &MainWindow::deviceWatch);
}

void MainWindow::handleDeviceClosed()
{
    ui->ch1SendBtn->setEnabled(false);
    ui->ch2SendBtn->setEnabled(false);
    for (recvThread *t : m_recv)
        if (t->isRunning())
            t->stop();
    closeDevice();
    writeLog(tr("设备已关闭！"));
}

void MainWindow::deviceClosedByUser()
{
    handleDeviceClosed();
    setTitle(kTitlePrefix + versionText());
    m_deviceShown = false;
}

void MainWindow::interfaceAction()
{
    InterfaceDlg dlg(Interfaces::current(), this);
    if (dlg.exec() != QDialog::Accepted)
        return;
    const Interfaces::Mapping chosen = dlg.mapping();
    if (chosen == Interfaces::current())
        return;
    // The open device belongs to the old interface: closed first, as the close button does.
    if (isDeviceOpen())
        deviceClosedByUser();
    if (Interfaces::use(chosen))
        Interfaces::store(chosen);
    ui->actionUpgrade->setEnabled(Interfaces::isHaldenD2());
}

void MainWindow::openDeviceAction()
{
    OpenDlg dlg(m_deviceIndex, this);
    connect(&dlg, &OpenDlg::deviceClosed, this, &MainWindow::deviceClosedByUser);
    dlg.exec();
    m_deviceIndex = dlg.deviceIndex();
    channelsOpened(dlg.channelOpened(0), dlg.channelOpened(1));
}

void MainWindow::channelsOpened(bool ch0, bool ch1)
{
    const QString opened[2] = { tr("通道1打开成功！"), tr("通道2打开成功！") };
    QPushButton *sendButtons[2] = { ui->ch1SendBtn, ui->ch2SendBtn };
    const bool wasOpened[2] = { ch0, ch1 };
    for (int ch = 0; ch < 2; ++ch) {
        if (wasOpened[ch]) {
            if (m_recv[ch]->isRunning()) {
                m_recv[ch]->stop();
                m_recv[ch]->wait();
            }
            m_recv[ch]->setRecvParams(m_scanTime, m_framesPerRecv);
            m_recv[ch]->start(QThread::TimeCriticalPriority);
            // A channel re-opened under a running send (an endless one goes on
            // once the channel is back) keeps its send button off until endSend.
            sendButtons[ch]->setEnabled(!m_send[ch]->isRunning() && !m_fileSending);
            writeLog(opened[ch]);
        } else {
            sendButtons[ch]->setEnabled(isChannelOpen(ch) && !m_send[ch]->isRunning() && !m_fileSending);
        }
    }
}

void MainWindow::upgradeAction() { DeviceActions::upgradeFirmware(this, m_deviceIndex); }

void MainWindow::writeLog(const QString &msg)
{
    ui->logEdit->append(QDateTime::currentDateTime().toString(QStringLiteral("MM-dd hh:mm:ss")) + tr("：") + msg);
}

void MainWindow::canLog(QString msg)
{
    ui->logEdit->append(QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz")) + msg);
}
