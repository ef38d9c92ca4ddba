// The DBC parser: a file reads whole or not at all, and every signal it gives
// can be taken out of and put into a frame of its message's length (or of
// 64 bytes) without reading or writing past the data.
#include "DbcParser.h"
#include "FuzzCheck.h"
#include "SignalCodec.h"

#include <cstdint>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), int(size));
    DbcDatabase db;
    DbcError error;
    if (!DbcParser::parse(text, db, error)) {
        FUZZ_CHECK(db.messages.isEmpty());
        return 0;
    }
    uchar frame[64];
    for (const DbcMessage &m : db.messages) {
        FUZZ_CHECK(m.length >= 0 && m.length <= 64);
        for (const DbcSignal &s : m.signalList) {
            FUZZ_CHECK(s.length >= 1 && s.length <= 64);
            std::memset(frame, 0xA5, sizeof frame);
            quint64 bits = 0;
            if (SignalCodec::extract(s, frame, int(sizeof frame), bits)) {
                const double value = SignalCodec::physical(s, bits);
                SignalCodec::insert(s, SignalCodec::fromPhysical(s, value), frame);
            }
        }
    }
    return 0;
}
