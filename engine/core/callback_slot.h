#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace sable {

/// A callback of the library's user, with its context. Any thread.
///
/// `Callback` is a pointer to a function whose first argument is the context.
template <typename Callback>
class CallbackSlot {
public:
    /// Null for none. When this returns, the callback that stood here before runs no more, except when it is
    /// itself the caller.
    void Set(Callback newCallback, void *newContext) {
        std::unique_lock guard(lock);
        callback = newCallback;
        context = newContext;
        if (isRunning && runner == std::this_thread::get_id()) return;
        const uint64_t seen = calls;
        ended.wait(guard, [&] { return !isRunning || calls != seen; });
    }

    /// Calls it, without a lock held. Only one thread calls.
    template <typename... Arguments>
    void Call(Arguments... arguments) {
        std::unique_lock guard(lock);
        if (callback == nullptr) return;
        const Callback now = callback;
        void *const itsContext = context;
        isRunning = true;
        ++calls;
        runner = std::this_thread::get_id();
        guard.unlock();
        now(itsContext, arguments...);
        guard.lock();
        isRunning = false;
        guard.unlock();
        ended.notify_all();
    }

private:
    std::mutex lock;
    std::condition_variable ended;
    Callback callback = nullptr;
    void *context = nullptr;
    uint64_t calls = 0;
    bool isRunning = false;
    std::thread::id runner;
};

} // namespace sable
