#include "platform/sync.h"

#include "platform/clock.h"
#include "platform/thread.h"

#include <bit>
#include <climits>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr uint32_t rwWriter = ~uint32_t(0);
constexpr uint32_t rwSpinCount = 100;
constexpr uint64_t oneWaiter = uint64_t(1) << 32; // where a word holds the waiters in its high half

static_assert(sizeof(std::atomic<uint32_t>) == 4 && sizeof(std::atomic<uint64_t>) == 8);
static_assert(std::endian::native == std::endian::little, "the low half stands at the word's address");

uint32_t LowHalf(uint64_t word) { return static_cast<uint32_t>(word); }

/// Sleeps while the 32 bits at `word` are `seen`, up to `nanoseconds` when that is not null. Wakes
/// early at times.
void FutexWait(void *word, uint32_t seen, const uint64_t *nanoseconds = nullptr) {
    timespec limit = {};
    if (nanoseconds) {
        limit.tv_sec = static_cast<time_t>(*nanoseconds / 1000000000);
        limit.tv_nsec = static_cast<long>(*nanoseconds % 1000000000);
    }
    syscall(SYS_futex, word, FUTEX_WAIT_PRIVATE, seen, nanoseconds ? &limit : nullptr, nullptr, 0);
}

/// Uses nothing but the address: whoever was waiting may have destroyed the object by now.
void FutexWake(void *word, uint32_t threads) {
    const int limit = threads > uint32_t(INT_MAX) ? INT_MAX : static_cast<int>(threads);
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, limit, nullptr, nullptr, 0);
}

void SpinPause() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#endif
}

/// Alone, the owner cannot leave while this thread spins.
bool SpinningHelps() {
    static const bool helps = sysconf(_SC_NPROCESSORS_ONLN) > 1;
    return helps;
}

/// What is left of a time limit.
class Deadline {
public:
    explicit Deadline(uint32_t milliseconds)
        : end(SystemClock().Nanoseconds() + uint64_t(milliseconds) * 1000000) {}
    /// Nanoseconds to go, 0 when it has passed.
    uint64_t Left() const {
        const uint64_t now = SystemClock().Nanoseconds();
        return now < end ? end - now : 0;
    }

private:
    uint64_t end;
};

} // namespace

// Critical section. Whoever had to sleep leaves the state at 2, since others may
// sleep as well; that costs at most one wake-up too many.

void ktCriticalSection::Enter() {
    if (TryEnter()) return;
    if (SpinningHelps()) {
        for (uint32_t i = 0; i < spinCount; ++i) {
            SpinPause();
            if (state.load(std::memory_order_relaxed) == 0 && TryEnter()) return;
        }
    }
    while (state.exchange(2, std::memory_order_acquire) != 0) FutexWait(&state, 2);
    owner.store(CurrentThreadId(), std::memory_order_relaxed);
}

bool ktCriticalSection::TryEnter() {
    const uint64_t self = CurrentThreadId();
    // Only this thread ever stores its own id, so a relaxed look cannot mistake another owner for it.
    if (owner.load(std::memory_order_relaxed) == self) {
        ++depth;
        return true;
    }
    uint32_t expected = 0;
    if (!state.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
        return false;
    }
    owner.store(self, std::memory_order_relaxed);
    return true;
}

void ktCriticalSection::Leave() {
    if (depth) {
        --depth;
        return;
    }
    owner.store(0, std::memory_order_relaxed);
    if (state.exchange(0, std::memory_order_release) == 2) FutexWake(&state, 1);
}

bool ktSemaphore::TryTake() {
    uint64_t seen = state.load(std::memory_order_relaxed);
    while (LowHalf(seen) != 0) {
        if (state.compare_exchange_weak(seen, seen - 1, std::memory_order_acquire,
                                        std::memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}

bool ktSemaphore::Release(uint32_t count) {
    uint64_t seen = state.load(std::memory_order_relaxed);
    do {
        if (count > maximum - LowHalf(seen)) return false;
    } while (!state.compare_exchange_weak(seen, seen + count, std::memory_order_release,
                                          std::memory_order_relaxed));
    if (seen >= oneWaiter) FutexWake(&state, count);
    return true;
}

void ktSemaphore::Wait() {
    if (TryTake()) return;
    state.fetch_add(oneWaiter, std::memory_order_relaxed);
    while (!TryTake()) FutexWait(&state, 0);
    state.fetch_sub(oneWaiter, std::memory_order_relaxed);
}

bool ktSemaphore::WaitFor(uint32_t milliseconds) {
    if (TryTake()) return true;
    const Deadline deadline(milliseconds);
    state.fetch_add(oneWaiter, std::memory_order_relaxed);
    bool taken = TryTake();
    while (!taken) {
        const uint64_t left = deadline.Left();
        if (left == 0) break;
        FutexWait(&state, 0, &left);
        taken = TryTake();
    }
    state.fetch_sub(oneWaiter, std::memory_order_relaxed);
    return taken;
}

void ktEvent::Set() {
    if (signaled.exchange(1, std::memory_order_release) == 0) FutexWake(&signaled, INT_MAX);
}

void ktEvent::Reset() { signaled.store(0, std::memory_order_relaxed); }

bool ktEvent::IsSet() const { return signaled.load(std::memory_order_acquire) != 0; }

void ktEvent::Wait() {
    while (!IsSet()) FutexWait(&signaled, 0);
}

bool ktEvent::WaitFor(uint32_t milliseconds) {
    if (IsSet()) return true;
    const Deadline deadline(milliseconds);
    while (const uint64_t left = deadline.Left()) {
        FutexWait(&signaled, 0, &left);
        if (IsSet()) return true;
    }
    return false;
}

// Reader-writer lock. A reader looks at nothing but whether a writer is inside:
// a writer that waits keeps no reader out, so a reader may enter again.

void ktRwLock::SleepWhile(uint32_t seen) {
    state.fetch_add(oneWaiter, std::memory_order_relaxed);
    FutexWait(&state, seen);
    state.fetch_sub(oneWaiter, std::memory_order_relaxed);
}

/// Takes `taken` off the low half, and wakes everybody when that leaves the lock free.
void ktRwLock::Release(uint32_t taken) {
    const uint64_t seen = state.fetch_sub(taken, std::memory_order_release);
    if (LowHalf(seen) == taken && seen >= oneWaiter) FutexWake(&state, INT_MAX);
}

void ktRwLock::LockShared() {
    uint64_t seen = state.load(std::memory_order_relaxed);
    for (uint32_t spins = SpinningHelps() ? 0 : rwSpinCount;;) {
        if (LowHalf(seen) != rwWriter) {
            if (state.compare_exchange_weak(seen, seen + 1, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
                return;
            }
            continue;
        }
        if (spins < rwSpinCount) {
            ++spins;
            SpinPause();
        } else {
            SleepWhile(rwWriter);
        }
        seen = state.load(std::memory_order_relaxed);
    }
}

void ktRwLock::UnlockShared() { Release(1); }

void ktRwLock::LockExclusive() {
    uint64_t seen = state.load(std::memory_order_relaxed);
    for (uint32_t spins = SpinningHelps() ? 0 : rwSpinCount;;) {
        if (LowHalf(seen) == 0) {
            if (state.compare_exchange_weak(seen, seen + rwWriter, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
                return;
            }
            continue;
        }
        if (spins < rwSpinCount) {
            ++spins;
            SpinPause();
        } else {
            SleepWhile(LowHalf(seen));
        }
        seen = state.load(std::memory_order_relaxed);
    }
}

void ktRwLock::UnlockExclusive() { Release(rwWriter); }
