#include "FrameCounter.h"

#include <atomic>

namespace {
std::atomic<quint64> g_frameCounter { 0 };
}

quint64 nextFrameIndex() { return g_frameCounter.fetch_add(1) + 1; }

quint64 takeFrameIndices(quint64 count) { return g_frameCounter.fetch_add(count) + 1; }

void resetFrameCounter() { g_frameCounter.store(0); }
