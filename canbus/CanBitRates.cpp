#include "CanBitRates.h"

namespace CanBitRates {
uint32_t arbitration(uint32_t index)
{
    static const uint32_t table[] = { 1000000, 800000, 500000, 400000, 250000, 200000, 125000, 100000, 80000, 50000,
        40000, 20000, 10000, 5000, 666666, 83333, 66666, 33333 };
    return index < sizeof table / sizeof table[0] ? table[index] : 0;
}

uint32_t data(uint32_t index)
{
    static const uint32_t table[] = { 5000000, 4000000, 2000000, 1000000, 800000, 500000, 250000, 125000, 100000 };
    return index < sizeof table / sizeof table[0] ? table[index] : 0;
}
}
