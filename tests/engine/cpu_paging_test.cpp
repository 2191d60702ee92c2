#include <gtest/gtest.h>

#include "support/cpu_rig.h"

using namespace sable;

namespace {

constexpr uint64_t noExecute = uint64_t(1) << 63;
constexpr uint64_t page = 0x60000; // of CpuRig::data
constexpr uint64_t pageEntry = CpuRig::wideTables + 8 * (page >> 12);
constexpr uint32_t accessed = 0x20, dirty = 0x40;

class CpuPaging : public testing::Test {
protected:
    // mov eax, [ebx] and mov [ebx], eax, in code of 32 and 64 bits.
    bool Reads(uint64_t linear) { return Access(linear, 0x8B); }
    bool Writes(uint64_t linear) { return Access(linear, 0x89); }

    bool Access(uint64_t linear, uint8_t opcode) {
        rig.cpu.registers.rip = CpuRig::code;
        rig.Gpr(gprRbx) = linear;
        rig.Execute({opcode, 0x03});
        return rig.cpu.registers.rip == CpuRig::code + 2;
    }

    // The error code that the handler of 64-bit code finds; CR2 has to be `linear`.
    uint64_t PageError(uint64_t linear) {
        EXPECT_TRUE(rig.IsAtHandler(vectorPage));
        EXPECT_EQ(rig.cpu.registers.cr2, linear);
        return rig.Stack64(0);
    }

    void SetEntry(uint64_t at, uint64_t value) {
        rig.Write64(at, value);
        rig.cpu.Refresh();
    }

    CpuRig rig;
};

TEST_F(CpuPaging, LongModeReachesPagesOfAllThreeSizes) {
    rig.StartLong();
    rig.Write32(0x234567, 0x11223344);
    SetEntry(CpuRig::wideDirectory + 8 * 5, 0x200000 | 0x83); // 2 MiB at 0xA00000
    EXPECT_TRUE(Reads(0xA34567));
    EXPECT_EQ(rig.Gpr(gprRax), 0x11223344u);
    SetEntry(CpuRig::pdpt + 8 * 3, 0x83); // 1 GiB at 0xC0000000
    EXPECT_TRUE(Reads(0xC0234567));
    EXPECT_EQ(rig.Gpr(gprRax), 0x11223344u);
    EXPECT_TRUE(Reads(0x234567)); // 4 KiB
    EXPECT_EQ(rig.Gpr(gprRax), 0x11223344u);
}

TEST_F(CpuPaging, PaePagingReachesPagesOfBothSizes) {
    rig.StartProtected(CpuRig::code32, CpuRig::paePointers, cr4Pae);
    rig.Write32(0x234567, 0x11223344);
    SetEntry(CpuRig::wideDirectory + 8 * 5, 0x200000 | 0x83);
    EXPECT_TRUE(Reads(0xA34567));
    EXPECT_EQ(rig.Gpr(gprRax), 0x11223344u);
    EXPECT_TRUE(Reads(0x234567));
    EXPECT_EQ(rig.Gpr(gprRax), 0x11223344u);
}

TEST_F(CpuPaging, ThirtyTwoBitPagingReachesPagesOfBothSizes) {
    rig.StartProtected(CpuRig::code32, CpuRig::directory, cr4Pse);
    rig.Write32(0x234567, 0x11223344);
    rig.Write32(CpuRig::directory + 4 * 3, 0x83); // 4 MiB at 0xC00000
    rig.cpu.Refresh();
    EXPECT_TRUE(Reads(0xE34567));
    EXPECT_EQ(rig.Gpr(gprRax), 0x11223344u);
    EXPECT_TRUE(Reads(0x234567));
    EXPECT_EQ(rig.Gpr(gprRax), 0x11223344u);
    EXPECT_EQ(rig.Read32(CpuRig::directory + 4 * 3), 0x83u | accessed);
}

TEST_F(CpuPaging, WithoutPseTheBitOfLargePagesCountsNothing) {
    rig.StartProtected(CpuRig::code32, CpuRig::directory, 0);
    rig.Write32(CpuRig::directory + 4 * 3, uint32_t(CpuRig::tables | 0x87));
    rig.Write32(0x34567, 0x55667788);
    rig.cpu.Refresh();
    EXPECT_TRUE(Reads(0xC34567));
    EXPECT_EQ(rig.Gpr(gprRax), 0x55667788u);
}

TEST_F(CpuPaging, AccessedAndDirtyBitsAppearWhenTheyAreDue) {
    rig.StartLong();
    EXPECT_EQ(rig.Read64(pageEntry), page | 7);
    EXPECT_TRUE(Reads(page));
    EXPECT_EQ(rig.Read64(pageEntry), page | 7 | accessed);
    EXPECT_EQ(rig.Read64(CpuRig::wideDirectory) & (accessed | dirty), accessed);
    EXPECT_EQ(rig.Read64(CpuRig::pml4) & (accessed | dirty), accessed);
    EXPECT_TRUE(Writes(page));
    EXPECT_EQ(rig.Read64(pageEntry), page | 7 | accessed | dirty);
    EXPECT_EQ(rig.Read64(CpuRig::wideDirectory) & (accessed | dirty), accessed);
}

TEST_F(CpuPaging, AFaultLeavesTheBitsOfUseAlone) {
    rig.StartLong();
    SetEntry(pageEntry, page | 5);
    EXPECT_FALSE(Writes(page + 0x10));
    EXPECT_EQ(PageError(page + 0x10), uint64_t(pageErrorPresent | pageErrorWrite));
    EXPECT_EQ(rig.Read64(pageEntry), page | 5);
}

TEST_F(CpuPaging, ErrorCodesTellWhatWentWrong) {
    rig.StartLong();
    SetEntry(pageEntry, page | 6);
    EXPECT_FALSE(Reads(page));
    EXPECT_EQ(PageError(page), 0u);
    rig.StartLong();
    EXPECT_FALSE(Writes(page));
    EXPECT_EQ(PageError(page), uint64_t(pageErrorWrite));
    rig.StartLong(CpuRig::userCode64);
    EXPECT_FALSE(Writes(page));
    EXPECT_EQ(PageError(page), uint64_t(pageErrorWrite | pageErrorUser));
    rig.StartLong(CpuRig::userCode64);
    SetEntry(pageEntry, page | 3);
    EXPECT_FALSE(Reads(page));
    EXPECT_EQ(PageError(page), uint64_t(pageErrorPresent | pageErrorUser));
}

TEST_F(CpuPaging, ReadModifyWriteFaultsAsAWrite) {
    rig.StartLong();
    SetEntry(pageEntry, page | 5);
    rig.Gpr(gprRbx) = page;
    rig.Gpr(gprRax) = 1;
    rig.Execute({0x01, 0x03}); // add [rbx], eax
    EXPECT_EQ(PageError(page), uint64_t(pageErrorPresent | pageErrorWrite));
}

TEST_F(CpuPaging, NoExecuteFaultsAtFetchOnly) {
    rig.StartLong();
    SetEntry(pageEntry, page | 7 | noExecute);
    EXPECT_TRUE(Reads(page));
    rig.Gpr(gprRbx) = page;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0xFF, 0xE3}, 2); // jmp rbx
    EXPECT_EQ(PageError(page), uint64_t(pageErrorPresent | pageErrorFetch));
    EXPECT_EQ(rig.Stack64(1), page);
}

