#include "BusTiming.h"

#include <cmath>

namespace BusTiming {

namespace {
    // The driver's index order: falling from 1 Mbit/s to 5 kbit/s, then four
    // uneven rates appended after 5 kbit/s.
    constexpr uint32_t kArbitrationRates[kArbitrationRateCount] = { 1000000, 800000, 500000, 400000, 250000, 200000,
        125000, 100000, 80000, 50000, 40000, 20000, 10000, 5000, 666666, 83333, 66666, 33333 };
    constexpr uint32_t kDataRates[kDataRateCount]
        = { 5000000, 4000000, 2000000, 1000000, 800000, 500000, 250000, 125000, 100000 };
} // namespace

uint32_t arbitrationRate(uint32_t index) { return index < kArbitrationRateCount ? kArbitrationRates[index] : 0; }

uint32_t dataRate(uint32_t index) { return index < kDataRateCount ? kDataRates[index] : 0; }

uint8_t fdPayloadLength(uint32_t length)
{
    static constexpr uint8_t kSizes[] = { 12, 16, 20, 24, 32, 48, 64 };
    if (length <= 8)
        return static_cast<uint8_t>(length);
    for (uint8_t size : kSizes) {
        if (length <= size)
            return size;
    }
    return 64;
}

// Classic data frame, standard identifier: SOF 1, identifier 11, RTR 1, IDE 1,
// r0 1, DLC 4, data 8n, CRC 15, CRC delimiter 1, ACK slot and delimiter 2,
// EOF 7, intermission 3 = 47 + 8n. An extended identifier adds SRR 1, the
// 18 low identifier bits and r1: 67 + 8n. A remote frame carries no data.
//
// CAN FD frame, up to the bit-rate switch point: SOF 1, identifier 11, RRS 1,
// IDE 1, FDF 1, res 1, BRS 1 = 17 bits (36 with an extended identifier), and
// after the CRC: delimiter 1, ACK 2, EOF 7, intermission 3 = 13 bits. Both
// parts run at the arbitration rate: 30 bits standard, 49 extended.
// The data phase: ESI 1, DLC 4, data 8n, stuff count 4, CRC 17 (payload up to
// 16 bytes) or 21, and the fixed stuff bits ISO 11898-1 puts in front of the
// stuff count and after every 4 bits of the CRC: 6 with CRC-17, 7 with CRC-21.
// An empty standard FD frame is 30 + 32 = 62 bits.
FrameBits frameBits(bool fd, bool extended, bool remote, bool bitRateSwitch, uint32_t length)
{
    const uint32_t payloadBits = remote ? 0 : 8 * length;
    if (!fd)
        return { (extended ? 67u : 47u) + payloadBits, 0 };
    const bool longCrc = length > 16;
    const uint32_t arbitration = extended ? 49 : 30;
    const uint32_t data = 1 + 4 + payloadBits + 4 + (longCrc ? 21 : 17) + (longCrc ? 7 : 6);
    if (bitRateSwitch)
        return { arbitration, data };
    return { arbitration + data, 0 };
}

FrameBits stuffBits(bool fd, bool extended, bool remote, bool bitRateSwitch, uint32_t length)
{
    const uint32_t payloadBits = remote ? 0 : 8 * length;
    if (!fd)
        return { ((extended ? 54u : 34u) + payloadBits - 1) / 4, 0 };
    const uint32_t head = extended ? 36 : 17; // SOF to BRS
    const uint32_t all = (head + 5 + payloadBits - 1) / 4;
    const uint32_t inHead = (head - 1) / 4;
    if (bitRateSwitch)
        return { inHead, all - inHead };
    return { all, 0 };
}

FrameBits stuffedFrameBits(bool fd, bool extended, bool remote, bool bitRateSwitch, uint32_t length)
{
    const FrameBits bits = frameBits(fd, extended, remote, bitRateSwitch, length);
    const FrameBits stuff = stuffBits(fd, extended, remote, bitRateSwitch, length);
    return { bits.arbitration + stuff.arbitration, bits.data + stuff.data };
}

double loadPercent(
    uint64_t arbitrationBits, uint64_t dataBits, uint32_t arbitrationRate, uint32_t dataRate, int64_t elapsedNs)
{
    if (arbitrationRate == 0 || dataRate == 0 || elapsedNs <= 0)
        return -1;
    const double busySeconds = double(arbitrationBits) / arbitrationRate + double(dataBits) / dataRate;
    return 100.0 * busySeconds / (double(elapsedNs) * 1e-9);
}

int64_t frameDurationNs(const FrameBits &bits, uint32_t arbitrationRate, uint32_t dataRate)
{
    double ns = 1e9 * bits.arbitration / arbitrationRate;
    if (bits.data)
        ns += 1e9 * bits.data / dataRate;
    return std::llround(ns);
}

// The bits are laid out in the order they are sent, so a plain comparison
// decides arbitration as the bus does: base identifier first, then RTR (for a
// standard frame) or SRR, then IDE, so a standard frame beats an extended one
// with the same base identifier and a data frame beats a remote one.
uint32_t arbitrationKey(uint32_t idWord)
{
    const bool remote = idWord & 0x40000000u;
    if (!(idWord & 0x80000000u))
        return ((idWord & 0x7FFu) << 21) | (uint32_t(remote) << 20);
    const uint32_t id = idWord & 0x1FFFFFFFu;
    return ((id >> 18) << 21) | (1u << 20) | (1u << 19) | ((id & 0x3FFFFu) << 1) | uint32_t(remote);
}

} // namespace BusTiming
