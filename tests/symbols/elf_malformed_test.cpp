#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>

#include "support/counting_reader.h"
#include "support/elf_builder.h"
#include "support/load_fixture.h"
#include "symbols/elf/elf_file.h"

namespace {

constexpr uint64_t allOnes = ~uint64_t(0);
constexpr uint64_t bentValues[] = {
    0,           1,           0x7F,           0x7FFFFFFF,         0x80000000,      0xFFFFFFFF,
    0x100000000, 0x100001000, 0x400000000000, 0x7FFFFFFFFFFFFFFF, allOnes - 0xFFF, allOnes};

class ElfMalformed : public testing::Test, protected ktLoadFixture {
protected:
    ElfMalformed() : builder(GoodElf()), good(builder.Build()) {}

    size_t SegmentField(size_t index, size_t field) { return builder.SegmentAt(index) + field; }
    size_t SectionField(size_t index, size_t field) { return builder.SectionAt(index) + field; }
    bool LoadBent(size_t offset, uint64_t value) {
        ktBytes bent = good;
        PutField(bent, offset, value);
        return LoadElfBytes(bent);
    }

    /// Loads in every way. Each must fail with nothing left, or give an image within its limits.
    void LoadEveryWay(const ktBytes &bytes) {
        for (const uint64_t base : {uint64_t(0), uint64_t(0x500000), allOnes - 0xFFF}) {
            request.requestedBase = base;
            request.pages = &pages;
            Judge(LoadElfBytes(bytes));
            ktCountingReader target(bytes);
            Judge(LoadElfFrom(target));
            request.pages = nullptr;
            Judge(LoadElfBytes(bytes));
        }
    }
    void Judge(bool loaded) {
        if (!loaded) {
            EXPECT_EQ(pages.PageCount(), 0u);
        }
        if (request.pages) {
            EXPECT_LE(pages.PageCount(), ktElfFile::minImageLimit / ktPageSize);
        }
        request.module.Reset();
        pages.Clear();
        log.lines.clear();
    }

