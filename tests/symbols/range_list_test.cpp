#include "symbols/range_list.h"

#include <algorithm>
#include <list>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "symbols/interval_index.h"
#include "symbols/lazy_interval_index.h"

namespace {

constexpr uint64_t top = ~uint64_t(0);

/// The rule of merging as a plain walk, step by step: what ktRangeList must do, however it does it.
class PlainRanges {
public:
    struct Element {
        uint64_t start;
        uint64_t size;
        bool isMarked = false;

        uint64_t End() const { return start + size; }
    };

    void Add(uint64_t start, uint64_t size) {
        elements.push_back({start, size});
        UpdateBounds();
    }

    void Merge(const std::vector<ktAddrRange> &source) {
        for (const ktAddrRange &range : source) MergeOne(range.start, range.start + range.size, range.size);
        elements.remove_if([](const Element &element) { return element.isMarked; });
        UpdateBounds();
    }

    std::vector<ktAddrRange> Ranges() const {
        std::vector<ktAddrRange> ranges;
        for (const Element &element : elements) ranges.push_back({element.start, element.size});
        return ranges;
    }

    uint64_t low = top;
    uint64_t high = 0;

private:
    void MergeOne(uint64_t start, uint64_t end, uint64_t size) {
        bool found = false;
        Element *stretched = nullptr;
        Element *lowered = nullptr;
        for (Element &element : elements) {
            if (element.start > end || element.End() < start) continue;
            if (element.start <= start && element.End() >= end) return;
            if (element.start <= start && element.End() < end) {
                if (stretched) continue;
                stretched = &element;
                element.size = end - element.start;
                found = true;
                if (lowered) {
                    lowered->start = element.start;
                    element.isMarked = true;
                    return;
                }
            } else if (element.start > start && element.End() >= end) {
                if (lowered) continue;
                lowered = &element;
                element.start = start;
                found = true;
                if (stretched) {
                    element.start = stretched->start;
                    stretched->isMarked = true;
                    return;
                }
            } else {
                element.isMarked = true;
            }
        }
        if (!found) elements.push_back({start, size});
    }

    void UpdateBounds() {
        low = top;
        high = 0;
        for (const Element &element : elements) {
            low = std::min(low, element.start);
            high = std::max(high, element.End());
        }
    }

    std::list<Element> elements;
};

std::vector<ktAddrRange> Copy(const ktRangeList &list) {
    return {list.Ranges().begin(), list.Ranges().end()};
}

std::vector<ktAddrRange> Merged(std::vector<ktAddrRange> list, std::vector<ktAddrRange> source) {
    ktRangeList target;
    ktRangeList other;
    for (const ktAddrRange &range : list) target.Add(range.start, range.size);
    for (const ktAddrRange &range : source) other.Add(range.start, range.size);
    target.Merge(other);
    return Copy(target);
}

using Ranges = std::vector<ktAddrRange>;

void ExpectSame(const ktRangeList &list, const PlainRanges &plain) {
    ASSERT_EQ(Copy(list), plain.Ranges());
    ASSERT_EQ(list.Count(), plain.Ranges().size());
    ASSERT_EQ(list.Low(), plain.low);
    ASSERT_EQ(list.High(), plain.high);
}

} // namespace

TEST(RangeList, IsEmptyWithItsBoundsTurnedAround) {
    const ktRangeList list;
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.Count(), 0u);
    EXPECT_EQ(list.Low(), top);
    EXPECT_EQ(list.High(), 0u);
    EXPECT_FALSE(list.Holds(0));
    EXPECT_FALSE(list.Holds(top));
}

TEST(RangeList, AddKeepsTheOrderAndWidensTheBounds) {
    ktRangeList list;
    list.Add(0x2000, 0x10);
    EXPECT_EQ(list.Low(), 0x2000u);
    EXPECT_EQ(list.High(), 0x2010u);
    list.Add(0x1000, 0x20);
    list.Add(0x2000, 0x10);
    EXPECT_EQ(Copy(list), (Ranges{{0x2000, 0x10}, {0x1000, 0x20}, {0x2000, 0x10}}));
    EXPECT_EQ(list.Low(), 0x1000u);
    EXPECT_EQ(list.High(), 0x2010u);
}

TEST(RangeList, AddTakesZeroSizesIntoListAndBounds) {
    ktRangeList list;
    list.Add(0x5000, 0);
    EXPECT_EQ(list.Count(), 1u);
    EXPECT_EQ(list.Low(), 0x5000u);
    EXPECT_EQ(list.High(), 0x5000u);
    EXPECT_FALSE(list.Holds(0x5000));
    list.Add(0x6000, 4);
    EXPECT_EQ(list.Low(), 0x5000u);
}

