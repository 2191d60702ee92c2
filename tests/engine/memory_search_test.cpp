#include "core/memory_search.h"

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "core/address_space.h"
#include "support/fake_target.h"

using namespace sable;

namespace {

constexpr uint64_t root = 0x10000;
constexpr uint64_t highBase = 0xFFFF800000000000;

/// 4-level paging: linear 0x400000 to 0x402FFF are the pages 0x20000, 0x23000 and 0x21000, highBase is
/// 0x22000.
class MemorySearching : public testing::Test {
protected:
    MemorySearching() : linear(target, root), physical(target) {
        target.paging.mode = ktSbPaging4Level;
        target.paging.physicalBits = 40;
        target.Put<uint64_t>(root, 0x11000 | 3);
        target.Put<uint64_t>(0x11000, 0x12000 | 3);
        target.Put<uint64_t>(0x12000 + 2 * 8, 0x13000 | 3);
        target.Put<uint64_t>(0x13000, 0x20000 | 3);
        target.Put<uint64_t>(0x13000 + 8, 0x23000 | 3);
        target.Put<uint64_t>(0x13000 + 16, 0x21000 | 3);
        target.Put<uint64_t>(root + 256 * 8, 0x14000 | 3);
        target.Put<uint64_t>(0x14000, 0x15000 | 3);
        target.Put<uint64_t>(0x15000, 0x16000 | 3);
        target.Put<uint64_t>(0x16000, 0x22000 | 3);
        EXPECT_EQ(linear.Open(), SABLE_OK);
    }

    void Write(uint64_t place, std::string_view text) {
        std::memcpy(&target.ram[place], text.data(), text.size());
    }

    int32_t Find(AddressSpace &space, uint64_t start, uint64_t end, std::string_view text,
                 uint32_t step = 1) {
        hit = 0;
        const std::vector<uint8_t> pattern(text.begin(), text.end());
        return SearchMemory(space, {start, end, step}, pattern, monitor, hit);
    }

    FakeTarget target;
    LinearSpace linear;
    PhysicalSpace physical;
    FakeMonitor monitor;
    uint64_t hit = 0;
};

} // namespace

TEST_F(MemorySearching, FindsTheFirstPlace) {
    Write(0x20100, "sable");
    Write(0x20200, "sable");
    EXPECT_EQ(Find(linear, 0x400000, 0x402FFF, "sable"), SABLE_OK);
    EXPECT_EQ(hit, 0x400100u);
    EXPECT_EQ(Find(linear, 0x400101, 0x402FFF, "sable"), SABLE_OK);
    EXPECT_EQ(hit, 0x400200u);
    EXPECT_EQ(Find(linear, 0x400201, 0x402FFF, "sable"), SABLE_FAILED);
}

TEST_F(MemorySearching, ThePatternMayCrossPages) {
    Write(0x20FFD, "sab");
    Write(0x23000, "le");
    EXPECT_EQ(Find(linear, 0x400000, 0x402FFF, "sable"), SABLE_OK);
    EXPECT_EQ(hit, 0x400FFDu);
    EXPECT_EQ(Find(physical, 0x20000, 0x2FFFF, "sable"), SABLE_FAILED)
        << "the pages are not neighbours there";
}

TEST_F(MemorySearching, AWholePageMayBeThePattern) {
    for (uint32_t index = 0; index < maxPatternSize; ++index) {
        target.ram[index < 0xFFF ? 0x20001 + index : 0x23000] = uint8_t(index * 7 + 1);
    }
    const std::string_view page(reinterpret_cast<const char *>(&target.ram[0x20001]), 0xFFF);
    std::string text(page);
    text.push_back(char(target.ram[0x23000]));
    EXPECT_EQ(Find(linear, 0x400000, 0x402FFF, text), SABLE_OK);
    EXPECT_EQ(hit, 0x400001u);
}

