// Vector binary logging format (.blf), little-endian throughout.
//
// File header, 144 bytes (the rest of the header up to its size is zero):
//   0  "LOGG"            4  u32 header size
//   8  u8 application id, major, minor, build
//  12  u8 log format major, minor, build, patch
//  16  u64 file size     24 u64 uncompressed size of all objects
//  32  u32 object count  36 u32 objects read
//  40  SYSTEMTIME start  56 SYSTEMTIME stop (eight u16: year, month, weekday, day,
//                                             hour, minute, second, milliseconds; local time)
//
// Then objects, each starting with the 16-byte base header
//   0 "LOBJ"  4 u16 header size  6 u16 header version  8 u32 object size  12 u32 object type
// and padded after its object size with (object size % 4) zero bytes.
//
// Top level: LOG_CONTAINER objects (type 10): after the base header
//  16 u16 compression method (0 none, 2 zlib)  18 6 reserved  24 u32 unpacked size  28 4 reserved
//  32 data
// The unpacked data of all containers is one stream of frame objects; an object
// may begin in one container and end in the next. Frame objects have a second
// header after the base header (version 1: 16 bytes, version 2: 24 bytes):
//  16 u32 flags (1: time in 10 µs steps, 2: in ns)  20 u16 client index / status  22 u16 object version
//  24 u64 time stamp from the start time of the file header
//
// Frame bodies, from the end of the object header:
//   CAN_MESSAGE (1), CAN_MESSAGE2 (86):
//     0 u16 channel (1-based)  2 u8 flags (bit 0 Tx, bit 7 remote)  3 u8 dlc  4 u32 id (bit 31 extended)
//     8 8 data   (CAN_MESSAGE2 adds frame length, bit count and reserved bytes after the data)
//   CAN_FD_MESSAGE (100):
//     0 u16 channel  2 u8 flags (as above)  3 u8 dlc  4 u32 id  8 u32 frame length  12 u8 bit count
//    13 u8 FD flags (bit 0 EDL, 1 BRS, 2 ESI)  14 u8 valid data bytes  15 5 reserved  20 64 data
//   CAN_FD_MESSAGE_64 (101):
//     0 u8 channel  1 u8 dlc  2 u8 valid data bytes  3 u8 tx count  4 u32 id  8 u32 frame length
//    12 u32 flags (bit 4 remote, 12 EDL, 13 BRS, 14 ESI)  16 u32 arbitration bit timing
//    20 u32 data bit timing  24 u32 BRS offset  28 u32 CRC delimiter offset  32 u16 bit count
//    34 u8 direction (0 Rx, 1 Tx)  35 u8 extended data offset  36 u32 CRC  40 data (valid data bytes)
//   CAN_ERROR_EXT (73):
//     0 u16 channel  2 u16 length  4 u32 flags  8 u8 ECC  9 u8 position  10 u8 dlc  11 reserved
//    12 u32 frame length  16 u32 id  20 u16 extended flags  22 reserved  24 8 data
//
// This writer puts classic frames into CAN_MESSAGE, CAN FD frames into
// CAN_FD_MESSAGE_64 and error frames into CAN_ERROR_EXT, with version-1 headers
// and nanosecond time stamps, in containers of 128 KiB unpacked data.

#include "Formats.h"
#include "LogTexts.h"

#include <QDateTime>
#include <QFile>
#include <QFileDevice>
#include <QtEndian>

#include <zlib.h>

#include <cstring>
#include <limits>

