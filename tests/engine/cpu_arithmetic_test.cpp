// What the comparison with a real processor does not reach: decimal adjustments, divisions that fault,
// operands whose result the architecture leaves open.
#include <gtest/gtest.h>

#include "support/cpu_rig.h"

using namespace sable;

namespace {

class CpuArithmetic : public testing::Test {
protected:
    CpuArithmetic() { rig.StartProtected(); }

    CpuRig rig;
};

struct DecimalCase {
    uint8_t opcode;
    uint16_t ax;
    uint32_t flags; ///< carry and auxiliary before
    uint16_t result;
    uint32_t after; ///< carry and auxiliary after
};

TEST_F(CpuArithmetic, DecimalAdjustmentsFollowAlAndTheFlags) {
    constexpr uint32_t both = flagCf | flagAf;
    constexpr DecimalCase cases[] = {
        {0x27, 0x0079, 0, 0x0079, 0},           {0x27, 0x007A, 0, 0x0080, flagAf},
        {0x27, 0x009A, 0, 0x0000, both},        {0x27, 0x00AE, 0, 0x0014, both},
        {0x27, 0x0012, flagCf, 0x0072, flagCf}, {0x27, 0x0012, flagAf, 0x0018, flagAf},
        {0x2F, 0x0079, 0, 0x0079, 0},           {0x2F, 0x007A, 0, 0x0074, flagAf},
        {0x2F, 0x009A, 0, 0x0034, both},        {0x2F, 0x0003, flagAf, 0x00FD, both},
        {0x2F, 0x0012, flagCf, 0x00B2, flagCf}, {0x37, 0x0009, 0, 0x0009, 0},
        {0x37, 0x000A, 0, 0x0100, both},        {0x37, 0x02FB, 0, 0x0401, both},
        {0x37, 0x0003, flagAf, 0x0109, both},   {0x3F, 0x0205, 0, 0x0205, 0},
        {0x3F, 0x020C, 0, 0x0106, both},        {0x3F, 0x0201, flagAf, 0x000B, both},
    };
    for (const DecimalCase &each : cases) {
        rig.StartProtected();
        rig.Gpr(gprRax) = each.ax;
        rig.cpu.registers.flags.Set(each.flags);
        rig.Execute({each.opcode});
        EXPECT_EQ(rig.Gpr(gprRax), each.result) << std::hex << int(each.opcode) << " of " << each.ax;
        EXPECT_EQ(rig.FlagsWord() & both, each.after) << std::hex << int(each.opcode) << " of " << each.ax;
    }
}

TEST_F(CpuArithmetic, AamAndAadTakeAnyBase) {
    rig.Gpr(gprRax) = 0x1234FF47;
    rig.Execute({0xD4, 0x0A}); // aam
    EXPECT_EQ(rig.Gpr(gprRax), 0x12340701u);
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0xD5, 0x10}); // aad 16
    EXPECT_EQ(rig.Gpr(gprRax), 0x12340071u);
}

TEST_F(CpuArithmetic, AamByZeroIsADivideError) {
    rig.Gpr(gprRax) = 0x1234;
    rig.Execute({0xD4, 0x00});
    EXPECT_TRUE(rig.IsAtHandler(vectorDivide));
    EXPECT_EQ(rig.Gpr(gprRax), 0x1234u);
    EXPECT_EQ(rig.Stack32(0), CpuRig::code);
}

