#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory_resource>
#include <vector>

#include "symbols/lazy_interval_index.h"

/// Finds in an array of objects with `ranges` those that hold an address. While frozen an index answers,
/// otherwise a walk; the answers are the same.
template <class T>
class ktAddressLookup {
public:
    explicit ktAddressLookup(const std::vector<T *> &objects) : items(objects) {}

    void Freeze() {
        index.Thaw();
        if (items.size() > walkLimit || RangeCount() > walkLimit) index.Freeze();
    }
    void Thaw() { index.Thaw(); }
    /// Appends to `hits` the objects that hold `address`, in array order, each once.
    void All(uint64_t address, std::vector<T *> &hits) const {
        const ktIntervalIndex *ready = Index();
        if (!ready) {
            std::copy_if(items.begin(), items.end(), std::back_inserter(hits),
                         [address](const T *item) { return item->ranges.Holds(address); });
            return;
        }
        std::array<uint32_t, usualHits> stack; // only deep nests need the heap
        std::pmr::monotonic_buffer_resource memory(stack.data(), sizeof(stack));
        std::pmr::vector<uint32_t> places(&memory);
        places.reserve(usualHits);
        ready->VisitAt(address, [&places](uint32_t place) { places.push_back(place); });
        std::sort(places.begin(), places.end());
        places.erase(std::unique(places.begin(), places.end()), places.end());
        for (uint32_t place : places) hits.push_back(items[place]);
    }
    /// The first object in array order that holds `address`, or null.
    T *First(uint64_t address) const {
        const ktIntervalIndex *ready = Index();
        if (!ready) {
            const auto hit = std::find_if(items.begin(), items.end(),
                                          [address](const T *item) { return item->ranges.Holds(address); });
            return hit == items.end() ? nullptr : *hit;
        }
        size_t lowest = items.size();
        ready->VisitAt(address, [&lowest](uint32_t place) { lowest = std::min<size_t>(lowest, place); });
        return lowest < items.size() ? items[lowest] : nullptr;
    }

private:
    /// Up to here a walk is as fast as an index, and most units stay below.
    static constexpr size_t walkLimit = 16;
    static constexpr size_t usualHits = 64;

    size_t RangeCount() const {
        size_t count = 0;
        for (const T *item : items) count += item->ranges.Count();
        return count;
    }
    const ktIntervalIndex *Index() const {
        return index.Get([this](std::vector<ktInterval> &intervals) {
            intervals.reserve(items.size());
            for (size_t place = 0; place < items.size(); ++place) {
                items[place]->ranges.CollectIntervals(static_cast<uint32_t>(place), intervals);
            }
        });
    }

    const std::vector<T *> &items;
    ktLazyIntervalIndex index;
};