namespace {

constexpr int kFileHeaderSize = 144;
constexpr int kBaseHeaderSize = 16;
constexpr int kContainerHeaderSize = 32;
constexpr int kObjectHeaderV1Size = 32;
constexpr int kContainerSize = 128 * 1024;
constexpr quint32 kMaxUnpacked = 64u * 1024 * 1024;

enum ObjectType : quint32 {
    CanMessage = 1,
    LogContainer = 10,
    CanErrorExt = 73,
    CanMessage2 = 86,
    CanFdMessage = 100,
    CanFdMessage64 = 101,
};

constexpr quint32 kExtendedBit = 0x80000000u;

quint16 u16(const char *p) { return qFromLittleEndian<quint16>(p); }
quint32 u32(const char *p) { return qFromLittleEndian<quint32>(p); }
quint64 u64(const char *p) { return qFromLittleEndian<quint64>(p); }
void put16(char *p, quint16 v) { qToLittleEndian(v, p); }
void put32(char *p, quint32 v) { qToLittleEndian(v, p); }
void put64(char *p, quint64 v) { qToLittleEndian(v, p); }

// SYSTEMTIME in local time <-> ns since 1970; all zero means "no wall-clock time".
qint64 systemTimeToNs(const char *p)
{
    const QDate date(u16(p), u16(p + 2), u16(p + 6));
    const QTime time(u16(p + 8), u16(p + 10), u16(p + 12), u16(p + 14));
    if (!date.isValid() || !time.isValid())
        return 0;
    // Nanoseconds since 1970 end in 2262; a later (or far earlier) year is
    // as good as no time at all, and must not overflow the product.
    const qint64 ms = QDateTime(date, time, Qt::LocalTime).toMSecsSinceEpoch();
    if (ms > std::numeric_limits<qint64>::max() / 1000000LL || ms < std::numeric_limits<qint64>::min() / 1000000LL)
        return 0;
    return ms * 1000000LL;
}

void putSystemTime(char *p, qint64 ns)
{
    std::memset(p, 0, 16);
    if (ns < kWallClockFromNs)
        return;
    const QDateTime t = QDateTime::fromMSecsSinceEpoch(ns / 1000000LL, Qt::LocalTime);
    put16(p, quint16(t.date().year()));
    put16(p + 2, quint16(t.date().month()));
    put16(p + 4, quint16(t.date().dayOfWeek() % 7));
    put16(p + 6, quint16(t.date().day()));
    put16(p + 8, quint16(t.time().hour()));
    put16(p + 10, quint16(t.time().minute()));
    put16(p + 12, quint16(t.time().second()));
    put16(p + 14, quint16(t.time().msec()));
}

class BlfReader final : public LogReader {
    qint64 m_startNs = 0;
    QByteArray m_data; // unpacked container data not yet parsed
    int m_pos = 0;
    int m_carried = 0; // bytes of m_data that came from earlier containers
    QByteArray m_packed;

    // Loads the next container's unpacked data behind what is left; false at
    // the end of the file (error clear) or on a damaged container (error set).
    bool loadContainer()
    {
        for (;;) {
            m_offset = m_file->pos();
            m_innerOffset = -1;
            char base[kBaseHeaderSize];
            const qint64 got = m_file->read(base, kBaseHeaderSize);
            if (got == 0)
                return false;
            if (got < kBaseHeaderSize)
                return fail(LogError::Truncated, LogTexts::wholeObject());
            if (std::memcmp(base, "LOBJ", 4) != 0)
                return fail(LogError::BadRecord, LogTexts::objectSignature(),
                    QString::fromLatin1(QByteArray(base, 4).toHex(' ')));
            const quint32 size = u32(base + 8);
            const quint32 type = u32(base + 12);
            if (size < kBaseHeaderSize || size > kMaxUnpacked)
                return fail(LogError::BadRecord, LogTexts::wholeObject(), QString::number(size));
            m_packed.resize(int(size - kBaseHeaderSize));
            if (m_file->read(m_packed.data(), m_packed.size()) != m_packed.size())
                return fail(LogError::Truncated, LogTexts::wholeObject());
            // Padding after an object; a file may end without it.
            if (size % 4)
                m_file->skip(size % 4);
            if (type != LogContainer) {
                ++m_skipped;
                continue;
            }
            if (m_packed.size() < kContainerHeaderSize - kBaseHeaderSize)
                return fail(LogError::BadRecord, LogTexts::wholeObject());
            const quint16 method = u16(m_packed.constData());
            const quint32 unpacked = u32(m_packed.constData() + 8);
            const char *payload = m_packed.constData() + 16;
            const int payloadSize = m_packed.size() - 16;
            if (unpacked > kMaxUnpacked)
                return fail(LogError::BadRecord, LogTexts::wholeObject(), QString::number(unpacked));
            // Keep the unfinished object of the previous container in front.
            m_data.remove(0, m_pos);
            m_carried = m_data.size();
            m_pos = 0;
            if (method == 0) {
                m_data.append(payload, payloadSize);
            } else if (method == 2) {
                const int before = m_data.size();
                m_data.resize(before + int(unpacked));
                uLongf length = unpacked;
                const int rc = uncompress(reinterpret_cast<Bytef *>(m_data.data() + before), &length,
                    reinterpret_cast<const Bytef *>(payload), uLong(payloadSize));
                if (rc != Z_OK || length != unpacked)
                    return fail(LogError::BadRecord, LogTexts::compressedData(), QString::fromLatin1(zError(rc)));
            } else {
                return fail(LogError::BadRecord, LogTexts::compressionMethod(), QString::number(method));
            }
            return true;
        }
    }

protected:
    bool readHeader() override
    {
        m_offset = 0;
        char h[72];
        const qint64 got = m_file->read(h, sizeof h);
        if (got < 4 || std::memcmp(h, "LOGG", 4) != 0)
            return fail(LogError::BadHeader, LogTexts::header(QStringLiteral("LOGG")),
                QString::fromLatin1(QByteArray(h, int(std::max<qint64>(got, 0))).left(4).toHex(' ')));
        if (got < qint64(sizeof h))
            return fail(LogError::Truncated, LogTexts::header(QStringLiteral("LOGG")));
        const quint32 headerSize = u32(h + 4);
        if (headerSize < sizeof h || headerSize > 4096)
            return fail(
                LogError::BadHeader, LogTexts::header(QStringLiteral("size 72..4096")), QString::number(headerSize));
        m_startNs = systemTimeToNs(h + 40);
        if (!m_file->seek(headerSize) || m_file->size() < headerSize)
            return fail(LogError::Truncated, LogTexts::header(QStringLiteral("LOGG")));
        return true;
    }

