#include "commands/cpu_cmds.h"

#include "session/register_names.h"
#include "support/target_cmd_test.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>

namespace {

using Calls = std::vector<std::string>;
using Lines = std::vector<std::string>;

class CpuCmds : public ktTargetCmdTest {};

} // namespace

TEST_F(CpuCmds, CpuidPrintsFourLines) {
    rig.target.SetCpuId(0x80000008, {0x3027, 0xA, 0, 0xFFFFFFFF});
    EXPECT_EQ(Run("cpuid 80000008"), 0u);
    EXPECT_EQ(Output(), (Lines{"EAX: 0x00003027", "EBX: 0x0000000A", "ECX: 0x00000000", "EDX: 0xFFFFFFFF"}));
    EXPECT_EQ(rig.target.Calls(), Calls{"CpuId 80000008 0"});
}

TEST_F(CpuCmds, CpuidTakesASubleaf) {
    EXPECT_EQ(Run("cpuid b 11"), 0u);
    EXPECT_EQ(rig.target.Calls(), Calls{"CpuId 0000000B 17"});
    EXPECT_EQ(Run("cpuid 100000001 200000003"), 0u); // both are 32 bits wide
    EXPECT_EQ(rig.target.Calls(), Calls{"CpuId 00000001 3"});
}

TEST_F(CpuCmds, AFailedCpuidIs4AndPrintsNothing) {
    rig.target.Fail("CpuId");
    EXPECT_EQ(Run("cpuid 0"), 4u);
    EXPECT_TRUE(Output().empty());
}

TEST_F(CpuCmds, RdmsrPrintsNumberAndValue) {
    rig.target.SetSource(ktAddress::kindMsr, {0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11});
    EXPECT_EQ(Run("rdmsr c0000080"), 0u);
    EXPECT_EQ(Output(), Lines{"0x00000000C0000080: 0x1122334455667788"});
    EXPECT_EQ(rig.target.Calls(), Calls{"ReadTarget kind 4 at 0000:C0000080 root 0 attribute 9 for 8"});
}

TEST_F(CpuCmds, BytesOfAnMsrThatDidNotComeAreZero) {
    rig.target.SetSource(ktAddress::kindMsr, {0x88, 0x77, 0x66, 0x55, 0x44});
    rig.target.LimitTransfers(4);
    EXPECT_EQ(Run("rdmsr 10"), 0u);
    EXPECT_EQ(Output(), Lines{"0x0000000000000010: 0x0000000055667788"});
}

TEST_F(CpuCmds, AFailedRdmsrIs4AndPrintsNothing) {
    EXPECT_EQ(Run("rdmsr 10"), 4u); // a target without such registers
    EXPECT_TRUE(Output().empty());
}

TEST_F(CpuCmds, RPrintsAllButTheDebugRegistersInOrder) {
    for (uint32_t i = 0; i < ktRegisterCount; ++i) rig.target.SetRegister(i, 0x1000 + i);
    EXPECT_EQ(Run("r"), 0u);
    ASSERT_EQ(Output().size(), 59u);
    for (uint32_t i = 0; i < 59; ++i) {
        char text[64];
        std::snprintf(text, sizeof(text), "%s: 0x%016" PRIX64, ktRegisterName(i), uint64_t{0x1000 + i});
        EXPECT_EQ(Output()[i], text);
    }
    EXPECT_EQ(Output().front(), "rip: 0x0000000000001000");
    EXPECT_EQ(Output()[10], "rfl: 0x000000000000100A");
    EXPECT_EQ(Output()[19], "cs: 0x0000000000001013");
    EXPECT_EQ(Output().back(), "tss_limit: 0x000000000000103A");
    EXPECT_EQ(rig.target.Calls(), Calls{"GetContext"});
    EXPECT_EQ(rig.target.WantedMask(), 0x07FFFFFFFFFFFFFFu);
}

