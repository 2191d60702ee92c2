#include "session/page_walk_text.h"

#include "session/page_walk_result.h"
#include "support/recording_lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::string>;
using Mode = ktPageWalkResult::Mode;

constexpr uint64_t root = 0x8000000000123018;
constexpr uint64_t allBits = 52;

ktPageWalkResult Walk(uint16_t mode, std::initializer_list<uint64_t> entries) {
    ktPageWalkResult walk;
    walk.mode = mode;
    walk.valid = 1;
    walk.levelCount = static_cast<uint16_t>(entries.size());
    std::copy(entries.begin(), entries.end(), walk.entries);
    return walk;
}

Lines TextOf(const ktPageWalkResult &walk, uint64_t bits = allBits) {
    ktRecordingLines lines;
    ktPutPageWalk(lines, walk, root, bits);
    return lines.lines;
}

Lines Text(uint16_t mode, std::initializer_list<uint64_t> entries, uint64_t bits = allBits) {
    return TextOf(Walk(mode, entries), bits);
}

/// The lines behind title, validity and root.
Lines Levels(uint16_t mode, std::initializer_list<uint64_t> entries, uint64_t bits = allBits) {
    const Lines lines = Text(mode, entries, bits);
    return lines.size() < 3 ? Lines{"too few lines"} : Lines(lines.begin() + 3, lines.end());
}

constexpr Mode off = ktPageWalkResult::modeOff;
constexpr Mode legacy = ktPageWalkResult::mode32Bit;
constexpr Mode pae = ktPageWalkResult::modePae;
constexpr Mode level4 = ktPageWalkResult::mode4Level;

// Present entries that go on to the next level.
constexpr uint64_t next = 0x1007;

/// One item of a line of flags.
struct Flag {
    uint32_t bit;
    const char *clear;
    const char *set;
};

const Flag rw = {1, ", RO", ", RW"}, us = {2, ", SUPR", ", USER"}, pwt = {3, ", PWT 0", ", PWT 1"},
           pcd = {4, ", PCD 0", ", PCD 1"}, a = {5, "", ", ACCESSED"}, d = {6, "", ", DIRTY"},
           ps = {7, "", ", PS 1"}, g = {8, "", ", GLOBAL"}, xd = {63, "", ", XD"},
           pat12 = {12, ", PAT 0", ", PAT 1"}, pat7 = {7, ", PAT 0", ", PAT 1"};

/// An entry of one level in one layout, and all that may stand in its lines.
struct Case {
    const char *title;
    Mode mode;
    uint32_t level; ///< from 0
    bool large;
    const char *name;
    const char *absent; ///< the whole line
    const char *head;
    std::vector<Flag> flags;
    uint64_t mask; ///< of the address; 0: that of 4 MB pages
    bool goesOn;   ///< to the next level

    bool Is32() const { return mode == legacy; }
    int Digits() const { return Is32() ? 8 : 16; }
};

const char absent31[] = " not present, Bits 1-31 ignored";
const char absent63[] = " not present, Bits 1-63 ignored";

const std::vector<Flag> largeFlags = {rw, us, pwt, pcd, pat12, a, d, ps, g, xd};
const std::vector<Flag> pageFlags = {rw, us, pwt, pcd, pat7, a, d, g, xd};
const std::vector<Flag> tableFlags = {rw, us, pwt, pcd, a, xd};

const Case cases[] = {
    {"Legacy4MB",
     legacy,
     0,
     true,
     "PDE",
     absent31,
     "4MB page, Present",
     {rw, us, pwt, pcd, pat12, a, d, ps, g},
     0,
     false},
    {"LegacyPde", legacy, 0, false, "PDE", absent31, "Present", {rw, us, pwt, pcd}, 0xFFFFF000, true},
    {"LegacyPte",
     legacy,
     1,
     false,
     "PTE",
     absent31,
     "4KB page, Present",
     {rw, us, pwt, pcd, pat7, a, d, g},
     0xFFFFF000,
     false},
    {"PaePdpte", pae, 0, false, "PDPTE", absent63, "Present", {pwt, pcd}, 0xFFFFFFFFFF000, true},
    {"Pae2MB", pae, 1, true, "PDE", absent63, "2MB page, Present", largeFlags, 0xFFFFFFFE00000, false},
    {"PaePde", pae, 1, false, "PDE", absent63, "Present", tableFlags, 0xFFFFFFFFFF000, true},
    {"PaePte", pae, 2, false, "PTE", absent63, "4KB page, Present", pageFlags, 0xFFFFFFFFFF000, false},
    {"Long4Pml4", level4, 0, false, "PML4", absent63, "Present", tableFlags, 0xFFFFFFFFFF000, true},
    {"Long41GB", level4, 1, true, "PDPTE", absent63, "1GB page, Present", largeFlags, 0xFFFFFC0000000, false},
    {"Long4Pdpte", level4, 1, false, "PDPTE", absent63, "Present", tableFlags, 0xFFFFFFFFFF000, true},
    {"Long42MB", level4, 2, true, "PDE", absent63, "2MB page, Present", largeFlags, 0xFFFFFFFE00000, false},
    {"Long4Pde", level4, 2, false, "PDE", absent63, "Present", tableFlags, 0xFFFFFFFFFF000, true},
    {"Long4Pte", level4, 3, false, "PTE", absent63, "4KB page, Present", pageFlags, 0xFFFFFFFFFF000, false},
};

