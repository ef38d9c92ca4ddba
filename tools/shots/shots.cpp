// ostrel_shots OUTDIR: starts the real MainWindow on the built-in simulated
// adapter from a fresh temporary run-time folder, walks through the program
// the way a new user does (open the device, accept the channel parameters,
// watch the traffic, send, open every dialog) and saves what the windows show
// as PNG files in OUTDIR, in Simplified Chinese, Traditional Chinese (main
// window only) and English. Run it on a real display server (xcb, for example
// under xvfb-run) so fonts are rendered as a user sees them.
#include "AppPaths.h"
#include "CanBusAdapter.h"
#include "DeviceLayer.h"
#include "Interfaces.h"
#include "ListSendModel.h"
#include "MainWindow.h"
#include "MyTableModel.h"
#include "Prompt.h"
#include "SiftDialog.h"
#include "SignalPlot.h"
#include "SimulatedAdapter.h"
#include "listSendDlg.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDir>
#include <QDirIterator>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QSpinBox>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeWidget>

#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

QString g_out;
int g_saved = 0;

// A calmer bus than the shipped node file, so a screenful of rows shows every
// kind of frame and the frames sent from the send panel stay in view.
const char kShotNodes[] = R"(; screenshot bus: every node of the shipped file, slower
[engine]
id = 0x100
length = 8
period = 200
data = 00 10 27 64
errors = 8

[body]
id = 0x18FF0010
extended = 1
length = 8
period = 500
data = 01 02 03 04 05 06 07 08
counter = 7

[camera]
id = 0x200
fd = 1
brs = 1
length = 16
period = 400
data = AA 55
counter = 2

[radar]
id = 0x300
fd = 1
length = 12
period = 800

[diagnostic]
id = 0x7DF
remote = 1
length = 8
period = 2000

[gateway]
id = 0x1CEBA55
extended = 1
fd = 1
brs = 1
length = 64
period = 1000
data = 47 57
counter = 63
)";

void settle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

[[noreturn]] void fail(const QString &what)
{
    std::fprintf(stderr, "ostrel_shots: %s\n", qPrintable(what));
    std::exit(1);
}

template <typename T> T *child(const QObject *parent, const char *name)
{
    T *x = parent->findChild<T *>(QLatin1String(name));
    if (!x)
        fail(QStringLiteral("no %1 named %2").arg(QLatin1String(T::staticMetaObject.className()), QLatin1String(name)));
    return x;
}

void click(const QObject *parent, const char *button) { child<QAbstractButton>(parent, button)->click(); }

void trigger(const QObject *w, const char *action) { child<QAction>(w, action)->trigger(); }

void save(const QImage &image, const QString &name)
{
    const QString path = g_out + QLatin1Char('/') + name + QStringLiteral(".png");
    if (!image.save(path, "PNG", 0))
        fail(QStringLiteral("cannot write ") + path);
    ++g_saved;
    std::printf("%s %dx%d\n", qPrintable(path), image.width(), image.height());
}

// The window as on a desktop: its content under a plain title bar carrying
// the window title (the virtual X server runs no window manager to draw one).
QImage framed(QWidget *w, const QImage &content)
{
    const int bar = 28;
    QImage image(content.width() + 2, content.height() + bar + 1, QImage::Format_RGB32);
    image.fill(QColor(0x3C, 0x3F, 0x41));
    QPainter p(&image);
    QLinearGradient ground(0, 0, 0, bar);
    ground.setColorAt(0, QColor(0x4A, 0x4E, 0x52));
    ground.setColorAt(1, QColor(0x36, 0x39, 0x3B));
    p.fillRect(0, 0, image.width(), bar, ground);
    QFont font = w->font();
    font.setBold(true);
    p.setFont(font);
    p.setPen(Qt::white);
    p.drawText(QRect(10, 0, image.width() - 40, bar), Qt::AlignVCenter | Qt::AlignLeft, w->windowTitle());
    p.setPen(QPen(QColor(0xD0, 0xD0, 0xD0), 1.6));
    p.setRenderHint(QPainter::Antialiasing);
    const QPointF x(image.width() - 18, bar / 2.0);
    p.drawLine(x + QPointF(-5, -5), x + QPointF(5, 5));
    p.drawLine(x + QPointF(-5, 5), x + QPointF(5, -5));
    p.drawImage(1, bar, content);
    return image;
}

