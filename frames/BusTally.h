#pragma once
// Per-channel counters of the frames the worker threads hand over, kept while
// the bus statistics are on: the batch builders count each frame's bits and
// kind while they make its texts, and add the batch's sums here once per
// batch. While the statistics are off a batch costs one flag read.
#include "DriverApi.h"

#include <cstdint>

namespace BusTally {

struct Counts {
    uint64_t arbitrationBits = 0; // stuff bits included (worst case, see BusTiming)
    uint64_t dataBits = 0;
    uint64_t frames = 0;
    uint64_t classic = 0;
    uint64_t fd = 0;
    uint64_t remote = 0;
    uint64_t extended = 0;
};

void setEnabled(bool on);
bool enabled();

// Counts one frame into a batch's sums: identifier word (bit 31 extended,
// bit 30 remote), byte count, CAN FD or not, FD flags byte (1 = bit-rate switch).
void countFrame(Counts &sums, uint32_t idWord, uint32_t length, bool fd, uint8_t flags);

// Adds a batch's sums to a channel (0 or 1), from any thread.
void add(unsigned channel, const Counts &sums);
// What was added to the channel since the last take, leaving it at zero.
Counts take(unsigned channel);

} // namespace BusTally
