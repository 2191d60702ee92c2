#include "core/address_space.h"

#include <cstdint>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "core/segment.h"
#include "support/fake_target.h"

using namespace sable;

namespace {

constexpr uint64_t root = 0x10000;
constexpr uint64_t table = 0x11000;

/// 32-bit paging: linear pages 0, 1 and 2 are the pages 0x20000, 0x23000 and 0x21000; page 3 is not there.
class AddressSpaces : public testing::Test {
protected:
    AddressSpaces() : linear(target, root) {
        target.paging.mode = ktSbPaging32;
        target.paging.root = root;
        target.Put<uint32_t>(root, uint32_t(table) | 3);
        target.Put<uint32_t>(table, 0x20000 | 3);
        target.Put<uint32_t>(table + 4, 0x23000 | 3);
        target.Put<uint32_t>(table + 8, 0x21000 | 1);
        EXPECT_EQ(linear.Open(), SABLE_OK);
    }

    FakeTarget target;
    LinearSpace linear;
    std::vector<uint8_t> buffer = std::vector<uint8_t>(0x4000);
    uint32_t done = 99;
};

uint64_t Descriptor(uint32_t base, uint8_t access) {
    return uint64_t(0xFFFF) | uint64_t(base & 0xFFFFFF) << 16 | uint64_t(access) << 40 |
           uint64_t(0xCF) << 48 | uint64_t(base >> 24) << 56;
}

} // namespace

TEST_F(AddressSpaces, ReadsAndWritesGoAcrossPages) {
    std::iota(buffer.begin(), buffer.end(), uint8_t(1));
    EXPECT_EQ(linear.Write(0xFFE, buffer.data(), 0x1004, done), SABLE_OK);
    EXPECT_EQ(done, 0x1004u);
    EXPECT_EQ(target.ram[0x20FFE], 1);
    EXPECT_EQ(target.ram[0x23000], 3);
    EXPECT_EQ(target.ram[0x21001], uint8_t(0x1004));
    EXPECT_EQ(target.ram[0x21002], 0);
    std::vector<uint8_t> copy(0x1004);
    EXPECT_EQ(linear.Read(0xFFE, copy.data(), 0x1004, done), SABLE_OK);
    buffer.resize(0x1004);
    EXPECT_EQ(copy, buffer);
}

TEST_F(AddressSpaces, WhatEndsAtAHoleIsDoneUpToIt) {
    EXPECT_EQ(linear.Read(0x2FF0, buffer.data(), 0x100, done), SABLE_OK);
    EXPECT_EQ(done, 0x10u);
    EXPECT_EQ(linear.Write(0x2FF0, buffer.data(), 0x100, done), SABLE_OK);
    EXPECT_EQ(done, 0x10u);
}

TEST_F(AddressSpaces, WhatBeginsInAHoleFails) {
    EXPECT_EQ(linear.Read(0x3000, buffer.data(), 0x100, done), SABLE_FAILED);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(linear.Write(0x3000, buffer.data(), 1, done), SABLE_FAILED);
    EXPECT_EQ(done, 0u);
}

TEST_F(AddressSpaces, NothingIsAlwaysDone) {
    EXPECT_EQ(linear.Read(0x3000, nullptr, 0, done), SABLE_OK);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(linear.Write(0x3000, nullptr, 0, done), SABLE_OK);
}

TEST_F(AddressSpaces, APageThatIsNoMemoryIsAHole) {
    target.holes.insert(0x23);
    EXPECT_EQ(linear.Read(0xF00, buffer.data(), 0x200, done), SABLE_OK);
    EXPECT_EQ(done, 0x100u);
    EXPECT_EQ(linear.Read(0x1000, buffer.data(), 1, done), SABLE_FAILED);
}

TEST_F(AddressSpaces, TheHighestAddressIsTheLast) {
    // Long mode, one page at the top.
    target.paging.mode = ktSbPaging4Level;
    target.Put<uint64_t>(root + 511 * 8, 0x30000 | 3);
    target.Put<uint64_t>(0x30000 + 511 * 8, 0x31000 | 3);
    target.Put<uint64_t>(0x31000 + 511 * 8, 0x32000 | 3);
    target.Put<uint64_t>(0x32000 + 511 * 8, 0x20000 | 3);
    ASSERT_EQ(linear.Open(), SABLE_OK);
    EXPECT_EQ(linear.Read(UINT64_MAX - 15, buffer.data(), 0x100, done), SABLE_OK);
    EXPECT_EQ(done, 16u);
}

TEST_F(AddressSpaces, PhysicalMemoryEndsWhereItEnds) {
    PhysicalSpace physical(target);
    EXPECT_EQ(physical.Read(FakeTarget::ramBytes - 8, buffer.data(), 16, done), SABLE_OK);
    EXPECT_EQ(done, 8u);
    EXPECT_EQ(physical.Read(FakeTarget::ramBytes, buffer.data(), 1, done), SABLE_FAILED);
    EXPECT_EQ(physical.Read(UINT64_MAX, buffer.data(), 2, done), SABLE_FAILED);
    target.holes = {4, 5};
    EXPECT_EQ(physical.Locate(0x3000).isMapped, true);
    EXPECT_EQ(physical.Locate(0x4010).isMapped, false);
    EXPECT_EQ(physical.Locate(0x4010).last, 0x5FFFu);
    EXPECT_EQ(physical.Locate(FakeTarget::ramBytes).last, UINT64_MAX);
}