void shoot(QWidget *w, const QString &name)
{
    settle(250);
    save(framed(w, w->grab().toImage()), name);
}

// Runs `answer` on the next modal dialog of type T as soon as it is up. Arm it
// before the action that opens the dialog: exec() returns once `answer` has
// closed it.
template <typename T> void onModal(std::function<void(T *)> answer)
{
    auto *poll = new QTimer;
    auto *clock = new QElapsedTimer;
    clock->start();
    QObject::connect(poll, &QTimer::timeout, [poll, clock, answer] {
        T *dlg = qobject_cast<T *>(QApplication::activeModalWidget());
        if (!dlg && clock->elapsed() < 10000)
            return;
        poll->stop();
        poll->deleteLater();
        delete clock;
        if (!dlg)
            fail(QStringLiteral("no modal %1 came up").arg(QLatin1String(T::staticMetaObject.className())));
        answer(dlg);
    });
    poll->start(20);
}

// The same for a dialog found by object name (the classes of the side
// dialogs are not needed here).
void onModalNamed(const char *name, std::function<void(QWidget *)> answer)
{
    auto *poll = new QTimer;
    auto *clock = new QElapsedTimer;
    clock->start();
    const QString wanted = QLatin1String(name);
    QObject::connect(poll, &QTimer::timeout, [poll, clock, answer, wanted] {
        QWidget *dlg = QApplication::activeModalWidget();
        if ((!dlg || dlg->objectName() != wanted) && clock->elapsed() < 10000)
            return;
        poll->stop();
        poll->deleteLater();
        delete clock;
        if (!dlg || dlg->objectName() != wanted)
            fail(QStringLiteral("no modal %1 came up").arg(wanted));
        answer(dlg);
    });
    poll->start(20);
}

// Shoots a modal dialog that `open` brings up and closes it with its button.
void shootModal(const char *dialog, const QString &name, const char *closeButton, const std::function<void()> &open)
{
    onModalNamed(dialog, [name, closeButton](QWidget *dlg) {
        shoot(dlg, name);
        click(dlg, closeButton);
    });
    open();
}

// A menu of the menu bar dropped down, drawn over the top of the window as
// the user sees it.
void shootMenu(QMainWindow *w, QMenu *menu, const QString &name)
{
    QMenuBar *bar = w->menuBar();
    const QRect title = bar->actionGeometry(menu->menuAction());
    menu->popup(bar->mapToGlobal(title.bottomLeft()));
    settle(300);
    const QPoint at = w->mapFromGlobal(menu->mapToGlobal(QPoint(0, 0)));
    QImage image = w->grab().toImage();
    {
        QPainter p(&image);
        // The open menu's title is highlighted as on a real desktop.
        p.fillRect(bar->mapTo(w, title.topLeft()).x(), bar->mapTo(w, title.topLeft()).y(), title.width(),
            title.height(), w->palette().highlight());
        p.setPen(w->palette().highlightedText().color());
        p.setFont(bar->font());
        p.drawText(
            QRect(bar->mapTo(w, title.topLeft()), title.size()), Qt::AlignCenter | Qt::TextShowMnemonic, menu->title());
        p.drawPixmap(at, menu->grab());
    }
    menu->hide();
    const int width = qMin(image.width(), qMax(at.x() + menu->width() + 40, 480));
    const int height = qMin(image.height(), at.y() + menu->height() + 24);
    save(image.copy(0, 0, width, height), name);
}

void switchTo(MainWindow *w, const char *action)
{
    trigger(w, action);
    settle(400);
}

