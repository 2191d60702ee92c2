#include "symbols/elf/elf_file.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

#include "app/log.h"
#include "session/mem_reader.h"
#include "support/counting_reader.h"
#include "support/elf_builder.h"
#include "support/recording_lines.h"

namespace {

constexpr ktElfSymbol NoSymbol = {};

class ElfFile : public testing::Test {
protected:
    ElfFile() {
        SetLogSink(&log);
        elf.loadSections = elf.loadSegments = true;
    }
    ~ElfFile() override { ClearLogSink(); }

    bool Parse(const ktBytes &content) {
        bytes = content;
        reader = std::make_unique<MemReader>(bytes.data(), bytes.size());
        return elf.Parse(*reader);
    }
    /// Parses the good file with one field changed.
    template <class T>
    bool ParseBent(size_t offset, T value, bool wide = true) {
        ktBytes bent = GoodElf(wide).Build();
        PutField(bent, offset, value);
        return Parse(bent);
    }
    uint64_t AddressOf(uint16_t shndx, uint64_t value = 0x10) {
        ktElfSymbol symbol = NoSymbol;
        symbol.shndx = shndx;
        symbol.value = value;
        return elf.SymbolAddress(symbol);
    }

    ktRecordingLines log;
    ktBytes bytes;
    std::unique_ptr<MemReader> reader;
    ktElfFile elf;
};

TEST_F(ElfFile, ReadsA64BitFile) {
    ASSERT_TRUE(Parse(GoodElf().Build()));
    EXPECT_TRUE(elf.is64);
    EXPECT_TRUE(elf.littleEndian);
    EXPECT_FALSE(elf.hasRelocations);
    EXPECT_EQ(elf.header.entry, 0x400010u);
    EXPECT_EQ(elf.segments.size(), 2u);
    EXPECT_EQ(elf.sections.size(), 5u);
    EXPECT_EQ(elf.lowAddress, 0x400000u);
    EXPECT_EQ(elf.imageSize, 0x3000u);
    EXPECT_EQ(elf.symbolSection, 3u);
    EXPECT_EQ(elf.stringSection, 2u);
    EXPECT_EQ(elf.symbolCount, 7u);
    EXPECT_EQ(elf.bias, 0u);
}

TEST_F(ElfFile, ConvertsA32BitFile) {
    ktElfBuilder builder = GoodElf(false);
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_FALSE(elf.is64);
    EXPECT_EQ(elf.header.machine, ktElfMachineI386);
    EXPECT_EQ(elf.header.entry, 0x400010u);
    EXPECT_EQ(elf.header.phnum, 2u);
    EXPECT_EQ(elf.header.shstrndx, 4u);
    EXPECT_EQ(elf.segments[1].header.vaddr, 0x402000u);
    EXPECT_EQ(elf.segments[1].header.paddr, 0x402000u);
    EXPECT_EQ(elf.segments[1].header.filesz, 0x100u);
    EXPECT_EQ(elf.segments[1].header.memsz, 0x800u);
    EXPECT_EQ(elf.segments[1].header.flags, 6u);
    EXPECT_EQ(elf.segments[1].header.align, 0x1000u);
    EXPECT_EQ(elf.sections[1].header.addr, 0x400000u);
    EXPECT_EQ(elf.sections[3].header.entsize, 16u);
    EXPECT_EQ(elf.imageSize, 0x3000u);
    EXPECT_EQ(elf.symbolCount, 7u);
    ktElfSymbol symbol;
    ASSERT_TRUE(elf.ReadSymbol(elf.SectionBytes(elf.symbolSection), 2, symbol));
    EXPECT_EQ(symbol.value, 0x400100u);
    EXPECT_EQ(symbol.size, 0x20u);
    EXPECT_EQ(symbol.Type(), ktElfSymbolFunction);
    EXPECT_EQ(symbol.shndx, 1u);
}

TEST_F(ElfFile, RefusesWrongMagic) { EXPECT_FALSE(ParseBent<uint8_t>(1, 'e')); }
TEST_F(ElfFile, RefusesWrongIdentVersion) { EXPECT_FALSE(ParseBent<uint8_t>(6, 2)); }
TEST_F(ElfFile, RefusesWrongHeaderSize) {
    EXPECT_FALSE(ParseBent<uint16_t>(offsetof(ktElfHeader, ehsize), 52));
    EXPECT_FALSE(ParseBent<uint16_t>(offsetof(ktElf32Header, ehsize), 64, false));
}
TEST_F(ElfFile, RefusesWrongMachine) {
    EXPECT_FALSE(ParseBent<uint16_t>(offsetof(ktElfHeader, machine), 183)); // a 64-bit ARM
    EXPECT_FALSE(ParseBent<uint16_t>(offsetof(ktElfHeader, machine), ktElfMachineI386));
    EXPECT_FALSE(ParseBent<uint16_t>(offsetof(ktElf32Header, machine), ktElfMachineX64, false));
    EXPECT_FALSE(ParseBent<uint16_t>(offsetof(ktElf32Header, machine), 40, false)); // a 32-bit ARM
}

TEST_F(ElfFile, EntrySizesMayBeZeroButNotWrong) {
    EXPECT_TRUE(ParseBent<uint16_t>(offsetof(ktElfHeader, phentsize), 0));
    EXPECT_TRUE(ParseBent<uint16_t>(offsetof(ktElfHeader, shentsize), 0));
    EXPECT_FALSE(ParseBent<uint16_t>(offsetof(ktElfHeader, phentsize), 57));
    EXPECT_FALSE(ParseBent<uint16_t>(offsetof(ktElfHeader, shentsize), 40));
    EXPECT_TRUE(ParseBent<uint16_t>(offsetof(ktElf32Header, phentsize), 0, false));
    EXPECT_FALSE(ParseBent<uint16_t>(offsetof(ktElf32Header, phentsize), 56, false));
    EXPECT_FALSE(ParseBent<uint16_t>(offsetof(ktElf32Header, shentsize), 64, false));
}

TEST_F(ElfFile, AClassThatIsUnknownIsReadAs32Bit) {
    ASSERT_TRUE(ParseBent<uint8_t>(ktElfIdentClass, 3, false));
    EXPECT_FALSE(elf.is64);
}

TEST_F(ElfFile, ByteOrderIsRecordedAndChangesNothing) {
    ASSERT_TRUE(ParseBent<uint8_t>(ktElfIdentData, 2));
    EXPECT_FALSE(elf.littleEndian);
    EXPECT_EQ(elf.header.entry, 0x400010u);
}

TEST_F(ElfFile, ABigEndianFileFailsOnItsMachine) {
    ktBytes swapped = GoodElf().Build();
    swapped[ktElfIdentData] = 2;
    std::swap(swapped[18], swapped[19]);
    EXPECT_FALSE(Parse(swapped));
}

TEST_F(ElfFile, WithoutProgramHeadersAddressAndSizeAreZero) {
    ktElfBuilder object;
    object.type = ktElfTypeRel;
    object.AddSection(".text", 1, ktBytes(16));
    ASSERT_TRUE(Parse(object.Build()));
    EXPECT_EQ(elf.lowAddress, 0u);
    EXPECT_EQ(elf.imageSize, 0u);
}

TEST_F(ElfFile, ProgramHeadersWithoutALoadSegmentFail) {
    ktElfBuilder builder;
    builder.AddSegment(0x1000, ktBytes(16), 16, 4);
    EXPECT_FALSE(Parse(builder.Build()));
}

TEST_F(ElfFile, AZeroAddressSegmentOfAnExecutableDoesNotCount) {
    ktElfBuilder builder;
    builder.AddSegment(0, ktBytes(16), 0x100);
    EXPECT_FALSE(Parse(builder.Build()));
    builder.AddSegment(0x5000, ktBytes(16), 0x100);
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.lowAddress, 0x5000u);
    EXPECT_EQ(elf.imageSize, 0x1000u);
}