TEST_F(MemorySearching, TheEndIsTheLastPlaceToBeginAt) {
    Write(0x20100, "sable");
    EXPECT_EQ(Find(linear, 0x400000, 0x4000FF, "sable"), SABLE_FAILED);
    EXPECT_EQ(Find(linear, 0x400000, 0x400100, "sable"), SABLE_OK);
    EXPECT_EQ(Find(linear, 0x400100, 0x400100, "sable"), SABLE_OK);
}

TEST_F(MemorySearching, OnlyMultiplesOfTheStepCount) {
    Write(0x20FF8, "MZ");
    Write(0x23004, "MZ");
    EXPECT_EQ(Find(linear, 0x400004, 0x402FFF, "MZ", 0x1000), SABLE_OK);
    EXPECT_EQ(hit, 0x401004u);
    EXPECT_EQ(Find(linear, 0x400000, 0x402FFF, "MZ", 0x1000), SABLE_FAILED);
    EXPECT_EQ(Find(linear, 0x400000, 0x402FFF, "MZ", 7), SABLE_OK);
    EXPECT_EQ(hit, 0x400000u + 7 * 584);
    EXPECT_EQ(Find(linear, 0x400001, 0x402FFF, "MZ", 7), SABLE_FAILED);
    EXPECT_EQ(Find(linear, 0x401004, 0x401004, "MZ", UINT32_MAX), SABLE_OK);
}

TEST_F(MemorySearching, WhatIsNotMappedIsPassedOverInOneGo) {
    Write(0x22123, "sable");
    target.physicalReads = 0;
    EXPECT_EQ(Find(linear, 0, UINT64_MAX, "sable"), SABLE_OK);
    EXPECT_EQ(hit, highBase + 0x123);
    EXPECT_LT(target.physicalReads, 10000u);
    EXPECT_EQ(Find(linear, 0, UINT64_MAX, "sable", 3), SABLE_FAILED) << "the place is no multiple of 3";
    EXPECT_EQ(Find(linear, 0, UINT64_MAX, "not there"), SABLE_FAILED);
}

TEST_F(MemorySearching, AMappedPageThatIsNoMemoryIsPassedOver) {
    target.holes.insert(0x23);
    Write(0x20FFF, "s");
    Write(0x21000, "sable");
    EXPECT_EQ(Find(linear, 0x400000, 0x402FFF, "sable"), SABLE_OK);
    EXPECT_EQ(hit, 0x402000u);
}

TEST_F(MemorySearching, PhysicalMemoryIsSearchedBehindItsHoles) {
    target.holes = {0x300, 0x301};
    Write(0x302FFF, "sa");
    EXPECT_EQ(Find(physical, 0x2FFFF0, UINT64_MAX, "sa"), SABLE_OK);
    EXPECT_EQ(hit, 0x302FFFu);
    EXPECT_EQ(Find(physical, FakeTarget::ramBytes, UINT64_MAX, "sa"), SABLE_FAILED);
    Write(FakeTarget::ramBytes - 1, "s");
    EXPECT_EQ(Find(physical, 0x303001, UINT64_MAX, "sa"), SABLE_FAILED) << "half a pattern at the end";
}