    ktElfBuilder builder;
    ktBytes good;
};

/// The good file is a few KiB; most of the bends need no more than its headers.
ktElfBuilder SmallElf(bool wide) {
    ktElfBuilder elf(wide);
    elf.AddSegment(0x400000, ktBytes(64, 0x90), 0x2000);
    elf.AddFile();
    elf.AddFunction("f", 0x400000);
    elf.AddFile();
    elf.AddSymbolTable();
    elf.AddSection(".rel", ktElfSectionRel, ktBytes(8));
    return elf;
}

TEST_F(ElfMalformed, EveryCutFails) {
    for (const bool wide : {true, false}) {
        const ktBytes whole = SmallElf(wide).Build();
        ASSERT_TRUE(LoadElfBytes(whole));
        pages.Clear();
        for (size_t size = 0; size < whole.size(); ++size) {
            const ktBytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
            ASSERT_FALSE(LoadElfBytes(cut)) << "cut at " << size;
            ktCountingReader target(cut);
            ASSERT_FALSE(LoadElfFrom(target)) << "cut at " << size;
            ASSERT_EQ(pages.PageCount(), 0u) << "cut at " << size;
        }
    }
}

TEST_F(ElfMalformed, EveryHeaderFieldBent) {
    for (const bool wide : {true, false}) {
        ktElfBuilder small = SmallElf(wide);
        const ktBytes whole = small.Build();
        const size_t headerSize = wide ? sizeof(ktElfHeader) : sizeof(ktElf32Header);
        const size_t tables[][2] = {{0, headerSize},
                                    {small.SegmentAt(0), small.SegmentSize()},
                                    {small.SectionAt(0), small.SectionCount() * small.SectionSize()},
                                    {small.SectionBytesAt(2), 3 * small.SymbolSize()}};
        for (const auto &[start, size] : tables) {
            for (size_t offset = start; offset < start + size; offset += 2) {
                for (const size_t width : {size_t(2), size_t(4), size_t(8)}) {
                    if (offset % width != 0 || offset + width > whole.size()) continue;
                    for (const uint64_t value : bentValues) {
                        ktBytes bent = whole;
                        PutBytes(bent, offset, value, width);
                        LoadEveryWay(bent);
                        if (HasFailure())
                            FAIL() << "offset " << offset << " width " << width << " value " << value;
                    }
                }
            }
        }
    }
}

TEST_F(ElfMalformed, TablesOutsideTheFileFailWithoutARead) {
    const std::pair<size_t, uint64_t> bends[] = {{offsetof(ktElfHeader, phoff), good.size() - 8},
                                                 {offsetof(ktElfHeader, phoff), allOnes - 8},
                                                 {offsetof(ktElfHeader, shoff), good.size() - 8},
                                                 {offsetof(ktElfHeader, shoff), allOnes - 64}};
    for (const auto &[offset, value] : bends) {
        ktBytes bent = good;
        PutField(bent, offset, value);
        ktCountingReader file(bent);
        file.sized = true;
        EXPECT_FALSE(LoadElfFrom(file));
        EXPECT_LE(file.largestRead, 2 * sizeof(ktElfSegment));
    }
    for (const size_t offset : {offsetof(ktElfHeader, phnum), offsetof(ktElfHeader, shnum)}) {
        ktBytes bent = good;
        PutField<uint16_t>(bent, offset, 0xFFFF);
        ktCountingReader file(bent);
        file.sized = true;
        EXPECT_FALSE(LoadElfFrom(file));
        EXPECT_LE(file.largestRead, 2 * sizeof(ktElfSegment));
    }
}

TEST_F(ElfMalformed, SegmentBytesOutsideTheFileFail) {
    const size_t filesz = SegmentField(0, offsetof(ktElfSegment, filesz));
    const size_t offset = SegmentField(0, offsetof(ktElfSegment, offset));
    EXPECT_FALSE(LoadBent(filesz, good.size()));
    EXPECT_FALSE(LoadBent(filesz, 0xFFFFFFFF));
    EXPECT_FALSE(LoadBent(offset, good.size()));
    EXPECT_FALSE(LoadBent(offset, 0xFFFFFFFF));
    request.pages = nullptr; // then nobody wants them
    EXPECT_TRUE(LoadBent(filesz, 0xFFFFFFFF));
}

TEST_F(ElfMalformed, SectionBytesOutsideTheFileFail) {
    EXPECT_FALSE(LoadBent(SectionField(1, offsetof(ktElfSection, size)), good.size()));
    EXPECT_FALSE(LoadBent(SectionField(1, offsetof(ktElfSection, offset)), good.size()));
    EXPECT_FALSE(LoadBent(SectionField(3, offsetof(ktElfSection, offset)), 0xFFFFFFFF));
}

TEST_F(ElfMalformed, ManySectionsThatClaimTheWholeFileCostNothing) {
    ktElfBuilder elf = GoodElf();
    for (uint32_t i = 0; i < 65000; ++i) elf.AddSection("", 1, {});
    ktBytes bytes = elf.Build();
    for (size_t i = 5; i < 65000; ++i) {
        PutField<uint64_t>(bytes, elf.SectionAt(i) + offsetof(ktElfSection, offset), 0);
        PutField<uint64_t>(bytes, elf.SectionAt(i) + offsetof(ktElfSection, size), bytes.size());
    }
    const size_t size = bytes.size();
    ktCountingReader file(std::move(bytes));
    file.sized = true;
    EXPECT_TRUE(LoadElfFrom(file));
    EXPECT_LT(file.bytesRead, 2 * size);
}

TEST_F(ElfMalformed, SectionsFetchedAgainAndAgainStopAtTenTimesTheFile) {
    ktElfBuilder elf = GoodElf();
    for (uint32_t i = 0; i < 100; ++i) elf.AddSection("", 1, {});
    ktBytes bytes = elf.Build();
    for (size_t i = 5; i < 100; ++i) {
        PutField<uint64_t>(bytes, elf.SectionAt(i) + offsetof(ktElfSection, offset), 0);
        PutField<uint64_t>(bytes, elf.SectionAt(i) + offsetof(ktElfSection, size), bytes.size());
    }
    MemReader reader(bytes.data(), bytes.size());
    ktElfFile file;
    file.loadSections = true;
    ASSERT_TRUE(file.Parse(reader));
    size_t fetched = 0;
    for (size_t i = 5; i < 100; ++i) fetched += file.SectionBytes(i).size();
    EXPECT_EQ(fetched, 10 * bytes.size());
}

TEST_F(ElfMalformed, ManySegmentsThatClaimTheWholeFile) {
    for (const uint32_t type : {ktElfSegmentLoad, uint32_t(4)}) {
        ktElfBuilder elf = GoodElf();
        for (uint32_t i = 0; i < 60000; ++i) elf.AddSegment(0x400000, {}, 0x1000, type);
        ktBytes bytes = elf.Build();
        for (size_t i = 2; i < 60000; ++i) {
            PutField<uint64_t>(bytes, elf.SegmentAt(i) + offsetof(ktElfSegment, offset), 0);
            PutField<uint64_t>(bytes, elf.SegmentAt(i) + offsetof(ktElfSegment, filesz), bytes.size());
        }
        const size_t size = bytes.size();
        ktCountingReader file(std::move(bytes));
        file.sized = true;
        EXPECT_EQ(LoadElfFrom(file), type != ktElfSegmentLoad); // other kinds are never copied
        EXPECT_LT(file.bytesRead, 2 * size);
        EXPECT_EQ(log.lines.size(), type == ktElfSegmentLoad ? 1u : 0u);
        log.lines.clear();
    }
}

TEST_F(ElfMalformed, ImageSizesThatWrapFail) {
    const size_t memsz = SegmentField(1, offsetof(ktElfSegment, memsz));
    for (const uint64_t value : {allOnes, allOnes - 0xFFE, allOnes - 0x2000, uint64_t(1) << 63}) {
        EXPECT_FALSE(LoadBent(memsz, value)) << std::hex << value;
        request.pages = nullptr;
        LoadBent(memsz, value);
        request.pages = &pages;
    }
    request.pages = nullptr; // nor may it wrap where nothing is copied
    EXPECT_FALSE(LoadBent(memsz, allOnes));
    EXPECT_FALSE(LoadBent(memsz, allOnes - 0x2FFF));
}

TEST_F(ElfMalformed, ImagesPastTheAddressSpaceFail) {
    ktElfBuilder elf;
    elf.AddSegment(allOnes - 0x1FFF, ktBytes(16, 0x11), 0x2000);
    elf.AddFile();
    elf.AddSymbolTable();
    ktBytes bytes = elf.Build();
    EXPECT_TRUE(LoadElfBytes(bytes)); // up to the last byte
    EXPECT_EQ(pages.PageCount(), 2u);
    pages.Clear();
    PutField<uint64_t>(bytes, elf.SegmentAt(0) + offsetof(ktElfSegment, memsz), 0x2001);
    EXPECT_FALSE(LoadElfBytes(bytes));
    PutField<uint64_t>(bytes, elf.SegmentAt(0) + offsetof(ktElfSegment, vaddr), allOnes);
    EXPECT_FALSE(LoadElfBytes(bytes));
    EXPECT_EQ(pages.PageCount(), 0u);
}

TEST_F(ElfMalformed, AnImageMuchLargerThanItsFileIsRefusedWhereItWouldBeCopied) {
    const size_t memsz = SegmentField(1, offsetof(ktElfSegment, memsz));
    EXPECT_TRUE(LoadBent(memsz, ktElfFile::minImageLimit - 0x2000));
    EXPECT_EQ(pages.PageCount(), ktElfFile::minImageLimit / ktPageSize);
    pages.Clear();
    EXPECT_FALSE(LoadBent(memsz, ktElfFile::minImageLimit - 0x1FFF));
    EXPECT_EQ(log.lines, std::vector<std::string>{"ELF image of 10001000 bytes is too large"});
    EXPECT_EQ(pages.PageCount(), 0u);
    request.pages = nullptr;
    EXPECT_TRUE(LoadBent(memsz, ktElfFile::minImageLimit - 0x1FFF));
}

TEST_F(ElfMalformed, TargetMemoryIsReadWithinALimit) {
    ktBytes bent = good;
    PutField<uint64_t>(bent, SectionField(1, offsetof(ktElfSection, size)), ktElfFile::maxUnsizedBytes);
    ktCountingReader target(bent);
    target.endless = true;
    EXPECT_FALSE(LoadElfFrom(target));
    EXPECT_LE(target.bytesRead, 2 * good.size());
    PutField<uint64_t>(bent, SectionField(1, offsetof(ktElfSection, size)), good.size() + 1);
    ktCountingReader endless(bent);
    endless.endless = true;
    EXPECT_TRUE(LoadElfFrom(endless));
}

TEST_F(ElfMalformed, OverlappingSymbolTablesAreOnlyData) {
    ktBytes bent = good;
    PutField<uint64_t>(bent, SectionField(3, offsetof(ktElfSection, offset)), 0);
    PutField<uint64_t>(bent, SectionField(3, offsetof(ktElfSection, size)), bent.size());
    PutField<uint64_t>(bent, SectionField(2, offsetof(ktElfSection, offset)), 0);
    PutField<uint64_t>(bent, SectionField(2, offsetof(ktElfSection, size)), bent.size());
    LoadEveryWay(bent);
}

TEST_F(ElfMalformed, ASymbolCountBeyondTheBytesStopsAtTheirEnd) {
    ktBytes bent = good;
    const uint64_t size = GetField<uint64_t>(bent, SectionField(3, offsetof(ktElfSection, size)));
    PutField<uint64_t>(bent, SectionField(3, offsetof(ktElfSection, size)), size + (uint64_t(1) << 40));
    ASSERT_TRUE(LoadElfBytes(bent));
    EXPECT_EQ(Symbols(), "alpha@400100+20 beta@400200+30 ;gamma@400300+40 ;");
}

TEST_F(ElfMalformed, LongNamesThatManySymbolsShareFail) {
    ktElfBuilder elf;
    elf.AddSegment(0x400000, ktBytes(16), 16);
    const uint32_t strings = elf.AddSection(".strtab", ktElfSectionStrings, ktBytes(1 << 20, 'x'));
    ktBytes symbols;
    AppendRecord(symbols, ktElfSymbol{0, ktElfSymbolFile, 0, 0, 0, 0});
    for (uint32_t i = 0; i < 50000; ++i)
        AppendRecord(symbols, ktElfSymbol{1, ktElfSymbolFunction, 0, 1, 0x400000 + i, 1});
    elf.AddSection(".symtab", ktElfSectionSymbols, symbols, strings, 24);
    EXPECT_FALSE(LoadElfBytes(elf.Build()));
    EXPECT_EQ(log.lines, std::vector<std::string>{"ELF symbol names are too long"});
    EXPECT_EQ(pages.PageCount(), 0u);
}

} // namespace
