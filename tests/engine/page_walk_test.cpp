#include "core/page_walk.h"

#include <cstdint>

#include <gtest/gtest.h>

#include "support/fake_target.h"

using sable::PageWalk;
using sable::PagingFacts;
using sable::WalkPages;

namespace {

constexpr uint64_t root = 0x10000;
constexpr uint64_t level2 = 0x11000;
constexpr uint64_t level3 = 0x12000;
constexpr uint64_t level4 = 0x13000;
constexpr uint64_t noExecute = uint64_t(1) << 63;

class PageWalking : public testing::Test {
protected:
    PageWalk Walk(uint64_t linear, uint64_t givenRoot = root) {
        return WalkPages(target, target.paging, givenRoot, linear);
    }

    void Use(uint16_t mode, uint8_t physicalBits = 40) {
        target.paging.mode = mode;
        target.paging.physicalBits = physicalBits;
        target.paging.hasLargePages = true;
        target.paging.hasGigabytePages = true;
        target.paging.root = root;
    }

    /// Four levels for `linear`, ending at the page 0x20000.
    void MapFourLevels(uint64_t linear) {
        Use(ktSbPaging4Level);
        target.Put(root + (linear >> 39 & 511) * 8, level2 | 0x27);
        target.Put(level2 + (linear >> 30 & 511) * 8, level3 | 0x27);
        target.Put(level3 + (linear >> 21 & 511) * 8, level4 | 0x27);
        target.Put(level4 + (linear >> 12 & 511) * 8, noExecute | 0x20067);
    }

    FakeTarget target;
};

} // namespace

TEST_F(PageWalking, WithoutPagingAnAddressIsItsOwnTranslation) {
    Use(ktSbPagingNone);
    const PageWalk walk = Walk(0xFFFFFFFF);
    EXPECT_EQ(walk.raw.mode, ktSbPagingNone);
    EXPECT_EQ(walk.raw.entryCount, 0);
    EXPECT_NE(walk.raw.isValid, 0);
    EXPECT_EQ(walk.physical, 0xFFFFFFFFu);
    EXPECT_EQ(walk.last, 0xFFFFFFFFu);
    EXPECT_EQ(target.physicalReads, 0u);
}

TEST_F(PageWalking, AddressesOfFourGigabytesAndMoreExistInLongModeOnly) {
    for (const uint16_t mode : {ktSbPagingNone, ktSbPaging32, ktSbPagingPae}) {
        Use(mode);
        const PageWalk walk = Walk(0x100000000);
        EXPECT_EQ(walk.raw.isValid, 0);
        EXPECT_EQ(walk.raw.entryCount, 0);
        EXPECT_EQ(walk.last, UINT64_MAX);
    }
    EXPECT_EQ(target.physicalReads, 0u);
}

TEST_F(PageWalking, ThirtyTwoBitPaging) {
    Use(ktSbPaging32);
    target.Put<uint32_t>(root + 4 * 0x301, uint32_t(level2) | 0x27);
    target.Put<uint32_t>(level2 + 4 * 0x3FF, 0x00020067);
    const PageWalk walk = Walk(0xC07FFABC);
    EXPECT_EQ(walk.raw.mode, ktSbPaging32);
    EXPECT_EQ(walk.raw.entryCount, 2);
    EXPECT_NE(walk.raw.isValid, 0);
    EXPECT_EQ(walk.raw.entries[0], level2 | 0x27);
    EXPECT_EQ(walk.raw.entries[1], 0x20067u);
    EXPECT_EQ(walk.physical, 0x20ABCu);
    EXPECT_EQ(walk.last, 0xC07FFFFFu);
}

TEST_F(PageWalking, FourMegabytePagesReachAboveFourGigabytes) {
    Use(ktSbPaging32);
    // Bits 13 to 20 of the entry are the address's bits 32 to 39; bit 12 is the attribute table's.
    target.Put<uint32_t>(root + 4 * 2, 0x08C00000 | 0x81 << 13 | 1 << 12 | 0xE7);
    const PageWalk walk = Walk(0x00812345);
    EXPECT_EQ(walk.raw.entryCount, 1);
    EXPECT_NE(walk.raw.isValid, 0);
    EXPECT_EQ(walk.physical, 0x8108C12345u);
    EXPECT_EQ(walk.last, 0x00BFFFFFu);
}

