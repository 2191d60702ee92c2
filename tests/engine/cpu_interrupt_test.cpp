#include <gtest/gtest.h>

#include "support/cpu_rig.h"

using namespace sable;

namespace {

constexpr uint32_t otherFlags = flagIf | flagCf | flagZf;

class CpuInterrupt : public testing::Test {
protected:
    void RaiseLine(uint8_t vector) {
        rig.interruptVector = vector;
        rig.cpu.SetInterruptLine(true);
    }
    uint16_t StackSelector() const { return rig.cpu.registers.segment[segSs].selector; }

    CpuRig rig;
};

TEST_F(CpuInterrupt, RealModeSavesFlagsAndReturnAddress) {
    rig.StartReal();
    rig.cpu.registers.flags.Set(otherFlags);
    rig.Execute({0xCD, 0x21}); // int 0x21
    EXPECT_TRUE(rig.IsAtHandler(0x21));
    EXPECT_EQ(rig.Gpr(gprRsp), 0x7FFAu);
    EXPECT_EQ(rig.Read16(0x7FFA), 2);
    EXPECT_EQ(rig.Read16(0x7FFC), CpuRig::code >> 4);
    EXPECT_EQ(rig.Read16(0x7FFE), otherFlags | flagOne);
    EXPECT_EQ(rig.FlagsWord() & flagIf, 0u);
    rig.Write8(CpuRig::HandlerOf(0x21), 0xCF); // iret
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.registers.rip, 2u);
    EXPECT_EQ(rig.cpu.registers.segment[segCs].base, CpuRig::code);
    EXPECT_EQ(rig.FlagsWord(), otherFlags | flagOne);
    EXPECT_EQ(rig.Gpr(gprRsp), 0x8000u);
}

TEST_F(CpuInterrupt, ProtectedModeStaysOnTheStackOfItsPrivilege) {
    rig.StartProtected();
    const uint64_t stack = rig.Gpr(gprRsp);
    rig.cpu.registers.flags.Set(otherFlags);
    rig.Execute({0xCD, 0x80});
    EXPECT_TRUE(rig.IsAtHandler(0x80));
    EXPECT_EQ(rig.Gpr(gprRsp), stack - 12);
    EXPECT_EQ(rig.Stack32(0), CpuRig::code + 2);
    EXPECT_EQ(rig.Stack32(1), CpuRig::code32);
    EXPECT_EQ(rig.Stack32(2), otherFlags | flagOne);
}

TEST_F(CpuInterrupt, TrapGatesLeaveInterruptsOn) {
    rig.StartProtected();
    rig.cpu.registers.flags.Set(flagIf);
    rig.SetGate32(0x80, CpuRig::code32, uint32_t(CpuRig::HandlerOf(0x80)), 0x8F);
    rig.Execute({0xCD, 0x80});
    EXPECT_EQ(rig.FlagsWord() & flagIf, uint32_t(flagIf));
    rig.StartProtected();
    rig.Execute({0xCD, 0x81});
    EXPECT_EQ(rig.FlagsWord() & flagIf, 0u);
}

TEST_F(CpuInterrupt, ProtectedModeSwitchesTheStackAndComesBack) {
    rig.StartProtected(CpuRig::userCode32);
    rig.SetGate32(0x80, CpuRig::code32, uint32_t(CpuRig::HandlerOf(0x80)), 0xEE);
    rig.Execute({0xCD, 0x80});
    EXPECT_EQ(rig.cpu.Cpl(), 0u);
    EXPECT_EQ(rig.Gpr(gprRsp), CpuRig::kernelStack - 20);
    EXPECT_EQ(StackSelector(), CpuRig::data0);
    EXPECT_EQ(rig.Stack32(0), CpuRig::code + 2);
    EXPECT_EQ(rig.Stack32(1), CpuRig::userCode32);
    EXPECT_EQ(rig.Stack32(3), CpuRig::userStack);
    EXPECT_EQ(rig.Stack32(4), CpuRig::data3);
    rig.Write8(CpuRig::HandlerOf(0x80), 0xCF);
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.Cpl(), 3u);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2);
    EXPECT_EQ(rig.Gpr(gprRsp), CpuRig::userStack);
}

