#pragma once

#include "platform/sync.h"
#include "platform/thread.h"

#include <atomic>
#include <cstdint>

class ktCmdProcessor;

/// Holds a time limit over each command, on a thread of its own: past the limit it asks the command to
/// stop, and ends the process with ktBatchTimedOut when the command does not heed that.
class ktWatchdog {
public:
    /// `limit` in milliseconds; 0: no limit, no thread.
    ktWatchdog(ktCmdProcessor &watched, uint32_t limit);
    ~ktWatchdog();

    /// The limit starts to run.
    void Arm();
    /// The limit ends; true when it had passed.
    bool Disarm();

private:
    static void Run(void *self);
    void Watch();

    ktCmdProcessor &processor;
    uint32_t milliseconds;
    ktThread thread;
    ktSemaphore armed{0, 1};
    ktSemaphore disarmed{0, 1};
    ktSemaphore settled{0, 1};
    std::atomic<bool> passed{false};
    std::atomic<bool> ending{false};
};
