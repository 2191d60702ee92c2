#include "commands/connect_cmd.h"

#include "platform/thread.h"
#include "support/command_rig.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace {

/// A clock whose Sleep does what a test wants.
class ScriptedClock final : public ktClock {
public:
    uint64_t Milliseconds() override { return 0; }
    uint64_t Nanoseconds() override { return 0; }
    void Sleep(uint32_t milliseconds) override {
        naps.push_back(milliseconds);
        if (onSleep) onSleep();
    }

    std::vector<uint32_t> naps;
    std::function<void()> onSleep;
};

class ConnectCmd : public testing::Test {
protected:
    uint32_t Execute(std::initializer_list<const char *> words) {
        return ExecuteIn(&rig.session, command, words);
    }
    std::string LinkCall() {
        for (const std::string &call : rig.target.Calls()) {
            if (call.rfind("Connect ", 0) == 0) return call;
        }
        return "";
    }

    ScriptedClock clock;
    ktSessionRig rig;
    ktConnectCmd command{clock};
};

} // namespace

TEST_F(ConnectCmd, WithoutASessionIs4) {
    EXPECT_EQ(ExecuteIn(nullptr, command, {"static", "local"}), 4u);
    EXPECT_TRUE(clock.naps.empty());
}

TEST_F(ConnectCmd, SucceedsAtOnceWhenTheTargetIsThere) {
    EXPECT_EQ(Execute({"sable", "usb3"}), 0u);
    EXPECT_EQ(LinkCall(), "Connect 3 (null)");
    EXPECT_TRUE(clock.naps.empty());
}

TEST_F(ConnectCmd, HandsTheAddressOn) {
    EXPECT_EQ(Execute({"sable", "net", "10.0.0.1:50000"}), 0u);
    EXPECT_EQ(LinkCall(), "Connect 6 10.0.0.1:50000");
}

