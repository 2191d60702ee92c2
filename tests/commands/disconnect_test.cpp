#include "commands/disconnect_cmd.h"

#include "platform/thread.h"
#include "support/command_rig.h"
#include "support/engine_noise.h"
#include "support/engine_session.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

TEST(DisconnectCmd, WithoutASessionIs4) {
    ktDisconnectCmd disconnect;
    EXPECT_TRUE(disconnect.IsSynchronous());
    EXPECT_EQ(ExecuteIn(nullptr, disconnect), 4u);
}

TEST(DisconnectCmd, WithoutAConnectionIs0) {
    ktSessionRig rig;
    ktDisconnectCmd disconnect;
    EXPECT_EQ(ExecuteIn(&rig.session, disconnect), 0u);
}

TEST(DisconnectLine, DeletesTheSetItRunsInAndBringsTheOldOneBack) {
    ktCommandRig rig;
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
        ASSERT_NE(rig.processor.CurrentSet(), &rig.startupSet);
        EXPECT_EQ(rig.Run("disconnect"), 0u);
        EXPECT_EQ(rig.processor.CurrentSet(), &rig.startupSet);
        EXPECT_EQ(rig.session.spaces, nullptr);
        EXPECT_EQ(rig.session.engine, nullptr);
        EXPECT_EQ(rig.session.sessionCmdSet, nullptr);
        EXPECT_FALSE(rig.session.connected);
    }
    EXPECT_EQ(rig.target.Count("Destroy"), 3u);
}

TEST(DisconnectLine, AQueuedCommandOfTheDeletedSetIsForgotten) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
    ASSERT_EQ(rig.Run("t 2"), 0u);
    ASSERT_EQ(rig.Run("disconnect"), 0u);
    EXPECT_FALSE(rig.processor.CancelRunning());
}

TEST(DisconnectLine, StopsATraceThatStillRuns) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
    rig.target.ForgetCalls();
    ASSERT_EQ(rig.processor.RunLine("tua 1234"), uint32_t{ktCmdQueued});
    while (rig.target.Count("Step") < 3) YieldThread();
    EXPECT_EQ(rig.processor.RunLine("disconnect"), 0u);
    EXPECT_FALSE(rig.processor.IsBusy());
    EXPECT_EQ(rig.processor.LastQueuedStatus(), 20u);
    EXPECT_EQ(rig.target.Calls().back(), "Destroy");
}

TEST(DisconnectLine, EventsOnTheWayAreNoTrouble) {
    ktCommandRig rig;
    std::atomic<bool> stop = false;
    std::thread events([&] {
        while (!stop) rig.target.RaiseEvent(1);
    });
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(rig.processor.RunLine("connect sable usb3"), uint32_t{ktCmdQueued});
        // As soon as the word is known, with `connect` still at work behind it.
        while (rig.processor.RunLine("disconnect") != ktCmdOk) YieldThread();
        EXPECT_EQ(rig.processor.CurrentSet(), &rig.startupSet);
        EXPECT_FALSE(rig.processor.IsBusy());
    }
    stop = true;
    events.join();
}

TEST(DisconnectLine, EndsUnderEventsThatNeverStop) {
    ktEngineSession live;
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(live.Connect());
        EXPECT_TRUE(EndsUnderNoise(*live.testLibrary, [&] { EXPECT_EQ(live.Run("disconnect"), 0u); }));
        EXPECT_EQ(live.testLibrary->LiveHandles(), 0u);
        EXPECT_FALSE(live.session.connected);
    }
}

TEST(DisconnectLine, EndsATraceUnderEventsThatNeverStop) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    ASSERT_EQ(live.processor.RunLine("t 100000"), uint32_t{ktCmdQueued});
    EXPECT_TRUE(EndsUnderNoise(*live.testLibrary, [&] { EXPECT_EQ(live.Run("disconnect"), 0u); }));
    EXPECT_EQ(live.testLibrary->LiveHandles(), 0u);
}

TEST(DisconnectLine, OfTheUpdatesThatABurstOfEventsLeftOnlyTheOneAtWorkIsWaitedFor) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    live.testLibrary->ForgetCalls();
    live.testLibrary->Hold(
        "SbGetStateInfo"); // as a target does that died, until the time for an answer is over
    for (int i = 0; i < 50; ++i) live.testLibrary->RaiseEvent(ktSbStopBreakIn);
    live.testLibrary->WaitUntilHeld("SbGetStateInfo");
    live.testLibrary->Fail("SbGetStateInfo");
    std::thread ending([&] { EXPECT_EQ(live.processor.RunLine("disconnect"), 0u); });
    while (!live.session.IsEnding()) YieldThread();
    live.testLibrary->Free("SbGetStateInfo");
    ending.join();
    EXPECT_EQ(live.testLibrary->Calls(),
              (std::vector<std::string>{"SbGetStateInfo E1", "EngDestroyEngine E1", "TransportDestroy T1"}));
    EXPECT_EQ(live.processor.LastQueuedStatus(), 22u);
    EXPECT_FALSE(live.session.IsEnding());
}

TEST(DisconnectLine, ATraceOfATargetThatDiesIsWaitedForOneCallLong) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    live.testLibrary->ForgetCalls();
    live.testLibrary->Hold("SbGetStateInfo");
    ASSERT_EQ(live.processor.RunLine("t 100000"), uint32_t{ktCmdQueued});
    live.testLibrary->WaitUntilHeld("SbGetStateInfo");
    live.testLibrary->Fail("SbGetStateInfo");
    std::thread ending([&] { EXPECT_EQ(live.processor.RunLine("disconnect"), 0u); });
    while (!live.session.IsEnding()) YieldThread();
    live.testLibrary->Free("SbGetStateInfo");
    ending.join();
    EXPECT_EQ(live.testLibrary->Calls(),
              (std::vector<std::string>{"SbStep E1 1", "SbGetStateInfo E1", "EngDestroyEngine E1",
                                        "TransportDestroy T1"}));
    EXPECT_EQ(live.processor.LastQueuedStatus(), 22u);
}

TEST(DisconnectLine, TheWindowIsCarriedThroughAConnection) {
    ktCommandRig rig;
    ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
    ktCmdContext context;
    rig.processor.FindCommand("q")->GetCmdContext(&context);
    EXPECT_EQ(context.gui, &rig.gui);
    EXPECT_EQ(rig.Run("q"), 0u);
    EXPECT_EQ(rig.gui.closes, 1u);
    ASSERT_EQ(rig.Run("disconnect"), 0u);
    EXPECT_EQ(rig.Run("q"), 0u);
    EXPECT_EQ(rig.gui.closes, 2u);
}
