#include "commands/pte_cmd.h"

#include "session/page_walk_result.h"
#include "support/target_cmd_test.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using Calls = std::vector<std::string>;
using Lines = std::vector<std::string>;

class PteCmd : public ktTargetCmdTest {
protected:
    PteCmd() { rig.target.SetCpuId(0x80000008, {0x3027, 0, 0, 0}); } // 39 physical bits
    void SetWalk(uint16_t mode, std::initializer_list<uint64_t> entries, uint64_t physical,
                 bool valid = true) {
        ktPageWalkResult walk;
        walk.mode = mode;
        walk.valid = valid;
        walk.levelCount = static_cast<uint16_t>(entries.size());
        std::copy(entries.begin(), entries.end(), walk.entries);
        rig.target.SetTranslation(walk, physical);
    }
};

} // namespace

TEST_F(PteCmd, ALinearAddressThroughFourLevels) {
    SetWalk(ktPageWalkResult::mode4Level, {0x1A6067, 0x1A7067, 0x1A8067, 0x80000040123450E3}, 0x123456);
    EXPECT_EQ(Run("pte 7fff00001123"), 0u);
    EXPECT_EQ(Output(), (Lines{
                            "Page walk for address 00007FFF00001123:",
                            "4-level paging",
                            "Translation is valid",
                            "Page table root at #80000000001A5003",
                            "PML4: 00000000001A6067",
                            "Present, RW, USER, PWT 0, PCD 0, ACCESSED",
                            "Physical address: 00000000001A6000",
                            "PDPTE: 00000000001A7067",
                            "Present, RW, USER, PWT 0, PCD 0, ACCESSED",
                            "Physical address: 00000000001A7000",
                            "PDE: 00000000001A8067",
                            "Present, RW, USER, PWT 0, PCD 0, ACCESSED",
                            "Physical address: 00000000001A8000",
                            "PTE: 80000040123450E3",
                            "4KB page, Present, RW, SUPR, PWT 0, PCD 0, PAT 1, ACCESSED, DIRTY, XD",
                            "Physical address: 0000004012345000",
                            "Linear 00007FFF00001123 is 0000000000123456 physical",
                        }));
    EXPECT_EQ(rig.target.Calls(),
              (Calls{"ToPhysical kind 2 at 0000:7FFF00001123 root 80000000001A5003 attribute 9 for 0",
                     "WalkPage kind 2 at 0000:7FFF00001123 root 80000000001A5003 attribute 9 for 0"}));
}

TEST_F(PteCmd, AVirtualAddressWithARoot) {
    SetWalk(ktPageWalkResult::mode32Bit, {0x804020E7}, 0x180400123);
    EXPECT_EQ(Run("pte 10:123@5000"), 0u);
    EXPECT_EQ(Output(),
              (Lines{"Page walk for address 0010:0000000000000123:", "32-bit paging", "Translation is valid",
                     "Page table root at #0000000000005000", "PDE: 804020E7",
                     "4MB page, Present, RW, USER, PWT 0, PCD 0, PAT 0, ACCESSED, DIRTY, PS 1",
                     "Physical address: 0000000180400000",
                     "Virtual 0010:0000000000000123 is 0000000180400123 physical"}));
    EXPECT_EQ(rig.target.Calls(), (Calls{"ToPhysical kind 1 at 0010:123 root 5000 attribute 9 for 0",
                                         "WalkPage kind 1 at 0010:123 root 5000 attribute 9 for 0"}));
}

TEST_F(PteCmd, PagingOff) {
    SetWalk(ktPageWalkResult::modeOff, {}, 0x1000);
    EXPECT_EQ(Run("pte 1000"), 0u);
    EXPECT_EQ(Output(), (Lines{"Page walk for address 0000000000001000:", "Paging is disabled",
                               "Linear 0000000000001000 is 0000000000001000 physical"}));
}

TEST_F(PteCmd, OtherModes) {
    SetWalk(4, {0x1007}, 0x1000);
    EXPECT_EQ(Run("pte 1000"), 0u);
    EXPECT_EQ(Output(), (Lines{"Page walk for address 0000000000001000:",
                               "Linear 0000000000001000 is 0000000000001000 physical"}));
    SetWalk(5, {0x1007}, 0x1000);
    EXPECT_EQ(Run("pte 1000"), 0u);
    EXPECT_EQ(Output(), (Lines{"Page walk for address 0000000000001000:", "Unknown page walk mode",
                               "Linear 0000000000001000 is 0000000000001000 physical"}));
}

TEST_F(PteCmd, TheLastLineComesAlsoBehindAnInvalidTranslation) {
    SetWalk(ktPageWalkResult::modePae, {0x1001}, 0, false);
    EXPECT_EQ(Run("pte 8:1000"), 0u);
    EXPECT_EQ(Output(),
              (Lines{"Page walk for address 0008:0000000000001000:", "PAE paging", "Translation is not valid",
                     "Virtual 0008:0000000000001000 is 0000000000000000 physical"}));
}

