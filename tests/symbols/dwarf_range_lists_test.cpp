#include "symbols/dwarf/range_lists.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

#include "support/dwarf_fixture.h"
#include "symbols/dwarf/work_budget.h"

namespace {

using Pairs = ktAddressPairs;
constexpr uint64_t ones = ~uint64_t(0);

/// A version 4 list as its section has it; the end is for the test to add.
Pairs OldList(const ktBytes &section, uint64_t addressSize = 8, uint64_t offset = 0) {
    ktWorkBudget budget(1 << 20);
    Pairs pairs{{7, 7}};
    const bool good = ReadRangeList(section, offset, addressSize, budget, pairs);
    EXPECT_TRUE(good || pairs.empty());
    if (!good) pairs = {{ones, ones}};
    return pairs;
}
Pairs NewList(const ktBytes &section, const ktBytes &addresses = {}, uint64_t addressSize = 8,
              uint64_t offset = 0) {
    ktWorkBudget budget(1 << 20);
    Pairs pairs{{7, 7}};
    const bool good = ReadRngList(section, addresses, offset, addressSize, budget, pairs);
    EXPECT_TRUE(good || pairs.empty());
    if (!good) pairs = {{ones, ones}};
    return pairs;
}
const Pairs failed{{ones, ones}};

ktBytes OldPairs(std::initializer_list<std::pair<uint64_t, uint64_t>> pairs, size_t size = 8) {
    ktDieBytes bytes;
    for (const auto &[begin, end] : pairs) bytes.Number(begin, size).Number(end, size);
    return bytes.bytes;
}

TEST(DwarfRangeList, APairOfZerosEndsIt) {
    EXPECT_EQ(OldList(OldPairs({{0x10, 0x20}, {0x30, 0x40}, {0, 0}, {0x50, 0x60}})),
              (Pairs{{0x10, 0x20}, {0x30, 0x40}}));
    EXPECT_EQ(OldList(OldPairs({{0, 0}})), Pairs{});
}
TEST(DwarfRangeList, AllOnesSetTheBase) {
    EXPECT_EQ(OldList(OldPairs({{1, 2}, {ones, 0x1000}, {1, 2}, {ones, 0x2000}, {1, 2}, {0, 0}})),
              (Pairs{{1, 2}, {0x1001, 0x1002}, {0x2001, 0x2002}}));
    EXPECT_EQ(OldList(OldPairs({{ones, 0x1000}, {1, 2}, {ones, 0}, {1, 2}, {0, 0}})),
              (Pairs{{0x1001, 0x1002}, {1, 2}}));
}
TEST(DwarfRangeList, AZeroBeginSetsTheBaseWithEightByteAddresses) {
    EXPECT_EQ(OldList(OldPairs({{0, 0x1000}, {1, 2}, {0, 0}})), (Pairs{{0x1001, 0x1002}}));
}
TEST(DwarfRangeList, AZeroBeginIsAnAddressWithShorterAddresses) {
    for (const size_t size : {1u, 2u, 4u})
        EXPECT_EQ(OldList(OldPairs({{0, 0x10}, {1, 2}, {0, 0}}, size), size), (Pairs{{0, 0x10}, {1, 2}}));
}
TEST(DwarfRangeList, TheOnesOfAShorterAddressSetTheBaseButForZero) {
    const uint64_t narrow = 0xFFFFFFFF;
    EXPECT_EQ(OldList(OldPairs({{narrow, 0x1000}, {1, 2}, {narrow, 0}, {1, 2}, {0, 0}}, 4), 4),
              (Pairs{{0x1001, 0x1002}, {narrow + 0x1000, 0x1000}, {0x1001, 0x1002}}));
}
TEST(DwarfRangeList, EqualEndsAreDropped) {
    EXPECT_EQ(OldList(OldPairs({{5, 5}, {1, 2}, {7, 7}, {0, 0}})), (Pairs{{1, 2}}));
}
TEST(DwarfRangeList, SumsWrapAndEndsMayLieBelowBegins) {
    EXPECT_EQ(OldList(OldPairs({{ones, ones}, {2, 9}, {9, 2}, {0, 0}})), (Pairs{{1, 8}, {8, 1}}));
}
TEST(DwarfRangeList, BeginsAtItsOffset) {
    const ktBytes section = OldPairs({{1, 2}, {3, 4}, {0, 0}});
    EXPECT_EQ(OldList(section, 8, 16), (Pairs{{3, 4}}));
    EXPECT_EQ(OldList(section, 8, 48), failed);
    EXPECT_EQ(OldList(section, 8, 49), failed);
    EXPECT_EQ(OldList(section, 8, ones), failed);
}
TEST(DwarfRangeList, EveryCutFails) {
    const ktBytes whole = OldPairs({{1, 2}, {3, 4}, {0, 0}});
    for (size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(OldList({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)}), failed) << size;
}
TEST(DwarfRangeList, AddressesOfNoOrTooManyBytes) {
    EXPECT_EQ(OldList(OldPairs({{1, 2}, {0, 0}}), 0), Pairs{});
    EXPECT_EQ(OldList({}, 0), Pairs{}); // not even a place to read from
    EXPECT_EQ(OldList(OldPairs({{1, 2}, {0, 0}}), 9), failed);
    EXPECT_EQ(OldList(OldPairs({{1, 2}, {0, 0}}), 255), failed);
}

TEST(DwarfRngList, AnEmptyList) { EXPECT_EQ(NewList({0}), Pairs{}); }
TEST(DwarfRngList, BaseAddressxTakesItsIndexForAnOffsetAndLeavesAPairOfZeros) {
    ktBytes addresses = ktDieBytes().U8(0xEE).U64(0x1000).bytes;
    EXPECT_EQ(NewList({1, 1, 4, 0x10, 0x20, 0}, addresses), (Pairs{{0, 0}, {0x1010, 0x1020}}));
}
TEST(DwarfRngList, StartxEndxReadsOneIndexAndTwoAddressesInARow) {
    const ktBytes addresses = ktDieBytes().U32(0xEE).U32(0x1000).U32(0x2000).bytes;
    EXPECT_EQ(NewList({2, 4, 0}, addresses, 4), (Pairs{{0x1000, 0x2000}}));
    EXPECT_EQ(NewList({2, 8, 0}, addresses, 4), failed); // only one address is there
}
TEST(DwarfRngList, StartxEndxIndexThatFollowsIsTheNextEntry) {
    // What a writer would mean by (index 0, index 4): the second is read as the kind of another entry.
    const ktBytes addresses = ktDieBytes().U64(0x1000).U64(0x2000).bytes;
    EXPECT_EQ(NewList({2, 0, 4, 0x10, 0x20, 0}, addresses), (Pairs{{0x1000, 0x2000}, {0x10, 0x20}}));
}
TEST(DwarfRngList, TheLengthOfStartxLengthIsReadInTheSecondPassOnly) {
    const ktBytes addresses = ktDieBytes().U64(0x1000).bytes;
    // First pass: startx_length, then kind 0x30, then the end. Second pass: startx_length and the end.
    EXPECT_EQ(NewList({3, 0, 0x30, 0}, addresses), (Pairs{{0x1000, 0x1030}, {0, 0}}));
    // First pass: the length of 0 is the end; second pass: it is read, and the pairs are full.
    EXPECT_EQ(NewList({3, 0, 0, 7, 7, 7}, addresses), (Pairs{{0x1000, 0x1000}}));
    // First pass: the length is kind 6 with two addresses. Second pass: the end comes first.
    const ktBytes swallowed = ktDieBytes().Raw({3, 0, 6, 0}).U64(0).Number(0, 7).U8(0).bytes;
    EXPECT_EQ(NewList(swallowed, addresses), (Pairs{{0x1000, 0x1006}, {0, 0}}));
}
TEST(DwarfRngList, TheFirstPassMayFindNoEndWhereTheSecondWould) {
    const ktBytes addresses = ktDieBytes().U64(0x1000).bytes;
    EXPECT_EQ(NewList({3, 0, 6, 0}, addresses), failed);
}
TEST(DwarfRngList, OffsetPairAddsTheBase) {
    const ktBytes list = ktDieBytes().Raw({4, 1, 2, 5}).U64(0x1000).Raw({4, 1, 2, 0}).bytes;
    EXPECT_EQ(NewList(list), (Pairs{{1, 2}, {0, 0}, {0x1001, 0x1002}}));
}
TEST(DwarfRngList, StartEndAndStartLengthStandForThemselves) {
    const ktBytes list =
        ktDieBytes().U8(5).U64(0x1000).U8(6).U64(0x10).U64(0x30).U8(7).U64(0x40).Uleb(0x80).U8(0).bytes;
    EXPECT_EQ(NewList(list), (Pairs{{0, 0}, {0x10, 0x30}, {0x40, 0xC0}}));
}
TEST(DwarfRngList, KindsAboveSevenTakeAPlaceAndReadNothing) {
    EXPECT_EQ(NewList({8, 0x42, 0xFF, 4, 1, 2, 0}), (Pairs{{0, 0}, {0, 0}, {0, 0}, {1, 2}}));
}
TEST(DwarfRngList, AddressesHaveTheirSize) {
    EXPECT_EQ(NewList({6, 0x10, 0x20, 7, 0x30, 5, 0}, {}, 1), (Pairs{{0x10, 0x20}, {0x30, 0x35}}));
    EXPECT_EQ(NewList(ktDieBytes().U8(6).U64(1).U64(2).U8(0).bytes, {}, 9), failed);
}
TEST(DwarfRngList, AnIndexBeyondTheAddressesFails) {
    const ktBytes addresses(8);
    EXPECT_EQ(NewList({1, 0, 0}, addresses), (Pairs{{0, 0}}));
    for (const uint8_t index : ktBytes{1, 8, 9, 0x7F})
        EXPECT_EQ(NewList({1, index, 0}, addresses), failed) << int(index);
    EXPECT_EQ(NewList({1, 0, 0}), failed);
}
TEST(DwarfRngList, EveryCutFails) {
    const ktBytes addresses(16);
    const ktBytes whole = ktDieBytes()
                              .Raw({1, 0, 2, 0, 4, 0x81, 1, 2, 5})
                              .U64(3)
                              .U8(6)
                              .U64(1)
                              .U64(2)
                              .U8(7)
                              .U64(5)
                              .Raw({0x80, 1, 9, 0})
                              .bytes;
    EXPECT_EQ(NewList(whole, addresses).size(), 7u);
    for (size_t size = 0; size < whole.size(); ++size) {
        const ktBytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
        EXPECT_EQ(NewList(cut, addresses), failed) << size;
    }
    EXPECT_EQ(NewList(whole, addresses, 8, whole.size()), failed);
    EXPECT_EQ(NewList(whole, addresses, 8, whole.size() + 1), failed);
}

TEST(DwarfRangeBudget, ListsArePaidForByTheBytesThatAreRead) {
    const ktBytes old = OldPairs({{1, 2}, {0, 0}});
    const ktBytes made{4, 1, 2, 0};
    Pairs pairs;
    for (int version = 4; version <= 5; ++version) {
        const uint64_t size = version == 4 ? old.size() : made.size();
        const auto read = [&](ktWorkBudget &budget) {
            return version == 4 ? ReadRangeList(old, 0, 8, budget, pairs)
                                : ReadRngList(made, {}, 0, 8, budget, pairs);
        };
        ktWorkBudget enough(3 * size + 1);
        for (int i = 0; i < 3; ++i) EXPECT_TRUE(read(enough));
        EXPECT_FALSE(read(enough));
        EXPECT_TRUE(pairs.empty());
        ktWorkBudget tooLittle(size);
        EXPECT_FALSE(read(tooLittle));
        EXPECT_FALSE(tooLittle.Take(0));
    }
}
TEST(DwarfRangeBudget, ListsWithoutAnEndArePaidForToo) {
    Pairs pairs;
    ktWorkBudget old(1000), made(1000);
    EXPECT_FALSE(ReadRangeList(ktBytes(999, 0x11), 0, 8, old, pairs));
    EXPECT_FALSE(old.Take(8)); // all but the bytes that make no pair
    EXPECT_FALSE(ReadRngList(ktBytes(999, 0x11), {}, 0, 8, made, pairs));
    EXPECT_FALSE(made.Take(1));
}

class DwarfRanges : public testing::Test, protected ktDwarfFixture {
protected:
    /// A unit and a function that both name the list at offset 0.
    std::string LoadWith(const ktAttr &ranges) {
        dwarf.BeginUnit();
        dwarf.Parent(0x11, {AttrName("u"), AttrAddr(0x11, 0x400000), ranges});
        dwarf.Leaf(0x2E, {AttrName("f"), AttrAddr(0x11, 0x400000), ranges});
        dwarf.End();
        EXPECT_TRUE(Load());
        const Lines units = DescribeAll();
        return units.size() == 1 ? units[0] : "";
    }
};

TEST_F(DwarfRanges, BothEndsOfEachPairGetTheBiasAndTheLowPcIsNoBase) {
    dwarf.isMovable = true;
    rebase = 0x500000;
    dwarf.sections[".debug_ranges"] = OldPairs({{0x400010, 0x400020}, {0x400040, 0x400048}, {0, 0}});
    // A function that has only ranges keeps the entry 0.
    EXPECT_EQ(LoadWith(AttrOffset(0x55, 0)), "u[500010+10,500040+8] f@0[500010+10,500040+8](){} types: ; "
                                             "variables: ");
}
TEST_F(DwarfRanges, PairsOfZerosAreRangesOfTheUnitAtTheBiasAndNoneOfAFunction) {
    dwarf.version = 5;
    dwarf.isMovable = true;
    rebase = 0x500000;
    dwarf.sections[".debug_rnglists"] = ktDieBytes().U8(5).U64(0x400000).Raw({4, 0x10, 0x20, 9, 0}).bytes;
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrName("u"), AttrOffset(0x55, 0)});
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(DescribeAll(), Lines{"u[100000+0,500010+10,100000+0] types: ; variables: "});
    dwarf = ktDwarfBuilder();
    dwarf.version = 5;
    dwarf.isMovable = true;
    dwarf.sections[".debug_rnglists"] = ktDieBytes().U8(5).U64(0x400000).Raw({4, 0x10, 0x20, 9, 0}).bytes;
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrName("u")});
    dwarf.Leaf(0x2E, {AttrName("f"), AttrOffset(0x55, 0)});
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(DescribeAll(), Lines{"u[500010+10] f@0[500010+10](){} types: ; variables: "});
}
TEST_F(DwarfRanges, AnIndexOfAListIsToldAndTheListAtTheStartOfTheSectionIsTaken) {
    dwarf.version = 5;
    dwarf.sections[".debug_rnglists"] = {7, 0, 0, 0x40, 0, 0, 0, 0, 0, 0x10, 0};
    const std::string text = LoadWith({0x55, 0x23, {}, 0});
    EXPECT_EQ(log.lines, (Lines{"Unexpected form 23", "Rng lists are not implemented", "Unexpected form 23",
                                "Rng lists are not implemented"}));
    EXPECT_EQ(text, "u[400000+10] f@0[400000+10](){} types: ; variables: ");
}
TEST_F(DwarfRanges, AnIndexOfAListIsToldForEveryTagOfVersion5Only) {
    for (const uint16_t version : {uint16_t(4), uint16_t(5)}) {
        dwarf = ktDwarfBuilder();
        log.Clear();
        dwarf.version = version;
        dwarf.BeginUnitWithCode();
        dwarf.Leaf(0x0B, {{0x55, 0x23, {}, 0}});
        EXPECT_TRUE(Load());
        Lines expected{"Unexpected form 23"};
        if (version == 5) expected.push_back("Rng lists are not implemented");
        EXPECT_EQ(log.lines, expected);
    }
}
TEST_F(DwarfRanges, TheOtherVersionsSectionIsNotLookedAt) {
    dwarf.sections[".debug_rnglists"] = {4, 0x10, 0x20, 0};
    EXPECT_EQ(LoadWith(AttrOffset(0x55, 0)), "");
}
TEST_F(DwarfRanges, AListThatIsNotThereIsNoFailure) {
    dwarf.sections[".debug_ranges"] = OldPairs({{1, 2}});
    for (const uint64_t offset : ktCodes{0, 15, 16, 17, 0x7FFFFFFF}) {
        dwarf.BeginUnitWithCode();
        dwarf.Leaf(0x2E, {AttrName("f"), AttrOffset(0x55, offset)});
        dwarf.End();
    }
    EXPECT_TRUE(Load());
    ASSERT_EQ(Module().CompUnits().size(), 5u);
    for (const ktCompUnit *unit : Module().CompUnits()) EXPECT_TRUE(unit->Functions().empty());
    EXPECT_TRUE(log.lines.empty());
}
TEST_F(DwarfRanges, RangesAndHighPcAddUpInTheirOrder) {
    dwarf.sections[".debug_ranges"] = OldPairs({{0x10, 0x20}, {0, 0}});
    dwarf.BeginUnitWithCode();
    dwarf.Leaf(0x2E, {AttrName("f"), AttrOffset(0x55, 0), AttrAddr(0x11, 0x1000), AttrData1(0x12, 4)});
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(Describe(Unit()->Functions()[0]->ranges), "10+10,1000+4");
    EXPECT_EQ(Unit()->Functions()[0]->entry, 0x1000u);
}

TEST_F(DwarfRanges, AFunctionWithRangesAloneKeepsEntryZero) {
    dwarf.sections[".debug_ranges"] = OldPairs({{0x10, 0x20}, {0x40, 0x50}, {0, 0}});
    dwarf.BeginUnitWithCode();
    dwarf.Leaf(0x2E, {AttrName("f"), AttrOffset(0x55, 0)});
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(Unit()->Functions()[0]->entry, 0u);
}

// Such a list has memory of its own although it counts one range, which the leak check would tell.
TEST_F(DwarfRanges, AFunctionMayHoldTheHighestAddressAlone) {
    dwarf.BeginUnitWithCode();
    dwarf.Leaf(0x2E, {AttrName("f"), AttrAddr(0x11, ~uint64_t(0)), AttrData1(0x12, 1)});
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(Unit()->Functions()[0]->ranges.Count(), 1u);
    EXPECT_EQ(Unit()->Functions()[0]->entry, ~uint64_t(0));
}

} // namespace
