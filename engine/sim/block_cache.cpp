#include "sim/block_cache.h"

#include <algorithm>

namespace sable {

BlockCache::BlockCache() : slots(slotCount), pool(poolSize) {}

Instruction *BlockCache::Reserve() {
    if (used + Block::maxCount > poolSize) Clear();
    return &pool[used];
}

void BlockCache::Clear() {
    std::fill(slots.begin(), slots.end(), Block());
    used = 0;
}

} // namespace sable
