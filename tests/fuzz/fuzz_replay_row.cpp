// The CSV frame file of the file send: every line split at "," as the send
// thread splits it, read as one row, then turned into the record it would send
// and the table row that record becomes.
#include "FrameBatch.h"
#include "FuzzCheck.h"
#include "sendThread.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), int(size));
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        const QStringList fields = line.split(QLatin1Char(','));
        sendThread::FileRow row;
        const bool ok = sendThread::parseFileRow(fields, row);
        FUZZ_CHECK(ok == (fields.size() >= 11));
        if (!ok)
            continue;
        FUZZ_CHECK(row.timeMs >= 0 && row.timeMs < 86400000);
        FUZZ_CHECK(row.flags == 0 || (row.flags == 1 && row.canFd));
        for (uint i = row.length; i < sizeof row.data; ++i)
            FUZZ_CHECK(row.data[i] == 0);
        const uint channel = uint(row.channelField) - 1u;
        QList<ModelItem> items;
        if (row.canFd) {
            CanFdTransmitRecord rec {};
            rec.id = row.idWord;
            rec.length = std::min<uint8_t>(row.length, sizeof rec.data);
            rec.flags = row.flags;
            std::memcpy(rec.data, row.data, sizeof rec.data);
            items = FrameBatch::build(&rec, 1, uint16_t(channel));
        } else {
            CanTransmitRecord rec {};
            rec.id = row.idWord;
            rec.length = std::min<uint8_t>(row.length, sizeof rec.data);
            std::memcpy(rec.data, row.data, sizeof rec.data);
            items = FrameBatch::build(&rec, 1, uint16_t(channel));
        }
        FUZZ_CHECK(items.size() == 1 && items.first().dataText.startsWith(QLatin1String("x| ")));
    }
    return 0;
}