class PageWalkEntry : public testing::TestWithParam<Case> {
protected:
    /// The lines of the level when its entry is `entry` and the levels above are there.
    static Lines LinesOf(uint64_t entry, uint64_t bits = allBits, bool oneMore = false) {
        const Case &level = GetParam();
        ktPageWalkResult walk;
        walk.mode = level.mode;
        walk.valid = 1;
        walk.levelCount = static_cast<uint16_t>(level.level + 1 + (oneMore ? 1 : 0));
        for (uint64_t &above : walk.entries) above = next;
        walk.entries[level.level] = entry;
        const Lines lines = TextOf(walk, bits);
        const size_t skip = 3 + 3 * level.level;
        return lines.size() < skip ? Lines{}
                                   : Lines(lines.begin() + static_cast<ptrdiff_t>(skip), lines.end());
    }

    /// The bits that make the entry one of this case.
    static uint64_t Base() { return GetParam().large ? 0x81 : 1; }
    /// Whether an entry with bit 7 is one of this case: that bit makes a large page where one is allowed.
    static bool BitSevenFits() {
        const Case &level = GetParam();
        return level.large || std::none_of(std::begin(cases), std::end(cases), [&](const Case &other) {
                   return other.large && other.mode == level.mode && other.level == level.level;
               });
    }
    /// All bits that an entry of this case may have.
    static uint64_t AllBits() { return BitSevenFits() ? ~uint64_t{0} : ~uint64_t{0x80}; }

