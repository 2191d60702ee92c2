#include "support/engine_session.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>

namespace {

using Lines = std::vector<std::string>;

/// A line of the script and the statuses that it may end with when calls of the library fail.
struct Step {
    const char *line;
    std::set<uint64_t> statuses;
};

const Step script[] = {
    {"connect sable local", {0}}, // a failed attempt is followed by another
    {"r", {0, 18}},
    {"bp 400010", {0, 18}},
    {"bp 10:400010", {0, 18}},
    {"bp 400010@7000", {0, 18}},
    {"bp #400020", {0, 18}},
    {"bl r", {0, 18}},
    {"g", {0, 4}},
    {"break", {0, 4}},
    {"t 20", {0, 4, 22}},
    {"tua 401120", {0, 4, 22}},
    {"update", {0, 22}},
    {"db 400000 2000", {0, 12}},
    {"db #400000 1800", {0, 12}},
    {"dd 10:400000 100", {0, 12}},
    {"eb 400000 1 2 3", {0, 18}},
    {"inb 60", {0, 12}},
    {"outd 60 12345678", {0, 13}},
    {"cpuid 1", {0, 4}},
    {"rdmsr 10", {0, 4}},
    {"pte 400000", {0, 18}},
    {"u 400000 4", {0, 12}},
    {"mod.detect", {6, 12, 18}},
    {"sw 0", {0, 4}},
    {"restart", {0, 4}},
    {"bp #400010", {0, 18}},
    {"bp 400010@9000", {0, 18}},
    {"bc 1", {0, 18}},
    {"bc 0", {0, 18}},
    {"bl r", {0, 18}},
    {"bcls", {0}},
    {"t 20", {0, 4, 20, 22}},
    {"disconnect", {0}},
};

/// Plays the script; the calls of the library that it took.
uint64_t PlayScript(ktEngineSession &live, uint64_t failingCall) {
    live.testLibrary->StopRecording();
    live.testLibrary->FailCall(failingCall);
    for (const Step &step : script) {
        const uint64_t status = live.Run(step.line);
        EXPECT_EQ(step.statuses.count(status), 1u)
            << step.line << " ended with " << status << " when call " << failingCall << " failed";
    }
    return live.testLibrary->CallCount();
}

/// Waits for the processor to have nothing to do.
void WaitUntilIdle(ktEngineSession &live) { live.processor.Worker().WaitUntilIdle(); }

} // namespace

TEST(EngineFaults, WithoutAFailureTheScriptSucceeds) {
    ktEngineSession live;
    EXPECT_GT(PlayScript(live, 0), 300u);
    EXPECT_EQ(live.testLibrary->LiveHandles(), 0u);
}

TEST(EngineFaults, AFailureAtAnyOfTheFirst300CallsIsToldAndHarmless) {
    for (uint64_t call = 1; call <= 300; ++call) {
        ktEngineSession live;
        EXPECT_GE(PlayScript(live, call), call);
        EXPECT_EQ(live.testLibrary->LiveHandles(), 0u) << call;
        ASSERT_FALSE(HasFailure()) << call;
    }
}

TEST(EngineFaults, BreakGetsThroughWhileAStepWaitsInTheLibrary) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    live.testLibrary->Hold("SbStep");
    ASSERT_EQ(live.processor.RunLine("t 5"), uint32_t{ktCmdQueued});
    live.testLibrary->WaitUntilHeld("SbStep");
    EXPECT_EQ(live.Run("break"), 0u);
    EXPECT_TRUE(live.processor.IsBusy());
    EXPECT_EQ(live.testLibrary->Count("SbBreakIn"), 1u);
    live.testLibrary->Free("SbStep");
    WaitUntilIdle(live);
    EXPECT_EQ(live.processor.LastQueuedStatus(), 0u);
    EXPECT_EQ(live.testLibrary->Count("SbStep"), 5u);
}

