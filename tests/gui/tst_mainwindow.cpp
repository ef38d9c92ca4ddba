// The main window's start-up, languages, help menu, About box and device
// watch, driven offscreen on the simulated adapter.
#include "DeviceLayer.h"
#include "MainWindow.h"
#include "MyTableModel.h"
#include "Prompt.h"
#include "RuntimeFolder.h"
#include "SettingsStore.h"
#include "SimControl.h"
#include "SimulatedAdapter.h"

#include <QAction>

#include <QGroupBox>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QTextEdit>
#include <QtTest>

namespace {
QString menuTitle(QWidget *w, const char *name)
{
    auto *m = w->findChild<QMenu *>(QLatin1String(name));
    return m ? m->title() : QStringLiteral("<none>");
}

QString actionText(QWidget *w, const char *name)
{
    auto *a = w->findChild<QAction *>(QLatin1String(name));
    return a ? a->text() : QStringLiteral("<none>");
}

QString logText(QWidget *w)
{
    return w->findChild<QTextEdit *>(QStringLiteral("logEdit"))->toPlainText();
}
} // namespace

class MainWindowTest : public QObject {
    Q_OBJECT
    std::unique_ptr<RuntimeFolder> m_folder;
    std::unique_ptr<MainWindow> m_window;

    MainWindow *start()
    {
        m_window = std::make_unique<MainWindow>();
        m_window->show();
        return m_window.get();
    }

private slots:
    void init()
    {
        installDriver(simulatedDriver());
        SimControl::resetForTests();
        resetDeviceState();
        setLanguageCode(0);
        Prompt::recordForTests(true);
        Prompt::clearShown();
        m_folder = std::make_unique<RuntimeFolder>();
    }
    void cleanup()
    {
        m_window.reset();
        m_folder.reset();
    }

    void startsWithTitleAndChineseMenus()
    {
        MainWindow *w = start();
        QCOMPARE(w->windowTitle(), QStringLiteral("Ostrel-V1.17"));
        QCOMPARE(menuTitle(w, "menuMultiSend"), QStringLiteral("多条发送(&T)"));
        QCOMPARE(w->frameModel()->header().size(), 11);
        QCOMPARE(w->frameModel()->header().at(4), QStringLiteral("收/发"));
    }

