#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Addresses from `first` to `last`, both included, that belong to number `owner`.
struct ktInterval {
    uint64_t first;
    uint64_t last;
    uint32_t owner;
};

/// Finds the intervals that hold an address in a fixed set of them: sorted by start and cut into blocks;
/// the blocks form a binary tree by their places alone, and each knows the highest end below it. About 22
/// bytes an interval. Never changes, so any thread may look up.
class ktIntervalIndex {
public:
    explicit ktIntervalIndex(std::vector<ktInterval> intervals);

    /// Calls `visit(owner)` for each interval that holds `address`, in no particular order. Allocates
    /// nothing; takes logarithmic time, and more only for what it visits.
    template <class Visit>
    void VisitAt(uint64_t address, const Visit &visit) const {
        VisitBlocks(0, blocks.size(), address, visit);
    }
    /// Bytes of memory that the index holds beyond this object.
    size_t MemoryBytes() const;

private:
    static constexpr size_t blockSize = 8; // intervals; their starts fill one cache line

    struct Block {
        uint64_t first;    // lowest start of the block
        uint64_t treeLast; // highest end in the tree of which this block is the root
    };

    /// The tree over the blocks from `begin` to before `end`, of which the middle one is the root.
    template <class Visit>
    void VisitBlocks(size_t begin, size_t end, uint64_t address, const Visit &visit) const {
        while (begin < end) {
            const size_t middle = begin + (end - begin) / 2;
            if (blocks[middle].treeLast < address) return;
            if (blocks[middle].first > address) {
                end = middle;
                continue;
            }
            VisitBlocks(begin, middle, address, visit);
            VisitBlock(middle, address, visit);
            begin = middle + 1;
        }
    }
    template <class Visit>
    void VisitBlock(size_t block, uint64_t address, const Visit &visit) const {
        for (size_t at = block * blockSize; at < BlockEnd(block) && firsts[at] <= address; ++at) {
            if (lasts[at] >= address) visit(owners[at]);
        }
    }
    size_t BlockEnd(size_t block) const {
        const size_t full = (block + 1) * blockSize;
        return full < firsts.size() ? full : firsts.size();
    }
    uint64_t BuildTree(size_t begin, size_t end);

    std::vector<uint64_t> firsts;
    std::vector<uint64_t> lasts;
    std::vector<uint32_t> owners;
    std::vector<Block> blocks;
};
