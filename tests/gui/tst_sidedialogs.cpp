// The side dialogs driven through their real widgets: the capture-file
// chooser, the CSV file send dialog, the data byte editor and list send.
#include "DataDlg.h"
#include "DeviceLayer.h"
#include "FileDialogs.h"
#include "SettingsStore.h"
#include "fileDlg.h"
#include "listSendDlg.h"
#include "savefileDlg.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTranslator>
#include <QtTest>

Q_DECLARE_METATYPE(QTableWidgetItem *)

#ifdef Q_OS_LINUX
#include <sys/inotify.h>
#include <unistd.h>
#endif

namespace {
template <typename T> T *child(QWidget *w, const char *name)
{
    T *c = w->findChild<T *>(QLatin1String(name));
    if (!c)
        qFatal("no child %s", name);
    return c;
}

QString rowText(QTableWidget *table, int row)
{
    QStringList cells;
    for (int c = 0; c < table->columnCount(); ++c)
        cells << table->item(row, c)->text();
    return cells.join(QLatin1Char('|'));
}

QMap<QString, QString> readStoreFile(const QString &path)
{
    QFile f(path);
    QMap<QString, QString> map;
    if (!f.open(QIODevice::ReadOnly))
        return map;
    for (const QString &entry : QString::fromUtf8(f.readAll()).split(QLatin1Char(';'))) {
        const QStringList kv = entry.split(QLatin1Char(','));
        if (kv.size() == 2)
            map.insert(kv.at(0), kv.at(1));
    }
    return map;
}

// Counts how often a file is closed after writing, so a test can tell one
// store write from several that end with the same content.
class WriteCounter {
public:
    explicit WriteCounter(const QString &file)
        : m_name(QFileInfo(file).fileName().toLocal8Bit())
    {
#ifdef Q_OS_LINUX
        m_fd = inotify_init1(IN_NONBLOCK);
        // Opens are watched too: inotify merges identical back-to-back events,
        // and an open between two closes keeps every close countable.
        inotify_add_watch(
            m_fd, QFile::encodeName(QFileInfo(file).absolutePath()).constData(), IN_OPEN | IN_CLOSE_WRITE);
#endif
    }
    ~WriteCounter()
    {
#ifdef Q_OS_LINUX
        close(m_fd);
#endif
    }
    static bool supported()
    {
#ifdef Q_OS_LINUX
        return true;
#else
        return false;
#endif
    }
    int count()
    {
        int n = 0;
#ifdef Q_OS_LINUX
        alignas(inotify_event) char buf[4096];
        ssize_t len;
        while ((len = read(m_fd, buf, sizeof buf)) > 0) {
            for (char *p = buf; p < buf + len;) {
                auto *ev = reinterpret_cast<inotify_event *>(p);
                if ((ev->mask & IN_CLOSE_WRITE) && ev->len && m_name == ev->name)
                    ++n;
                p += sizeof(inotify_event) + ev->len;
            }
        }
#endif
        return n;
    }

private:
    QByteArray m_name;
    int m_fd = -1;
};
} // namespace

class TestSideDialogs : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void dataDlgFill_data();
    void dataDlgFill();
    void dataDlgEdit_data();
    void dataDlgEdit();
    void dataDlgBitClick_data();
    void dataDlgBitClick();
    void dataDlgButtons_data();
    void dataDlgButtons();

    void fileDlgRestore_data();
    void fileDlgRestore();
    void fileDlgSend_data();
    void fileDlgSend();
    void fileDlgBackToIdle_data();
    void fileDlgBackToIdle();
    void fileDlgBrowse_data();
    void fileDlgBrowse();

    void savefileBrowse_data();
    void savefileBrowse();
    void savefileClose_data();
    void savefileClose();

    void listSendCloses();
    void languages_data();
    void languages();

private:
    QString storePath() const { return m_dir->filePath(QStringLiteral("config/setdb.txt")); }
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QTranslator> m_translator;
};

void TestSideDialogs::initTestCase() { qRegisterMetaType<QTableWidgetItem *>(); }