TEST_F(PageWalking, AFourMegabytePageAboveTheAddressWidthIsRefused) {
    Use(ktSbPaging32, 36);
    target.Put<uint32_t>(root, 0x0F << 13 | 0xE7);
    EXPECT_NE(Walk(0).raw.isValid, 0);
    target.Put<uint32_t>(root, 0x10 << 13 | 0xE7);
    EXPECT_EQ(Walk(0).raw.isValid, 0);
    EXPECT_EQ(Walk(0).raw.entryCount, 1);
    Use(ktSbPaging32, 52);
    target.Put<uint32_t>(root, 0x100 << 13 | 0xE7);
    EXPECT_EQ(Walk(0).raw.isValid, 0) << "bit 21 is reserved";
}

TEST_F(PageWalking, WithoutPageSizeExtensionTheSizeBitIsIgnored) {
    Use(ktSbPaging32);
    target.paging.hasLargePages = false;
    target.Put<uint32_t>(root, uint32_t(level2) | 0xE7);
    target.Put<uint32_t>(level2, 0x20000 | 0x67);
    EXPECT_EQ(Walk(0x10).raw.entryCount, 2);
    EXPECT_EQ(Walk(0x10).physical, 0x20010u);
}

TEST_F(PageWalking, PaePaging) {
    Use(ktSbPagingPae);
    target.Put<uint64_t>(root + 8 * 3, level2 | 1);
    target.Put<uint64_t>(level2 + 8 * 0x1FF, level3 | 0x27);
    target.Put<uint64_t>(level3 + 8 * 0x1FE, noExecute | 0x2000000000 | 0x20067);
    const PageWalk walk = Walk(0xFFFFE123);
    EXPECT_EQ(walk.raw.mode, ktSbPagingPae);
    EXPECT_EQ(walk.raw.entryCount, 3);
    EXPECT_NE(walk.raw.isValid, 0);
    EXPECT_EQ(walk.raw.entries[2], noExecute | 0x2000020067);
    EXPECT_EQ(walk.physical, 0x2000020123u);
    EXPECT_EQ(walk.last, 0xFFFFEFFFu);
}

TEST_F(PageWalking, PaeTwoMegabytePages) {
    Use(ktSbPagingPae);
    target.paging.hasLargePages = false;
    target.Put<uint64_t>(root, level2 | 1);
    target.Put<uint64_t>(level2 + 8, 0x600000 | 1 << 12 | 0xE7);
    const PageWalk walk = Walk(0x345678);
    EXPECT_EQ(walk.raw.entryCount, 2);
    EXPECT_EQ(walk.physical, 0x745678u);
    EXPECT_EQ(walk.last, 0x3FFFFFu);
}

TEST_F(PageWalking, APaeRootIsAMultipleOf32) {
    Use(ktSbPagingPae);
    target.Put<uint64_t>(root + 0x60, level2 | 1);
    target.Put<uint64_t>(level2, 0x600000 | 0x87);
    EXPECT_EQ(Walk(0, root + 0x60 + 0x1F).physical, 0x600000u);
}

TEST_F(PageWalking, FourLevelPaging) {
    constexpr uint64_t linear = 0xFFFF8123456789AB;
    MapFourLevels(linear);
    const PageWalk walk = Walk(linear);
    EXPECT_EQ(walk.raw.mode, ktSbPaging4Level);
    EXPECT_EQ(walk.raw.entryCount, 4);
    EXPECT_NE(walk.raw.isValid, 0);
    EXPECT_EQ(walk.raw.entries[0], level2 | 0x27);
    EXPECT_EQ(walk.raw.entries[1], level3 | 0x27);
    EXPECT_EQ(walk.raw.entries[2], level4 | 0x27);
    EXPECT_EQ(walk.raw.entries[3], noExecute | 0x20067);
    EXPECT_EQ(walk.physical, 0x209ABu);
    EXPECT_EQ(walk.last, linear | 0xFFF);
}

TEST_F(PageWalking, FourLevelLargePages) {
    Use(ktSbPaging4Level);
    target.Put<uint64_t>(root, level2 | 0x27);
    target.Put<uint64_t>(level2, level3 | 0x27);
    target.Put<uint64_t>(level3 + 8, 0x600000 | 1 << 12 | 0xE7);
    target.Put<uint64_t>(level2 + 8, 0x80000000 | 1 << 12 | 0xE7);
    EXPECT_EQ(Walk(0x212345).physical, 0x612345u);
    EXPECT_EQ(Walk(0x212345).raw.entryCount, 3);
    EXPECT_EQ(Walk(0x212345).last, 0x3FFFFFu);
    EXPECT_EQ(Walk(0x52345678).physical, 0x92345678u);
    EXPECT_EQ(Walk(0x52345678).raw.entryCount, 2);
    EXPECT_EQ(Walk(0x52345678).last, 0x7FFFFFFFu);
}

