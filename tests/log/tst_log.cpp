// The log layer against python-can 4.1 as an independent implementation (run
// as a separate process), round trips through ostrel-log across all format
// pairs, CSV frame files as the capture writes them in the three languages, and
// malformed input of every format.
#include "LogFormat.h"
#include "LogReader.h"
#include "LogWriter.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

namespace {

LogFrame frame(qint64 ns, quint32 channel, quint32 id, bool extended, int length, bool received = true)
{
    LogFrame f;
    f.timeNs = ns;
    f.channel = channel;
    f.id = id;
    f.extended = extended;
    f.length = quint8(length);
    f.received = received;
    for (int i = 0; i < length; ++i)
        f.data[size_t(i)] = quint8(0xA0 + i * 7 + id);
    return f;
}

LogFrame fd(LogFrame f, bool brs, bool esi = false)
{
    f.canFd = true;
    f.bitRateSwitch = brs;
    f.errorStateIndicator = esi;
    return f;
}

LogFrame remote(LogFrame f)
{
    f.remote = true;
    return f;
}

LogFrame errorFrame(qint64 ns, quint32 channel)
{
    LogFrame f;
    f.timeNs = ns;
    f.channel = channel;
    f.errorFrame = true;
    return f;
}

// Every kind of frame once, on both channels, in both directions; times with
// sub-microsecond parts so that each format's rounding shows.
QVector<LogFrame> sample()
{
    const qint64 ms = 1000000;
    return {
        frame(0, 0, 0x123, false, 8), frame(1 * ms + 500, 1, 0x1ABCDEF0, true, 8, false),
        frame(2 * ms + 1, 0, 0x7FF, false, 3), frame(3 * ms, 1, 0x000, false, 0),
        frame(4 * ms + 250, 0, 0x1FFFFFFF, true, 5, false), remote(frame(5 * ms, 0, 0x321, false, 4)),
        remote(frame(6 * ms, 1, 0x18DAF110, true, 0, false)), fd(frame(7 * ms + 999, 0, 0x456, false, 12), false),
        fd(frame(8 * ms, 1, 0x456, false, 12, false), true), fd(frame(9 * ms + 123, 1, 0x1ABCDE00, true, 64), true),
        fd(frame(10 * ms, 0, 0x7FE, false, 64, false), false), fd(frame(11 * ms, 1, 0x1FFFFFFF, true, 64), true, true),
        errorFrame(12 * ms, 0), frame(3600000 * ms + 7, 1, 0x7F0, false, 8, false), // an hour later
    };
}

// 100,000 frames, mostly classic with some CAN FD, identifiers and data changing.
QVector<LogFrame> large()
{
    QVector<LogFrame> frames;
    frames.reserve(100000);
    for (int i = 0; i < 100000; ++i) {
        const qint64 ns = qint64(i) * 100000 + (i % 7) * 10;
        LogFrame f
            = frame(ns, quint32(i % 2), quint32(i % 5 == 0 ? 0x10000 + i : i % 0x800), i % 5 == 0, 8, i % 3 != 0);
        if (i % 10 == 3)
            f = fd(frame(ns, 0, quint32(0x100 + i % 0x600), false, 64), i % 20 == 3);
        for (int b = 0; b < f.length; ++b)
            f.data[size_t(b)] = quint8(i >> (b % 4 * 8));
        frames << f;
    }
    return frames;
}

QString describe(const LogFrame &f)
{
    return QStringLiteral("t=%1 ch=%2 id=%3%4%5%6%7%8%9 %10 len=%11 data=%12")
        .arg(f.timeNs)
        .arg(f.channel)
        .arg(f.id, 0, 16)
        .arg(f.extended ? "x" : "")
        .arg(f.remote ? " remote" : "")
        .arg(f.canFd ? " fd" : "")
        .arg(f.bitRateSwitch ? " brs" : "")
        .arg(f.errorStateIndicator ? " esi" : "")
        .arg(f.errorFrame ? " error" : "")
        .arg(f.received ? "Rx" : "Tx")
        .arg(f.length)
        .arg(QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(f.data.data()), f.length).toHex()));
}

