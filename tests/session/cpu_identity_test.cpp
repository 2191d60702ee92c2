#include "session/cpu_identity.h"

#include "support/fake_dbg_eng.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

class CpuIdentity : public testing::Test {
protected:
    CpuIdentity() { identity.engine = &engine; }

    ktFakeTarget target;
    ktFakeDbgEng engine{target};
    ktCpuIdentity identity;
};

} // namespace

TEST_F(CpuIdentity, ReadsTheBrandAndTheAddressSizesInOrder) {
    ASSERT_TRUE(identity.Read());
    const std::vector<std::string> expected = {"CpuId 80000002 0", "CpuId 80000003 0", "CpuId 80000004 0",
                                               "CpuId 80000005 0", "CpuId 80000008 0"};
    EXPECT_EQ(target.Calls(), expected);
}

TEST_F(CpuIdentity, TheBrandIsTheRawRegistersInOrder) {
    target.SetCpuId(0x80000002, {0x44434241, 0x48474645, 0x4C4B4A49, 0x504F4E4D});
    target.SetCpuId(0x80000005, {0, 0, 0, 0xDDCCBBAA});
    ASSERT_TRUE(identity.Read());
    EXPECT_EQ(std::memcmp(identity.brand, "ABCDEFGHIJKLMNOP", 16), 0);
    EXPECT_EQ(identity.brand[16], 0);
    const uint8_t last[4] = {0xAA, 0xBB, 0xCC, 0xDD};
    EXPECT_EQ(std::memcmp(identity.brand + 60, last, 4), 0);
}

TEST_F(CpuIdentity, TheAddressSizesAreTheLowBytesOfEax) {
    target.SetCpuId(0x80000008, {0xFFFF392E, 1, 2, 3});
    ASSERT_TRUE(identity.Read());
    EXPECT_EQ(identity.virtualAddressBits, 0x39u);
    EXPECT_EQ(identity.physicalAddressBits, 0x2Eu);
}

TEST_F(CpuIdentity, IsNeverReadySoEachReadAsksAgain) {
    ASSERT_TRUE(identity.Read());
    EXPECT_FALSE(identity.ready);
    ASSERT_TRUE(identity.Read());
    EXPECT_EQ(target.Count("CpuId"), 10u);
}

TEST_F(CpuIdentity, AReadyOneAsksNothing) {
    identity.ready = true;
    EXPECT_TRUE(identity.Read());
    EXPECT_TRUE(target.Calls().empty());
}

TEST_F(CpuIdentity, AnyFailingLeafFails) {
    for (size_t leaf = 0; leaf < 5; ++leaf) {
        target.Fail("CpuId", ktFakeTarget::failure, 1, leaf);
        EXPECT_FALSE(identity.Read()) << leaf;
        target.Mend("CpuId");
    }
    EXPECT_TRUE(identity.Read());
}

TEST_F(CpuIdentity, WithoutAnEngineFails) {
    identity.engine = nullptr;
    EXPECT_FALSE(identity.Read());
}
