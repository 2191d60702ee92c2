#include "symbols/dwarf/dwarf_loader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "platform/sync.h"
#include "support/dwarf_fixture.h"
#include "support/elf_builder.h"
#include "symbols/load_progress.h"

namespace {

class DwarfLoader : public testing::Test, protected ktDwarfFixture {
protected:
    /// A unit of 0x100 bytes of code, ended, that differs from others by its number.
    void AddUnit(uint64_t number) {
        dwarf.BeginUnitWithCode("u" + std::to_string(number), number);
        dwarf.End();
        dwarf.EndUnit();
    }
    std::string UnitNames() { return Names(Module().CompUnits()); }
    /// A unit that refuses to be read to its end, with one variable before that.
    void AddBadUnit(uint64_t number) {
        dwarf.BeginUnitWithCode("bad" + std::to_string(number), number);
        dwarf.Leaf(0x34, {AttrName("kept")});
        dwarf.Leaf(0x34, {AttrOffset(0x03, 0)});
        dwarf.EndUnit();
    }
};

TEST_F(DwarfLoader, UnitsComeInTheirOrder) {
    for (uint64_t i = 0; i < 4; ++i) AddUnit(i);
    EXPECT_TRUE(Load());
    EXPECT_EQ(UnitNames(), "u0 u1 u2 u3");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLoader, AUnitWithoutCodeVanishesWithAllItsTypes) {
    AddUnit(0);
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrName("types.c")});
    dwarf.Leaf(0x24, {AttrName("int")});
    dwarf.Leaf(0x34, {AttrName("v")});
    dwarf.Leaf(0x2E, {AttrName("declared"), AttrAddr(0x11, 0x1000)});
    dwarf.End();
    dwarf.EndUnit();
    AddUnit(1);
    EXPECT_TRUE(Load());
    EXPECT_EQ(UnitNames(), "u0 u1");
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(factory.nextId, 7u); // its objects have had their numbers
}

TEST_F(DwarfLoader, AUnitOfNoBytesHasCodeAllTheSame) {
    dwarf.BeginUnit();
    dwarf.Leaf(0x11, {AttrName("u"), AttrData1(0x12, 0)});
    EXPECT_TRUE(Load());
    EXPECT_EQ(DescribeAll(), Lines{"u[0+0] types: ; variables: "});
}

TEST_F(DwarfLoader, UnitsOfTheSameNameAreToldApart) {
    for (uint64_t i = 0; i < 3; ++i) {
        dwarf.BeginUnitWithCode("same.c", i);
        dwarf.End();
    }
    EXPECT_TRUE(Load());
    EXPECT_EQ(UnitNames(), "same.c same.c_1 same.c_2");
}

TEST_F(DwarfLoader, OtherVersionsArePassedOverAndTheUnitsBehindThemAreRead) {
    uint64_t number = 0;
    for (const uint16_t version :
         {uint16_t(3), uint16_t(4), uint16_t(0), uint16_t(2), uint16_t(6), uint16_t(5), uint16_t(0xFFFF)}) {
        dwarf.version = version;
        AddUnit(number++);
    }
    EXPECT_TRUE(Load());
    EXPECT_EQ(UnitNames(), "u1 u5");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLoader, BothFormatsAndVersionsMayStandInOneFile) {
    uint64_t number = 0;
    for (const uint16_t version : {uint16_t(4), uint16_t(5)}) {
        for (const bool wide : {false, true}) {
            for (const uint8_t addressSize : {uint8_t(4), uint8_t(8)}) {
                dwarf.version = version;
                dwarf.wide = wide;
                dwarf.addressSize = addressSize;
                AddUnit(number++);
            }
        }
    }
    EXPECT_TRUE(Load());
    ASSERT_EQ(UnitNames(), "u0 u1 u2 u3 u4 u5 u6 u7");
    for (uint64_t i = 0; i < number; ++i)
        EXPECT_EQ(Describe(Module().CompUnits()[i]->ranges), Hex(0x400100 + 0x1000 * i) + "+100");
}

