#include <gtest/gtest.h>

#include "support/cpu_rig.h"

using namespace sable;

namespace {

class CpuSegment : public testing::Test {
protected:
    // mov es, ax
    void LoadEs(uint16_t selector) {
        rig.Gpr(gprRax) = selector;
        rig.cpu.registers.rip = CpuRig::code;
        rig.Execute({0x8E, 0xC0});
    }
    void ExpectFault(unsigned vector, uint32_t error) {
        EXPECT_TRUE(rig.IsAtHandler(vector)) << vector;
        EXPECT_EQ(rig.Stack32(0), error);
    }
    const SegmentRegister &Segment(unsigned index) const { return rig.cpu.registers.segment[index]; }

    CpuRig rig;
};

TEST_F(CpuSegment, ALoadTakesBaseLimitAndRightsAndMarksTheDescriptor) {
    rig.StartProtected();
    rig.SetDescriptor(CpuRig::spare, 0xC092, 0x12345678, 0xABCDE);
    LoadEs(CpuRig::spare);
    EXPECT_EQ(Segment(segEs).base, 0x12345678u);
    EXPECT_EQ(Segment(segEs).limit, 0xABCDEFFFu);
    EXPECT_EQ(Segment(segEs).access, 0xC093);
    EXPECT_EQ(rig.Read8(CpuRig::gdt + CpuRig::spare + 5), 0x93);
}

TEST_F(CpuSegment, DataSegmentLoadsAreChecked) {
    struct Case {
        uint16_t selector;
        unsigned vector;
        uint32_t error;
    };
    constexpr Case cases[] = {
        {0x100, vectorGeneral, 0x100},                         // beyond the table
        {CpuRig::taskState, vectorGeneral, CpuRig::taskState}, // a system segment
        {CpuRig::absent, vectorNotPresent, CpuRig::absent},
        {CpuRig::data0 | 3, vectorGeneral, CpuRig::data0}, // asks for more than it may
    };
    for (const Case &each : cases) {
        rig.StartProtected();
        LoadEs(each.selector);
        ExpectFault(each.vector, each.error);
        EXPECT_EQ(Segment(segEs).selector, CpuRig::data0);
    }
    // Privilege 3 and a segment of privilege 0.
    rig.StartProtected(CpuRig::userCode32);
    LoadEs(CpuRig::data0);
    ExpectFault(vectorGeneral, CpuRig::data0);
    // Code that may not be read.
    rig.StartProtected();
    rig.SetDescriptor(CpuRig::spare, 0xC099, 0, 0xFFFFF);
    LoadEs(CpuRig::spare);
    ExpectFault(vectorGeneral, CpuRig::spare);
}

TEST_F(CpuSegment, NullLoadsAndFaultsAtUse) {
    rig.StartProtected();
    LoadEs(3);
    EXPECT_EQ(Segment(segEs).selector, 3);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2);
    rig.cpu.registers.rip = CpuRig::code;
    rig.Gpr(gprRbx) = CpuRig::data;
    rig.Execute({0x26, 0x8B, 0x03}); // mov eax, es:[ebx]
    ExpectFault(vectorGeneral, 0);
}

TEST_F(CpuSegment, StackSegmentLoadsAreStricter) {
    constexpr uint16_t bad[] = {0, CpuRig::data3, CpuRig::code32};
    for (const uint16_t selector : bad) {
        rig.StartProtected();
        rig.Gpr(gprRax) = selector;
        rig.Execute({0x8E, 0xD0}); // mov ss, ax
        ExpectFault(vectorGeneral, selector & 0xFFFCu);
    }
    rig.StartProtected();
    rig.Gpr(gprRax) = CpuRig::absent;
    rig.Execute({0x8E, 0xD0});
    ExpectFault(vectorStack, CpuRig::absent);
}

TEST_F(CpuSegment, SixtyFourBitCodeTakesANullStackBelowPrivilegeThree) {
    rig.StartLong();
    rig.Gpr(gprRax) = 0;
    rig.Execute({0x8E, 0xD0, 0x50}, 2); // mov ss, eax; push rax
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 3);
    EXPECT_EQ(Segment(segSs).selector, 0);
    rig.StartLong(CpuRig::userCode64);
    rig.Gpr(gprRax) = 3;
    rig.Execute({0x8E, 0xD0});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
}

