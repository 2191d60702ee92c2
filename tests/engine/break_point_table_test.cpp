#include "core/break_point_table.h"

#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "support/fake_target.h"

using namespace sable;

namespace {

class BreakPoints : public testing::Test {
protected:
    uint16_t Set(uint64_t physical) {
        uint16_t given = 0;
        EXPECT_EQ(table.Set(physical, given), SABLE_OK);
        return given;
    }

    uint16_t AddFilter(uint16_t breakPoint, uint64_t root, uint64_t address) {
        uint16_t filterNumber = 0;
        EXPECT_EQ(table.AddFilter(breakPoint, Filter(root, address), filterNumber), SABLE_OK);
        return filterNumber;
    }

    static ktSbRawFilter Filter(uint64_t root, uint64_t address) {
        return {ktSbFilterRootAndAddress, {}, root, address, {}};
    }

    FakeTarget target;
    BreakPointTable table = BreakPointTable(target);
    uint16_t number = 99;
};

} // namespace

TEST_F(BreakPoints, NumbersAreTheLowestFreeFromOne) {
    EXPECT_EQ(Set(0x1000), 1);
    EXPECT_EQ(Set(0x2000), 2);
    EXPECT_EQ(Set(0x3000), 3);
    EXPECT_EQ(table.Remove(2), SABLE_OK);
    EXPECT_EQ(table.Remove(1), SABLE_OK);
    EXPECT_EQ(Set(0x4000), 1);
    EXPECT_EQ(Set(0x5000), 2);
    EXPECT_EQ(Set(0x6000), 4);
    EXPECT_EQ(target.fetchStops, (std::set<uint64_t>{0x3000, 0x4000, 0x5000, 0x6000}));
}

TEST_F(BreakPoints, APlaceHasOneBreakPoint) {
    Set(0x1000);
    EXPECT_EQ(table.Set(0x1000, number), SABLE_FAILED);
    EXPECT_EQ(number, 99);
    EXPECT_EQ(table.Count(), 1u);
}

TEST_F(BreakPoints, APlaceWithoutMemoryHasNone) {
    EXPECT_EQ(table.Set(FakeTarget::ramBytes, number), SABLE_FAILED);
    EXPECT_EQ(table.Set(UINT64_MAX, number), SABLE_FAILED);
    target.holes.insert(1);
    EXPECT_EQ(table.Set(0x1000, number), SABLE_FAILED);
    EXPECT_TRUE(target.fetchStops.empty());
}

TEST_F(BreakPoints, WhatTheTargetRefusesDoesNotStand) {
    target.refusesFetchStops = true;
    EXPECT_EQ(table.Set(0x1000, number), SABLE_FAILED);
    EXPECT_EQ(table.Count(), 0u);
    target.refusesFetchStops = false;
    Set(0x1000);
    target.refusesFetchStops = true;
    EXPECT_EQ(table.Remove(1), SABLE_FAILED);
    EXPECT_EQ(table.Clear(), SABLE_FAILED);
    EXPECT_EQ(table.Count(), 1u);
    Target bare;
    BreakPointTable none(bare);
    EXPECT_EQ(none.Set(0, number), SABLE_NOT_SUPPORTED);
}

