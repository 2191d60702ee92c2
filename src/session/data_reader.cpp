#include "session/data_reader.h"

bool DataReader::MovePosition(uint64_t base, int64_t distance, uint64_t &out) {
    const uint64_t sum = base + uint64_t(distance);
    if (distance < 0 ? sum > base : sum < base) return false;
    out = sum;
    return true;
}