TEST_F(ElfFile, AZeroAddressSegmentOfALibraryCounts) {
    ktElfBuilder builder;
    builder.type = ktElfTypeDyn;
    builder.AddSegment(0x5000, ktBytes(16), 0x100);
    builder.AddSegment(0, ktBytes(16), 0x100);
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.lowAddress, 0u);
    EXPECT_EQ(elf.imageSize, 0x6000u);
}

TEST_F(ElfFile, ALoneSegmentAtZeroLeavesTheSizeAtZero) {
    ktElfBuilder builder;
    builder.type = ktElfTypeDyn;
    builder.AddSegment(0, ktBytes(16), 0x5000);
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.imageSize, 0u);
}

TEST_F(ElfFile, OfSegmentsAtOneAddressTheFirstGivesTheSize) {
    ktElfBuilder builder;
    builder.AddSegment(0x5000, ktBytes(16), 0x1001);
    builder.AddSegment(0x5000, ktBytes(16), 0x9000);
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.imageSize, 0x2000u);
}

TEST_F(ElfFile, AnExactMultipleOfThePageSizeStays) {
    ktElfBuilder builder;
    builder.AddSegment(0x5000, ktBytes(16), 0x2000);
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.imageSize, 0x2000u);
}

TEST_F(ElfFile, RelocationSectionsAreNoticed) {
    for (const uint32_t type : {ktElfSectionRela, ktElfSectionRel}) {
        ktElfBuilder builder = GoodElf();
        builder.AddSection(".rel", type, ktBytes(8));
        ASSERT_TRUE(Parse(builder.Build()));
        EXPECT_TRUE(elf.hasRelocations);
    }
}