TEST_F(CpuPaging, NoExecuteIsReservedUnlessItIsEnabled) {
    rig.StartLong();
    rig.cpu.registers.msr.efer &= ~uint64_t(eferNxe);
    SetEntry(pageEntry, page | 7 | noExecute);
    EXPECT_FALSE(Reads(page));
    EXPECT_EQ(PageError(page), uint64_t(pageErrorPresent | pageErrorReserved));
}

TEST_F(CpuPaging, ReservedBitsFaultAtEachLevel) {
    struct Case {
        uint64_t at, value, linear;
    };
    constexpr uint64_t farAway = uint64_t(1) << 39;
    const Case cases[] = {
        {pageEntry, page | 7 | uint64_t(1) << 45, page},                      // above the physical address
        {CpuRig::pml4 + 8, CpuRig::pdpt | 7 | 0x80, farAway},                 // no large page there
        {CpuRig::pdpt + 8 * 3, 0x2000 | 0x83, 0xC0000000},                    // 1 GiB that are not aligned
        {CpuRig::wideDirectory + 8 * 5, (0x200000 | 0x83) + 0x2000, 0xA00000} // nor are 2 MiB
    };
    for (const Case &each : cases) {
        rig.StartLong();
        SetEntry(each.at, each.value);
        EXPECT_FALSE(Reads(each.linear));
        EXPECT_EQ(PageError(each.linear), uint64_t(pageErrorPresent | pageErrorReserved)) << each.linear;
        rig.Write64(each.at, 0);
    }
}

TEST_F(CpuPaging, WriteProtectionBindsPrivilegeZeroOnlyWithWp) {
    rig.StartLong();
    rig.cpu.registers.cr0 &= ~uint64_t(cr0Wp);
    SetEntry(pageEntry, page | 5);
    EXPECT_TRUE(Writes(page));
    // mov cr0, rcx: the translation that allowed it must be gone.
    rig.Gpr(gprRcx) = rig.cpu.registers.cr0 | cr0Wp;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x22, 0xC1});
    EXPECT_FALSE(Writes(page));
    EXPECT_EQ(PageError(page), uint64_t(pageErrorPresent | pageErrorWrite));
}

