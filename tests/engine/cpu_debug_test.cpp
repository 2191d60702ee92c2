#include <gtest/gtest.h>

#include "support/cpu_rig.h"

using namespace sable;

namespace {

class CpuDebug : public testing::Test {
protected:
    CpuDebug() { rig.StartLong(); }

    void SetDebugRegister(unsigned n, uint64_t address, uint64_t dr7) {
        rig.cpu.registers.dr[n] = address;
        rig.cpu.registers.dr7 = dr7 | dr7Fixed;
        rig.cpu.Refresh();
    }
    uint64_t Dr6() const { return rig.cpu.registers.dr6 & ~uint64_t(dr6Fixed); }

    CpuRig rig;
};

TEST_F(CpuDebug, TheTrapFlagTrapsAfterOneInstruction) {
    rig.cpu.registers.flags.Set(flagTf);
    rig.cpu.Refresh();
    rig.Execute({0x90, 0x90}, 2); // the second is the delivery
    EXPECT_TRUE(rig.IsAtHandler(vectorDebug));
    EXPECT_EQ(rig.Stack64(0), CpuRig::code + 1);
    EXPECT_EQ(rig.Stack64(2) & flagTf, uint64_t(flagTf));
    EXPECT_EQ(rig.FlagsWord() & flagTf, 0u);
    EXPECT_EQ(Dr6(), uint64_t(dr6Step));
}

TEST_F(CpuDebug, PopfTrapsAfterTheInstructionThatFollows) {
    rig.Gpr(gprRsp) -= 8;
    rig.Write64(rig.Gpr(gprRsp), flagTf);
    rig.Execute({0x9D, 0x90, 0x90}, 3);
    EXPECT_TRUE(rig.IsAtHandler(vectorDebug));
    EXPECT_EQ(rig.Stack64(0), CpuRig::code + 2);
}

TEST_F(CpuDebug, ARepeatedInstructionTrapsAfterEachRound) {
    rig.cpu.registers.flags.Set(flagTf);
    rig.cpu.Refresh();
    rig.Gpr(gprRcx) = 3;
    rig.Gpr(gprRdi) = CpuRig::data;
    rig.Execute({0xF3, 0xAA}, 2); // rep stosb
    EXPECT_TRUE(rig.IsAtHandler(vectorDebug));
    EXPECT_EQ(rig.Stack64(0), CpuRig::code);
    EXPECT_EQ(rig.Gpr(gprRcx), 2u);
}

TEST_F(CpuDebug, CodeBreakpointsFaultBeforeTheInstructionUnlessResumed) {
    SetDebugRegister(1, CpuRig::code + 1, 0x4);
    rig.Execute({0x90, 0x90, 0x90}, 2);
    EXPECT_TRUE(rig.IsAtHandler(vectorDebug));
    EXPECT_EQ(rig.Stack64(0), CpuRig::code + 1);
    EXPECT_EQ(Dr6(), 2u);
    EXPECT_EQ(rig.Stack64(2) & flagRf, uint64_t(flagRf));
    rig.LoadAt(CpuRig::HandlerOf(vectorDebug), {0x48, 0xCF}); // iretq with RF set
    rig.cpu.Run(2);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2);
    EXPECT_EQ(rig.FlagsWord() & flagRf, 0u);
}

TEST_F(CpuDebug, WriteBreakpointsTrapAfterTheWrite) {
    SetDebugRegister(0, CpuRig::data + 4, 0x2 | 1u << 16 | 3u << 18); // 4 bytes
    rig.Gpr(gprRbx) = CpuRig::data;
    rig.Gpr(gprRax) = 0x55;
    rig.Execute({0x8B, 0x4B, 0x04, 0x89, 0x03, 0x88, 0x43, 0x07, 0x90}, 3); // read; write before; write byte
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 8);
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(vectorDebug));
    EXPECT_EQ(rig.Stack64(0), CpuRig::code + 8);
    EXPECT_EQ(rig.Read8(CpuRig::data + 7), 0x55);
    EXPECT_EQ(Dr6(), 1u);
}

TEST_F(CpuDebug, ReadAndWriteBreakpointsSeeReadsAndChanges) {
    for (const uint8_t opcode : std::initializer_list<uint8_t>{0x8B, 0x89, 0x01}) {
        rig.StartLong();
        SetDebugRegister(3, CpuRig::data, 0x80 | 3u << 28 | 2u << 30); // 8 bytes
        rig.Gpr(gprRbx) = CpuRig::data + 6;
        rig.Execute({opcode, 0x03}, 2);
        EXPECT_TRUE(rig.IsAtHandler(vectorDebug)) << int(opcode);
    }
}

TEST_F(CpuDebug, GeneralDetectGuardsTheRegisters) {
    rig.cpu.registers.dr7 |= dr7GeneralDetect;
    rig.Execute({0x0F, 0x21, 0xC0}); // mov rax, dr0
    EXPECT_TRUE(rig.IsAtHandler(vectorDebug));
    EXPECT_EQ(rig.Stack64(0), CpuRig::code);
    EXPECT_EQ(Dr6(), uint64_t(dr6Access));
    EXPECT_EQ(rig.cpu.registers.dr7 & dr7GeneralDetect, 0u);
}

TEST_F(CpuDebug, Dr4AndDr5AreOtherNamesUnlessDebuggingExtensionsAreOn) {
    rig.Execute({0x0F, 0x21, 0xE0}); // mov rax, dr4
    EXPECT_EQ(rig.Gpr(gprRax), rig.cpu.registers.dr6);
    rig.StartLong();
    rig.cpu.registers.cr4 |= cr4De;
    rig.Execute({0x0F, 0x21, 0xE0});
    EXPECT_TRUE(rig.IsAtHandler(vectorInvalid));
}

TEST_F(CpuDebug, FixedBitsOfDebugRegistersStayFixed) {
    rig.Gpr(gprRax) = 0xFFFFFFFF;
    rig.Execute({0x0F, 0x23, 0xF0}); // mov dr6, rax
    EXPECT_EQ(rig.cpu.registers.dr6, 0xFFFFEFFFu);
    rig.Gpr(gprRax) = uint64_t(1) << 32;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x23, 0xF8}); // mov dr7, rax
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
}

TEST_F(CpuDebug, MisalignmentFaultsForProgramsThatAskForIt) {
    rig.StartLong(CpuRig::userCode64);
    rig.cpu.registers.cr0 |= cr0Am;
    rig.cpu.registers.flags.Set(flagAc);
    rig.cpu.Refresh();
    rig.Gpr(gprRbx) = CpuRig::data;
    rig.Execute({0x8B, 0x03, 0x8B, 0x43, 0x02}, 1);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2);
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(vectorAlignment));
    EXPECT_EQ(rig.Stack64(0), 0u);
    rig.StartLong();
    rig.cpu.registers.cr0 |= cr0Am;
    rig.cpu.registers.flags.Set(flagAc);
    rig.cpu.Refresh();
    rig.Execute({0x8B, 0x43, 0x02});
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 3); // not for privilege 0
}

} // namespace
