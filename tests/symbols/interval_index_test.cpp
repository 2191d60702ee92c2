#include "symbols/interval_index.h"

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "symbols/lazy_interval_index.h"

namespace {

constexpr uint64_t top = ~uint64_t(0);

std::vector<uint32_t> OwnersAt(const ktIntervalIndex &index, uint64_t address) {
    std::vector<uint32_t> owners;
    index.VisitAt(address, [&owners](uint32_t owner) { owners.push_back(owner); });
    std::sort(owners.begin(), owners.end());
    return owners;
}

std::vector<uint32_t> PlainOwnersAt(const std::vector<ktInterval> &intervals, uint64_t address) {
    std::vector<uint32_t> owners;
    for (const ktInterval &interval : intervals) {
        if (address >= interval.first && address <= interval.last) owners.push_back(interval.owner);
    }
    std::sort(owners.begin(), owners.end());
    return owners;
}

} // namespace

TEST(IntervalIndex, AnEmptyIndexHoldsNothing) {
    const ktIntervalIndex index({});
    EXPECT_TRUE(OwnersAt(index, 0).empty());
    EXPECT_TRUE(OwnersAt(index, top).empty());
}

TEST(IntervalIndex, BothEndsAreIncluded) {
    const ktIntervalIndex index({{10, 20, 1}, {0, 0, 2}, {top, top, 3}});
    EXPECT_EQ(OwnersAt(index, 0), std::vector<uint32_t>{2});
    EXPECT_TRUE(OwnersAt(index, 1).empty());
    EXPECT_TRUE(OwnersAt(index, 9).empty());
    EXPECT_EQ(OwnersAt(index, 10), std::vector<uint32_t>{1});
    EXPECT_EQ(OwnersAt(index, 20), std::vector<uint32_t>{1});
    EXPECT_TRUE(OwnersAt(index, 21).empty());
    EXPECT_EQ(OwnersAt(index, top), std::vector<uint32_t>{3});
}

TEST(IntervalIndex, OneIntervalMayHoldAllAddresses) {
    std::vector<ktInterval> intervals{{0, top, 0}};
    for (uint32_t i = 1; i < 100; ++i) intervals.push_back({i * uint64_t(16), i * uint64_t(16) + 7, i});
    const ktIntervalIndex index(intervals);
    for (const uint64_t address : {uint64_t(0), uint64_t(800), uint64_t(808), uint64_t(5000), top}) {
        EXPECT_EQ(OwnersAt(index, address), PlainOwnersAt(intervals, address)) << address;
    }
}

TEST(IntervalIndex, AgreesWithAWalk) {
    for (uint64_t seed = 0; seed < 300; ++seed) {
        std::mt19937_64 random(seed);
        const uint64_t space = 20 + random() % 400;
        const uint64_t longest = 1 + random() % (seed % 3 ? 12 : space);
        const uint64_t origin = seed % 4 ? 0 : top - space;
        std::vector<ktInterval> intervals;
        for (size_t i = random() % 120; i > 0; --i) {
            const uint64_t first = origin + random() % space;
            intervals.push_back({first, first + std::min(random() % longest, top - first),
                                 static_cast<uint32_t>(random() % 30)});
        }
        const ktIntervalIndex index(intervals);
        for (uint64_t offset = 0; offset <= space + longest; ++offset) {
            ASSERT_EQ(OwnersAt(index, origin + offset), PlainOwnersAt(intervals, origin + offset))
                << "seed " << seed << " offset " << offset;
        }
    }
}

TEST(IntervalIndex, StaysSmall) {
    std::vector<ktInterval> intervals;
    for (uint32_t i = 0; i < 10000; ++i) intervals.push_back({i * uint64_t(16), i * uint64_t(16) + 15, i});
    const ktIntervalIndex index(intervals);
    EXPECT_LE(index.MemoryBytes(), intervals.size() * 23);
}

TEST(LazyIntervalIndex, IsBuiltByTheFirstLookUpAfterAFreeze) {
    ktLazyIntervalIndex lazy;
    int built = 0;
    const auto collect = [&built](std::vector<ktInterval> &intervals) {
        ++built;
        intervals.push_back({1, 2, 0});
    };
    EXPECT_EQ(lazy.Get(collect), nullptr);
    lazy.Freeze();
    EXPECT_EQ(built, 0);
    const ktIntervalIndex *index = lazy.Get(collect);
    ASSERT_NE(index, nullptr);
    EXPECT_EQ(lazy.Get(collect), index);
    EXPECT_EQ(built, 1);
    lazy.Thaw();
    EXPECT_EQ(lazy.Get(collect), nullptr);
    EXPECT_EQ(built, 1);
}

TEST(LazyIntervalIndex, AllThreadsSeeOneIndex) {
    for (int round = 0; round < 100; ++round) {
        ktLazyIntervalIndex lazy;
        lazy.Freeze();
        std::atomic<int> ready{0};
        std::vector<const ktIntervalIndex *> seen(4);
        std::vector<std::thread> threads;
        for (const ktIntervalIndex *&own : seen) {
            threads.emplace_back([&lazy, &ready, &own] {
                ++ready;
                while (ready < 4) std::this_thread::yield();
                own = lazy.Get([](std::vector<ktInterval> &intervals) { intervals.push_back({7, 9, 5}); });
                EXPECT_EQ(OwnersAt(*own, 8), std::vector<uint32_t>{5});
            });
        }
        for (std::thread &thread : threads) thread.join();
        for (const ktIntervalIndex *own : seen) EXPECT_EQ(own, seen[0]);
    }
}
