#pragma once
// The rules of a frame to be sent, shared by the send panels, the send
// thread's count mode and the list send: how the data text is cleaned up,
// which identifiers and lengths are allowed, the texts of the refusals, and
// how identifier and data advance from one frame to the next.
#include "DriverApi.h"

#include <QString>
#include <QVector>
#include <cstdint>

namespace SendRules {

// The lengths a frame may have, in the order the length choosers list them;
// the first nine (0-8) are the classic CAN ones.
const QVector<int> &lengths();
constexpr int kClassicLengthCount = 9;
bool isValidLength(int length, bool canFd);

// Hex pieces separated by blanks, each piece padded to an even number of
// digits and cut into pairs: "123 4567 8" becomes "01 23 45 67 08". Case is kept.
QString normaliseData(const QString &text);
// A normalised text with more bytes than `length` keeps only the first ones.
QString cutData(const QString &normalised, int length);
// Hex pieces split at blanks, each read as one byte (a piece that does not
// parse reads as 0), into a zeroed 64-byte buffer; returns the pieces read.
int parseBytes(const QString &text, uint8_t (&buffer)[64]);
// Bytes as upper-case hex pairs joined by single blanks: the normalised form.
QString bytesText(const uint8_t *data, int count);

// The identifier text as the send panel reads it: signed 32-bit hex, text
// that does not parse counts as 0.
int parseId(const QString &text);
// Below 0x800 for a standard identifier, below 0x20000000 for an extended one.
bool idInRange(qint64 id, bool extended);
// The refusal of an identifier out of range, in the current language. The
// Traditional Chinese text of channel 2 begins in Simplified characters.
QString idRangeMessage(bool extended, unsigned channel);
// "通道1未打开！" and its siblings, in the current language.
QString channelNotOpenMessage(unsigned channel);

// The identifier after `id`: + 1, a standard one wrapping at 0x800, an
// extended one at 0x20000000.
uint32_t nextId(uint32_t id, bool extended);
// Adds 1 to the first `length` bytes read as one little-endian number; a
// carry out of the last byte is dropped.
void incrementData(uint8_t *data, unsigned length);

// Driver records of one frame; length is cut to what the record holds.
void fillRecord(CanTransmitRecord &rec, uint32_t idWord, unsigned length, const uint8_t *data64, uint32_t transmitType);
void fillRecord(CanFdTransmitRecord &rec, uint32_t idWord, unsigned length, const uint8_t *data64, uint8_t flags,
    uint32_t transmitType);

}