void TestSideDialogs::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QDir(m_dir->path()).mkpath(QStringLiteral("config"));
    SettingsStore::load(storePath());
    FileDialogs::queueAnswersForTests({});
}

void TestSideDialogs::cleanup()
{
    if (m_translator) {
        QCoreApplication::removeTranslator(m_translator.get());
        m_translator.reset();
    }
    setLanguageCode(0);
    while (FileDialogs::hasQueuedAnswers())
        FileDialogs::getOpenFileName(nullptr, QString(), QString(), QString());
}

// ---- data byte editor ----

void TestSideDialogs::dataDlgFill_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("rows");
    QTest::newRow("no leading zeros, bit 7 first") << QByteArray("\x00\x07\x80\xab", 4)
                                                   << QStringList { "0|0|0|0|0|0|0|0|0|0", "7|7|0|0|0|0|0|1|1|1",
                                                          "80|128|1|0|0|0|0|0|0|0", "AB|171|1|0|1|0|1|0|1|1" };
    QTest::newRow("zero count") << QByteArray() << QStringList {};
}

void TestSideDialogs::dataDlgFill()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, rows);
    DataDlg dlg(reinterpret_cast<const uint8_t *>(bytes.constData()), bytes.size());
    auto *table = child<QTableWidget>(&dlg, "tableWidget");
    QCOMPARE(child<QLabel>(&dlg, "labelLength")->text(), QString::number(bytes.size()));
    QCOMPARE(table->rowCount(), rows.size());
    for (int r = 0; r < rows.size(); ++r) {
        QCOMPARE(rowText(table, r), rows.at(r));
        for (int c = 2; c < 10; ++c)
            QCOMPARE(table->item(r, c)->background().color(), QColor(128, 128, 255));
    }
    QCOMPARE(dlg.result(), bytes);
}

void TestSideDialogs::dataDlgEdit_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("row");
    QTest::newRow("hex keeps the low byte") << 0 << "1FF"
                                            << "FF|255|1|1|1|1|1|1|1|1";
    QTest::newRow("hex lower case") << 0 << "a5"
                                    << "A5|165|1|0|1|0|0|1|0|1";
    QTest::newRow("decimal wraps") << 1 << "300"
                                   << "2C|44|0|0|1|0|1|1|0|0";
    QTest::newRow("hex not a number") << 0 << "zz"
                                      << "0|0|0|0|0|0|0|0|0|0";
    QTest::newRow("decimal given hex digits") << 1 << "1A"
                                              << "0|0|0|0|0|0|0|0|0|0";
}

void TestSideDialogs::dataDlgEdit()
{
    QFETCH(int, column);
    QFETCH(QString, typed);
    QFETCH(QString, row);
    const uint8_t bytes[] = { 0x11, 0x22, 0x33 };
    DataDlg dlg(bytes, 3);
    dlg.show();
    QVERIFY(QTest::qWaitForWindowActive(&dlg));
    auto *table = child<QTableWidget>(&dlg, "tableWidget");
    QSignalSpy changes(table, &QTableWidget::itemChanged);

    table->setFocus();
    table->setCurrentCell(1, column);
    QTest::keyClick(table, Qt::Key_F2);
    auto *editor = qobject_cast<QLineEdit *>(QApplication::focusWidget());
    QVERIFY(editor);
    editor->selectAll();
    QTest::keyClicks(editor, typed);
    QTest::keyClick(editor, Qt::Key_Return);

    // The delegate commits the editor's text from the event loop.
    QTRY_COMPARE_WITH_TIMEOUT(rowText(table, 1), row, 2000);
    // Only the user's own edit is signalled; the refill of the row is not.
    QCOMPARE(changes.count(), 1);
    const QByteArray result = dlg.result();
    QCOMPARE(result.size(), 3);
    QCOMPARE(uint8_t(result.at(0)), uint8_t(0x11));
    QCOMPARE(uint8_t(result.at(1)), uint8_t(row.section(QLatin1Char('|'), 1, 1).toUInt()));
    QCOMPARE(uint8_t(result.at(2)), uint8_t(0x33));
}