TEST_F(CpuInterrupt, SixteenBitGatesSaveWords) {
    rig.StartProtected();
    const uint64_t stack = rig.Gpr(gprRsp);
    rig.SetGate32(0x80, CpuRig::code32, 0x99990000 | uint32_t(CpuRig::HandlerOf(0x80)), 0x86);
    rig.SetDescriptor(CpuRig::code32, 0xC09B, 0, 0xFFFFF);
    rig.Execute({0xCD, 0x80});
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::HandlerOf(0x80) & 0xFFFF);
    EXPECT_EQ(rig.Gpr(gprRsp), stack - 6);
}

TEST_F(CpuInterrupt, LongModeAlignsTheStackAndSavesItAlways) {
    rig.StartLong();
    rig.Gpr(gprRsp) -= 5;
    const uint64_t stack = rig.Gpr(gprRsp);
    rig.Execute({0xCD, 0x80});
    EXPECT_EQ(rig.Gpr(gprRsp), (stack & ~uint64_t(15)) - 40);
    EXPECT_EQ(rig.Stack64(0), CpuRig::code + 2);
    EXPECT_EQ(rig.Stack64(1), CpuRig::code64);
    EXPECT_EQ(rig.Stack64(3), stack);
    EXPECT_EQ(rig.Stack64(4), CpuRig::data0);
    rig.LoadAt(CpuRig::HandlerOf(0x80), {0x48, 0xCF}); // iretq
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2);
    EXPECT_EQ(rig.Gpr(gprRsp), stack);
    EXPECT_EQ(StackSelector(), CpuRig::data0);
}

TEST_F(CpuInterrupt, LongModeSwitchesToANullStackSegment) {
    rig.StartLong(CpuRig::userCode64);
    rig.cpu.registers.flags.Set(flagIf);
    RaiseLine(0x33);
    rig.Execute({0x90});
    EXPECT_TRUE(rig.IsAtHandler(0x33));
    EXPECT_EQ(rig.cpu.Cpl(), 0u);
    EXPECT_EQ(StackSelector(), 0);
    EXPECT_EQ(rig.Gpr(gprRsp), CpuRig::kernelStack - 40);
    EXPECT_EQ(rig.Stack64(4), CpuRig::data3);
    rig.LoadAt(CpuRig::HandlerOf(0x33), {0x48, 0xCF});
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.Cpl(), 3u);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code);
    EXPECT_EQ(rig.FlagsWord() & flagIf, uint32_t(flagIf));
}

TEST_F(CpuInterrupt, TheInterruptStackTableWinsOverTheStackOfThePrivilege) {
    rig.StartLong(CpuRig::userCode64);
    rig.SetGate64(vectorInvalid, CpuRig::code64, CpuRig::HandlerOf(vectorInvalid), 0x8E, 1);
    rig.Execute({0x0F, 0x0B}); // ud2
    EXPECT_EQ(rig.Gpr(gprRsp), CpuRig::interruptStack - 40);
    EXPECT_EQ(rig.Stack64(0), CpuRig::code);
}

TEST_F(CpuInterrupt, CompatibilityModeIsLeftForSixtyFourBits) {
    rig.StartLong(CpuRig::userCode32);
    rig.Execute({0x0F, 0x0B});
    EXPECT_TRUE(rig.IsAtHandler(vectorInvalid));
    EXPECT_TRUE(rig.cpu.Is64());
    rig.LoadAt(CpuRig::HandlerOf(vectorInvalid), {0x48, 0xCF});
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.CodeWidth(), width32);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code);
}

TEST_F(CpuInterrupt, ProgramsReachOnlyTheGatesOpenToThem) {
    rig.StartLong(CpuRig::userCode64);
    rig.Execute({0xCD, 0x80});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    EXPECT_EQ(rig.Stack64(0), 0x80u * 8 + selectorErrorIdt);
    EXPECT_EQ(rig.Stack64(1), CpuRig::code);
    rig.StartLong(CpuRig::userCode64);
    rig.Execute({0xF1}); // int1 is not asked
    EXPECT_TRUE(rig.IsAtHandler(vectorDebug));
    EXPECT_EQ(rig.Stack64(0), CpuRig::code + 1);
}

