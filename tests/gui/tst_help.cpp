// The user manuals as the build makes them: the help menu lists the manual of
// the current language and triggering it opens that very file; the help
// folder entry opens the language's folder.
#include "FileDialogs.h"
#include "FreshProcess.h"
#include "MainWindow.h"
#include "RuntimeFolder.h"

#include <QAction>
#include <QDirIterator>
#include <QMenu>
#include <QtTest>

namespace {
const QString kChinese = QStringLiteral("Ostrel用户手册.pdf");
const QString kEnglish = QStringLiteral("Ostrel-User-Manual.pdf");

QString built(const QString &relative)
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/help/") + relative;
}

QList<QAction *> manualEntries(MainWindow *w)
{
    QList<QAction *> out;
    for (QAction *a : w->helpMenu()->actions())
        if (a->text().endsWith(QLatin1String(".pdf")))
            out << a;
    return out;
}
} // namespace

class HelpTest : public QObject {
    Q_OBJECT
    std::unique_ptr<RuntimeFolder> m_folder;

private slots:
    // The build renders both manuals beside the executable: real PDFs with a
    // good number of pages, not placeholders.
    void manualsAreBuilt_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("Chinese") << QStringLiteral("Chinese/") + kChinese;
        QTest::newRow("English") << QStringLiteral("English/") + kEnglish;
    }
    void manualsAreBuilt()
    {
        QFETCH(QString, file);
        QFile pdf(built(file));
        QVERIFY2(pdf.open(QIODevice::ReadOnly), qPrintable(pdf.fileName()));
        const QByteArray bytes = pdf.readAll();
        QVERIFY(bytes.startsWith("%PDF-"));
        // The page tree's root: "/Type /Pages ... /Count n".
        const int tree = bytes.indexOf("/Type /Pages");
        QVERIFY(tree >= 0);
        const int count = bytes.indexOf("/Count", tree);
        QVERIFY(count > tree);
        const int pages = bytes.mid(count + 6, 12).simplified().split(' ').value(0).toInt();
        QVERIFY2(pages >= 10, qPrintable(QString::number(pages)));
        // Screenshots are embedded as images.
        QVERIFY(bytes.count("/Subtype /Image") >= 10);
    }

    void init()
    {
        freshProcess();
        FileDialogs::recordOpensForTests(true);
        // A fresh install with the manuals as built.
        m_folder = std::make_unique<RuntimeFolder>();
        QDirIterator it(QCoreApplication::applicationDirPath() + QStringLiteral("/help"), QDir::Files,
            QDirIterator::Subdirectories);
        const QDir helpDir(QCoreApplication::applicationDirPath() + QStringLiteral("/help"));
        while (it.hasNext()) {
            const QString from = it.next();
            QVERIFY(QFile::copy(from, m_folder->path(QStringLiteral("help/") + helpDir.relativeFilePath(from))));
        }
    }

    void cleanup()
    {
        FileDialogs::recordOpensForTests(false);
        m_folder.reset();
    }

    void helpMenuOpensTheManualOfTheLanguage_data()
    {
        QTest::addColumn<QString>("languageAction");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("manual");
        QTest::addColumn<QString>("helpTitle");
        QTest::newRow("Simplified Chinese") << "actionChinese"
                                            << "Chinese" << kChinese << "帮助(&H)";
        QTest::newRow("Traditional Chinese") << "actionTraditional"
                                             << "Chinese" << kChinese << "幫助(&H)";
        QTest::newRow("English") << "actionEnglish"
                                 << "English" << kEnglish << "Help(&H)";
    }
    void helpMenuOpensTheManualOfTheLanguage()
    {
        QFETCH(QString, languageAction);
        QFETCH(QString, folder);
        QFETCH(QString, manual);
        QFETCH(QString, helpTitle);

        MainWindow w;
        w.show();
        w.findChild<QAction *>(languageAction)->trigger();
        QCOMPARE(w.helpMenu()->title(), helpTitle);

        const QList<QAction *> entries = manualEntries(&w);
        QCOMPARE(entries.size(), 1);
        QCOMPARE(entries.first()->text(), manual);

        entries.first()->trigger();
        const QString expected = QFileInfo(m_folder->path(QStringLiteral("help/") + folder + QLatin1Char('/') + manual))
                                     .absoluteFilePath();
        QCOMPARE(FileDialogs::openedForTests(), QStringList { expected });
        QVERIFY(QFileInfo(expected).size() > 0);

        w.findChild<QAction *>(QStringLiteral("actionHelpFolder"))->trigger();
        QCOMPARE(FileDialogs::openedForTests().size(), 2);
        QCOMPARE(FileDialogs::openedForTests().last(), m_folder->path(QStringLiteral("help/") + folder));
        QVERIFY(Prompt::shown().isEmpty());
    }
};

QTEST_MAIN(HelpTest)
#include "tst_help.moc"
