#pragma once

#include <cstdint>
#include <memory>

class ktThread;

/// One unit of work; a plain record.
struct ktTask {
    using Entry = uint64_t (*)(ktTask *);

    Entry entry = nullptr;
    uint64_t argCount = 0;         ///< words of `args` in use
    uint64_t args[16] = {};        ///< the task's own words
    uint64_t *resultOut = nullptr; ///< receives the entry's return value; may be null
    uint64_t *statusOut = nullptr; ///< set to ktTaskDone when the entry has finished; may be null
    uint64_t reserved = 0;         ///< kept zero
    uint32_t id = 0;               ///< given by the pool at submission, from 1
    bool autoFree = false;         ///< the worker frees the record (malloc'd) after the run
};

constexpr uint64_t ktTaskDone = 10000;
constexpr uint32_t ktMaxWorkers = 128;
constexpr uint32_t ktMaxQueuedTasks = 100000;

/// Starts a thread; works like ktThread::Start. Replaceable in tests.
using ktThreadStart = bool (*)(ktThread &thread, void (*entry)(void *), void *argument);

/// ktThread::Start itself.
bool ktStartThread(ktThread &thread, void (*entry)(void *), void *argument);

/// A fixed set of workers with one first-in-first-out queue. Start, Stop and destruction belong to
/// one thread, and to a time when no other thread uses the pool; tasks may run meanwhile.
class ktTaskPool {
public:
    /// `lastId`: the id before that of the first task; not 0 only in tests of the last ids.
    explicit ktTaskPool(uint32_t lastId = 0, ktThreadStart start = ktStartThread);
    /// Stops the pool.
    ~ktTaskPool();
    ktTaskPool(const ktTaskPool &) = delete;
    ktTaskPool &operator=(const ktTaskPool &) = delete;

    /// Starts up to 128 workers (more are cut to 128), fewer when the system refuses some threads. False for
    /// 0, and with the pool stopped when no thread could be made. A stopped pool is not started again.
    bool Start(uint32_t workerCount);
    /// Queues `task`. False for null, a null entry, when 100000 tasks wait, and when the pool is not
    /// started or has been stopped; a refused task is not freed. `idOut` may be null and receives the
    /// id, 0 when refused. A record that is not freed by the worker is the caller's again once its
    /// status is stored or the pool is idle. Any thread, tasks included.
    bool Submit(ktTask *task, uint32_t *idOut);
    /// Ends the workers and waits for them, after the tasks that are still queued. Safe when not started.
    void Stop();
    /// True while a worker runs or a task waits: never false between Submit and the end of the task.
    /// Any thread.
    bool IsBusy();
    /// Returns as soon as the pool was seen idle. Any thread but a worker of this pool.
    void WaitUntilIdle();
    /// The same, but runs queued tasks on the calling thread as long as there are any.
    void HelpUntilIdle();
    uint32_t ThreadCount() const;
    /// For diagnosis: id of the task that worker `index` began or finished last.
    uint32_t RunningTask(uint32_t index) const;
    uint32_t FinishedTask(uint32_t index) const;
    /// For diagnosis: workers alive.
    int32_t AliveCount() const;

private:
    struct State; // exists from Start to destruction
    std::unique_ptr<State> state;
    uint32_t firstLastId;
    ktThreadStart startThread;
};
