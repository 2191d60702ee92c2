#include "app/task_pool.h"

#include "platform/sync.h"
#include "platform/thread.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <deque>

namespace {

constexpr uint32_t poolSpinCount = 100000;
constexpr uint32_t lastTaskNumber = 0xFFFFFFFF;

} // namespace

// The pool is idle when no worker is active and nothing is queued, looked at under the lock. A task
// leaves the queue under the lock as well, at the hands of a worker that has counted itself active
// before and takes itself off after the run. So from Submit to the end of the task there is no
// moment at which it is neither queued nor covered by activeCount, even right after Start, when a
// worker that has not counted itself yet leaves the task in the queue.
struct ktTaskPool::State {
    /// One thread that waits for an idle pool. Each has a signal of its own, so that none takes another's.
    struct IdleWaiter {
        ktSemaphore seen{0, 1};
        IdleWaiter *next = nullptr;
    };

    explicit State(uint32_t lastId) : lastTaskId(lastId) {}

    void RunWorker();
    uint32_t FindWorkerIndex() const;
    ktTask *TakeTask(uint32_t &id);
    void RunTask(ktTask *task, uint32_t id, uint32_t index);
    static void Run(ktTask *task);
    void LowerActive();

    bool Submit(ktTask *task, uint32_t &id);
    bool IsIdle() const; // under the lock
    void WaitUntilIdle();
    void HelpUntilIdle();
    void RestartIds();
    bool IsOwnWorker() const;
    void Stop();

    std::array<ktThread, ktMaxWorkers> threads;
    std::array<std::atomic<uint64_t>, ktMaxWorkers> threadIds{};
    std::array<std::atomic<uint32_t>, ktMaxWorkers> runningTask{};  // id of the task begun last
    std::array<std::atomic<uint32_t>, ktMaxWorkers> finishedTask{}; // id of the task finished last
    ktCriticalSection lock{poolSpinCount};
    ktSemaphore wakeUps{0, ktMaxQueuedTasks};
    std::deque<ktTask *> queue;
    std::atomic<uint32_t> threadCount{0};
    std::atomic<int32_t> activeCount{0}; // workers that are not blocked on the semaphore
    std::atomic<int32_t> aliveCount{0};
    std::atomic<uint32_t> lastTaskId;
    std::atomic<bool> stopRequested{false};
    std::atomic<bool> idsExhausted{false};
    IdleWaiter *idleWaiters = nullptr; // under the lock
};

void ktTaskPool::State::RunWorker() {
    const uint32_t index = FindWorkerIndex();
    aliveCount.fetch_add(1);
    activeCount.fetch_add(1);
    while (!stopRequested) {
        LowerActive();
        wakeUps.Wait();
        activeCount.fetch_add(1);
        if (stopRequested) break;
        // A wake-up without a task comes from a refused submission and makes one empty turn.
        uint32_t id = 0;
        if (ktTask *task = TakeTask(id)) RunTask(task, id, index);
    }
    LowerActive();
    aliveCount.fetch_sub(1);
}

/// 0 when Start has not stored the id yet: the records are for diagnosis only.
uint32_t ktTaskPool::State::FindWorkerIndex() const {
    const auto found = std::find(threadIds.begin(), threadIds.end(), CurrentThreadId());
    return found == threadIds.end() ? 0 : static_cast<uint32_t>(found - threadIds.begin());
}

/// The id is read here, under the lock: a record that is submitted again during its run gets a new one.
ktTask *ktTaskPool::State::TakeTask(uint32_t &id) {
    ktLockGuard guard(lock);
    if (queue.empty()) return nullptr;
    ktTask *task = queue.front();
    queue.pop_front();
    id = task->id;
    return task;
}

void ktTaskPool::State::RunTask(ktTask *task, uint32_t id, uint32_t index) {
    runningTask[index].store(id, std::memory_order_relaxed);
    Run(task);
    finishedTask[index].store(id, std::memory_order_relaxed);
}

void ktTaskPool::State::Run(ktTask *task) {
    const uint64_t result = task->entry(task);
    // Whoever sees the status may take the record back, so nothing but a record that is
    // the runner's to free is touched after it.
    const bool autoFree = task->autoFree;
    uint64_t *const statusOut = task->statusOut;
    if (task->resultOut) *task->resultOut = result;
    if (statusOut) std::atomic_ref(*statusOut).store(ktTaskDone, std::memory_order_release);
    if (autoFree) std::free(task);
}

/// Takes this worker off the active ones; the last one lets those go on who wait for an idle pool.
void ktTaskPool::State::LowerActive() {
    if (activeCount.fetch_sub(1) != 1) return;
    ktLockGuard guard(lock);
    if (!IsIdle()) return;
    while (IdleWaiter *waiter = idleWaiters) {
        idleWaiters = waiter->next;
        waiter->seen.Release();
    }
}

bool ktTaskPool::State::IsIdle() const { return activeCount == 0 && queue.empty(); }

