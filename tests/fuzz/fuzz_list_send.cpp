// The list-send file: a list that reads writes back as a list that reads the
// same; a problem anywhere gives no rows.
#include "FuzzCheck.h"
#include "ListSendFile.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), int(size));
    const ListSendFile::Result result = ListSendFile::parse(text);
    if (!result.ok) {
        FUZZ_CHECK(result.rows.isEmpty());
        return 0;
    }
    const ListSendFile::Result again = ListSendFile::parse(ListSendFile::format(result.rows));
    FUZZ_CHECK(again.ok);
    FUZZ_CHECK(again.rows == result.rows);
    return 0;
}