// Device management → device operations: open the adapter and both
// channels with the parameters as offered. With `shots`, the open dialog,
// the channel parameters and the acceptance filter editor are saved.
void openDevice(MainWindow *w, const QString &lang, bool shots)
{
    onModal<QDialog>([lang, shots](QDialog *open) {
        if (open->objectName() != QLatin1String("OpenDlg"))
            fail(QStringLiteral("expected the open dialog"));
        if (shots)
            shoot(open, QStringLiteral("open_") + lang);
        click(open, "pushButton");
        settle(200);
        onModalNamed("ParaDialog", [lang, shots](QWidget *para) {
            if (shots) {
                shoot(para, QStringLiteral("para_") + lang);
                onModalNamed("FilterDialog", [lang](QWidget *filter) {
                    auto *kind = child<QComboBox>(filter, "comboBox");
                    auto *start = child<QSpinBox>(filter, "startSpin");
                    auto *end = child<QSpinBox>(filter, "endSpin");
                    kind->setCurrentIndex(0);
                    start->setValue(0x100);
                    end->setValue(0x1FF);
                    click(filter, "btnAdd");
                    kind->setCurrentIndex(3);
                    start->setValue(0x18FF0010);
                    click(filter, "btnAdd");
                    kind->setCurrentIndex(2);
                    start->setValue(0x1CEB0000);
                    end->setValue(0x1CEBFFFF);
                    click(filter, "btnAdd");
                    shoot(filter, QStringLiteral("filter_") + lang);
                    // The shots run without a hardware filter.
                    click(filter, "btnCancel");
                });
                click(para, "filterModeCheck");
                settle(100);
                if (child<QCheckBox>(para, "filterModeCheck")->isChecked())
                    click(para, "filterModeCheck");
            }
            click(para, "btnConfirm");
        });
        click(open, "pushButton_2");
        settle(300);
        if (shots)
            shoot(open, QStringLiteral("openstate_") + lang);
        click(open, "pushButton_7");
    });
    trigger(w, "actionOpenDevice");
    settle(300);
}

void closeDevice(MainWindow *w)
{
    onModal<QDialog>([](QDialog *open) {
        click(open, "pushButton_5");
        settle(100);
        click(open, "pushButton_7");
    });
    trigger(w, "actionOpenDevice");
    settle(300);
}

void setEdit(MainWindow *w, const char *edit, const QString &text) { child<QLineEdit>(w, edit)->setText(text); }

// A fresh list, ten frames sent from channel 1 with identifier and data
// increment, and enough simulated traffic around them to fill the table.
void fillTable(MainWindow *w)
{
    click(w, "cleanListBtn");
    click(w, "pushButton");
    settle(1200);
    setEdit(w, "ch1SendIDEdit", QStringLiteral("123"));
    setEdit(w, "ch1SendDataEdit", QStringLiteral("11 22 33 44 55 66 77 88"));
    setEdit(w, "ch1SendCountEdit", QStringLiteral("10"));
    child<QCheckBox>(w, "ch1IDAddChk")->setChecked(true);
    child<QCheckBox>(w, "ch1DataAddChk")->setChecked(true);
    setEdit(w, "ch1SendInvEdit", QStringLiteral("100"));
    click(w, "ch1SendBtn");
    // Taken as soon as the panel is idle again, with the sent frames in view.
    auto *stop = child<QAbstractButton>(w, "ch1StopSendBtn");
    QElapsedTimer clock;
    clock.start();
    do
        settle(10);
    while ((stop->isEnabled() || clock.elapsed() < 300) && clock.elapsed() < 10000);
    if (stop->isEnabled())
        fail(QStringLiteral("channel 1 never finished sending"));
}

void shootMenus(MainWindow *w, const QString &lang)
{
    const struct {
        const char *menu;
        const char *name;
    } menus[]
        = { { "menuDevice", "menu_device_" }, { "menuMultiSend", "menu_multisend_" }, { "menuParam", "menu_param_" },
              { "menuInfo", "menu_info_" }, { "menuLanguage", "menu_language_" }, { "menuHelp", "menu_help_" } };
    for (const auto &m : menus)
        shootMenu(w, child<QMenu>(w, m.menu), QLatin1String(m.name) + lang);
}

