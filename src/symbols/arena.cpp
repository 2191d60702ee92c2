#include "symbols/arena.h"

#include <algorithm>

/// Blocks grow with what is used, so that a small unit stays small. A piece larger than a block gets one of
/// its own, and the rest of the present block goes on being used.
void *ktArena::AllocateInNewBlock(size_t size) {
    const size_t blockSize = std::clamp(held, firstBlock, largestBlock);
    const bool ownBlock = size > blockSize / 4;
    const size_t newSize = ownBlock ? size : blockSize;
    blocks.push_back(std::make_unique_for_overwrite<std::byte[]>(newSize));
    held += newSize;
    std::byte *block = blocks.back().get();
    if (!ownBlock) {
        next = block + size;
        end = block + newSize;
    }
    return block;
}
