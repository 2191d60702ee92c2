#include "core/sha1.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "core/address_space.h"
#include "support/fake_target.h"

using namespace sable;

namespace {

std::string Text(const ktSbRawSha1 &digest) {
    std::string text;
    for (const uint8_t byte : digest.digest) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02x", byte);
        text += hex;
    }
    return text;
}

class Hashing : public testing::Test {
protected:
    FakeTarget target;
    PhysicalSpace space = PhysicalSpace(target);
    FakeMonitor monitor;
    ktSbRawSha1 digest = {};
    uint32_t done = 99;
};

} // namespace

TEST_F(Hashing, KnownDigests) {
    EXPECT_EQ(ComputeSha1(space, 0, 0, monitor, digest, done), SABLE_OK);
    EXPECT_EQ(Text(digest), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(done, 0u);
    std::memcpy(&target.ram[0x1FFE], "abc", 3);
    EXPECT_EQ(ComputeSha1(space, 0x1FFE, 3, monitor, digest, done), SABLE_OK);
    EXPECT_EQ(Text(digest), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(done, 3u);
    std::memset(&target.ram[0x100000], 'a', 1000000);
    EXPECT_EQ(ComputeSha1(space, 0x100000, 1000000, monitor, digest, done), SABLE_OK);
    EXPECT_EQ(Text(digest), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
    EXPECT_EQ(done, 1000000u);
}

TEST_F(Hashing, AHoleLeavesNoDigestAndTheCountBeforeIt) {
    target.holes.insert(0x20);
    EXPECT_EQ(ComputeSha1(space, 0x10001, 0x20000, monitor, digest, done), SABLE_FAILED);
    EXPECT_EQ(done, 0xFFFFu);
    EXPECT_EQ(ComputeSha1(space, 0x20000, 1, monitor, digest, done), SABLE_FAILED);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(Text(digest), std::string(40, '0'));
}

TEST_F(Hashing, EndsWhenNobodyWaits) {
    monitor.patience = 2;
    EXPECT_EQ(ComputeSha1(space, 0, 0x100000, monitor, digest, done), SABLE_FAILED);
    EXPECT_EQ(monitor.asked, 3u);
}
