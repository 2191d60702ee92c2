#include "commands/trace_cmds.h"

#include "platform/thread.h"
#include "session/mem_view_request.h"
#include "support/command_rig.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using Calls = std::vector<std::string>;

constexpr uint64_t ip = ktSessionRig::ip;

class Trace : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(rig.ConnectQuietly()); }

    ktFakeDisasm &Disasm() { return static_cast<ktFakeDisasm &>(*rig.session.disasm); }
    size_t Steps() { return rig.target.Count("Step"); }
    size_t Updates() { return rig.target.Count("GetStateInfo"); }
    uint32_t Run(ktCmd &command, std::initializer_list<uint64_t> numbers = {}) {
        return ExecuteIn(&rig.session, command, numbers);
    }
    uint32_t RunWord(ktCmd &command, const char *word) { return ExecuteIn(&rig.session, command, {word}); }
    /// Cancels `command` between its first step and the end of the update behind it.
    template <typename F>
    void CancelInTheFirstStep(ktCmd &command, F &&run) {
        rig.target.Hold("GetCpuInfo");
        std::thread cancelling([&] {
            rig.target.WaitUntilHeld("GetCpuInfo");
            EXPECT_FALSE(command.Cancel());
            rig.target.Free("GetCpuInfo");
        });
        run();
        cancelling.join();
    }

    ktTCmd t;
    ktTuaCmd tua;
    ktTuiCmd tui;
    ktSessionRig rig;
};

} // namespace

TEST_F(Trace, RunsOnTheWorker) {
    for (const ktCmd *command :
         {static_cast<ktCmd *>(&t), static_cast<ktCmd *>(&tua), static_cast<ktCmd *>(&tui)}) {
        EXPECT_FALSE(command->IsSynchronous());
    }
}

TEST_F(Trace, EachStepIgnoresInterruptsAndIsFollowedByAWholeUpdate) {
    EXPECT_EQ(Run(t), 0u);
    const Calls expected = {"Step 1", "GetStateInfo", "GetCpuInfo", "GetContext",
                            "ReadTarget kind 1 at 0018:700010 root 1A5000 attribute 9 for 80"};
    EXPECT_EQ(rig.target.Calls(), expected);
}

TEST_F(Trace, TStepsAsOftenAsTold) {
    EXPECT_EQ(Run(t, {3}), 0u);
    EXPECT_EQ(Steps(), 3u);
    EXPECT_EQ(Updates(), 3u);
}

TEST_F(Trace, TWithoutACountOrWith0DoesOneStep) {
    EXPECT_EQ(Run(t), 0u);
    EXPECT_EQ(Steps(), 1u);
    EXPECT_EQ(Run(t, {0}), 0u);
    EXPECT_EQ(Steps(), 2u);
}

TEST_F(Trace, TEndsWith4WhenAStepFails) {
    rig.target.Fail("Step", ktFakeTarget::failure, 1, 1);
    EXPECT_EQ(Run(t, {3}), 4u);
    EXPECT_EQ(Steps(), 2u);
    EXPECT_EQ(Updates(), 1u);
}

TEST_F(Trace, TEndsWith22WhenTheSecondUpdateFailsAndTheThirdStepDoesNotRun) {
    rig.target.Fail("GetContext", ktFakeTarget::failure, 1, 1);
    EXPECT_EQ(Run(t, {3}), 22u);
    EXPECT_EQ(Steps(), 2u);
}

TEST_F(Trace, TEndsWith20WhenCancelled) {
    CancelInTheFirstStep(t, [&] { EXPECT_EQ(Run(t, {100}), 20u); });
    EXPECT_EQ(Steps(), 1u);
    EXPECT_EQ(Run(t, {3}), 0u) << "both flags were cleared";
}

TEST_F(Trace, ACancelInTheLastStepStillGives20) {
    CancelInTheFirstStep(t, [&] { EXPECT_EQ(Run(t, {1}), 20u); });
}

TEST_F(Trace, CancelWithoutARunHasNoEffect) {
    for (ktCmd *command :
         {static_cast<ktCmd *>(&t), static_cast<ktCmd *>(&tua), static_cast<ktCmd *>(&tui)}) {
        EXPECT_FALSE(command->Cancel());
    }
    EXPECT_EQ(Run(t, {2}), 0u);
    EXPECT_FALSE(t.Cancel());
    EXPECT_EQ(Run(t, {2}), 0u);
}