TEST_F(MemorySearching, BadArgumentsAreRefused) {
    EXPECT_EQ(Find(linear, 0, 1, ""), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(Find(linear, 0, 1, std::string(maxPatternSize + 1, 'x')), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(Find(linear, 0, 1, "x", 0), SABLE_BAD_ARGUMENT);
}

TEST_F(MemorySearching, WithTheEndBelowTheStartItGoesDown) {
    Write(0x20100, "sable");
    Write(0x20200, "sable");
    EXPECT_EQ(Find(linear, 0x402FFF, 0x400000, "sable"), SABLE_OK);
    EXPECT_EQ(hit, 0x400200u);
    EXPECT_EQ(Find(linear, 0x4001FF, 0x400000, "sable"), SABLE_OK);
    EXPECT_EQ(hit, 0x400100u);
    EXPECT_EQ(Find(linear, 0x4001FF, 0x400101, "sable"), SABLE_FAILED);
    EXPECT_EQ(Find(linear, 0x400200, 0x400100, "sable", 0x100), SABLE_OK);
    EXPECT_EQ(hit, 0x400200u) << "the start is a place to begin at";
    EXPECT_EQ(Find(linear, 0x400300, 0x400100, "sable", 0x200), SABLE_OK);
    EXPECT_EQ(hit, 0x400100u) << "and so is the end";
}

TEST_F(MemorySearching, DownwardsWhatIsNotMappedIsPassedOverInOneGo) {
    Write(0x20123, "sable");
    target.physicalReads = 0;
    EXPECT_EQ(Find(linear, UINT64_MAX, 0, "sable"), SABLE_OK);
    EXPECT_EQ(hit, 0x400123u);
    EXPECT_LT(target.physicalReads, 10000u);
    EXPECT_EQ(Find(linear, UINT64_MAX, 0, "not there"), SABLE_FAILED);
    target.holes = {0x300, 0x301};
    Write(0x2FFF00, "sa");
    EXPECT_EQ(Find(physical, 0x302FFF, 0, "sa"), SABLE_OK);
    EXPECT_EQ(hit, 0x2FFF00u);
}

TEST_F(MemorySearching, EndsWhenNobodyWaits) {
    Write(0x21000, "sable");
    monitor.patience = 2;
    EXPECT_EQ(Find(linear, 0x400000, 0x402FFF, "sable"), SABLE_FAILED);
    EXPECT_EQ(monitor.asked, 3u);
}

TEST_F(MemorySearching, AsksAlsoWhileItComparesMuch) {
    const std::string zeros(maxPatternSize - 1, '\0');
    monitor.patience = 10;
    target.ram[0x21000] = 1;
    EXPECT_EQ(Find(physical, 0x3000, 0x3FFF, zeros + "x"), SABLE_FAILED);
    EXPECT_EQ(monitor.asked, 11u);
}

TEST_F(MemorySearching, ATargetWithoutMemorySaysSo) {
    Target bare;
    PhysicalSpace nothing(bare);
    EXPECT_EQ(Find(nothing, 0, UINT64_MAX, "sable"), SABLE_NOT_SUPPORTED);
}

TEST_F(MemorySearching, AgreesWithAPlainSearch) {
    uint32_t random = 12345;
    const auto next = [&random](uint32_t below) {
        random = random * 1664525 + 1013904223;
        return (random >> 8) % below;
    };
    for (uint64_t page : {0x20000, 0x21000, 0x23000}) {
        for (uint64_t index = 0; index < 0x1000; ++index) target.ram[page + index] = uint8_t(next(3));
    }
    std::vector<uint8_t> flat(0x3000);
    uint32_t done = 0;
    ASSERT_EQ(linear.Read(0x400000, flat.data(), 0x3000, done), SABLE_OK);
    for (int round = 0; round < 2000; ++round) {
        const uint64_t start = next(0x3000);
        const uint64_t end = start + next(0x3000);
        const uint32_t step = 1 + next(9);
        std::string pattern(1 + next(9), '\0');
        for (char &byte : pattern) byte = char(next(3));
        for (const bool down : {false, true}) {
            uint64_t expected = 0;
            for (uint64_t passed = 0; passed <= end - start && expected == 0; passed += step) {
                const uint64_t at = down ? end - passed : start + passed;
                if (at + pattern.size() <= 0x3000 &&
                    std::memcmp(&flat[at], pattern.data(), pattern.size()) == 0) {
                    expected = 0x400000 + at;
                }
            }
            EXPECT_EQ(
                Find(linear, 0x400000 + (down ? end : start), 0x400000 + (down ? start : end), pattern, step),
                expected != 0 ? SABLE_OK : SABLE_FAILED);
            EXPECT_EQ(hit, expected);
        }
    }
}
