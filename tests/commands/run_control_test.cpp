#include "commands/run_control_cmds.h"
#include "commands/update_cmd.h"

#include "support/command_rig.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace {

using Calls = std::vector<std::string>;

struct Case {
    const char *word;
    const char *operation; ///< of the engine
    const char *call;      ///< as the engine sees it
    std::initializer_list<uint64_t> args;
    std::unique_ptr<ktCmd> (*create)();
    size_t callsBehind; ///< of the update that follows
};

template <typename Command>
std::unique_ptr<ktCmd> Create() {
    return std::make_unique<Command>();
}

const Case cases[] = {
    {"g", "Go", "Go", {}, Create<ktGCmd>, 0},
    {"break", "BreakIn", "BreakIn", {}, Create<ktBreakCmd>, 4},
    {"sw", "SwitchCpu", "SwitchCpu 3", {3}, Create<ktSwCmd>, 4},
    {"restart", "Reboot", "Reboot", {}, Create<ktRestartCmd>, 0},
};

class RunControl : public testing::TestWithParam<Case> {
protected:
    uint32_t Execute() { return ExecuteIn(&rig.session, *command, GetParam().args); }

    std::unique_ptr<ktCmd> command = GetParam().create();
    ktSessionRig rig;
};

} // namespace

TEST_P(RunControl, RunsAtOnceUnderItsWord) {
    EXPECT_STREQ(command->GetName(), GetParam().word);
    EXPECT_TRUE(command->IsSynchronous());
    EXPECT_EQ(command->GetMaxArgs(), GetParam().args.size());
}

TEST_P(RunControl, WithoutAConnectionIs8) {
    EXPECT_EQ(Execute(), 8u);
    EXPECT_EQ(ExecuteIn(nullptr, *command, GetParam().args), 8u);
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST_P(RunControl, WithoutAnEngineIs16) {
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.session.engine.reset();
    EXPECT_EQ(Execute(), 16u);
}

TEST_P(RunControl, AFailureOfTheEngineIs4AndNothingFollows) {
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.target.Fail(GetParam().operation);
    EXPECT_EQ(Execute(), 4u);
    EXPECT_EQ(rig.target.Calls(), Calls{GetParam().call});
}

TEST_P(RunControl, CallsTheEngineOnceAndUpdates) {
    ASSERT_TRUE(rig.ConnectQuietly());
    EXPECT_EQ(Execute(), 0u);
    const Calls calls = rig.target.Calls();
    ASSERT_EQ(calls.size(), 1 + GetParam().callsBehind);
    EXPECT_EQ(calls[0], GetParam().call);
    if (calls.size() > 1) {
        EXPECT_EQ(calls[1], "GetStateInfo");
        EXPECT_EQ(calls[2], "GetCpuInfo");
        EXPECT_EQ(calls[3], "GetContext");
        EXPECT_EQ(calls[4].rfind("ReadTarget kind 1", 0), 0u);
    }
}

TEST_P(RunControl, APositiveResultOfTheEngineIsSuccess) {
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.target.Fail(GetParam().operation, 7);
    EXPECT_EQ(Execute(), 0u);
}

TEST_P(RunControl, TheResultOfTheUpdateIsIgnored) {
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.target.Fail("GetStateInfo");
    EXPECT_EQ(Execute(), 0u);
}

TEST_P(RunControl, TheStaticEngineRefuses) {
    ASSERT_TRUE(rig.session.Connect(ktEngineStatic, ktTransportLocal, nullptr));
    EXPECT_EQ(Execute(), 4u);
}

TEST_P(RunControl, KeepsTheSessionAlone) {
    ktCmdContext given;
    given.session = &rig.session;
    given.output = &rig.output;
    command->SetCmdContext(given);
    ktCmdContext taken;
    command->GetCmdContext(&taken);
    EXPECT_EQ(taken.session, &rig.session);
    EXPECT_EQ(taken.output, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Commands, RunControl, testing::ValuesIn(cases),
                         [](const testing::TestParamInfo<Case> &test) {
                             return std::string(test.param.word);
                         });

TEST(Go, ThePublishedStateShowsRunning) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    ktGCmd go;
    EXPECT_EQ(ExecuteIn(&rig.session, go), 0u);
    EXPECT_EQ(rig.target.Calls(), Calls{"Go"}) << "the engine is not asked for its state";
    EXPECT_TRUE(rig.Published()->stop.running);
    EXPECT_EQ(rig.Published()->context.validMask, 0u);
    EXPECT_FALSE(rig.Published()->context.complete);
}

TEST(Go, AStopThatComesBeforeTheUpdateIsNotHidden) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.target.Hold("Go");
    rig.target.Fail("Go", 0, 1); // the target stops again at once
    ktGCmd go;
    std::thread running([&] { EXPECT_EQ(ExecuteIn(&rig.session, go), 0u); });
    rig.target.WaitUntilHeld("Go");
    rig.target.RaiseEvent(2);
    rig.target.Free("Go");
    running.join();
    EXPECT_FALSE(rig.Published()->stop.running);
    EXPECT_TRUE(rig.Published()->context.complete);
}