TEST_F(Trace, AFailedStepLeavesTheCommandRunningSoALaterCancelStopsTheNextRunAfterOneStep) {
    rig.target.Fail("Step", ktFakeTarget::failure, 1);
    ASSERT_EQ(Run(t, {3}), 4u);
    EXPECT_FALSE(t.Cancel());
    rig.target.ForgetCalls();
    EXPECT_EQ(Run(t, {3}), 20u);
    EXPECT_EQ(Steps(), 1u);
    EXPECT_EQ(Run(t, {3}), 0u);
}

TEST_F(Trace, ATargetThatRunsMeanwhileHasReachedNothing) {
    rig.target.Fail("Step", ktFakeTarget::failure, 1);
    ASSERT_EQ(Run(tua, {ip}), 4u);
    EXPECT_FALSE(tua.Cancel()); // so that the next run ends behind its first step
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(rig.session.Update(0)); // each snapshot has the pointer now
    rig.target.SetStop(true, 0);
    EXPECT_EQ(Run(tua, {ip}), 20u);
}

TEST_F(Trace, AFailedUpdateLeavesTheCommandRunningSoALaterCancelStopsTheNextRunAfterOneStep) {
    rig.target.Fail("GetContext", ktFakeTarget::failure, 1);
    ASSERT_EQ(Run(t, {3}), 22u);
    EXPECT_FALSE(t.Cancel());
    rig.target.ForgetCalls();
    EXPECT_EQ(Run(t, {3}), 20u);
    EXPECT_EQ(Steps(), 1u);
}

TEST_F(Trace, UntilLoopsThatFailAreLeftRunningAsWell) {
    rig.target.Fail("Step", ktFakeTarget::failure, 1);
    ASSERT_EQ(Run(tua, {ip}), 4u);
    EXPECT_FALSE(tua.Cancel());
    EXPECT_EQ(Run(tua, {0x1234}), 20u);
    rig.target.Fail("GetContext", ktFakeTarget::failure, 1);
    ASSERT_EQ(RunWord(tui, "mov"), 22u);
    EXPECT_FALSE(tui.Cancel());
    EXPECT_EQ(RunWord(tui, "mov"), 20u);
}

TEST_F(Trace, TuaStepsUntilTheAddress) {
    rig.target.SetPath({ip + 1, ip + 2, ip + 3, ip + 4});
    EXPECT_EQ(Run(tua, {ip + 3}), 0u);
    EXPECT_EQ(Steps(), 3u);
    EXPECT_EQ(rig.Published()->context.values[ktRegIp], ip + 3);
}

TEST_F(Trace, TuaToTheCurrentAddressStopsOnlyWhenItComesRoundAgain) {
    rig.target.SetPath({ip + 1, ip + 2, ip, ip + 1});
    EXPECT_EQ(Run(tua, {ip}), 0u);
    EXPECT_EQ(Steps(), 3u);
}

TEST_F(Trace, TuaHasItsStatuses) {
    rig.target.Fail("Step", ktFakeTarget::failure, 1);
    EXPECT_EQ(Run(tua, {ip}), 4u);
    EXPECT_EQ(Updates(), 0u);
    rig.target.Fail("Step", ktFakeTarget::failure, 1, 1);
    EXPECT_EQ(Run(tua, {0x1234}), 4u);
    EXPECT_EQ(Updates(), 1u);
    rig.target.Fail("GetStateInfo", ktFakeTarget::failure, 1);
    EXPECT_EQ(Run(tua, {ip}), 22u);
    EXPECT_EQ(Run(tua), 5u);
}

TEST_F(Trace, TuaThatArrivesInTheStepThatIsCancelledIsDone) {
    CancelInTheFirstStep(tua, [&] { EXPECT_EQ(Run(tua, {ip}), 0u); });
    EXPECT_EQ(Run(tua, {0x1234}), 20u) << "the request stays for the next run";
}

TEST_F(Trace, TuaEndsWith20WhenCancelled) {
    CancelInTheFirstStep(tua, [&] { EXPECT_EQ(Run(tua, {0x1234}), 20u); });
    EXPECT_EQ(Steps(), 1u);
}

TEST_F(Trace, TuiStepsOnceBeforeTheFirstTest) {
    Disasm().decode = [](const ktFakeDisasm::Call &, std::string &text) {
        text = "mov rbp, rsp";
        return uint64_t{3};
    };
    EXPECT_EQ(RunWord(tui, "mov"), 0u);
    EXPECT_EQ(Steps(), 1u);
    EXPECT_EQ(Disasm().calls.size(), 1u);
}

