#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class FrontLife : public EngineRig {
protected:
    /// Searches all linear memory, which a table that maps itself makes as good as endless.
    int32_t SearchForEver() {
        uint64_t hit = 0;
        return SbSearchLinearMemory(engine, 0, 0, UINT64_MAX, "not there", 9, 1, 1, &hit);
    }
    static void PrepareEndlessMemory(FakeTarget &target) {
        target.paging.mode = ktSbPaging4Level;
        target.paging.root = 0x10000;
        for (uint64_t index = 0; index < 512; ++index) target.Put<uint64_t>(0x10000 + index * 8, 0x10000 | 3);
    }
};

} // namespace

TEST_F(FrontLife, AnEngineNeedsATransportWithAnInterface) {
    void *second = nullptr;
    void *secondTransport = nullptr;
    ASSERT_EQ(EngCreateEngine(&second), SABLE_OK);
    EXPECT_EQ(EngStart(second), SABLE_FAILED) << "no transport";
    ASSERT_EQ(TransportCreate(&secondTransport, 10), SABLE_OK);
    EXPECT_EQ(EngAssignTransport(second, secondTransport), SABLE_OK);
    EXPECT_EQ(EngStart(second), SABLE_FAILED) << "no interface";
    EXPECT_EQ(TransportSetInterfaceIndex(secondTransport, 0), SABLE_OK);
    EXPECT_EQ(EngStart(second), SABLE_OK);
    EXPECT_EQ(EngStart(second), SABLE_FAILED) << "twice";
    EXPECT_EQ(EngAssignTransport(second, secondTransport), SABLE_FAILED) << "while it is started";
    EXPECT_EQ(EngDestroyEngine(second), SABLE_OK);
    EXPECT_EQ(TransportDestroy(secondTransport), SABLE_OK);
}

TEST_F(FrontLife, AnEngineWithoutATargetSaysSo) {
    sable::TheFront().makeTarget = [](const sable::MachineSettings &, sable::RawDataSink &) {
        return std::unique_ptr<sable::Target>();
    };
    void *second = nullptr;
    ASSERT_EQ(EngCreateEngine(&second), SABLE_OK);
    ASSERT_EQ(EngAssignTransport(second, transport), SABLE_OK);
    EXPECT_EQ(EngStart(second), SABLE_NOT_SUPPORTED);
    EXPECT_EQ(SbPing(second), SABLE_FAILED);
    EXPECT_EQ(EngDestroyEngine(second), SABLE_OK);
    Start();
    EXPECT_EQ(SbPing(engine), SABLE_OK) << "the transport is free again";
}

TEST_F(FrontLife, ATargetThatCannotBeMadeFailsTheStart) {
    sable::TheFront().makeTarget = [](const sable::MachineSettings &,
                                      sable::RawDataSink &) -> std::unique_ptr<sable::Target> {
        throw std::bad_alloc();
    };
    void *second = nullptr;
    ASSERT_EQ(EngCreateEngine(&second), SABLE_OK);
    ASSERT_EQ(EngAssignTransport(second, transport), SABLE_OK);
    EXPECT_EQ(EngStart(second), SABLE_FAILED);
    EXPECT_EQ(EngDestroyEngine(second), SABLE_OK);
}

TEST_F(FrontLife, AnExceptionInARequestIsItsFailure) {
    prepare = [](FakeTarget &target) { target.onNote = [] { throw std::bad_alloc(); }; };
    Start();
    EXPECT_EQ(SbReboot(engine), SABLE_FAILED);
    EXPECT_EQ(SbPing(engine), SABLE_OK);
}

TEST_F(FrontLife, AnExceptionWhileRunningStopsTheTarget) {
    prepare = [](FakeTarget &target) {
        target.onRun = []() -> std::optional<ktSbStop> { throw std::bad_alloc(); };
    };
    Start();
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    EXPECT_TRUE(WaitForEvents({ktSbStopException}));
    EXPECT_FALSE(IsRunning());
}

