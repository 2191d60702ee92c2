#include "session/sb_break_point_manager.h"

#include "abi/records.h"
#include "session/break_point.h"
#include "session/code_break_points.h"
#include "support/fake_dbg_eng.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

/// A library whose listings are made up by the test.
class LyingBreakPoints final : public ktCodeBreakPoints {
public:
    ktStatus Set(uint64_t, uint16_t &) override { return 0; }
    ktStatus Remove(uint16_t number) override {
        removed.push_back(number);
        return 0;
    }
    ktStatus Clear() override { return 0; }
    ktStatus AddFilter(uint16_t, const ktSbRawFilter &, uint16_t &) override {
        ++added;
        return 0;
    }
    ktStatus RemoveFilter(uint16_t, uint16_t) override { return 0; }
    ktStatus ClearFilters(uint16_t) override { return 0; }
    ktStatus GetInfo(ktSbRawBreakPoint *records, uint16_t first, uint16_t &count, uint16_t &total) override {
        ++calls;
        total = claimedTotal;
        const uint32_t came = std::min<uint32_t>(claimedCount, ktSbInfoCount);
        for (uint32_t i = 0; i < came; ++i) {
            records[i] = {};
            records[i].number = sameNumber ? 1 : static_cast<uint16_t>(first + i);
            records[i].physical = samePhysical ? 0x1000 : 0x1000u + first + i;
            records[i].filterCount = filterCount;
        }
        count = claimedCount;
        return status;
    }
    ktStatus GetFilterInfo(ktSbRawFilter *records, uint16_t, uint16_t first, uint16_t &count) override {
        ++calls;
        const uint32_t left = filtersThere > first ? filtersThere - first : 0;
        count = static_cast<uint16_t>(std::min<uint32_t>(claimedFilters, left));
        for (uint32_t i = 0; i < std::min<uint32_t>(count, ktSbInfoCount); ++i)
            records[i] = {static_cast<uint16_t>(first + i), {}, 0x5000, 0x1000, {}};
        return status;
    }

    uint16_t claimedTotal = 0;
    uint16_t claimedCount = 0;
    uint16_t filterCount = 0;
    uint16_t claimedFilters = 0;
    uint32_t filtersThere = UINT32_MAX; ///< calls give claimedFilters each until so many have come
    ktStatus status = 0;                ///< of the listings
    bool sameNumber = false;
    bool samePhysical = false;
    uint32_t calls = 0;            ///< of the listings
    uint32_t added = 0;            ///< filters
    std::vector<uint16_t> removed; ///< breakpoints
};

class LyingEngine final : public ktFakeDbgEng {
public:
    using ktFakeDbgEng::ktFakeDbgEng;
    ktCodeBreakPoints *CodeBreakPoints() override { return &lies; }
    LyingBreakPoints lies;
};

class BreakPointReloadLies : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(manager.Initialize(&engine)); }
    size_t Count() {
        std::vector<ktBreakPoint *> list;
        manager.List(list);
        return list.size();
    }
    size_t Enabled() {
        std::vector<ktBreakPoint *> list;
        manager.List(list);
        return static_cast<size_t>(std::count_if(list.begin(), list.end(),
                                                 [](const ktBreakPoint *one) { return one->IsEnabled(); }));
    }

    ktFakeTarget target;
    LyingEngine engine{target};
    LyingBreakPoints &lies = engine.lies;
    ktSbBreakPointManager manager;
};

} // namespace

TEST_F(BreakPointReloadLies, AListThatEndsBeforeItsTotalFails) {
    for (const uint16_t total : {uint16_t{1}, uint16_t{5}, uint16_t{65535}}) {
        lies.calls = 0;
        lies.claimedTotal = total;
        EXPECT_FALSE(manager.Reload());
        EXPECT_EQ(lies.calls, 1u);
        EXPECT_EQ(Count(), 0u);
    }
}

TEST_F(BreakPointReloadLies, MoreRecordsThanThereIsRoomForAreNotRead) {
    lies.claimedTotal = 64;
    lies.claimedCount = 65535;
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(Count(), 64u);
}

TEST_F(BreakPointReloadLies, AnEndlessListEnds) {
    lies.claimedTotal = 65535;
    lies.claimedCount = 64;
    EXPECT_FALSE(manager.Reload());
    EXPECT_EQ(lies.calls, 1024u);
    EXPECT_EQ(Count(), 1024u);
}

TEST_F(BreakPointReloadLies, FewerFiltersThanPromisedFail) {
    lies.claimedTotal = lies.claimedCount = 1;
    lies.filterCount = 3;
    EXPECT_FALSE(manager.Reload());
    EXPECT_EQ(Count(), 0u);
}

TEST_F(BreakPointReloadLies, MoreFiltersThanPromisedFail) {
    lies.claimedTotal = lies.claimedCount = 1;
    lies.filterCount = 3;
    lies.claimedFilters = 65535;
    EXPECT_FALSE(manager.Reload());
    EXPECT_EQ(Count(), 0u);
}