TEST_F(ElfFile, SegmentBytesCountOnlyWithFlagsAndOnlyWhenWanted) {
    ktElfBuilder builder;
    builder.AddSegment(0x5000, ktBytes(16, 0x11), 0x100);
    builder.AddSegment(0x6000, ktBytes(16, 0x22), 0x100, ktElfSegmentLoad, 0);
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.segments[0].byteCount, 16u);
    EXPECT_EQ(elf.segments[1].byteCount, 0u);
    uint8_t part[4];
    EXPECT_TRUE(elf.ReadSegment(elf.segments[0], 12, part, 4));
    EXPECT_EQ(part[3], 0x11);
    EXPECT_FALSE(elf.ReadSegment(elf.segments[0], 13, part, 4));
    EXPECT_FALSE(elf.ReadSegment(elf.segments[1], 0, part, 1));
    elf.loadSegments = false;
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.segments[0].byteCount, 0u);
}

TEST_F(ElfFile, OnlyTheLow32BitsOfSegmentPlacesCount) {
    ktElfBuilder builder = GoodElf();
    ktBytes bent = builder.Build();
    const size_t segment = builder.SegmentAt(0);
    const uint64_t offset = GetField<uint64_t>(bent, segment + offsetof(ktElfSegment, offset));
    PutField<uint64_t>(bent, segment + offsetof(ktElfSegment, offset), offset + 0x700000000);
    PutField<uint64_t>(bent, segment + offsetof(ktElfSegment, filesz), 0x900000010);
    ASSERT_TRUE(Parse(bent));
    EXPECT_EQ(elf.segments[0].byteCount, 0x10u);
    uint8_t part[2];
    ASSERT_TRUE(elf.ReadSegment(elf.segments[0], 1, part, 2));
    EXPECT_EQ(part[0], 7);
    EXPECT_EQ(part[1], 14);
}

TEST_F(ElfFile, OnlyTheLow32BitsOfSectionPlacesCount) {
    ktElfBuilder builder = GoodElf();
    ktBytes bent = builder.Build();
    const size_t section = builder.SectionAt(1);
    PutField<uint64_t>(bent, section + offsetof(ktElfSection, offset),
                       builder.SectionBytesAt(1) + 0x100000000);
    PutField<uint64_t>(bent, section + offsetof(ktElfSection, size), 0x100000003);
    ASSERT_TRUE(Parse(bent));
    ASSERT_EQ(elf.SectionBytes(1).size(), 3u);
    EXPECT_EQ(elf.SectionBytes(1)[2], 0x90);
}

