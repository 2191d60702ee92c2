#include "platform/thread.h"

#include "platform/clock.h"

#include <atomic>
#include <cassert>
#include <cerrno>
#include <csignal>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <utility>

namespace {

// Ids are dealt out by this process, so that the starter knows the id before the thread runs.
std::atomic<uint64_t> lastThreadId{0};
thread_local uint64_t ownThreadId = 0;

uint64_t NextThreadId() { return lastThreadId.fetch_add(1, std::memory_order_relaxed) + 1; }

} // namespace

struct ktThread::State {
    Entry entry;
    void *argument;
    uint64_t id;
    pthread_t handle;

    /// Signals are left to the thread that the process began with: no other one has its waits and reads cut
    /// short, and whoever raises one there finds it handled when the raising call returns. Only the faults of
    /// the thread itself are not blocked, as their handlers would never see them.
    int Create() {
        sigset_t all, before;
        sigfillset(&all);
        for (const int fault : {SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP}) sigdelset(&all, fault);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        const int error = pthread_create(&handle, nullptr, Run, this);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return error;
    }

    static void *Run(void *self) {
        const auto *state = static_cast<const State *>(self);
        ownThreadId = state->id;
        state->entry(state->argument);
        return nullptr;
    }
};

ktThread::ktThread() = default;
ktThread::ktThread(ktThread &&) noexcept = default;

ktThread &ktThread::operator=(ktThread &&other) noexcept {
    assert(!state);
    state = std::move(other.state);
    return *this;
}

ktThread::~ktThread() {
    assert(!state); // the thread would run on in freed memory
}

bool ktThread::Start(Entry entry, void *argument) {
    if (state || !entry) return false;
    std::unique_ptr<State> starting(new (std::nothrow) State{entry, argument, NextThreadId(), {}});
    if (!starting) return false;
    if (const int error = starting->Create()) {
        errno = error; // where LastSystemError looks
        return false;
    }
    state = std::move(starting);
    return true;
}

void ktThread::Join() {
    if (!state) return;
    pthread_join(state->handle, nullptr);
    state.reset();
}

bool ktThread::IsStarted() const { return state != nullptr; }

uint64_t ktThread::Id() const { return state ? state->id : 0; }

uint64_t CurrentThreadId() {
    if (ownThreadId == 0) ownThreadId = NextThreadId();
    return ownThreadId;
}

void SleepMilliseconds(uint32_t milliseconds) { SystemClock().Sleep(milliseconds); }

void YieldThread() { sched_yield(); }
