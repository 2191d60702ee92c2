#pragma once

#include "support/test_engine.h"

#include <chrono>
#include <future>
#include <thread>

/// Lets the library raise an event whenever it is asked for the target's state, and take its time over the
/// registers: as each event leads to an update, there is always one at work and one that waits. Runs `end` in
/// the midst of that, on a thread of its own. False when it took so long that the noise had to be stopped.
template <typename F>
bool EndsUnderNoise(ktTestEngine &library, F &&end) {
    library.SetHook([&library](const std::string &function) {
        if (function == "SbGetStateInfo") {
            std::thread([&library] { library.RaiseEvent(ktSbStopBreakIn); }).join();
        } else if (function == "SbGetContext") {
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
        }
    });
    library.ForgetCalls();
    library.RaiseEvent(ktSbStopBreakIn);
    while (library.Count("SbGetStateInfo") < 3) std::this_thread::yield();
    const std::future<void> ended = std::async(std::launch::async, end);
    const bool inTime = ended.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    library.SetHook(nullptr);
    ended.wait();
    return inTime;
}
