#pragma once

#include <cstddef>
#include <cstdint>

/// Calls of operator new on this thread so far, in programs that use this function.
uint64_t AllocationCount();
/// Blocks that operator new gave to this thread less those that this thread gave back.
int64_t LiveAllocationCount();

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

/// While one lives, call `number`, counted from 0, of the forms of operator new that throw does throw on this
/// thread; calls before and behind it have their memory. One at a time.
class ktAllocationThrow {
public:
    explicit ktAllocationThrow(uint64_t number);
    ~ktAllocationThrow();
    ktAllocationThrow(const ktAllocationThrow &) = delete;
    ktAllocationThrow &operator=(const ktAllocationThrow &) = delete;

    bool HasThrown() const;
};
