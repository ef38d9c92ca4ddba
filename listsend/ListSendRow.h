#pragma once
// One message of the list send: what is sent, on which channel, how often.
// The list file keeps one row per line (ListSendFile.h).
#include <QByteArray>
#include <QString>
#include <cstdint>

struct ModelItem;

struct ListSendRow {
    static constexpr int kMinPeriodMs = 1;
    static constexpr int kMaxPeriodMs = 60000;

    bool enabled = true; // takes part in "start all"
    unsigned channel = 0; // 0-based
    uint32_t id = 0x100;
    bool extended = false;
    bool remote = false;
    int protocol = 0; // 0 CAN, 1 CANFD, 2 CANFD with bit-rate switch (the send panel's order)
    int length = 8;
    QByteArray data = QByteArray(8, '\0'); // always `length` bytes
    int periodMs = 100;
    qint64 count = 0; // frames to send before the row switches itself off; 0 = until stopped
    bool idIncrement = false;
    bool dataIncrement = false;
    QString name;

    bool canFd() const { return protocol != 0; }
    bool bitRateSwitch() const { return protocol == 2; }
    // Data bytes as the send panel writes them: "00 11 22".
    QString dataText() const;
    // Keeps `data` at exactly `length` bytes: longer data is cut, shorter gets zero bytes.
    void fitData();
    // Everything a sender relies on holds: identifier in range, a length the
    // protocol allows, remote frames classic CAN only, period and count in range.
    bool isValid() const;
    // The shortest length a frame may have that holds `bytes` bytes: the
    // number itself up to 8, above that the next CAN FD length (12, 16, 20,
    // 24, 32, 48, 64); 64 for anything longer.
    static int fittingLength(int bytes);

    // A row that sends the frame of a frame-table row again: its channel,
    // identifier, format, type, protocol, length and data, read back from the
    // texts in whichever language the frame was recorded.
    static ListSendRow fromFrame(const ModelItem &item);

    bool operator==(const ListSendRow &o) const;
    bool operator!=(const ListSendRow &o) const { return !(*this == o); }
};