TEST(Break, ThePublishedStateShowsTheStop) {
    ktSessionRig rig;
    rig.target.SetStop(true, 0);
    ASSERT_TRUE(rig.ConnectQuietly());
    ktBreakCmd breakIn;
    EXPECT_EQ(ExecuteIn(&rig.session, breakIn), 0u);
    EXPECT_FALSE(rig.Published()->stop.running);
    EXPECT_EQ(rig.Published()->context.values[ktRegIp], ktSessionRig::ip);
}

TEST(Switch, TheNewCoreAppearsInThePublishedState) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    ktSwCmd sw;
    EXPECT_EQ(ExecuteIn(&rig.session, sw, {2}), 0u);
    EXPECT_EQ(rig.Published()->currentCore, 2u);
}

TEST(Switch, WithoutItsArgumentIs5) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    ktSwCmd sw;
    EXPECT_EQ(ExecuteIn(&rig.session, sw), 5u);
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST(Restart, UpdatesNothing) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    const ktSnapshot *published = rig.Published();
    ktRestartCmd restart;
    EXPECT_EQ(ExecuteIn(&rig.session, restart), 0u);
    EXPECT_EQ(rig.Published(), published);
}

TEST(Update, HasItsStatuses) {
    ktSessionRig rig;
    ktUpdateCmd update;
    EXPECT_FALSE(update.IsSynchronous());
    EXPECT_EQ(ExecuteIn(nullptr, update), 8u);
    EXPECT_EQ(ExecuteIn(&rig.session, update), 8u);
    ASSERT_TRUE(rig.ConnectQuietly());
    EXPECT_EQ(ExecuteIn(&rig.session, update), 0u);
    rig.target.Fail("GetContext");
    EXPECT_EQ(ExecuteIn(&rig.session, update), 22u);
}

TEST(Update, ReadsTheCodeAnewWithFlag64) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.target.Poke(ktSessionRig::ip, {0xCC});
    ktUpdateCmd update;
    ASSERT_EQ(ExecuteIn(&rig.session, update), 0u);
    EXPECT_EQ(rig.Published()->code[256], 0xCC);
    EXPECT_EQ(rig.target.Count("ReadTarget"), 2u);
}

TEST(Update, EmptiesTheCacheBeforeItLooksForAnEngine) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.session.engine.reset();
    ASSERT_NE(rig.Current()->Pages().PageCount(), 0u);
    ktUpdateCmd update;
    EXPECT_EQ(ExecuteIn(&rig.session, update), 16u);
    EXPECT_EQ(rig.Current()->Pages().PageCount(), 0u);
    EXPECT_EQ(rig.Current()->Pages().generation, 0u);
}

TEST(Update, EmptiesTheCacheOfARunningTargetToo) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.target.SetStop(true, 0);
    ktUpdateCmd update;
    EXPECT_EQ(ExecuteIn(&rig.session, update), 0u);
    EXPECT_EQ(rig.Current()->Pages().PageCount(), 0u);
}

TEST(Update, WorksWithoutACurrentSpace) {
    ktSessionRig rig;
    rig.target.SetStop(true, 0);
    ASSERT_TRUE(rig.ConnectQuietly());
    ASSERT_EQ(rig.Current(), nullptr);
    ktUpdateCmd update;
    EXPECT_EQ(ExecuteIn(&rig.session, update), 0u);
}

TEST(Update, IsWhatAnEventTypes) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
    rig.target.SetRegister(ktRegIp, 0x402000);
    rig.target.RaiseEvent(2);
    rig.processor.Worker().WaitUntilIdle();
    EXPECT_EQ(rig.processor.LastQueuedStatus(), 0u);
    EXPECT_EQ(rig.Published()->context.values[ktRegIp], 0x402000u);
}

TEST(RunControlLines, ParseAndRun) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
    EXPECT_EQ(rig.Run("g"), 0u);
    EXPECT_TRUE(rig.Published()->stop.running);
    EXPECT_EQ(rig.Run("break"), 0u);
    EXPECT_FALSE(rig.Published()->stop.running);
    EXPECT_EQ(rig.Run("sw 12"), 0u);
    EXPECT_EQ(rig.Published()->currentCore, 12u);
    EXPECT_EQ(rig.Run("sw"), 5u);
    EXPECT_EQ(rig.Run("restart"), 0u);
    EXPECT_EQ(rig.Run("update"), 0u);
}