// Right click on the ID column: the context menu, then the filter pop-up
// with two identifiers ticked.
void shootFilterPopup(MainWindow *w, const QString &lang)
{
    auto *view = child<QTableView>(w, "tableView");
    const int column = 5;
    const QPoint inView(view->columnViewportPosition(column) + 30, view->viewport()->height() / 3);
    const QPoint global = view->viewport()->mapToGlobal(inView);
    QCursor::setPos(global);

    auto *poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll, w, lang] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu)
            return;
        poll->stop();
        poll->deleteLater();
        settle(250);
        QImage image = w->grab().toImage();
        const QPoint at = w->mapFromGlobal(menu->mapToGlobal(QPoint(0, 0)));
        {
            QPainter p(&image);
            p.drawPixmap(at, menu->grab());
        }
        const QRect around
            = QRect(at - QPoint(260, 120), QSize(menu->width() + 520, menu->height() + 240)).intersected(image.rect());
        save(image.copy(around), QStringLiteral("context_") + lang);
        menu->close();
    });
    poll->start(20);
    QContextMenuEvent event(QContextMenuEvent::Mouse, inView, global);
    QCoreApplication::sendEvent(view->viewport(), &event);
    settle(100);

    w->openSiftFor(column, w->mapFromGlobal(global));
    QDialog *sift = w->siftDialog();
    settle(300);
    for (QCheckBox *box : sift->findChildren<QCheckBox *>()) {
        if (box->text() == QLatin1String("0x100") || box->text() == QLatin1String("0x200"))
            box->setChecked(true);
    }
    settle(200);
    QImage image = w->grab().toImage();
    {
        QPainter p(&image);
        const QPoint at = w->mapFromGlobal(sift->mapToGlobal(QPoint(0, 0)));
        p.drawPixmap(at, sift->grab());
        // The pop-up has no frame of its own; a thin line sets it off.
        p.setPen(QColor(0x60, 0x60, 0x60));
        p.drawRect(QRect(at, sift->size()).adjusted(-1, -1, 0, 0));
    }
    save(framed(w, image), QStringLiteral("siftmain_") + lang);
    click(sift, "btnCancel");
    settle(100);
}

// The list send window with a small list, two rows of it running on channel 1.
void shootListSend(MainWindow *w, const QString &lang)
{
    trigger(w, "actionListSend");
    listSendDlg *dlg = w->listSendDialog();
    ListSendModel *model = dlg->model();
    auto row = [](uint32_t id, int period, const char *name, const char *data) {
        ListSendRow r;
        r.id = id;
        r.periodMs = period;
        r.name = QString::fromUtf8(name);
        r.data = QByteArray::fromHex(data);
        r.length = r.data.size();
        return r;
    };
    ListSendRow engine = row(0x0C4, 10, "engine", "1F40003200000000");
    ListSendRow wheels = row(0x1A0, 20, "wheels", "0000000000000000");
    wheels.dataIncrement = true;
    ListSendRow door = row(0x18FF1021, 100, "door", "0102030405060708090A0B0C");
    door.extended = true;
    door.protocol = 2;
    door.count = 50;
    ListSendRow gateway = row(0x3E8, 1000, "gateway", "AA55");
    gateway.channel = 1;
    gateway.enabled = false;
    model->setRows({ engine, wheels, door, gateway });
    dlg->resize(1380, 300);
    model->start({ 0, 1 });
    settle(700);
    dlg->table()->clearSelection();
    shoot(dlg, QStringLiteral("listsend_") + lang);
    dlg->stopAll();
    model->setRows({});
    dlg->hide();
    settle(100);
}