void ktTaskPool::State::WaitUntilIdle() {
    IdleWaiter self;
    {
        ktLockGuard guard(lock);
        if (IsIdle()) return;
        self.next = idleWaiters;
        idleWaiters = &self;
    }
    self.seen.Wait();
    ktLockGuard guard(lock); // who signalled holds it until it is done with `self`
}

/// While it may hold a task, the helping thread counts as an active worker. The wake-up of a task that it
/// takes is left to a worker, for an empty turn.
void ktTaskPool::State::HelpUntilIdle() {
    for (bool hasRun = true; hasRun;) {
        activeCount.fetch_add(1);
        uint32_t id = 0;
        ktTask *task = TakeTask(id);
        if (task) Run(task);
        LowerActive();
        hasRun = task != nullptr;
    }
    WaitUntilIdle();
}

bool ktTaskPool::State::Submit(ktTask *task, uint32_t &id) {
    for (;;) {
        if (idsExhausted) RestartIds();
        ktLockGuard guard(lock);
        if (idsExhausted) continue; // another thread has just taken the last one
        const bool accepted = !stopRequested && queue.size() < ktMaxQueuedTasks;
        if (accepted) {
            id = lastTaskId.fetch_add(1) + 1;
            task->id = id;
            if (id == lastTaskNumber) idsExhausted = true;
            queue.push_back(task);
        }
        return accepted;
    }
}

/// Numbers tasks from 1 again once no task with an old number is left.
void ktTaskPool::State::RestartIds() {
    // A task that submits keeps the pool busy itself: it does not wait.
    if (!IsOwnWorker()) WaitUntilIdle();
    ktLockGuard guard(lock);
    if (!idsExhausted) return;
    for (auto &id : runningTask) id.store(0, std::memory_order_relaxed);
    for (auto &id : finishedTask) id.store(0, std::memory_order_relaxed);
    lastTaskId = 0;
    idsExhausted = false;
}

bool ktTaskPool::State::IsOwnWorker() const {
    return std::find(threadIds.begin(), threadIds.end(), CurrentThreadId()) != threadIds.end();
}

void ktTaskPool::State::Stop() {
    if (stopRequested) return;
    // Workers take no task once they are told to end, so what is still queued runs before, and
    // nothing is accepted behind it.
    for (bool drained = false; !drained;) {
        WaitUntilIdle();
        ktLockGuard guard(lock);
        drained = IsIdle();
        stopRequested = drained;
    }
    wakeUps.Release(threadCount);
    WaitUntilIdle();
    for (ktThread &thread : threads) thread.Join();
    for (auto &id : threadIds) id = 0;
    threadCount = 0;
}

bool ktStartThread(ktThread &thread, void (*entry)(void *), void *argument) {
    return thread.Start(entry, argument);
}

ktTaskPool::ktTaskPool(uint32_t lastId, ktThreadStart start) : firstLastId(lastId), startThread(start) {}

ktTaskPool::~ktTaskPool() { Stop(); }

bool ktTaskPool::Start(uint32_t workerCount) {
    if (workerCount == 0 || state) return false;
    state = std::make_unique<State>(firstLastId);
    const auto runWorker = [](void *argument) { static_cast<State *>(argument)->RunWorker(); };
    for (uint32_t i = 0; i < std::min(workerCount, ktMaxWorkers); ++i) {
        if (!startThread(state->threads[i], runWorker, state.get())) continue;
        state->threadIds[i] = state->threads[i].Id();
        ++state->threadCount;
    }
    if (state->threadCount != 0) return true;
    Stop();
    return false;
}

bool ktTaskPool::Submit(ktTask *task, uint32_t *idOut) {
    uint32_t id = 0;
    bool accepted = false;
    if (task && task->entry && state) {
        accepted = state->Submit(task, id);
        state->wakeUps.Release(); // refused at the maximum, when there are wake-ups for every task
    }
    if (idOut) *idOut = id;
    return accepted;
}

void ktTaskPool::Stop() {
    if (state) state->Stop();
}

bool ktTaskPool::IsBusy() {
    if (!state) return false;
    ktLockGuard guard(state->lock);
    return !state->IsIdle();
}

void ktTaskPool::HelpUntilIdle() {
    if (state) state->HelpUntilIdle();
}

void ktTaskPool::WaitUntilIdle() {
    if (state) state->WaitUntilIdle();
}

uint32_t ktTaskPool::ThreadCount() const { return state ? state->threadCount.load() : 0; }

uint32_t ktTaskPool::RunningTask(uint32_t index) const {
    return state && index < ktMaxWorkers ? state->runningTask[index].load(std::memory_order_relaxed) : 0;
}

uint32_t ktTaskPool::FinishedTask(uint32_t index) const {
    return state && index < ktMaxWorkers ? state->finishedTask[index].load(std::memory_order_relaxed) : 0;
}

int32_t ktTaskPool::AliveCount() const { return state ? state->aliveCount.load() : 0; }
