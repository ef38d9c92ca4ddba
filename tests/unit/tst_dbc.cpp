// The DBC reader, decoder and encoder. Decoding is checked against canmatrix
// (python3-canmatrix, an independent implementation) run in its own process
// on the same file and frames.
#include "DbcParser.h"
#include "SignalCodec.h"
#include "SignalDecoder.h"
#include "SignalEncoder.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <memory>

namespace {
QString sourceDir() { return qEnvironmentVariable("OSTREL_SOURCE_DIR"); }

struct Frame {
    quint32 id;
    bool extended;
    QByteArray data;
};

bool sameNumber(double a, double b)
{
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b);
    if (std::isinf(a) || std::isinf(b))
        return a == b;
    return std::fabs(a - b) <= 1e-12 * std::max(1.0, std::max(std::fabs(a), std::fabs(b)));
}

double pythonNumber(const QString &text)
{
    if (text == QLatin1String("nan"))
        return std::nan("");
    if (text == QLatin1String("inf"))
        return INFINITY;
    if (text == QLatin1String("-inf"))
        return -INFINITY;
    return text.toDouble();
}
} // namespace

class tst_dbc : public QObject {
    Q_OBJECT
private slots:
    void readsTheWholeFile();
    void decodesAsCanmatrixDoes();
    void encoderRoundTrip();
    void malformedLine_data();
    void malformedLine();

private:
    DbcDatabase loadTestFile();
    QVector<Frame> testFrames(const DbcDatabase &db);
};

DbcDatabase tst_dbc::loadTestFile()
{
    DbcDatabase db;
    DbcError error;
    const bool ok = DbcParser::load(sourceDir() + QStringLiteral("/tests/data/decode.dbc"), db, error);
    if (!ok)
        qWarning("%s", qPrintable(DbcParser::describe(error)));
    return db;
}

// Random bytes for every message, plus all zeros and all ones; the
// multiplexed message takes each selector value 0, 1 and 2 (2 has no signals of its own).
QVector<Frame> tst_dbc::testFrames(const DbcDatabase &db)
{
    QRandomGenerator random(20);
    QVector<Frame> frames;
    for (const DbcMessage &m : db.messages) {
        for (int n = 0; n < 40; ++n) {
            Frame f { m.id, m.extended, QByteArray(m.length, '\0') };
            for (int b = 0; b < m.length; ++b)
                f.data[b] = char(n == 0 ? 0x00 : n == 1 ? 0xFF : random.bounded(256));
            if (m.multiplexor >= 0)
                f.data[0] = char(n % 3);
            frames << f;
        }
    }
    return frames;
}

void tst_dbc::readsTheWholeFile()
{
    const DbcDatabase db = loadTestFile();
    QCOMPARE(db.messages.size(), 5);
    QCOMPARE(db.nodes, QStringList({ "Ecu", "Tester" }));
    const DbcMessage *mixed = db.message(0x123, false);
    QVERIFY(mixed);
    QCOMPARE(mixed->comment, QStringLiteral("Bit positions crossing byte boundaries,\nin both byte orders."));
    QCOMPARE(mixed->signalList.at(5).comment, QStringLiteral("Signed, scaled and offset."));
    QCOMPARE(mixed->signalList.at(0).values.value(15), QStringLiteral("Error"));
    QVERIFY(!db.message(0x123, true));
    const DbcMessage *ext = db.message(0x1ABCDEF, true);
    QVERIFY(ext);
    QCOMPARE(ext->length, 24);
    QCOMPARE(db.message(0x7A0, false)->signalList.at(0).type, DbcSignal::Type::Float64);
    QCOMPARE(db.valueTables.value(QStringLiteral("OnOff")).value(1), QStringLiteral("On"));
}

