#pragma once

#include <atomic>
#include <new>
#include <utility>
#include <vector>

#include "symbols/interval_index.h"

/// An interval index over data that is not going to change, built by the first look-up: a load does not
/// pay for what nobody asks. Freeze and Thaw belong to the one writer; Get is for any thread and takes no
/// lock: of two threads that build at once, one throws its own away.
class ktLazyIntervalIndex {
public:
    ktLazyIntervalIndex() = default;
    ~ktLazyIntervalIndex() { Thaw(); }
    ktLazyIntervalIndex(const ktLazyIntervalIndex &) = delete;
    ktLazyIntervalIndex &operator=(const ktLazyIntervalIndex &) = delete;

    /// From here on the data stay as they are.
    void Freeze() { frozen = true; }
    /// The data are about to change: drops the index.
    void Thaw() {
        delete index.exchange(nullptr, std::memory_order_relaxed);
        frozen = false;
    }
    /// The index; null while not frozen and without memory. `collect(intervals)` fills a vector.
    template <class Collect>
    const ktIntervalIndex *Get(const Collect &collect) const {
        if (!frozen) return nullptr;
        const ktIntervalIndex *present = index.load(std::memory_order_acquire);
        return present ? present : Build(collect);
    }

private:
    template <class Collect>
    const ktIntervalIndex *Build(const Collect &collect) const {
        const ktIntervalIndex *built = nullptr;
        try {
            std::vector<ktInterval> intervals;
            collect(intervals);
            built = new ktIntervalIndex(std::move(intervals));
        } catch (const std::bad_alloc &) {
            return nullptr;
        }
        const ktIntervalIndex *present = nullptr;
        if (index.compare_exchange_strong(present, built, std::memory_order_acq_rel,
                                          std::memory_order_acquire)) {
            return built;
        }
        delete built;
        return present;
    }

    mutable std::atomic<const ktIntervalIndex *> index{nullptr};
    bool frozen = false;
};
