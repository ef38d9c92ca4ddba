#pragma once
// The built-in simulated Halden-D2, reached through the same driver table as
// the real library.
#include "DriverApi.h"

const KestrixDriver *simulatedDriver();
