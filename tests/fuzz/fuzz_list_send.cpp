// The list-send file: a list that reads writes back as a list that reads the
// same (names without carriage returns); a problem anywhere gives no rows.
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
    // A name keeps everything but a carriage return inside the line, which
    // the writer leaves out (a name is one line of the file).
    QList<ListSendRow> expected = result.rows;
    for (ListSendRow &row : expected)
        row.name.remove(QLatin1Char('\r'));
    FUZZ_CHECK(again.rows == expected);
    return 0;
}
