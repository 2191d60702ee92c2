#pragma once

#include <atomic>
#include <cstdint>

/// How many bytes a load may still work through. Units may name the same tables over and over, and a file of
/// a few megabytes could keep a load busy for days: so what is worked through is taken from here. Any thread.
class ktWorkBudget {
public:
    explicit ktWorkBudget(uint64_t bytes) : left(bytes) {}
    ktWorkBudget(const ktWorkBudget &) = delete;
    ktWorkBudget &operator=(const ktWorkBudget &) = delete;

    /// Begins anew, before other threads use it.
    void Reset(uint64_t bytes) { left.store(bytes, std::memory_order_relaxed); }
    /// False when there is not more than that left: nothing is left from then on, and even 0 is too much.
    bool Take(uint64_t bytes) {
        uint64_t seen = left.load(std::memory_order_relaxed);
        while (
            !left.compare_exchange_weak(seen, bytes < seen ? seen - bytes : 0, std::memory_order_relaxed)) {
        }
        return bytes < seen;
    }

private:
    std::atomic<uint64_t> left;
};
