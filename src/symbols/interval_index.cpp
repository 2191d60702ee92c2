#include "symbols/interval_index.h"

#include <algorithm>

ktIntervalIndex::ktIntervalIndex(std::vector<ktInterval> intervals) {
    const auto startsEarlier = [](const ktInterval &a, const ktInterval &b) { return a.first < b.first; };
    if (!std::is_sorted(intervals.begin(), intervals.end(), startsEarlier)) {
        std::sort(intervals.begin(), intervals.end(), startsEarlier);
    }
    firsts.reserve(intervals.size());
    lasts.reserve(intervals.size());
    owners.reserve(intervals.size());
    for (const ktInterval &interval : intervals) {
        firsts.push_back(interval.first);
        lasts.push_back(interval.last);
        owners.push_back(interval.owner);
    }
    blocks.resize((firsts.size() + blockSize - 1) / blockSize);
    BuildTree(0, blocks.size());
}

size_t ktIntervalIndex::MemoryBytes() const {
    return firsts.capacity() * sizeof(firsts[0]) + lasts.capacity() * sizeof(lasts[0]) +
           owners.capacity() * sizeof(owners[0]) + blocks.capacity() * sizeof(blocks[0]);
}

uint64_t ktIntervalIndex::BuildTree(size_t begin, size_t end) {
    if (begin >= end) return 0;
    const size_t middle = begin + (end - begin) / 2;
    uint64_t last = std::max(BuildTree(begin, middle), BuildTree(middle + 1, end));
    for (size_t at = middle * blockSize; at < BlockEnd(middle); ++at) last = std::max(last, lasts[at]);
    blocks[middle] = {firsts[middle * blockSize], last};
    return last;
}
