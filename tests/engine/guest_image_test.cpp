#include "guest/guest_image.h"

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "guest/common/layout.h"

namespace sable {

namespace {

constexpr std::string_view names[] = {"demo", "demo32", "demopae"};
constexpr size_t sectorSize = 512, pageBytes = 4096;

bool Contains(std::span<const uint8_t> image, std::string_view text) {
    return std::search(image.begin(), image.end(), text.begin(), text.end()) != image.end();
}

uint32_t Word(std::span<const uint8_t> bytes, size_t at) {
    uint32_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

} // namespace

TEST(GuestImage, IsWholeSectorsBelowTheBootCodesTables) {
    for (const std::string_view name : names) {
        const auto image = FindGuestImage(name);
        ASSERT_GE(image.size(), 2 * sectorSize) << name;
        EXPECT_EQ(image.size() % sectorSize, 0u) << name;
        EXPECT_LE(GuestStart::loadAddress + image.size(), size_t(BOOT_LIMIT)) << name;
    }
}

TEST(GuestImage, BeginsWithASectorThatABiosStarts) {
    for (const std::string_view name : names) {
        const auto image = FindGuestImage(name);
        ASSERT_GE(image.size(), sectorSize) << name;
        EXPECT_EQ(image[510], 0x55) << name;
        EXPECT_EQ(image[511], 0xAA) << name;
        EXPECT_EQ(image[0], 0xEA) << name; // a far jump, which sets CS
    }
}

TEST(GuestImage, EachNameHasAnImageOfItsOwn) {
    EXPECT_TRUE(Contains(FindGuestImage("demo"), "boot: long mode"));
    EXPECT_TRUE(Contains(FindGuestImage("demo32"), "variant: paging 32 is on"));
    EXPECT_TRUE(Contains(FindGuestImage("demopae"), "variant: paging PAE is on"));
    EXPECT_FALSE(Contains(FindGuestImage("demo"), "variant:"));
}

TEST(GuestImage, AnotherNameIsNotFound) {
    for (const std::string_view name : {"", "dem", "demo3", "demo322", "Demo"}) {
        EXPECT_TRUE(FindGuestImage(name).empty()) << name;
    }
}

TEST(GuestImage, HoldsAPeImageWithACodeViewRecord) {
    const auto image = FindGuestImage("demo");
    constexpr std::string_view marks = "RSDS";
    const auto record = std::search(image.begin(), image.end(), marks.begin(), marks.end());
    ASSERT_NE(record, image.end());
    // The record lies in the second of the two pages of the image; both pages lie one behind the other here.
    bool isFound = false;
    for (size_t at = 0; at + 2 * pageBytes <= image.size() && !isFound; at += 16) {
        if (image[at] != 'M' || image[at + 1] != 'Z') continue;
        const uint32_t headers = Word(image, at + 60);
        if (headers > pageBytes || Word(image, at + headers) != 0x00004550) continue;
        const auto page = image.subspan(at, 2 * pageBytes);
        isFound = true;
        // Only the copy that the boot code makes is what a search at page steps finds.
        EXPECT_NE((GuestStart::loadAddress + at) % pageBytes, 0u);
        EXPECT_EQ(Word(page, headers + 24 + 56), 2 * pageBytes); // size of the image
        const uint32_t directory = Word(page, headers + 24 + 112 + 6 * 8);
        ASSERT_LE(directory, 2 * pageBytes - 28);
        EXPECT_EQ(Word(page, headers + 24 + 112 + 6 * 8 + 4), 28u);
        EXPECT_EQ(Word(page, directory + 12), 2u); // CodeView
        const uint32_t recordAt = Word(page, directory + 20);
        ASSERT_LE(recordAt + 33, 2 * pageBytes);
        EXPECT_EQ(std::memcmp(page.data() + recordAt, "RSDS", 4), 0);
        EXPECT_EQ(Word(page, recordAt + 20), 1u); // age
        EXPECT_STREQ(reinterpret_cast<const char *>(page.data()) + recordAt + 24, "demo.pdb");
    }
    EXPECT_TRUE(isFound);
}

} // namespace sable