TEST_F(DwarfLoader, SkeletonAndSplitUnitsAreToldAndReadAsIfOrdinary) {
    dwarf.version = 5;
    for (uint8_t type = 0; type < 8; ++type) {
        dwarf.unitType = type;
        AddUnit(type);
    }
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, (Lines{"Unexpected compilation unit type", "Unexpected compilation unit type"}));
    EXPECT_EQ(UnitNames(), "u0 u1 u2 u3 u4 u5 u6 u7");
}

TEST_F(DwarfLoader, TheTypeOfAUnitIsNotLookedAtBeforeVersion5) {
    dwarf.version = 4;
    dwarf.addressSize = 4;
    AddUnit(0);
    EXPECT_TRUE(Load());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLoader, UnitsMayHaveTheirOwnTablesOfDeclarations) {
    AddUnit(0);
    dwarf.BeginTable();
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrName("second"), AttrData1(0x12, 0x40)});
    dwarf.Leaf(0x34, {AttrName("v")});
    EXPECT_TRUE(Load());
    EXPECT_EQ(DescribeAll()[1], "second[0+40] types: ; variables: v");
}

TEST_F(DwarfLoader, TheFirstOfTwoDeclarationsOfOneCodeCounts) {
    dwarf.BeginUnitWithCode("u");
    dwarf.abbrev.Raw({2, 0x24, 0, 3, 8, 0, 0}).Raw({2, 0x34, 0, 3, 8, 0, 0});
    dwarf.info.U8(2).Text("type");
    EXPECT_TRUE(Load());
    EXPECT_EQ(TypeNames(), "type");
}

