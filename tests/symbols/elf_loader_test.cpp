#include "symbols/elf/elf_loader.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <string>

#include "support/counting_reader.h"
#include "support/elf_builder.h"
#include "support/load_fixture.h"

namespace {

using Lines = std::vector<std::string>;

constexpr const char *goodSymbols = "alpha@400100+20 beta@400200+30 ;gamma@400300+40 ;";

class ElfLoader : public testing::Test, protected ktLoadFixture {
protected:
    static ktElfBuilder Relocatable() {
        ktElfBuilder elf = GoodElf();
        elf.AddSection(".rela.dyn", ktElfSectionRela, ktBytes(24), 0, 0, 0x400800);
        return elf;
    }
};

TEST_F(ElfLoader, FillsTheModule) {
    ASSERT_TRUE(LoadElfBytes(GoodElf().Build()));
    EXPECT_EQ(Module().base, 0x400000u);
    EXPECT_EQ(Module().offset, 0u);
    EXPECT_EQ(Module().size, 0x3000u);
    EXPECT_EQ(Module().entry, 0x400010u);
    EXPECT_EQ(Module().pointerSize, 8u);
    EXPECT_EQ(Symbols(), goodSymbols);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ElfLoader, FillsTheModuleOfA32BitFile) {
    ASSERT_TRUE(LoadElfBytes(GoodElf(false).Build()));
    EXPECT_EQ(Module().base, 0x400000u);
    EXPECT_EQ(Module().size, 0x3000u);
    EXPECT_EQ(Module().pointerSize, 4u);
    EXPECT_EQ(Symbols(), goodSymbols);
}

TEST_F(ElfLoader, CopiesTheSegmentsToThePages) {
    ASSERT_TRUE(LoadElfBytes(GoodElf().Build()));
    EXPECT_EQ(pages.PageCount(), 3u);
    const ktBytes code = PageBytes(0x400000, 0x2000);
    ASSERT_EQ(code.size(), 0x2000u);
    EXPECT_EQ(code[0x1233], uint8_t(0x1233 * 7));
    EXPECT_EQ(code[0x1234], 0);
    const ktBytes data = PageBytes(0x4020F0, 0x20);
    EXPECT_EQ(data[0x0F], 0xDA);
    EXPECT_EQ(data[0x10], 0);
}

TEST_F(ElfLoader, CopiesSegmentsLargerThanOneRead) {
    ktElfBuilder elf;
    ktBytes code(0x123456);
    for (size_t i = 0; i < code.size(); ++i) code[i] = static_cast<uint8_t>(i ^ i >> 9);
    elf.AddSegment(0x400123, code, code.size());
    elf.AddFile();
    elf.AddSymbolTable();
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(PageBytes(0x400123, code.size()), code);
}

TEST_F(ElfLoader, WithoutPagesOnlyTheSymbolsLoad) {
    request.pages = nullptr;
    ASSERT_TRUE(LoadElfBytes(GoodElf().Build()));
    EXPECT_EQ(Symbols(), goodSymbols);
    EXPECT_EQ(pages.PageCount(), 0u);
}

TEST_F(ElfLoader, TargetMemoryGivesTheSame) {
    ktCountingReader target(GoodElf().Build());
    ASSERT_TRUE(LoadElfFrom(target));
    EXPECT_EQ(Symbols(), goodSymbols);
    EXPECT_EQ(PageBytes(0x400001, 1), ktBytes{7});
}

TEST_F(ElfLoader, TheFileIsReadFromPositionZeroWhereverTheReaderStands) {
    const ktBytes bytes = GoodElf().Build();
    MemReader reader(bytes.data(), bytes.size());
    reader.Seek(100);
    EXPECT_TRUE(LoadElfFrom(reader));
}

TEST_F(ElfLoader, TheLinkedBaseIsNoMove) {
    request.requestedBase = 0x400000;
    ASSERT_TRUE(LoadElfBytes(GoodElf().Build()));
    EXPECT_EQ(Symbols(), goodSymbols);
}

TEST_F(ElfLoader, AMoveWithoutRelocationSectionsFails) {
    request.requestedBase = 0x500000;
    EXPECT_FALSE(LoadElfBytes(GoodElf().Build()));
    EXPECT_EQ(pages.PageCount(), 0u);
}

TEST_F(ElfLoader, AMoveWithRelocationSectionsShiftsAllAndAppliesNone) {
    request.requestedBase = 0x500000;
    ASSERT_TRUE(LoadElfBytes(Relocatable().Build()));
    EXPECT_EQ(Module().base, 0x500000u);
    EXPECT_EQ(Module().entry, 0x500010u);
    EXPECT_EQ(Module().size, 0x3000u);
    EXPECT_EQ(Symbols(), "alpha@500100+20 beta@500200+30 ;gamma@500300+40 ;");
    EXPECT_EQ(PageBytes(0x501233, 1), ktBytes{uint8_t(0x1233 * 7)});
    EXPECT_TRUE(PageBytes(0x400000, 1).empty());
}

TEST_F(ElfLoader, AZeroAddressSegmentStaysOutAfterAMove) {
    ktElfBuilder elf;
    elf.AddSegment(0, ktBytes(16, 0xEE), 16);
    elf.AddSegment(0x400000, ktBytes(16, 0x11), 16);
    elf.AddFile();
    elf.AddSymbolTable();
    elf.AddSection(".rel", ktElfSectionRel, ktBytes(8));
    request.requestedBase = 0x500000;
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(pages.PageCount(), 1u);
    EXPECT_EQ(PageBytes(0x500000, 1), ktBytes{0x11});
}

TEST_F(ElfLoader, AStrippedFileFails) {
    ktElfBuilder elf;
    elf.AddSegment(0x400000, ktBytes(16), 16);
    EXPECT_FALSE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(pages.PageCount(), 0u);
}

TEST_F(ElfLoader, AnEmptySymbolTableIsEnough) {
    ktElfBuilder elf;
    elf.AddSegment(0x400000, ktBytes(16), 16);
    elf.AddSymbolTable();
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(Symbols(), "");
}

TEST_F(ElfLoader, OneFileSymbolGivesNoFunctions) {
    ktElfBuilder elf;
    elf.AddSegment(0x400000, ktBytes(16), 16);
    elf.AddFile("only.c");
    elf.AddFunction("main", 0x400000);
    elf.AddSymbolTable();
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    EXPECT_TRUE(Module().CompUnits().empty());
}

TEST_F(ElfLoader, FunctionsBeforeTheFirstFileSymbolAreSkipped) {
    ktElfBuilder elf;
    elf.AddSegment(0x400000, ktBytes(16), 16);
    elf.AddFunction("early", 0x400000);
    elf.AddFile("a.c");
    elf.AddFunction("kept", 0x400004);
    elf.AddFile("b.c");
    elf.AddSymbolTable();
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(Symbols(), "kept@400004+10 ;");
}

TEST_F(ElfLoader, UnitsKeepTheirDefaultNames) {
    ASSERT_TRUE(LoadElfBytes(GoodElf().Build()));
    ASSERT_EQ(Module().CompUnits().size(), 2u);
    for (const ktCompUnit *unit : Module().CompUnits()) {
        char expected[32];
        std::snprintf(expected, sizeof(expected), "cu_%llX", static_cast<unsigned long long>(unit->GetId()));
        EXPECT_STREQ(unit->name.Get(), expected);
    }
    EXPECT_EQ(Module().CompUnits()[0]->ranges.Low(), 0x400100u);
    EXPECT_EQ(Module().CompUnits()[0]->ranges.High(), 0x400230u);
}

TEST_F(ElfLoader, UnitsAndFunctionsBelongToTheModuleAlone) {
    ASSERT_TRUE(LoadElfBytes(GoodElf().Build()));
    for (const ktCompUnit *unit : Module().CompUnits()) {
        EXPECT_EQ(unit->RefCount(), 1u);
        for (const ktFunction *function : unit->Functions()) EXPECT_EQ(function->RefCount(), 1u);
    }
}

TEST_F(ElfLoader, NamesOutsideTheStringsLeaveTheDefaultName) {
    ktElfBuilder elf;
    elf.AddSegment(0x400000, ktBytes(16), 16);
    elf.AddFile();
    elf.AddRawSymbol({0, ktElfSymbolFunction, 0, 1, 0x400001, 1});      // no name
    elf.AddRawSymbol({0x1000, ktElfSymbolFunction, 0, 1, 0x400002, 1}); // beyond the strings
    elf.AddRawSymbol({8, ktElfSymbolFunction, 0, 1, 0x400003, 1});      // at their end
    elf.AddFile("");
    elf.AddSymbolTable();
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    ASSERT_EQ(Module().CompUnits().size(), 1u);
    ASSERT_EQ(Module().CompUnits()[0]->Functions().size(), 3u);
    for (const ktFunction *function : Module().CompUnits()[0]->Functions())
        EXPECT_EQ(std::string(function->name.Get()).substr(0, 3), "fn_");
}

TEST_F(ElfLoader, ANameWithoutAnEndStopsWithTheStrings) {
    ktElfBuilder elf;
    elf.AddSegment(0x400000, ktBytes(16), 16);
    const uint32_t strings = elf.AddSection(".strtab", ktElfSectionStrings, {0, 'a', 'b', 'c'});
    ktBytes symbols;
    AppendRecord(symbols, ktElfSymbol{0, ktElfSymbolFile, 0, 0, 0, 0});
    AppendRecord(symbols, ktElfSymbol{1, ktElfSymbolFunction, 0, 1, 0x400001, 1});
    AppendRecord(symbols, ktElfSymbol{0, ktElfSymbolFile, 0, 0, 0, 0});
    elf.AddSection(".symtab", ktElfSectionSymbols, symbols, strings, 24);
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(Symbols(), "abc@400001+1 ;");
}

TEST_F(ElfLoader, EqualNamesAreMadeUniqueWithinTheirUnit) {
    ktElfBuilder elf;
    elf.AddSegment(0x400000, ktBytes(16), 16);
    elf.AddFile();
    elf.AddFunction("f", 0x400000, 1);
    elf.AddFunction("f", 0x400001, 1);
    elf.AddFile();
    elf.AddFunction("f", 0x400002, 1);
    elf.AddFile();
    elf.AddSymbolTable();
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(Symbols(), "f@400000+1 f_1@400001+1 ;f@400002+1 ;");
}

TEST_F(ElfLoader, SymbolsOfARelocatableObjectLogTheirValidIndex) {
    ktElfBuilder elf;
    elf.type = ktElfTypeRel;
    elf.AddSection(".text", 1, ktBytes(16), 0, 0, 0x7000);
    elf.AddFile();
    elf.AddFunction("f", 0x10, 8, 1);
    elf.AddFunction("g", 0x20, 8, 77);
    elf.AddFile();
    elf.AddSymbolTable();
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(log.lines, Lines{"Invalid section index 1"});
    EXPECT_EQ(Symbols(), "f@7010+8 g@20+8 ;");
    EXPECT_EQ(Module().base, 0u);
    EXPECT_EQ(Module().size, 0u);
    EXPECT_EQ(pages.PageCount(), 0u);
}

TEST_F(ElfLoader, ARelocatedObjectCountsTheBiasInSymbolAndSection) {
    ktElfBuilder elf;
    elf.type = ktElfTypeRel;
    elf.AddSection(".text", 1, ktBytes(16), 0, 0, 0x7000);
    elf.AddSection(".rela.text", ktElfSectionRela, ktBytes(24));
    elf.AddFile();
    elf.AddFunction("f", 0x10, 8, 1);
    elf.AddFile();
    elf.AddSymbolTable();
    request.requestedBase = 0x100000;
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(Symbols(), "f@207010+8 ;");
}

TEST_F(ElfLoader, ASegmentOutsideTheImageFailsAndLeavesNoPage) {
    ktElfBuilder elf = GoodElf();
    ktBytes bent = elf.Build();
    // The last segment has more bytes in the file than in memory, and the image ends with the memory.
    PutField<uint64_t>(bent, elf.SegmentAt(1) + offsetof(ktElfSegment, memsz), 1);
    PutField<uint64_t>(bent, elf.SegmentAt(1) + offsetof(ktElfSegment, filesz), 0x1001);
    EXPECT_FALSE(LoadElfBytes(bent));
    EXPECT_EQ(pages.PageCount(), 0u);
}

TEST_F(ElfLoader, AnImageWithoutASizeCannotBeCopiedAndTouchesNoOtherPages) {
    ktElfBuilder elf;
    elf.type = ktElfTypeDyn;
    elf.AddSegment(0, ktBytes(16), 16);
    elf.AddFile();
    elf.AddSymbolTable();
    pages.ReservePages(0x400000, 0x3000);
    EXPECT_FALSE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(pages.PageCount(), 3u);
    request.pages = nullptr;
    EXPECT_TRUE(LoadElfBytes(elf.Build()));
}

TEST_F(ElfLoader, ASegmentOfZerosAloneNeedsNoBytes) {
    ktElfBuilder elf;
    elf.AddSegment(0x400000, ktBytes(16, 0x11), 16);
    elf.AddSegment(0x401000, {}, 0x5000, ktElfSegmentLoad, 6);
    elf.AddFile();
    elf.AddSymbolTable();
    ASSERT_TRUE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(pages.PageCount(), 6u);
    EXPECT_EQ(PageBytes(0x405FFF, 1), ktBytes{0});
}

TEST_F(ElfLoader, ThreeHundredThousandFunctionsTakeWellBelowASecond) {
    ktElfBuilder elf;
    elf.AddSegment(0x400000, ktBytes(16), 0x10000);
    elf.AddFile();
    for (uint32_t i = 0; i < 300000; ++i)
        elf.AddFunction("function_" + std::to_string(i), 0x400000 + i * 16ull);
    elf.AddFile();
    elf.AddSymbolTable();
    const ktBytes bytes = elf.Build();
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(LoadElfBytes(bytes));
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    ASSERT_EQ(Module().CompUnits().size(), 1u);
    EXPECT_EQ(Module().CompUnits()[0]->Functions().size(), 300000u);
    EXPECT_LT(seconds.count(), 20.0); // quadratic work takes minutes; sanitizers are slow as well
    RecordProperty("seconds", std::to_string(seconds.count()));
}

} // namespace