void TestSideDialogs::dataDlgBitClick_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QList<int>>("clicks");
    QTest::addColumn<int>("expected");
    QTest::newRow("column 2 is bit 7") << 0x00 << QList<int> { 2 } << 0x80;
    QTest::newRow("column 9 is bit 0") << 0xFF << QList<int> { 9 } << 0xFE;
    QTest::newRow("column 5 is bit 4") << 0x5A << QList<int> { 5 } << 0x4A;
    QTest::newRow("two clicks restore") << 0x3C << QList<int> { 4, 4 } << 0x3C;
    QTest::newRow("data columns do not flip") << 0x3C << QList<int> { 0, 1 } << 0x3C;
}

void TestSideDialogs::dataDlgBitClick()
{
    QFETCH(int, value);
    QFETCH(QList<int>, clicks);
    QFETCH(int, expected);
    const uint8_t bytes[] = { 0x00, uint8_t(value) };
    DataDlg dlg(bytes, 2);
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    auto *table = child<QTableWidget>(&dlg, "tableWidget");
    for (int column : clicks) {
        const QRect cell = table->visualItemRect(table->item(1, column));
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, cell.center());
    }
    QCOMPARE(table->item(1, 0)->text(), QString::number(expected, 16).toUpper());
    QCOMPARE(table->item(1, 1)->text(), QString::number(expected));
    QCOMPARE(uint8_t(dlg.result().at(1)), uint8_t(expected));
    QCOMPARE(rowText(table, 0), QStringLiteral("0|0|0|0|0|0|0|0|0|0"));
}

void TestSideDialogs::dataDlgButtons_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("code");
    QTest::newRow("confirm") << "pushButton" << int(QDialog::Accepted);
    QTest::newRow("cancel") << "pushButton_2" << int(QDialog::Rejected);
}

void TestSideDialogs::dataDlgButtons()
{
    QFETCH(QString, button);
    QFETCH(int, code);
    const uint8_t bytes[] = { 0x01 };
    DataDlg dlg(bytes, 1);
    dlg.open();
    QTest::mouseClick(child<QPushButton>(&dlg, qPrintable(button)), Qt::LeftButton);
    QVERIFY(!dlg.isVisible());
    QCOMPARE(static_cast<QDialog &>(dlg).result(), code);
}

// ---- CSV file send dialog ----

void TestSideDialogs::fileDlgRestore_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("channel");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("interval");
    QTest::newRow("fresh store") << QString() << QString() << "ch1" << 1 << 0 << 0;
    QTest::newRow("stored file timing")
        << "sendFile,/data/run.csv;sendFileCH,2;sendFileCnt,5;sendFileJG,1;sendFileJGT,40"
        << "/data/run.csv" << QString::fromUtf8("随文件") << 5 << 1 << 40;
}

void TestSideDialogs::fileDlgRestore()
{
    QFETCH(QString, stored);
    QFETCH(QString, path);
    QFETCH(QString, channel);
    QFETCH(int, count);
    QFETCH(int, mode);
    QFETCH(int, interval);
    if (!stored.isEmpty()) {
        QFile f(storePath());
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(stored.toUtf8());
        f.close();
        SettingsStore::load(storePath());
    }
    fileDlg dlg;
    QCOMPARE(child<QLineEdit>(&dlg, "lineEdit")->text(), path);
    QCOMPARE(child<QComboBox>(&dlg, "comboBox")->currentText(), channel);
    QCOMPARE(child<QSpinBox>(&dlg, "spinBox")->value(), count);
    QCOMPARE(child<QComboBox>(&dlg, "comboBox_2")->currentIndex(), mode);
    QCOMPARE(child<QSpinBox>(&dlg, "spinBox_2")->value(), interval);
    QCOMPARE(child<QSpinBox>(&dlg, "spinBox_2")->isEnabled(), mode == 0);
    QVERIFY(child<QPushButton>(&dlg, "pbSend")->isEnabled());
    QVERIFY(!child<QPushButton>(&dlg, "pbStop")->isEnabled());
}

void TestSideDialogs::fileDlgSend_data()
{
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("spin");
    QTest::addColumn<int>("interval");
    QTest::newRow("fixed interval on ch2") << 1 << 3 << 0 << 250 << 250;
    QTest::newRow("file timing ignores the spin box") << 2 << 1 << 1 << 500 << -1;
}