TEST(RangeList, TheRangeOfTheLastAddressIsNoEmptyList) {
    ktRangeList list;
    list.Add(top, 1);
    EXPECT_EQ(Copy(list), (Ranges{{top, 1}}));
    list.Freeze();
    EXPECT_EQ(Copy(list), (Ranges{{top, 1}}));
    ktRangeList other;
    other.Merge(list);
    EXPECT_EQ(Copy(other), (Ranges{{top, 1}}));
}

TEST(RangeList, HoldsStartButNotEnd) {
    ktRangeList list;
    list.Add(0x1000, 0x10);
    list.Add(0x3000, 0x10);
    EXPECT_FALSE(list.Holds(0xFFF));
    EXPECT_TRUE(list.Holds(0x1000));
    EXPECT_TRUE(list.Holds(0x100F));
    EXPECT_FALSE(list.Holds(0x1010));
    EXPECT_FALSE(list.Holds(0x2000));
    EXPECT_TRUE(list.Holds(0x300F));
    EXPECT_FALSE(list.Holds(list.High()));
}

TEST(RangeList, ARangeThatPassesTheTopHoldsNoLowAddress) {
    ktRangeList list;
    list.Add(top - 1, 0x10);
    list.Add(0, 1);
    EXPECT_EQ(list.High(), 0xEu);
    EXPECT_TRUE(list.Holds(0));
    EXPECT_FALSE(list.Holds(5));
    EXPECT_FALSE(list.Holds(top)) << "above the highest end";
    list.Add(top - 0x10, 0x10);
    EXPECT_TRUE(list.Holds(top - 2));
    EXPECT_TRUE(list.Holds(top));
    EXPECT_FALSE(list.Holds(5));
}

TEST(RangeListMerge, IntoAnEmptyListCopies) {
    EXPECT_EQ(Merged({}, {{0x1000, 0x10}}), (Ranges{{0x1000, 0x10}}));
    EXPECT_EQ(Merged({}, {{0x1000, 0x10}, {0x3000, 0}}), (Ranges{{0x1000, 0x10}, {0x3000, 0}}));
    EXPECT_EQ(Merged({{1, 2}}, {}), (Ranges{{1, 2}}));
}

TEST(RangeListMerge, AppendsWhatMeetsNothing) {
    EXPECT_EQ(Merged({{0x2000, 0x10}}, {{0x1000, 0x10}}), (Ranges{{0x2000, 0x10}, {0x1000, 0x10}}));
}

TEST(RangeListMerge, TouchingIsMeeting) {
    EXPECT_EQ(Merged({{0x1000, 0x10}}, {{0x1010, 0x10}}), (Ranges{{0x1000, 0x20}}));
    EXPECT_EQ(Merged({{0x1000, 0x10}}, {{0x1011, 0x10}}), (Ranges{{0x1000, 0x10}, {0x1011, 0x10}}));
}

TEST(RangeListMerge, AnElementThatHoldsTheRangeEndsTheWalk) {
    EXPECT_EQ(Merged({{0x1000, 0x100}, {0x1010, 1}}, {{0x1008, 0x10}}),
              (Ranges{{0x1000, 0x100}, {0x1010, 1}}));
    EXPECT_EQ(Merged({{0x1000, 0x100}}, {{0x1000, 0x100}}), (Ranges{{0x1000, 0x100}}));
    // What stood ahead of it has been treated already.
    EXPECT_EQ(Merged({{0x1010, 1}, {0x1000, 0x100}}, {{0x1008, 0x10}}), (Ranges{{0x1000, 0x100}}));
}

TEST(RangeListMerge, AnElementBelowIsStretched) {
    EXPECT_EQ(Merged({{0x1000, 0x100}}, {{0x1080, 0x100}}), (Ranges{{0x1000, 0x180}}));
    EXPECT_EQ(Merged({{0x1000, 0x100}}, {{0x1000, 0x200}}), (Ranges{{0x1000, 0x200}}));
}

TEST(RangeListMerge, OnlyTheFirstElementBelowIsStretched) {
    EXPECT_EQ(Merged({{0x1010, 0x10}, {0x1000, 0x20}}, {{0x1018, 0x20}}),
              (Ranges{{0x1010, 0x28}, {0x1000, 0x20}}));
}

TEST(RangeListMerge, AnElementAboveMovesDownAndKeepsItsSize) {
    EXPECT_EQ(Merged({{0x1080, 0x100}}, {{0x1000, 0x100}}), (Ranges{{0x1000, 0x100}}));
    EXPECT_EQ(Merged({{0x1010, 0x10}}, {{0x1000, 0x10}}), (Ranges{{0x1000, 0x10}}));
}