TEST_F(ConnectCmd, TheStaticEngineMakesNoLink) {
    EXPECT_EQ(Execute({"static", "local"}), 0u);
    EXPECT_EQ(rig.session.engineType, 1u);
    EXPECT_EQ(rig.session.transportType, 10u);
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST_F(ConnectCmd, TriesEveryMillisecondUntilTheTargetIsThere) {
    rig.target.Fail("Connect", ktFakeTarget::failure, 3);
    EXPECT_EQ(Execute({"sable", "usb3"}), 0u);
    EXPECT_EQ(clock.naps, (std::vector<uint32_t>{1, 1, 1}));
    EXPECT_EQ(rig.target.Count("Connect"), 4u);
}

TEST_F(ConnectCmd, CancelEndsTheTriesWith20) {
    rig.target.Fail("Connect");
    clock.onSleep = [&] {
        if (clock.naps.size() == 5) {
            EXPECT_FALSE(command.Cancel());
        }
    };
    EXPECT_EQ(Execute({"sable", "usb3"}), 20u);
    EXPECT_EQ(rig.target.Count("Connect"), 5u);
    EXPECT_FALSE(rig.session.connected);
    clock.onSleep = nullptr;
    rig.target.Mend("Connect");
    rig.target.Fail("Connect", ktFakeTarget::failure, 1);
    EXPECT_EQ(Execute({"sable", "usb3"}), 0u) << "both flags were cleared";
}

TEST_F(ConnectCmd, CancelWithoutARunHasNoEffect) {
    EXPECT_FALSE(command.Cancel());
    rig.target.Fail("Connect", ktFakeTarget::failure, 1);
    EXPECT_EQ(Execute({"sable", "usb3"}), 0u);
    EXPECT_FALSE(command.Cancel());
    rig.session.Disconnect();
    rig.target.Fail("Connect", ktFakeTarget::failure, 1);
    EXPECT_EQ(Execute({"sable", "usb3"}), 0u);
}

TEST_F(ConnectCmd, ACancelThatTheLastTryOvertakesWaitsForTheNextRun) {
    rig.target.Hold("GetContext");
    std::thread running([&] { EXPECT_EQ(Execute({"sable", "usb3"}), 0u); });
    rig.target.WaitUntilHeld("GetContext");
    EXPECT_FALSE(command.Cancel());
    rig.target.Free("GetContext");
    running.join();
    EXPECT_TRUE(rig.session.connected);
    rig.session.Disconnect();
    rig.target.Fail("Connect");
    EXPECT_EQ(Execute({"sable", "usb3"}), 20u);
    EXPECT_EQ(clock.naps.size(), 1u);
}

TEST_F(ConnectCmd, AnUnknownEngineWordGoesToTheSessionAsEngine0) {
    clock.onSleep = [&] { command.Cancel(); };
    EXPECT_EQ(Execute({"nosuch", "usb2"}), 20u);
    EXPECT_EQ(rig.session.engineType, 0u);
    EXPECT_EQ(rig.session.transportType, 2u);
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST_F(ConnectCmd, WordsAreComparedExactly) {
    clock.onSleep = [&] { command.Cancel(); };
    EXPECT_EQ(Execute({"Static", "LOCAL"}), 20u);
    EXPECT_EQ(rig.session.engineType, 0u);
    EXPECT_EQ(rig.session.transportType, 0u);
}

TEST_F(ConnectCmd, NetWithoutAnAddressNeverReachesTheLink) {
    clock.onSleep = [&] { command.Cancel(); };
    EXPECT_EQ(Execute({"sable", "net"}), 20u);
    EXPECT_EQ(rig.target.Calls(), std::vector<std::string>{"Destroy"});
}

TEST_F(ConnectCmd, TextsThatABusyProcessorReleasedNameNothing) {
    clock.onSleep = [&] { command.Cancel(); };
    EXPECT_EQ(Execute({nullptr, nullptr, nullptr}), 20u);
    EXPECT_EQ(rig.session.engineType, 0u);
    EXPECT_EQ(ExecuteIn(&rig.session, command), 20u);
}

TEST_F(ConnectCmd, KeepsTheSessionAlone) {
    ktCmdContext given;
    given.session = &rig.session;
    given.output = &rig.output;
    given.gui = &rig.gui;
    command.SetCmdContext(given);
    ktCmdContext taken;
    command.GetCmdContext(&taken);
    EXPECT_EQ(taken.session, &rig.session);
    EXPECT_EQ(taken.output, nullptr);
    EXPECT_EQ(taken.gui, nullptr);
    command.GetCmdContext(nullptr);
}

TEST(ConnectLine, SwitchesTheCommandsAndRunsOnTheWorker) {
    ktCommandRig rig;
    EXPECT_EQ(rig.processor.RunLine("connect sable usb3"), uint32_t{ktCmdQueued});
    rig.processor.Worker().WaitUntilIdle();
    EXPECT_EQ(rig.processor.LastQueuedStatus(), 0u);
    EXPECT_TRUE(rig.session.connected);
    EXPECT_EQ(rig.Run("connect sable usb3"), 3u) << "the word is unknown now";
    EXPECT_EQ(rig.Run("disconnect"), 0u);
    EXPECT_EQ(rig.Run("disconnect"), 3u);
}

TEST(ConnectLine, ATargetThatIsNotThereIsWaitedForUntilTheUserCancels) {
    ktCommandRig rig;
    rig.target.Fail("Connect");
    ASSERT_EQ(rig.processor.RunLine("connect sable usb3"), uint32_t{ktCmdQueued});
    while (rig.target.Count("Connect") < 3) YieldThread();
    EXPECT_TRUE(rig.processor.IsBusy());
    EXPECT_FALSE(rig.processor.CancelRunning());
    rig.processor.Worker().WaitUntilIdle();
    EXPECT_EQ(rig.processor.LastQueuedStatus(), 20u);
    EXPECT_EQ(rig.processor.CurrentSet(), &rig.startupSet);
}

TEST(ConnectLine, ATargetThatComesLaterIsFound) {
    ktCommandRig rig;
    rig.target.Fail("GetStateInfo");
    ASSERT_EQ(rig.processor.RunLine("connect sable usb3"), uint32_t{ktCmdQueued});
    while (rig.target.Count("GetStateInfo") < 3) YieldThread();
    rig.target.Mend("GetStateInfo");
    rig.processor.Worker().WaitUntilIdle();
    EXPECT_EQ(rig.processor.LastQueuedStatus(), 0u);
    EXPECT_TRUE(rig.session.connected);
}
