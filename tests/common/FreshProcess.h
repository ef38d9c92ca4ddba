#pragma once
// Puts the process back where a user's first start finds it; shared by the
// tests and the benchmark.
#include "DeviceLayer.h"
#include "FrameCounter.h"
#include "Interfaces.h"
#include "Lang.h"
#include "PendingFrames.h"
#include "Prompt.h"
#include "SimControl.h"
#include "SimulatedAdapter.h"

// The program as the user starts it: the simulated adapter fresh from the box
// (no interface chosen, no back-end registered),
// no frames pending, Simplified Chinese, message boxes recorded instead of shown.
inline void freshProcess()
{
    Interfaces::clearForTests();
    installDriver(simulatedDriver(), simulatedExtension());
    SimControl::resetForTests();
    resetDeviceState();
    resetFrameCounter();
    takePendingFrames();
    setLanguageCode(0);
    Prompt::recordForTests(true);
    Prompt::clearShown();
}