TEST_F(FrontLife, StopsAndStartsAgain) {
    EXPECT_EQ(EngStop(engine), SABLE_OK) << "it was not started";
    for (int round = 0; round < 20; ++round) {
        Start();
        EXPECT_EQ(SbGo(engine), SABLE_OK);
        EXPECT_TRUE(IsRunning());
        EXPECT_EQ(EngStop(engine), SABLE_OK);
        EXPECT_EQ(SbPing(engine), SABLE_FAILED);
    }
    Start();
    EXPECT_FALSE(IsRunning()) << "a new target";
}

TEST_F(FrontLife, DestroyEndsARunningTarget) {
    Start();
    EXPECT_EQ(SbGo(engine), SABLE_OK);
    EXPECT_EQ(EngDestroyEngine(engine), SABLE_OK);
    EXPECT_EQ(EngDestroyEngine(engine), SABLE_BAD_ARGUMENT);
    engine = nullptr;
}

TEST_F(FrontLife, ARequestIsAnsweredInTimeOrFails) {
    Gate gate;
    PrepareSlowPlace(gate);
    Start();
    EXPECT_EQ(EngSetRequestTimeout(engine, 30), SABLE_OK);
    EXPECT_EQ(EngSetRequestRetryCount(engine, 2), SABLE_OK);
    const auto start = steady_clock::now();
    EXPECT_EQ(Read(slowPlace), SABLE_FAILED);
    EXPECT_GE(steady_clock::now() - start, milliseconds(90)) << "three tries of 30 ms";
    EXPECT_EQ(SbPing(engine), SABLE_FAILED) << "the target's thread is still at it";
    EXPECT_EQ(SbGo(engine), SABLE_FAILED);
    gate.Open();
    EXPECT_EQ(EngSetRequestTimeout(engine, 20000), SABLE_OK);
    EXPECT_EQ(SbPing(engine), SABLE_OK);
    EXPECT_FALSE(IsRunning()) << "what was not begun in time is not done";
}

TEST_F(FrontLife, ALateAnswerTouchesNothing) {
    Gate gate;
    PrepareSlowPlace(gate);
    Start();
    EXPECT_EQ(EngSetRequestTimeout(engine, 1), SABLE_OK);
    EXPECT_EQ(EngSetRequestRetryCount(engine, 0), SABLE_OK);
    do { // a request that nobody waits for any more when its turn comes is not begun
        std::vector<uint8_t> gone(65536, 0xEE);
        uint32_t done = 99;
        EXPECT_EQ(SbReadPhysicalMemory(engine, slowPlace, gone.data(), 65536, &done), SABLE_FAILED);
        EXPECT_EQ(done, 0u);
        EXPECT_EQ(gone, std::vector<uint8_t>(65536, 0xEE));
    } while (slowReads == 0);
    gate.Open();
    EXPECT_EQ(EngSetRequestTimeout(engine, 20000), SABLE_OK);
    EXPECT_EQ(SbPing(engine), SABLE_OK);
}

