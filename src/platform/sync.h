#pragma once

#include <atomic>
#include <cstdint>

/// Recursive mutual exclusion with a bounded spin before the thread sleeps.
/// Any thread; the thread that entered must leave as often as it entered.
class ktCriticalSection {
public:
    /// `spins`: tries before the kernel is asked to put the thread to sleep.
    /// A processor that is alone does not spin.
    explicit constexpr ktCriticalSection(uint32_t spins = 0) : spinCount(spins) {}
    ktCriticalSection(const ktCriticalSection &) = delete;
    ktCriticalSection &operator=(const ktCriticalSection &) = delete;

    void Enter();
    /// Enters only if that is possible at once. Never blocks, never spins.
    bool TryEnter();
    void Leave();

private:
    std::atomic<uint32_t> state{0}; // 0 free, 1 owned, 2 owned and somebody sleeps
    std::atomic<uint64_t> owner{0}; // thread id of the owner, 0 for none
    uint32_t depth = 0;             // entries by the owner beyond the first, guarded by ownership
    uint32_t spinCount;
};

/// Scope guard of a ktCriticalSection.
class ktLockGuard {
public:
    explicit ktLockGuard(ktCriticalSection &held) : section(held) { section.Enter(); }
    ~ktLockGuard() { section.Leave(); }
    ktLockGuard(const ktLockGuard &) = delete;
    ktLockGuard &operator=(const ktLockGuard &) = delete;

private:
    ktCriticalSection &section;
};

/// Counting semaphore. Any thread.
class ktSemaphore {
public:
    /// 0 <= `initial` <= `limit`.
    constexpr ktSemaphore(uint32_t initial, uint32_t limit) : state(initial), maximum(limit) {}
    ktSemaphore(const ktSemaphore &) = delete;
    ktSemaphore &operator=(const ktSemaphore &) = delete;

    /// False, with the count untouched, when it would pass the maximum.
    bool Release(uint32_t count = 1);
    /// Blocks until the count is above 0 and takes one.
    void Wait();
    /// True when one was taken within `milliseconds`.
    bool WaitFor(uint32_t milliseconds);

private:
    bool TryTake();

    // Low half: the count. High half: threads that sleep or are about to. One word, so that the
    // thread which is woken may destroy the semaphore at once.
    std::atomic<uint64_t> state;
    uint32_t maximum;
};

/// Manual-reset event. Any thread.
class ktEvent {
public:
    ktEvent() = default;
    ktEvent(const ktEvent &) = delete;
    ktEvent &operator=(const ktEvent &) = delete;

    void Set();
    void Reset();
    bool IsSet() const;
    void Wait();
    /// True when the event was set within `milliseconds`.
    bool WaitFor(uint32_t milliseconds);

private:
    std::atomic<uint32_t> signaled{0};
};

/// Reader-writer lock that lets a thread which already reads enter again, even
/// while a writer waits. Readers go first: a writer gets in when no reader is
/// inside, so readers that always overlap keep it out. Not recursive for
/// writers. Any thread.
class ktRwLock {
public:
    constexpr ktRwLock() = default;
    ktRwLock(const ktRwLock &) = delete;
    ktRwLock &operator=(const ktRwLock &) = delete;

    void LockShared();
    void UnlockShared();
    void LockExclusive();
    void UnlockExclusive();

private:
    void SleepWhile(uint32_t seen);
    void Release(uint32_t taken);

    // Low half: readers inside, or all ones for a writer. High half: threads that sleep or are about to.
    std::atomic<uint64_t> state{0};
};

/// Scope guard of a ktRwLock for reading.
class ktSharedGuard {
public:
    explicit ktSharedGuard(ktRwLock &held) : lock(held) { lock.LockShared(); }
    ~ktSharedGuard() { lock.UnlockShared(); }
    ktSharedGuard(const ktSharedGuard &) = delete;
    ktSharedGuard &operator=(const ktSharedGuard &) = delete;

private:
    ktRwLock &lock;
};

/// Scope guard of a ktRwLock for writing.
class ktExclusiveGuard {
public:
    explicit ktExclusiveGuard(ktRwLock &held) : lock(held) { lock.LockExclusive(); }
    ~ktExclusiveGuard() { lock.UnlockExclusive(); }
    ktExclusiveGuard(const ktExclusiveGuard &) = delete;
    ktExclusiveGuard &operator=(const ktExclusiveGuard &) = delete;

private:
    ktRwLock &lock;
};