// Empty when equal: times within `toleranceNs`, everything else exactly.
QString difference(const QVector<LogFrame> &expected, const QVector<LogFrame> &actual, qint64 toleranceNs)
{
    for (int i = 0; i < std::min(expected.size(), actual.size()); ++i) {
        LogFrame a = actual.at(i);
        if (qAbs(a.timeNs - expected.at(i).timeNs) <= toleranceNs)
            a.timeNs = expected.at(i).timeNs;
        if (a != expected.at(i))
            return QStringLiteral("frame %1:\n  expected %2\n  actual   %3")
                .arg(i)
                .arg(describe(expected.at(i)), describe(actual.at(i)));
    }
    if (expected.size() != actual.size())
        return QStringLiteral("expected %1 frames, got %2").arg(expected.size()).arg(actual.size());
    return QString();
}

bool writeLog(const QString &path, const QVector<LogFrame> &frames, LogWriterOptions options = {})
{
    LogError error;
    auto w = LogWriter::create(path, options, &error);
    if (!w) {
        qWarning() << error.message().en;
        return false;
    }
    for (const LogFrame &f : frames)
        if (!w->write(f))
            return false;
    return w->finish();
}

QVector<LogFrame> readLog(const QString &path, LogError *error = nullptr)
{
    QVector<LogFrame> frames;
    LogError e;
    auto r = LogReader::open(path, &e);
    if (r) {
        LogFrame f;
        while (r->next(f))
            frames << f;
        e = r->error();
    }
    if (error)
        *error = e;
    return frames;
}

// The frame list the python helper reads and writes: one frame per line.
void writeFrameList(const QString &path, const QVector<LogFrame> &frames)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QByteArray out;
    for (const LogFrame &f : frames) {
        out += QByteArray::number(f.timeNs) + ' ' + QByteArray::number(f.channel) + ' ' + QByteArray::number(f.id);
        for (bool flag :
            { f.extended, f.remote, f.canFd, f.bitRateSwitch, f.errorStateIndicator, f.errorFrame, f.received })
            out += flag ? " 1" : " 0";
        out += ' ' + QByteArray::number(f.length) + ' '
            + QByteArray(reinterpret_cast<const char *>(f.data.data()), f.length).toHex() + '\n';
    }
    file.write(out);
}

QVector<LogFrame> readFrameList(const QString &path)
{
    QVector<LogFrame> frames;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return frames;
    while (!file.atEnd()) {
        const QList<QByteArray> p = file.readLine().trimmed().split(' ');
        if (p.size() < 11)
            continue;
        LogFrame f;
        f.timeNs = p[0].toLongLong();
        f.channel = quint32(p[1].toInt());
        f.id = p[2].toUInt();
        f.extended = p[3] == "1";
        f.remote = p[4] == "1";
        f.canFd = p[5] == "1";
        f.bitRateSwitch = p[6] == "1";
        f.errorStateIndicator = p[7] == "1";
        f.errorFrame = p[8] == "1";
        f.received = p[9] == "1";
        f.length = quint8(p[10].toInt());
        const QByteArray data = QByteArray::fromHex(p.value(11));
        std::copy(data.begin(), data.begin() + std::min(data.size(), 64), f.data.begin());
        frames << f;
    }
    return frames;
}

enum Way { OstrelToPython, PythonToOstrel };

// What python-can 4.1 keeps of a frame in each format.
QVector<LogFrame> throughPython(const QVector<LogFrame> &frames, const QString &format, Way way)
{
    QVector<LogFrame> kept;
    for (LogFrame f : frames) {
        // Its trace writer and reader know only classic data frames (DT rows).
        if (format == "trc" && (f.errorFrame || f.remote || f.canFd))
            continue;
        // Its candump writer leaves the length of a remote frame out ("123#R").
        if (format == "log" && way == PythonToOstrel && f.remote)
            f.length = 0;
        // Its candump reader gives error frames no channel.
        if (format == "log" && way == OstrelToPython && f.errorFrame)
            f.channel = quint32(-1);
        // Its ASC writer puts every error frame on channel 1.
        if (format == "asc" && way == PythonToOstrel && f.errorFrame)
            f.channel = 0;
        kept << f;
    }
    return kept;
}