TEST_F(CpuArithmetic, DivisionsThatDoNotFitFaultAndChangeNothing) {
    struct Case {
        uint8_t modRm;
        uint64_t rax, rdx, rcx;
        bool faults;
        uint64_t quotient, remainder;
    };
    constexpr uint64_t top = 0x80000000;
    constexpr Case cases[] = {
        {0xF1, 5, 0, 0, true, 0, 0},                                      // div ecx
        {0xF1, 0, 7, 7, true, 0, 0},                                      // quotient of 33 bits
        {0xF1, 0xFFFFFFFF, 6, 7, false, 0xFFFFFFFF, 6},                   // the largest one
        {0xF9, top, 0xFFFFFFFF, 0xFFFFFFFF, true, 0, 0},                  // idiv ecx: -2^31 / -1
        {0xF9, top, 0xFFFFFFFF, 1, false, top, 0},                        // -2^31 / 1
        {0xF9, top, 0, 1, true, 0, 0},                                    // 2^31 / 1
        {0xF9, 0xFFFFFFF9, 0xFFFFFFFF, 2, false, 0xFFFFFFFD, 0xFFFFFFFF}, // -7 / 2
        {0xF9, 7, 0, 0xFFFFFFFE, false, 0xFFFFFFFD, 1},                   // 7 / -2
        {0xF9, 0, top, 0xFFFFFFFF, true, 0, 0},                           // the smallest dividend
        {0xF9, 7, 0, 0, true, 0, 0},
    };
    for (const Case &each : cases) {
        rig.StartProtected();
        rig.Gpr(gprRax) = each.rax;
        rig.Gpr(gprRdx) = each.rdx;
        rig.Gpr(gprRcx) = each.rcx;
        rig.Execute({0xF7, each.modRm});
        EXPECT_EQ(rig.IsAtHandler(vectorDivide), each.faults) << std::hex << each.rax;
        EXPECT_EQ(rig.Gpr(gprRax), each.faults ? each.rax : each.quotient) << std::hex << each.rax;
        EXPECT_EQ(rig.Gpr(gprRdx), each.faults ? each.rdx : each.remainder) << std::hex << each.rax;
    }
}

TEST_F(CpuArithmetic, DoubleShiftsOfWordsByMoreThanSixteenAreDefinedHere) {
    rig.Gpr(gprRax) = 0x1234;
    rig.Gpr(gprRcx) = 0x00005678;
    rig.Execute({0x66, 0x0F, 0xA4, 0xC8, 0x14}); // shld ax, cx, 20
    EXPECT_EQ(rig.Gpr(gprRax), 0x6781u);
    rig.cpu.registers.rip = CpuRig::code;
    rig.Gpr(gprRax) = 0x1234;
    rig.Execute({0x66, 0x0F, 0xAC, 0xC8, 0x14}); // shrd ax, cx, 20
    EXPECT_EQ(rig.Gpr(gprRax), 0x4567u);
}

TEST_F(CpuArithmetic, BswapOfAWordGivesZero) {
    rig.Gpr(gprRcx) = 0x12345678;
    rig.Execute({0x66, 0x0F, 0xC9});
    EXPECT_EQ(rig.Gpr(gprRcx), 0x12340000u);
}

TEST_F(CpuArithmetic, BoundFaultsOutsideOfItsLimitsOnly) {
    rig.Write32(CpuRig::data, uint32_t(-5));
    rig.Write32(CpuRig::data + 4, 10);
    rig.Gpr(gprRbx) = CpuRig::data;
    for (const int64_t index : {-5, 0, 10}) {
        rig.cpu.registers.rip = CpuRig::code;
        rig.Gpr(gprRax) = uint32_t(index);
        rig.Execute({0x62, 0x03}); // bound eax, [ebx]
        EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2) << index;
    }
    rig.cpu.registers.rip = CpuRig::code;
    rig.Gpr(gprRax) = 11;
    rig.Execute({0x62, 0x03});
    EXPECT_TRUE(rig.IsAtHandler(vectorBound));
    EXPECT_EQ(rig.Stack32(0), CpuRig::code);
}

TEST_F(CpuArithmetic, Int4ComesWithOverflowOnly) {
    rig.cpu.registers.flags.Set(0);
    rig.Execute({0xCE});
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 1);
    rig.cpu.registers.rip = CpuRig::code;
    rig.cpu.registers.flags.Set(flagOf);
    rig.Execute({0xCE});
    EXPECT_TRUE(rig.IsAtHandler(vectorOverflow));
    EXPECT_EQ(rig.Stack32(0), CpuRig::code + 1);
}

TEST(Flags, EveryMixOfArithmeticFlagsIsKept) {
    constexpr uint32_t bits[] = {flagCf, flagPf, flagAf, flagZf, flagSf, flagOf};
    for (uint32_t mix = 0; mix < 64; ++mix) {
        uint32_t word = flagOne | flagIf;
        for (unsigned n = 0; n < 6; ++n) word |= mix >> n & 1 ? bits[n] : 0u;
        Flags flags;
        flags.Set(word);
        EXPECT_EQ(flags.Get(), word);
        flags.SetCarry(!flags.Carry());
        EXPECT_EQ(flags.Get(), word ^ flagCf);
        flags.SetZero(!flags.Zero());
        EXPECT_EQ(flags.Get(), word ^ flagCf ^ flagZf);
    }
}

} // namespace
