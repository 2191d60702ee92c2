// Blocks of decoded code: that they follow every change of the code, and that how they are cut does not show.
#include <random>

#include <gtest/gtest.h>

#include "support/cpu_rig.h"

using namespace sable;

namespace {

class CpuRun : public testing::Test {
protected:
    CpuRun() { rig.StartLong(); }

    CpuRig rig;
};

TEST_F(CpuRun, TheBudgetIsKeptToTheInstruction) {
    rig.Load({0x90, 0x90, 0x90, 0x90, 0x90, 0xEB, 0xF9}); // five nops in a loop
    for (const uint64_t count : std::initializer_list<uint64_t>{1, 2, 5, 6, 7, 1000}) {
        const uint64_t before = rig.cpu.Now();
        EXPECT_EQ(rig.cpu.Run(count), StopReason::budget);
        EXPECT_EQ(rig.cpu.Now() - before, count);
    }
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 1021 % 6);
    EXPECT_EQ(rig.cpu.Run(0), StopReason::budget);
}

TEST_F(CpuRun, ChangedCodeIsExecutedAsItIsNow) {
    rig.Load({0xB0, 0x01, 0xEB, 0xFC}); // mov al, 1; jmp back
    rig.cpu.Run(10);
    rig.Write8(CpuRig::code + 1, 2);
    rig.cpu.Run(2);
    EXPECT_EQ(rig.Gpr(gprRax), 2u);
}

TEST_F(CpuRun, CodeThatChangesWhatFollowsSeesTheChangeAtOnce) {
    rig.Gpr(gprRbx) = CpuRig::code;
    rig.Execute({0xC6, 0x43, 0x05, 0x07, 0xB0, 0x01}, 2); // mov byte [rbx+5], 7; mov al, 1
    EXPECT_EQ(rig.Gpr(gprRax), 7u);
    // The same as read, change, write, and as a string.
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x80, 0x43, 0x05, 0x01, 0xB0, 0x01}, 2); // add byte [rbx+5], 1
    EXPECT_EQ(rig.Gpr(gprRax), 2u);
    rig.cpu.registers.rip = CpuRig::code;
    rig.Gpr(gprRdi) = CpuRig::code + 2;
    rig.Gpr(gprRax) = 0x55;
    rig.Execute({0xAA, 0xB0, 0x01}, 2); // stosb; mov al, 1
    EXPECT_EQ(rig.Gpr(gprRax), 0x55u);
}

TEST_F(CpuRun, AnotherProcessorsWritesAreSeen) {
    Cpu second(1, rig.memory, rig);
    second.registers = rig.cpu.registers;
    second.registers.rip = CpuRig::code + 0x1000;
    second.registers.gpr[gprRbx] = CpuRig::code;
    second.Refresh();
    rig.Load({0xB0, 0x01, 0xEB, 0xFC});
    rig.LoadAt(CpuRig::code + 0x1000, {0xC6, 0x43, 0x01, 0x09}); // mov byte [rbx+1], 9
    rig.cpu.Run(4);
    second.Run(1);
    rig.cpu.Run(2);
    EXPECT_EQ(rig.Gpr(gprRax), 9u);
}

TEST_F(CpuRun, TheSamePageAtTwoAddressesKeepsBothInStep) {
    rig.Write64(CpuRig::wideTables + 8 * 0x70, CpuRig::code | 7);
    rig.cpu.Refresh();
    rig.Load({0xB0, 0x01, 0xE8, 0, 0, 0, 0}); // mov al, 1; call next
    rig.cpu.Run(2);
    rig.cpu.registers.rip = 0x70000;
    rig.cpu.Run(2);
    EXPECT_EQ(rig.Stack64(0), 0x70007u);
    rig.Gpr(gprRbx) = 0x70000;
    rig.LoadAt(CpuRig::code + 0x100, {0xC6, 0x43, 0x01, 0x08});
    rig.cpu.registers.rip = CpuRig::code + 0x100;
    rig.cpu.Run(1);
    rig.cpu.registers.rip = CpuRig::code;
    rig.cpu.Run(1);
    EXPECT_EQ(rig.Gpr(gprRax), 8u);
}

TEST_F(CpuRun, InstructionsAcrossPagesFollowBothTranslations) {
    constexpr uint64_t edge = CpuRig::code + 0x1000;
    rig.LoadAt(edge - 3, {0xB8, 0x11, 0x22, 0x33, 0x44}); // mov eax, imm32
    rig.cpu.registers.rip = edge - 3;
    rig.cpu.Run(1);
    EXPECT_EQ(rig.Gpr(gprRax), 0x44332211u);
    EXPECT_EQ(rig.cpu.registers.rip, edge + 2);
    rig.Write64(CpuRig::wideTables + 8 * (edge >> 12), 0);
    rig.cpu.Refresh();
    rig.cpu.registers.rip = edge - 3;
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(vectorPage));
    EXPECT_EQ(rig.cpu.registers.cr2, edge);
    EXPECT_EQ(rig.Stack64(1), edge - 3);
}