// The list send window's "edit by signal" on a row carrying the body node's
// frame (the example database loaded): its signals decoded from the row, a
// cabin temperature typed below the signal's range and held.
void shootSignalEdit(MainWindow *w, const QString &lang)
{
    trigger(w, "actionListSend");
    listSendDlg *dlg = w->listSendDialog();
    ListSendRow body;
    body.id = 0x18FF0010;
    body.extended = true;
    body.name = QStringLiteral("BodyStatus");
    body.data = QByteArray::fromHex("0102027605640100");
    dlg->model()->setRows({ body });
    dlg->resize(1380, 300);
    dlg->table()->selectRow(0);
    onModalNamed("SignalEditDlg", [lang](QWidget *edit) {
        auto *cabin = child<QLineEdit>(edit, "value_CabinTemp");
        cabin->setText(QStringLiteral("-20"));
        emit cabin->editingFinished();
        shoot(edit, QStringLiteral("sigedit_") + lang);
        click(edit, "pbnCancel");
    });
    click(dlg, "pbnSignals");
    dlg->model()->setRows({});
    dlg->hide();
    settle(100);
}

void shootDialogs(MainWindow *w, const QString &lang)
{
    // The interface dialog with QtSerialBus interfaces picked for both channels; cancelled.
    onModalNamed("InterfaceDlg", [lang](QWidget *dlg) {
        auto choose = [dlg](const char *combo, const QString &prefix) {
            auto *box = child<QComboBox>(dlg, combo);
            for (int i = 0; i < box->count(); ++i)
                if (box->itemText(i).startsWith(prefix)) {
                    box->setCurrentIndex(i);
                    return;
                }
            fail(QStringLiteral("no %1 entry in the interface dialog").arg(prefix));
        };
        choose("ch1Combo", QStringLiteral("virtualcan: can0"));
        choose("ch2Combo", QStringLiteral("virtualcan: can1"));
        shoot(dlg, QStringLiteral("interface_") + lang);
        click(dlg, "btnCancel");
    });
    trigger(w, "actionInterface");

    shootModal("INfDialog", QStringLiteral("info_") + lang, "pushButton", [w] { trigger(w, "actionDeviceInfo"); });

    shootModal("ParaDialog", QStringLiteral("canset_") + lang, "btnCancel", [w] { trigger(w, "actionCanSetting"); });

    shootModal("ParaDialog", QStringLiteral("view_") + lang, "btnCancel", [w] { trigger(w, "actionViewParam"); });

    trigger(w, "actionFileSend");
    QDialog *file = w->findChild<QDialog *>(QStringLiteral("fileDlg"));
    if (!file)
        fail(QStringLiteral("no file send dialog"));
    const QString oldPath = child<QLineEdit>(file, "lineEdit")->text();
    child<QLineEdit>(file, "lineEdit")->setText(QStringLiteral("/home/user/captures/bus.blf"));
    shoot(file, QStringLiteral("filesend_") + lang);
    child<QLineEdit>(file, "lineEdit")->setText(oldPath);
    file->hide();

    onModalNamed("savefileDlg", [lang](QWidget *dlg) {
        child<QLineEdit>(dlg, "lineEdit")->setText(QStringLiteral("/home/user/captures/bus.blf"));
        // The split option as a long capture uses it; cancelled, so nothing is stored.
        child<QCheckBox>(dlg, "splitCheck")->setChecked(true);
        shoot(dlg, QStringLiteral("savefile_") + lang);
        click(dlg, "pbCancel");
    });
    click(w, "checkBox");

    shootModal("DataDlg", QStringLiteral("dataedit_") + lang, "pushButton_2", [w] { click(w, "pushButton_3"); });

    trigger(w, "actionListBuffer");
    QDialog *value = w->findChild<QDialog *>(QStringLiteral("valueDialog"));
    if (!value)
        fail(QStringLiteral("no value dialog"));
    shoot(value, QStringLiteral("value_") + lang);
    click(value, "btnValueCancel");

    shootListSend(w, lang);

    // The upgrade is offered only for an image newer than the adapter's
    // firmware; one is shipped for this picture alone, so that opening the
    // device in the next language offers nothing.
    const QString image = AppPaths::appDir() + QStringLiteral("/firmware/HaldenD2-V2.12-20240601.bin");
    QFile newer(image);
    if (!newer.open(QIODevice::WriteOnly) || newer.write("image") < 0)
        fail(QStringLiteral("cannot write ") + image);
    newer.close();
    shootModal("UpdateDlg", QStringLiteral("upgrade_") + lang, "pushButton_2", [w] { trigger(w, "actionUpgrade"); });
    QFile::remove(image);

    // The About box is a real message box: let it show for once.
    Prompt::recordForTests(false);
    onModal<QMessageBox>([lang](QMessageBox *box) {
        shoot(box, QStringLiteral("about_") + lang);
        box->accept();
    });
    trigger(w, "actionAbout");
    Prompt::recordForTests(true);
    settle(200);
}