TEST(PrintRegisters, TheMaskSaysWhichAndItsLastBitStandsForTwo) {
    ktContext context;
    for (uint32_t i = 0; i < ktRegisterCount; ++i) context.values[i] = 0x1000 + i;
    const auto printed = [&context](uint64_t mask) {
        context.wantedMask = mask;
        ktRecordingLines output;
        ktPrintRegisters(context, output);
        return output.lines;
    };
    EXPECT_EQ(printed(uint64_t(1) << 63), (Lines{"dr6: 0x000000000000103F", "dr7: 0x0000000000001040"}));
    EXPECT_EQ(printed(uint64_t(1) << 62), Lines{"dr3: 0x000000000000103E"});
    EXPECT_EQ(printed(5), (Lines{"rip: 0x0000000000001000", "rsp: 0x0000000000001002"}));
    EXPECT_EQ(printed(~uint64_t(0)).size(), size_t(ktRegisterCount));
    EXPECT_TRUE(printed(0).empty());
}

TEST_F(CpuCmds, RAsksTheEngineAndNotTheSnapshot) {
    rig.target.SetRegister(ktRegIp, 0x1234);
    EXPECT_EQ(Run("r"), 0u);
    EXPECT_EQ(Output().front(), "rip: 0x0000000000001234");
    EXPECT_EQ(rig.Published()->context.values[ktRegIp], ktSessionRig::ip);
}

TEST_F(CpuCmds, EachRAsksForTheSameRegisters) {
    EXPECT_EQ(Run("r"), 0u);
    rig.target.SetRegister(ktRegIp, 0x1234);
    EXPECT_EQ(Run("r"), 0u);
    EXPECT_EQ(Output().front(), "rip: 0x0000000000001234");
    EXPECT_EQ(rig.target.WantedMask(), 0x07FFFFFFFFFFFFFFu);
}

TEST_F(CpuCmds, AFailedRIs18AndPrintsNothing) {
    rig.target.Fail("GetContext");
    EXPECT_EQ(Run("r"), 18u);
    EXPECT_TRUE(Output().empty());
}

TEST(CpuCmdStatus, WithoutASessionAndWithoutAnEngine) {
    ktCpuidCmd cpuid;
    ktRdmsrCmd rdmsr;
    ktRCmd r;
    ktSessionRig rig;
    for (ktCmd *command : {static_cast<ktCmd *>(&cpuid), static_cast<ktCmd *>(&rdmsr)}) {
        EXPECT_TRUE(command->IsSynchronous());
        EXPECT_EQ(ExecuteIn(nullptr, *command, {1}), 8u);
        EXPECT_EQ(ExecuteIn(&rig.session, *command, {1}), 8u);
        EXPECT_EQ(command->Execute(nullptr, 0), 5u);
    }
    EXPECT_TRUE(r.IsSynchronous());
    EXPECT_EQ(ExecuteIn(nullptr, r, std::initializer_list<uint64_t>{}), 16u);
    EXPECT_EQ(ExecuteIn(&rig.session, r, std::initializer_list<uint64_t>{}), 16u);
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.session.engine.reset();
    EXPECT_EQ(ExecuteIn(&rig.session, cpuid, {1}), 16u);
    EXPECT_EQ(ExecuteIn(&rig.session, rdmsr, {1}), 16u);
    EXPECT_EQ(ExecuteIn(&rig.session, r, std::initializer_list<uint64_t>{}), 16u);
}

TEST(CpuCmdStatus, AStaticSessionHasCpuidAndNothingElse) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect static local"), 0u);
    EXPECT_EQ(rig.Run("cpuid 0"), 0u);
    EXPECT_EQ(rig.output.lines.size(), 4u);
    EXPECT_EQ(rig.Run("rdmsr 10"), 4u);
    EXPECT_EQ(rig.Run("r"), 18u);
    EXPECT_EQ(rig.Run("pte 1000"), 18u);
    EXPECT_EQ(rig.Run("inb 60"), 12u);
    EXPECT_EQ(rig.Run("outb 60 1"), 13u);
    EXPECT_EQ(rig.Run("eb 1000 1"), 18u);
    EXPECT_EQ(rig.Run("db 1000"), 12u);
    EXPECT_EQ(rig.Run("db #1000"), 12u);
    EXPECT_EQ(rig.output.lines.size(), 4u);
}