TEST_F(CpuRun, TheCodeLimitIsCheckedToTheLastByte) {
    rig.StartProtected();
    rig.cpu.registers.segment[segCs].limit = CpuRig::code + 6;
    rig.cpu.Refresh();
    rig.Load({0x90, 0x90, 0xB8, 1, 0, 0, 0, 0x90});
    rig.cpu.Run(3);
    EXPECT_EQ(rig.Gpr(gprRax), 1u);
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    rig.StartProtected();
    rig.cpu.registers.segment[segCs].limit = CpuRig::code + 5;
    rig.cpu.Refresh();
    rig.Gpr(gprRax) = 7;
    rig.cpu.Run(3);
    EXPECT_EQ(rig.Gpr(gprRax), 7u);
    EXPECT_EQ(rig.Stack32(1), CpuRig::code + 2);
}

TEST_F(CpuRun, InstructionsLongerThanFifteenBytesFault) {
    rig.Execute({0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x90});
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 15);
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute(
        {0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x66, 0x90});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
}

TEST_F(CpuRun, BreakpointsAskWithWhereTheyAre) {
    rig.cpu.SetBreakCheck(&rig);
    rig.Load({0x90, 0x90, 0x90, 0x90});
    rig.cpu.Run(4);
    rig.memory.AddBreak(CpuRig::code + 2);
    rig.cpu.registers.rip = CpuRig::code;
    EXPECT_EQ(rig.cpu.Run(10), StopReason::breakPoint);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2);
    ASSERT_EQ(rig.asked.size(), 1u);
    EXPECT_EQ(rig.asked[0].root, CpuRig::pml4);
    EXPECT_EQ(rig.asked[0].linear, CpuRig::code + 2);
    EXPECT_EQ(rig.asked[0].physical, CpuRig::code + 2);
    EXPECT_EQ(rig.asked[0].rip, CpuRig::code + 2);
    EXPECT_EQ(rig.cpu.Run(10), StopReason::breakPoint); // still there
    EXPECT_EQ(rig.cpu.Run(1, FirstBreak::pass), StopReason::budget);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 3);
    rig.stops = false;
    rig.cpu.registers.rip = CpuRig::code;
    EXPECT_EQ(rig.cpu.Run(4), StopReason::budget);
    rig.stops = true;
    rig.memory.RemoveBreak(CpuRig::code + 2);
    rig.cpu.registers.rip = CpuRig::code;
    EXPECT_EQ(rig.cpu.Run(4), StopReason::budget);
}

TEST_F(CpuRun, ABreakpointBehindAJumpTargetInsideABlockIsFound) {
    rig.cpu.SetBreakCheck(&rig);
    rig.Load({0x90, 0x90, 0x90, 0xEB, 0xFC}); // the jump goes to +1
    rig.memory.AddBreak(CpuRig::code + 1);
    EXPECT_EQ(rig.cpu.Run(10), StopReason::breakPoint);
    EXPECT_EQ(rig.cpu.Run(10, FirstBreak::pass), StopReason::breakPoint);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 1);
}

TEST_F(CpuRun, ARepeatedInstructionIsAskedAboutOnceNotInTheMiddle) {
    rig.cpu.SetBreakCheck(&rig);
    rig.memory.AddBreak(CpuRig::code);
    rig.Gpr(gprRcx) = 1000;
    rig.Gpr(gprRdi) = CpuRig::data;
    rig.Load({0xF3, 0xAA, 0x90});
    EXPECT_EQ(rig.cpu.Run(100, FirstBreak::pass), StopReason::budget);
    EXPECT_EQ(rig.Gpr(gprRcx), 0u);
    EXPECT_TRUE(rig.asked.empty());
}

TEST_F(CpuRun, RepetitionLetsOthersLookAndFaultsInTheMiddle) {
    rig.Gpr(gprRcx) = 1000;
    rig.Gpr(gprRdi) = CpuRig::data;
    rig.Execute({0xF3, 0xAA}); // rep stosb
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code);
    EXPECT_EQ(rig.Gpr(gprRcx), 1000u - Cpu::repeatLimit);
    EXPECT_EQ(rig.Gpr(gprRdi), CpuRig::data + Cpu::repeatLimit);
    rig.cpu.Run(3);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2);
    rig.Write64(CpuRig::wideTables + 8 * ((CpuRig::data >> 12) + 1), 0);
    rig.cpu.Refresh();
    rig.Gpr(gprRcx) = 20;
    rig.Gpr(gprRdi) = CpuRig::data + 0xFF8;
    rig.cpu.registers.rip = CpuRig::code;
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(vectorPage));
    EXPECT_EQ(rig.Gpr(gprRcx), 12u);
    EXPECT_EQ(rig.Gpr(gprRdi), CpuRig::data + 0x1000);
    EXPECT_EQ(rig.Stack64(1), CpuRig::code);
}

