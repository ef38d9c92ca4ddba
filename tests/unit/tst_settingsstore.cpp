// The settings store on real files: load/save algorithms, all-or-nothing
// loading, write-now semantics and the language fall-back.
#include "AppPaths.h"
#include "SettingsStore.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {
QByteArray readAll(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return QByteArray("<missing>");
    return f.readAll();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}
} // namespace

class SettingsStoreTest : public QObject {
    Q_OBJECT
    // A fresh folder per test: QSettings caches INI files by path and time stamp.
    std::unique_ptr<QTemporaryDir> m_tmp;
    QString m_file;

private slots:
    void init()
    {
        m_tmp.reset(new QTemporaryDir);
        QTemporaryDir &m_dir = *m_tmp;
        QVERIFY(m_dir.isValid());
        QDir(m_tmp->path()).mkpath(QStringLiteral("config"));
        QDir(m_tmp->path()).mkpath(QStringLiteral("language"));
        AppPaths::setAppDirForTests(m_tmp->path());
        m_file = m_tmp->path() + QStringLiteral("/config/setdb.txt");
        QFile::remove(m_file);
        QFile::remove(m_tmp->path() + QStringLiteral("/language/config.ini"));
    }
    void cleanupTestCase() { AppPaths::setAppDirForTests(QString()); }

    void loading_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("abit1");   // value read with default "def"
        QTest::addColumn<int>("entries");
        QTest::newRow("absent file") << QByteArray("<absent>") << "def" << 0;
        QTest::newRow("empty line") << QByteArray("") << "def" << 0;
        QTest::newRow("two entries") << QByteArray("ch1paramABIT1,13;ch1paramABIT2,3") << "13" << 2;
        QTest::newRow("empty value kept") << QByteArray("ch1paramABIT1,;x,1") << "" << 2;
        QTest::newRow("trailing semicolon") << QByteArray("ch1paramABIT1,13;") << "def" << 0;
        QTest::newRow("malformed last") << QByteArray("ch1paramABIT1,13;a,b,c") << "def" << 0;
        QTest::newRow("malformed first") << QByteArray("nocomma;ch1paramABIT1,13") << "def" << 0;
        QTest::newRow("later duplicate wins") << QByteArray("ch1paramABIT1,1;ch1paramABIT1,2") << "2" << 1;
        QTest::newRow("only first line") << QByteArray("ch1paramABIT1,4\nzz,9") << "4" << 1;
    }
    void loading()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, abit1);
        QFETCH(int, entries);
        if (content != "<absent>")
            writeFile(m_file, content);
        SettingsStore::load(m_file);
        QCOMPARE(SettingsStore::snapshot().size(), entries);
        QCOMPARE(SettingsStore::value(QStringLiteral("ch1paramABIT1"), QStringLiteral("def")), abit1);
        // A default is inserted in memory only, never written by reading.
        QCOMPARE(SettingsStore::snapshot().value(QStringLiteral("ch1paramABIT1")), abit1);
        QCOMPARE(readAll(m_file), content == "<absent>" ? QByteArray("<missing>") : content);
    }

    void savingInKeyOrderWithoutTrailingSeparator()
    {
        SettingsStore::load(m_file);
        SettingsStore::setValue(QStringLiteral("b"), QStringLiteral("2"));
        SettingsStore::setValue(QStringLiteral("B"), QStringLiteral("x"));
        SettingsStore::setValue(QStringLiteral("a"), QString());
        QCOMPARE(readAll(m_file), QByteArray("<missing>"));
        SettingsStore::setValue(QStringLiteral("c"), QStringLiteral("中文"), true);
        QCOMPARE(readAll(m_file), QByteArray("B,x;a,;b,2;c,") + QStringLiteral("中文").toUtf8());
        SettingsStore::load(m_file);
        QCOMPARE(SettingsStore::value(QStringLiteral("c")), QStringLiteral("中文"));
    }

    void writeNowAlsoWhenUnchanged()
    {
        writeFile(m_file, "k,v");
        SettingsStore::load(m_file);
        QFile::remove(m_file);
        SettingsStore::setValue(QStringLiteral("k"), QStringLiteral("v"));
        QCOMPARE(readAll(m_file), QByteArray("<missing>"));
        SettingsStore::setValue(QStringLiteral("k"), QStringLiteral("v"), true);
        QCOMPARE(readAll(m_file), QByteArray("k,v"));
    }

    void emptyStoreSavesEmptyFile()
    {
        SettingsStore::load(m_file);
        SettingsStore::save();
        QCOMPARE(readAll(m_file), QByteArray(""));
    }

    void languageFallsBackToIni_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QString>("expected");
        QTest::newRow("no ini") << QByteArray() << "CN.qm";
        QTest::newRow("Sel 1") << QByteArray("[LAST]\nSel=1\n") << "CNF.qm";
        QTest::newRow("Sel 2") << QByteArray("[LAST]\nSel=2\n") << "EN.qm";
        QTest::newRow("Sel 5 out of range") << QByteArray("[LAST]\nSel=5\n") << "CN.qm";
    }
    void languageFallsBackToIni()
    {
        QFETCH(QByteArray, ini);
        QFETCH(QString, expected);
        if (!ini.isEmpty())
            writeFile(m_tmp->path() + QStringLiteral("/language/config.ini"), ini);
        SettingsStore::load(m_file);
        QCOMPARE(SettingsStore::value(QStringLiteral("Language"), QStringLiteral("CN.qm")), expected);
    }

    void storedLanguageWinsOverIni()
    {
        writeFile(m_tmp->path() + QStringLiteral("/language/config.ini"), "[LAST]\nSel=2\n");
        writeFile(m_file, "Language,CNF.qm");
        SettingsStore::load(m_file);
        QCOMPARE(SettingsStore::value(QStringLiteral("Language"), QStringLiteral("CN.qm")), QStringLiteral("CNF.qm"));
    }
};

QTEST_GUILESS_MAIN(SettingsStoreTest)
#include "tst_settingsstore.moc"