TEST_F(FrontLife, TimeoutsHaveLimits) {
    EXPECT_EQ(EngSetRequestTimeout(engine, 0), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(EngSetRequestTimeout(engine, UINT32_MAX), SABLE_OK);
    EXPECT_EQ(EngSetRequestRetryCount(engine, UINT32_MAX), SABLE_OK);
    Start();
    EXPECT_EQ(SbPing(engine), SABLE_OK);
}

TEST_F(FrontLife, BreakInGetsThroughWhileASearchIsOn) {
    prepare = [](FakeTarget &target) {
        PrepareEndlessMemory(target);
        target.startState = {1, 0};
    };
    Start();
    EXPECT_EQ(EngSetRequestTimeout(engine, 60000), SABLE_OK);
    std::thread searcher([&] { EXPECT_EQ(SearchForEver(), SABLE_FAILED); });
    std::this_thread::sleep_for(milliseconds(20));
    const auto start = steady_clock::now();
    EXPECT_EQ(SbBreakIn(engine), SABLE_OK);
    EXPECT_LT(steady_clock::now() - start, milliseconds(5000)) << "long before the search ends";
    EXPECT_TRUE(WaitForEvents({ktSbStopBreakIn}));
    EXPECT_EQ(EngStop(engine), SABLE_OK);
    searcher.join();
}

TEST_F(FrontLife, ASearchThatNobodyWaitsForEnds) {
    prepare = PrepareEndlessMemory;
    Start();
    EXPECT_EQ(EngSetRequestTimeout(engine, 20), SABLE_OK);
    EXPECT_EQ(SearchForEver(), SABLE_FAILED);
    EXPECT_EQ(EngSetRequestTimeout(engine, 20000), SABLE_OK);
    EXPECT_EQ(SbPing(engine), SABLE_OK);
}

TEST_F(FrontLife, DestroyFailsRequestsThatWaitOnOtherThreads) {
    Gate gate;
    PrepareSlowPlace(gate);
    Start();
    EXPECT_EQ(EngSetRequestTimeout(engine, 60000), SABLE_OK);
    void *const handle = engine;
    std::vector<std::thread> callers;
    std::atomic<int> failed = 0;
    callers.emplace_back([&] { Read(slowPlace); });
    WaitForSlowRead();
    for (int index = 0; index < 4; ++index) {
        callers.emplace_back([&] {
            while (SbPing(handle) == SABLE_OK) {
            }
            ++failed;
        });
    }
    std::this_thread::sleep_for(milliseconds(10));
    std::thread opener([&] {
        std::this_thread::sleep_for(milliseconds(10));
        gate.Open();
    });
    EXPECT_EQ(EngDestroyEngine(engine), SABLE_OK);
    engine = nullptr;
    for (std::thread &caller : callers) caller.join();
    opener.join();
    EXPECT_EQ(failed, 4);
}

TEST_F(FrontLife, DestroyWhileOthersCallIsSafe) {
    for (int round = 0; round < 30; ++round) {
        void *other = nullptr;
        ASSERT_EQ(EngCreateEngine(&other), SABLE_OK);
        ASSERT_EQ(EngAssignTransport(other, transport), SABLE_OK);
        ASSERT_EQ(EngStart(other), SABLE_OK);
        std::atomic<bool> isDone = false;
        std::vector<std::thread> callers;
        for (int index = 0; index < 3; ++index) {
            callers.emplace_back([&, index] {
                uint8_t bytes[64];
                while (!isDone) {
                    if (index == 0) SbGo(other);
                    if (index == 1) SbBreakIn(other);
                    SbReadPhysicalMemory(other, 0, bytes, sizeof bytes, nullptr);
                    SbStep(other, true);
                }
                EXPECT_EQ(SbPing(other), SABLE_BAD_ARGUMENT);
            });
        }
        std::this_thread::sleep_for(milliseconds(2));
        EXPECT_EQ(EngDestroyEngine(other), SABLE_OK);
        isDone = true;
        for (std::thread &caller : callers) caller.join();
    }
}

TEST_F(FrontLife, OfManyDestroyersOneSucceeds) {
    Start();
    std::atomic<int> succeeded = 0;
    std::vector<std::thread> destroyers;
    for (int index = 0; index < 4; ++index) {
        destroyers.emplace_back([&] {
            const int32_t status = EngDestroyEngine(engine);
            if (status == SABLE_OK) {
                ++succeeded;
            } else {
                EXPECT_EQ(status, SABLE_BAD_ARGUMENT);
            }
        });
    }
    for (std::thread &destroyer : destroyers) destroyer.join();
    EXPECT_EQ(succeeded, 1);
    engine = nullptr;
}

TEST_F(FrontLife, ManyThreadsMayAskAtOnce) {
    Start();
    std::vector<std::thread> callers;
    for (int index = 0; index < 4; ++index) {
        callers.emplace_back([&, index] {
            const uint64_t place = 0x20000 + uint64_t(index) * 0x1000;
            for (int round = 0; round < 500; ++round) {
                uint32_t value = uint32_t(round * 4 + index);
                EXPECT_EQ(SbWritePhysicalMemory(engine, place, &value, 4, nullptr), SABLE_OK);
                uint32_t read = 0;
                EXPECT_EQ(SbReadPhysicalMemory(engine, place, &read, 4, nullptr), SABLE_OK);
                EXPECT_EQ(read, value);
            }
        });
    }
    for (std::thread &caller : callers) caller.join();
}