    void switchingLanguage_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("catalogue");
        QTest::addColumn<int>("code");
        QTest::addColumn<QStringList>("texts");   // multi-send menu, file send, device menu, merge, log title, header 0, reset button
        QTest::newRow("English") << "actionEnglish" << "EN.qm" << 2
                                 << QStringList{"Multiple Transmiter(&T)", "Fie Transmiter(&F)", "Device Manage(&O)",
                                                "Merge list data(&M)", "Operation Log", "index", "Reset Count"};
        QTest::newRow("Traditional") << "actionTraditional" << "CNF.qm" << 1
                                     << QStringList{"多條發送(&T)", "文件發送(&F)", "設備管理(&O)", "合并相同ID數據(&M)",
                                                    "操作記錄", "序號", "復位計數"};
    }
    void switchingLanguage()
    {
        QFETCH(QString, action);
        QFETCH(QString, catalogue);
        QFETCH(int, code);
        QFETCH(QStringList, texts);
        MainWindow *w = start();
        w->findChild<QAction *>(action)->trigger();
        QCOMPARE(languageCode(), code);
        auto seen = [w] {
            return QStringList{menuTitle(w, "menuMultiSend"), actionText(w, "actionFileSend"),
                               menuTitle(w, "menuDevice"), actionText(w, "actionMerge"),
                               w->findChild<QGroupBox *>(QStringLiteral("logGroupBox"))->title(),
                               w->frameModel()->header().at(0),
                               w->findChild<QPushButton *>(QStringLiteral("pushButton"))->text()};
        };
        // The generated form re-translates on the posted language-change event.
        QTRY_COMPARE(seen(), texts);
        QCOMPARE(SettingsStore::value(QStringLiteral("Language")), catalogue);
        QVERIFY(m_folder->read(QStringLiteral("config/setdb.txt")).contains("Language," + catalogue.toLatin1()));

        // And back to Simplified Chinese.
        w->findChild<QAction *>(QStringLiteral("actionChinese"))->trigger();
        QCOMPARE(menuTitle(w, "menuMultiSend"), QStringLiteral("多条发送(&T)"));
        QTRY_COMPARE(w->findChild<QPushButton *>(QStringLiteral("pushButton"))->text(), QStringLiteral("复位计数"));
        QCOMPARE(menuTitle(w, "menuMultiSend"), QStringLiteral("多条发送(&T)"));
    }

    void missingCatalogueKeepsLanguage()
    {
        QFile::remove(m_folder->path(QStringLiteral("language/EN.qm")));
        MainWindow *w = start();
        w->findChild<QAction *>(QStringLiteral("actionEnglish"))->trigger();
        QCOMPARE(languageCode(), 0);
        QCOMPARE(menuTitle(w, "menuMultiSend"), QStringLiteral("多条发送(&T)"));
        QVERIFY(w->findChild<QAction *>(QStringLiteral("actionChinese"))->isChecked());
        QVERIFY(Prompt::shown().isEmpty());
    }

    void languageAtStartUp_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QByteArray>("store");
        QTest::addColumn<int>("code");
        QTest::newRow("LAST/Sel 2") << QByteArray("[LAST]\nSel=2\n") << QByteArray() << 2;
        QTest::newRow("LAST/Sel 5 out of range") << QByteArray("[LAST]\nSel=5\n") << QByteArray() << 0;
        QTest::newRow("stored choice wins") << QByteArray("[LAST]\nSel=2\n") << QByteArray("Language,CNF.qm") << 1;
    }
    void languageAtStartUp()
    {
        QFETCH(QByteArray, ini);
        QFETCH(QByteArray, store);
        QFETCH(int, code);
        m_folder->write(QStringLiteral("language/config.ini"), ini);
        if (!store.isEmpty())
            m_folder->write(QStringLiteral("config/setdb.txt"), store);
        MainWindow *w = start();
        QCOMPARE(languageCode(), code);
        const QStringList expected = {"多条发送(&T)", "多條發送(&T)", "Multiple Transmiter(&T)"};
        QCOMPARE(menuTitle(w, "menuMultiSend"), expected.at(code));
    }

    void helpMenuListsLowerCasePdfOnly()
    {
        m_folder->write(QStringLiteral("help/Chinese/a.PDF"), "x");
        m_folder->write(QStringLiteral("help/Chinese/b.pdf"), "x");
        QDir(m_folder->path()).mkpath(QStringLiteral("help/Chinese/more"));
        m_folder->write(QStringLiteral("help/Chinese/more/c.pdf"), "x");
        m_folder->write(QStringLiteral("help/English/manual.pdf"), "x");
        MainWindow *w = start();
        auto pdfs = [w] {
            QStringList names;
            for (QAction *a : w->helpMenu()->actions())
                if (a->text().endsWith(QLatin1String("pdf"), Qt::CaseInsensitive))
                    names << a->text();
            return names;
        };
        QCOMPARE(pdfs(), QStringList({"b.pdf", "c.pdf"}));
        w->findChild<QAction *>(QStringLiteral("actionEnglish"))->trigger();
        QCOMPARE(pdfs(), QStringList({"manual.pdf"}));
    }

    void aboutBoxForms_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<bool>("company");
        QTest::addColumn<QString>("pattern");
        QTest::newRow("LAST2 absent: short") << QByteArray() << true << "^Ostrel-V1\\.17\\nCopyright © 2023 [^,]*$";
        QTest::newRow("LAST2 1: long")
            << QByteArray("[LAST2]\nSel=1\n") << true
            << "^Ostrel-V1\\.17\\(\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}\\)\\nCopyright © 2023 .*,奥斯特尔电子科技有限公司$";
        QTest::newRow("missing company file")
            << QByteArray("[LAST2]\nSel=1\n") << false << "^Ostrel-V1\\.17\\(.*\\)\\n.*,公司名称缺失$";
    }
    void aboutBoxForms()
    {
        QFETCH(QByteArray, ini);
        QFETCH(bool, company);
        QFETCH(QString, pattern);
        if (!ini.isEmpty())
            m_folder->write(QStringLiteral("language/config.ini"), ini);
        if (!company)
            QFile::remove(m_folder->path(QStringLiteral("config/company.txt")));
        MainWindow *w = start();
        w->findChild<QAction *>(QStringLiteral("actionAbout"))->trigger();
        QCOMPARE(Prompt::shown().size(), 1);
        QCOMPARE(Prompt::shown().at(0).first, QStringLiteral("关于Ostrel"));
        const QString text = Prompt::shown().at(0).second;
        QVERIFY2(QRegularExpression(pattern).match(text).hasMatch(), qPrintable(text));
    }

    void buildDateRewritten_data()
    {
        QTest::addColumn<QString>("cDate");
        QTest::addColumn<QString>("text");
        QTest::newRow("one-digit day") << "Nov  2 2026" << "2026-11-02";
        QTest::newRow("two-digit day") << "Jan 31 2024" << "2024-01-31";
    }
    void buildDateRewritten()
    {
        QFETCH(QString, cDate);
        QFETCH(QString, text);
        QCOMPARE(MainWindow::buildDateText(cDate), text);
    }

    void refreshIntervalHonoured()
    {
        m_folder->write(QStringLiteral("config/setdb.txt"), "refreshInterval,250");
        MainWindow *w = start();
        ModelItem item;
        item.channelText = QStringLiteral("1");
        // Timers never fire early, so the gap between two takes is a safe lower bound.
        QList<qint64> takes;
        QElapsedTimer clock;
        clock.start();
        for (int round = 0; round < 3; ++round) {
            appendPendingFrames({item});
            QTRY_VERIFY_WITH_TIMEOUT(pendingFrames.isEmpty(), 3000);
            takes << clock.elapsed();
        }
        QVERIFY2(takes[2] - takes[1] >= 200, qPrintable(QString::number(takes[2] - takes[1])));
        QCOMPARE(w->frameModel()->rowCount(), 3);
    }

    void unplugClosesDevice()
    {
        MainWindow *w = start();
        QVERIFY(openDevice(41, 0, 0));
        refreshDeviceInfo();
        QTRY_VERIFY_WITH_TIMEOUT(w->windowTitle().startsWith(QLatin1String("Ostrel-V1.17 - SN:")), 3000);
        SimControl::unplug();
        QTRY_VERIFY_WITH_TIMEOUT(logText(w).contains(QStringLiteral("设备已关闭！")), 3000);
        QCOMPARE(w->windowTitle(), QStringLiteral("Ostrel-V1.17"));
        QVERIFY(!isDeviceOpen());
        const QString line = logText(w).split(QLatin1Char('\n')).last();
        QVERIFY2(QRegularExpression(QStringLiteral("^\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}：设备已关闭！$")).match(line).hasMatch(),
                 qPrintable(line));
    }
};

QTEST_MAIN(MainWindowTest)
#include "tst_mainwindow.moc"
