#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "support/allocation_count.h"
#include "support/dwarf_fixture.h"
#include "support/dwarf_program.h"
#include "symbols/dwarf/dwarf_context.h"
#include "symbols/dwarf/unit_entries.h"
#include "symbols/dwarf/unit_reader.h"

namespace {

class DwarfMemory : public testing::Test, protected ktDwarfFixture {
protected:
    static constexpr uint64_t rangeCount = 10; // none of the lists fits into its object

    /// A list of ranges apart; returns its offset.
    uint64_t AddRanges() {
        ktDieBytes list;
        for (uint64_t i = 1; i <= rangeCount; ++i) list.U64(0x1000 * i).U64(0x1000 * i + 8);
        list.U64(0).U64(0);
        ktBytes &section = dwarf.sections[".debug_ranges"];
        const uint64_t offset = section.size();
        section.insert(section.end(), list.bytes.begin(), list.bytes.end());
        return offset;
    }
    /// A text that is too long to be lent: each entry that has it has a copy of its beginning.
    ktAttr LongName() {
        const uint64_t offset = dwarf.Text(std::string(5000, 'x'));
        return AttrNumber(0x03, 0x0E, offset, 4);
    }
    static constexpr int tooMany = 1000; ///< more copies of it than a load may make

    /// Loads the file twice, the second time to see that nothing stays of what was begun.
    void ExpectNothingStays(bool good, size_t units) {
        const ktBytes file = dwarf.Build();
        LoadFile(file);
        request.module.Reset();
        ClearLogSink(); // it keeps what it is told
        const int64_t before = LiveAllocationCount();
        EXPECT_EQ(LoadFile(file), good);
        EXPECT_EQ(Module().CompUnits().size(), units);
        EXPECT_GT(LiveAllocationCount(), before);
        request.module.Reset();
        EXPECT_EQ(LiveAllocationCount(), before);
    }

