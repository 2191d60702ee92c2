#include <gtest/gtest.h>

#include "sim/cpuid.h"
#include "support/cpu_rig.h"

using namespace sable;

namespace {

class CpuSystem : public testing::Test {
protected:
    CpuSystem() { rig.StartLong(); }

    // rdmsr and wrmsr
    uint64_t ReadMsr(uint32_t number) {
        rig.cpu.registers.rip = CpuRig::code;
        rig.Gpr(gprRcx) = number;
        rig.Execute({0x0F, 0x32});
        return rig.Gpr(gprRdx) << 32 | rig.Gpr(gprRax);
    }
    bool WriteMsr(uint32_t number, uint64_t value) {
        rig.StartLong();
        rig.Gpr(gprRcx) = number;
        rig.Gpr(gprRax) = value & 0xFFFFFFFF;
        rig.Gpr(gprRdx) = value >> 32;
        rig.Execute({0x0F, 0x30});
        return rig.cpu.registers.rip == CpuRig::code + 2;
    }
    bool WriteControl(unsigned number, uint64_t value) {
        rig.cpu.registers.rip = CpuRig::code;
        rig.Gpr(gprRcx) = value;
        const uint8_t modRm = uint8_t(0xC1 | number << 3);
        rig.Execute({0x0F, 0x22, modRm});
        return rig.cpu.registers.rip == CpuRig::code + 3;
    }

    CpuRig rig;
};

TEST_F(CpuSystem, PlainMsrsKeepWhatIsWritten) {
    for (const uint32_t number : {0x277u, 0xC0000081u, 0xC0000082u, 0xC0000083u, 0xC0000084u, 0xC0000100u,
                                  0xC0000101u, 0xC0000102u, 0xC0000103u}) {
        const uint64_t value = number == 0x277 ? 0x0606060606060606 : 0x12345678;
        EXPECT_TRUE(WriteMsr(number, value)) << std::hex << number;
        EXPECT_EQ(ReadMsr(number), value) << std::hex << number;
    }
}

TEST_F(CpuSystem, UnknownMsrsAndBadValuesAreGeneralFaults) {
    struct Case {
        uint32_t number;
        uint64_t value;
    };
    constexpr Case cases[] = {{0x9999, 0},
                              {0xC0000082, 0x0000800000000000},
                              {0xC0000100, 0x8000000000000000},
                              {0xC0000080, uint64_t(1) << 14},
                              {0xC0000080, eferSce | eferNxe}, // LME off under paging
                              {0x277, 2},
                              {0xFE, 0}};
    for (const Case &each : cases) {
        EXPECT_FALSE(WriteMsr(each.number, each.value)) << std::hex << each.number;
        EXPECT_TRUE(rig.IsAtHandler(vectorGeneral)) << std::hex << each.number;
    }
    rig.StartLong();
    ReadMsr(0x9999);
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    rig.StartLong(CpuRig::userCode64);
    ReadMsr(0xC0000080);
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
}

TEST_F(CpuSystem, LmaIsNotWritten) {
    EXPECT_TRUE(WriteMsr(0xC0000080, eferLme | eferSce));
    EXPECT_EQ(ReadMsr(0xC0000080), uint64_t(eferLme | eferSce | eferLma));
}

TEST_F(CpuSystem, TheTimeStampCountsInstructions) {
    rig.Load({0x0F, 0x31, 0x89, 0xC3, 0x90, 0x0F, 0x31}); // rdtsc; mov ebx, eax; nop; rdtsc
    rig.cpu.Run(4);
    EXPECT_EQ(rig.Gpr(gprRax) - rig.Gpr(gprRbx), 3u);
    EXPECT_EQ(rig.cpu.Now() - rig.Gpr(gprRax), 1u);
    rig.cpu.AdvanceIdle(1000);
    rig.cpu.registers.rip = CpuRig::code;
    rig.cpu.Run(1);
    EXPECT_EQ(rig.Gpr(gprRax), rig.cpu.Now() - 1);
    EXPECT_TRUE(WriteMsr(0x10, uint64_t(5) << 32));
    rig.Execute({0x90, 0x90, 0x0F, 0x01, 0xF9}); // something else first
    rig.cpu.registers.rip = CpuRig::code + 2;
    rig.cpu.registers.msr.tscAux = 7;
    rig.cpu.Run(1); // rdtscp
    EXPECT_EQ(rig.Gpr(gprRdx), 5u);
    EXPECT_EQ(rig.Gpr(gprRcx), 7u);
}

TEST_F(CpuSystem, TheTimeStampCanBeKeptFromPrograms) {
    rig.StartLong(CpuRig::userCode64);
    rig.Execute({0x0F, 0x31});
    EXPECT_EQ(rig.cpu.registers.rip, CpuRig::code + 2);
    rig.cpu.registers.cr4 |= cr4Tsd;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x31});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
}