TEST_F(ElfFile, SectionsWithoutFileBytesAreNotLookedFor) {
    ktElfBuilder builder = GoodElf();
    ktBytes bent = builder.Build();
    PutField<uint32_t>(bent, builder.SectionAt(1) + offsetof(ktElfSection, type), ktElfSectionNoBits);
    PutField<uint64_t>(bent, builder.SectionAt(1) + offsetof(ktElfSection, size), 0x7FFFFFFF);
    ASSERT_TRUE(Parse(bent));
    EXPECT_TRUE(elf.SectionBytes(1).empty());
    EXPECT_TRUE(elf.SectionBytes(99).empty());
}

TEST_F(ElfFile, SectionsAreFoundByTheirExactName) {
    ASSERT_TRUE(Parse(GoodElf().Build()));
    EXPECT_EQ(elf.FindSection(".text"), 1u);
    EXPECT_EQ(elf.FindSection(".symtab"), 3u);
    EXPECT_EQ(elf.FindSection(".tex"), 0u);
    EXPECT_EQ(elf.FindSection(".text2"), 0u);
    EXPECT_EQ(elf.FindSection(".shstrtab"), 4u);
    EXPECT_EQ(elf.SectionBytes(elf.FindSection(".text")).size(), 0x20u);
}

TEST_F(ElfFile, SectionNamesOutsideTheStringsMatchNothing) {
    ktElfBuilder builder = GoodElf();
    ktBytes bent = builder.Build();
    PutField<uint32_t>(bent, builder.SectionAt(1) + offsetof(ktElfSection, name), 0xFFFFFFF0);
    ASSERT_TRUE(Parse(bent));
    EXPECT_EQ(elf.FindSection(".text"), 0u);
    bent = builder.Build();
    PutField<uint16_t>(bent, offsetof(ktElfHeader, shstrndx), 0xFFFF);
    ASSERT_TRUE(Parse(bent));
    EXPECT_EQ(elf.FindSection(".text"), 0u);
}

TEST_F(ElfFile, TheFirstSymbolTableWithStringsIsTaken) {
    ktElfBuilder builder;
    builder.AddFile();
    builder.AddSection(".dynsym", ktElfSectionDynamicSymbols, ktBytes(24), 2, 24);
    builder.AddSymbolTable();
    builder.AddSection(".symtab2", ktElfSectionSymbols, ktBytes(48), 2, 24);
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.symbolSection, 3u);
    EXPECT_EQ(elf.stringSection, 2u);
    EXPECT_EQ(elf.symbolCount, 1u);
}

TEST_F(ElfFile, TheDynamicSymbolsServeWithoutAnyOther) {
    ktElfBuilder builder;
    builder.AddFile();
    builder.AddFunction("f", 1);
    builder.AddSymbolTable(ktElfSectionDynamicSymbols);
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.symbolSection, 2u);
    EXPECT_EQ(elf.symbolCount, 2u);
}

TEST_F(ElfFile, ACandidateWithAnotherLinkIsPassedOver) {
    ktElfBuilder builder;
    builder.AddFile();
    builder.AddSection(".bad", ktElfSectionSymbols, ktBytes(24), 1, 24);
    builder.AddSection(".bad2", ktElfSectionSymbols, ktBytes(24), 70000, 24);
    builder.AddSection(".bad3", ktElfSectionSymbols, ktBytes(24), 4, 23);
    builder.AddSymbolTable();
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.symbolSection, 5u);
}

TEST_F(ElfFile, HavingNoSymbolTableIsNoFailure) {
    ktElfBuilder builder;
    builder.AddSection(".text", 1, ktBytes(24));
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(elf.symbolSection, 0u);
    EXPECT_EQ(elf.symbolCount, 0u);
}

TEST_F(ElfFile, SymbolsOfProgramsAndLibrariesNeedNoSection) {
    ASSERT_TRUE(Parse(GoodElf().Build()));
    EXPECT_EQ(AddressOf(1, 0x1234), 0x1234u);
    elf.header.type = ktElfTypeDyn;
    elf.bias = 0x1000;
    EXPECT_EQ(AddressOf(1, 0x1234), 0x2234u);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ElfFile, SymbolsOfOtherTypesAreLogged) {
    ASSERT_TRUE(Parse(GoodElf().Build()));
    elf.header.type = 4;
    EXPECT_EQ(AddressOf(1, 0x1234), 0x1234u);
    EXPECT_EQ(log.lines, std::vector<std::string>{"Unknown ELF header type 4"});
}