TEST_F(BreakPoints, UnknownNumbersAreBadArguments) {
    uint16_t filterNumber = 0;
    size_t count = 9;
    for (const uint16_t unknown : {uint16_t(0), uint16_t(1), uint16_t(65535)}) {
        EXPECT_EQ(table.Remove(unknown), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(table.AddFilter(unknown, Filter(0, 0), filterNumber), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(table.RemoveFilter(unknown, 1), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(table.ClearFilters(unknown), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(table.ListFilters(unknown, 0, {}, count), SABLE_BAD_ARGUMENT);
    }
    Set(0x1000);
    EXPECT_EQ(table.RemoveFilter(1, 1), SABLE_BAD_ARGUMENT);
}

TEST_F(BreakPoints, WithoutFiltersItCountsForEverybody) {
    Set(0x1000);
    EXPECT_TRUE(target.query->ShouldStop(5, 6, 0x1000, 7));
    EXPECT_FALSE(target.query->ShouldStop(5, 6, 0x1001, 7)) << "there is none";
}

TEST_F(BreakPoints, FiltersSayForWhomItCounts) {
    Set(0x1000);
    AddFilter(1, 0x20000, 0x401000);
    AddFilter(1, 0x30000, 0x501000);
    EXPECT_TRUE(table.ShouldStop(0x20000, 0x401000, 0x1000, 0x401000));
    EXPECT_TRUE(table.ShouldStop(0x30000, 0x501000, 0x1000, 0x501000));
    EXPECT_FALSE(table.ShouldStop(0x20000, 0x501000, 0x1000, 0x501000));
    EXPECT_FALSE(table.ShouldStop(0x40000, 0x401000, 0x1000, 0x401000));
    EXPECT_EQ(table.RemoveFilter(1, 1), SABLE_OK);
    EXPECT_FALSE(table.ShouldStop(0x20000, 0x401000, 0x1000, 0x401000));
    EXPECT_EQ(table.ClearFilters(1), SABLE_OK);
    EXPECT_TRUE(table.ShouldStop(0x40000, 0x401000, 0x1000, 0x401000)) << "none is left";
}

TEST_F(BreakPoints, OfARootTheAddressBitsCount) {
    Set(0x1000);
    AddFilter(1, 0xABC0000000020018, 0x401000);
    EXPECT_TRUE(table.ShouldStop(0x20FFF, 0x401000, 0x1000, 0));
    EXPECT_TRUE(table.ShouldStop(0xFFF0000000020000, 0x401000, 0x1000, 0));
    EXPECT_FALSE(table.ShouldStop(0x21000, 0x401000, 0x1000, 0));
    EXPECT_FALSE(table.ShouldStop(0x8000000020000, 0x401000, 0x1000, 0));
}

TEST_F(BreakPoints, AFilterOfRoot0HoldsUnderAnyRoot) {
    Set(0x1000);
    AddFilter(1, 0, 0x401000);
    for (const uint64_t root : {uint64_t{0}, uint64_t{0x18}, uint64_t{0x20000}, UINT64_MAX})
        EXPECT_TRUE(table.ShouldStop(root, 0x401000, 0x1000, 0x401000)) << root;
    EXPECT_FALSE(table.ShouldStop(0x20000, 0x402000, 0x1000, 0x402000)) << "another address";
    Set(0x2000);
    AddFilter(2, 0x18, 0x401000);
    EXPECT_TRUE(table.ShouldStop(0, 0x401000, 0x2000, 0x401000));
    EXPECT_FALSE(table.ShouldStop(0x20000, 0x401000, 0x2000, 0x401000)) << "a root in page 0 is a root";
}

TEST_F(BreakPoints, AnAddressMayBeTheInstructionPointersValue) {
    Set(0x7C10);
    AddFilter(1, 0, 0x10);
    EXPECT_TRUE(table.ShouldStop(0, 0x7C10, 0x7C10, 0x10)) << "7C0:10";
    EXPECT_FALSE(table.ShouldStop(0, 0x7C10, 0x7C10, 0x7C10)) << "0:7C10";
}

TEST_F(BreakPoints, OtherKindsOfFiltersAreNotSupported) {
    Set(0x1000);
    ktSbRawFilter filter = Filter(0, 0);
    for (const uint16_t type : {uint16_t(0), uint16_t(1), uint16_t(2), uint16_t(4), uint16_t(65535)}) {
        filter.typeOrNumber = type;
        EXPECT_EQ(table.AddFilter(1, filter, number), SABLE_NOT_SUPPORTED);
    }
    EXPECT_TRUE(table.ShouldStop(1, 1, 0x1000, 1));
}

TEST_F(BreakPoints, ListsInTheOrderOfNumbersAndInParts) {
    target.ram[0x2000] = 0xCC;
    Set(0x3000);
    Set(0x2000);
    Set(0x1000);
    AddFilter(2, 1, 1);
    AddFilter(2, 1, 1);
    std::vector<ktSbRawBreakPoint> records(2, {9, 9, 9, {9, 9, 9}, 9, {9, 9, 9}, 9});
    EXPECT_EQ(table.List(0, records), 2u);
    EXPECT_EQ(records[0].number, 1);
    EXPECT_EQ(records[0].physical, 0x3000u);
    EXPECT_EQ(records[0].reserved1, 0);
    EXPECT_EQ(records[1].number, 2);
    EXPECT_EQ(records[1].savedByte, 0xCC);
    EXPECT_EQ(records[1].filterCount, 2);
    EXPECT_EQ(table.List(2, records), 1u);
    EXPECT_EQ(records[0].number, 3);
    EXPECT_EQ(table.List(3, records), 0u);
    EXPECT_EQ(table.List(65535, records), 0u);
    EXPECT_EQ(table.List(0, {}), 0u);
}

TEST_F(BreakPoints, FiltersAreListedAsTheyWereGiven) {
    Set(0x1000);
    EXPECT_EQ(AddFilter(1, 0x20018, 0x401000), 1);
    EXPECT_EQ(AddFilter(1, 0x30000, 0x402000), 2);
    EXPECT_EQ(AddFilter(1, 0x30000, 0x402000), 3) << "an equal one";
    EXPECT_EQ(table.RemoveFilter(1, 2), SABLE_OK);
    EXPECT_EQ(AddFilter(1, 0x40000, 0x403000), 2) << "the lowest free number";
    std::vector<ktSbRawFilter> records(2);
    size_t count = 0;
    EXPECT_EQ(table.ListFilters(1, 0, records, count), SABLE_OK);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(records[0].typeOrNumber, 1);
    EXPECT_EQ(records[0].root, 0x20018u);
    EXPECT_EQ(records[0].address, 0x401000u);
    EXPECT_EQ(records[1].typeOrNumber, 2);
    EXPECT_EQ(records[1].root, 0x40000u);
    EXPECT_EQ(table.ListFilters(1, 2, records, count), SABLE_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(records[0].typeOrNumber, 3);
    EXPECT_EQ(table.ListFilters(1, 3, records, count), SABLE_OK);
    EXPECT_EQ(count, 0u);
}

TEST_F(BreakPoints, ThereIsALimitToBreakPoints) {
    for (uint64_t index = 0; index < BreakPointTable::maxBreakPoints; ++index) Set(index * 16);
    EXPECT_EQ(table.Set(0x3FFFF8, number), SABLE_FAILED);
    EXPECT_EQ(table.Clear(), SABLE_OK);
    EXPECT_EQ(table.Count(), 0u);
    EXPECT_TRUE(target.fetchStops.empty());
    EXPECT_EQ(Set(0x3FFFF8), 1);
}

TEST_F(BreakPoints, ThereIsALimitToFilters) {
    Set(0x1000);
    Set(0x2000);
    for (size_t index = 0; index + 1 < BreakPointTable::maxFilters; ++index) AddFilter(1, 0, index);
    AddFilter(2, 0, 0);
    EXPECT_EQ(table.AddFilter(2, Filter(0, 1), number), SABLE_FAILED);
    EXPECT_EQ(table.Remove(1), SABLE_OK);
    EXPECT_EQ(table.AddFilter(2, Filter(0, 1), number), SABLE_OK);
}