// What the Ostrel CSV frame file keeps: no error frames, no error state indicator.
QVector<LogFrame> through(const QVector<LogFrame> &frames, LogFormat::Format format)
{
    QVector<LogFrame> kept;
    for (LogFrame f : frames) {
        if (format == LogFormat::Csv) {
            if (f.errorFrame)
                continue;
            f.errorStateIndicator = false;
        }
        kept << f;
    }
    return kept;
}

// Offsets of the top-level objects (containers) of a BLF file.
QVector<qint64> blfContainers(const QByteArray &file)
{
    QVector<qint64> offsets;
    qint64 pos = qFromLittleEndian<quint32>(file.constData() + 4);
    while (pos + 16 <= file.size() && file.mid(int(pos), 4) == "LOBJ") {
        offsets << pos;
        const quint32 size = qFromLittleEndian<quint32>(file.constData() + pos + 8);
        pos += size + size % 4;
    }
    return offsets;
}

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeAll(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

struct Run {
    int exitCode = -1;
    QString out, err;
};

Run run(const QString &program, const QStringList &args)
{
    QProcess p;
    p.start(program, args);
    Run r;
    if (!p.waitForFinished(240000) || p.exitStatus() != QProcess::NormalExit)
        return r;
    r.exitCode = p.exitCode();
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

QString tool() { return QCoreApplication::applicationDirPath() + QStringLiteral("/ostrel-log"); }

}

class tst_log : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_python;

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString helper() const { return QStringLiteral(OSTREL_LOG_TEST_DIR "/pycan_helper.py"); }

    void requirePython()
    {
        if (m_python.isEmpty())
            QSKIP("python3 with python-can is not installed (Debian: apt-get install python3 python3-can); "
                  "the interop test needs it");
    }

    void interopData()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<bool>("big");
        for (const char *format : { "asc", "blf", "trc", "log" }) {
            QTest::newRow(format) << QString::fromLatin1(format) << false;
            QTest::newRow(qPrintable(QStringLiteral("%1, 100000 frames").arg(format)))
                << QString::fromLatin1(format) << true;
        }
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        // /usr/bin/python3 first: a python3 earlier on the PATH may lack python-can.
        for (const QString &candidate : { QStringLiteral("/usr/bin/python3"), QStringLiteral("python3") })
            if (run(candidate, { "-c", "import can" }).exitCode == 0) {
                m_python = candidate;
                break;
            }
    }

    void pythonReadsOstrel_data() { interopData(); }
    void pythonReadsOstrel()
    {
        QFETCH(QString, format);
        QFETCH(bool, big);
        requirePython();
        const QVector<LogFrame> frames = big ? large() : sample();
        const QString file = path("ostrel." + format);
        QVERIFY(writeLog(file, frames));
        if (format == "blf" && big)
            QVERIFY2(blfContainers(readAll(file)).size() >= 5, "a large BLF file spans several containers");
        const Run r = run(m_python, { helper(), "read", format, file, path("py-read.txt") });
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        const QString diff = difference(throughPython(frames, format, OstrelToPython),
            readFrameList(path("py-read.txt")), LogFormat::resolutionNs(LogFormat::fromPath(file)));
        QVERIFY2(diff.isEmpty(), qPrintable(diff));
    }

    void ostrelReadsPython_data() { interopData(); }
    void ostrelReadsPython()
    {
        QFETCH(QString, format);
        QFETCH(bool, big);
        requirePython();
        const QVector<LogFrame> frames = big ? large() : sample();
        writeFrameList(path("py-write.txt"), frames);
        const QString file = path("python." + format);
        const Run r = run(m_python, { helper(), "write", format, path("py-write.txt"), file });
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        if (format == "blf" && big)
            QVERIFY(blfContainers(readAll(file)).size() >= 5);
        LogError error;
        const QVector<LogFrame> read = readLog(file, &error);
        QVERIFY2(!error.isError(), qPrintable(error.message().en));
        const QString diff = difference(
            throughPython(frames, format, PythonToOstrel), read, LogFormat::resolutionNs(LogFormat::fromPath(file)));
        QVERIFY2(diff.isEmpty(), qPrintable(diff));
    }

    void convertRoundTrips_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        for (LogFormat::Format a : LogFormat::all())
            for (LogFormat::Format b : LogFormat::all())
                if (a != b)
                    QTest::newRow(qPrintable(LogFormat::name(a) + " -> " + LogFormat::name(b))) << int(a) << int(b);
    }
    void convertRoundTrips()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        const auto a = LogFormat::Format(from);
        const auto b = LogFormat::Format(to);
        const QString in = path("in." + LogFormat::suffix(a));
        const QString out = path("out." + LogFormat::suffix(b));
        QFile::remove(out);
        QVERIFY(writeLog(in, sample()));
        const Run r = run(tool(), { "convert", in, out, "--lang", "2" });
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        LogError error;
        const QVector<LogFrame> back = readLog(out, &error);
        QVERIFY2(!error.isError(), qPrintable(error.message().en));
        const qint64 tolerance = std::max(LogFormat::resolutionNs(a), LogFormat::resolutionNs(b)) / 2;
        const QString diff = difference(through(through(sample(), a), b), back, tolerance);
        QVERIFY2(diff.isEmpty(), qPrintable(diff));
    }

    // Rows as the live capture writes them (header titles, ="time", "无" for
    // transmitted frames, per-language texts), in each language.
    void csvAsCaptured_data()
    {
        QTest::addColumn<int>("lang");
        QTest::addColumn<QByteArray>("file");
        QTest::newRow("Simplified Chinese")
            << 0
            << QByteArray("序号,系统时间,时间标识,通道*,收/发,ID,Frame,类型,DLC,CAN-FD,数据\n"
                          "1,=\"23:59:59.900\",0x1E240,1,Rx,0x123,标准帧,数据帧,2,CAN,x| 01 AB \n"
                          "2,=\"00:00:00.100\",无,2,Tx,0x00000005,扩展帧,远程帧,4,CAN,x| \n"
                          "3,=\"00:00:00.200\",0x1E2A4,2,Rx,0x7FF,标准帧,数据帧,12,CANFD-加速,x| 00 01 02 03 04 05 06 "
                          "07 08 09 0A 0B \n"
                          "4,=\"00:00:00.300\",0x1E308,1,Rx,0x1FFFFFFF,扩展帧,数据帧,0,CANFD,x| \n");
        QTest::newRow("Traditional Chinese")
            << 1
            << QByteArray("序號,系統時間,時間標識,通道,收/發,ID,Frame,類型,DLC,CAN-FD,數據\n"
                          "1,=\"23:59:59.900\",0x1E240,1,Rx,0x123,標準幀,數據幀,2,CAN,x| 01 AB \n"
                          "2,=\"00:00:00.100\",无,2,Tx,0x00000005,擴展幀,遠程幀,4,CAN,x| \n"
                          "3,=\"00:00:00.200\",0x1E2A4,2,Rx,0x7FF,標準幀,數據幀,12,CANFD-加速,x| 00 01 02 03 04 05 06 "
                          "07 08 09 0A 0B \n"
                          "4,=\"00:00:00.300\",0x1E308,1,Rx,0x1FFFFFFF,擴展幀,數據幀,0,CANFD,x| \n");
        QTest::newRow("English")
            << 2
            << QByteArray("index,system time,time stamp,channel,Rx/Tx,ID,Frame,type,DLC,CAN-FD,data\n"
                          "1,=\"23:59:59.900\",0x1E240,1,Rx,0x123,Standard Frame,data frame,2,CAN,x| 01 AB \n"
                          "2,=\"00:00:00.100\",无,2,Tx,0x00000005,Extended Frame,Remote Frame,4,CAN,x| \n"
                          "3,=\"00:00:00.200\",0x1E2A4,2,Rx,0x7FF,Standard Frame,data frame,12,CANFD-acceleration,x| "
                          "00 01 02 03 04 05 06 07 08 09 0A 0B \n"
                          "4,=\"00:00:00.300\",0x1E308,1,Rx,0x1FFFFFFF,Extended Frame,data frame,0,CANFD,x| \n");
    }
    void csvAsCaptured()
    {
        QFETCH(int, lang);
        QFETCH(QByteArray, file);
        writeAll(path("capture.csv"), file);
        LogError error;
        const QVector<LogFrame> read = readLog(path("capture.csv"), &error);
        QVERIFY2(!error.isError(), qPrintable(error.message().en));

        LogFrame a = frame(123456000, 0, 0x123, false, 2);
        a.data[0] = 0x01;
        a.data[1] = 0xAB;
        // A transmitted row has no device time: its system time counts, a day on after midnight.
        LogFrame b = remote(frame((86400000LL + 100) * 1000000, 1, 5, true, 4, false));
        LogFrame c = fd(frame(0x1E2A4 * 1000LL, 1, 0x7FF, false, 12), true);
        for (int i = 0; i < 12; ++i)
            c.data[size_t(i)] = quint8(i);
        const LogFrame d = fd(frame(0x1E308 * 1000LL, 0, 0x1FFFFFFF, true, 0), false);
        const QVector<LogFrame> expected { a, b, c, d };
        QString diff = difference(expected, read, 0);
        QVERIFY2(diff.isEmpty(), qPrintable(diff));

        // Written back in the same language, the file reads the same.
        LogWriterOptions options;
        options.csvLanguage = lang;
        QVERIFY(writeLog(path("again.csv"), read, options));
        const QByteArray again = readAll(path("again.csv"));
        QCOMPARE(again.left(again.indexOf('\n')), file.left(file.indexOf('\n')).replace("*", ""));
        diff = difference(expected, readLog(path("again.csv")), 0);
        QVERIFY2(diff.isEmpty(), qPrintable(diff));
    }

    void malformed_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("code");
        QTest::addColumn<int>("line");
        QTest::addColumn<int>("framesBefore");
        QTest::addColumn<QString>("expected");

        const QByteArray asc = "date Mon Jun 03 02:15:04.123 pm 2024\nbase hex  timestamps absolute\n"
                               "   0.000100 1  123             Rx   d 2 01 02\n";
        QTest::newRow("asc bad header") << "bad.asc" << QByteArray("Begin hello\n") << int(LogError::BadHeader) << 1
                                        << 0 << "date";
        QTest::newRow("asc bad hex") << "hex.asc" << asc + "   0.000200 1  123 Rx d 2 0G 01\n"
                                     << int(LogError::BadRecord) << 4 << 1 << "found \"0G\"";
        QTest::newRow("asc length over 64") << "len.asc" << asc + "   0.000200 CANFD   1 Rx 123 1 0 F 65 00\n"
                                            << int(LogError::BadRecord) << 4 << 1 << "0..64";
        QTest::newRow("asc unknown keyword") << "kw.asc" << asc + "   0.000200 1  123 Rx q 2 01 02\n"
                                             << int(LogError::BadRecord) << 4 << 1 << "one of: d r";
        QTest::newRow("asc truncated") << "cut.asc" << asc + "   0.000200 1  123 Rx d 8 01 02"
                                       << int(LogError::BadRecord) << 4 << 1 << "8 data bytes";

        const QByteArray trc
            = ";$FILEVERSION=2.1\n;$COLUMNS=N,O,T,B,I,d,R,L,D\n      1         0.100 DT  1     0123 Rx -  2    01 02\n";
        QTest::newRow("trc bad header") << "bad.trc" << QByteArray(";$FILEVERSION=1.1\n") << int(LogError::BadHeader)
                                        << 1 << 0 << ";$FILEVERSION=2.1";
        QTest::newRow("trc bad hex") << "hex.trc" << trc + "      2         0.200 DT  1     0123 Rx -  2    01 0Z\n"
                                     << int(LogError::BadRecord) << 4 << 1 << "found \"0Z\"";
        QTest::newRow("trc length over 64") << "len.trc" << trc + "      2         0.200 FD  1     0123 Rx -  16   01\n"
                                            << int(LogError::BadRecord) << 4 << 1 << "data length code";
        QTest::newRow("trc unknown keyword")
            << "kw.trc" << trc + "      2         0.200 XX  1     0123 Rx -  2    01 02\n"
            << int(LogError::BadRecord) << 4 << 1 << "one of: DT RR";
        QTest::newRow("trc truncated") << "cut.trc" << trc + "      2         0.200 DT  1     0123 Rx -  8    01 02\n"
                                       << int(LogError::BadRecord) << 4 << 1 << "8 data bytes";

        const QByteArray log = "(1717401304.123456) can0 123#0102 R\n";
        QTest::newRow("candump bad time") << "bad.log" << QByteArray("1717401304.1 can0 123#01\n")
                                          << int(LogError::BadRecord) << 1 << 0 << "time stamp";
        QTest::newRow("candump bad hex") << "hex.log" << log + "(1717401304.2) can0 123#010G R\n"
                                         << int(LogError::BadRecord) << 2 << 1 << "found \"0G\"";
        QTest::newRow("candump length over 64")
            << "len.log" << log + "(1717401304.2) can0 123##0" + QByteArray(130, '1') + "\n"
            << int(LogError::BadRecord) << 2 << 1 << "0..64";
        QTest::newRow("candump unknown keyword") << "kw.log" << log + "(1717401304.2) can0 123#01 X\n"
                                                 << int(LogError::BadRecord) << 2 << 1 << "Rx or Tx";
        QTest::newRow("candump truncated") << "cut.log" << log + "(1717401304.2) can0 123#010"
                                           << int(LogError::BadRecord) << 2 << 1 << "two hex digits";

        const QByteArray csv = "index,system time,time stamp,channel,Rx/Tx,ID,Frame,type,DLC,CAN-FD,data\n"
                               "1,=\"10:00:00.000\",0x10,1,Rx,0x123,Standard Frame,data frame,1,CAN,x| 01 \n";
        QTest::newRow("csv bad header") << "bad.csv" << QByteArray("index,time,data\n") << int(LogError::BadHeader) << 1
                                        << 0 << "index,system time";
        QTest::newRow("csv bad hex") << "hex.csv"
                                     << csv
                + "2,=\"10:00:00.001\",0x11,1,Rx,0x123,Standard Frame,data frame,1,CAN,x| G1 \n"
                                     << int(LogError::BadRecord) << 3 << 1 << "found \"G1\"";
        QTest::newRow("csv length over 64")
            << "len.csv" << csv + "2,=\"10:00:00.001\",0x11,1,Rx,0x123,Standard Frame,data frame,65,CANFD,x| \n"
            << int(LogError::BadRecord) << 3 << 1 << "0..64";
        QTest::newRow("csv unknown keyword")
            << "kw.csv" << csv + "2,=\"10:00:00.001\",0x11,1,Rx,0x123,Odd Frame,data frame,1,CAN,x| 01 \n"
            << int(LogError::BadRecord) << 3 << 1 << "Standard Frame";
        QTest::newRow("csv truncated") << "cut.csv" << csv + "2,=\"10:00:00.001\",0x11,1,Rx" << int(LogError::BadRecord)
                                       << 3 << 1 << "11 comma-separated fields";
    }
    void malformed()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(int, code);
        QFETCH(int, line);
        QFETCH(int, framesBefore);
        QFETCH(QString, expected);
        writeAll(path(name), content);
        LogError error;
        const QVector<LogFrame> read = readLog(path(name), &error);
        QCOMPARE(int(error.code), code);
        QCOMPARE(error.line, qint64(line));
        QCOMPARE(read.size(), framesBefore);
        const QString message = error.message().en;
        QVERIFY2(
            message.contains(expected) && message.contains(QStringLiteral("line %1").arg(line)), qPrintable(message));
        QVERIFY(!error.message().zh.isEmpty() && error.message().zh != message);
    }

    // BLF damage is found by byte offset: of the file header, of the container,
    // and inside an unpacked container.
    void malformedBlf_data()
    {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<int>("code");
        QTest::addColumn<qint64>("offset");
        QTest::addColumn<qint64>("innerOffset");
        QTest::addColumn<QString>("expected");
        // One uncompressed container at 144 whose data begins at 176 with one
        // CAN_FD_MESSAGE_64 object: body at 208, valid data bytes at 210.
        QTest::newRow("bad header") << "header" << int(LogError::BadHeader) << qint64(0) << qint64(-1) << "LOGG";
        QTest::newRow("length over 64") << "length" << int(LogError::BadRecord) << qint64(144) << qint64(0) << "0..64";
        QTest::newRow("unknown compression")
            << "method" << int(LogError::BadRecord) << qint64(144) << qint64(-1) << "compression method";
        QTest::newRow("bad object signature")
            << "signature" << int(LogError::BadRecord) << qint64(144) << qint64(0) << "LOBJ";
        QTest::newRow("truncated") << "truncated" << int(LogError::Truncated) << qint64(-2) << qint64(-1)
                                   << "complete object";
        QTest::newRow("bad zlib data") << "zlib" << int(LogError::BadRecord) << qint64(144) << qint64(-1) << "zlib";
    }
    void malformedBlf()
    {
        QFETCH(QString, damage);
        QFETCH(int, code);
        QFETCH(qint64, offset);
        QFETCH(qint64, innerOffset);
        QFETCH(QString, expected);
        LogWriterOptions options;
        options.blfCompression = damage == "truncated" || damage == "zlib" ? -1 : 0;
        QVector<LogFrame> frames { fd(frame(1000, 0, 0x123, false, 64), true) };
        if (damage == "truncated")
            frames = large();
        const QString file = path("damaged.blf");
        QVERIFY(writeLog(file, frames, options));
        QByteArray bytes = readAll(file);
        const QVector<qint64> containers = blfContainers(bytes);
        if (damage == "header")
            bytes[3] = 'X';
        else if (damage == "length")
            bytes[210] = char(65);
        else if (damage == "method")
            bytes[160] = 7;
        else if (damage == "signature")
            bytes[176] = 'X';
        else if (damage == "zlib")
            bytes[180] = char(bytes[180] ^ 0x5A);
        else if (damage == "truncated")
            bytes.chop(100);
        if (offset == -2)
            offset = containers.last();
        writeAll(file, bytes);
        LogError error;
        readLog(file, &error);
        QCOMPARE(int(error.code), code);
        QCOMPARE(error.offset, offset);
        QCOMPARE(error.innerOffset, innerOffset);
        QVERIFY2(error.message().en.contains(expected), qPrintable(error.message().en));
        QVERIFY(error.message().en.contains(QStringLiteral("byte offset %1").arg(offset)));
    }

    void toolReportsErrors()
    {
        // A malformed line stops the conversion with its number; no output file is left behind.
        writeAll(path("broken.asc"),
            "date Mon Jun 03 02:15:04.123 pm 2024\nbase hex\n   0.1 1  123 Rx d 2 01 02\n   0.2 1  123 Rx d 2 01\n");
        QFile::remove(path("broken.blf"));
        Run r = run(tool(), { "convert", path("broken.asc"), path("broken.blf"), "--lang", "2" });
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("broken.asc: line 4: bad record, expected 2 data bytes"), qPrintable(r.err));
        QVERIFY(!QFile::exists(path("broken.blf")));

        r = run(tool(), { "info", path("frames.xyz"), "--lang", "1" });
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(QString::fromUtf8("未知的文件格式")), qPrintable(r.err));
        QCOMPARE(run(tool(), { "convert", path("only-one.asc") }).exitCode, 2);

        QVERIFY(writeLog(path("info.blf"), sample()));
        r = run(tool(), { "info", path("info.blf"), "--lang", "2" });
        QCOMPARE(r.exitCode, 0);
        for (const char *line : { "frames: 14", "channels: 1 (7 frames), 2 (7 frames)", "first time stamp: 0.000000 s",
                 "last time stamp: 3600.000000 s", "duration: 3600.000000 s", "error frames: 1", "  0x456 2",
                 "  0x1FFFFFFF 2", "  0x000 1" })
            QVERIFY2(r.out.contains(QLatin1String(line)), qPrintable(r.out));
    }
};

QTEST_GUILESS_MAIN(tst_log)
#include "tst_log.moc"