    void ExpectThatTheUnitIsLeftOut() {
        EXPECT_FALSE(Load());
        EXPECT_EQ(log.lines, Lines{"A compilation unit takes too much memory"});
        ExpectNothingStays(false, 0);
    }
};

TEST_F(DwarfMemory, AUnitOfManyEntriesTakesFewBlocksOfMemory) {
    constexpr uint64_t count = 50'000;
    dwarf.BeginUnitWithCode("u");
    for (uint64_t i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        dwarf.Leaf(0x24, {AttrName("type " + number)});
        dwarf.Leaf(0x34, {AttrName("variable " + number)});
        dwarf.Leaf(0x2E, {AttrName("function " + number), AttrAddr(0x11, 16 * i), AttrData1(0x12, 8)});
        dwarf.Leaf(0x16, {}); // its name is made
    }
    const ktBytes file = dwarf.Build();
    const uint64_t before = AllocationCount();
    ASSERT_TRUE(LoadFile(file));
    const uint64_t allocations = AllocationCount() - before;
    ktCompUnit *unit = Unit();
    ASSERT_TRUE(unit);
    ASSERT_EQ(unit->Functions().size(), count);
    ASSERT_EQ(unit->Types().size(), 2 * count);
    EXPECT_STREQ(unit->Variables()[count - 1]->name.Get(), "variable 49999");
    EXPECT_LE(allocations, count / 100);
    const size_t objects =
        count * (sizeof(ktBasicType) + sizeof(ktAliasType) + sizeof(ktVariable) + sizeof(ktFunction));
    EXPECT_LE(unit->Arena().MemoryBytes(), 2 * (objects + file.size()));
}

TEST_F(DwarfMemory, AWholeProgramLeavesNothingBehind) {
    for (uint64_t number = 0; number < 4; ++number) {
        dwarf.version = number < 2 ? 4 : 5;
        AddProgramUnit(dwarf, number);
    }
    ExpectNothingStays(true, 4);
}

TEST_F(DwarfMemory, AUnitThatEndsBehindItsOwnRangesLeavesNothingBehind) {
    const ktAttr name = LongName();
    const uint64_t ranges = AddRanges();
    std::vector<ktAttr> attrs = {AttrOffset(0x55, ranges)};
    attrs.resize(tooMany, name);
    dwarf.BeginUnit();
    dwarf.Parent(0x11, attrs);
    ExpectThatTheUnitIsLeftOut();
}

TEST_F(DwarfMemory, AUnitThatEndsBehindAFunctionsRangesLeavesNothingBehind) {
    const ktAttr name = LongName();
    const uint64_t ranges = AddRanges();
    dwarf.BeginUnitWithCode("u");
    // Each function reads its ranges first; the name is too much for one of them.
    for (int i = 0; i < tooMany; ++i) dwarf.Leaf(0x2E, {AttrOffset(0x55, ranges), name});
    ExpectThatTheUnitIsLeftOut();
}

TEST_F(DwarfMemory, AUnitThatEndsBehindFunctionsWithRangesLeavesNothingBehind) {
    const ktAttr name = LongName();
    const uint64_t ranges = AddRanges();
    dwarf.BeginUnitWithCode("u");
    for (uint64_t i = 0; i < 10; ++i) dwarf.Leaf(0x2E, {AttrName("f"), AttrOffset(0x55, ranges)});
    // Asked for by a type only, and so in no list of the unit.
    const uint64_t inlined = dwarf.Here();
    dwarf.Leaf(0x2E, {AttrOffset(0x55, ranges)});
    dwarf.Leaf(0x34, {AttrType(inlined)});
    for (int i = 0; i < tooMany; ++i) dwarf.Leaf(0x24, {name});
    ExpectThatTheUnitIsLeftOut();
}

TEST_F(DwarfMemory, UnitsBesideOneThatTakesTooMuchStay) {
    const ktAttr name = LongName();
    const uint64_t ranges = AddRanges();
    UsePool(1);
    dwarf.BeginUnitWithCode("before", 0);
    dwarf.End();
    dwarf.BeginUnitWithCode("large", 1);
    for (int i = 0; i < tooMany; ++i) dwarf.Leaf(0x2E, {AttrOffset(0x55, ranges), name});
    dwarf.End();
    dwarf.BeginUnitWithCode("behind", 2);
    dwarf.End();
    EXPECT_TRUE(Load());
    Lines names;
    for (const ktCompUnit *unit : Module().CompUnits()) names.push_back(unit->name.Get());
    std::sort(names.begin(), names.end()); // by two threads, in any order
    EXPECT_EQ(names, (Lines{"before", "behind"}));
    EXPECT_EQ(log.lines, Lines{"A compilation unit takes too much memory"});
}

/// One unit that is read by itself, with memory refused at one place after the other.
class DwarfUnitWithoutMemory : public DwarfMemory {
protected:
    /// Refuses each block of memory that reading the unit of `dwarf` takes, once; returns how many there
    /// were.
    uint64_t RefuseOneAfterTheOther() {
        dwarf.EndUnit();
        dwarf.abbrev.U8(0);
        ktDwarfUnit unit;
        unit.version = 4;
        unit.addressSize = 8;
        unit.length = dwarf.info.bytes.size() - 4;
        unit.headerSize = 7;
        unit.remaining = unit.length - unit.headerSize;
        unit.firstEntry = 11;
        ClearLogSink(); // it keeps what it is told
        EXPECT_FALSE(ReadRefusing(unit, ~uint64_t(0)));
        for (uint64_t number = 0;; ++number) {
            const int64_t before = LiveAllocationCount();
            const bool wasRefused = ReadRefusing(unit, number);
            EXPECT_EQ(LiveAllocationCount(), before) << number;
            if (!wasRefused) return number;
        }
    }

private:
    /// True when memory was refused.
    bool ReadRefusing(const ktDwarfUnit &unit, uint64_t number) {
        ktDwarfContext context;
        context.factory = &factory;
        SetBytes(context, ktDwarfSection::info, dwarf.info.bytes);
        SetBytes(context, ktDwarfSection::abbrev, dwarf.abbrev.bytes);
        SetBytes(context, ktDwarfSection::ranges, dwarf.sections[".debug_ranges"]);
        SetBytes(context, ktDwarfSection::line, dwarf.sections[".debug_line"]);
        SetBytes(context, ktDwarfSection::str, dwarf.sections[".debug_str"]);
        context.texts = ktTextSection(context.Bytes(ktDwarfSection::str));
        for (ktWorkBudget *budget : {&context.abbreviationWork, &context.rangeWork, &context.lineWork,
                                     &context.attributeWork, &context.textWork})
            budget->Reset(uint64_t(1) << 30);
        const ktAllocationThrow failure(number);
        ReadDwarfUnit(context, unit);
        const bool wasRefused = failure.HasThrown();
        EXPECT_LE(context.results.size(), 1u);
        EXPECT_TRUE(wasRefused || context.results.size() == 1);
        for (ktCompUnit *made : context.results) made->Release();
        return wasRefused;
    }
    static void SetBytes(ktDwarfContext &context, ktDwarfSection section, const ktBytes &bytes) {
        context.sections[static_cast<size_t>(section)] = {bytes, true};
    }
};

TEST_F(DwarfUnitWithoutMemory, AWholeProgramLeavesNothingBehind) {
    AddProgramUnit(dwarf, 0);
    EXPECT_GE(RefuseOneAfterTheOther(), 20u);
}

TEST_F(DwarfUnitWithoutMemory, FunctionsWithRangesLeaveNothingBehind) {
    const uint64_t ranges = AddRanges();
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrName("u"), AttrOffset(0x55, ranges)});
    for (int i = 0; i < 20; ++i) dwarf.Leaf(0x2E, {AttrName("f"), AttrOffset(0x55, ranges)});
    EXPECT_GE(RefuseOneAfterTheOther(), 40u); // a list and its ranges for each
}

} // namespace