TEST_F(DwarfLoader, CodesMayBeAnyNumbers) {
    dwarf.BeginUnitWithCode("u");
    for (const uint64_t code : ktCodes{uint64_t(4095), uint64_t(4096), uint64_t(70'000), ~uint64_t(0)}) {
        dwarf.abbrev.Uleb(code).Raw({0x24, 0, 3, 8, 0, 0});
        dwarf.info.Uleb(code).Text("t");
    }
    EXPECT_TRUE(Load());
    EXPECT_EQ(TypeNames(), "t t_1 t_2 t_3");
}

TEST_F(DwarfLoader, AnUnknownCodeEndsTheUnitWithoutFailure) {
    for (const uint64_t code : ktCodes{uint64_t(99), uint64_t(5000), ~uint64_t(0)}) {
        dwarf.BeginUnitWithCode("u", code & 7);
        dwarf.Leaf(0x34, {AttrName("before")});
        dwarf.info.Uleb(code);
        dwarf.Leaf(0x34, {AttrName("behind")});
    }
    EXPECT_TRUE(Load());
    ASSERT_EQ(Module().CompUnits().size(), 3u);
    for (const ktCompUnit *unit : Module().CompUnits()) EXPECT_EQ(Names(unit->Variables()), "before");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLoader, AFailedUnitKeepsWhatItHasAndEndsTheWalk) {
    AddUnit(0);
    AddBadUnit(1);
    AddUnit(2);
    EXPECT_FALSE(Load());
    EXPECT_EQ(UnitNames(), "u0 bad1");
    EXPECT_STREQ(Module().CompUnits()[1]->Variables()[0]->name.Get(), "kept");
}

TEST_F(DwarfLoader, AFailedUnitAtTheEndOfTheSectionFailsTheLoad) {
    AddUnit(0);
    AddBadUnit(1);
    EXPECT_FALSE(Load());
    EXPECT_EQ(UnitNames(), "u0 bad1");
}

TEST_F(DwarfLoader, WithAPoolAFailedUnitIsNotLookedAt) {
    UsePool(2);
    AddUnit(0);
    AddBadUnit(1);
    AddUnit(2);
    EXPECT_TRUE(Load());
    EXPECT_EQ(Module().CompUnits().size(), 3u);
}

TEST_F(DwarfLoader, AFalseResultAddsTheSymbolsOfTheFileBesideTheUnits) {
    AddUnit(0);
    AddBadUnit(1);
    EXPECT_TRUE(LoadElfBytes(dwarf.Build()));
    ASSERT_EQ(Module().CompUnits().size(), 4u);
    EXPECT_STREQ(Module().CompUnits()[0]->name.Get(), "u0");
    EXPECT_STREQ(Module().CompUnits()[1]->name.Get(), "bad1");
    EXPECT_EQ(Names(Module().CompUnits()[2]->Functions()), "alpha beta");
    EXPECT_EQ(Names(Module().CompUnits()[3]->Functions()), "gamma");
}

TEST_F(DwarfLoader, ATrueResultLeavesTheSymbolsOfTheFileOut) {
    AddUnit(0);
    EXPECT_TRUE(LoadElfBytes(dwarf.Build()));
    EXPECT_EQ(UnitNames(), "u0");
}

TEST_F(DwarfLoader, BothSectionsAreNeeded) {
    ktElfBuilder neither = GoodElf();
    EXPECT_FALSE(LoadFile(neither.Build()));
    ktElfBuilder noInfo = GoodElf();
    noInfo.AddSection(".debug_abbrev", 1, {0});
    EXPECT_FALSE(LoadFile(noInfo.Build()));
    AddUnit(0);
    ktElfBuilder noAbbrev = GoodElf();
    noAbbrev.AddSection(".debug_info", 1, dwarf.info.bytes);
    EXPECT_FALSE(LoadFile(noAbbrev.Build()));
    EXPECT_TRUE(Module().CompUnits().empty());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLoader, TheTypeSectionIsToldAndNotRead) {
    AddUnit(0);
    dwarf.sections[".debug_types"] = ktBytes(4, 0xFF);
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, Lines{"Type section is not supported"});
    EXPECT_EQ(UnitNames(), "u0");
}

TEST_F(DwarfLoader, TheTypeSectionIsToldAlsoWithoutTheOthers) {
    ktElfBuilder elf = GoodElf();
    elf.AddSection(".debug_types", 1, {1});
    EXPECT_FALSE(LoadFile(elf.Build()));
    EXPECT_EQ(log.lines, Lines{"Type section is not supported"});
}

TEST_F(DwarfLoader, AnEmptyInfoSectionFails) {
    EXPECT_FALSE(Load());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLoader, ALengthOfZeroEndsTheWalk) {
    AddUnit(0);
    const size_t at = dwarf.info.bytes.size();
    AddUnit(1);
    dwarf.PutInfo(at, 0, 4);
    EXPECT_FALSE(Load());
    EXPECT_EQ(UnitNames(), "u0");
}

TEST_F(DwarfLoader, AWideLengthOfZeroEndsTheWalk) {
    dwarf.wide = true;
    AddUnit(0);
    dwarf.PutInfo(4, 0, 8);
    EXPECT_FALSE(Load());
    EXPECT_TRUE(Module().CompUnits().empty());
}

TEST_F(DwarfLoader, ALengthBeyondTheSectionReadsTheUnitAndFails) {
    for (const uint64_t length : ktCodes{uint64_t(0x1000), uint64_t(0xFFFFFFF0), uint64_t(0xFFFFFFFE)}) {
        dwarf = ktDwarfBuilder();
        AddUnit(0);
        dwarf.PutInfo(0, length, 4);
        EXPECT_FALSE(Load());
        EXPECT_EQ(UnitNames(), "u0");
    }
    for (const uint64_t length : ktCodes{uint64_t(0x1000), uint64_t(1) << 63, ~uint64_t(0)}) {
        dwarf = ktDwarfBuilder();
        dwarf.wide = true;
        AddUnit(0);
        dwarf.PutInfo(4, length, 8);
        EXPECT_FALSE(Load());
        EXPECT_EQ(UnitNames(), "u0");
    }
}

TEST_F(DwarfLoader, ALengthShorterThanTheHeaderFails) {
    for (uint64_t length = 1; length < 7; ++length) {
        dwarf = ktDwarfBuilder();
        AddUnit(0);
        AddUnit(1);
        dwarf.PutInfo(0, length, 4);
        EXPECT_FALSE(Load()) << length;
        EXPECT_EQ(UnitNames(), "") << length; // not those behind it either
    }
}

TEST_F(DwarfLoader, ALengthThatCutsTheLastEntryStillReadsItWhole) {
    // Only where an entry begins is compared with the end of the unit.
    dwarf.BeginUnitWithCode("u");
    dwarf.Leaf(0x34, {AttrName("long name")});
    const uint64_t length = dwarf.Here() - 4 - 5;
    dwarf.End();
    dwarf.EndUnit();
    dwarf.PutInfo(0, length, 4);
    Load();
    EXPECT_EQ(Names(Module().CompUnits()[0]->Variables()), "long name");
}

TEST_F(DwarfLoader, AnOffsetOfDeclarationsBeyondTheSectionEndsTheWalk) {
    AddUnit(0);
    const size_t second = dwarf.info.bytes.size();
    AddUnit(1);
    AddUnit(2);
    dwarf.PutInfo(second + 6, 0x7FFFFFFF, 4);
    EXPECT_FALSE(Load());
    EXPECT_EQ(UnitNames(), "u0");
}

TEST_F(DwarfLoader, DeclarationsAtTheVeryEndOfTheSectionAreNone) {
    AddUnit(0);
    dwarf.PutInfo(6, dwarf.abbrev.bytes.size() + 1, 4);
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, Lines{"Failed to properly read debug info"});
}

