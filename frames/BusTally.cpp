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

    // The stuffed bit count of every frame shape, worked out once, so that
    // counting a frame is one table read: [fd][extended][remote][bit-rate
    // switch][byte count 0-64] (a CAN FD byte count without a DLC code
    // counts with the next size, a classic one above 8 is never indexed).
    struct BitTable {
        struct Bits {
            uint16_t arbitration;
            uint16_t data;
        };
        Bits bits[2][2][2][2][65];
        BitTable()
        {
            for (int fd = 0; fd < 2; ++fd)
                for (int ext = 0; ext < 2; ++ext)
                    for (int remote = 0; remote < 2; ++remote)
                        for (int brs = 0; brs < 2; ++brs)
                            for (uint32_t n = 0; n <= 64; ++n) {
                                const uint32_t bytes = fd ? BusTiming::fdPayloadLength(n) : std::min<uint32_t>(n, 8);
                                const BusTiming::FrameBits b
                                    = BusTiming::stuffedFrameBits(fd, ext, remote, fd && brs, bytes);
                                bits[fd][ext][remote][brs][n] = { uint16_t(b.arbitration), uint16_t(b.data) };
                            }
        }
    };
    const BitTable g_table;
} // namespace

void setEnabled(bool on) { g_enabled.store(on, std::memory_order_relaxed); }

bool enabled() { return g_enabled.load(std::memory_order_relaxed); }

void countFrame(Counts &sums, uint32_t idWord, uint32_t length, bool fd, uint8_t flags)
{
    const bool extended = idWord & 0x80000000u;
    const bool remote = idWord & 0x40000000u;
    const uint32_t n = std::min<uint32_t>(length, fd ? 64 : 8);
    const BitTable::Bits &bits = g_table.bits[fd][extended][remote][fd && flags == 1][n];
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