TEST_F(Trace, TuiStepsUntilTheInstruction) {
    rig.target.SetPath({ip + 1, ip + 2, ip + 3, ip + 4});
    Disasm().decode = [](const ktFakeDisasm::Call &call, std::string &text) {
        text = call.address == ip + 3 ? "ret" : "nop";
        return uint64_t{1};
    };
    EXPECT_EQ(RunWord(tui, "ret"), 0u);
    EXPECT_EQ(Steps(), 3u);
}

TEST_F(Trace, TuiMatchesEveryTextThatBeginsWithTheWord) {
    Disasm().decode = [](const ktFakeDisasm::Call &, std::string &text) {
        text = "movzx eax, cl";
        return uint64_t{3};
    };
    EXPECT_EQ(RunWord(tui, "mov"), 0u);
    EXPECT_EQ(RunWord(tui, ""), 0u);
    EXPECT_EQ(RunWord(tui, "movzx eax, cl"), 0u);
}

TEST_F(Trace, TuiComparesWithFifteenCharactersOfText) {
    Disasm().decode = [](const ktFakeDisasm::Call &, std::string &text) {
        text = "vfmadd132pd xmm1, xmm2, xmm3";
        return uint64_t{5};
    };
    EXPECT_EQ(RunWord(tui, "vfmadd132pd xmm"), 0u);
    EXPECT_EQ(Disasm().calls[0].textSize, 16u);
    rig.target.Fail("Step", ktFakeTarget::failure, 1, 3);
    EXPECT_EQ(RunWord(tui, "vfmadd132pd xmm1"), 4u) << "no text is as long";
}

TEST_F(Trace, TuiPassesTheBytesLeftBehindThePointer) {
    rig.target.SetMode(4);
    ASSERT_TRUE(rig.session.Update(0)); // now all records hold the code from 256 bytes before ip on
    ASSERT_TRUE(rig.session.Update(0));
    rig.target.SetPath({ip + 0x20});
    Disasm().decode = [](const ktFakeDisasm::Call &, std::string &text) {
        text = "hlt";
        return uint64_t{1};
    };
    ASSERT_EQ(RunWord(tui, "hlt"), 0u);
    ASSERT_EQ(Disasm().calls.size(), 1u);
    EXPECT_EQ(Disasm().calls[0].code.size(), 1024u - 256 - 0x20);
    EXPECT_EQ(Disasm().calls[0].code[0], 0x01);
    EXPECT_EQ(Disasm().calls[0].address, ip + 0x20);
    EXPECT_EQ(Disasm().calls[0].mode, 4);
}

TEST_F(Trace, TuiGoesOnWhereNothingDecodes) {
    rig.target.SetPath({ip + 1, ip + 2});
    Disasm().decode = [](const ktFakeDisasm::Call &call, std::string &text) {
        text = "nop";
        return uint64_t{call.address == ip + 2};
    };
    EXPECT_EQ(RunWord(tui, "nop"), 0u);
    EXPECT_EQ(Steps(), 2u);
}

TEST_F(Trace, TuiWithThePointerOutsideTheCodeMatchesNothing) {
    // The code was not read for this pointer: with the direct road a failed read keeps no bytes.
    rig.session.useSpaceCache = false;
    rig.target.SetPath({0x900000, 0x900001});
    rig.target.Fail("Step", ktFakeTarget::failure, 1, 2);
    Disasm().decode = [](const ktFakeDisasm::Call &, std::string &text) {
        text = "nop";
        return uint64_t{1};
    };
    EXPECT_EQ(RunWord(tui, "nop"), 4u);
    EXPECT_TRUE(Disasm().calls.empty());
}

TEST_F(Trace, TuiHasItsStatuses) {
    EXPECT_EQ(ExecuteIn(&rig.session, tui), 5u);
    EXPECT_EQ(RunWord(tui, nullptr), 5u);
    rig.target.Fail("Step", ktFakeTarget::failure, 1);
    EXPECT_EQ(RunWord(tui, "nop"), 4u);
    rig.target.Fail("GetStateInfo", ktFakeTarget::failure, 1);
    EXPECT_EQ(RunWord(tui, "nop"), 22u);
    rig.session.disasm.reset();
    EXPECT_EQ(RunWord(tui, "nop"), 21u);
    rig.session.engine.reset();
    EXPECT_EQ(RunWord(tui, "nop"), 16u);
}

