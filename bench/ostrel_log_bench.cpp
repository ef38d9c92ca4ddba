// ostrel_log_bench: write and read rate of every capture log format, set
// beside python-can 4.1 on the very same frames in the same run.
//
//   ostrel_log_bench [FRAMES]   default 1,000,000 frames per format
//   ostrel_log_bench --short    20,000 frames, python-can skipped (CI smoke)
//
// The frames: both channels, standard and extended identifiers, classic 8-byte,
// remote, CAN FD 12 and 64 bytes with and without bit-rate switch, 100 us apart.
// Each format's file written by Ostrel is then read by Ostrel, and by
// python-can (bench/pycan_logrates.py), which writes the frames it read back
// with its own writer, so both sides handle the same frames.
#include "LogFrame.h"
#include "LogReader.h"
#include "LogWriter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <cstdio>
#include <vector>

namespace {
constexpr double kBusLimit = 54945.0; // L: frames/s two saturated channels carry

LogFrame frameNo(quint64 n)
{
    LogFrame f;
    f.timeNs = qint64(n) * 100000;
    f.channel = n % 2;
    f.received = (n % 7) != 0;
    switch (n % 6) {
    case 0: // classic standard
        f.id = n & 0x7FF;
        f.length = 8;
        break;
    case 1: // classic extended
        f.id = 0x18FF0000 | (n & 0xFFFF);
        f.extended = true;
        f.length = 8;
        break;
    case 2: // remote
        f.id = 0x123;
        f.remote = true;
        f.length = 4;
        break;
    case 3: // CAN FD 12 bytes
        f.id = 0x200;
        f.canFd = true;
        f.length = 12;
        break;
    case 4: // CAN FD 64 bytes, bit-rate switch
        f.id = 0x1ABCDE;
        f.extended = true;
        f.canFd = true;
        f.bitRateSwitch = true;
        f.length = 64;
        break;
    default: // CAN FD 8 bytes, bit-rate switch
        f.id = 0x7FF;
        f.canFd = true;
        f.bitRateSwitch = true;
        f.length = 8;
        break;
    }
    if (!f.remote)
        for (int i = 0; i < f.length; ++i)
            f.data[size_t(i)] = quint8(n >> (8 * (i % 8)));
    return f;
}

// Made before any clock starts, so a rate is the writer's alone.
std::vector<LogFrame> g_frames;

double writeRate(const QString &path, quint64 frames, int blfCompression = -1)
{
    LogError error;
    LogWriterOptions options;
    options.atomic = false;
    options.blfCompression = blfCompression;
    QElapsedTimer t;
    t.start();
    std::unique_ptr<LogWriter> writer = LogWriter::create(path, options, &error);
    if (!writer)
        return -1;
    for (quint64 n = 0; n < frames; ++n)
        if (!writer->write(g_frames[n]))
            return -1;
    if (!writer->finish())
        return -1;
    return frames / (t.nsecsElapsed() / 1e9);
}

double readRate(const QString &path, quint64 *count)
{
    LogError error;
    QElapsedTimer t;
    t.start();
    std::unique_ptr<LogReader> reader = LogReader::open(path, &error);
    if (!reader)
        return -1;
    LogFrame f;
    quint64 n = 0;
    while (reader->next(f))
        ++n;
    if (reader->failed())
        return -1;
    *count = n;
    return n / (t.nsecsElapsed() / 1e9);
}
} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const bool shortRun = app.arguments().contains(QStringLiteral("--short"));
    quint64 frames = shortRun ? 20000 : 1000000;
    for (const QString &a : app.arguments().mid(1))
        if (a.toULongLong() > 0)
            frames = a.toULongLong();

    g_frames.reserve(frames);
    for (quint64 n = 0; n < frames; ++n)
        g_frames.push_back(frameNo(n));
    QTemporaryDir dir;
    const QString script = QStringLiteral(OSTREL_SOURCE_DIR "/bench/pycan_logrates.py");
    std::printf("%llu frames per format (mixed classic, remote, CAN FD 8/12/64, both channels)\n",
        static_cast<unsigned long long>(frames));
    std::printf("%-8s %14s %14s %14s %14s %9s %9s %9s\n", "format", "Ostrel write", "Ostrel read", "python write",
        "python read", "write x", "read x", "write/L");
    bool ok = true;
    for (const char *ext : { "csv", "asc", "blf", "trc", "log" }) {
        const QString path = dir.filePath(QStringLiteral("bench.") + QLatin1String(ext));
        const double w = writeRate(path, frames);
        quint64 back = 0;
        const double r = readRate(path, &back);
        double pw = 0, pr = 0;
        // The CSV format is Ostrel's own; python-can has no reader for it.
        if (!shortRun && qstrcmp(ext, "csv") != 0) {
            QProcess py;
            py.start(QStringLiteral("/usr/bin/python3"),
                { script, QLatin1String(ext), path, dir.filePath(QStringLiteral("pycan.") + QLatin1String(ext)) });
            if (py.waitForFinished(-1) && py.exitCode() == 0) {
                const QStringList f = QString::fromUtf8(py.readAllStandardOutput()).split(QLatin1Char(' '));
                pr = f.value(0).toDouble();
                pw = f.value(1).toDouble();
            } else {
                std::fprintf(stderr, "python-can run failed: %s\n", py.readAllStandardError().constData());
            }
        }
        ok = ok && w > 0 && r > 0 && back == frames;
        std::printf("%-8s %12.0f/s %12.0f/s %12.0f/s %12.0f/s %8.1fx %8.1fx %8.1fx\n", ext, w, r, pw, pr,
            pw > 0 ? w / pw : 0.0, pr > 0 ? r / pr : 0.0, w / kBusLimit);
    }
    // Live capture writes BLF at zlib level 1; python-can's writer has no such
    // setting in this comparison (it uses zlib's default, as the row above).
    const double fast = writeRate(dir.filePath(QStringLiteral("fast.blf")), frames, 1);
    ok = ok && fast > 0;
    std::printf(
        "%-8s %12.0f/s  (BLF at zlib level 1, as live capture writes it) %8.1fx L\n", "blf/1", fast, fast / kBusLimit);
    if (!ok)
        std::printf("a writer or reader failed or lost frames\n");
    return ok ? 0 : 1;
}
