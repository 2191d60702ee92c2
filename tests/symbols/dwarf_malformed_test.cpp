#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "support/dwarf_fixture.h"
#include "support/dwarf_program.h"
#include "support/elf_builder.h"

namespace {

class DwarfMalformed : public testing::Test, protected ktDwarfFixture {
protected:
    static constexpr auto longest = std::chrono::seconds(20); // with sanitizers on a busy machine

    ktBytes FileOf(const ktBytes &entries, const ktBytes &declarations) {
        ktElfBuilder elf = GoodElf();
        elf.AddSection(".debug_info", 1, entries);
        elf.AddSection(".debug_abbrev", 1, declarations);
        for (const auto &[name, bytes] : dwarf.sections) elf.AddSection(name, 1, bytes);
        return elf.Build();
    }
    /// A program of both versions and formats; the tests cut and bend it.
    void BuildProgram() {
        for (uint64_t number = 0; number < 4; ++number) {
            dwarf.version = number < 2 ? 4 : 5;
            dwarf.wide = number % 2 != 0;
            AddProgramUnit(dwarf, number);
        }
        dwarf.abbrev.U8(0);
        info = dwarf.info.bytes;
        abbrev = dwarf.abbrev.bytes;
    }
    bool LoadInTime() {
        const auto start = std::chrono::steady_clock::now();
        const bool good = Load();
        EXPECT_LT(std::chrono::steady_clock::now() - start, longest);
        return good;
    }

    ktBytes info, abbrev;
};

ktBytes Cut(const ktBytes &bytes, size_t size) {
    return {bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size)};
}

TEST_F(DwarfMalformed, TheProgramItselfLoads) {
    BuildProgram();
    EXPECT_TRUE(LoadFile(FileOf(info, abbrev)));
    EXPECT_EQ(Names(Module().CompUnits()), "unit0 unit1 unit2 unit3");
}

TEST_F(DwarfMalformed, EveryCutOfTheEntriesFailsOrLosesOnlyWhatIsCut) {
    BuildProgram();
    for (size_t size = 0; size < info.size(); ++size) {
        const bool good = LoadFile(FileOf(Cut(info, size), abbrev));
        // A cut inside of a unit takes bytes from under its length.
        EXPECT_FALSE(good && Module().CompUnits().empty()) << size;
        EXPECT_FALSE(good && Names(Module().CompUnits()).find("unit3") != std::string::npos) << size;
        EXPECT_LE(Module().CompUnits().size(), 4u);
    }
}

TEST_F(DwarfMalformed, EveryCutOfTheDeclarationsEnds) {
    BuildProgram();
    for (size_t size = 0; size < abbrev.size(); ++size) {
        LoadFile(FileOf(info, Cut(abbrev, size)));
        EXPECT_LE(Module().CompUnits().size(), 4u) << size;
    }
}

TEST_F(DwarfMalformed, EveryByteOfTheEntriesMayBeAnyOther) {
    BuildProgram();
    for (size_t at = 0; at < info.size(); ++at) {
        for (const uint8_t value : {uint8_t(0), uint8_t(1), uint8_t(0x7F), uint8_t(0x80), uint8_t(0xFF)}) {
            ktBytes bent = info;
            bent[at] = value;
            LoadFile(FileOf(bent, abbrev));
            EXPECT_LE(Module().CompUnits().size(), 4u) << at;
        }
    }
}

TEST_F(DwarfMalformed, EveryByteOfTheDeclarationsMayBeAnyOther) {
    BuildProgram();
    for (size_t at = 0; at < abbrev.size(); ++at) {
        for (const uint8_t value :
             {uint8_t(0), uint8_t(1), uint8_t(0x16), uint8_t(0x18), uint8_t(0x80), uint8_t(0xFF)}) {
            ktBytes bent = abbrev;
            bent[at] = value;
            LoadFile(FileOf(info, bent));
            EXPECT_LE(Module().CompUnits().size(), 4u) << at;
        }
    }
}