TEST_F(CpuSegment, LimitsAreCheckedToTheLastByte) {
    rig.StartProtected();
    rig.SetDescriptor(CpuRig::spare, 0x4093, CpuRig::data, 0x0F);
    for (uint32_t offset = 0; offset < 0x14; ++offset) {
        rig.StartProtected();
        LoadEs(CpuRig::spare);
        rig.Gpr(gprRbx) = offset;
        rig.cpu.registers.rip = CpuRig::code;
        rig.Execute({0x26, 0x8B, 0x03});
        EXPECT_EQ(rig.IsAtHandler(vectorGeneral), offset > 0x0C) << offset;
    }
}

TEST_F(CpuSegment, SegmentsThatExpandDownEndAtTheirLimit) {
    rig.StartProtected();
    rig.SetDescriptor(CpuRig::spare, 0x4097, 0, 0xFFF);
    for (const uint32_t offset : {0u, 0xFFCu, 0xFFFu, 0x1000u, 0x2000u, 0xFFFFFFFEu}) {
        rig.StartProtected();
        LoadEs(CpuRig::spare);
        rig.Gpr(gprRbx) = offset;
        rig.cpu.registers.rip = CpuRig::code;
        rig.Execute({0x26, 0x8B, 0x03});
        EXPECT_EQ(rig.IsAtHandler(vectorGeneral), offset < 0x1000 || offset > 0xFFFFFFFC) << offset;
    }
}

TEST_F(CpuSegment, RightsBindInProtectedModeOnly) {
    rig.StartProtected();
    rig.SetDescriptor(CpuRig::spare, 0xC091, 0, 0xFFFFF); // may not be written
    LoadEs(CpuRig::spare);
    rig.Gpr(gprRbx) = CpuRig::data;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x26, 0x89, 0x03}); // mov es:[ebx], eax
    ExpectFault(vectorGeneral, 0);
    rig.StartProtected();
    rig.Gpr(gprRbx) = CpuRig::data;
    rig.Execute({0x2E, 0x89, 0x03}); // mov cs:[ebx], eax
    ExpectFault(vectorGeneral, 0);
}

TEST_F(CpuSegment, RealModeSegmentsAreSixteenTimesTheSelector) {
    rig.StartReal();
    rig.Write32(0x12340 + 0x10, 0xCAFE);
    rig.Gpr(gprRax) = 0x1234;
    rig.Execute({0x8E, 0xC0, 0x26, 0xA1, 0x10, 0x00}, 2); // mov es, ax; mov ax, es:[0x10]
    EXPECT_EQ(rig.Gpr(gprRax), 0xCAFEu);
    rig.cpu.registers.rip = 0;
    rig.Execute({0x26, 0xA1, 0xFF, 0xFF}); // a word at the last byte
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
}

TEST_F(CpuSegment, LocalDescriptorsComeFromTheLocalTable) {
    rig.StartProtected();
    rig.Write64(CpuRig::ldt + 8, rig.Read64(CpuRig::gdt + CpuRig::data0));
    LoadEs(0x0C);
    EXPECT_EQ(Segment(segEs).selector, 0x0C);
    rig.Gpr(gprRax) = 0;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x00, 0xD0}); // lldt ax: none
    LoadEs(0x0C);
    ExpectFault(vectorGeneral, 0x0C);
}

TEST_F(CpuSegment, LtrMarksTheTaskBusyAndRefusesABusyOne) {
    rig.StartLong();
    rig.Gpr(gprRax) = CpuRig::taskState;
    rig.Execute({0x0F, 0x00, 0xD8}); // ltr ax
    EXPECT_EQ(rig.cpu.registers.tss.base, CpuRig::tss);
    EXPECT_EQ(rig.Read8(CpuRig::gdt + CpuRig::taskState + 5), 0x8B);
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x00, 0xD8});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    EXPECT_EQ(rig.Stack64(0), CpuRig::taskState);
}

TEST_F(CpuSegment, FarJumpsChangeTheCodeSize) {
    rig.StartLong(CpuRig::code32); // compatibility mode
    EXPECT_EQ(rig.cpu.CodeWidth(), width32);
    rig.Execute({0xEA, 0x00, 0x02, 0x01, 0x00, CpuRig::code64, 0x00}); // jmp 08:10200
    EXPECT_EQ(rig.cpu.CodeWidth(), width64);
    EXPECT_EQ(rig.cpu.registers.rip, 0x10200u);
    rig.StartProtected();
    rig.Execute({0xEA, 0x00, 0x02, 0x00, 0x00, CpuRig::code16, 0x00});
    EXPECT_EQ(rig.cpu.CodeWidth(), width16);
}