TEST_F(CpuSystem, CpuidNamesItself) {
    rig.Gpr(gprRax) = 0;
    rig.Execute({0x0F, 0xA2});
    char vendor[13] = {};
    for (const unsigned n : {gprRbx, gprRdx, gprRcx}) {
        const uint32_t part = uint32_t(rig.Gpr(n));
        std::memcpy(vendor + (n == gprRbx ? 0 : n == gprRdx ? 4 : 8), &part, 4);
    }
    EXPECT_STREQ(vendor, "SableSimPC  ");
    EXPECT_EQ(GetCpuid(0x80000000, 0).eax, 0x80000008u);
    EXPECT_EQ(GetCpuid(0x80000008, 0).eax, 48u << 8 | 40);
    EXPECT_EQ(GetCpuid(1, 3).ebx >> 24, 3u);
    EXPECT_EQ(GetCpuid(1, 0).edx & 1, 0u); // no floating point
    EXPECT_NE(GetCpuid(0x80000001, 0).edx & 1u << 29, 0u);
    EXPECT_EQ(GetCpuid(0x12345, 0).eax, GetCpuid(1, 0).eax);
    EXPECT_EQ(GetCpuid(0x80000005, 0).eax, 0u);
}

TEST_F(CpuSystem, SyscallAndSysretSwitchBetweenThePrivileges) {
    rig.StartLong(CpuRig::userCode64);
    rig.cpu.registers.msr.star = uint64_t(CpuRig::code64) << 32 | uint64_t(0x1B) << 48;
    rig.cpu.registers.msr.lstar = CpuRig::code + 0x100;
    rig.cpu.registers.msr.fmask = flagIf | flagDf;
    rig.cpu.registers.flags.Set(flagIf | flagDf | flagCf);
    rig.LoadAt(CpuRig::code + 0x100, {0x48, 0x0F, 0x07}); // sysretq
    rig.Execute({0x0F, 0x05});
    const Registers &r = rig.cpu.registers;
    EXPECT_EQ(r.rip, CpuRig::code + 0x100);
    EXPECT_EQ(rig.cpu.Cpl(), 0u);
    EXPECT_EQ(r.segment[segCs].selector, CpuRig::code64);
    EXPECT_EQ(r.segment[segSs].selector, CpuRig::data0);
    EXPECT_EQ(rig.Gpr(gprRcx), CpuRig::code + 2);
    EXPECT_EQ(rig.Gpr(gprR11), uint64_t(flagIf | flagDf | flagCf | flagOne));
    EXPECT_EQ(rig.FlagsWord(), uint32_t(flagCf | flagOne));
    EXPECT_EQ(rig.Gpr(gprRsp), CpuRig::userStack);
    rig.cpu.Run(1);
    EXPECT_EQ(r.rip, CpuRig::code + 2);
    EXPECT_EQ(rig.cpu.Cpl(), 3u);
    EXPECT_EQ(r.segment[segCs].selector, 0x2B);
    EXPECT_EQ(r.segment[segSs].selector, 0x23);
    EXPECT_EQ(rig.FlagsWord(), uint32_t(flagIf | flagDf | flagCf | flagOne));
}

TEST_F(CpuSystem, SyscallIsInvalidWhereItIsNotEnabled) {
    rig.cpu.registers.msr.efer &= ~uint64_t(eferSce);
    rig.Execute({0x0F, 0x05});
    EXPECT_TRUE(rig.IsAtHandler(vectorInvalid));
    rig.cpu.registers.msr.efer = 0;
    rig.StartProtected();
    rig.Execute({0x0F, 0x05});
    EXPECT_TRUE(rig.IsAtHandler(vectorInvalid));
    rig.StartProtected();
    rig.Execute({0x0F, 0x34}); // sysenter is not there
    EXPECT_TRUE(rig.IsAtHandler(vectorInvalid));
}

TEST_F(CpuSystem, SysretRefusesAnAddressThatIsNotCanonical) {
    rig.Gpr(gprRcx) = uint64_t(1) << 47;
    rig.Execute({0x48, 0x0F, 0x07});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    EXPECT_EQ(rig.cpu.Cpl(), 0u);
}

TEST_F(CpuSystem, SwapgsExchangesTheBases) {
    rig.cpu.registers.segment[segGs].base = 0x1111;
    rig.cpu.registers.msr.kernelGsBase = CpuRig::data;
    rig.Write64(CpuRig::data + 8, 0xABCD);
    rig.Execute({0x0F, 0x01, 0xF8, 0x65, 0x48, 0x8B, 0x04, 0x25, 8, 0, 0, 0}, 2); // swapgs; mov rax, gs:[8]
    EXPECT_EQ(rig.Gpr(gprRax), 0xABCDu);
    EXPECT_EQ(rig.cpu.registers.msr.kernelGsBase, 0x1111u);
}