TEST_F(AddressSpaces, ATargetWithoutMemorySaysSo) {
    Target bare;
    PhysicalSpace physical(bare);
    EXPECT_EQ(physical.Read(0, buffer.data(), 1, done), SABLE_NOT_SUPPORTED);
    EXPECT_EQ(physical.Write(0, buffer.data(), 1, done), SABLE_NOT_SUPPORTED);
    LinearSpace pages(bare, 0);
    EXPECT_EQ(pages.Open(), SABLE_NOT_SUPPORTED);
}

TEST_F(AddressSpaces, ASelectorInARegisterHasTheRegistersBase) {
    target.context.selector[ktSbCs] = 8;
    target.context.selector[ktSbDs] = 0x10;
    target.context.selector[ktSbSs] = 0x10;
    target.context.base[ktSbDs] = 0x1000;
    target.context.base[ktSbSs] = 0x2000;
    Segment segment;
    EXPECT_EQ(FindSegment(target, 0x10, segment), SABLE_OK);
    EXPECT_EQ(segment.base, 0x1000u) << "the first in the order of the registers";
    EXPECT_EQ(segment.Linear(0xFFFFFFFF), 0xFFFu) << "linear addresses have 32 bits";
}

TEST_F(AddressSpaces, InLongModeOnlyFsAndGsHaveABase) {
    target.mode = ktSbModeLong64;
    for (uint16_t index = 0; index < ktSbSegmentCount; ++index) {
        target.context.selector[index] = uint16_t(8 * (index + 1));
        target.context.base[index] = 0xFFFF800000000000;
    }
    Segment segment;
    for (uint16_t index = 0; index < ktSbSegmentCount; ++index) {
        EXPECT_EQ(FindSegment(target, uint16_t(8 * (index + 1)), segment), SABLE_OK);
        EXPECT_EQ(segment.base, index >= ktSbFs ? 0xFFFF800000000000 : 0);
    }
    EXPECT_EQ(FindSegment(target, 0x80, segment), SABLE_OK);
    EXPECT_EQ(segment.Linear(UINT64_MAX), UINT64_MAX);
}

TEST_F(AddressSpaces, InRealModeASelectorIsAParagraph) {
    for (const uint32_t mode : {ktSbModeReal, ktSbModeVirtual8086}) {
        target.mode = mode;
        Segment segment;
        EXPECT_EQ(FindSegment(target, 0xF000, segment), SABLE_OK);
        EXPECT_EQ(segment.Linear(0xFFF0), 0xFFFF0u);
    }
}

TEST_F(AddressSpaces, OtherSelectorsAreLookedUpInTheTables) {
    target.context.gdtBase = 0x1000;
    target.context.gdtLimit = 0x1F;
    target.context.ldt = 0x18;
    target.context.ldtBase = 0x2000;
    target.context.ldtLimit = 7;
    target.Put(0x23008, Descriptor(0x12345678, 0x93));
    target.Put(0x23010, Descriptor(0x1000, 0x82)); // a local table
    target.Put(0x23018, Descriptor(0x1000, 0x13)); // not present
    target.Put(0x21000, Descriptor(0xFEDCBA98, 0xFB));
    for (uint16_t index = 0; index < ktSbSegmentCount; ++index) target.context.selector[index] = 0x100;

    Segment segment;
    EXPECT_EQ(FindSegment(target, 0x8, segment), SABLE_OK);
    EXPECT_EQ(segment.base, 0x12345678u);
    EXPECT_EQ(FindSegment(target, 0xB, segment), SABLE_OK) << "the privilege level does not matter";
    EXPECT_EQ(FindSegment(target, 0x4, segment), SABLE_OK) << "the first of the local table";
    EXPECT_EQ(segment.base, 0xFEDCBA98u);
    EXPECT_EQ(FindSegment(target, 0x0, segment), SABLE_FAILED) << "the null selector";
    EXPECT_EQ(FindSegment(target, 0x10, segment), SABLE_FAILED) << "no code or data";
    EXPECT_EQ(FindSegment(target, 0x18, segment), SABLE_FAILED) << "not present";
    EXPECT_EQ(FindSegment(target, 0x20, segment), SABLE_FAILED) << "behind the limit";
    EXPECT_EQ(FindSegment(target, 0xC, segment), SABLE_FAILED) << "behind the local limit";
    target.context.ldt = 0;
    EXPECT_EQ(FindSegment(target, 0x4, segment), SABLE_FAILED) << "no local table";
    target.context.gdtBase = 0x3000;
    EXPECT_EQ(FindSegment(target, 0x8, segment), SABLE_FAILED) << "a table that is not mapped";
}