TEST(EngineFaults, BreakGetsThroughWhileReadsWaitInTheLibrary) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    for (const auto &[line, function] :
         {std::pair{"db #400000", "SbReadPhysicalMemory"}, std::pair{"bp 400010", "SbLinearToPhysical"},
          std::pair{"bl r", "SbGetBreakPointInfo"}}) {
        live.testLibrary->Hold(function);
        ASSERT_EQ(live.processor.RunLine(line), uint32_t{ktCmdQueued});
        live.testLibrary->WaitUntilHeld(function);
        EXPECT_EQ(live.Run("break"), 0u) << line;
        EXPECT_EQ(live.Run("g"), 0u) << line;
        live.testLibrary->Free(function);
        WaitUntilIdle(live);
        EXPECT_EQ(live.processor.LastQueuedStatus(), 0u) << line;
    }
}

TEST(EngineFaults, BreakGetsThroughATraceOfManySteps) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    live.testLibrary->StopRecording();
    ASSERT_EQ(live.processor.RunLine("tua 1"), uint32_t{ktCmdQueued});
    for (int i = 0; i < 50; ++i) EXPECT_EQ(live.processor.RunLine("break"), 0u);
    EXPECT_TRUE(live.processor.IsBusy());
    live.processor.StopCommands();
    EXPECT_EQ(live.processor.LastQueuedStatus(), 20u);
}

TEST(EngineFaults, AnEventLeadsToAnUpdate) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    live.testLibrary->With([](ktTestEngine::Machine &m) {
        m.context.rip = 0x401200;
        m.state = {0, ktSbStopBreakPoint};
    });
    std::thread([&] { live.testLibrary->RaiseEvent(ktSbStopBreakPoint); }).join();
    WaitUntilIdle(live);
    const ktSnapshot *snapshot = live.session.publishedSnapshot;
    EXPECT_EQ(snapshot->context.values[ktRegIp], 0x401200u);
    EXPECT_EQ(snapshot->stop.reason, 4u);
}

TEST(EngineFaults, ABurstOfEventsEndsInTheLastState) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    live.testLibrary->StopRecording();
    std::thread sender([&] {
        for (uint32_t i = 0; i < 10000; ++i) {
            live.testLibrary->With([&](ktTestEngine::Machine &m) { m.context.rip = 0x401000 + i % 0x100; });
            live.testLibrary->RaiseEvent(ktSbStopStep);
        }
    });
    sender.join();
    WaitUntilIdle(live);
    const ktSnapshot *snapshot = live.session.publishedSnapshot;
    EXPECT_EQ(snapshot->context.values[ktRegIp], 0x401000u + 9999 % 0x100);
    EXPECT_EQ(live.Run("disconnect"), 0u);
}

TEST(EngineFaults, ThreeThreadsOfTheLibraryCallBackAtOnceAndNoLineIsLost) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    live.testLibrary->StopRecording();
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&live, t] {
            for (int i = 0; i < 500; ++i) {
                live.testLibrary->SendRawData("line " + std::to_string(t) + "\n");
                if (i % 10 == 0) live.testLibrary->RaiseEvent(static_cast<uint8_t>(i));
            }
        });
    }
    for (int i = 0; i < 20; ++i) live.Run("t 3");
    for (std::thread &thread : threads) thread.join();
    WaitUntilIdle(live);
    size_t counts[3] = {};
    for (const std::string &line : live.TakeLines(live.remote)) {
        ASSERT_EQ(line.size(), 6u) << line;
        ++counts[line.back() - '0'];
    }
    for (const size_t count : counts) EXPECT_EQ(count, 500u);
}