TEST_F(Trace, TuiEndsWith20WhenCancelled) {
    CancelInTheFirstStep(tui, [&] { EXPECT_EQ(RunWord(tui, "nop"), 20u); });
    EXPECT_EQ(Steps(), 1u);
}

TEST_F(Trace, WithoutAnEngineIs16) {
    rig.session.engine.reset();
    EXPECT_EQ(Run(t, {3}), 16u);
    EXPECT_EQ(Run(tua, {ip}), 16u);
    EXPECT_EQ(RunWord(tui, "nop"), 16u);
}

TEST(TraceAlone, WithoutAConnectionIs8) {
    ktSessionRig rig;
    ktTCmd t;
    ktTuaCmd tua;
    ktTuiCmd tui;
    for (ktSession *session : {static_cast<ktSession *>(nullptr), &rig.session}) {
        EXPECT_EQ(ExecuteIn(session, t), 8u);
        EXPECT_EQ(ExecuteIn(session, tua, {uint64_t{1}}), 8u);
        EXPECT_EQ(ExecuteIn(session, tui, {"nop"}), 8u);
    }
}

TEST(TraceAlone, TheStaticEngineCannotStep) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.session.Connect(ktEngineStatic, ktTransportLocal, nullptr));
    ktTCmd t;
    EXPECT_EQ(ExecuteIn(&rig.session, t), 4u);
}

TEST(TraceLines, ParseAndRun) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
    rig.target.ForgetCalls();
    EXPECT_EQ(rig.Run("t 4"), 0u);
    EXPECT_EQ(rig.target.Count("Step"), 4u);
    rig.target.SetPath({0x401001, 0x401ABC});
    EXPECT_EQ(rig.Run("tua 0x401abc"), 0u);
    EXPECT_EQ(rig.target.Count("Step"), 6u);
    EXPECT_EQ(rig.Run("tua"), 5u);
    EXPECT_EQ(rig.Run("tui"), 5u);
}

TEST(TraceLines, CancelReachesTheWorker) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
    rig.target.ForgetCalls();
    ASSERT_EQ(rig.processor.RunLine("tua 1234"), uint32_t{ktCmdQueued});
    while (rig.target.Count("Step") < 3) YieldThread();
    EXPECT_FALSE(rig.processor.CancelRunning());
    rig.processor.Worker().WaitUntilIdle();
    EXPECT_EQ(rig.processor.LastQueuedStatus(), 20u);
}

TEST(TraceLines, BreakGetsThroughWhileATraceHoldsTheWorker) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
    uint8_t bytes[64];
    ktMemViewRequest request;
    request.address.kind = ktAddress::kindLinear;
    request.address.value = 0x403000;
    request.size = sizeof(bytes);
    request.buffer = bytes;
    rig.session.memViewRequests.push_back(&request);
    rig.target.ForgetCalls();
    rig.target.Hold("Step");
    ASSERT_EQ(rig.processor.RunLine("t 1000"), uint32_t{ktCmdQueued});
    rig.target.WaitUntilHeld("Step");
    EXPECT_EQ(rig.processor.RunLine("break"), 0u) << "at once, with the step still out";
    EXPECT_EQ(rig.target.Count("BreakIn"), 1u);
    rig.target.Free("Step");
    uint32_t breaks = 1;
    for (; rig.processor.IsBusy(); ++breaks) EXPECT_EQ(rig.processor.RunLine("break"), 0u);
    EXPECT_EQ(rig.processor.LastQueuedStatus(), 0u);
    EXPECT_EQ(rig.target.Count("Step"), 1000u);
    EXPECT_EQ(rig.target.Count("BreakIn"), breaks);
    EXPECT_EQ(request.pending, 0u);
    EXPECT_EQ(request.gotSize, 64u);
    rig.session.memViewRequests.clear();
}

TEST(TraceLines, ATraceUntilAnInstructionGoesOnBesideOtherUpdates) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
    rig.target.StopRecording();
    for (const char *line : {"tua 1234", "tui ret"}) {
        ASSERT_EQ(rig.processor.RunLine(line), uint32_t{ktCmdQueued});
        for (int i = 0; i < 2000; ++i) EXPECT_EQ(rig.processor.RunLine(i % 3 ? "break" : "sw 1"), 0u);
        rig.processor.StopCommands(); // also when the trace has not begun yet
        EXPECT_EQ(rig.processor.LastQueuedStatus(), 20u) << line;
    }
}