    bool readFrame(LogFrame &f) override
    {
        for (;;) {
            // Objects inside a container may be followed by up to three bytes of padding.
            int skip = 0;
            while (skip < 4 && m_pos + skip + 4 <= m_data.size()
                && std::memcmp(m_data.constData() + m_pos + skip, "LOBJ", 4) != 0)
                ++skip;
            if (m_pos + skip + kBaseHeaderSize > m_data.size() || skip == 4) {
                if (skip == 4) {
                    m_innerOffset = std::max(0, m_pos - m_carried);
                    return fail(LogError::BadRecord, LogTexts::objectSignature(),
                        QString::fromLatin1(m_data.mid(m_pos, 4).toHex(' ')));
                }
                if (!loadContainer()) {
                    if (failed())
                        return false;
                    // End of file: only padding may be left over.
                    for (int i = m_pos; i < m_data.size(); ++i)
                        if (m_data.at(i) != 0) {
                            m_offset = m_file->pos();
                            return fail(LogError::Truncated, LogTexts::wholeObject());
                        }
                    return false;
                }
                continue;
            }
            m_pos += skip;
            const char *o = m_data.constData() + m_pos;
            const quint16 headerSize = u16(o + 4);
            const quint16 version = u16(o + 6);
            const quint32 size = u32(o + 8);
            const quint32 type = u32(o + 12);
            m_innerOffset = std::max(0, m_pos - m_carried);
            if (size < kBaseHeaderSize || size > kMaxUnpacked)
                return fail(LogError::BadRecord, LogTexts::wholeObject(), QString::number(size));
            if (qint64(m_pos) + size > m_data.size()) {
                if (!loadContainer()) {
                    if (!failed()) {
                        m_offset = m_file->pos();
                        fail(LogError::Truncated, LogTexts::wholeObject());
                    }
                    return false;
                }
                continue;
            }
            m_pos += int(size);
            if (type != CanMessage && type != CanMessage2 && type != CanFdMessage && type != CanFdMessage64
                && type != CanErrorExt) {
                ++m_skipped;
                continue;
            }
            if ((version != 1 && version != 2) || headerSize < kObjectHeaderV1Size || headerSize > size)
                return fail(LogError::BadRecord, LogTexts::header(QStringLiteral("object header version 1 or 2")),
                    QString::number(version));
            const quint32 timeFlags = u32(o + 16);
            const quint64 stamp = u64(o + 24);
            // Unsigned: a stamp near 2^64 wraps instead of overflowing a signed sum.
            f.timeNs = qint64(quint64(m_startNs) + (timeFlags == 1 ? stamp * 10000 : stamp));
            return frameBody(type, o + headerSize, int(size) - headerSize, f);
        }
    }

