#pragma once

#include <cstddef>
#include <cstdint>

/// Where a line store gets its memory: works like realloc, null when there is none. Replaceable in tests.
using ktReallocate = void *(*)(void *block, size_t size);

/// The C library's realloc.
void *ktHeapReallocate(void *block, size_t size);

/// Where the lines of a store begin; grows geometrically. The store guards it.
class ktLineOffsets {
public:
    explicit ktLineOffsets(ktReallocate from) : reallocate(from) {}
    ~ktLineOffsets();
    ktLineOffsets(const ktLineOffsets &) = delete;
    ktLineOffsets &operator=(const ktLineOffsets &) = delete;

    uint64_t Size() const { return size; }
    uint64_t &operator[](uint64_t slot) { return slots[slot]; }
    uint64_t operator[](uint64_t slot) const { return slots[slot]; }
    /// Makes sure that the next Append succeeds. False without memory, with nothing changed.
    bool MakeRoom();
    /// There is room for it: MakeRoom was called since the last Append.
    void Append(uint64_t offset) { slots[size++] = offset; }
    /// Drops the slots from `newSize` on; keeps the memory.
    void Shrink(uint64_t newSize) { size = newSize; }

private:
    ktReallocate reallocate;
    uint64_t *slots = nullptr;
    uint64_t size = 0;
    uint64_t room = 0;
};