TEST_F(DwarfLoader, ATaskThatThePoolRefusesEndsTheWalk) {
    ktTaskPool stopped;
    request.pool = &stopped;
    request.parallel = true;
    AddUnit(0);
    AddUnit(1);
    EXPECT_FALSE(Load());
    EXPECT_TRUE(Module().CompUnits().empty());
}

TEST_F(DwarfLoader, AQueueThatIsFullEndsTheWalk) {
    UsePool(1);
    struct Gate {
        ktEvent entered, go;
    } gate;
    ktTask wait;
    wait.entry = [](ktTask *task) -> uint64_t {
        auto *held = reinterpret_cast<Gate *>(task->args[0]);
        held->entered.Set();
        held->go.Wait();
        return 0;
    };
    wait.args[0] = reinterpret_cast<uint64_t>(&gate);
    ASSERT_TRUE(pool->Submit(&wait, nullptr));
    gate.entered.Wait();
    std::vector<ktTask> fillers(ktMaxQueuedTasks - 2);
    for (ktTask &filler : fillers) {
        filler.entry = [](ktTask *) -> uint64_t { return 0; };
        ASSERT_TRUE(pool->Submit(&filler, nullptr));
    }
    // Two places are left. The third unit is refused, and the load then waits for the whole pool.
    for (uint64_t i = 0; i < 4; ++i) AddUnit(i);
    ktLoadProgress progress;
    request.progress = &progress;
    std::thread opener([&gate, &progress] {
        while (progress.unitsFound < 3) std::this_thread::yield();
        gate.go.Set();
    });
    const bool good = Load();
    opener.join();
    EXPECT_FALSE(good);
    const std::string names = UnitNames();
    EXPECT_TRUE(names == "u0 u1" || names == "u1 u0") << names; // by two threads, in any order
}

TEST_F(DwarfLoader, APoolThatIsGivenWithoutTheFlagIsNotUsed) {
    ktTaskPool stopped; // would refuse
    request.pool = &stopped;
    AddUnit(0);
    EXPECT_TRUE(Load());
    EXPECT_EQ(UnitNames(), "u0");
}

TEST_F(DwarfLoader, ProgressCountsTheUnits) {
    ktLoadProgress progress;
    request.progress = &progress;
    AddUnit(0);
    dwarf.version = 3;
    AddUnit(1);
    EXPECT_TRUE(Load());
    EXPECT_EQ(progress.unitsFound, 2u);
    EXPECT_EQ(progress.unitsDone, 2u);
}

TEST_F(DwarfLoader, TheBiasIsAddedToAddresses) {
    dwarf.isMovable = true;
    rebase = 0x500000;
    AddUnit(0);
    EXPECT_TRUE(Load());
    EXPECT_EQ(DescribeAll(), Lines{"u0[500100+100] types: ; variables: "});
}

TEST_F(DwarfLoader, NamesOutliveTheFile) {
    const uint64_t offset = dwarf.Text("a name of the section");
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrNumber(0x03, 0x0E, offset, 4), AttrData1(0x12, 1)});
    dwarf.Leaf(0x34, {AttrNumber(0x03, 0x0E, offset + 2, 4)});
    {
        ktBytes bytes = dwarf.Build();
        EXPECT_TRUE(LoadFile(bytes));
        std::fill(bytes.begin(), bytes.end(), uint8_t(0xDD));
    }
    EXPECT_EQ(DescribeAll(), Lines{"a name of the section[0+1] types: ; variables: name of the section"});
}