TEST(RangeListMerge, TheBoundsFollowAnEndThatMovedDown) {
    ktRangeList list;
    ktRangeList other;
    list.Add(0x1080, 0x100);
    other.Add(0x1000, 0x100);
    list.Merge(other);
    EXPECT_EQ(list.Low(), 0x1000u);
    EXPECT_EQ(list.High(), 0x1100u);
}

TEST(RangeListMerge, OnlyTheFirstElementAboveMoves) {
    EXPECT_EQ(Merged({{0x1020, 0x20}, {0x1018, 0x30}}, {{0x1010, 0x18}}),
              (Ranges{{0x1010, 0x20}, {0x1018, 0x30}}));
}

TEST(RangeListMerge, BelowThenAboveBecomeTheOneAbove) {
    EXPECT_EQ(Merged({{0x1000, 0x10}, {0x1020, 0x10}}, {{0x1008, 0x20}}), (Ranges{{0x1000, 0x10}}));
}

TEST(RangeListMerge, AboveThenBelowBecomeTheOneAbove) {
    EXPECT_EQ(Merged({{0x1020, 0x10}, {0x1000, 0x10}}, {{0x1008, 0x20}}), (Ranges{{0x1000, 0x10}}));
}

TEST(RangeListMerge, AJoinEndsTheWalk) {
    // The last element lies inside the range, but the walk does not come to it.
    EXPECT_EQ(Merged({{0x1000, 0x10}, {0x1020, 0x10}, {0x1012, 2}}, {{0x1008, 0x20}}),
              (Ranges{{0x1000, 0x10}, {0x1012, 2}}));
}

TEST(RangeListMerge, ElementsInsideGoAndTheRangeIsAppended) {
    EXPECT_EQ(Merged({{0x1010, 4}, {0x5000, 1}, {0x1020, 4}}, {{0x1000, 0x100}}),
              (Ranges{{0x5000, 1}, {0x1000, 0x100}}));
}

TEST(RangeListMerge, WhatIsToGoStillTakesPartForTheOtherRanges) {
    // The first range marks (0x1010, 0x20); the second lies in it, so it is dropped with it.
    EXPECT_EQ(Merged({{0x1010, 0x20}}, {{0x1000, 0x100}, {0x1018, 4}}), (Ranges{{0x1000, 0x100}}));
    // A marked element is stretched by the second range, and both go.
    EXPECT_EQ(Merged({{0x1010, 0x20}}, {{0x1000, 0x40}, {0x1028, 0x1000}}), (Ranges{{0x1000, 0x40}}));
}

TEST(RangeListMerge, ARangeThatWrapsAroundIsHeldByAllThatMeetsIt) {
    EXPECT_EQ(Merged({{0, 0x10}}, {{top - 1, 0x10}}), (Ranges{{0, 0x10}, {top - 1, 0x10}}));
    EXPECT_EQ(Merged({{0, top}}, {{top - 1, 0x10}}), (Ranges{{0, top}}));
}

TEST(RangeListMerge, AListFoldsIntoItself) {
    ktRangeList few;
    few.Add(0x1000, 0x10);
    few.Add(0x1010, 0x10);
    few.Merge(few);
    EXPECT_EQ(Copy(few), (Ranges{{0x1000, 0x20}, {0x1010, 0x10}}));

    ktRangeList many;
    PlainRanges plain;
    for (uint64_t i = 0; i < 100; ++i) {
        many.Add(i * 0x10, 0x10);
        plain.Add(i * 0x10, 0x10);
    }
    plain.Merge(plain.Ranges());
    many.Merge(many);
    ExpectSame(many, plain);
}

TEST(RangeListMerge, TheOtherListStaysAsItIs) {
    ktRangeList list;
    ktRangeList other;
    list.Add(0x1000, 0x10);
    other.Add(0x1008, 0x10);
    other.Add(0x4000, 0x10);
    list.Merge(other);
    EXPECT_EQ(Copy(other), (Ranges{{0x1008, 0x10}, {0x4000, 0x10}}));
}

TEST(RangeListMerge, FreezeChangesNothingToBeSeen) {
    ktRangeList list;
    PlainRanges plain;
    for (uint64_t i = 0; i < 300; ++i) {
        ktRangeList other;
        other.Add(i * 0x20, 0x10);
        list.Merge(other);
        plain.Merge({{i * 0x20, 0x10}});
        if (i % 50 == 0) list.Freeze();
    }
    list.Freeze();
    list.Freeze();
    ExpectSame(list, plain);
    list.Add(7, 7);
    plain.Add(7, 7);
    ExpectSame(list, plain);
}

struct RandomShape {
    uint64_t space;     // starts lie below this
    uint64_t longest;   // sizes too
    uint64_t origin;    // added to each start
    size_t startLength; // elements added at the beginning
    size_t mergeCount;
    size_t maxSources;
};

