#include "symbols/module_list.h"

#include <new>

namespace {

constexpr uint64_t firstCapacity = 16;

} // namespace

struct ktModuleList::Block {
    explicit Block(uint64_t blockCapacity)
        : capacity(blockCapacity), items(new(std::nothrow) std::atomic<ktModule *>[blockCapacity]) {}

    uint64_t capacity;
    std::atomic<uint64_t> count{0};
    std::unique_ptr<std::atomic<ktModule *>[]> items;
};

ktModuleList::View::View(const Block &block)
    : items(block.items.get()), count(block.count.load(std::memory_order_acquire)) {}

ktModuleList::ktModuleList() {
    blocks.push_back(std::make_unique<Block>(0));
    current.store(blocks.back().get(), std::memory_order_release);
}

ktModuleList::~ktModuleList() = default;

bool ktModuleList::Append(ktModule *module) {
    Block *block = current.load(std::memory_order_relaxed);
    const uint64_t count = block->count.load(std::memory_order_relaxed);
    if (count == block->capacity) {
        if (!Grow(count == 0 ? firstCapacity : 2 * count)) return false;
        block = current.load(std::memory_order_relaxed);
    }
    // Also by itself: a walk begun before a removal may still reach the slot that is filled again here.
    block->items[count].store(module, std::memory_order_release);
    block->count.store(count + 1, std::memory_order_release);
    return true;
}

/// Copies the list to a larger block. The old one stays as it is, for readers that are in it.
bool ktModuleList::Grow(uint64_t capacity) {
    auto block = std::make_unique<Block>(capacity);
    if (!block->items) return false;
    uint64_t count = 0;
    for (ktModule *module : Get()) block->items[count++].store(module, std::memory_order_release);
    block->count.store(count, std::memory_order_relaxed);
    blocks.push_back(std::move(block));
    current.store(blocks.back().get(), std::memory_order_release);
    return true;
}

bool ktModuleList::Remove(const ktModule *module) {
    Block &block = *current.load(std::memory_order_relaxed);
    const uint64_t count = block.count.load(std::memory_order_relaxed);
    uint64_t index = 0;
    while (index < count && block.items[index].load(std::memory_order_relaxed) != module) ++index;
    if (index == count) return false;
    for (; index + 1 < count; ++index) {
        ktModule *next = block.items[index + 1].load(std::memory_order_relaxed);
        block.items[index].store(next, std::memory_order_release);
    }
    block.count.store(count - 1, std::memory_order_release);
    return true;
}
