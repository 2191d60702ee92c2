#include "commands/target_root.h"

#include "support/session_rig.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

class TargetRoot : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(rig.Connect()); }
    uint64_t Fill(uint64_t given = 0) {
        ktAddress address;
        address.kind = ktAddress::kindLinear;
        address.value = 0x400000;
        address.root = given;
        ktFillRoot(rig.session, address);
        EXPECT_EQ(address.kind, uint32_t{ktAddress::kindLinear});
        EXPECT_EQ(address.value, 0x400000u);
        return address.root;
    }

    ktSessionRig rig;
};

} // namespace

TEST_F(TargetRoot, IsTheSnapshotsWithItsFlags) {
    EXPECT_EQ(Fill(), ktSessionRig::cr3);
    rig.target.SetRegister(ktRegCr3, 0x7018);
    ASSERT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Fill(), 0x7018u);
    rig.target.SetRegister(ktRegCr3, 0x8018);
    rig.target.Fail("GetCpuInfo", ktFakeTarget::failure, 1);
    ASSERT_FALSE(rig.session.Update(0));
    EXPECT_EQ(Fill(), 0x7018u) << "what is not published does not count";
}

TEST_F(TargetRoot, ThatIsGivenStays) { EXPECT_EQ(Fill(0x5000), 0x5000u); }

TEST_F(TargetRoot, OfARunningTargetIsThatOfTheLastStop) {
    ASSERT_TRUE(rig.session.Update(ktUpdateAssumeRunning));
    ASSERT_TRUE(rig.Published()->stop.running);
    EXPECT_EQ(Fill(), ktSessionRig::cr3) << "its snapshot never had registers";
    rig.target.SetRegister(ktRegCr3, 0x9003);
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(rig.session.Update(0)); // each snapshot has registers
    rig.target.SetRegister(ktRegCr3, 0xB003);
    ASSERT_TRUE(rig.session.Update(0));
    ASSERT_TRUE(rig.session.Update(ktUpdateAssumeRunning));
    ASSERT_EQ(rig.Published()->context.values[ktRegCr3], 0x9003u) << "those of an older stop";
    EXPECT_EQ(Fill(), 0xB003u);
}

TEST_F(TargetRoot, IsThereWhileTheSnapshotIsDrawn) {
    ktSnapshot *snapshot = rig.session.publishedSnapshot;
    std::thread frame([&] {
        const ktLockGuard drawing(snapshot->lock);
        std::thread command([&] { EXPECT_EQ(Fill(), ktSessionRig::cr3); });
        command.join();
    });
    frame.join();
}

TEST_F(TargetRoot, IsNoneBehindTheSession) {
    rig.session.Disconnect();
    EXPECT_EQ(Fill(), 0u);
}

TEST_F(TargetRoot, IsNoneWithoutASnapshot) {
    ktSnapshot *published = rig.session.publishedSnapshot.exchange(nullptr);
    EXPECT_EQ(Fill(), 0u);
    rig.session.publishedSnapshot = published;
}