class RangeListRandom : public testing::TestWithParam<RandomShape> {};

TEST_P(RangeListRandom, MergesAsThePlainWalkDoes) {
    const RandomShape &shape = GetParam();
    for (uint64_t seed = 0; seed < 400; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        const auto below = [&random](uint64_t limit) { return limit ? random() % limit : random(); };
        ktRangeList list;
        PlainRanges plain;
        const auto makeRange = [&] {
            return ktAddrRange{shape.origin + below(shape.space), below(shape.longest)};
        };
        for (size_t i = below(shape.startLength + 1); i > 0; --i) {
            const ktAddrRange range = makeRange();
            list.Add(range.start, range.size);
            plain.Add(range.start, range.size);
        }
        for (size_t i = 0; i < shape.mergeCount; ++i) {
            ktRangeList other;
            Ranges source;
            for (size_t n = below(shape.maxSources + 1); n > 0; --n) {
                source.push_back(makeRange());
                other.Add(source.back().start, source.back().size);
            }
            list.Merge(other);
            plain.Merge(source);
            ASSERT_NO_FATAL_FAILURE(ExpectSame(list, plain)) << "merge " << i;
            const uint64_t event = below(40);
            if (event == 0) list.Freeze();
            if (event == 1) {
                const ktAddrRange range = makeRange();
                list.Add(range.start, range.size);
                plain.Add(range.start, range.size);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, RangeListRandom,
    testing::Values(RandomShape{12, 5, 0, 4, 30, 2},         // a handful, all cases at once
                    RandomShape{40, 12, 0, 12, 40, 5},       // overlaps
                    RandomShape{30, 30, top - 15, 6, 30, 3}, // around the top
                    RandomShape{0, 0, 0, 6, 20, 3},          // anything, wrapped ranges by the half
                    RandomShape{2000, 8, 0, 150, 60, 8},     // long, hardly any overlap
                    RandomShape{300, 40, 0, 150, 60, 8},     // long, overlaps
                    RandomShape{60, 4, 0, 200, 40, 70},      // long, many sources, equal elements
                    RandomShape{400, 200, top - 200, 120, 40, 20}));

TEST(RangeListHolds, IndexAndWalkAgree) {
    for (uint64_t seed = 0; seed < 60; ++seed) {
        std::mt19937_64 random(seed);
        ktRangeList list;
        const uint64_t origin = seed % 2 ? top - 500 : 0;
        for (size_t i = 0; i < 150; ++i) list.Add(origin + random() % 1000, random() % 12);
        std::vector<bool> walked;
        for (uint64_t address = origin - 20; address != origin + 1040; ++address)
            walked.push_back(list.Holds(address));
        list.Freeze();
        std::vector<bool> indexed;
        for (uint64_t address = origin - 20; address != origin + 1040; ++address)
            indexed.push_back(list.Holds(address));
        ASSERT_EQ(walked, indexed) << "seed " << seed;
        list.Add(origin + 2000, 1);
        ASSERT_TRUE(list.Holds(origin + 2000) || list.High() < origin + 2000);
    }
}

TEST(RangeListScale, HundredsOfThousandsOfMerges) {
    constexpr uint64_t count = 200000;
    std::vector<uint64_t> order(count);
    for (uint64_t i = 0; i < count; ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937_64(1));
    ktRangeList apart;
    ktRangeList touching;
    for (uint64_t i : order) {
        ktRangeList other;
        other.Add(i * 0x20, 0x10);
        apart.Merge(other);
    }
    for (uint64_t i = 0; i < count; ++i) {
        ktRangeList other;
        other.Add(i * 0x10, 0x10);
        touching.Merge(other);
    }
    EXPECT_EQ(apart.Count(), count);
    EXPECT_EQ(apart.Ranges()[0].start, order[0] * 0x20);
    EXPECT_EQ(apart.High(), (count - 1) * 0x20 + 0x10);
    EXPECT_EQ(Copy(touching), (Ranges{{0, count * 0x10}}));
}

// Ranges that all meet each other: each fold meets the whole list, and must still not walk it.
TEST(RangeListScale, ManyElementsThatAllMeet) {
    constexpr uint64_t count = 100000;
    ktRangeList list;
    for (uint64_t i = 0; i < count; ++i) list.Add(0x1000, 1);
    for (uint64_t i = 0; i < count; ++i) {
        ktRangeList other;
        other.Add(0x1000, i + 2);
        list.Merge(other);
    }
    EXPECT_EQ(list.Count(), count);
    EXPECT_EQ(list.Ranges()[0], (ktAddrRange{0x1000, count + 1}));
    EXPECT_EQ(list.Ranges()[1], (ktAddrRange{0x1000, 1}));
}
