// The translation catalogues: every entry of every .ts source finished, every
// area present in all three languages, and the compiled catalogues beside the
// executable answering in their language.
#include <QCoreApplication>
#include <QDir>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>

class CataloguesTest : public QObject {
    Q_OBJECT
    QString m_languageDir;

private slots:
    void initTestCase()
    {
        const QString source = qEnvironmentVariable("OSTREL_SOURCE_DIR");
        QVERIFY2(!source.isEmpty(), "run through ctest, which names the source folder");
        m_languageDir = source + QStringLiteral("/language");
    }

    void everyEntryFinished()
    {
        const QStringList files = QDir(m_languageDir).entryList({QStringLiteral("*.ts")}, QDir::Files);
        QVERIFY(!files.isEmpty());
        QStringList problems;
        QMap<QString, QSet<QString>> areas;   // area -> languages
        for (const QString &name : files) {
            const int cut = name.lastIndexOf(QLatin1Char('_'));
            areas[name.left(cut)].insert(name.mid(cut + 1).chopped(3));
            QFile file(m_languageDir + QLatin1Char('/') + name);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QXmlStreamReader xml(&file);
            QString context, source;
            while (!xml.atEnd()) {
                xml.readNext();
                if (!xml.isStartElement())
                    continue;
                if (xml.name() == QLatin1String("name"))
                    context = xml.readElementText();
                else if (xml.name() == QLatin1String("source"))
                    source = xml.readElementText();
                else if (xml.name() == QLatin1String("translation")) {
                    const QString type = xml.attributes().value(QStringLiteral("type")).toString();
                    const QString text = xml.readElementText();
                    if (!type.isEmpty() || text.isEmpty())
                        problems << QStringLiteral("%1: %2 \"%3\" %4").arg(name, context, source, type);
                }
            }
            QVERIFY2(!xml.hasError(), qPrintable(name + QLatin1Char(' ') + xml.errorString()));
        }
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(QLatin1Char('\n'))));
        for (auto it = areas.cbegin(); it != areas.cend(); ++it)
            QVERIFY2(it.value() == (QSet<QString>{QStringLiteral("CN"), QStringLiteral("CNF"), QStringLiteral("EN")}),
                     qPrintable(it.key() + QStringLiteral(" lacks a language")));
    }

    void compiledCataloguesTranslate_data()
    {
        QTest::addColumn<QString>("catalogue");
        QTest::addColumn<QString>("expected");
        QTest::newRow("CN") << "CN.qm" << QStringLiteral("设备已关闭！");
        QTest::newRow("CNF") << "CNF.qm" << QStringLiteral("設備已關閉！");
        QTest::newRow("EN") << "EN.qm" << QStringLiteral("Device closed!");
    }
    void compiledCataloguesTranslate()
    {
        QFETCH(QString, catalogue);
        QFETCH(QString, expected);
        QTranslator t;
        QVERIFY(t.load(QCoreApplication::applicationDirPath() + QStringLiteral("/language/") + catalogue));
        QCOMPARE(t.translate("MainWindow", "设备已关闭！"), expected);
    }
};

QTEST_GUILESS_MAIN(CataloguesTest)
#include "tst_catalogues.moc"
