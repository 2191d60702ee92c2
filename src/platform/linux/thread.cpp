#include "platform/thread.h"

#include "platform/clock.h"

#include <atomic>
#include <cassert>
#include <cerrno>
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
    if (const int error = pthread_create(&starting->handle, nullptr, State::Run, starting.get())) {
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