TEST_F(CpuSegment, FarTransfersCheckTheirTarget) {
    rig.StartProtected();
    rig.Execute({0xEA, 0, 0, 0, 0, CpuRig::data0, 0});
    ExpectFault(vectorGeneral, CpuRig::data0);
    rig.StartProtected();
    rig.Execute({0xEA, 0, 0, 0, 0, 0, 0});
    ExpectFault(vectorGeneral, 0);
    rig.StartProtected();
    rig.Execute({0xEA, 0, 0, 2, 0, CpuRig::code16, 0}); // beyond its limit
    ExpectFault(vectorGeneral, 0);
    rig.StartProtected();
    rig.Execute({0x9A, 0, 0, 0, 0, CpuRig::taskState, 0}); // tasks are not switched
    ExpectFault(vectorGeneral, CpuRig::taskState);
    rig.StartProtected(CpuRig::userCode32);
    rig.Execute({0xEA, 0, 0, 0, 0, CpuRig::code32, 0});
    ExpectFault(vectorGeneral, CpuRig::code32);
}

TEST_F(CpuSegment, ConformingCodeKeepsThePrivilege) {
    rig.StartProtected(CpuRig::userCode32);
    rig.Execute({0xEA, 0, 2, 1, 0, CpuRig::conforming, 0});
    EXPECT_EQ(rig.cpu.registers.rip, 0x10200u);
    EXPECT_EQ(rig.cpu.Cpl(), 3u);
    EXPECT_EQ(Segment(segCs).selector, CpuRig::conforming | 3);
}

TEST_F(CpuSegment, FarCallAndReturnComeBack) {
    rig.StartProtected();
    const uint64_t stack = rig.Gpr(gprRsp);
    rig.LoadAt(0x10200, {0xCA, 0x08, 0x00}); // retf 8
    rig.Execute({0x6A, 1, 0x6A, 2, 0x9A, 0x00, 0x02, 0x01, 0x00, CpuRig::code32, 0x00}, 3);
    EXPECT_EQ(rig.cpu.registers.rip, 0x10200u);
    EXPECT_EQ(rig.Stack32(0), CpuRig::code + 11);
    EXPECT_EQ(rig.Stack32(1), CpuRig::code32);
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 11);
    EXPECT_EQ(rig.Gpr(gprRsp), stack);
}

TEST_F(CpuSegment, ACallGateLeadsInsideWithItsParametersAndBack) {
    rig.StartProtected(CpuRig::userCode32);
    rig.Write64(CpuRig::gdt + CpuRig::spare, 0x0200 | uint64_t(CpuRig::code32) << 16 | uint64_t(2) << 32 |
                                                 uint64_t(0xEC) << 40 | uint64_t(1) << 48);
    rig.LoadAt(0x10200, {0xCA, 0x08, 0x00}); // retf 8
    rig.Execute({0x6A, 1, 0x6A, 2, 0x9A, 0, 0, 0, 0, CpuRig::spare | 3, 0x00}, 3);
    EXPECT_EQ(rig.cpu.registers.rip, 0x10200u);
    EXPECT_EQ(rig.cpu.Cpl(), 0u);
    EXPECT_EQ(rig.Gpr(gprRsp), CpuRig::kernelStack - 24);
    EXPECT_EQ(rig.Stack32(0), CpuRig::code + 11);
    EXPECT_EQ(rig.Stack32(1), CpuRig::userCode32);
    EXPECT_EQ(rig.Stack32(2), 2u);
    EXPECT_EQ(rig.Stack32(3), 1u);
    EXPECT_EQ(rig.Stack32(4), CpuRig::userStack - 8);
    EXPECT_EQ(rig.Stack32(5), CpuRig::data3);
    rig.cpu.Run(1);
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 11);
    EXPECT_EQ(rig.cpu.Cpl(), 3u);
    EXPECT_EQ(rig.Gpr(gprRsp), CpuRig::userStack);
    EXPECT_EQ(Segment(segDs).selector, CpuRig::data3);
}

TEST_F(CpuSegment, LongModeHasCallGatesOfSixteenBytes) {
    rig.StartLong(CpuRig::userCode64);
    rig.Write64(CpuRig::gdt + CpuRig::spare,
                0x0200 | uint64_t(CpuRig::code64) << 16 | uint64_t(0xEC) << 40 | uint64_t(1) << 48);
    rig.Write64(CpuRig::gdt + CpuRig::spare + 8, 0);
    rig.Write32(CpuRig::data + 4, CpuRig::spare | 3);
    rig.Gpr(gprRbx) = CpuRig::data;
    rig.Execute({0xFF, 0x1B}); // call far [rbx]
    EXPECT_EQ(rig.cpu.registers.rip, 0x10200u);
    EXPECT_EQ(rig.cpu.Cpl(), 0u);
    EXPECT_EQ(Segment(segSs).selector, 0);
    EXPECT_EQ(rig.Gpr(gprRsp), CpuRig::kernelStack - 32);
    EXPECT_EQ(rig.Stack64(0), CpuRig::code + 2);
    EXPECT_EQ(rig.Stack64(2), CpuRig::userStack);
}