void TestSideDialogs::fileDlgSend()
{
    QFETCH(int, channel);
    QFETCH(int, count);
    QFETCH(int, mode);
    QFETCH(int, spin);
    QFETCH(int, interval);
    fileDlg dlg;
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    QSignalSpy sent(&dlg, &fileDlg::send);
    auto *spinInterval = child<QSpinBox>(&dlg, "spinBox_2");

    const QString path = m_dir->filePath(QStringLiteral("frames.csv"));
    QTest::keyClicks(child<QLineEdit>(&dlg, "lineEdit"), path);
    child<QComboBox>(&dlg, "comboBox")->setCurrentIndex(channel);
    child<QSpinBox>(&dlg, "spinBox")->setValue(count);
    spinInterval->setValue(spin);
    child<QComboBox>(&dlg, "comboBox_2")->setCurrentIndex(mode);
    QCOMPARE(spinInterval->isEnabled(), mode == 0);

    WriteCounter writes(storePath());
    QTest::mouseClick(child<QPushButton>(&dlg, "pbSend"), Qt::LeftButton);

    QCOMPARE(sent.count(), 1);
    QCOMPARE(sent.at(0), (QVariantList { path, count, interval, channel }));
    const QMap<QString, QString> expected { { "sendFile", path }, { "sendFileCH", QString::number(channel) },
        { "sendFileJG", QString::number(mode) }, { "sendFileCnt", QString::number(count) },
        { "sendFileJGT", QString::number(spin) } };
    QCOMPARE(readStoreFile(storePath()), expected);
    if (WriteCounter::supported())
        QCOMPARE(writes.count(), 1);

    for (const char *name : { "lineEdit", "pbfile", "comboBox", "spinBox", "comboBox_2", "spinBox_2", "pbSend" })
        QVERIFY2(!child<QWidget>(&dlg, name)->isEnabled(), name);
    QVERIFY(child<QPushButton>(&dlg, "pbStop")->isEnabled());
}

void TestSideDialogs::fileDlgBackToIdle_data()
{
    QTest::addColumn<bool>("byStopButton");
    QTest::addColumn<int>("mode");
    QTest::newRow("stop button, fixed interval") << true << 0;
    QTest::newRow("stop button, file timing") << true << 1;
    QTest::newRow("setIdle, fixed interval") << false << 0;
    QTest::newRow("setIdle, file timing") << false << 1;
}

void TestSideDialogs::fileDlgBackToIdle()
{
    QFETCH(bool, byStopButton);
    QFETCH(int, mode);
    fileDlg dlg;
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    QSignalSpy stopped(&dlg, &fileDlg::stop);
    child<QComboBox>(&dlg, "comboBox_2")->setCurrentIndex(mode);
    QTest::mouseClick(child<QPushButton>(&dlg, "pbSend"), Qt::LeftButton);
    QVERIFY(!child<QPushButton>(&dlg, "pbSend")->isEnabled());

    if (byStopButton)
        QTest::mouseClick(child<QPushButton>(&dlg, "pbStop"), Qt::LeftButton);
    else
        dlg.setIdle();

    QCOMPARE(stopped.count(), byStopButton ? 1 : 0);
    for (const char *name : { "lineEdit", "pbfile", "comboBox", "spinBox", "comboBox_2", "pbSend" })
        QVERIFY2(child<QWidget>(&dlg, name)->isEnabled(), name);
    QCOMPARE(child<QSpinBox>(&dlg, "spinBox_2")->isEnabled(), mode == 0);
    QVERIFY(!child<QPushButton>(&dlg, "pbStop")->isEnabled());
}

void TestSideDialogs::fileDlgBrowse_data()
{
    QTest::addColumn<QString>("answer");
    QTest::newRow("chosen") << "/data/other.csv";
    QTest::newRow("cancelled empties the field") << QString();
}