void tst_dbc::decodesAsCanmatrixDoes()
{
    const DbcDatabase db = loadTestFile();
    QVERIFY(!db.messages.isEmpty());
    const QVector<Frame> frames = testFrames(db);

    QTemporaryDir dir;
    QFile list(dir.filePath(QStringLiteral("frames.txt")));
    QVERIFY(list.open(QIODevice::WriteOnly));
    for (const Frame &f : frames)
        list.write(QByteArray::number(f.id, 16) + (f.extended ? " 1 " : " 0 ") + f.data.toHex() + '\n');
    list.close();

    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"),
        { sourceDir() + QStringLiteral("/tests/dbc/decode_reference.py"), db.path, list.fileName() });
    QVERIFY2(python.waitForFinished(60000), "canmatrix did not finish");
    QVERIFY2(python.exitCode() == 0,
        qPrintable(QStringLiteral("canmatrix (python3-canmatrix) failed: ")
            + QString::fromUtf8(python.readAllStandardError())));
    // frame number, message, signal -> raw, physical, description
    QMap<QString, QStringList> reference;
    for (const QByteArray &line : python.readAllStandardOutput().split('\n')) {
        const QStringList f = QString::fromUtf8(line).split(QLatin1Char('\t'));
        if (f.size() == 6)
            reference.insert(f.mid(0, 3).join(QLatin1Char(' ')), f.mid(3));
    }
    QVERIFY(reference.size() > 500);

    const SignalDecoder decoder({ std::make_shared<const DbcDatabase>(db) });
    QVector<DecodedSignal> out;
    int compared = 0;
    QSet<QString> kinds;
    for (int n = 0; n < frames.size(); ++n) {
        const Frame &f = frames.at(n);
        out.clear();
        decoder.decode(f.id, f.extended, reinterpret_cast<const uchar *>(f.data.constData()), f.data.size(), out);
        for (const DecodedSignal &d : qAsConst(out)) {
            const QString key = QStringLiteral("%1 %2 %3").arg(n).arg(d.message->name, d.signal->name);
            QVERIFY2(reference.contains(key), qPrintable(key + QStringLiteral(": canmatrix does not decode it")));
            const QStringList want = reference.take(key);
            if (d.signal->type == DbcSignal::Type::Integer)
                QCOMPARE(d.rawText(), want.at(0));
            else
                QVERIFY2(sameNumber(d.raw, pythonNumber(want.at(0))), qPrintable(key));
            QVERIFY2(sameNumber(d.physical, pythonNumber(want.at(1))),
                qPrintable(QStringLiteral("%1: %2 against %3").arg(key, d.physicalText(), want.at(1))));
            QCOMPARE(d.description(), want.at(2));
            if (!d.description().isEmpty())
                kinds << QStringLiteral("description");
            ++compared;
        }
    }
    QVERIFY2(reference.isEmpty(), qPrintable(QStringLiteral("only canmatrix decodes ") + reference.firstKey()));
    QVERIFY(compared > 500);
    QVERIFY(kinds.contains(QStringLiteral("description")));
}

// Every signal of every frame, decoded, encoded from its physical value into
// a fresh message and decoded again, carries the same bits.
void tst_dbc::encoderRoundTrip()
{
    const DbcDatabase db = loadTestFile();
    const QVector<Frame> frames = testFrames(db);
    const SignalDecoder decoder({ std::make_shared<const DbcDatabase>(db) });
    QVector<DecodedSignal> first, second;
    for (const Frame &f : frames) {
        first.clear();
        decoder.decode(f.id, f.extended, reinterpret_cast<const uchar *>(f.data.constData()), f.data.size(), first);
        QMap<QString, double> values;
        for (const DecodedSignal &d : qAsConst(first))
            values.insert(d.signal->name, d.physical);
        const DbcMessage *m = decoder.find(f.id, f.extended);
        const SignalEncoder::Result r = SignalEncoder::encode(*m, values);
        QCOMPARE(r.data.size(), m->length);
        second.clear();
        decoder.decode(f.id, f.extended, reinterpret_cast<const uchar *>(r.data.constData()), r.data.size(), second);
        QCOMPARE(second.size(), first.size());
        for (int i = 0; i < first.size(); ++i) {
            const DbcSignal &s = *first.at(i).signal;
            // A double holds integers exactly up to 53 bits only.
            if (s.type == DbcSignal::Type::Integer && s.length > 53)
                continue;
            // A scaled float loses what its physical value cannot hold (a raw
            // 1e-40 times 2 plus 1 is 1); NaN has many bit patterns.
            if (s.type != DbcSignal::Type::Integer
                && (s.factor != 1.0 || s.offset != 0.0 || std::isnan(first.at(i).raw)))
                continue;
            QVERIFY2(second.at(i).bits == first.at(i).bits, qPrintable(s.name));
        }
    }
    // Values beyond what the bits carry are held at the edge and reported.
    const DbcMessage *mixed = db.message(0x123, false);
    const SignalEncoder::Result r = SignalEncoder::encode(*mixed, { { "Scaled", 100.0 }, { "Nothing", 1.0 } });
    QCOMPARE(r.clamped, QStringList({ "Scaled" }));
    QCOMPARE(r.unknown, QStringList({ "Nothing" }));
    QCOMPARE(uchar(r.data.at(7)) & 0x0F, 0x0F);
}

