#include "sim/sim_target.h"

#include <chrono>
#include <cstring>
#include <set>

#include <gtest/gtest.h>

#include "core/page_walk.h"
#include "support/sim_target_fixture.h"

namespace sable {

namespace {

constexpr uint64_t processStep = 0x400100, processEnd = 0x410000;

} // namespace

TEST_F(SimTargetTest, MemoryIsTheSameByEachKindOfAddress) {
    Boot();
    const std::set<uint64_t> roots = Roots();
    ASSERT_EQ(roots.size(), 2u);
    for (const uint64_t root : roots) {
        // Pages of 4 KiB, 2 MiB and 1 GiB.
        for (const uint64_t linear : {processStep, uint64_t(0xFFFF800000110000), uint64_t(0xFFFFC00000110000),
                                      uint64_t(0xFFFFFFFF80110000)}) {
            uint8_t one[64], other[64];
            uint32_t done = 0;
            LinearSpace space(*target, root);
            ASSERT_EQ(space.Open(), SABLE_OK);
            EXPECT_EQ(space.Read(linear, one, sizeof one, done), SABLE_OK);
            EXPECT_EQ(target->ReadPhysical(Physical(root, linear), other, sizeof other, done), SABLE_OK);
            EXPECT_EQ(std::memcmp(one, other, sizeof one), 0) << std::hex << linear;
        }
    }
    EXPECT_NE(Physical(*roots.begin(), processStep), Physical(*roots.rbegin(), processStep));
}

TEST_F(SimTargetTest, ABreakPointWithARootStopsOnlyThatProcess) {
    Boot();
    const std::set<uint64_t> roots = Roots();
    ASSERT_EQ(roots.size(), 2u);
    const uint64_t entry = SyscallEntry();
    for (const uint64_t root : roots) {
        const uint16_t number = Break(Physical(0, entry));
        Filter(number, root, entry);
        for (int n = 0; n < 5; ++n) {
            ASSERT_EQ(Go(), ktSbStopBreakPoint);
            EXPECT_EQ(Context().cr3, root);
            EXPECT_EQ(Context().rip, entry);
        }
        EXPECT_EQ(breakPoints->Clear(), SABLE_OK);
    }
}

TEST_F(SimTargetTest, TheProcessesMeetTheirOwnCodeAtOneAddress) {
    Boot();
    const std::set<uint64_t> roots = Roots();
    for (const uint64_t root : roots) {
        Filter(Break(Physical(root, processStep)), root, processStep);
        ASSERT_EQ(Go(), ktSbStopBreakPoint);
        EXPECT_EQ(Context().cr3, root);
        EXPECT_EQ(Context().rip, processStep);
        EXPECT_EQ(Context().selector[ktSbCs] & 3, 3);
        EXPECT_EQ(breakPoints->Clear(), SABLE_OK);
    }
}

TEST_F(SimTargetTest, StepsIntoAndOverASystemCall) {
    Boot();
    const uint64_t entry = SyscallEntry();
    const uint16_t number = Break(Physical(0, entry));
    ASSERT_EQ(Go(), ktSbStopBreakPoint);
    const ktRawContext inKernel = Context();
    EXPECT_EQ(breakPoints->Remove(number), SABLE_OK);
    const uint64_t behind = inKernel.rcx, at = behind - 2;
    ASSERT_LT(behind, processEnd);
    const uint16_t before = Break(Physical(inKernel.cr3, at));
    ASSERT_EQ(Go(), ktSbStopBreakPoint);
    ASSERT_EQ(Context().rip, at);
    EXPECT_EQ(Step(), ktSbStopStep);
    EXPECT_EQ(Context().rip, entry);
    EXPECT_EQ(Context().selector[ktSbCs], 0x08);
    Break(Physical(inKernel.cr3, behind));
    ASSERT_EQ(Go(), ktSbStopBreakPoint);
    EXPECT_EQ(Context().rip, behind);
    EXPECT_EQ(Context().selector[ktSbCs] & 3, 3);
    EXPECT_EQ(breakPoints->Remove(before), SABLE_OK);
}

TEST_F(SimTargetTest, BreakPointsThatNobodyMeansCostNoStop) {
    Boot();
    const uint64_t entry = SyscallEntry();
    Filter(Break(Physical(0, entry)), 0x3FFFF000, entry);
    for (uint64_t n = 0; n < 100; ++n) Break(0x110000 + n * 64 + 1);
    EXPECT_EQ(breakPoints->Clear(), SABLE_OK);
    Filter(Break(Physical(0, entry)), 0x3FFFF000, entry);
    EXPECT_FALSE(Go("second: step 8,"));
    EXPECT_TRUE(keeper.Has("second: step 8,"));
}

TEST_F(SimTargetTest, AnEditOfCodeTakesEffectAtOnce) {
    Boot();
    target->SwitchCpu(1);
    const uint64_t rip = Context().rip, physical = Physical(0, rip);
    Write(physical, {0xEB, 0xFE}); // jmp $
    for (int n = 0; n < 20; ++n) EXPECT_FALSE(target->Run());
    EXPECT_EQ(Context().rip, rip);
    Write(physical, {0xEB, 0x0E});
    Write(physical + 16, {0xEB, 0xFE});
    for (int n = 0; n < 20; ++n) EXPECT_FALSE(target->Run());
    EXPECT_EQ(Context().rip, rip + 16);
}

TEST_F(SimTargetTest, AnEditOfAPageTableTakesEffectAtOnce) {
    Boot();
    target->SwitchCpu(1);
    const uint64_t rip = Context().rip;
    PagingFacts facts;
    ASSERT_EQ(target->GetPaging(facts), SABLE_OK);
    const PageWalk walk = WalkPages(*target, facts, 0, rip);
    ASSERT_EQ(walk.raw.entryCount, 4);
    const uint64_t table = walk.raw.entries[2] & 0xFFFFFFF000, at = table + 8 * (rip >> 12 & 511);
    // Another page with a jump to itself everywhere that matters.
    const uint64_t otherPage = 0x1F00000;
    Write(otherPage + (rip & 0xFFF), {0xEB, 0xFE});
    uint64_t entry = (walk.raw.entries[3] & ~uint64_t(0xFFFFFFF000)) | otherPage;
    ASSERT_EQ(target->WriteMmio(at, 8, entry), SABLE_OK);
    for (int n = 0; n < 20; ++n) EXPECT_FALSE(target->Run());
    EXPECT_EQ(Context().rip, rip);
    EXPECT_EQ(Physical(0, rip), otherPage + (rip & 0xFFF));
}

TEST_F(SimTargetTest, RebootStartsAfresh) {
    Boot();
    Break(0x7C00);
    target->SwitchCpu(1);
    EXPECT_EQ(target->Reboot(), SABLE_OK);
    EXPECT_EQ(Context().rip, 0x7C00u);
    EXPECT_EQ(mode, uint32_t(ktSbModeReal));
    keeper.text.clear();
    EXPECT_FALSE(Go("boot: long mode\n")) << "the first instruction is executed without asking";
    EXPECT_TRUE(keeper.Has("boot: long mode\n"));
    EXPECT_EQ(target->Reboot(), SABLE_OK);
    EXPECT_EQ(target->Run(), ktSbStopBreakPoint) << "fetch stops stay";
}

TEST_F(SimTargetTest, AResetByAPortStopsAtTheFirstInstruction) {
    Boot();
    EXPECT_EQ(target->WriteIo(0xCF9, 1, 6), SABLE_OK);
    EXPECT_EQ(Go(), ktSbStopReset);
    EXPECT_EQ(Context().rip, 0x7C00u);
    EXPECT_EQ(target->WriteIo(0x64, 1, 0xFE), SABLE_OK);
    EXPECT_EQ(Step(), ktSbStopReset);
    EXPECT_EQ(Context().rip, 0x7C00u);
}

TEST_F(SimTargetTest, AFaultThatCannotBeDeliveredStopsWithAnException) {
    Boot();
    target->SwitchCpu(1);
    ktRawContext context = Context();
    context.idtLimit = 0;
    context.rip = 0x1234567890;
    EXPECT_EQ(target->SetContext(context, uint64_t(1) << ktSbRegIdtLimit | 1), SABLE_OK);
    target->SwitchCpu(0);
    EXPECT_EQ(Go(), ktSbStopException);
    uint8_t core = 0, count = 0;
    target->GetCpuInfo(core, count);
    EXPECT_EQ(core, 1) << "the one that stopped is the current one";
    EXPECT_EQ(Step(), ktSbStopException);
    EXPECT_EQ(target->Reboot(), SABLE_OK);
    EXPECT_EQ(Step(), ktSbStopStep);
}

TEST_F(SimTargetTest, PortsAndDevicesAreReached) {
    uint32_t value = 0;
    EXPECT_EQ(target->ReadIo(0x3FD, 1, value), SABLE_OK);
    EXPECT_EQ(value, 0x60u);
    for (const int number : {0, 3, 8}) {
        const uint8_t width = uint8_t(number);
        EXPECT_EQ(target->ReadIo(0x3FD, width, value), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(target->WriteIo(0x3FD, width, 0), SABLE_BAD_ARGUMENT);
    }
    EXPECT_EQ(target->WriteIo(0xE9, 1, 'x'), SABLE_OK);
    EXPECT_EQ(keeper.text, "x") << "at once";
    uint64_t wide = 0;
    EXPECT_EQ(target->ReadMmio(0xFEE00030, 4, wide), SABLE_OK);
    EXPECT_EQ(wide, 0x50014u);
    EXPECT_EQ(target->ReadMmio(0xFEE00020, 8, wide), SABLE_OK);
    EXPECT_EQ(wide, 0u);
    target->SwitchCpu(1);
    EXPECT_EQ(target->ReadMmio(0xFEE00020, 4, wide), SABLE_OK);
    EXPECT_EQ(wide, 0x1000000u) << "the current core's";
    EXPECT_EQ(target->WriteMmio(0xFEE00080, 4, 0x70), SABLE_OK);
    EXPECT_EQ(Context().cr8, 7u);
    EXPECT_EQ(target->ReadMmio(0xFEE00022, 4, wide), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(target->ReadMmio(0xFEE00020, 3, wide), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(target->WriteMmio(0x1001, 2, 0), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(target->ReadMmio(0xD0000000, 2, wide), SABLE_OK);
    EXPECT_EQ(wide, 0xFFFFu);
    EXPECT_EQ(target->WriteMmio(0x1000, 8, 0x1122334455667788), SABLE_OK);
    EXPECT_EQ(target->ReadMmio(0x1004, 2, wide), SABLE_OK);
    EXPECT_EQ(wide, 0x3344u);
}

TEST_F(SimTargetTest, RamEndsWhereItEnds) {
    uint8_t bytes[16] = {};
    uint32_t done = 0;
    const uint64_t end = MachineRig::ramBytes;
    EXPECT_EQ(target->ReadPhysical(end - 4, bytes, 16, done), SABLE_FAILED);
    EXPECT_EQ(done, 4u);
    EXPECT_EQ(target->WritePhysical(end - 5, bytes, 16, done), SABLE_FAILED);
    EXPECT_EQ(done, 5u);
    done = 0;
    EXPECT_EQ(target->ReadPhysical(end, bytes, 1, done), SABLE_FAILED);
    EXPECT_EQ(target->ReadPhysical(all, bytes, 16, done), SABLE_FAILED);
    EXPECT_EQ(target->WritePhysical(0xFEE00000, bytes, 4, done), SABLE_FAILED);
    EXPECT_EQ(done, 0u) << "devices are no RAM";
    EXPECT_EQ(target->NextPhysical(end), all);
}

TEST_F(SimTargetTest, RunReturnsInTimeForABreakIn) {
    Boot();
    using Clock = std::chrono::steady_clock;
    // The host may be busy with something else now and then, but not each time; sanitizers make it slow.
    Clock::duration best = std::chrono::hours(1);
    for (int n = 0; n < 50; ++n) {
        const auto before = Clock::now();
        EXPECT_FALSE(target->Run());
        best = std::min<Clock::duration>(best, Clock::now() - before);
    }
    EXPECT_LT(best, std::chrono::milliseconds(10));
    uint64_t before = 0, after = 0;
    target->SwitchCpu(1);
    EXPECT_EQ(target->ReadMsr(0x10, before), SABLE_OK);
    EXPECT_FALSE(target->Run());
    EXPECT_EQ(target->ReadMsr(0x10, after), SABLE_OK);
    EXPECT_LE(after - before, 10000u) << "a third of a millisecond at the pace of a real machine";
}

} // namespace sable
