// config/simulator.ini, the simulated adapter's node list: whatever the text,
// parse() either names a problem or gives nodes the simulator can send.
#include "BusTiming.h"
#include "FuzzCheck.h"
#include "SimNodes.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), int(size));
    std::vector<SimNode> nodes;
    QString problem;
    if (!SimNodes::parse(text, nodes, problem)) {
        FUZZ_CHECK(!problem.isEmpty());
        return 0;
    }
    FUZZ_CHECK(nodes.size() <= size_t(SimNodes::kMaxNodes));
    for (const SimNode &n : nodes) {
        FUZZ_CHECK(n.id <= 0x1FFFFFFFu);
        FUZZ_CHECK(n.extended || n.id <= 0x7FFu);
        FUZZ_CHECK(n.periodMs >= 1 && n.periodMs <= 60000);
        FUZZ_CHECK(n.fd ? BusTiming::fdPayloadLength(n.length) == n.length : n.length <= 8);
        FUZZ_CHECK(!(n.remote && n.fd) && !(n.bitRateSwitch && !n.fd));
        FUZZ_CHECK(n.counterByte >= -1 && n.counterByte < int(n.length));
    }
    return 0;
}
