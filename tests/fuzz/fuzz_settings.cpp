// The settings file (config/setdb.txt), read as load() reads it: the first
// line through a UTF-8 text stream, then split into key,value entries.
#include "FuzzCheck.h"
#include "SettingsStore.h"

#include <QByteArray>
#include <QTextStream>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    QTextStream in(bytes);
    in.setCodec("UTF-8");
    const QString line = in.readLine();

    QMap<QString, QString> map;
    const bool ok = SettingsStore::parseLine(line, map);
    if (!ok) {
        FUZZ_CHECK(map.isEmpty()); // one malformed entry throws every setting away
        return 0;
    }
    // What was read writes back as a line that reads the same.
    QMap<QString, QString> again;
    FUZZ_CHECK(SettingsStore::parseLine(SettingsStore::formatLine(map), again));
    FUZZ_CHECK(again == map);
    return 0;
}
