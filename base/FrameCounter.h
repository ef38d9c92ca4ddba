#pragma once
// The global frame counter that numbers every frame the refresh tick takes,
// received and transmitted alike. Atomic, so the hand-over needs no lock.
#include <QtGlobal>

quint64 nextFrameIndex(); // first value after a reset is 1
// Takes `count` consecutive values in one step and returns the first: the same
// numbers as `count` calls of nextFrameIndex.
quint64 takeFrameIndices(quint64 count);
void resetFrameCounter();
