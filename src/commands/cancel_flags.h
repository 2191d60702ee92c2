#pragma once

#include <atomic>

/// The two flags of a command that can be cancelled: set by the thread that runs it and by the one that
/// cancels it. They order nothing else between the two.
class ktCancelFlags {
public:
    /// The command runs from here on.
    void Begin() { running.store(true, std::memory_order_relaxed); }
    /// It ended by itself. A request that it did not come to look at stays for its next run.
    void End() { running.store(false, std::memory_order_relaxed); }
    /// Asks the command to stop. Without effect while it does not run.
    void Request() {
        if (running.load(std::memory_order_relaxed)) requested.store(true, std::memory_order_relaxed);
    }
    /// True, with both flags cleared, when the command was asked to stop.
    bool TakeRequest() {
        if (!requested.load(std::memory_order_relaxed)) return false;
        requested.store(false, std::memory_order_relaxed);
        running.store(false, std::memory_order_relaxed);
        return true;
    }

private:
    std::atomic<bool> running{false};
    std::atomic<bool> requested{false};
};
