#pragma once
// One CAN or CAN FD frame as a log file holds it, independent of the file format.

#include <QtGlobal>

#include <array>

struct LogFrame {
    qint64 timeNs = 0; // time stamp in nanoseconds from the log's time origin
    quint32 channel = 0; // 0-based: 0 is channel 1
    quint32 id = 0; // 11-bit or 29-bit identifier, without flag bits
    quint8 length = 0; // number of data bytes: 0..8 classic, 0..64 CAN FD
    bool extended = false;
    bool remote = false;
    bool canFd = false;
    bool bitRateSwitch = false;
    bool errorStateIndicator = false;
    bool errorFrame = false;
    bool received = true; // direction: Rx when true, Tx when false
    std::array<quint8, 64> data {};

    // CAN FD data length code <-> number of bytes (0..8, 12, 16, 20, 24, 32, 48, 64).
    static int dlcToLength(int dlc);
    // The smallest code whose length holds `length` bytes.
    static int lengthToDlc(int length);
};

// Equal in everything a frame carries; data is compared over `length` bytes
// and not at all for remote frames.
bool operator==(const LogFrame &a, const LogFrame &b);
inline bool operator!=(const LogFrame &a, const LogFrame &b) { return !(a == b); }