// Parts of the main window for the chapters that explain them: the
// statistics with the table controls, and the first send panel.
void shootParts(MainWindow *w, const QString &lang)
{
    const QImage whole = w->grab().toImage();
    QRect stats;
    for (const char *name : { "statsGroup", "checkBox", "pauseCheck", "cleanListBtn", "pushButton_2" }) {
        QWidget *part = child<QWidget>(w, name);
        stats |= QRect(part->mapTo(w, QPoint(0, 0)), part->size());
    }
    save(whole.copy(stats.adjusted(-6, -2, 6, 6).intersected(whole.rect())), QStringLiteral("stats_") + lang);
    QWidget *panel = child<QWidget>(w, "ch1SendGroup");
    const QRect area(panel->mapTo(w, QPoint(0, 0)), panel->size());
    save(whole.copy(area.adjusted(-6, -6, 6, 6).intersected(whole.rect())), QStringLiteral("sendpanel_") + lang);
}

// The shipped example database on the simulated bus: three counters plotted
// for a few seconds, the body node's frame selected in the signal panel.
void shootSignals(MainWindow *w, const QString &lang)
{
    const QSize size = w->size();
    w->resize(1560, 960);
    settle(200);
    trigger(w, "actionLoadExampleDbc");
    shootMenu(w, w->databaseMenu(), QStringLiteral("menu_dbc_") + lang);
    shootSignalEdit(w, lang);
    QTreeWidget *tree = w->signalPlot()->signalTree();
    QTreeWidgetItem *channel1 = tree->topLevelItem(0);
    const struct {
        int message;
        int signal;
    } plotted[] = { { 0, 0 }, { 1, 6 }, { 2, 2 } }; // AliveCounter, BodyCounter, ObjectSlot
    for (const auto &p : plotted)
        channel1->child(p.message)->child(p.signal)->setCheckState(0, Qt::Checked);
    openDevice(w, lang, false);
    click(w, "cleanListBtn");
    settle(6000);
    child<QCheckBox>(w, "pauseCheck")->setChecked(true);
    settle(200);
    auto *view = child<QTableView>(w, "tableView");
    const MyTableModel *model = w->frameModel();
    for (int r = model->rowCount() - 1; r >= 0; --r) {
        if (model->cellText(r, 5) == QLatin1String("0x18FF0010") && model->cellText(r, 3) == QLatin1String("1")) {
            view->scrollTo(model->index(r, 0));
            view->setCurrentIndex(model->index(r, 0));
            break;
        }
    }
    settle(700);
    shoot(w, QStringLiteral("signals_") + lang);
    child<QCheckBox>(w, "pauseCheck")->setChecked(false);
    closeDevice(w);
    trigger(w, "actionClearDbc");
    w->signalPanelDock()->hide();
    w->signalPlotDock()->hide();
    w->resize(size);
    settle(200);
}

// Information → bus statistics while channel 1 sends a burst: a few seconds
// of figures and chart (the engine node of the screenshot bus fails now and
// then, so error frames show).
void shootBusStats(MainWindow *w, const QString &lang)
{
    trigger(w, "actionBusStats");
    auto *stats = w->findChild<QDialog *>(QStringLiteral("BusStatsWindow"));
    if (!stats)
        fail(QStringLiteral("no bus statistics window"));
    stats->resize(1100, 600);
    stats->move(40, 40);
    setEdit(w, "ch1SendCountEdit", QStringLiteral("2500"));
    setEdit(w, "ch1SendInvEdit", QStringLiteral("1"));
    child<QCheckBox>(w, "ch1IDAddChk")->setChecked(false);
    settle(2200);
    click(w, "ch1SendBtn");
    settle(4200);
    click(w, "ch1StopSendBtn");
    settle(3200);
    shoot(stats, QStringLiteral("busstats_") + lang);
    stats->close();
    settle(100);
}