void TestSideDialogs::fileDlgBrowse()
{
    QFETCH(QString, answer);
    fileDlg dlg;
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    auto *edit = child<QLineEdit>(&dlg, "lineEdit");
    edit->setText(QStringLiteral("/data/previous.csv"));
    FileDialogs::queueAnswersForTests({ answer });
    QTest::mouseClick(child<QPushButton>(&dlg, "pbfile"), Qt::LeftButton);
    QVERIFY(!FileDialogs::hasQueuedAnswers());
    QCOMPARE(edit->text(), answer);
}

// ---- capture file chooser ----

void TestSideDialogs::savefileBrowse_data()
{
    QTest::addColumn<QStringList>("answers"); // relative to the temporary folder; "" cancels
    QTest::addColumn<bool>("hint");
    QTest::addColumn<QString>("field");
    QTest::newRow("new file") << QStringList { "new.csv" } << false << "new.csv";
    QTest::newRow("existing file") << QStringList { "old.csv" } << false << "old.csv";
    QTest::newRow("unwritable folder") << QStringList { "missing/x.csv" } << true << "missing/x.csv";
    QTest::newRow("good path after a bad one") << QStringList { "missing/x.csv", "new.csv" } << false << "new.csv";
    QTest::newRow("cancelled changes nothing") << QStringList { "" } << false << "typed.csv";
}

void TestSideDialogs::savefileBrowse()
{
    QFETCH(QStringList, answers);
    QFETCH(bool, hint);
    QFETCH(QString, field);
    QFile old(m_dir->filePath(QStringLiteral("old.csv")));
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("1,=\"10:00:00.000\",rows from last time\n");
    old.close();

    savefileDlg dlg;
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    auto *edit = child<QLineEdit>(&dlg, "lineEdit");
    edit->setText(m_dir->filePath(QStringLiteral("typed.csv")));
    QVERIFY(child<QLabel>(&dlg, "labelHint")->isHidden());
    for (const QString &a : answers) {
        FileDialogs::queueAnswersForTests({ a.isEmpty() ? QString() : m_dir->filePath(a) });
        QTest::mouseClick(child<QPushButton>(&dlg, "pbBrowse"), Qt::LeftButton);
    }

    QCOMPARE(edit->text(), m_dir->filePath(field));
    QCOMPARE(child<QLabel>(&dlg, "labelHint")->isVisible(), hint);
    const QFileInfo target(m_dir->filePath(field));
    if (field == QLatin1String("typed.csv") || hint) {
        QVERIFY(!target.exists());
    } else {
        QVERIFY(target.exists());
        QCOMPARE(target.size(), 0);
    }
}

void TestSideDialogs::savefileClose_data()
{
    QTest::addColumn<bool>("browse");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<int>("mode");
    QTest::newRow("ok after browse, filtered rows") << true << true << 1;
    QTest::newRow("ok with a typed path, all rows") << false << true << 0;
    QTest::newRow("cancel after browse") << true << false << 1;
}

void TestSideDialogs::savefileClose()
{
    QFETCH(bool, browse);
    QFETCH(bool, ok);
    QFETCH(int, mode);
    const QString path = m_dir->filePath(QStringLiteral("capture.csv"));
    savefileDlg dlg;
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    if (browse) {
        FileDialogs::queueAnswersForTests({ path });
        QTest::mouseClick(child<QPushButton>(&dlg, "pbBrowse"), Qt::LeftButton);
    } else {
        QTest::keyClicks(child<QLineEdit>(&dlg, "lineEdit"), path);
    }
    child<QComboBox>(&dlg, "comboBox")->setCurrentIndex(mode);
    QTest::mouseClick(child<QPushButton>(&dlg, ok ? "pbOk" : "pbCancel"), Qt::LeftButton);

    QVERIFY(!dlg.isVisible());
    QCOMPARE(dlg.path(), ok ? path : QString());
    QCOMPARE(dlg.mode(), ok ? mode : 0);
    // The browse test creates the file at once; a typed path is never touched.
    QCOMPARE(QFileInfo::exists(path), browse);
}

// ---- list send and the three languages ----

void TestSideDialogs::listSendCloses()
{
    listSendDlg dlg;
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    QTest::mouseClick(child<QPushButton>(&dlg, "pbnClose"), Qt::LeftButton);
    QVERIFY(!dlg.isVisible());
}