    static std::string Hex(uint64_t value, int digits) {
        char text[24];
        std::snprintf(text, sizeof(text), "%0*llX", digits, static_cast<unsigned long long>(value));
        return text;
    }
    static uint64_t AddressOf(uint64_t entry, uint64_t bits) {
        const Case &level = GetParam();
        const uint64_t maxPhys = (uint64_t{1} << (bits & 63)) - 1;
        if (level.Is32()) entry &= 0xFFFFFFFF;
        if (level.mask != 0) return entry & level.mask & maxPhys;
        return (((entry & 0x3FE000) << 19) & maxPhys) | (entry & 0xFFC00000);
    }
    static Lines Expected(uint64_t entry, uint64_t bits = allBits) {
        const Case &level = GetParam();
        const uint64_t shown = level.Is32() ? entry & 0xFFFFFFFF : entry;
        std::string flags = level.head;
        for (const Flag &flag : level.flags) flags += entry >> flag.bit & 1 ? flag.set : flag.clear;
        return {std::string(level.name) + ": " + Hex(shown, level.Digits()), flags,
                "Physical address: " + Hex(AddressOf(entry, bits), 16)};
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Levels, PageWalkEntry, testing::ValuesIn(cases),
                         [](const auto &test) { return std::string(test.param.title); });

TEST_P(PageWalkEntry, EachBitAloneShowsItsText) {
    EXPECT_EQ(LinesOf(Base()), Expected(Base()));
    for (uint32_t bit = 1; bit < 64; ++bit) {
        if (bit == 7 && !BitSevenFits()) continue;
        const uint64_t entry = Base() | uint64_t{1} << bit;
        EXPECT_EQ(LinesOf(entry), Expected(entry)) << bit;
    }
}

TEST_P(PageWalkEntry, AllBitsButOneShowTheirTexts) {
    const uint64_t all = AllBits();
    EXPECT_EQ(LinesOf(all), Expected(all));
    for (uint32_t bit = 1; bit < 64; ++bit) {
        if (bit == 7) continue;
        const uint64_t entry = all & ~(uint64_t{1} << bit);
        EXPECT_EQ(LinesOf(entry), Expected(entry)) << bit;
    }
}

TEST_P(PageWalkEntry, AnAbsentEntryShowsItselfAndEndsTheWalk) {
    const Case &level = GetParam();
    const bool isTop4 = level.mode == level4 && level.level == 0;
    const std::string notPresent = (isTop4 ? "PDPTE" : level.name) + std::string(level.absent);
    EXPECT_EQ(LinesOf(0x0A5A5F0E, allBits, level.level < 3),
              (Lines{level.name + std::string(": ") + Hex(0x0A5A5F0E, level.Digits()), notPresent}));
}

TEST_P(PageWalkEntry, OnlyATableLeadsToTheNextLevel) {
    const Case &level = GetParam();
    const size_t levels = level.mode == level4 ? 4 : level.mode == pae ? 3 : 2;
    const bool oneMore = level.level + 1 < 4;
    EXPECT_EQ(LinesOf(Base(), allBits, oneMore).size(), level.goesOn ? 6u : 3u);
    EXPECT_EQ(level.goesOn, !level.large && level.level + 1 < levels);
}

TEST_P(PageWalkEntry, AddressesEndAtThePhysicalBits) {
    const uint64_t entry = AllBits();
    for (const uint64_t bits : {0u, 1u, 12u, 20u, 32u, 36u, 39u, 46u, 52u, 63u, 64u, 100u, 255u})
        EXPECT_EQ(LinesOf(entry, bits), Expected(entry, bits)) << bits;
}

TEST(PageWalkText, PagingOff) { EXPECT_EQ(Text(off, {}), Lines{"Paging is disabled"}); }

TEST(PageWalkText, AModeThatIsOnlyKnownShowsNothing) { EXPECT_TRUE(Text(4, {next, next}).empty()); }

TEST(PageWalkText, AnyOtherModeIsUnknown) {
    for (const int mode : {5, 6, 255, 256, 0xFFFF})
        EXPECT_EQ(Text(static_cast<uint16_t>(mode), {next}), Lines{"Unknown page walk mode"}) << mode;
}

TEST(PageWalkText, TitlesAndTheRootAsItIs) {
    const std::string rootLine = "Page table root at #8000000000123018";
    EXPECT_EQ(Text(legacy, {}), (Lines{"32-bit paging", "Translation is valid", rootLine}));
    EXPECT_EQ(Text(pae, {}), (Lines{"PAE paging", "Translation is valid", rootLine}));
    EXPECT_EQ(Text(level4, {}), (Lines{"4-level paging", "Translation is valid", rootLine}));
}

TEST(PageWalkText, WithoutATranslationNoEntryShows) {
    for (const Mode mode : {legacy, pae, level4}) {
        ktPageWalkResult walk = Walk(mode, {next, next, next});
        walk.valid = 0;
        const Lines lines = TextOf(walk);
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[1], "Translation is not valid");
    }
}

TEST(PageWalkText, EachLevelShowsOnlyWhenItIsFilled) {
    const std::pair<Mode, size_t> layouts[] = {{legacy, 2}, {pae, 3}, {level4, 4}};
    for (const auto &[mode, levels] : layouts) {
        ktPageWalkResult walk = Walk(mode, {next, next, next, next});
        for (uint16_t count = 0; count < 8; ++count) {
            walk.levelCount = count;
            EXPECT_EQ(TextOf(walk).size(), 3 + 3 * std::min<size_t>(count, levels)) << mode << ' ' << count;
        }
        walk.levelCount = 0xFFFF;
        EXPECT_EQ(TextOf(walk).size(), 3 + 3 * levels);
    }
}

TEST(PageWalkText, AnyValueOfValidCounts) {
    ktPageWalkResult walk = Walk(legacy, {});
    walk.valid = 0x80;
    EXPECT_EQ(TextOf(walk)[1], "Translation is valid");
}

TEST(PageWalkText, Legacy4KBWalk) {
    EXPECT_EQ(
        Text(legacy, {0xFFFFFFFF00101067, 0x0020A163}),
        (Lines{"32-bit paging", "Translation is valid", "Page table root at #8000000000123018",
               "PDE: 00101067", "Present, RW, USER, PWT 0, PCD 0", "Physical address: 0000000000101000",
               "PTE: 0020A163", "4KB page, Present, RW, SUPR, PWT 0, PCD 0, PAT 0, ACCESSED, DIRTY, GLOBAL",
               "Physical address: 000000000020A000"}));
}