void tour(MainWindow *w, const char *languageAction, const QString &lang)
{
    switchTo(w, languageAction);
    trigger(w, "actionClearLog");
    openDevice(w, lang, true);
    fillTable(w);
    shoot(w, QStringLiteral("main_") + lang);
    shootParts(w, lang);
    shootMenus(w, lang);
    shootFilterPopup(w, lang);
    shootDialogs(w, lang);
    shootBusStats(w, lang);
    closeDevice(w);
    shootSignals(w, lang);
}

void run(MainWindow *w)
{
    // Tips and warnings are recorded, never left waiting for a click.
    Prompt::recordForTests(true);
    tour(w, "actionChinese", QStringLiteral("zh"));
    tour(w, "actionTraditional", QStringLiteral("zht"));
    tour(w, "actionEnglish", QStringLiteral("en"));
    const auto boxes = Prompt::shown();
    for (const auto &box : boxes)
        std::fprintf(
            stderr, "ostrel_shots: unexpected message box: %s / %s\n", qPrintable(box.first), qPrintable(box.second));
    std::printf("%d images\n", g_saved);
    qApp->exit(boxes.isEmpty() ? 0 : 1);
}

bool copyFile(const QString &from, const QString &to)
{
    QFile::remove(to);
    return QFile::copy(from, to);
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: ostrel_shots OUTDIR\n");
        return 2;
    }
    g_out = QDir(QString::fromLocal8Bit(argv[1])).absolutePath();
    QDir().mkpath(g_out);
    // The back-ends of the program itself (no Kestrix.dll here): the simulated
    // adapter in use, the QtSerialBus interfaces listed in the interface dialog.
    Interfaces::add(simulatedBackend());
    Interfaces::add(canBusBackend());
    Interfaces::useFirst();

    // A first start: catalogues, company name and language choice as
    // installed, no settings yet, and the calm screenshot bus.
    QTemporaryDir folder;
    QDir root(folder.path());
    for (const char *sub : { "config", "language", "help/Chinese", "help/English", "firmware" })
        root.mkpath(QLatin1String(sub));
    const QString built = QCoreApplication::applicationDirPath();
    for (const char *file : { "language/CN.qm", "language/CNF.qm", "language/EN.qm", "language/config.ini",
             "config/company.txt", "config/simulator.dbc" }) {
        if (!copyFile(built + QLatin1Char('/') + QLatin1String(file), root.filePath(QLatin1String(file))))
            fail(QStringLiteral("missing %1 beside the executable").arg(QLatin1String(file)));
    }
    // The manuals as built, so the help menu lists them.
    const QDir help(built + QStringLiteral("/help"));
    QDirIterator manuals(help.path(), { QStringLiteral("*.pdf") }, QDir::Files, QDirIterator::Subdirectories);
    while (manuals.hasNext()) {
        const QString from = manuals.next();
        copyFile(from, root.filePath(QStringLiteral("help/") + help.relativeFilePath(from)));
    }
    QFile nodes(root.filePath(QStringLiteral("config/simulator.ini")));
    if (!nodes.open(QIODevice::WriteOnly) || nodes.write(kShotNodes) < 0)
        fail(QStringLiteral("cannot write the node file"));
    nodes.close();
    AppPaths::setAppDirForTests(folder.path());

    auto *w = new MainWindow;
    w->resize(1280, 800);
    w->move(0, 0);
    w->show();
    QTimer::singleShot(800, w, [w] { run(w); });
    const int rc = app.exec();
    delete w;
    return rc;
}