void TestSideDialogs::languages_data()
{
    QTest::addColumn<QString>("catalogue");
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("texts");
    QTest::newRow("Simplified Chinese") << "CN.qm" << 0
                                        << QStringList { "保存文件", "筛选后数据",
                                               "提示：文件创建失败，请选择其他路径。", "发送文件", "随文件",
                                               "固定间隔(ms)", "数据编辑", "长度(字节)：", "列表发送", "停止发送" };
    QTest::newRow("Traditional Chinese") << "CNF.qm" << 1
                                         << QStringList { "保存文件", "篩選後數據",
                                                "提示：文件創建失敗，請選擇其他路徑。", "發送文件", "隨文件",
                                                "固定間隔(ms)", "數據編輯", "長度(字節)：", "列表發送", "停止發送" };
    QTest::newRow("English") << "EN.qm" << 2
                             << QStringList { "Save File", "Filtered Data",
                                    "Tip: the file could not be created, please choose another path.", "Send File",
                                    "From File", "Fixed Interval(ms)", "Data Edit", "Length(Bytes):", "List Send",
                                    "Stop Sending" };
}

void TestSideDialogs::languages()
{
    QFETCH(QString, catalogue);
    QFETCH(int, code);
    QFETCH(QStringList, texts);
    // Built before the switch, so the texts must follow the language change.
    savefileDlg save;
    fileDlg send;
    const uint8_t bytes[] = { 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0 };
    DataDlg data(bytes, 8);
    listSendDlg list;

    m_translator = std::make_unique<QTranslator>();
    QVERIFY(m_translator->load(QCoreApplication::applicationDirPath() + QStringLiteral("/language/") + catalogue));
    QCoreApplication::installTranslator(m_translator.get());
    setLanguageCode(code);

    child<QLabel>(&save, "labelHint")->show();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LanguageChange);
    const QStringList shown { save.windowTitle(), child<QComboBox>(&save, "comboBox")->itemText(1),
        child<QLabel>(&save, "labelHint")->text(), send.windowTitle(),
        child<QComboBox>(&send, "comboBox_2")->itemText(1), child<QComboBox>(&send, "comboBox_2")->itemText(0),
        data.windowTitle(), child<QLabel>(&data, "label")->text(), list.windowTitle(),
        child<QPushButton>(&list, "pbnStop")->text() };
    QCOMPARE(shown, texts);

    const QString shots = qEnvironmentVariable("OSTREL_SCREENSHOT_DIR");
    for (QWidget *dlg : std::initializer_list<QWidget *> { &save, &send, &data, &list }) {
        dlg->show();
        QVERIFY(QTest::qWaitForWindowExposed(dlg));
        // No label, button or choice may be cut off in this language.
        for (QWidget *w : dlg->findChildren<QWidget *>()) {
            if (!w->isVisible())
                continue;
            const QFontMetrics fm = w->fontMetrics();
            if (auto *label = qobject_cast<QLabel *>(w); label && label->wordWrap())
                QVERIFY2(label->heightForWidth(label->width()) <= label->height(), qPrintable(label->text()));
            else if (label)
                QVERIFY2(
                    fm.horizontalAdvance(label->text()) <= label->contentsRect().width(), qPrintable(label->text()));
            else if (auto *button = qobject_cast<QPushButton *>(w))
                QVERIFY2(fm.horizontalAdvance(button->text()) + 8 <= button->width(), qPrintable(button->text()));
            else if (auto *combo = qobject_cast<QComboBox *>(w))
                for (int i = 0; i < combo->count(); ++i)
                    QVERIFY2(fm.horizontalAdvance(combo->itemText(i)) + 24 <= combo->width(),
                        qPrintable(combo->itemText(i)));
        }
        if (!shots.isEmpty())
            dlg->grab().save(
                QStringLiteral("%1/%2_%3.png").arg(shots, dlg->objectName(), catalogue.section('.', 0, 0)));
    }
}

QTEST_MAIN(TestSideDialogs)
#include "tst_sidedialogs.moc"
