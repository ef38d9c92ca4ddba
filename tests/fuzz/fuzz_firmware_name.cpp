// The firmware file-name rule: any file name in firmware/ gives -1 or a
// 16-bit version word, and only names of three "-" fields with a V count.
#include "FirmwareName.h"
#include "FuzzCheck.h"

#include <QStringList>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString name = QString::fromUtf8(reinterpret_cast<const char *>(data), int(size));
    const int version = FirmwareName::version(name);
    FUZZ_CHECK(version >= -1 && version <= 0xFFFF);
    const QStringList fields = name.split(QLatin1Char('-'));
    const bool counts = fields.size() == 3
        && (fields.at(1).startsWith(QLatin1Char('V')) || fields.at(1).startsWith(QLatin1Char('v')));
    FUZZ_CHECK((version >= 0) == counts);
    return 0;
}
