#pragma once

#include <cstddef>
#include <cstdint>

/// Calls of operator new on this thread so far, in programs that use this function.
uint64_t AllocationCount();

/// While one lives, the forms of operator new that give null without memory do so, on this thread, for blocks
/// of exactly `size` bytes. One at a time.
class ktAllocationFailure {
public:
    explicit ktAllocationFailure(size_t size);
    ~ktAllocationFailure();
    ktAllocationFailure(const ktAllocationFailure &) = delete;
    ktAllocationFailure &operator=(const ktAllocationFailure &) = delete;

    /// Blocks refused so far.
    uint64_t Count() const;
};
