#pragma once

#include <cstdint>
#include <memory>

/// One operating system thread. Owned by the thread that started it.
class ktThread {
public:
    using Entry = void (*)(void *argument);

    ktThread();
    /// The thread must have been joined before.
    ~ktThread();
    ktThread(ktThread &&) noexcept;
    ktThread &operator=(ktThread &&) noexcept;

    /// False when the system refuses another thread.
    bool Start(Entry entry, void *argument);
    /// Waits without limit for the entry to return. Does nothing when not started.
    void Join();
    bool IsStarted() const;
    /// Id of the started thread as CurrentThreadId sees it inside, 0 when not started.
    uint64_t Id() const;

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Never 0, unique among the living threads of the process.
uint64_t CurrentThreadId();
void SleepMilliseconds(uint32_t milliseconds);
/// Gives the rest of the time slice away.
void YieldThread();
