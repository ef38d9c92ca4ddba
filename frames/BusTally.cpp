#include "BusTally.h"

#include "BusTiming.h"

#include <algorithm>
#include <atomic>

namespace BusTally {

namespace {
    struct Channel {
        std::atomic<uint64_t> arbitrationBits { 0 };
        std::atomic<uint64_t> dataBits { 0 };
        std::atomic<uint64_t> frames { 0 };
        std::atomic<uint64_t> classic { 0 };
        std::atomic<uint64_t> fd { 0 };
        std::atomic<uint64_t> remote { 0 };
        std::atomic<uint64_t> extended { 0 };
    };

    std::atomic<bool> g_enabled { false };
    Channel g_channels[2];
} // namespace

void setEnabled(bool on) { g_enabled.store(on, std::memory_order_relaxed); }

bool enabled() { return g_enabled.load(std::memory_order_relaxed); }

void countFrame(Counts &sums, uint32_t idWord, uint32_t length, bool fd, uint8_t flags)
{
    const bool extended = idWord & 0x80000000u;
    const bool remote = idWord & 0x40000000u;
    const uint32_t bytes
        = fd ? BusTiming::fdPayloadLength(std::min<uint32_t>(length, 64)) : std::min<uint32_t>(length, 8);
    const BusTiming::FrameBits bits = BusTiming::stuffedFrameBits(fd, extended, remote, fd && flags == 1, bytes);
    sums.arbitrationBits += bits.arbitration;
    sums.dataBits += bits.data;
    ++sums.frames;
    ++(fd ? sums.fd : sums.classic);
    sums.remote += remote;
    sums.extended += extended;
}

void add(unsigned channel, const Counts &sums)
{
    if (sums.frames == 0)
        return;
    Channel &c = g_channels[channel ? 1 : 0];
    c.arbitrationBits.fetch_add(sums.arbitrationBits, std::memory_order_relaxed);
    c.dataBits.fetch_add(sums.dataBits, std::memory_order_relaxed);
    c.frames.fetch_add(sums.frames, std::memory_order_relaxed);
    c.classic.fetch_add(sums.classic, std::memory_order_relaxed);
    c.fd.fetch_add(sums.fd, std::memory_order_relaxed);
    c.remote.fetch_add(sums.remote, std::memory_order_relaxed);
    c.extended.fetch_add(sums.extended, std::memory_order_relaxed);
}

Counts take(unsigned channel)
{
    Channel &c = g_channels[channel ? 1 : 0];
    Counts out;
    out.arbitrationBits = c.arbitrationBits.exchange(0, std::memory_order_relaxed);
    out.dataBits = c.dataBits.exchange(0, std::memory_order_relaxed);
    out.frames = c.frames.exchange(0, std::memory_order_relaxed);
    out.classic = c.classic.exchange(0, std::memory_order_relaxed);
    out.fd = c.fd.exchange(0, std::memory_order_relaxed);
    out.remote = c.remote.exchange(0, std::memory_order_relaxed);
    out.extended = c.extended.exchange(0, std::memory_order_relaxed);
    return out;
}

} // namespace BusTally
