// The frame log readers (CSV, ASC, BLF, TRC, candump): the first byte of the
// input picks the format, the rest is the file, read frame by frame to its
// end as the file send and the log tool read it.
#include "FuzzCheck.h"
#include "LogFormat.h"
#include "LogReader.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    // Written to memory-backed storage where there is some.
    static QTemporaryDir dir(QDir("/dev/shm").exists() ? QStringLiteral("/dev/shm/ostrel-fuzz-XXXXXX")
                                                       : QDir::tempPath() + QStringLiteral("/ostrel-fuzz-XXXXXX"));
    const QList<LogFormat::Format> formats = LogFormat::all();
    const LogFormat::Format format = formats.at(data[0] % formats.size());
    const QString path = dir.filePath(QStringLiteral("input.") + LogFormat::suffix(format));
    {
        QFile f(path);
        FUZZ_CHECK(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(reinterpret_cast<const char *>(data + 1), qint64(size - 1));
    }
    LogError error;
    std::unique_ptr<LogReader> reader = LogReader::open(path, &error);
    if (!reader) {
        FUZZ_CHECK(error.isError());
        return 0;
    }
    LogFrame frame;
    quint64 frames = 0;
    while (reader->next(frame)) {
        ++frames;
        FUZZ_CHECK(frame.length <= 64);
    }
    FUZZ_CHECK(frames == reader->framesRead());
    return 0;
}