    bool frameBody(quint32 type, const char *b, int n, LogFrame &f)
    {
        auto need = [&](int bytes) {
            return n >= bytes ? true : fail(LogError::BadRecord, LogTexts::wholeObject(), QString::number(n));
        };
        switch (type) {
        case CanMessage:
        case CanMessage2: {
            if (!need(16))
                return false;
            const quint8 flags = quint8(b[2]);
            const quint8 dlc = quint8(b[3]);
            const quint32 id = u32(b + 4);
            if (dlc > 15)
                return fail(LogError::BadRecord, LogTexts::dlc(), QString::number(dlc));
            f.channel = channelFrom(u16(b));
            f.received = !(flags & 0x01);
            f.remote = flags & 0x80;
            f.extended = id & kExtendedBit;
            f.id = id & 0x1FFFFFFF;
            f.length = std::min<quint8>(dlc, 8);
            std::memcpy(f.data.data(), b + 8, 8);
            return true;
        }
        case CanFdMessage: {
            if (!need(84))
                return false;
            const quint8 flags = quint8(b[2]);
            const quint32 id = u32(b + 4);
            const quint8 fdFlags = quint8(b[13]);
            const quint8 valid = quint8(b[14]);
            if (valid > 64)
                return fail(LogError::BadRecord, LogTexts::dataLength(64), QString::number(valid));
            f.channel = channelFrom(u16(b));
            f.received = !(flags & 0x01);
            f.remote = flags & 0x80;
            f.extended = id & kExtendedBit;
            f.id = id & 0x1FFFFFFF;
            f.canFd = fdFlags & 0x01;
            f.bitRateSwitch = fdFlags & 0x02;
            f.errorStateIndicator = fdFlags & 0x04;
            f.length = valid;
            std::memcpy(f.data.data(), b + 20, valid);
            return true;
        }
        case CanFdMessage64: {
            if (!need(40))
                return false;
            const quint8 valid = quint8(b[2]);
            const quint32 id = u32(b + 4);
            const quint32 flags = u32(b + 12);
            if (valid > 64)
                return fail(LogError::BadRecord, LogTexts::dataLength(64), QString::number(valid));
            if (!need(40 + valid))
                return false;
            f.channel = channelFrom(quint8(b[0]));
            f.received = b[34] == 0;
            f.remote = flags & 0x0010;
            f.canFd = flags & 0x1000;
            f.bitRateSwitch = flags & 0x2000;
            f.errorStateIndicator = flags & 0x4000;
            f.extended = id & kExtendedBit;
            f.id = id & 0x1FFFFFFF;
            f.length = valid;
            std::memcpy(f.data.data(), b + 40, valid);
            return true;
        }
        default: // CAN_ERROR_EXT: an error frame keeps only its time and channel
            if (!need(2))
                return false;
            f.channel = channelFrom(u16(b));
            f.errorFrame = true;
            return true;
        }
    }

    static quint32 channelFrom(quint32 fileChannel) { return fileChannel > 0 ? fileChannel - 1 : 0; }
};

class BlfWriter final : public LogWriter {
    QByteArray m_objects; // unpacked data of the container being filled
    QByteArray m_packed;
    quint64 m_unpackedTotal = kFileHeaderSize;
    quint32 m_objectCount = 0;
    bool m_started = false;
    qint64 m_startNs = 0; // time origin of the object time stamps
    qint64 m_lastNs = 0;

    bool writeContainer(const char *data, int size)
    {
        int method = 0;
        const char *payload = data;
        int payloadSize = size;
        if (m_options.blfCompression != 0) {
            uLongf packedSize = compressBound(uLong(size));
            m_packed.resize(int(packedSize));
            if (compress2(reinterpret_cast<Bytef *>(m_packed.data()), &packedSize,
                    reinterpret_cast<const Bytef *>(data), uLong(size), m_options.blfCompression)
                != Z_OK) {
                m_error.code = LogError::CannotWrite;
                m_error.expected = LogTexts::compressedData();
                return false;
            }
            method = 2;
            payload = m_packed.constData();
            payloadSize = int(packedSize);
        }
        char h[kContainerHeaderSize] = {};
        const quint32 objectSize = quint32(kContainerHeaderSize + payloadSize);
        std::memcpy(h, "LOBJ", 4);
        put16(h + 4, kBaseHeaderSize);
        put16(h + 6, 1);
        put32(h + 8, objectSize);
        put32(h + 12, LogContainer);
        put16(h + 16, quint16(method));
        put32(h + 24, quint32(size));
        m_out.append(h, sizeof h);
        m_out.append(payload, payloadSize);
        m_out.append(int(objectSize % 4), '\0');
        m_unpackedTotal += quint64(kContainerHeaderSize + size);
        return drain();
    }