TEST_F(DwarfMalformed, AnEntryWhoseDeclarationIsCutMakesItsObjectAndFailsTheUnit) {
    dwarf.BeginUnitWithCode("u");
    dwarf.Leaf(0x34, {AttrName("whole")});
    dwarf.Leaf(0x34, {AttrName("cut"), AttrData1(0x5A, 1)});
    dwarf.End();
    dwarf.EndUnit();
    // Cut within the pair that ends the last declaration.
    EXPECT_FALSE(LoadFile(FileOf(dwarf.info.bytes, Cut(dwarf.abbrev.bytes, dwarf.abbrev.bytes.size() - 1))));
    EXPECT_EQ(Names(Unit()->Variables()), "whole cut");
    // Cut behind the tag: the children byte is missing, and the object stays without what it would say.
    const size_t tagEnd = dwarf.abbrev.bytes.size() - 7;
    EXPECT_FALSE(LoadFile(FileOf(dwarf.info.bytes, Cut(dwarf.abbrev.bytes, tagEnd))));
    ASSERT_EQ(Unit()->Variables().size(), 2u);
    EXPECT_EQ(std::string(Unit()->Variables()[1]->name.Get()).substr(0, 4), "var_");
}

TEST_F(DwarfMalformed, ATableOfDeclarationsWithoutAnEndIsUsedAsFarAsItGoes) {
    dwarf.BeginUnitWithCode("u");
    dwarf.Leaf(0x34, {AttrName("v")});
    dwarf.End();
    dwarf.EndUnit();
    EXPECT_TRUE(LoadFile(FileOf(dwarf.info.bytes, dwarf.abbrev.bytes)));
    EXPECT_EQ(Names(Unit()->Variables()), "v");
}