TEST_F(CpuInterrupt, GatesThatDoNotServeFaultWithTheirVector) {
    rig.StartProtected();
    rig.SetGate32(0x80, CpuRig::code32, 0, 0x0E);
    rig.Execute({0xCD, 0x80});
    EXPECT_TRUE(rig.IsAtHandler(vectorNotPresent));
    EXPECT_EQ(rig.Stack32(0), 0x80u * 8 + selectorErrorIdt);
    rig.StartProtected();
    rig.SetGate32(0x80, CpuRig::code32, 0, 0x85); // a task gate
    rig.Execute({0xCD, 0x80});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    EXPECT_EQ(rig.Stack32(0), 0x80u * 8 + selectorErrorIdt);
    rig.StartProtected();
    rig.SetGate32(0x80, CpuRig::data0, 0, 0x8E);
    rig.Execute({0xCD, 0x80});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    EXPECT_EQ(rig.Stack32(0), CpuRig::data0);
    rig.StartProtected();
    rig.cpu.registers.idt.limit = 0x7F * 8 + 7;
    rig.Execute({0xCD, 0x80});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
}

TEST_F(CpuInterrupt, FaultsSaveTheResumeFlagTrapsDoNot) {
    rig.StartLong();
    rig.Execute({0x0F, 0x0B});
    EXPECT_EQ(rig.Stack64(2) & flagRf, uint64_t(flagRf));
    rig.StartLong();
    rig.Execute({0xCC});
    EXPECT_TRUE(rig.IsAtHandler(vectorBreak));
    EXPECT_EQ(rig.Stack64(2) & flagRf, 0u);
    EXPECT_EQ(rig.Stack64(0), CpuRig::code + 1);
}

TEST_F(CpuInterrupt, TwoFaultsMakeADoubleFault) {
    rig.StartLong();
    rig.SetGate64(vectorDivide, CpuRig::data0, 0, 0x8E, 0); // its handler is no code
    rig.Gpr(gprRcx) = 0;
    rig.Execute({0xF7, 0xF1}); // div ecx
    EXPECT_TRUE(rig.IsAtHandler(vectorDouble));
    EXPECT_EQ(rig.Stack64(0), 0u);
    EXPECT_EQ(rig.Stack64(1), CpuRig::code);
}

TEST_F(CpuInterrupt, ABenignExceptionThenAFaultIsThatFault) {
    rig.StartLong();
    rig.SetGate64(vectorInvalid, CpuRig::data0, 0, 0x8E, 0);
    rig.Execute({0x0F, 0x0B});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    EXPECT_EQ(rig.Stack64(0), CpuRig::data0 | uint64_t(selectorErrorExternal));
}

TEST_F(CpuInterrupt, APageFaultWhileAPageFaultIsDeliveredIsADoubleFault) {
    rig.StartLong();
    rig.SetGate64(vectorDouble, CpuRig::code64, CpuRig::HandlerOf(vectorDouble), 0x8E, 1);
    rig.Gpr(gprRsp) = 0x40000000;
    rig.Execute({0x50}); // push rax
    EXPECT_TRUE(rig.IsAtHandler(vectorDouble));
    EXPECT_EQ(rig.cpu.registers.cr2, 0x40000000u - 8);
    EXPECT_EQ(rig.Stack64(4), 0x40000000u);
}

TEST_F(CpuInterrupt, AThirdFaultShutsTheProcessorDown) {
    rig.StartLong();
    rig.cpu.registers.idt.limit = 0;
    EXPECT_EQ(rig.Execute({0x0F, 0x0B}, 10), StopReason::shutdown);
    EXPECT_TRUE(rig.cpu.IsShutDown());
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code);
    const uint64_t now = rig.cpu.Now();
    EXPECT_EQ(rig.cpu.Run(10), StopReason::shutdown);
    EXPECT_EQ(rig.cpu.Now(), now);
    rig.cpu.Reset();
    EXPECT_FALSE(rig.cpu.IsShutDown());
}

