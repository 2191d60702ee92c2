// The stack in 16- and 32-bit code, frames, and what an instruction that faults leaves behind.
#include <gtest/gtest.h>

#include "support/cpu_rig.h"

using namespace sable;

namespace {

class CpuStack : public testing::Test {
protected:
    CpuRig rig;
};

TEST_F(CpuStack, PushaAndPopaKeepTheStackPointerOfBefore) {
    rig.StartProtected();
    for (unsigned n = 0; n < 8; ++n) {
        if (n != gprRsp) rig.Gpr(n) = 0x1000 + n;
    }
    const uint64_t stack = rig.Gpr(gprRsp);
    rig.Execute({0x60}); // pusha
    EXPECT_EQ(rig.Gpr(gprRsp), stack - 32);
    EXPECT_EQ(rig.Stack32(7), 0x1000u);
    EXPECT_EQ(rig.Stack32(3), stack);
    EXPECT_EQ(rig.Stack32(0), 0x1007u);
    for (unsigned n = 0; n < 8; ++n) {
        if (n != gprRsp) rig.Gpr(n) = 0;
    }
    rig.Write32(rig.Gpr(gprRsp) + 12, 0xDEAD); // not taken
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x61}); // popa
    EXPECT_EQ(rig.Gpr(gprRsp), stack);
    for (unsigned n = 0; n < 8; ++n) {
        if (n != gprRsp) {
            EXPECT_EQ(rig.Gpr(n), 0x1000u + n);
        }
    }
}

TEST_F(CpuStack, SixteenBitStacksWrapInTheirSegment) {
    rig.StartReal();
    rig.Gpr(gprRsp) = 0xABCD0002;
    rig.Gpr(gprRax) = 0x1234;
    rig.Execute({0x50, 0x50}, 2);
    EXPECT_EQ(rig.Gpr(gprRsp), 0xABCDFFFEu);
    EXPECT_EQ(rig.Read16(0xFFFE), 0x1234);
    EXPECT_EQ(rig.Read16(0), 0x1234);
}

TEST_F(CpuStack, EnterBuildsNestedFramesAndLeaveRemovesThem) {
    rig.StartProtected();
    const uint64_t stack = rig.Gpr(gprRsp);
    rig.Gpr(gprRbp) = CpuRig::data + 0x100;
    rig.Write32(CpuRig::data + 0xFC, 0xAAAA);
    rig.Write32(CpuRig::data + 0xF8, 0xBBBB);
    rig.Execute({0xC8, 0x10, 0x00, 0x03}); // enter 16, 3
    EXPECT_EQ(rig.Gpr(gprRbp), stack - 4);
    EXPECT_EQ(rig.Gpr(gprRsp), stack - 16 - 16);
    EXPECT_EQ(rig.Read32(stack - 4), CpuRig::data + 0x100);
    EXPECT_EQ(rig.Read32(stack - 8), 0xAAAAu);
    EXPECT_EQ(rig.Read32(stack - 12), 0xBBBBu);
    EXPECT_EQ(rig.Read32(stack - 16), stack - 4);
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0xC9}); // leave
    EXPECT_EQ(rig.Gpr(gprRsp), stack);
    EXPECT_EQ(rig.Gpr(gprRbp), CpuRig::data + 0x100);
}

