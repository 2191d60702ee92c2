#include "symbols/range_list.h"

#include <algorithm>
#include <array>

#include "symbols/lazy_interval_index.h"
#include "symbols/range_fold.h"
#include "symbols/range_merge_index.h"

/// What a list of several ranges needs.
struct ktRangeList::Many {
    std::vector<ktAddrRange> ranges; // out of date while `isStale`
    uint64_t low = ~uint64_t(0);
    uint64_t high = 0;
    std::unique_ptr<ktRangeMergeIndex> merging; // the list while it stands
    bool isStale = false;
    ktLazyIntervalIndex lookup;

    void Refresh() {
        if (!isStale) return;
        merging->CopyTo(ranges);
        isStale = false;
    }
};

namespace {

/// Up to this length a fold walks the list and Holds does too; most lists stay below.
constexpr size_t fewRanges = 64;

/// A short list on the stack, for folding.
class FewRanges {
public:
    explicit FewRanges(std::span<const ktAddrRange> elements) {
        std::copy(elements.begin(), elements.end(), ranges.begin());
        count = static_cast<uint32_t>(elements.size());
    }

    uint32_t FindFirst(uint64_t highestStart, uint64_t lowestEnd) const {
        for (uint32_t place = 0; place < count; ++place) {
            if (ranges[place].start <= highestStart && ranges[place].End() >= lowestEnd) return place;
        }
        return ktNoRange;
    }
    const ktAddrRange &At(uint32_t place) const { return ranges[place]; }
    void Stretch(uint32_t place, uint64_t end) { ranges[place].size = end - ranges[place].start; }
    void MoveStart(uint32_t place, uint64_t start) { ranges[place].start = start; }
    void Append(const ktAddrRange &range) { ranges[count++] = range; }
    void Drop(uint32_t place) { dropped |= uint64_t(1) << place; }
    void DropInside(uint64_t low, uint64_t high, uint32_t before) {
        for (uint32_t place = 0; place < std::min(count, before); ++place) {
            const ktAddrRange &range = ranges[place];
            if (range.start > low && range.start <= high && range.End() >= low && range.End() < high) {
                Drop(place);
            }
        }
    }
    /// What is left when the dropped ones have gone.
    std::span<const ktAddrRange> Finish() {
        uint32_t kept = 0;
        for (uint32_t place = 0; place < count; ++place) {
            if (!(dropped >> place & 1)) ranges[kept++] = ranges[place];
        }
        return {ranges.data(), kept};
    }

private:
    std::array<ktAddrRange, fewRanges> ranges;
    uint32_t count = 0;
    uint64_t dropped = 0; // one bit for each place
};

} // namespace

ktRangeList::ktRangeList() = default;
ktRangeList::~ktRangeList() = default;

void ktRangeList::Add(uint64_t start, uint64_t size) {
    const ktAddrRange range{start, size};
    if (HasRoomFor(start, size)) {
        single = range;
        return;
    }
    Many &list = MakeMany();
    list.lookup.Thaw();
    if (list.merging) {
        list.merging->Append(range);
        list.isStale = true;
    } else {
        list.ranges.push_back(range);
    }
    list.low = std::min(list.low, range.start);
    list.high = std::max(list.high, range.End());
}

void ktRangeList::Merge(const ktRangeList &other) {
    if (other.IsEmpty()) return;
    const bool isFew = !(many && many->merging) && Count() + other.Count() <= fewRanges;
    if (isFew) {
        MergeFew(other);
    } else {
        MergeMany(other);
    }
}

void ktRangeList::MergeFew(const ktRangeList &other) {
    FewRanges list(Ranges());
    for (const ktAddrRange &range : other.Ranges()) FoldRange(list, range);
    Assign(list.Finish());
}

void ktRangeList::MergeMany(const ktRangeList &other) {
    std::vector<ktAddrRange> own;
    if (&other == this) own.assign(Ranges().begin(), Ranges().end());
    const std::span<const ktAddrRange> source = own.empty() ? other.Ranges() : own;

    Many &list = MakeMany();
    list.lookup.Thaw();
    if (!list.merging) list.merging = std::make_unique<ktRangeMergeIndex>(list.ranges);
    list.isStale = true;
    for (const ktAddrRange &range : source) FoldRange(*list.merging, range);
    list.merging->Finish();
    list.low = list.merging->Low();
    list.high = list.merging->High();
}

std::span<const ktAddrRange> ktRangeList::Ranges() const {
    if (!many) return {&single, single == emptyMark ? size_t(0) : size_t(1)};
    many->Refresh();
    return many->ranges;
}

void ktRangeList::Freeze() {
    if (!many) return;
    many->Refresh();
    many->merging.reset();
    if (many->ranges.size() <= 1) {
        Assign(std::vector<ktAddrRange>(many->ranges));
    } else {
        many->ranges.shrink_to_fit();
        if (many->ranges.size() > fewRanges) many->lookup.Freeze();
    }
}

size_t ktRangeList::Count() const {
    if (many && many->merging) return many->merging->Count();
    return Ranges().size();
}

uint64_t ktRangeList::Low() const { return many ? many->low : single.start; }

uint64_t ktRangeList::High() const { return many ? many->high : single.End(); }

bool ktRangeList::Holds(uint64_t address) const {
    if (address < Low() || address > High()) return false;
    if (many) {
        const ktIntervalIndex *index =
            many->lookup.Get([this](std::vector<ktInterval> &intervals) { CollectIntervals(0, intervals); });
        if (index) {
            bool isHeld = false;
            index->VisitAt(address, [&isHeld](uint32_t) { isHeld = true; });
            return isHeld;
        }
    }
    const std::span<const ktAddrRange> ranges = Ranges();
    return std::any_of(ranges.begin(), ranges.end(),
                       [address](const ktAddrRange &range) { return range.Holds(address); });
}

void ktRangeList::CollectIntervals(uint32_t owner, std::vector<ktInterval> &intervals) const {
    for (const ktAddrRange &range : Ranges()) {
        if (range.size == 0) continue;
        const uint64_t longest = ~uint64_t(0) - range.start;
        const uint64_t last = std::min(range.start + std::min(range.size - 1, longest), High());
        if (last >= range.start) intervals.push_back({range.start, last, owner});
    }
}

ktRangeList::Many &ktRangeList::MakeMany() {
    if (many) return *many;
    auto list = std::make_unique<Many>();
    const std::span<const ktAddrRange> present = Ranges();
    list->ranges.assign(present.begin(), present.end());
    list->low = Low();
    list->high = High();
    many = std::move(list);
    return *many;
}

/// Makes `elements`, which lie outside this list, the whole list and computes the bounds.
void ktRangeList::Assign(std::span<const ktAddrRange> elements) {
    if (elements.empty() || (elements.size() == 1 && elements.front() != emptyMark)) {
        many.reset();
        single = elements.empty() ? emptyMark : elements.front();
        return;
    }
    Many &list = MakeMany();
    list.lookup.Thaw();
    list.ranges.assign(elements.begin(), elements.end());
    list.low = ~uint64_t(0);
    list.high = 0;
    for (const ktAddrRange &range : elements) {
        list.low = std::min(list.low, range.start);
        list.high = std::max(list.high, range.End());
    }
}
