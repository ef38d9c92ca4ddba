#include "LogFrame.h"

#include <algorithm>
#include <cstring>

namespace {
constexpr int kFdLengths[16] = { 0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64 };
}

int LogFrame::dlcToLength(int dlc) { return kFdLengths[std::clamp(dlc, 0, 15)]; }

int LogFrame::lengthToDlc(int length)
{
    for (int dlc = 0; dlc < 16; ++dlc)
        if (kFdLengths[dlc] >= length)
            return dlc;
    return 15;
}

bool operator==(const LogFrame &a, const LogFrame &b)
{
    if (a.timeNs != b.timeNs || a.channel != b.channel || a.id != b.id || a.length != b.length
        || a.extended != b.extended || a.remote != b.remote || a.canFd != b.canFd || a.bitRateSwitch != b.bitRateSwitch
        || a.errorStateIndicator != b.errorStateIndicator || a.errorFrame != b.errorFrame || a.received != b.received)
        return false;
    if (a.remote)
        return true;
    return std::memcmp(a.data.data(), b.data.data(), std::min<size_t>(a.length, a.data.size())) == 0;
}
