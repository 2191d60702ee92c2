#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct ktInterval;

/// Addresses from `start`, `size` of them.
struct ktAddrRange {
    uint64_t start;
    uint64_t size;

    bool operator==(const ktAddrRange &) const = default;
    /// One past the last address, modulo 2^64.
    uint64_t End() const { return start + size; }
    /// Start included, end excluded; a range that passes the highest address ends there.
    bool Holds(uint64_t address) const { return address >= start && address - start < size; }
};

/// List of address ranges in the order in which they came, with its bounds. One writer at a time. Most
/// lists hold one range, which needs no memory beyond this object.
class ktRangeList {
public:
    ktRangeList();
    ~ktRangeList();
    ktRangeList(const ktRangeList &) = delete;
    ktRangeList &operator=(const ktRangeList &) = delete;

    /// Appends and widens the bounds.
    void Add(uint64_t start, uint64_t size);
    /// Folds every range of `other` into this list, then computes the bounds afresh. Sublinear in the
    /// length of this list, for ranges that do not overlap many others.
    void Merge(const ktRangeList &other);
    /// The elements in list order, until the next change. Readers on other threads need a Freeze() after
    /// the last change.
    std::span<const ktAddrRange> Ranges() const;
    /// Ends the filling, until the next change: drops what only merging needs, brings Ranges() up to
    /// date and makes Holds fast.
    void Freeze();
    size_t Count() const;
    bool IsEmpty() const { return Count() == 0; }
    /// True when Add of this leaves the list without memory beyond this object, so that it need not be
    /// destroyed.
    bool HasRoomFor(uint64_t start, uint64_t size) const {
        return !many && single == emptyMark && ktAddrRange{start, size} != emptyMark;
    }
    /// Lowest start; all ones while empty.
    uint64_t Low() const;
    /// Highest end (start plus size, modulo 2^64); 0 while empty.
    uint64_t High() const;
    /// True when `address` lies between the bounds, both included, and inside one element.
    bool Holds(uint64_t address) const;
    /// Appends what Holds accepts, as intervals of `owner`.
    void CollectIntervals(uint32_t owner, std::vector<ktInterval> &intervals) const;

private:
    struct Many;
    // An empty list looks like this one range: its bounds are those of an empty list.
    static constexpr ktAddrRange emptyMark{~uint64_t(0), 1};

    Many &MakeMany();
    void Assign(std::span<const ktAddrRange> elements);
    void MergeFew(const ktRangeList &other);
    void MergeMany(const ktRangeList &other);

    ktAddrRange single = emptyMark; // the list, while `many` is null
    std::unique_ptr<Many> many;
};