TEST_F(DwarfMalformed, LongNumbersEndWithTheirSection) {
    dwarf.BeginUnitWithCode("u");
    dwarf.Leaf(0x24, {{0x0B, 0x0F, ktBytes(100'000, 0x80), 0}});
    EXPECT_FALSE(Load());
    dwarf = ktDwarfBuilder();
    dwarf.BeginUnitWithCode("u");
    ktBytes padded(100'000, 0x80);
    padded.push_back(0);
    dwarf.Leaf(0x24, {{0x0B, 0x0F, padded, 0}, AttrName("t")});
    EXPECT_TRUE(Load());
    EXPECT_EQ(TypeNames(), "t");
}

TEST_F(DwarfMalformed, BlocksBeyondTheSectionFailTheUnit) {
    const ktAttr blocks[] = {AttrNumber(0x02, 0x0A, 0xFF, 1),         AttrNumber(0x02, 0x03, 0xFFFF, 2),
                             AttrNumber(0x02, 0x04, 0xFFFFFFFF, 4),   AttrUleb(0x02, 0x09, uint64_t(1) << 32),
                             AttrUleb(0x02, 0x18, uint64_t(1) << 63), AttrUleb(0x02, 0x18, ~uint64_t(0))};
    for (const ktAttr &block : blocks) {
        dwarf = ktDwarfBuilder();
        dwarf.BeginUnitWithCode("u");
        dwarf.Leaf(0x34, {AttrName("v"), block, AttrName("w")});
        EXPECT_FALSE(Load()) << block.form;
        EXPECT_EQ(Names(Unit()->Variables()), "v");
    }
}

TEST_F(DwarfMalformed, DeepNestingOfEveryKindEnds) {
    constexpr int depth = 200'000;
    for (const uint64_t tag : ktCodes{0x2E, 0x1D, 0x13, 0x0B, 0x39, 0x11}) {
        dwarf = ktDwarfBuilder();
        dwarf.BeginUnitWithCode("u");
        for (int i = 0; i < depth; ++i) dwarf.Parent(tag, {AttrData1(0x12, 1)});
        EXPECT_TRUE(LoadInTime()) << tag;
        for (int i = 0; i < depth; ++i) dwarf.End();
        EXPECT_TRUE(Unit());
    }
}

TEST_F(DwarfMalformed, FunctionsThatAreNestedTooDeeplyAreLeftOut) {
    dwarf.BeginUnitWithCode("u");
    for (int i = 0; i < 1100; ++i) dwarf.Parent(0x2E, {AttrData1(0x12, 1)});
    EXPECT_TRUE(Load());
    EXPECT_EQ(Unit()->Functions().size(), 1001u);
}

TEST_F(DwarfMalformed, LongChainsOfTypesResolveAndGoAgain) {
    constexpr int length = 200'000;
    dwarf.BeginUnitWithCode("u");
    uint64_t before = dwarf.Leaf(0x24, {AttrData1(0x0B, 4)});
    for (int i = 0; i < length; ++i) before = dwarf.Leaf(0x16, {AttrType(before)});
    dwarf.Leaf(0x34, {AttrType(before)});
    EXPECT_TRUE(LoadInTime());
    EXPECT_EQ(TypeOf(Unit()->Variables()[0]->type)->GetSize(), 4u);
    request.module.Reset();
    // And in a namespace, where each is reached through the one before only.
    dwarf = ktDwarfBuilder();
    dwarf.BeginUnitWithCode("u");
    dwarf.Leaf(0x34, {AttrType(dwarf.Here() + 6)});
    dwarf.Parent(0x39, {});
    for (int i = 0; i < length; ++i) dwarf.Leaf(0x0F, {AttrType(dwarf.Here() + 5)});
    EXPECT_TRUE(LoadInTime());
    EXPECT_TRUE(TypeOf(Unit()->Variables()[0]->type));
}

TEST_F(DwarfMalformed, ManyUnitsMayNotNameOneHugeTableOfDeclarations) {
    for (const bool parallel : {false, true}) {
        dwarf = ktDwarfBuilder();
        if (parallel) UsePool(2);
        for (uint64_t number = 0; number < 5'000; ++number) {
            dwarf.BeginUnit();
            dwarf.Leaf(0x11, {AttrData1(0x12, 1)});
        }
        dwarf.EndUnit();
        for (uint64_t code = 2; code < 20'000; ++code) dwarf.abbrev.Uleb(code).Raw({0x34, 0, 3, 8, 0, 0});
        LoadInTime();
        // Some of the units are read before it is too much.
        EXPECT_GE(Module().CompUnits().size(), 64u);
        EXPECT_LT(Module().CompUnits().size(), 200u);
    }
}

TEST_F(DwarfMalformed, ManyFunctionsMayNotNameOneHugeListOfRanges) {
    for (const uint16_t version : {uint16_t(4), uint16_t(5)}) {
        for (const bool hasEnd : {true, false}) {
            dwarf = ktDwarfBuilder();
            dwarf.version = version;
            ktDieBytes list;
            for (uint64_t i = 1; i < 100'000; ++i) {
                if (version == 4) {
                    list.U64(16 * i).U64(16 * i + 8);
                } else {
                    list.U8(7).U64(16 * i).Uleb(8);
                }
            }
            if (hasEnd) list.U64(0).U64(0);
            dwarf.sections[version == 4 ? ".debug_ranges" : ".debug_rnglists"] = list.bytes;
            dwarf.BeginUnitWithCode("u");
            for (int i = 0; i < 50'000; ++i) dwarf.Leaf(0x2E, {AttrOffset(0x55, 0)});
            EXPECT_TRUE(LoadInTime());
            EXPECT_LT(Unit()->Functions().size(), 10u);
            EXPECT_EQ(Unit()->Functions().empty(), !hasEnd);
        }
    }
}

TEST_F(DwarfMalformed, ManyUnitsMayNotNameOneHugeLineProgram) {
    constexpr size_t wholeSize = 200'000;
    ktLineProgramBuilder program;
    program.code.U8(7); // told in the log
    const size_t rowCount = wholeSize - program.Build().size();
    for (size_t i = 0; i < rowCount; ++i) program.code.Copy();
    for (const bool parallel : {false, true}) {
        dwarf = ktDwarfBuilder();
        log.Clear();
        if (parallel) UsePool(2);
        dwarf.sections[".debug_line"] = program.Build();
        ASSERT_EQ(dwarf.sections[".debug_line"].size(), wholeSize);
        for (uint64_t number = 0; number < 100; ++number) {
            dwarf.BeginUnit();
            dwarf.Leaf(0x11,
                       {AttrName("u" + std::to_string(number)), AttrData1(0x12, 1), AttrOffset(0x10, 0)});
        }
        // A unit whose lines are too much is there without them, and without a word.
        EXPECT_TRUE(LoadInTime());
        EXPECT_EQ(Module().CompUnits().size(), 100u);
        constexpr size_t most = 4 + (1 << 20) / wholeSize; // times the section, and a mebibyte
        EXPECT_EQ(log.lines, Lines(most, "Unexpected instruction DW_LNS_set_basic_block"));
        size_t unitsWithLines = 0;
        for (ktCompUnit *unit : Module().CompUnits()) {
            const size_t rows = unit->lines.Rows().size();
            EXPECT_TRUE(rows == 0 || rows == rowCount) << rows;
            unitsWithLines += rows != 0 ? 1 : 0;
        }
        EXPECT_EQ(unitsWithLines, most);
        EXPECT_EQ(log.lines.size(), most); // asking has told nothing again
    }
}

TEST_F(DwarfMalformed, ManyEntriesMayNotHaveManyAttributesWithoutBytes) {
    dwarf.BeginUnitWithCode("u");
    dwarf.abbrev.Raw({2, 0x34, 0});
    for (int i = 0; i < 200'000; ++i) dwarf.abbrev.Raw({0x5A, 0x19}); // each refused with a message
    dwarf.abbrev.Raw({0, 0});
    dwarf.info.bytes.insert(dwarf.info.bytes.end(), 200'000, 2);
    ClearLogSink(); // there are millions of messages
    EXPECT_FALSE(LoadInTime());
    EXPECT_GE(Unit()->Variables().size(), 10u);
    EXPECT_LT(Unit()->Variables().size(), 200u);
}

TEST_F(DwarfMalformed, ManyEntriesMayNotHaveMuchToTellWithoutBytes) {
    dwarf.BeginUnitWithCode("u");
    dwarf.abbrev.Raw({2, 0x34, 0});
    for (int i = 0; i < 32; ++i) dwarf.abbrev.Raw({0x5A, 0x19}); // each refused with a message
    dwarf.abbrev.Raw({0, 0});
    dwarf.info.bytes.insert(dwarf.info.bytes.end(), 200'000, 2);
    ClearLogSink(); // there are millions of messages
    EXPECT_FALSE(LoadInTime());
    EXPECT_GE(Unit()->Variables().size(), 10'000u);
    EXPECT_LT(Unit()->Variables().size(), 100'000u);
}

TEST_F(DwarfMalformed, ManyEntriesMayNotHaveCopiesOfOneHugeText) {
    dwarf.sections[".debug_str"] = ktBytes(4'000'000, 'x');
    dwarf.sections[".debug_str"].push_back(0);
    dwarf.BeginUnitWithCode("u");
    for (uint64_t i = 0; i < 200'000; ++i) dwarf.Leaf(0x34, {AttrNumber(0x03, 0x0E, i, 4)});
    // The unit that wants too much is dropped, as when there is no memory.
    EXPECT_FALSE(LoadInTime());
    EXPECT_TRUE(Module().CompUnits().empty());
}

TEST_F(DwarfMalformed, ManyTypesMayNotShareOneLongName) {
    dwarf.Text(std::string(4000, 'x'));
    dwarf.BeginUnitWithCode("u");
    for (uint64_t i = 0; i < 200'000; ++i) dwarf.Leaf(0x24, {AttrNumber(0x03, 0x0E, 0, 4)});
    EXPECT_FALSE(LoadInTime());
    EXPECT_TRUE(Module().CompUnits().empty());
}

TEST_F(DwarfMalformed, ManyUnitsMayHaveALongSectionOfTextsWithoutAnEnd) {
    dwarf.sections[".debug_str"] = ktBytes(4'000'000, 'x');
    for (int i = 0; i < 50'000; ++i) {
        dwarf.BeginUnit();
        dwarf.Leaf(0x11, {AttrData1(0x12, 1)});
    }
    EXPECT_TRUE(LoadInTime());
    EXPECT_EQ(Module().CompUnits().size(), 50'000u);
}

TEST_F(DwarfMalformed, ManyUnitEntriesInOneUnitEnd) {
    dwarf.BeginUnitWithCode("u");
    for (int i = 0; i < 100'000; ++i) dwarf.Leaf(0x11, {});
    EXPECT_TRUE(LoadInTime());
    EXPECT_EQ(log.lines.size(), 100'000u);
}

} // namespace