TEST_F(PteCmd, AnEntryThatIsNotPresentEndsTheWalk) {
    SetWalk(ktPageWalkResult::mode4Level, {0x1A6067, 0x1A7066, 0x1A8067, 0x1}, 0x1000);
    EXPECT_EQ(Run("pte 1000"), 0u);
    ASSERT_EQ(Output().size(), 10u);
    EXPECT_EQ(Output()[7], "PDPTE: 00000000001A7066");
    EXPECT_EQ(Output()[8], "PDPTE not present, Bits 1-63 ignored");
    EXPECT_EQ(Output()[9], "Linear 0000000000001000 is 0000000000001000 physical");
    SetWalk(ktPageWalkResult::modePae, {0x1006}, 0x1000);
    EXPECT_EQ(Run("pte 1000"), 0u);
    EXPECT_EQ(Output(), (Lines{"Page walk for address 0000000000001000:", "PAE paging",
                               "Translation is valid", "Page table root at #80000000001A5003",
                               "PDPTE: 0000000000001006", "PDPTE not present, Bits 1-63 ignored",
                               "Linear 0000000000001000 is 0000000000001000 physical"}));
}

TEST_F(PteCmd, APhysicalAddressHasNoWalk) {
    SetWalk(ktPageWalkResult::mode4Level, {0x1007}, 0);
    EXPECT_EQ(Run("pte #1000"), 18u);
    EXPECT_TRUE(Output().empty());
    EXPECT_EQ(rig.target.Names(), (Calls{"ToPhysical", "WalkPage"}));
}

TEST_F(PteCmd, AFailureOfTheEngineIs18WithoutALine) {
    SetWalk(ktPageWalkResult::mode4Level, {0x1007}, 0);
    rig.target.Fail("ToPhysical");
    EXPECT_EQ(Run("pte 1000"), 18u);
    EXPECT_EQ(rig.target.Names(), Calls{"ToPhysical"});
    rig.target.Mend("ToPhysical");
    rig.target.Fail("WalkPage");
    EXPECT_EQ(Run("pte 1000"), 18u);
    EXPECT_TRUE(Output().empty());
}

TEST_F(PteCmd, WithoutASnapshotTheRootStaysNone) {
    SetWalk(ktPageWalkResult::modePae, {}, 0);
    ktSnapshot *published = rig.session.publishedSnapshot.exchange(nullptr);
    EXPECT_EQ(Run("pte 1000"), 0u);
    EXPECT_EQ(Output()[3], "Page table root at #0000000000000000");
    rig.session.publishedSnapshot = published;
}

TEST_F(PteCmd, TheAddressIsCutToTheProcessorsPhysicalBits) {
    SetWalk(ktPageWalkResult::mode32Bit, {0x003FE081}, 0);
    EXPECT_EQ(Run("pte 1000"), 0u);
    EXPECT_EQ(Output()[6], "Physical address: 0000007F00000000");
}

TEST_F(PteCmd, ATextThatIsNoAddressIs10) {
    EXPECT_EQ(Run("pte 1:2:3"), 10u);
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST_F(PteCmd, WorksWhileUpdatesTurnTheSnapshots) {
    SetWalk(ktPageWalkResult::modeOff, {}, 0x1000);
    rig.target.StopRecording();
    std::atomic<bool> stop{false};
    std::thread updates([&] {
        while (!stop) rig.session.Update(0);
    });
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(rig.processor.RunLine("pte 1000"), 0u);
        EXPECT_EQ(rig.processor.RunLine("r"), 0u);
    }
    stop = true;
    updates.join();
    EXPECT_EQ(Output().size(), 300u * (3 + 59));
}

TEST(PteCmdStatus, TheTextIsReadFirstThenTheSessionThenTheEngine) {
    ktPteCmd pte;
    ktSessionRig rig;
    EXPECT_TRUE(pte.IsSynchronous());
    EXPECT_EQ(pte.Execute(nullptr, 0), 10u);
    EXPECT_EQ(ExecuteIn(nullptr, pte, {static_cast<const char *>(nullptr)}), 10u);
    EXPECT_EQ(ExecuteIn(nullptr, pte, {"1@2@3"}), 10u);
    EXPECT_EQ(ExecuteIn(nullptr, pte, {"1000"}), 8u);
    EXPECT_EQ(ExecuteIn(&rig.session, pte, {"1000"}), 8u);
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.session.cpuIdentity.reset();
    EXPECT_EQ(ExecuteIn(&rig.session, pte, {"1000"}), 16u);
    rig.session.cpuIdentity = std::make_unique<ktCpuIdentity>();
    rig.session.engine.reset();
    EXPECT_EQ(ExecuteIn(&rig.session, pte, {"1000"}), 16u);
}