TEST_F(CpuSegment, AReturnOutsideTakesAwayPrivilegedSegments) {
    rig.StartProtected();
    for (const uint32_t word : {uint32_t(CpuRig::data3), uint32_t(CpuRig::userStack),
                                uint32_t(CpuRig::userCode32), uint32_t(0x10200)}) {
        rig.Gpr(gprRsp) -= 4;
        rig.Write32(rig.Gpr(gprRsp), word);
    }
    rig.Execute({0xCB}); // retf
    EXPECT_EQ(rig.cpu.registers.rip, 0x10200u);
    EXPECT_EQ(rig.cpu.Cpl(), 3u);
    EXPECT_EQ(Segment(segDs).selector, 0);
    EXPECT_FALSE(Segment(segDs).IsPresent());
    EXPECT_EQ(Segment(segSs).selector, CpuRig::data3);
}

TEST_F(CpuSegment, QuestionsAboutDescriptorsAnswerInTheZeroFlag) {
    struct Case {
        uint8_t opcode[3];
        uint16_t selector;
        bool zero;
        uint64_t result;
    };
    const Case cases[] = {
        {{0x0F, 0x02, 0xC8}, CpuRig::data0, true, 0xC09300}, // lar ecx, eax
        {{0x0F, 0x02, 0xC8}, CpuRig::taskState, true, 0x008900},
        {{0x0F, 0x02, 0xC8}, 0, false, 0x77},
        {{0x0F, 0x02, 0xC8}, 0x200, false, 0x77},
        {{0x0F, 0x02, 0xC8}, CpuRig::data0 | 3, false, 0x77},
        {{0x0F, 0x03, 0xC8}, CpuRig::code16, true, 0xFFFF}, // lsl ecx, eax
        {{0x0F, 0x03, 0xC8}, CpuRig::data0, true, 0xFFFFFFFF},
        {{0x0F, 0x00, 0xE0}, CpuRig::code32, true, 0x77}, // verr ax
        {{0x0F, 0x00, 0xE0}, CpuRig::taskState, false, 0x77},
        {{0x0F, 0x00, 0xE8}, CpuRig::data0, true, 0x77}, // verw ax
        {{0x0F, 0x00, 0xE8}, CpuRig::code32, false, 0x77},
    };
    for (const Case &each : cases) {
        rig.StartProtected();
        rig.Gpr(gprRax) = each.selector;
        rig.Gpr(gprRcx) = 0x77;
        rig.Execute({each.opcode[0], each.opcode[1], each.opcode[2]});
        EXPECT_EQ(rig.cpu.registers.flags.Zero(), each.zero) << std::hex << each.selector;
        EXPECT_EQ(rig.Gpr(gprRcx), each.result) << std::hex << each.selector;
    }
}

TEST_F(CpuSegment, ArplRaisesThePrivilegeOfASelector) {
    rig.StartProtected();
    rig.Gpr(gprRax) = 0x20;
    rig.Gpr(gprRcx) = 0x13;
    rig.Execute({0x63, 0xC8}); // arpl ax, cx
    EXPECT_EQ(rig.Gpr(gprRax), 0x23u);
    EXPECT_TRUE(rig.cpu.registers.flags.Zero());
}

TEST_F(CpuSegment, TableRegistersAreStoredAndLoadedWithTheWidthOfTheMode) {
    rig.StartLong();
    rig.Gpr(gprRbx) = CpuRig::data;
    rig.Execute({0x0F, 0x01, 0x03}); // sgdt [rbx]
    EXPECT_EQ(rig.Read16(CpuRig::data), 0xFF);
    EXPECT_EQ(rig.Read64(CpuRig::data + 2), CpuRig::gdt);
    rig.Write64(CpuRig::data + 2, 0xFFFF800000001234);
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x01, 0x1B}); // lidt [rbx]
    EXPECT_EQ(rig.cpu.registers.idt.base, 0xFFFF800000001234u);
    rig.StartReal();
    rig.Write64(0x500, 0x9988776655441234);
    rig.Execute({0x0F, 0x01, 0x16, 0x00, 0x05}); // lgdt [0x500]: 24 bits
    EXPECT_EQ(rig.cpu.registers.gdt.limit, 0x1234);
    EXPECT_EQ(rig.cpu.registers.gdt.base, 0x665544u);
}

} // namespace