TEST_F(ElfFile, SymbolsOfARelocatableObject) {
    ktElfBuilder builder = GoodElf();
    builder.type = ktElfTypeRel;
    ASSERT_TRUE(Parse(builder.Build()));
    EXPECT_EQ(AddressOf(0), 0x10u);
    EXPECT_EQ(AddressOf(ktElfIndexAbsolute), 0x10u);
    EXPECT_EQ(AddressOf(5), 0x10u); // past the last section, without a word
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(AddressOf(1), 0x400010u); // valid, and so it is called invalid
    EXPECT_EQ(AddressOf(ktElfIndexCommon), 0x10u);
    EXPECT_EQ(AddressOf(ktElfIndexExtended), 0x10u);
    EXPECT_EQ(log.lines,
              (std::vector<std::string>{"Invalid section index 1", "Can't process ELF_SYM_SHN_COMMON",
                                        "Can't process ELF_SYM_SHN_XINDEX"}));
}

TEST_F(ElfFile, RebaseMovesEveryAddress) {
    ktElfBuilder builder = GoodElf();
    builder.AddSection(".rela", ktElfSectionRela, ktBytes(24), 0, 0, 0x400800);
    ASSERT_TRUE(Parse(builder.Build()));
    ASSERT_TRUE(elf.Rebase(0x500000));
    EXPECT_EQ(elf.bias, 0x100000u);
    EXPECT_EQ(elf.lowAddress, 0x500000u);
    EXPECT_EQ(elf.header.entry, 0x500010u);
    EXPECT_EQ(elf.segments[1].header.vaddr, 0x502000u);
    EXPECT_EQ(elf.segments[1].header.paddr, 0x502000u);
    EXPECT_EQ(elf.sections[0].header.addr, 0u);
    EXPECT_EQ(elf.sections[1].header.addr, 0x500000u);
    EXPECT_EQ(elf.sections[4].header.addr, 0x500800u);
}

TEST_F(ElfFile, RebaseNeedsRelocationsAndRoom) {
    ASSERT_TRUE(Parse(GoodElf().Build()));
    EXPECT_FALSE(elf.Rebase(0x500000));
    elf.hasRelocations = true;
    EXPECT_FALSE(elf.Rebase(~uint64_t(0) - 0x1000));
    EXPECT_EQ(elf.lowAddress, 0x400000u);
    EXPECT_TRUE(elf.Rebase(~uint64_t(0) - 0x2FFF));
}

TEST_F(ElfFile, TargetMemoryIsFetchedAtOnce) {
    ktCountingReader target(GoodElf().Build());
    ASSERT_TRUE(elf.Parse(target));
    const uint64_t read = target.bytesRead;
    EXPECT_GT(read, 0x1334u);
    EXPECT_EQ(elf.SectionBytes(1).size(), 0x20u);
    EXPECT_EQ(elf.SectionBytes(1)[0], 0x90);
    uint8_t part[2];
    ASSERT_TRUE(elf.ReadSegment(elf.segments[0], 1, part, 2));
    EXPECT_EQ(part[0], 7);
    EXPECT_EQ(target.bytesRead, read);
}

TEST_F(ElfFile, ClearForgetsEverythingButTheWishes) {
    ASSERT_TRUE(Parse(GoodElf().Build()));
    elf.Clear();
    EXPECT_TRUE(elf.segments.empty());
    EXPECT_TRUE(elf.sections.empty());
    EXPECT_EQ(elf.imageSize, 0u);
    EXPECT_TRUE(elf.SectionBytes(1).empty());
    EXPECT_TRUE(elf.loadSections && elf.loadSegments);
    EXPECT_TRUE(Parse(GoodElf().Build()));
}

} // namespace
