#pragma once
// The channel parameters' bit-rate indexes as bits per second: the index
// order is the stored settings' contract, so these tables follow it entry by
// entry (0 for an index outside the table).
#include <cstdint>

namespace CanBitRates {
uint32_t arbitration(uint32_t index); // 0 = 1 Mbit/s ... 13 = 5 kbit/s, 14 = 666.66 kbit/s ...
uint32_t data(uint32_t index); // 0 = 5 Mbit/s ... 8 = 100 kbit/s
}
