#pragma once
// One batch builder for the four driver record kinds: one ModelItem per
// record, every text made at once in the current language (a record keeps its
// language). Runs in the worker threads for every frame, so it stays a
// template: each record kind gets its own straight loop. While the bus
// statistics are on, it also counts each frame's bits and kind (BusTally).
#include "BusTally.h"
#include "DriverApi.h"
#include "FrameText.h"
#include "Lang.h"
#include "ModelItem.h"

#include <QList>
#include <type_traits>

namespace FrameBatch {

template <typename Record>
constexpr bool isCanFd = std::is_same_v<Record, CanFdReceiveRecord> || std::is_same_v<Record, CanFdTransmitRecord>;
template <typename Record>
constexpr bool isReceived = std::is_same_v<Record, CanReceiveRecord> || std::is_same_v<Record, CanFdReceiveRecord>;

// `beforeTexts(record)` runs for each record before its frame texts are made
// (the receive threads' identifier-continuity check).
template <typename Record, typename BeforeTexts>
QList<ModelItem> build(const Record *records, uint count, uint channel, BeforeTexts &&beforeTexts)
{
    constexpr bool fd = isCanFd<Record>;
    constexpr bool received = isReceived<Record>;
    const int lang = languageCode();
    // One clock read per batch: a batch is what one driver call returned or took.
    const qint64 now = count ? frameClockNs() : 0;
    const bool tally = BusTally::enabled();
    BusTally::Counts sums;
    QList<ModelItem> batch;
    batch.reserve(int(count));
    for (uint i = 0; i < count; ++i) {
        const Record &rec = records[i];
        batch.append(ModelItem());
        ModelItem &item = batch.last();
        item.channel = channel;
        item.direction = received ? 1 : 0;
        item.hostTimeNs = now;
        item.idWord = rec.id;
        item.length = rec.length;
        item.canFd = fd;
        if constexpr (received) {
            item.deviceTimeUs = rec.timestamp;
            item.timeStamp = FrameText::receivedTimeStamp(rec.timestamp);
        } else
            item.timeStamp = FrameText::transmittedTimeStamp();
        item.channelText = FrameText::channelText(channel);
        item.dirText = FrameText::directionText(received);
        beforeTexts(rec);
        uint8_t flags = 0;
        if constexpr (fd) {
            flags = rec.flags;
            item.fdFlags = flags;
        }
        // A received CAN FD remote frame is the one record whose data text
        // stays empty; a transmitted one still shows "x| ".
        FrameText::fillFrameTexts(item, lang, rec.id, rec.length, rec.data, sizeof rec.data, fd, flags, fd && received);
        if (tally)
            BusTally::countFrame(sums, rec.id, rec.length, fd, flags);
    }
    if (tally)
        BusTally::add(channel, sums);
    return batch;
}

template <typename Record> QList<ModelItem> build(const Record *records, uint count, uint channel)
{
    return build(records, count, channel, [](const Record &) {});
}

} // namespace FrameBatch