void tst_dbc::malformedLine_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("expected");
    const QByteArray bo = "VERSION \"\"\nBO_ 256 M: 8 Ecu\n";
    QTest::newRow("garbage line") << QByteArray("VERSION \"\"\n\nhello world\n") << 3 << "a keyword";
    QTest::newRow("SG_ without BO_") << QByteArray("SG_ S : 0|8@1+ (1,0) [0|1] \"\" A\n") << 1 << "BO_ <id>";
    QTest::newRow("no '|' after start") << bo + " SG_ S : 0 8@1+ (1,0) [0|1] \"\" A\n"
                                        << 3 << "'|' after the start bit";
    QTest::newRow("order @2") << bo + " SG_ S : 0|8@2+ (1,0) [0|1] \"\" A\n" << 3 << "@1 (little-endian) or @0";
    QTest::newRow("no sign") << bo + " SG_ S : 0|8@1 (1,0) [0|1] \"\" A\n" << 3 << "+ (unsigned) or - (signed)";
    QTest::newRow("factor, offset") << bo + " SG_ S : 0|8@1+ (1 0) [0|1] \"\" A\n" << 3 << "',' between factor";
    QTest::newRow("no ']'") << bo + " SG_ S : 0|8@1+ (1,0) [0|1 \"\" A\n" << 3 << "']'";
    QTest::newRow("open unit") << bo + " SG_ S : 0|8@1+ (1,0) [0|1] \"rpm A\n" << 3 << "\"<unit>\"";
    QTest::newRow("65 bits") << bo + " SG_ S : 0|65@1+ (1,0) [0|1] \"\" A\n" << 3 << "<length> 1..64 bits";
    QTest::newRow("beyond 64 bytes") << bo + " SG_ S : 510|8@1+ (1,0) [0|1] \"\" A\n"
                                     << 3 << "a signal inside 64 bytes";
    QTest::newRow("extended multiplexing")
        << bo + " SG_ S M : 0|8@1+ (1,0) [0|1] \"\" A\n SG_ T m1M : 8|8@1+ (1,0) [0|1] \"\" A\n"
        << 4 << "simple multiplexing";
    QTest::newRow("m1 without M") << bo + " SG_ T m1 : 8|8@1+ (1,0) [0|1] \"\" A\n" << 2 << "an M signal in M";
    QTest::newRow("65-byte message") << QByteArray("BO_ 256 M: 65 Ecu\n") << 1 << "<length> 0..64";
    QTest::newRow("standard id 2048") << QByteArray("BO_ 2048 M: 8 Ecu\n") << 1 << "<id> up to 2047";
    QTest::newRow("same id twice") << bo + "BO_ 256 N: 8 Ecu\n" << 3 << "an identifier not used";
    QTest::newRow("VAL_ of no message") << bo + "VAL_ 257 S 0 \"a\" ;\n" << 3 << "the id of a BO_";
    QTest::newRow("float of 16 bits") << bo + " SG_ S : 0|16@1+ (1,0) [0|1] \"\" A\nSIG_VALTYPE_ 256 S : 1;\n"
                                      << 4 << "a 32-bit signal for SIG_VALTYPE_ 1";
    QTest::newRow("CM_ without ';'") << bo + "CM_ BO_ 256 \"text\"\nBA_ \"x\" 1;\n" << 3 << "';' ending the CM_";
    // The line count goes on through a comment of two lines.
    QTest::newRow("after a long comment") << QByteArray(
        "CM_ \"one\ntwo\";\nBO_ 256 M: 8 Ecu\n SG_ S : 0|8@1+ (1,0) [0|1] \"\" A\n SG_ T : 8|8@1+ (1,0) "
        "0|1] \"\" A\n") << 5 << "[<minimum>|<maximum>]";
}

void tst_dbc::malformedLine()
{
    QFETCH(QByteArray, text);
    QFETCH(int, line);
    QFETCH(QString, expected);
    DbcDatabase db;
    db.path = QStringLiteral("bad.dbc");
    DbcError error;
    QVERIFY(!DbcParser::parse(text, db, error));
    QCOMPARE(error.line, line);
    QVERIFY2(error.expected.contains(expected), qPrintable(error.expected));
    // Nothing of a file that failed is kept.
    QVERIFY(db.messages.isEmpty());
    QVERIFY(DbcParser::describe(error).startsWith(QStringLiteral("bad.dbc: line %1: expected ").arg(line)));
}

QTEST_GUILESS_MAIN(tst_dbc)
#include "tst_dbc.moc"