TEST_F(CpuInterrupt, TheLineWaitsForTheInterruptFlagAndItsShadow) {
    rig.StartLong();
    RaiseLine(0x40);
    rig.Execute({0x90, 0xFB, 0x90, 0x90}, 2); // nop; sti; nop; nop
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2);
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 3);
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(0x40));
    EXPECT_EQ(rig.Stack64(0), CpuRig::code + 3);
}

TEST_F(CpuInterrupt, AStackSegmentAndItsPointerAreNotTornApart) {
    rig.StartLong();
    rig.cpu.registers.flags.Set(flagIf);
    rig.Gpr(gprRax) = CpuRig::data0;
    rig.Load({0x8E, 0xD0, 0x90, 0x90}); // mov ss, eax; nop; nop
    rig.cpu.Run(1);
    RaiseLine(0x40);
    rig.cpu.RaiseNmi();
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 3);
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(vectorNmi)); // NMI goes first
}

TEST_F(CpuInterrupt, NmiIsHeldUntilIret) {
    rig.StartLong();
    rig.LoadAt(CpuRig::HandlerOf(vectorNmi), {0x90, 0x48, 0xCF}); // nop; iretq
    rig.Load({0x90, 0x90});
    rig.cpu.RaiseNmi();
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(vectorNmi));
    rig.cpu.RaiseNmi();
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::HandlerOf(vectorNmi) + 1);
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code);
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(vectorNmi));
}

TEST_F(CpuInterrupt, HltWaitsForAnInterrupt) {
    rig.StartLong();
    rig.cpu.registers.flags.Set(flagIf);
    EXPECT_EQ(rig.Execute({0xF4, 0x90}, 10), StopReason::halted);
    EXPECT_TRUE(rig.cpu.IsHalted());
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 1);
    EXPECT_EQ(rig.cpu.Run(10), StopReason::halted);
    RaiseLine(0x40);
    EXPECT_EQ(rig.cpu.Run(1), StopReason::budget);
    EXPECT_TRUE(rig.IsAtHandler(0x40));
    EXPECT_FALSE(rig.cpu.IsHalted());
    EXPECT_EQ(rig.Stack64(0), CpuRig::code + 1);
}

TEST_F(CpuInterrupt, StepsCanHoldInterruptsBack) {
    rig.StartLong();
    rig.cpu.registers.flags.Set(flagIf);
    RaiseLine(0x40);
    rig.Load({0x90, 0x90});
    rig.cpu.Step(Interrupts::holdBack);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 1);
    rig.cpu.Step(Interrupts::deliver);
    EXPECT_TRUE(rig.IsAtHandler(0x40));
}

TEST_F(CpuInterrupt, IretChecksWhatItFinds) {
    rig.StartLong();
    rig.cpu.registers.flags.Set(flagNt);
    rig.Execute({0x48, 0xCF});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral)); // no task to return to
    rig.StartProtected();
    rig.Gpr(gprRsp) -= 12;
    rig.Write32(rig.Gpr(gprRsp), uint32_t(CpuRig::code));
    rig.Write32(rig.Gpr(gprRsp) + 4, CpuRig::code32);
    rig.Write32(rig.Gpr(gprRsp) + 8, flagVm);
    rig.Execute({0xCF});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral)); // no virtual 8086 mode
}

TEST_F(CpuInterrupt, ProgramsDoNotChangeTheInterruptFlagByIret) {
    rig.StartProtected(CpuRig::userCode32);
    rig.Gpr(gprRsp) -= 12;
    rig.Write32(rig.Gpr(gprRsp), uint32_t(CpuRig::code + 0x100));
    rig.Write32(rig.Gpr(gprRsp) + 4, CpuRig::userCode32);
    rig.Write32(rig.Gpr(gprRsp) + 8, flagIf | flagIopl | flagCf);
    rig.cpu.registers.flags.Set(0);
    rig.Execute({0xCF});
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 0x100);
    EXPECT_EQ(rig.FlagsWord(), uint32_t(flagCf | flagOne));
}

} // namespace