TEST_F(BreakPointReloadLies, FarTooManyFiltersFailBeforeTheyAreFetched) {
    lies.claimedTotal = lies.claimedCount = 1;
    lies.filterCount = lies.claimedFilters = 1;
    lies.filtersThere = 1;
    ASSERT_TRUE(manager.Reload());
    ASSERT_EQ(Count(), 1u);
    lies.calls = 0;
    lies.claimedTotal = lies.claimedCount = 3;
    lies.filterCount = 65535;
    lies.claimedFilters = 64;
    lies.filtersThere = UINT32_MAX;
    EXPECT_FALSE(manager.Reload());
    EXPECT_EQ(lies.calls, 1u) << "the list alone, though there is a breakpoint to look for";
}

TEST_F(BreakPointReloadLies, ABreakpointHasUpTo65535Filters) {
    lies.claimedTotal = lies.claimedCount = 2;
    lies.filterCount = 65535;
    lies.claimedFilters = 64;
    lies.filtersThere = 65535;
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(lies.calls, 1u + 2 * 1024u);
    EXPECT_EQ(Count(), 1u);
    lies.filtersThere = 65536;
    EXPECT_FALSE(manager.Reload());
}

TEST_F(BreakPointReloadLies, OneFilterMoreThanAFullPartFails) {
    lies.claimedTotal = lies.claimedCount = 1;
    lies.filterCount = 64;
    lies.claimedFilters = 64;
    lies.filtersThere = 65;
    EXPECT_FALSE(manager.Reload());
    EXPECT_EQ(Count(), 0u);
    lies.filtersThere = 64;
    EXPECT_TRUE(manager.Reload());
}

TEST_F(BreakPointReloadLies, APositiveStatusIsSuccess) {
    lies.claimedTotal = lies.claimedCount = 1;
    lies.filterCount = lies.claimedFilters = 1;
    lies.status = 1;
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(Count(), 1u);
    lies.status = -1;
    EXPECT_FALSE(manager.Reload());
}

TEST_F(BreakPointReloadLies, EqualFiltersBecomeOneBreakpoint) {
    lies.claimedTotal = lies.claimedCount = 1;
    lies.filterCount = lies.claimedFilters = 3;
    EXPECT_TRUE(manager.Reload());
    EXPECT_EQ(Count(), 1u);
    EXPECT_EQ(manager.FindPhysBreak(0x1000)->filters.size(), 1u);
}

TEST_F(BreakPointReloadLies, EqualFiltersEndWithTheirBreakpoint) {
    lies.claimedTotal = lies.claimedCount = 1;
    lies.filterCount = lies.claimedFilters = 3;
    ASSERT_TRUE(manager.Reload());
    ASSERT_TRUE(manager.Remove(0));
    EXPECT_EQ(lies.removed, std::vector<uint16_t>{0});
    EXPECT_EQ(manager.FindPhysBreak(0x1000), nullptr);
}

TEST_F(BreakPointReloadLies, NoFilterIsAddedToAsManyAsARecordCounts) {
    lies.claimedTotal = lies.claimedCount = 2;
    lies.filterCount = 65535;
    lies.claimedFilters = 64;
    lies.filtersThere = 65535;
    ASSERT_TRUE(manager.Reload());
    ASSERT_EQ(manager.FindPhysBreak(0x1001)->filterCount, 65535) << "the other address has their breakpoint";
    ktAddress address;
    address.kind = ktAddress::kindLinear;
    address.value = 0x2000;
    const ktAddress wanted = address;
    target.SetTranslation({}, 0x1001);
    EXPECT_FALSE(manager.Add(address, nullptr));
    EXPECT_EQ(lies.added, 0u);
    EXPECT_EQ(manager.FindPhysBreak(0x1001)->filterCount, 65535);
    address = wanted;
    target.SetTranslation({}, 0x1000);
    EXPECT_TRUE(manager.Add(address, nullptr));
    EXPECT_EQ(lies.added, 1u);
}

TEST_F(BreakPointReloadLies, ANumberForTwoAddressesFailsAndNothingChanges) {
    lies.claimedTotal = lies.claimedCount = 3;
    ASSERT_TRUE(manager.Reload());
    ASSERT_EQ(Enabled(), 3u);
    lies.calls = 0;
    lies.sameNumber = true;
    lies.filterCount = lies.claimedFilters = 1;
    EXPECT_FALSE(manager.Reload());
    EXPECT_EQ(lies.calls, 1u) << "no filter is asked for";
    EXPECT_EQ(Enabled(), 3u);
    for (const uint64_t physical : {0x1000u, 0x1001u, 0x1002u}) {
        ASSERT_NE(manager.FindPhysBreak(physical), nullptr);
        EXPECT_EQ(manager.FindPhysBreak(physical)->engineId, physical - 0x1000);
    }
}

TEST_F(BreakPointReloadLies, AnAddressThatIsListedTwiceFailsAndNothingChanges) {
    lies.claimedTotal = lies.claimedCount = 3;
    ASSERT_TRUE(manager.Reload());
    lies.samePhysical = true;
    lies.filterCount = lies.claimedFilters = 1;
    EXPECT_FALSE(manager.Reload());
    EXPECT_EQ(Enabled(), 3u);
    EXPECT_NE(manager.FindPhysBreak(0x1002), nullptr);
    EXPECT_TRUE(manager.FindPhysBreak(0x1000)->filters.empty());
}
