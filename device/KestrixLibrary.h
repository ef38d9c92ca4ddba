#pragma once
// The driver table bound to Kestrix.dll beside the executable, every entry
// resolved by ordinal (never by name). Only Windows has the library; elsewhere,
// or when the file or one of its ordinals is missing, there is no table.
#include "DriverApi.h"

// The bound table, or nullptr. The library is loaded once; later calls give
// the same answer.
const KestrixDriver *kestrixLibrary();

namespace Interfaces {
struct Backend;
}
// Its entry in the interface registry ("kestrix"); only call it when
// kestrixLibrary() gave a table.
Interfaces::Backend kestrixBackend();