TEST_F(CpuSystem, ControlRegistersRefuseValuesThatMakeNoSense) {
    const uint64_t cr0 = rig.cpu.registers.cr0;
    EXPECT_TRUE(WriteControl(0, cr0 | cr0Ts));
    EXPECT_FALSE(WriteControl(0, cr0 & ~uint64_t(cr0Pe)));
    rig.StartLong();
    EXPECT_FALSE(WriteControl(0, cr0 & ~uint64_t(cr0Pg))); // in 64-bit code
    rig.StartLong();
    EXPECT_FALSE(WriteControl(0, cr0 | cr0Nw));
    rig.StartLong();
    EXPECT_FALSE(WriteControl(0, cr0 | uint64_t(1) << 32));
    rig.StartLong();
    EXPECT_FALSE(WriteControl(3, uint64_t(1) << 40));
    rig.StartLong();
    EXPECT_FALSE(WriteControl(4, 0)); // PAE off
    rig.StartLong();
    EXPECT_FALSE(WriteControl(4, cr4Pae | 1));
    rig.StartLong();
    EXPECT_TRUE(rig.Execute({0x0F, 0x22, 0xC8}) == StopReason::budget &&
                rig.IsAtHandler(vectorInvalid)); // cr1
}

TEST_F(CpuSystem, Cr8IsTheTaskPriority) {
    rig.Gpr(gprRcx) = 9;
    rig.Execute({0x44, 0x0F, 0x22, 0xC1, 0x44, 0x0F, 0x20, 0xC2}, 2); // mov cr8, rcx; mov rdx, cr8
    EXPECT_EQ(rig.taskPriority, 9u);
    EXPECT_EQ(rig.Gpr(gprRdx), 9u);
    rig.Gpr(gprRcx) = 16;
    rig.cpu.registers.rip = CpuRig::code;
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
}

TEST_F(CpuSystem, RealModeGrowsIntoLongModeStepByStep) {
    CpuRig boot;
    boot.StartReal();
    boot.Write64(CpuRig::data, 0x00FF | CpuRig::gdt << 16); // for lgdt
    boot.Load({
        0x66, 0x0F, 0x01, 0x16, 0x00, 0x05,             // lgdt [0x500]
        0x66, 0xB8, 0x20, 0x00, 0x00, 0x00,             // mov eax, CR4.PAE
        0x0F, 0x22, 0xE0,                               // mov cr4, eax
        0x66, 0xB8, 0x00, 0x10, 0x00, 0x00,             // mov eax, 0x1000
        0x0F, 0x22, 0xD8,                               // mov cr3, eax
        0x66, 0xB9, 0x80, 0x00, 0x00, 0xC0,             // mov ecx, EFER
        0x66, 0xB8, 0x00, 0x01, 0x00, 0x00,             // mov eax, LME
        0x66, 0x31, 0xD2,                               // xor edx, edx
        0x0F, 0x30,                                     // wrmsr
        0x66, 0xB8, 0x01, 0x00, 0x00, 0x80,             // mov eax, PG | PE
        0x0F, 0x22, 0xC0,                               // mov cr0, eax
        0x66, 0xEA, 0x00, 0x02, 0x01, 0x00, 0x08, 0x00, // jmp 08:10200
    });
    boot.memory.Write(0x500, boot.memory.At(CpuRig::data), 8);
    boot.LoadAt(0x10200, {0x48, 0xB8, 1, 2, 3, 4, 5, 6, 7, 8}); // mov rax, imm64
    boot.cpu.Run(13);
    EXPECT_EQ(boot.cpu.registers.rip, 0x1020Au);
    EXPECT_TRUE(boot.cpu.Is64());
    EXPECT_EQ(boot.Gpr(gprRax), 0x0807060504030201u);
    EXPECT_EQ(boot.cpu.registers.msr.efer, uint64_t(eferLme | eferLma));
}

TEST_F(CpuSystem, PortsGoToTheBusWithTheirWidth) {
    rig.deviceValue = 0x11223344;
    rig.Gpr(gprRax) = ~uint64_t(0);
    rig.Gpr(gprRdx) = 0x3F8;
    rig.Load({0xE4, 0x60, 0x66, 0xED, 0xEF}); // in al, 0x60; in ax, dx; out dx, eax
    rig.cpu.Run(1);
    EXPECT_EQ(rig.Gpr(gprRax), 0xFFFFFFFFFFFFFF44u);
    rig.cpu.Run(2);
    EXPECT_EQ(rig.Gpr(gprRax), 0xFFFFFFFFFFFF3344u);
    ASSERT_EQ(rig.portReads.size(), 2u);
    EXPECT_EQ(rig.portReads[0].address, 0x60u);
    EXPECT_EQ(rig.portReads[1].size, 2u);
    ASSERT_EQ(rig.portWrites.size(), 1u);
    EXPECT_EQ(rig.portWrites[0].address, 0x3F8u);
    EXPECT_EQ(rig.portWrites[0].size, 4u);
    EXPECT_EQ(rig.portWrites[0].value, 0xFFFF3344u);
}