TEST_F(CpuStack, InstructionsThatFaultLeaveTheStackPointer) {
    // pusha, enter, call, push, pop [mem], popa, ret: the page below or above the stack is missing.
    const std::initializer_list<std::initializer_list<uint8_t>> all = {{0x60},
                                                                       {0xC8, 0x08, 0x00, 0x04},
                                                                       {0xE8, 0, 0, 0, 0},
                                                                       {0x50},
                                                                       {0x8F, 0x03},
                                                                       {0x9A, 0, 0, 1, 0, CpuRig::code32, 0}};
    constexpr uint64_t missing = 0x70000;
    for (const std::initializer_list<uint8_t> &bytes : all) {
        rig.StartProtected(CpuRig::userCode32, CpuRig::directory);
        rig.Write32(CpuRig::tables + 4 * (missing >> 12), 0);
        rig.cpu.Refresh();
        const bool isPop = *bytes.begin() == 0x8F;
        const uint64_t stack = missing + 0x1000 + (isPop ? 0x10 : *bytes.begin() == 0x60 ? 8 : 0);
        rig.Gpr(gprRsp) = stack;
        rig.Gpr(gprRbp) = stack;
        rig.Gpr(gprRbx) = missing;
        rig.Execute(bytes);
        const bool isDenied = *bytes.begin() == 0x9A; // privilege 0 is out of reach, before any push
        EXPECT_TRUE(rig.IsAtHandler(isDenied ? vectorGeneral : vectorPage))
            << std::hex << int(*bytes.begin());
        EXPECT_EQ(rig.Stack32(4), stack) << std::hex << int(*bytes.begin());
        EXPECT_EQ(rig.Stack32(1), CpuRig::code) << std::hex << int(*bytes.begin());
        EXPECT_EQ(rig.Gpr(gprRbp), stack);
    }
}

TEST_F(CpuStack, ANearCallToNowhereFaultsBeforeItPushes) {
    rig.StartLong();
    const uint64_t stack = rig.Gpr(gprRsp);
    rig.Gpr(gprRax) = uint64_t(1) << 47;
    rig.Execute({0xFF, 0xD0}); // call rax
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    EXPECT_EQ(rig.Stack64(1), CpuRig::code);
    EXPECT_EQ(rig.Stack64(4), stack);
}

TEST_F(CpuStack, RetDropsItsArguments) {
    rig.StartLong();
    const uint64_t stack = rig.Gpr(gprRsp);
    rig.Write64(stack, CpuRig::code + 0x50);
    rig.Execute({0xC2, 0x18, 0x00}); // ret 24
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 0x50);
    EXPECT_EQ(rig.Gpr(gprRsp), stack + 32);
}

TEST_F(CpuStack, SegmentRegistersTravelOverTheStack) {
    rig.StartLong();
    const uint64_t stack = rig.Gpr(gprRsp);
    rig.Execute({0x0F, 0xA0, 0x0F, 0xA9}, 2); // push fs; pop gs
    EXPECT_EQ(rig.cpu.registers.segment[segGs].selector, CpuRig::data0);
    EXPECT_EQ(rig.Gpr(gprRsp), stack);
    EXPECT_EQ(rig.Read64(stack - 8), CpuRig::data0);
    rig.StartProtected();
    rig.Execute({0x16, 0x07}, 2); // push ss; pop es
    EXPECT_EQ(rig.cpu.registers.segment[segEs].selector, CpuRig::data0);
}

TEST_F(CpuStack, PopfChangesWhatThePrivilegeAllows) {
    struct Case {
        uint16_t selector;
        uint32_t before, popped, after;
    };
    constexpr Case cases[] = {
        {CpuRig::code64, 0, flagIf | flagIopl | flagAc, flagIf | flagIopl | flagAc},
        {CpuRig::userCode64, 0, flagIf | flagIopl | flagCf, flagCf},
        {CpuRig::userCode64, flagIopl, flagIf, flagIf | flagIopl},
        {CpuRig::code64, flagRf, flagVm | flagVif | flagVip | flagRf, 0},
    };
    for (const Case &each : cases) {
        rig.StartLong(each.selector);
        rig.cpu.registers.flags.Set(each.before);
        rig.Gpr(gprRsp) -= 8;
        rig.Write64(rig.Gpr(gprRsp), each.popped);
        rig.Execute({0x9D});
        EXPECT_EQ(rig.FlagsWord(), each.after | flagOne) << std::hex << each.popped;
    }
}

} // namespace