TEST_F(PageWalking, ReservedBitsEndTheWalkWithTheEntryShown) {
    Use(ktSbPaging4Level);
    target.Put<uint64_t>(root, level2 | 0xA7);
    EXPECT_EQ(Walk(0).raw.isValid, 0) << "a size bit at the top";
    EXPECT_EQ(Walk(0).raw.entryCount, 1);

    target.Put<uint64_t>(root, level2 | 0x27);
    target.Put<uint64_t>(level2, 0x40000000 | 0xE7);
    EXPECT_NE(Walk(0).raw.isValid, 0);
    target.paging.hasGigabytePages = false;
    EXPECT_EQ(Walk(0).raw.isValid, 0) << "a page of 1 GiB that the processor does not have";
    EXPECT_EQ(Walk(0).raw.entryCount, 2);

    target.Put<uint64_t>(level2, level3 | 0x27);
    target.Put<uint64_t>(level3, 0x602000 | 0xE7);
    EXPECT_EQ(Walk(0).raw.isValid, 0) << "a page of 2 MiB that is not aligned";
    EXPECT_EQ(Walk(0).raw.entryCount, 3);

    target.Put<uint64_t>(level3, (uint64_t(1) << 40) | level4 | 0x27);
    EXPECT_EQ(Walk(0).raw.isValid, 0) << "a table above the address width";
}

TEST_F(PageWalking, TheFirstAbsentEntryIsTheLastShown) {
    constexpr uint64_t linear = 0x0000712345678000;
    const uint64_t places[] = {root + (linear >> 39 & 511) * 8, level2 + (linear >> 30 & 511) * 8,
                               level3 + (linear >> 21 & 511) * 8, level4 + (linear >> 12 & 511) * 8};
    const unsigned shifts[] = {39, 30, 21, 12};
    for (unsigned level = 0; level < 4; ++level) {
        MapFourLevels(linear);
        target.Put<uint64_t>(places[level], 0xABCDEF0 << 1);
        const PageWalk walk = Walk(linear);
        EXPECT_EQ(walk.raw.isValid, 0);
        EXPECT_EQ(walk.raw.entryCount, level + 1);
        EXPECT_EQ(walk.raw.entries[level], uint64_t(0xABCDEF0) << 1);
        EXPECT_EQ(walk.last, linear | ((uint64_t(1) << shifts[level]) - 1));
    }
}

TEST_F(PageWalking, AddressesThatAreNotCanonicalHaveNoEntries) {
    MapFourLevels(0);
    for (const uint64_t linear : {0x0000800000000000, 0x1000000000000000}) {
        const PageWalk walk = Walk(uint64_t(linear));
        EXPECT_EQ(walk.raw.isValid, 0);
        EXPECT_EQ(walk.raw.entryCount, 0);
        EXPECT_EQ(walk.last, 0xFFFF7FFFFFFFFFFF);
    }
}

TEST_F(PageWalking, OfARootTheAddressBitsCount) {
    MapFourLevels(0x1000);
    EXPECT_EQ(Walk(0x1000, root | 0xFFF).physical, 0x20000u);
    EXPECT_EQ(Walk(0x1000, root | 0xFFF0000000000000).physical, 0x20000u);
}

TEST_F(PageWalking, ARootOfZeroIsTheCoresOwn) {
    MapFourLevels(0x1000);
    EXPECT_EQ(Walk(0x1000, 0).physical, 0x20000u);
}

TEST_F(PageWalking, ATableOutsideOfMemoryHasNoEntries) {
    Use(ktSbPaging4Level);
    EXPECT_EQ(Walk(0, 0x80000000).raw.entryCount, 0);
    target.Put<uint64_t>(root, 0x80000000 | 0x27);
    const PageWalk walk = Walk(0);
    EXPECT_EQ(walk.raw.entryCount, 1);
    EXPECT_EQ(walk.raw.isValid, 0);
}

TEST_F(PageWalking, AnotherModeShowsNothing) {
    Use(ktSbPagingOther);
    const PageWalk walk = Walk(0);
    EXPECT_EQ(walk.raw.mode, ktSbPagingOther);
    EXPECT_EQ(walk.raw.entryCount, 0);
    EXPECT_EQ(walk.raw.isValid, 0);
}
