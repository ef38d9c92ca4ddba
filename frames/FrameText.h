#pragma once
// Display texts of one frame, shared by the receive and send batch builders.
// These run in the worker threads for every frame (tens of thousands per
// second on a busy bus), so they write characters straight into pre-sized
// strings and hand out shared constant texts wherever the text is fixed.

#include "ModelItem.h"

#include <QString>
#include <cstdint>

namespace FrameText {

constexpr uint32_t kExtendedBit = 0x80000000u;
constexpr uint32_t kRemoteBit = 0x40000000u;
constexpr uint32_t kIdMask = 0x1FFFFFFFu;

// "0x" + upper-case hex, padded to 8 digits (extended) or 3 (standard), never cut.
QString idText(uint32_t idWord);

// "x| " followed by every byte as two upper-case hex digits and one blank.
QString dataText(const uint8_t *data, unsigned length);

// "0x" + the microsecond count in upper-case hex, no padding.
QString hexTimeStamp(quint64 micros);
// Seconds with exactly four decimals.
QString decimalTimeStamp(quint64 micros);
// One of the two above, as the "timeHex" setting says right now.
QString receivedTimeStamp(quint64 micros);
// Transmitted frames carry no device time.
QString transmittedTimeStamp();

// Per-language frame texts; an unknown language code gives empty texts.
QString formatText(int lang, bool extended);
QString typeText(int lang, bool remote);
// "CAN", or "CANFD" with the bit-rate-switch suffix when the flag byte is exactly 1.
QString protocolText(int lang, bool canFd, uint8_t flags);

// Writes the decimal digits of n to the end of `out`; returns where they start.
char *decimalDigits(quint64 n, char (&out)[20]);
// The index column's text: the frame counter's value in decimal.
QString indexText(quint64 n);

QString channelText(unsigned channel); // 0-based in, 1-based text out
QString directionText(bool received); // "Rx" / "Tx"
QString lengthText(unsigned length);

// Fills the frame-describing texts of an item: identifier, format, type,
// length, protocol and data. dataCapacity bounds what is read from data;
// blankRemoteData gives a remote frame an empty data text instead of "x| ".
void fillFrameTexts(ModelItem &item, int lang, uint32_t idWord, unsigned length, const uint8_t *data,
    unsigned dataCapacity, bool canFd, uint8_t flags, bool blankRemoteData);

}
