#pragma once

#include <array>
#include <atomic>
#include <cstdint>

/// Numbers from 0 to capacity - 1, the lowest free one first. Any thread.
class ktBreakPointIds {
public:
    static constexpr uint32_t words = 16;
    static constexpr uint32_t capacity = words * 64;

    /// All are free again. Not while another thread takes or gives.
    void Reset();
    /// False when none is free.
    bool Take(uint32_t &id);
    /// Without effect for one that is free or out of range.
    void Give(uint32_t id);
    uint32_t InUse() const { return inUse; }

private:
    std::array<std::atomic<uint64_t>, words> bitmap{};
    std::atomic<uint32_t> inUse{0};
};
