#pragma once

#include <cstdint>
#include <vector>

#include "sim/instruction.h"

namespace sable {

/// Instructions that follow one another within a physical page.
struct Block {
    static constexpr uint64_t noKey = ~uint64_t(0);
    static constexpr unsigned maxCount = 32;

    uint64_t key = noKey; ///< BlockCache::KeyOf
    uint64_t version = 0; ///< PhysicalMemory::CodeVersion when it was decoded
    const Instruction *first = nullptr;
    uint16_t count = 0;  ///< at least 1
    uint16_t length = 0; ///< bytes
    bool startsAtBreak = false;
};

/// Decoded blocks by physical address and code size, forgotten all at once when there is no more room.
class BlockCache {
public:
    BlockCache();

    static uint64_t KeyOf(uint64_t physical, Width codeWidth) { return physical << 2 | codeWidth; }
    /// Where a block of that key belongs. Another one may stand there.
    Block &SlotOf(uint64_t key) { return slots[(key >> 2 ^ key >> 14 ^ key << 11) & (slotCount - 1)]; }
    /// Room for Block::maxCount instructions, which Commit makes permanent. May forget all blocks.
    Instruction *Reserve();
    /// The first `count` instructions of the room stay.
    void Commit(unsigned count) { used += count; }
    void Clear();

private:
    static constexpr unsigned slotCount = 1u << 13;
    static constexpr uint32_t poolSize = 1u << 16;

    std::vector<Block> slots;
    std::vector<Instruction> pool;
    uint32_t used = 0;
};

} // namespace sable