    // Writes every full container; with `all`, also what is left.
    bool writeContainers(bool all)
    {
        int done = 0;
        while (m_objects.size() - done >= kContainerSize || (all && m_objects.size() > done)) {
            const int size = std::min(kContainerSize, m_objects.size() - done);
            if (!writeContainer(m_objects.constData() + done, size))
                return false;
            done += size;
        }
        m_objects.remove(0, done);
        return true;
    }

    void writeHeader(char *h, quint64 fileSize)
    {
        std::memset(h, 0, kFileHeaderSize);
        std::memcpy(h, "LOGG", 4);
        put32(h + 4, kFileHeaderSize);
        h[8] = 5; // application id, as python-can writes it
        h[12] = 2; // log format 2.6.8.1
        h[13] = 6;
        h[14] = 8;
        h[15] = 1;
        put64(h + 16, fileSize);
        put64(h + 24, m_unpackedTotal);
        put32(h + 32, m_objectCount);
        putSystemTime(h + 40, m_startNs);
        putSystemTime(h + 56, m_lastNs);
    }

protected:
    bool begin() override
    {
        m_objects.reserve(kContainerSize + 256);
        char h[kFileHeaderSize];
        writeHeader(h, 0);
        m_out.append(h, sizeof h);
        return true;
    }

    bool put(const LogFrame &f) override
    {
        if (!m_started) {
            m_started = true;
            // Wall-clock time stamps: the file header holds the start to the millisecond,
            // objects the rest. Measurement times stay as they are from a zero start.
            m_startNs = f.timeNs >= kWallClockFromNs ? f.timeNs - f.timeNs % 1000000 : 0;
        }
        m_lastNs = std::max(m_lastNs, f.timeNs);
        char o[kObjectHeaderV1Size + 40 + 64] = {};
        int body;
        quint32 type;
        char *b = o + kObjectHeaderV1Size;
        const quint32 id = f.id | (f.extended ? kExtendedBit : 0);
        if (f.errorFrame) {
            type = CanErrorExt;
            body = 32;
            put16(b, quint16(f.channel + 1));
        } else if (f.canFd && !f.remote) {
            type = CanFdMessage64;
            const int length = std::min<int>(f.length, 64);
            body = 40 + length;
            b[0] = char(f.channel + 1);
            b[1] = char(LogFrame::lengthToDlc(length));
            b[2] = char(length);
            put32(b + 4, id);
            put32(b + 12, 0x1000u | (f.bitRateSwitch ? 0x2000u : 0) | (f.errorStateIndicator ? 0x4000u : 0));
            b[34] = f.received ? 0 : 1;
            std::memcpy(b + 40, f.data.data(), size_t(length));
        } else {
            type = CanMessage;
            body = 16;
            const int length = std::min<int>(f.length, 8);
            put16(b, quint16(f.channel + 1));
            b[2] = char((f.received ? 0 : 0x01) | (f.remote ? 0x80 : 0));
            b[3] = char(length);
            put32(b + 4, id);
            if (!f.remote)
                std::memcpy(b + 8, f.data.data(), size_t(length));
        }
        const quint32 size = quint32(kObjectHeaderV1Size + body);
        std::memcpy(o, "LOBJ", 4);
        put16(o + 4, kObjectHeaderV1Size);
        put16(o + 6, 1);
        put32(o + 8, size);
        put32(o + 12, type);
        put32(o + 16, 2); // time stamp in nanoseconds
        put64(o + 24, quint64(std::max<qint64>(0, f.timeNs - m_startNs)));
        m_objects.append(o, int(size));
        m_objects.append(int(size % 4), '\0');
        ++m_objectCount;
        if (m_objects.size() >= kContainerSize)
            writeContainers(false); // a failure is left in m_error
        return true;
    }

    bool pushOut() override { return writeContainers(true); }

    bool end() override
    {
        if (!writeContainers(true) || !drain(true))
            return false;
        const qint64 size = m_file->pos();
        char h[kFileHeaderSize];
        writeHeader(h, quint64(size));
        if (!m_file->seek(0) || m_file->write(h, sizeof h) != sizeof h || !m_file->seek(size))
            return writeFailed();
        return true;
    }
};

}

std::unique_ptr<LogReader> makeBlfReader() { return std::make_unique<BlfReader>(); }
std::unique_ptr<LogWriter> makeBlfWriter() { return std::make_unique<BlfWriter>(); }