TEST_F(CpuPaging, ALoadOfCr3ForgetsTranslationsThatAreNotGlobal) {
    rig.StartLong();
    rig.cpu.registers.cr4 |= cr4Pge;
    constexpr uint64_t other = page + 0x1000;
    SetEntry(pageEntry, page | 7);
    SetEntry(pageEntry + 8, other | 0x107); // global
    EXPECT_TRUE(Reads(page) && Reads(other));
    rig.Write64(pageEntry, 0);
    rig.Write64(pageEntry + 8, 0);
    EXPECT_TRUE(Reads(page) && Reads(other)); // still known
    rig.Gpr(gprRcx) = CpuRig::pml4;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x22, 0xD9}); // mov cr3, rcx
    EXPECT_TRUE(Reads(other));
    EXPECT_FALSE(Reads(page));
    // Any change of PGE forgets these too.
    rig.StartLong();
    rig.cpu.registers.cr4 |= cr4Pge;
    SetEntry(pageEntry + 8, other | 0x107);
    EXPECT_TRUE(Reads(other));
    rig.Write64(pageEntry + 8, 0);
    rig.Gpr(gprRcx) = cr4Pae;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x22, 0xE1}); // mov cr4, rcx
    EXPECT_FALSE(Reads(other));
}

TEST_F(CpuPaging, InvlpgForgetsOnePageGlobalOrNot) {
    rig.StartLong();
    rig.cpu.registers.cr4 |= cr4Pge;
    SetEntry(pageEntry, page | 0x107);
    EXPECT_TRUE(Reads(page) && Reads(page + 0x1000));
    rig.Write64(pageEntry, 0);
    rig.Write64(pageEntry + 8, 0);
    rig.Gpr(gprRbx) = page + 0x123;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x01, 0x3B}); // invlpg [rbx]
    EXPECT_TRUE(Reads(page + 0x1000));
    EXPECT_FALSE(Reads(page));
}

TEST_F(CpuPaging, InvlpgForgetsAllPartsOfALargePage) {
    rig.StartLong();
    SetEntry(CpuRig::wideDirectory + 8 * 5, 0x200000 | 0x83);
    EXPECT_TRUE(Reads(0xA00000) && Reads(0xA81000));
    rig.Write64(CpuRig::wideDirectory + 8 * 5, 0);
    rig.Gpr(gprRbx) = 0xA00000;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x01, 0x3B});
    EXPECT_FALSE(Reads(0xA81000));
}

TEST_F(CpuPaging, AnOperandAcrossTwoPagesIsDoneWhollyOrNotAtAll) {
    rig.StartLong();
    constexpr uint64_t other = page + 0x1000;
    rig.Write64(other - 4, 0);
    rig.Gpr(gprRax) = 0x1122334455667788;
    rig.Gpr(gprRbx) = other - 4;
    rig.Execute({0x48, 0x89, 0x03}); // mov [rbx], rax
    EXPECT_EQ(rig.Read64(other - 4), 0x1122334455667788u);
    SetEntry(pageEntry + 8, 0);
    rig.cpu.registers.rip = CpuRig::code;
    rig.Gpr(gprRax) = 0;
    rig.Execute({0x48, 0x89, 0x03});
    EXPECT_EQ(PageError(other), uint64_t(pageErrorWrite));
    EXPECT_EQ(rig.Read64(other - 4), 0x1122334455667788u);
}

TEST_F(CpuPaging, MalformedPaePointersFaultTheLoadOfCr3) {
    rig.StartProtected(CpuRig::code32, CpuRig::paePointers, cr4Pae);
    rig.Write64(CpuRig::paePointers + 0x20, 0x8000000000000001);
    rig.Gpr(gprRcx) = CpuRig::paePointers + 0x20;
    rig.Execute({0x0F, 0x22, 0xD9}); // mov cr3, ecx
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    EXPECT_EQ(rig.cpu.registers.cr3, CpuRig::paePointers);
}

TEST_F(CpuPaging, PaePointersAreReadWhenCr3IsLoadedNotLater) {
    rig.StartProtected(CpuRig::code32, CpuRig::paePointers, cr4Pae);
    rig.Write64(CpuRig::paePointers, 0);
    EXPECT_TRUE(Reads(page));
    rig.Gpr(gprRcx) = CpuRig::paePointers;
    rig.cpu.registers.rip = CpuRig::code;
    rig.Execute({0x0F, 0x22, 0xD9});
    EXPECT_FALSE(Reads(page));
    EXPECT_TRUE(rig.cpu.IsShutDown()); // no table is mapped any more
}

TEST_F(CpuPaging, AddressesThatAreNotCanonicalAreGeneralOrStackFaults) {
    rig.StartLong();
    EXPECT_FALSE(Reads(0x0000800000000000));
    EXPECT_TRUE(rig.IsAtHandler(vectorGeneral));
    rig.StartLong();
    rig.Gpr(gprRbp) = 0xFFFF7FFFFFFFFFFF;
    rig.Execute({0x8B, 0x45, 0x00}); // mov eax, [rbp]
    EXPECT_TRUE(rig.IsAtHandler(vectorStack));
    EXPECT_EQ(rig.Stack64(0), 0u);
}

TEST_F(CpuPaging, EntriesOutsideOfMemoryAreReadFromTheBus) {
    rig.StartLong();
    rig.deviceValue = ~uint64_t(0);
    rig.Write64(CpuRig::pml4 + 8, 0x7000000 | 7);
    EXPECT_FALSE(Reads(0x8000000000));
    EXPECT_EQ(PageError(0x8000000000), uint64_t(pageErrorPresent | pageErrorReserved));
    EXPECT_FALSE(rig.deviceReads.empty());
}

} // namespace
