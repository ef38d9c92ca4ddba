#pragma once
// The built-in simulated Halden-D2, reached through the same driver table as
// the real library.
#include "DriverApi.h"
#include "DriverExtension.h"

const KestrixDriver *simulatedDriver();
// Its extension table: error frames and receive overflows per channel.
const KestrixExtension *simulatedExtension();

namespace Interfaces {
struct Backend;
}
// Its entry in the interface registry ("sim"): a Halden-D2 serving both channels.
Interfaces::Backend simulatedBackend();
