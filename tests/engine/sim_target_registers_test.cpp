// What a debugger sees and sets of the simulated PC's processors.
#include <cstring>

#include <gtest/gtest.h>

#include "support/sim_target_fixture.h"

namespace sable {

namespace {

class SmallSimTarget : public SimTargetTest {
protected:
    SmallSimTarget() : SimTargetTest("demo,guest=demo32") {}
};

class WideSimTarget : public SimTargetTest {
protected:
    WideSimTarget() : SimTargetTest("demo,ram=16M,guest=demopae") {}
};

} // namespace

TEST_F(SimTargetTest, StandsAtTheFirstInstruction) {
    EXPECT_EQ(target->StartState().isRunning, 0);
    const ktRawContext context = Context();
    EXPECT_EQ(mode, uint32_t(ktSbModeReal));
    EXPECT_EQ(context.rip, 0x7C00u);
    EXPECT_EQ(context.selector[ktSbCs], 0);
    EXPECT_EQ(context.base[ktSbCs], 0u);
    EXPECT_EQ(context.limit[ktSbCs], 0xFFFFu);
    EXPECT_EQ(context.access[ktSbCs], 0x9Bu);
    EXPECT_EQ(context.rflags, 2u);
    uint8_t core = 9, count = 0;
    EXPECT_EQ(target->GetCpuInfo(core, count), SABLE_OK);
    EXPECT_EQ(core, 0);
    EXPECT_EQ(count, 2);
    PagingFacts facts;
    EXPECT_EQ(target->GetPaging(facts), SABLE_OK);
    EXPECT_EQ(facts.mode, ktSbPagingNone);
    Step();
    EXPECT_NE(Context().rip, 0x7C00u);
}

TEST_F(SimTargetTest, ShowsLongModeWithItsHiddenParts) {
    Boot();
    target->SwitchCpu(1);
    const ktRawContext context = Context();
    EXPECT_EQ(mode, uint32_t(ktSbModeLong64));
    EXPECT_EQ(context.selector[ktSbCs], 0x08);
    EXPECT_EQ(context.access[ktSbCs], 0xA09Bu);
    EXPECT_EQ(context.limit[ktSbCs], 0xFFFFFFFFu);
    EXPECT_EQ(context.tss, 0x40) << "the second core's task state";
    EXPECT_EQ(context.tssAccess & 0xFF, 0x8Bu);
    EXPECT_NE(context.tssBase, 0u);
    EXPECT_EQ(context.cr3, 0x200000u);
    EXPECT_GT(context.rip, 0xFFFFFFFF80000000u);
    PagingFacts facts;
    EXPECT_EQ(target->GetPaging(facts), SABLE_OK);
    EXPECT_EQ(facts.mode, ktSbPaging4Level);
    EXPECT_EQ(facts.root, context.cr3);
    EXPECT_TRUE(facts.hasGigabytePages);
    EXPECT_EQ(target->SwitchCpu(2), SABLE_BAD_ARGUMENT);
}

TEST_F(SmallSimTarget, ShowsPagingOf32Bits) {
    Boot("is on\n");
    Context();
    EXPECT_EQ(mode, uint32_t(ktSbModeProtected32));
    PagingFacts facts;
    EXPECT_EQ(target->GetPaging(facts), SABLE_OK);
    EXPECT_EQ(facts.mode, ktSbPaging32);
    EXPECT_TRUE(facts.hasLargePages);
    EXPECT_EQ(Physical(0, 0xC0000000), 0x800000u);
}

TEST_F(WideSimTarget, ShowsPaePagingAndLittleRam) {
    Boot("is on\n");
    PagingFacts facts;
    EXPECT_EQ(target->GetPaging(facts), SABLE_OK);
    EXPECT_EQ(facts.mode, ktSbPagingPae);
    EXPECT_EQ(Physical(0, 0xC0000000), 0x800000u);
    EXPECT_EQ(target->NextPhysical(0xFFFFFF), 0xFFFFFFu);
    EXPECT_EQ(target->NextPhysical(0x1000000), all);
}

TEST_F(SimTargetTest, RegistersKeepWhatTheyWereSetTo) {
    Boot();
    const ktRawContext before = Context();
    EXPECT_EQ(target->SetContext(before, all), SABLE_OK);
    const ktRawContext same = Context();
    EXPECT_EQ(std::memcmp(&before, &same, sizeof same), 0);

    ktRawContext changed;
    std::memset(&changed, 0x11, sizeof changed);
    EXPECT_EQ(target->SetContext(changed, uint64_t(1) << (ktSbRegRax + 2)), SABLE_OK);
    ktRawContext expected = before;
    expected.rcx = 0x1111111111111111;
    ktRawContext after = Context();
    EXPECT_EQ(std::memcmp(&expected, &after, sizeof after), 0) << "only what the mask says";

    changed = before;
    uint64_t number = 0x100;
    for (uint64_t ktRawContext::*field :
         {&ktRawContext::rip,     &ktRawContext::rsp,     &ktRawContext::rax,     &ktRawContext::rbx,
          &ktRawContext::rdx,     &ktRawContext::rsi,     &ktRawContext::rdi,     &ktRawContext::rbp,
          &ktRawContext::r8,      &ktRawContext::r9,      &ktRawContext::r10,     &ktRawContext::r11,
          &ktRawContext::r12,     &ktRawContext::r13,     &ktRawContext::r14,     &ktRawContext::r15,
          &ktRawContext::cr2,     &ktRawContext::gdtBase, &ktRawContext::idtBase, &ktRawContext::ldtBase,
          &ktRawContext::tssBase, &ktRawContext::dr0,     &ktRawContext::dr1,     &ktRawContext::dr2,
          &ktRawContext::dr3})
        changed.*field = number += 0x1001;
    for (unsigned n = 0; n < ktSbSegmentCount; ++n) {
        changed.selector[n] = uint16_t(0x23 + 8 * n);
        changed.limit[n] = 0x12345 + n;
        changed.base[n] = 0x100000 * (n + 1);
    }
    changed.gdtLimit = 0x77;
    changed.idtLimit = 0x88;
    changed.ldt = 0x60;
    changed.ldtAccess = 0x82;
    changed.ldtLimit = 0x99;
    changed.tss = 0x68;
    changed.tssLimit = 0xAA;
    changed.cr8 = 3;
    changed.rflags = 0x2 | 0x40 | 0x1 | 0x400;
    EXPECT_EQ(target->SetContext(changed, all), SABLE_OK);
    after = Context();
    EXPECT_EQ(std::memcmp(&changed, &after, sizeof after), 0);
    EXPECT_EQ(target->SetContext(before, all), SABLE_OK);
    after = Context();
    EXPECT_EQ(std::memcmp(&before, &after, sizeof after), 0);
}

TEST_F(SimTargetTest, ImpossibleRegistersAreRefusedWhole) {
    Boot();
    const ktRawContext before = Context();
    auto isRefused = [&](auto change) {
        ktRawContext context = before;
        context.rax = ~before.rax;
        change(context);
        const bool result = target->SetContext(context, all) == SABLE_BAD_ARGUMENT;
        const ktRawContext after = Context();
        return result && std::memcmp(&before, &after, sizeof after) == 0;
    };
    EXPECT_TRUE(isRefused([](ktRawContext &c) { c.cr0 |= uint64_t(1) << 32; }));
    EXPECT_TRUE(isRefused([](ktRawContext &c) { c.cr0 &= ~uint64_t(1); })) << "paging needs protected mode";
    EXPECT_TRUE(isRefused([](ktRawContext &c) { c.cr4 |= 1 << 20; }));
    EXPECT_TRUE(isRefused([](ktRawContext &c) { c.cr4 &= ~uint64_t(0x20); })) << "long mode needs PAE";
    EXPECT_TRUE(isRefused([](ktRawContext &c) { c.cr8 = 16; }));
    EXPECT_TRUE(isRefused([](ktRawContext &c) { c.cr3 = uint64_t(1) << 40; }));
    EXPECT_TRUE(isRefused([](ktRawContext &c) { c.rflags |= 0x20000; })) << "no virtual 8086 mode";
}

TEST_F(SimTargetTest, FixedBitsStay) {
    ktRawContext context = Context();
    context.rflags = all & ~uint64_t(0x20000 | 0x100);
    context.dr6 = 0;
    context.dr7 = 0;
    EXPECT_EQ(target->SetContext(context, uint64_t(1) << ktSbRegRflags | uint64_t(1) << ktSbRegDr6And7),
              SABLE_OK);
    EXPECT_EQ(Context().rflags, 0x3D7ED7u & ~0x100u);
    EXPECT_EQ(Context().dr6, 0xFFFF0FF0u);
    EXPECT_EQ(Context().dr7, 0x400u);
}

TEST_F(SimTargetTest, AnyRegistersAreSurvived) {
    Boot();
    uint64_t seed = 12345;
    for (int n = 0; n < 300; ++n) {
        ktRawContext context;
        uint8_t *bytes = reinterpret_cast<uint8_t *>(&context);
        for (size_t at = 0; at < sizeof context; ++at) {
            seed = seed * 6364136223846793005u + 1442695040888963407u;
            bytes[at] = uint8_t(seed >> 56);
        }
        // Those that are refused anyway stay out most of the time.
        const uint64_t mask = (seed >> 3 ^ seed << 21) & ~(uint64_t(15) << ktSbRegCr0);
        context.rflags &= ~uint64_t(0x20000);
        context.cr3 &= 0x3FFFFFF;
        EXPECT_EQ(target->SetContext(context, mask), SABLE_OK);
        for (int step = 0; step < 3; ++step) Step(false);
        target->Run();
        Context();
        if (n % 10 == 9) target->Reboot();
    }
}

TEST_F(SimTargetTest, ANewInstructionPointerEndsAHalt) {
    ktRawContext context = Context();
    Write(0x7C00, {0xF4, 0x40}); // hlt; inc ax
    Step();
    Step();
    EXPECT_EQ(Context().rip, 0x7C01u);
    context = Context();
    EXPECT_EQ(target->SetContext(context, uint64_t(1) << ktSbRegRip), SABLE_OK);
    Step();
    EXPECT_EQ(Context().rax, 1u);
}

TEST_F(SimTargetTest, ModelSpecificRegistersAndIdentity) {
    uint64_t value = 0;
    EXPECT_EQ(target->ReadMsr(0x12345678, value), SABLE_FAILED);
    EXPECT_EQ(target->WriteMsr(0x12345678, 0), SABLE_FAILED);
    EXPECT_EQ(target->WriteMsr(msrSyscallEntry, 0x8000000000000000), SABLE_FAILED) << "no address";
    EXPECT_EQ(target->WriteMsr(msrSyscallEntry, 0x1234), SABLE_OK);
    EXPECT_EQ(target->ReadMsr(msrSyscallEntry, value), SABLE_OK);
    EXPECT_EQ(value, 0x1234u);
    ktSbRawCpuId id = {};
    EXPECT_EQ(target->CpuId(0x80000008, 0, id), SABLE_OK);
    EXPECT_EQ(id.eax, 0x3028u);
    target->SwitchCpu(1);
    EXPECT_EQ(target->CpuId(1, 0, id), SABLE_OK);
    EXPECT_EQ(id.ebx >> 24, 1u);
}

} // namespace sable