TEST_F(DwarfLoader, TheLineProgramOfAUnitIsReadFromItsOffset) {
    ktLineProgramBuilder program;
    program.code.SetAddress(0x400100).Copy().EndSequence();
    ktBytes line(5, 0xEE);
    const ktBytes built = program.Build();
    line.insert(line.end(), built.begin(), built.end());
    dwarf.sections[".debug_line"] = line;
    dwarf.BeginUnit();
    dwarf.Leaf(0x11, {AttrAddr(0x11, 0x400100), AttrData1(0x12, 0x10), AttrOffset(0x10, 5)});
    EXPECT_TRUE(Load());
    const auto rows = Unit()->lines.Rows();
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows[0].address, 0x400100u);
}

TEST_F(DwarfLoader, TheBiasIsAddedToRows) {
    ktLineProgramBuilder program;
    program.code.SetAddress(0x400100).Copy();
    dwarf.sections[".debug_line"] = program.Build();
    dwarf.isMovable = true;
    rebase = 0x500000;
    dwarf.BeginUnit();
    dwarf.Leaf(0x11, {AttrAddr(0x11, 0x400100), AttrData1(0x12, 0x10), AttrOffset(0x10, 0)});
    EXPECT_TRUE(Load());
    EXPECT_EQ(Unit()->lines.Rows(), (std::vector<ktLineRecord>{{0x500100, 0, 1}}));
    EXPECT_EQ(Unit()->lines.FirstRowAt(0x500100), (ktLineRecord{0x500100, 0, 1}));
}

TEST_F(DwarfLoader, ALineProgramHasOffsetsOfItsUnitsFormatAndNamesInTwoSections) {
    for (const bool wide : {false, true}) {
        dwarf = ktDwarfBuilder();
        dwarf.version = 5;
        dwarf.wide = wide;
        const size_t size = wide ? 8 : 4;
        const std::string texts = ".inc";
        dwarf.sections[".debug_str.dwo"].assign(texts.begin(), texts.end());
        dwarf.sections[".debug_str.dwo"].push_back(0);
        const uint64_t name = dwarf.Text("a.c");
        ktLineProgramBuilder program; // of the 32-bit format, whatever the unit's is
        program.version = 5;
        program.tables.U8(1).Uleb(1).Uleb(0x1D).Uleb(1).Number(1, size);
        program.tables.U8(1).Uleb(1).Uleb(0x0E).Uleb(1).Number(name, size);
        dwarf.sections[".debug_line"] = program.Build();
        dwarf.BeginUnit();
        dwarf.Leaf(0x11, {AttrData1(0x12, 0x10), AttrOffset(0x10, 0, size)});
        EXPECT_TRUE(Load());
        const ktLineTable &table = Unit()->lines.Table();
        ASSERT_EQ(table.files.size(), 16u);
        ASSERT_EQ(table.directories.size(), 16u);
        EXPECT_STREQ(table.files[1].Get(), "a.c");
        EXPECT_STREQ(table.directories[1].Get(), "inc");
    }
}

TEST_F(DwarfLoader, ALineProgramWithoutItsSectionIsNoFailure) {
    dwarf.BeginUnit();
    dwarf.Leaf(0x11, {AttrName("u"), AttrData1(0x12, 0x10), AttrOffset(0x10, 0)});
    EXPECT_TRUE(Load());
    EXPECT_TRUE(Unit()->lines.Rows().empty());
}

TEST_F(DwarfLoader, TheMessagesOfUnitsStandInTheOrderOfTheUnits) {
    dwarf.version = 5;
    dwarf.unitType = 4;
    for (int i = 0; i < 2; ++i) {
        dwarf.BeginUnitWithCode("u");
        dwarf.Leaf(0x34, {AttrData1(0x5A, 0)});
        dwarf.EndUnit();
    }
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, (Lines{"Unexpected compilation unit type", "Unsupported attribute 5A",
                                "Unexpected compilation unit type", "Unsupported attribute 5A"}));
}

} // namespace
