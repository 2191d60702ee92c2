#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace {

using std::chrono::milliseconds;

class FrontEvents : public EngineRig {
protected:
    /// Leaves a callback running, for a while.
    void StartWithSlowCallback() {
        onEvent = [this](uint8_t) {
            entered.Open();
            std::this_thread::sleep_for(milliseconds(30));
            isBack = true;
        };
        Start();
        EXPECT_EQ(SbReboot(engine), SABLE_OK);
        entered.Wait();
    }

    Gate entered;
    std::atomic<bool> isBack = false;
};

} // namespace

TEST_F(FrontEvents, EventsAndRawDataComeInTheirOrder) {
    std::string expected;
    Start();
    for (int index = 0; index < 200; ++index) {
        const std::string line = std::to_string(index) + '\n';
        rawData->PostRawData(line.data(), uint32_t(line.size()));
        expected += line;
        if (index % 10 != 0) continue;
        EXPECT_EQ(SbReboot(engine), SABLE_OK);
        expected += "<5>";
    }
    EXPECT_TRUE(WaitFor([&] { return told == expected; })) << told;
}

TEST_F(FrontEvents, NoCallbackRunsAfterDestroy) {
    std::atomic<bool> isOver = false;
    onEvent = [&](uint8_t) { EXPECT_FALSE(isOver); };
    onRawData = [&] { EXPECT_FALSE(isOver); };
    prepare = [&](FakeTarget &target) {
        target.startState = {1, 0};
        target.onRun = [this]() -> std::optional<ktSbStop> {
            rawData->PostRawData("x", 1);
            return std::nullopt;
        };
    };
    Start();
    ASSERT_TRUE(WaitFor([&] { return told.size() > 100; }));
    EXPECT_EQ(SbReboot(engine), SABLE_OK);
    EXPECT_EQ(EngDestroyEngine(engine), SABLE_OK);
    isOver = true;
    engine = nullptr;
    std::this_thread::sleep_for(milliseconds(20));
}

TEST_F(FrontEvents, DestroyWaitsForACallbackThatRuns) {
    StartWithSlowCallback();
    EXPECT_EQ(EngDestroyEngine(engine), SABLE_OK);
    EXPECT_TRUE(isBack);
    engine = nullptr;
}

TEST_F(FrontEvents, ACallbackMayAskButNotStartStopOrDestroy) {
    std::vector<int32_t> statuses;
    onEvent = [&](uint8_t) {
        ktSbRawState state = {};
        statuses = {EngStop(engine), EngDestroyEngine(engine), EngStart(engine),
                    EngAssignTransport(engine, transport), SbGetStateInfo(engine, &state)};
        EXPECT_EQ(state.stopCode, ktSbStopReset);
    };
    Start();
    EXPECT_EQ(SbReboot(engine), SABLE_OK);
    ASSERT_TRUE(WaitForEvents({ktSbStopReset}));
    EXPECT_EQ(statuses,
              (std::vector<int32_t>{SABLE_FAILED, SABLE_FAILED, SABLE_FAILED, SABLE_FAILED, SABLE_OK}));
    EXPECT_EQ(SbPing(engine), SABLE_OK);
}

TEST_F(FrontEvents, ACallbackThatWaitsForARequestDoesNotHoldUpDestroy) {
    Gate gate;
    PrepareSlowPlace(gate);
    onEvent = [&](uint8_t) {
        entered.Open();
        SbPing(engine);
    };
    Start();
    EXPECT_EQ(EngSetRequestTimeout(engine, 60000), SABLE_OK);
    EXPECT_EQ(SbReboot(engine), SABLE_OK);
    entered.Wait();
    std::thread reader([&] { Read(slowPlace); });
    WaitForSlowRead();
    gate.Open();
    EXPECT_EQ(EngDestroyEngine(engine), SABLE_OK);
    reader.join();
    engine = nullptr;
}

TEST_F(FrontEvents, ACallbackMayReplaceItself) {
    onEvent = [&](uint8_t) { EXPECT_EQ(SbSetEventCallback(engine, nullptr, nullptr), SABLE_OK); };
    Start();
    EXPECT_EQ(SbReboot(engine), SABLE_OK);
    EXPECT_TRUE(WaitForEvents({ktSbStopReset}));
    EXPECT_EQ(SbReboot(engine), SABLE_OK);
    rawData->PostRawData("end", 3);
    EXPECT_TRUE(WaitFor([&] { return told == "<5>end"; }));
}

TEST_F(FrontEvents, AReplacedCallbackRunsNoMore) {
    StartWithSlowCallback();
    EXPECT_EQ(SbSetEventCallback(engine, nullptr, nullptr), SABLE_OK);
    EXPECT_TRUE(isBack);
}

TEST_F(FrontEvents, ATargetWaitsForACallbackThatDoesNotKeepUp) {
    Gate gate;
    std::atomic<uint64_t> sent = 0;
    onRawData = [&] { gate.Wait(); };
    prepare = [&](FakeTarget &target) {
        target.startState = {1, 0};
        target.onRun = [&, chunk = std::string(50000, 'x')]() -> std::optional<ktSbStop> {
            rawData->PostRawData(chunk.data(), uint32_t(chunk.size()));
            sent += chunk.size();
            if (sent >= 10 * sable::EventThread::fullBytes) return ktSbStopException;
            return std::nullopt;
        };
    };
    Start();
    while (sent < sable::EventThread::fullBytes) std::this_thread::yield();
    EXPECT_EQ(SbPing(engine), SABLE_OK) << "requests are served";
    std::this_thread::sleep_for(milliseconds(20));
    EXPECT_LT(sent, 2 * sable::EventThread::fullBytes);
    EXPECT_TRUE(IsRunning());
    gate.Open();
    EXPECT_TRUE(WaitForEvents({ktSbStopException})) << "it goes on as soon as there is room";
    EXPECT_EQ(told.size(), sent + 3) << "nothing is lost";
}

TEST_F(FrontEvents, WhatIsPostedWithoutEndIsBounded) {
    Gate gate;
    onRawData = [&] { gate.Wait(); };
    Start();
    const std::string chunk(65536, 'x');
    for (int index = 0; index < 1000; ++index) rawData->PostRawData(chunk.data(), uint32_t(chunk.size()));
    gate.Open();
    EXPECT_EQ(SbReboot(engine), SABLE_OK);
    EXPECT_TRUE(WaitForEvents({ktSbStopReset}));
    EXPECT_LT(told.size(), 3 * sable::EventThread::fullBytes);
    EXPECT_GT(told.size(), sable::EventThread::fullBytes);
}
