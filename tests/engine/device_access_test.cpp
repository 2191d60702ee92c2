#include "core/device_access.h"

#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "core/address_space.h"
#include "support/fake_target.h"

using namespace sable;

namespace {

using Access = FakeTarget::Access;

class DeviceAccess : public testing::Test {
protected:
    FakeTarget target;
    PhysicalSpace space = PhysicalSpace(target);
    FakeMonitor monitor;
    uint8_t buffer[4096] = {};
    uint32_t done = 99;
};

} // namespace

TEST_F(DeviceAccess, APortStaysTheSameFromAccessToAccess) {
    EXPECT_EQ(ReadPort(target, 0x60, 2, buffer, 4, monitor, done), SABLE_OK);
    EXPECT_EQ(done, 4u);
    ASSERT_EQ(target.accesses.size(), 2u);
    EXPECT_EQ(target.accesses[1], (Access{0x60, 2, 0x04030202}));
    EXPECT_EQ(buffer[0], 1);
    EXPECT_EQ(buffer[1], 2);
    EXPECT_EQ(buffer[2], 2);
    EXPECT_EQ(buffer[3], 2);
}

TEST_F(DeviceAccess, TheLastReadOfAPortIsMadeWhole) {
    EXPECT_EQ(ReadPort(target, 0x60, 4, buffer, 5, monitor, done), SABLE_OK);
    EXPECT_EQ(done, 5u);
    ASSERT_EQ(target.accesses.size(), 2u);
    EXPECT_EQ(target.accesses[1].width, 4);
    EXPECT_EQ(buffer[3], 4);
    EXPECT_EQ(buffer[4], 2);
    EXPECT_EQ(buffer[5], 0);
}

TEST_F(DeviceAccess, WritesToAPort) {
    const uint8_t bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(WritePort(target, 0xCF8, 4, bytes, 8, monitor, done), SABLE_OK);
    EXPECT_EQ(done, 8u);
    EXPECT_EQ(target.accesses, (std::vector<Access>{{0xCF8, 4, 0x04030201}, {0xCF8, 4, 0x08070605}}));
}

TEST_F(DeviceAccess, WidthsThatThereAreNotAreRefused) {
    for (const uint8_t width : {uint8_t(0), uint8_t(3), uint8_t(5), uint8_t(8), uint8_t(255)}) {
        EXPECT_EQ(ReadPort(target, 0, width, buffer, 8, monitor, done), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(WritePort(target, 0, width, buffer, 8, monitor, done), SABLE_BAD_ARGUMENT);
        if (width == 8) continue;
        EXPECT_EQ(ReadDevice(space, 0, width, buffer, 8, monitor, done), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(WriteDevice(space, 0, width, buffer, 8, monitor, done), SABLE_BAD_ARGUMENT);
    }
    EXPECT_EQ(done, 0u);
    EXPECT_TRUE(target.accesses.empty());
}

TEST_F(DeviceAccess, HalfAWriteIsRefused) {
    EXPECT_EQ(WritePort(target, 0, 2, buffer, 3, monitor, done), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(WriteDevice(space, 0, 4, buffer, 6, monitor, done), SABLE_BAD_ARGUMENT);
    EXPECT_TRUE(target.accesses.empty());
}

TEST_F(DeviceAccess, DeviceMemoryGoesOnFromAccessToAccess) {
    // Not RAM, and nothing asks whether it is.
    EXPECT_EQ(ReadDevice(space, 0xFEE00000, 8, buffer, 20, monitor, done), SABLE_OK);
    EXPECT_EQ(done, 20u);
    EXPECT_EQ(target.accesses,
              (std::vector<Access>{{0xFEE00000, 8, 0}, {0xFEE00008, 8, 0}, {0xFEE00010, 8, 0}}));
    EXPECT_EQ(buffer[7], 0x88);
    EXPECT_EQ(buffer[19], 0x44);
    EXPECT_EQ(buffer[20], 0);
    target.accesses.clear();
    const uint8_t bytes[] = {1, 2, 3, 4};
    EXPECT_EQ(WriteDevice(space, 0xFEE00002, 2, bytes, 4, monitor, done), SABLE_OK);
    EXPECT_EQ(target.accesses, (std::vector<Access>{{0xFEE00002, 2, 0x0201}, {0xFEE00004, 2, 0x0403}}));
}

TEST_F(DeviceAccess, DeviceMemoryIsAligned) {
    EXPECT_EQ(ReadDevice(space, 0xFEE00002, 4, buffer, 4, monitor, done), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(WriteDevice(space, 0xFEE00001, 2, buffer, 4, monitor, done), SABLE_BAD_ARGUMENT);
}

TEST_F(DeviceAccess, DeviceMemoryByLinearAddressIsTranslated) {
    target.paging.mode = ktSbPaging32;
    target.paging.root = 0x10000;
    target.Put<uint32_t>(0x10000, 0x11000 | 3);
    target.Put<uint32_t>(0x11000 + 4, 0xFEC00000 | 3);
    LinearSpace linear(target, 0);
    ASSERT_EQ(linear.Open(), SABLE_OK);
    EXPECT_EQ(ReadDevice(linear, 0x1FFC, 4, buffer, 8, monitor, done), SABLE_OK);
    EXPECT_EQ(done, 4u) << "the next page is not there";
    EXPECT_EQ(target.accesses, (std::vector<Access>{{0xFEC00FFC, 4, 0}}));
    EXPECT_EQ(WriteDevice(linear, 0x2000, 4, buffer, 4, monitor, done), SABLE_FAILED);
    EXPECT_EQ(done, 0u);
}

TEST_F(DeviceAccess, TheAddressesEndAtTheHighest) {
    EXPECT_EQ(ReadDevice(space, UINT64_MAX - 3, 4, buffer, 8, monitor, done), SABLE_OK);
    EXPECT_EQ(done, 4u);
}

TEST_F(DeviceAccess, AFailureKeepsWhatWasDone) {
    target.accessLimit = 2;
    EXPECT_EQ(ReadPort(target, 1, 1, buffer, 3, monitor, done), SABLE_OK);
    EXPECT_EQ(done, 2u);
    target.accessLimit = 0;
    EXPECT_EQ(ReadPort(target, 1, 1, buffer, 3, monitor, done), SABLE_FAILED);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(ReadDevice(space, 0, 1, buffer, 3, monitor, done), SABLE_FAILED);
    EXPECT_EQ(WriteDevice(space, 0, 1, buffer, 3, monitor, done), SABLE_FAILED);
    EXPECT_EQ(WritePort(target, 0, 1, buffer, 3, monitor, done), SABLE_FAILED);
}

TEST_F(DeviceAccess, EndsWhenNobodyWaits) {
    monitor.patience = 0;
    EXPECT_EQ(ReadPort(target, 1, 1, buffer, 4096, monitor, done), SABLE_FAILED);
    EXPECT_LT(target.accesses.size(), 100u);
}

TEST_F(DeviceAccess, ATargetWithoutDevicesSaysSo) {
    Target bare;
    PhysicalSpace nothing(bare);
    EXPECT_EQ(ReadPort(bare, 1, 1, buffer, 1, monitor, done), SABLE_NOT_SUPPORTED);
    EXPECT_EQ(WritePort(bare, 1, 1, buffer, 1, monitor, done), SABLE_NOT_SUPPORTED);
    EXPECT_EQ(ReadDevice(nothing, 0, 1, buffer, 1, monitor, done), SABLE_NOT_SUPPORTED);
    EXPECT_EQ(WriteDevice(nothing, 0, 1, buffer, 1, monitor, done), SABLE_NOT_SUPPORTED);
}