TEST_F(CpuSystem, ProgramsNeedPrivilegeOrTheBitmapForPorts) {
    rig.StartLong(CpuRig::userCode64);
    rig.Write8(CpuRig::tss + 0x67, 0x10); // the bitmap is not in the segment
    rig.Execute({0xE6, 0x80});
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    rig.StartLong(CpuRig::userCode64);
    rig.cpu.registers.flags.Set(flagIopl);
    rig.Execute({0xE6, 0x80});
    EXPECT_EQ(rig.portWrites.size(), 1u);
    rig.StartLong(CpuRig::userCode64);
    rig.cpu.registers.flags.Set(0);
    rig.Write8(CpuRig::tss + 0x66, 0x80); // the bitmap is at 0x80
    rig.Write8(CpuRig::tss + 0x67, 0);
    rig.Write8(CpuRig::tss + 0x80 + 0x10, 0xFE);
    rig.Execute({0xE6, 0x80, 0x66, 0xE7, 0x80}); // port 0x80, then 0x80 and 0x81
    EXPECT_EQ(rig.portWrites.size(), 2u);
    rig.cpu.Run(1);
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
}

TEST_F(CpuSystem, PrivilegedInstructionsFaultForPrograms) {
    const std::initializer_list<std::initializer_list<uint8_t>> all = {{0xF4},
                                                                       {0xFA},
                                                                       {0xFB},
                                                                       {0x0F, 0x06},
                                                                       {0x0F, 0x08},
                                                                       {0x0F, 0x09},
                                                                       {0x0F, 0x20, 0xC0},
                                                                       {0x0F, 0x22, 0xC0},
                                                                       {0x0F, 0x21, 0xC0},
                                                                       {0x0F, 0x01, 0x38},
                                                                       {0x0F, 0x01, 0xF0},
                                                                       {0x0F, 0x01, 0x10},
                                                                       {0x0F, 0x00, 0xD0},
                                                                       {0x0F, 0x00, 0xD8},
                                                                       {0x0F, 0x01, 0xF8},
                                                                       {0x0F, 0x30},
                                                                       {0x48, 0x0F, 0x07}};
    for (const std::initializer_list<uint8_t> &bytes : all) {
        rig.StartLong(CpuRig::userCode64);
        rig.cpu.registers.flags.Set(0);
        rig.Gpr(gprRax) = CpuRig::data;
        rig.Execute(bytes);
        EXPECT_TRUE(rig.IsAtHandler(vectorGeneral))
            << std::hex << int(*bytes.begin()) << " " << int(bytes.begin()[bytes.size() - 1]);
    }
}

TEST_F(CpuSystem, WhatIsMissingIsInvalid) {
    const std::initializer_list<std::initializer_list<uint8_t>> all = {
        {0xD8, 0xC0},             // x87
        {0x9B},                   // wait
        {0x0F, 0x10, 0xC0},       // SSE
        {0x66, 0x0F, 0x6F, 0xC0}, // SSE2
        {0x0F, 0x77},             // MMX
        {0x0F, 0xAE, 0x00},       // fxsave
        {0x0F, 0x0B},
        {0x0F, 0x38, 0x00},
        {0x06}, // not in 64-bit code
        {0x27},
        {0xEA},
        {0x0F, 0xC7, 0xC8}, // cmpxchg8b needs memory
        {0x8D, 0xC0},       // so does lea
        {0x0F, 0xB8, 0xC0}, // popcnt without its prefix
        {0x8E, 0xC8},       // mov cs
        {0xF0, 0x90},       // lock
        {0xF0, 0x01, 0xC0},
        {0xF0, 0x39, 0x00},
        {0xFE, 0xD0},
        {0xC4, 0x00}};
    for (const std::initializer_list<uint8_t> &bytes : all) {
        rig.StartLong();
        rig.Execute(bytes);
        EXPECT_TRUE(rig.IsAtHandler(vectorInvalid))
            << std::hex << int(*bytes.begin()) << " " << int(bytes.begin()[bytes.size() - 1]);
        EXPECT_EQ(rig.Stack64(0), CpuRig::code);
    }
}

} // namespace