TEST_F(CpuRun, DevicesAnswerOutsideOfMemoryWithTheWidthOfTheAccess) {
    rig.Write64(CpuRig::wideTables + 8 * 0x70, 0xFEE00000 | 7);
    rig.cpu.Refresh();
    rig.deviceValue = 0x1122334455667788;
    rig.Gpr(gprRbx) = 0x70020;
    rig.Execute({0x8B, 0x03, 0x89, 0x43, 0x10}, 2); // mov eax, [rbx]; mov [rbx+0x10], eax
    EXPECT_EQ(rig.Gpr(gprRax), 0x55667788u);
    ASSERT_EQ(rig.deviceReads.size(), 1u);
    EXPECT_EQ(rig.deviceReads[0].address, 0xFEE00020u);
    EXPECT_EQ(rig.deviceReads[0].size, 4u);
    ASSERT_EQ(rig.deviceWrites.size(), 1u);
    EXPECT_EQ(rig.deviceWrites[0].address, 0xFEE00030u);
    EXPECT_EQ(rig.deviceWrites[0].value, 0x55667788u);
}

TEST_F(CpuRun, CodeCanComeFromADevice) {
    rig.Write64(CpuRig::wideTables + 8 * 0x70, 0xFEE00000 | 7);
    rig.cpu.Refresh();
    rig.deviceValue = 0x90;
    rig.cpu.registers.rip = 0x70000;
    rig.cpu.Run(5);
    EXPECT_EQ(rig.cpu.registers.rip, 0x70005u);
    CpuRig cold;
    cold.deviceValue = 0x90;
    EXPECT_EQ(cold.cpu.Run(3), StopReason::budget); // at reset
    EXPECT_EQ(cold.cpu.registers.rip, 0xFFF3u);
    EXPECT_EQ(cold.deviceReads[0].address, 0xFFFFFFF0u);
}

TEST_F(CpuRun, ADeviceCanEndTheRun) {
    EXPECT_EQ(rig.Execute({0xE6, CpuRig::exitPort, 0x90, 0x90}, 100), StopReason::exit);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2);
    EXPECT_EQ(rig.cpu.Run(1), StopReason::budget);
}

// Random bytes in every mode: no crash, no hang, and the same state however the run is cut into slices.
TEST_F(CpuRun, HowARunIsCutDoesNotShow) {
    std::mt19937_64 random(7);
    for (unsigned round = 0; round < 300; ++round) {
        CpuRig whole, cut;
        for (CpuRig *each : {&whole, &cut}) {
            const unsigned kind = round % 6;
            if (kind == 0) each->StartReal();
            if (kind == 1) each->StartProtected();
            if (kind == 2) each->StartProtected(CpuRig::userCode32, CpuRig::paePointers, cr4Pae);
            if (kind == 3) each->StartLong();
            if (kind == 4) each->StartLong(CpuRig::userCode64);
            if (kind == 5) each->StartLong(CpuRig::userCode32);
            std::mt19937_64 same(round);
            for (unsigned n = 0; n < 0x1000; n += 8) each->Write64(CpuRig::code + n, same());
            for (unsigned n = 0; n < 16; ++n) each->Gpr(n) = same() >> same() % 64;
            each->Gpr(gprRsp) = 0x40000;
        }
        constexpr uint64_t total = 3000;
        whole.cpu.Run(total);
        for (uint64_t done = 0; done < total;) {
            const uint64_t before = cut.cpu.Now();
            const StopReason reason = cut.cpu.Run(std::min(total - done, 1 + random() % 7));
            if (reason != StopReason::budget && reason != StopReason::exit) break;
            done += reason == StopReason::budget ? cut.cpu.Now() - before : total;
        }
        for (unsigned n = 0; n < 16; ++n) ASSERT_EQ(whole.Gpr(n), cut.Gpr(n)) << "round " << round;
        ASSERT_EQ(whole.cpu.registers.rip, cut.cpu.registers.rip) << "round " << round;
        ASSERT_EQ(whole.FlagsWord(), cut.FlagsWord()) << "round " << round;
        ASSERT_EQ(std::memcmp(whole.memory.At(0), cut.memory.At(0), CpuRig::memorySize), 0)
            << "round " << round;
    }
}

} // namespace