TEST(PageWalkText, A4MBPageHasItsHighAddressInBits13To21) {
    EXPECT_EQ(
        Levels(legacy, {0x804020E7}, 36),
        (Lines{"PDE: 804020E7", "4MB page, Present, RW, USER, PWT 0, PCD 0, PAT 0, ACCESSED, DIRTY, PS 1",
               "Physical address: 0000000180400000"}));
    EXPECT_EQ(Levels(legacy, {0x003FF081}, 40)[2], "Physical address: 000000FF00000000");
    EXPECT_EQ(Levels(legacy, {0x003FF081}, 41)[2], "Physical address: 000001FF00000000");
    EXPECT_EQ(Levels(legacy, {0x003FF081}, 36)[2], "Physical address: 0000000F00000000");
    EXPECT_EQ(Levels(legacy, {0x003FF081}, 32)[2], "Physical address: 0000000000000000");
    // The low part is not cut.
    EXPECT_EQ(Levels(legacy, {0xFFC00081}, 24)[2], "Physical address: 00000000FFC00000");
}

TEST(PageWalkText, Bit63CannotOccurInA32BitEntry) {
    const Lines lines = Levels(legacy, {0x8000000000001007, 0x8000000000002007});
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0], "PDE: 00001007");
    for (const std::string &line : lines) EXPECT_EQ(line.find("XD"), std::string::npos) << line;
}

TEST(PageWalkText, PaeWalkTo4KB) {
    EXPECT_EQ(Text(pae, {0x1001, 0x8000000000002027, 0x8000000123456F9F}, 36),
              (Lines{"PAE paging", "Translation is valid", "Page table root at #8000000000123018",
                     "PDPTE: 0000000000001001", "Present, PWT 0, PCD 0", "Physical address: 0000000000001000",
                     "PDE: 8000000000002027", "Present, RW, USER, PWT 0, PCD 0, ACCESSED, XD",
                     "Physical address: 0000000000002000", "PTE: 8000000123456F9F",
                     "4KB page, Present, RW, USER, PWT 1, PCD 1, PAT 1, GLOBAL, XD",
                     "Physical address: 0000000123456000"}));
}

TEST(PageWalkText, Long4WalkToA1GBPage) {
    EXPECT_EQ(Text(level4, {0x2023, 0x80000001400011E3}, 39),
              (Lines{"4-level paging", "Translation is valid", "Page table root at #8000000000123018",
                     "PML4: 0000000000002023", "Present, RW, SUPR, PWT 0, PCD 0, ACCESSED",
                     "Physical address: 0000000000002000", "PDPTE: 80000001400011E3",
                     "1GB page, Present, RW, SUPR, PWT 0, PCD 0, PAT 1, ACCESSED, DIRTY, PS 1, GLOBAL, XD",
                     "Physical address: 0000000140000000"}));
}

TEST(PageWalkText, Long4WalkThroughAllFourLevels) {
    EXPECT_EQ(Levels(level4, {0x2007, 0x3001, 0x4019, 0x5025}),
              (Lines{"PML4: 0000000000002007", "Present, RW, USER, PWT 0, PCD 0",
                     "Physical address: 0000000000002000", "PDPTE: 0000000000003001",
                     "Present, RO, SUPR, PWT 0, PCD 0", "Physical address: 0000000000003000",
                     "PDE: 0000000000004019", "Present, RO, SUPR, PWT 1, PCD 1",
                     "Physical address: 0000000000004000", "PTE: 0000000000005025",
                     "4KB page, Present, RO, USER, PWT 0, PCD 0, PAT 0, ACCESSED",
                     "Physical address: 0000000000005000"}));
}

TEST(PageWalkText, AnAbsentTopEntryOfFourLevelsGoesByTheNextName) {
    EXPECT_EQ(Levels(level4, {0x2006, 0x3007}),
              (Lines{"PML4: 0000000000002006", "PDPTE not present, Bits 1-63 ignored"}));
    EXPECT_EQ(Levels(level4, {0x2007, 0x3006}),
              (Lines{"PML4: 0000000000002007", "Present, RW, USER, PWT 0, PCD 0",
                     "Physical address: 0000000000002000", "PDPTE: 0000000000003006",
                     "PDPTE not present, Bits 1-63 ignored"}));
}

TEST(PageWalkText, TheLargeBitOfATopEntryMeansNothing) {
    EXPECT_EQ(Levels(level4, {0x2087})[1], "Present, RW, USER, PWT 0, PCD 0");
    EXPECT_EQ(Levels(pae, {0x2081})[1], "Present, PWT 0, PCD 0");
}