TEST(EngineFaults, CallbacksDuringConnectAndDisconnectAreSafe) {
    ktEngineSession live;
    live.testLibrary->SetHook([&](const std::string &function) {
        // Not during an update: its event would lead to the next one, for ever.
        const bool isOwn = function.rfind("Transport", 0) == 0 || function.rfind("Eng", 0) == 0;
        if (!isOwn && function != "SbCpuId" && function != "SbStep") return;
        std::thread([&] {
            live.testLibrary->RaiseEvent(ktSbStopBreakIn);
            live.testLibrary->SendRawData("text\n");
        }).join();
    });
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(live.Connect()) << i;
        EXPECT_EQ(live.Run("t"), 0u) << i;
        EXPECT_EQ(live.Run("disconnect"), 0u) << i;
        EXPECT_EQ(live.testLibrary->LiveHandles(), 0u);
    }
    EXPECT_GT(live.TakeLines(live.remote).size(), 100u);
    live.testLibrary->SetHook(nullptr);
}

TEST(EngineFaults, DisconnectWhileTheTargetRuns) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    EXPECT_EQ(live.Run("g"), 0u);
    EXPECT_EQ(live.Run("disconnect"), 0u);
    EXPECT_EQ(live.testLibrary->LiveHandles(), 0u);
    EXPECT_TRUE(live.Connect());
}

TEST(EngineFaults, ALibraryThatAnswersLateIsWaitedFor) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    live.testLibrary->SetHook([](const std::string &function) {
        if (function == "SbGetStateInfo") std::this_thread::sleep_for(std::chrono::milliseconds(20));
    });
    EXPECT_EQ(live.Run("t 5"), 0u);
    live.testLibrary->Fail("SbGetStateInfo", ktTestEngine::failure, 1, 2);
    EXPECT_EQ(live.Run("t 5"), 22u) << "one that gives up is told";
    live.testLibrary->SetHook(nullptr);
}

TEST(EngineFaults, WithoutALibraryConnectTriesUntilItIsThere) {
    ktEngineSession live;
    static std::atomic<int> loads;
    loads = 0;
    ktEngineLibrary::SetLoader([]() -> std::unique_ptr<ktDynamicLibrary> {
        if (++loads < 3) return nullptr;
        return LoadDynamicLibrary(DynamicLibraryName("test_engine").c_str());
    });
    EXPECT_TRUE(live.Connect());
    EXPECT_EQ(loads, 3);
}

TEST(EngineFaults, NetWithoutAnAddressNeverReachesTheLibrary) {
    ktEngineSession live;
    EXPECT_FALSE(live.session.Connect(ktEngineSable, ktTransportNet, nullptr));
    EXPECT_FALSE(live.session.Connect(ktEngineSable, ktTransportPipe, nullptr));
    EXPECT_TRUE(live.testLibrary->Calls().empty());
}

TEST(EngineSession, ConnectCallsTheLibraryInOrder) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    Lines expected = {"SbSetEventCallback null"};
    expected.insert(expected.end(), ktConnectCalls.begin(), ktConnectCalls.end());
    const Lines firstState = {
        "SbGetStateInfo E1",
        "SbGetCpuInfo E1",
        "SbGetContext E1 7FFFFFFFFFFFFFF",
        "SbReadLinearMemory E1 1A5003 401000 1000",
        "SbReadVirtualMemory E1 1A5000 0 700010 80",
        "SbCpuId E1 80000002 0",
        "SbCpuId E1 80000003 0",
        "SbCpuId E1 80000004 0",
        "SbCpuId E1 80000005 0",
        "SbCpuId E1 80000008 0",
    };
    expected.insert(expected.end(), firstState.begin(), firstState.end());
    EXPECT_EQ(live.testLibrary->Calls(), expected);
    live.testLibrary->ForgetCalls();
    EXPECT_EQ(live.Run("disconnect"), 0u);
    EXPECT_EQ(live.testLibrary->Calls(), (Lines{"EngDestroyEngine E1", "TransportDestroy T1"}));
}

TEST(EngineSession, TextOfTheTargetGoesToTheRemoteLog) {
    ktEngineSession live;
    ASSERT_TRUE(live.Connect());
    live.testLibrary->SendRawData("hel");
    live.testLibrary->SendRawData("lo\n\nopen");
    EXPECT_EQ(live.TakeLines(live.remote), (Lines{"hello", "", "open"}));
    EXPECT_EQ(live.Output(), Lines{});
}
