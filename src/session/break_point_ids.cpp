#include "session/break_point_ids.h"

#include <bit>

void ktBreakPointIds::Reset() {
    for (std::atomic<uint64_t> &word : bitmap) word = 0;
    inUse = 0;
}

bool ktBreakPointIds::Take(uint32_t &id) {
    while (inUse < capacity) {
        uint32_t index = 0;
        uint64_t word = ~uint64_t{0};
        for (; index < words; ++index) {
            word = bitmap[index];
            if (word != ~uint64_t{0}) break;
        }
        if (index == words) return false;
        const int bit = std::countr_one(word);
        const uint64_t mask = uint64_t{1} << bit;
        if (bitmap[index].fetch_or(mask) & mask) continue; // another thread was faster
        ++inUse;
        id = index * 64 + static_cast<uint32_t>(bit);
        return true;
    }
    return false;
}

void ktBreakPointIds::Give(uint32_t id) {
    if (inUse == 0 || id >= capacity) return;
    const uint64_t mask = uint64_t{1} << id % 64;
    if (bitmap[id / 64].fetch_and(~mask) & mask) --inUse;
}
