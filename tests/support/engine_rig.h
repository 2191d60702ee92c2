#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "abi/functions.h"
#include "front/exports.h"
#include "front/front.h"
#include "support/fake_target.h"

/// A gate that a thread waits at until a test opens it.
class Gate {
public:
    void Open() { promise.set_value(); }
    void Wait() { opened.wait(); }

private:
    std::promise<void> promise;
    std::shared_future<void> opened = promise.get_future().share();
};

/// A transport and an engine over a fake target, used as a debugger uses them: through the table's functions.
class EngineRig : public testing::Test {
protected:
    EngineRig() {
        sable::TheFront().makeTarget = [this](const sable::MachineSettings &settings,
                                              sable::RawDataSink &sink) {
            auto made = std::make_unique<FakeTarget>();
            ramBytes = settings.ramBytes;
            rawData = &sink;
            if (prepare) prepare(*made);
            return made;
        };
        EXPECT_EQ(TransportCreate(&transport, 10), SABLE_OK);
        EXPECT_EQ(TransportSetInterfaceName(transport, "demo"), SABLE_OK);
        EXPECT_EQ(EngCreateEngine(&engine), SABLE_OK);
        EXPECT_EQ(EngAssignTransport(engine, transport), SABLE_OK);
        EXPECT_EQ(SbSetEventCallback(engine, OnEvent, this), SABLE_OK);
        EXPECT_EQ(TransportSetRawDataCallback(transport, OnRawData, this), SABLE_OK);
    }

    ~EngineRig() override {
        EXPECT_EQ(EngDestroyEngine(engine), engine != nullptr ? SABLE_OK : SABLE_BAD_ARGUMENT);
        EXPECT_EQ(TransportDestroy(transport), transport != nullptr ? SABLE_OK : SABLE_BAD_ARGUMENT);
        sable::TheFront().makeTarget = sable::MakeTarget;
    }

    void Start() { ASSERT_EQ(EngStart(engine), SABLE_OK); }

    bool IsRunning() {
        ktSbRawState state = {};
        EXPECT_EQ(SbGetStateInfo(engine, &state), SABLE_OK);
        return state.isRunning != 0;
    }

    int StopCode() {
        ktSbRawState state = {};
        EXPECT_EQ(SbGetStateInfo(engine, &state), SABLE_OK);
        return state.stopCode;
    }

    /// Waits until something told satisfies `condition`; false when that takes too long.
    bool WaitFor(const std::function<bool()> &condition) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, std::chrono::seconds(20), condition);
    }
    bool WaitForEvents(std::vector<uint8_t> expected) {
        return WaitFor([&] { return events == expected; });
    }

    /// Memory reads at this address wait, as a slow target's would.
    static constexpr uint64_t slowPlace = 0x5000;

    void PrepareSlowPlace(Gate &gate) {
        prepare = [&](FakeTarget &target) {
            target.onRead = [&](uint64_t address) {
                if (address != slowPlace) return;
                slowReads.store(slowReads + 1);
                gate.Wait();
            };
        };
    }

    int32_t Read(uint64_t address) {
        uint8_t byte = 0;
        return SbReadPhysicalMemory(engine, address, &byte, 1, nullptr);
    }

    /// Until the target's thread is at the slow place for the n-th time.
    void WaitForSlowRead(int count = 1) {
        while (slowReads < count) std::this_thread::yield();
    }

    static void OnEvent(void *context, uint8_t event) {
        EngineRig &rig = *static_cast<EngineRig *>(context);
        if (rig.onEvent) rig.onEvent(event);
        const std::lock_guard guard(rig.lock);
        rig.events.push_back(event);
        rig.told += '<' + std::to_string(event) + '>';
        rig.changed.notify_all();
    }

    static void OnRawData(void *context, const void *bytes, uint32_t size) {
        EngineRig &rig = *static_cast<EngineRig *>(context);
        if (rig.onRawData) rig.onRawData();
        const std::lock_guard guard(rig.lock);
        rig.told.append(static_cast<const char *>(bytes), size);
        rig.changed.notify_all();
    }

    std::atomic<int> slowReads = 0;
    void *transport = nullptr;
    void *engine = nullptr;
    std::function<void(FakeTarget &)> prepare; ///< on the target's thread, before the target is used
    std::function<void(uint8_t)> onEvent;
    std::function<void()> onRawData;
    sable::RawDataSink *rawData = nullptr;
    uint64_t ramBytes = 0;

    std::mutex lock;
    std::condition_variable changed;
    std::vector<uint8_t> events; // under the lock
    std::string told;            // under the lock: raw data, and events in angle brackets
};
