#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "symbols/range_list.h"

/// A long list of ranges while it is being merged into: an AVL tree by start whose nodes also know the
/// ends and the places in list order below them, so that a fold (see range_fold.h) looks only at what it
/// meets. Places are handed out once and never again, so they grow in list order.
class ktRangeMergeIndex {
public:
    explicit ktRangeMergeIndex(const std::vector<ktAddrRange> &ranges);

    uint32_t FindFirst(uint64_t highestStart, uint64_t lowestEnd) const;
    const ktAddrRange &At(uint32_t place) const { return nodes[place].range; }
    void Stretch(uint32_t place, uint64_t end);
    void MoveStart(uint32_t place, uint64_t start);
    void Append(const ktAddrRange &range);
    void Drop(uint32_t place);
    void DropInside(uint64_t low, uint64_t high, uint32_t before);
    /// Removes what was dropped.
    void Finish();

    size_t Count() const { return count; }
    /// Lowest start; all ones while empty.
    uint64_t Low() const;
    /// Highest end; 0 while empty.
    uint64_t High() const;
    void CopyTo(std::vector<ktAddrRange> &ranges) const;

private:
    /// What a node knows of its subtree.
    struct Summary {
        uint64_t lowestEnd;
        uint64_t highestEnd;
        uint32_t firstPlace;
        uint32_t firstKept; // first place that is not dropped
        int32_t height;

        bool operator==(const Summary &) const = default;
        /// Takes in what lies below; the height is left to the caller.
        void Include(const Summary &part);
    };

    struct alignas(64) Node { // one cache line
        ktAddrRange range;
        Summary tree;
        uint32_t left;
        uint32_t right;
        bool isInTree;
        bool isDropped;
    };

    struct Search;

    void Build(const std::vector<ktAddrRange> &ranges);
    uint32_t BuildTree(const uint32_t *places, size_t placeCount);
    bool StandsBefore(uint32_t a, uint32_t b) const;
    uint32_t Predecessor(uint32_t place) const;
    int Height(uint32_t root) const;
    void Update(uint32_t root);
    bool UpdatePath(uint32_t root, uint32_t place);
    uint32_t RotateLeft(uint32_t root);
    uint32_t RotateRight(uint32_t root);
    uint32_t Balance(uint32_t root);
    uint32_t Insert(uint32_t root, uint32_t place);
    uint32_t Remove(uint32_t root, uint32_t place);
    uint32_t RemoveLowest(uint32_t root, uint32_t &lowest);
    void FindFirstIn(uint32_t root, Search &search) const;
    void CollectInside(uint32_t root, uint64_t low, uint64_t high, uint32_t before);

    std::vector<Node> nodes; // by place
    uint32_t top;
    size_t count;
    std::vector<uint32_t> dropped; // places
    std::vector<uint32_t> inside;  // used by one DropInside
};
