#include "app/task_pool.h"

#include "platform/clock.h"
#include "platform/sync.h"
#include "platform/thread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace {

uint64_t ToWord(void *pointer) { return reinterpret_cast<uint64_t>(pointer); }

template <typename T>
T &FromWord(const ktTask *task, int index = 0) {
    return *reinterpret_cast<T *>(task->args[index]);
}

ktTask MakeTask(ktTask::Entry entry, void *argument = nullptr) {
    ktTask task;
    task.entry = entry;
    task.argCount = 1;
    task.args[0] = ToWord(argument);
    return task;
}

uint64_t CountUp(ktTask *task) {
    ++FromWord<std::atomic<uint64_t>>(task);
    return 0;
}

/// Keeps a worker inside a task until it is let go.
struct Gate {
    ktEvent entered;
    ktEvent go;
};

uint64_t PassGate(ktTask *task) {
    Gate &gate = FromWord<Gate>(task);
    gate.entered.Set();
    gate.go.Wait();
    return 0;
}

/// Calls of FailingStart so far, and those of them that start a thread, as bits.
uint32_t starts = 0;
uint32_t goodStarts = 0;

bool FailingStart(ktThread &thread, ktThread::Entry entry, void *argument) {
    return (goodStarts >> starts++ & 1) != 0 && thread.Start(entry, argument);
}

} // namespace

TEST(TaskPool, StartWithZeroWorkersFailsAndLeavesNothingRunning) {
    ktTaskPool pool;
    EXPECT_FALSE(pool.Start(0));
    EXPECT_EQ(pool.ThreadCount(), 0u);
    EXPECT_EQ(pool.AliveCount(), 0);
    EXPECT_FALSE(pool.IsBusy());
    pool.Stop();
}

TEST(TaskPool, StartsTheWorkersThatWereAskedFor) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(3));
    EXPECT_EQ(pool.ThreadCount(), 3u);
    while (pool.AliveCount() != 3) SleepMilliseconds(1);
    pool.Stop();
    EXPECT_EQ(pool.ThreadCount(), 0u);
    EXPECT_EQ(pool.AliveCount(), 0);
}

TEST(TaskPool, MoreThan128WorkersAreCutTo128) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(0xFFFFFFFF));
    EXPECT_EQ(pool.ThreadCount(), 128u);
    pool.Stop();
}

TEST(TaskPool, IsStartedOnlyOnce) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(1));
    EXPECT_FALSE(pool.Start(1));
    EXPECT_EQ(pool.ThreadCount(), 1u);
    pool.Stop();
    EXPECT_FALSE(pool.Start(1));
}

TEST(TaskPool, WorkersThatCannotBeMadeAreLeftOut) {
    starts = 0;
    goodStarts = 0b1010;
    std::atomic<uint64_t> runs{0};
    std::vector<ktTask> tasks(100, MakeTask(CountUp, &runs));
    ktTaskPool pool(0, FailingStart);
    ASSERT_TRUE(pool.Start(5));
    EXPECT_EQ(starts, 5u);
    EXPECT_EQ(pool.ThreadCount(), 2u);
    while (pool.AliveCount() != 2) SleepMilliseconds(1);
    for (ktTask &task : tasks) ASSERT_TRUE(pool.Submit(&task, nullptr));
    pool.WaitUntilIdle();
    EXPECT_EQ(runs, 100u);
    pool.Stop();
    EXPECT_EQ(pool.ThreadCount(), 0u);
    EXPECT_EQ(pool.AliveCount(), 0);
}

TEST(TaskPool, WithoutAnyWorkerTheStartFailsAndThePoolIsStopped) {
    starts = 0;
    goodStarts = 0;
    std::atomic<uint64_t> runs{0};
    ktTask task = MakeTask(CountUp, &runs);
    ktTaskPool pool(0, FailingStart);
    EXPECT_FALSE(pool.Start(3));
    EXPECT_EQ(starts, 3u);
    EXPECT_EQ(pool.ThreadCount(), 0u);
    EXPECT_EQ(pool.AliveCount(), 0);
    uint32_t id = 77;
    EXPECT_FALSE(pool.Submit(&task, &id));
    EXPECT_EQ(id, 0u);
    EXPECT_FALSE(pool.IsBusy());
    pool.WaitUntilIdle();
    EXPECT_FALSE(pool.Start(3));
    EXPECT_EQ(starts, 3u);
    EXPECT_EQ(runs, 0u);
}

TEST(TaskPool, APoolThatIsNotRunningAcceptsNothing) {
    std::atomic<uint64_t> runs{0};
    ktTask task = MakeTask(CountUp, &runs);
    uint32_t id = 77;
    ktTaskPool pool;
    EXPECT_FALSE(pool.Submit(&task, &id));
    EXPECT_EQ(id, 0u);
    pool.Stop();
    pool.WaitUntilIdle();
    ASSERT_TRUE(pool.Start(1));
    pool.Stop();
    pool.Stop();
    id = 77;
    EXPECT_FALSE(pool.Submit(&task, &id));
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(runs, 0u);
    EXPECT_FALSE(pool.IsBusy());
    pool.WaitUntilIdle();
}

TEST(TaskPool, RefusesANullTaskAndATaskWithoutEntry) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(1));
    uint32_t id = 77;
    EXPECT_FALSE(pool.Submit(nullptr, &id));
    EXPECT_EQ(id, 0u);
    EXPECT_FALSE(pool.Submit(nullptr, nullptr));
    ktTask task;
    id = 77;
    EXPECT_FALSE(pool.Submit(&task, &id));
    EXPECT_EQ(id, 0u);
}

TEST(TaskPool, RunsTasksInTheOrderOfSubmission) {
    std::vector<uint64_t> order;
    std::vector<ktTask> tasks(100);
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(1));
    for (uint64_t i = 0; i < tasks.size(); ++i) {
        tasks[i] = MakeTask(
            [](ktTask *task) {
                FromWord<std::vector<uint64_t>>(task).push_back(task->args[1]);
                return uint64_t(0);
            },
            &order);
        tasks[i].args[1] = i;
        uint32_t id = 0;
        EXPECT_TRUE(pool.Submit(&tasks[i], &id));
        EXPECT_EQ(id, i + 1); // from 1 on
        EXPECT_EQ(id, tasks[i].id);
    }
    pool.WaitUntilIdle();
    ASSERT_EQ(order.size(), tasks.size());
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(TaskPool, StoresTheResultAndTheStatus) {
    uint64_t result = 0;
    uint64_t status = 0;
    ktTask task = MakeTask([](ktTask *self) { return self->args[0] + self->argCount; });
    task.args[0] = 41;
    task.resultOut = &result;
    task.statusOut = &status;
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(1));
    EXPECT_TRUE(pool.Submit(&task, nullptr));
    pool.WaitUntilIdle();
    EXPECT_EQ(result, 42u);
    EXPECT_EQ(status, 10000u);
    EXPECT_EQ(task.reserved, 0u);
}

TEST(TaskPool, TheRecordIsTheSubmittersOnceTheStatusIsStored) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(2));
    for (int i = 0; i < 200; ++i) {
        uint64_t status = 0;
        auto task = std::make_unique<ktTask>(MakeTask([](ktTask *) { return uint64_t(0); }));
        task->statusOut = &status;
        ASSERT_TRUE(pool.Submit(task.get(), nullptr));
        while (std::atomic_ref(status).load(std::memory_order_acquire) != ktTaskDone) YieldThread();
    }
    pool.WaitUntilIdle();
}

TEST(TaskPool, TheStatusIsWrittenBeforeTheRecordIsFreed) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(2));
    constexpr int count = 100;
    std::vector<uint64_t> statuses(count);
    for (uint64_t &status : statuses) {
        auto *task = static_cast<ktTask *>(std::malloc(sizeof(ktTask)));
        ASSERT_NE(task, nullptr);
        *task = MakeTask([](ktTask *) { return uint64_t(5); });
        // The result goes into the record itself: a write after the record has gone would be one to freed
        // memory.
        task->resultOut = &task->args[1];
        task->statusOut = &status;
        task->autoFree = true;
        ASSERT_TRUE(pool.Submit(task, nullptr));
    }
    pool.WaitUntilIdle();
    for (const uint64_t status : statuses) EXPECT_EQ(status, 10000u);
}

TEST(TaskPool, AStatusInsideAFreedRecordIsStillWrittenBefore) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(1));
    auto *task = static_cast<ktTask *>(std::malloc(sizeof(ktTask)));
    ASSERT_NE(task, nullptr);
    *task = MakeTask([](ktTask *) { return uint64_t(0); });
    task->statusOut = &task->args[2];
    task->autoFree = true;
    EXPECT_TRUE(pool.Submit(task, nullptr));
    pool.WaitUntilIdle(); // the address sanitizer judges
    EXPECT_FALSE(pool.IsBusy());
}

TEST(TaskPool, TheTaskBehind100000QueuedOnesIsRefused) {
    Gate gate;
    std::atomic<uint64_t> runs{0};
    ktTask first = MakeTask(PassGate, &gate);
    std::vector<ktTask> tasks(ktMaxQueuedTasks, MakeTask(CountUp, &runs));
    ktTask refused = MakeTask(CountUp, &runs);
    refused.autoFree = true; // not from the heap: freeing it would be noticed
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(1));
    ASSERT_TRUE(pool.Submit(&first, nullptr));
    gate.entered.Wait();
    for (ktTask &task : tasks) ASSERT_TRUE(pool.Submit(&task, nullptr));
    for (int i = 0; i < 3; ++i) { // beyond the semaphore's maximum as well
        uint32_t id = 77;
        EXPECT_FALSE(pool.Submit(&refused, &id));
        EXPECT_EQ(id, 0u);
    }
    gate.go.Set();
    pool.WaitUntilIdle();
    EXPECT_EQ(runs, uint64_t(ktMaxQueuedTasks));
    uint32_t id = 0;
    ktTask next = MakeTask(CountUp, &runs);
    EXPECT_TRUE(pool.Submit(&next, &id)); // a refused task used up no id
    EXPECT_EQ(id, ktMaxQueuedTasks + 2);
    pool.WaitUntilIdle();
    EXPECT_EQ(runs, uint64_t(ktMaxQueuedTasks) + 1);
}

TEST(TaskPool, AWakeUpWithoutATaskMakesAnEmptyTurn) {
    Gate gate;
    std::atomic<uint64_t> runs{0};
    ktTask first = MakeTask(PassGate, &gate);
    std::vector<ktTask> tasks(ktMaxQueuedTasks, MakeTask(CountUp, &runs));
    ktTask refused = MakeTask(CountUp, &runs);
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(2));
    ASSERT_TRUE(pool.Submit(&first, nullptr));
    gate.entered.Wait();
    // The second worker takes tasks all the while, so refusals come with the semaphore below its maximum.
    uint64_t accepted = 0;
    for (ktTask &task : tasks) accepted += pool.Submit(&task, nullptr) ? 1 : 0;
    for (int i = 0; i < 1000; ++i) {
        if (pool.Submit(&refused, nullptr)) {
            ++accepted;
            break; // the record is the pool's now
        }
    }
    gate.go.Set();
    pool.WaitUntilIdle();
    EXPECT_EQ(runs, accepted);
    EXPECT_FALSE(pool.IsBusy());
}

TEST(TaskPool, RefusalsWhileTasksAreTakenOneByOneLoseNoWakeUp) {
    constexpr uint64_t extra = 2000;
    struct Steps {
        ktSemaphore go{0, ktMaxQueuedTasks + extra + 1};
        std::atomic<uint64_t> runs{0};
    } steps;
    // One record for all: as it has nothing stored, it may stand in the queue more than once.
    ktTask step = MakeTask(
        [](ktTask *self) {
            FromWord<Steps>(self).go.Wait();
            ++FromWord<Steps>(self).runs;
            return uint64_t(0);
        },
        &steps);
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(1));
    uint64_t accepted = 0;
    uint64_t refused = 0;
    while (pool.Submit(&step, nullptr)) ++accepted;
    EXPECT_GE(accepted, uint64_t(ktMaxQueuedTasks));
    // The queue is full. Each step makes room for one task, at a moment when submissions are being refused.
    for (uint64_t i = 0; i < extra; ++i) {
        steps.go.Release();
        for (; !pool.Submit(&step, nullptr); ++refused) YieldThread();
        ++accepted;
    }
    EXPECT_GT(refused, 0u);
    steps.go.Release(ktMaxQueuedTasks + 1);
    pool.WaitUntilIdle();
    EXPECT_EQ(steps.runs, accepted);
    EXPECT_TRUE(pool.Submit(&step, nullptr));
    steps.go.Release();
    pool.WaitUntilIdle();
    EXPECT_EQ(steps.runs, accepted + 1);
}

TEST(TaskPool, ATaskMaySubmitTasks) {
    struct Chain {
        ktTaskPool pool;
        std::vector<ktTask> tasks;
        uint64_t next = 0; // one worker: no two tasks at once
        uint64_t accepted = 0;
    } chain;
    chain.tasks.resize(50, MakeTask(
                               [](ktTask *task) {
                                   Chain &self = FromWord<Chain>(task);
                                   if (++self.next < self.tasks.size()) {
                                       self.accepted +=
                                           self.pool.Submit(&self.tasks[self.next], nullptr) ? 1 : 0;
                                   }
                                   return uint64_t(0);
                               },
                               &chain));
    ASSERT_TRUE(chain.pool.Start(1));
    ASSERT_TRUE(chain.pool.Submit(&chain.tasks[0], nullptr));
    chain.pool.WaitUntilIdle();
    EXPECT_EQ(chain.next, 50u);
    EXPECT_EQ(chain.accepted, 49u);
}

TEST(TaskPool, StopWithIdleWorkersReturnsAtOnce) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(4));
    while (pool.AliveCount() != 4) SleepMilliseconds(1);
    pool.WaitUntilIdle();
    const uint64_t start = SystemClock().Milliseconds();
    pool.Stop();
    EXPECT_LT(SystemClock().Milliseconds() - start, 1000u);
    EXPECT_EQ(pool.AliveCount(), 0);
}

TEST(TaskPool, StopRightAfterStartEndsEveryWorker) {
    for (int i = 0; i < 100; ++i) {
        ktTaskPool pool;
        ASSERT_TRUE(pool.Start(4));
        pool.Stop();
        ASSERT_EQ(pool.AliveCount(), 0);
    }
}

TEST(TaskPool, StopLetsQueuedTasksRunFirst) {
    std::atomic<uint64_t> runs{0};
    std::vector<ktTask> tasks(1000, MakeTask(CountUp, &runs));
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(2));
    for (ktTask &task : tasks) ASSERT_TRUE(pool.Submit(&task, nullptr));
    pool.Stop();
    EXPECT_EQ(runs, 1000u);
}

TEST(TaskPool, IsBusyFromSubmissionToTheEndOfTheTask) {
    // Right after Start on purpose: workers that do not wait yet must not make the pool look idle.
    for (int i = 0; i < 300; ++i) {
        std::atomic<uint64_t> runs{0};
        ktTask task = MakeTask(CountUp, &runs);
        ktTaskPool pool;
        ASSERT_TRUE(pool.Start(2));
        ASSERT_TRUE(pool.Submit(&task, nullptr));
        while (pool.IsBusy()) YieldThread();
        ASSERT_EQ(runs, 1u);
    }
}

TEST(TaskPool, WaitUntilIdleSeesWhatTheTasksWrote) {
    std::vector<uint64_t> plain(64); // not atomic: the wait orders it
    std::vector<ktTask> tasks(plain.size());
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(4));
    for (int round = 1; round <= 50; ++round) {
        for (size_t i = 0; i < tasks.size(); ++i) {
            tasks[i] = MakeTask(
                [](ktTask *task) {
                    ++FromWord<uint64_t>(task);
                    return uint64_t(0);
                },
                &plain[i]);
            ASSERT_TRUE(pool.Submit(&tasks[i], nullptr));
        }
        pool.WaitUntilIdle();
        for (const uint64_t value : plain) ASSERT_EQ(value, uint64_t(round));
    }
}

TEST(TaskPool, SeveralThreadsMayWaitUntilIdle) {
    Gate gate;
    ktTask task = MakeTask(PassGate, &gate);
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(2));
    ASSERT_TRUE(pool.Submit(&task, nullptr));
    std::atomic<int> through{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] {
            pool.WaitUntilIdle();
            ++through;
        });
    }
    gate.entered.Wait();
    SleepMilliseconds(20);
    EXPECT_EQ(through, 0);
    EXPECT_TRUE(pool.IsBusy());
    gate.go.Set();
    for (std::thread &waiter : waiters) waiter.join();
    EXPECT_EQ(through, 3);
    EXPECT_FALSE(pool.IsBusy());
}

TEST(TaskPool, NoWaiterReturnsBeforeItsOwnTaskHasRun) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(1));
    std::atomic<int> early{0};
    const auto submitAndWait = [&] {
        for (int round = 0; round < 20000; ++round) {
            std::atomic<bool> ran{false};
            ktTask task = MakeTask(
                [](ktTask *self) -> uint64_t {
                    *reinterpret_cast<std::atomic<bool> *>(self->args[0]) = true;
                    return 0;
                },
                &ran);
            if (!pool.Submit(&task, nullptr)) ++early;
            pool.WaitUntilIdle();
            if (ran) continue;
            ++early;
            while (!ran) YieldThread();
        }
    };
    std::thread first(submitAndWait);
    std::thread second(submitAndWait);
    first.join();
    second.join();
    EXPECT_EQ(early, 0);
}

TEST(TaskPool, WaitUntilIdleIsPrompt) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(1));
    std::vector<uint64_t> delays;
    uint64_t finished = 0;
    for (int i = 0; i < 51; ++i) {
        ktTask task = MakeTask(
            [](ktTask *self) {
                SleepMilliseconds(1); // so that the other thread really waits
                FromWord<uint64_t>(self) = SystemClock().Nanoseconds();
                return uint64_t(0);
            },
            &finished);
        ASSERT_TRUE(pool.Submit(&task, nullptr));
        pool.WaitUntilIdle();
        delays.push_back(SystemClock().Nanoseconds() - finished);
    }
    std::sort(delays.begin(), delays.end());
    RecordProperty("medianMicroseconds", static_cast<int>(delays[25] / 1000));
    EXPECT_LT(delays[25], 1000000u); // the median: a busy machine may delay single ones
}

TEST(TaskPool, RecordsTheTaskBegunAndFinishedLast) {
    Gate gate;
    std::atomic<uint64_t> runs{0};
    ktTask first = MakeTask(CountUp, &runs);
    ktTask second = MakeTask(PassGate, &gate);
    ktTaskPool pool;
    EXPECT_EQ(pool.RunningTask(0), 0u);
    ASSERT_TRUE(pool.Start(1));
    ASSERT_TRUE(pool.Submit(&first, nullptr));
    pool.WaitUntilIdle();
    EXPECT_EQ(pool.RunningTask(0), 1u);
    EXPECT_EQ(pool.FinishedTask(0), 1u);
    ASSERT_TRUE(pool.Submit(&second, nullptr));
    gate.entered.Wait();
    EXPECT_EQ(pool.RunningTask(0), 2u);
    EXPECT_EQ(pool.FinishedTask(0), 1u);
    gate.go.Set();
    pool.WaitUntilIdle();
    EXPECT_EQ(pool.FinishedTask(0), 2u);
    EXPECT_EQ(pool.RunningTask(ktMaxWorkers), 0u);
    EXPECT_EQ(pool.FinishedTask(ktMaxWorkers), 0u);
}

TEST(TaskPool, NumbersStartAtOneAgainAfterTheLastOne) {
    std::atomic<uint64_t> runs{0};
    ktTaskPool pool(0xFFFFFFFD);
    ASSERT_TRUE(pool.Start(1));
    std::vector<uint32_t> ids;
    std::vector<ktTask> tasks(4, MakeTask(CountUp, &runs));
    for (ktTask &task : tasks) {
        uint32_t id = 0;
        ASSERT_TRUE(pool.Submit(&task, &id));
        ids.push_back(id);
        // The submission that starts again waits first, until nothing with an old number is left.
        if (id == 1) {
            EXPECT_GE(runs, 2u);
        }
    }
    EXPECT_EQ(ids, (std::vector<uint32_t>{0xFFFFFFFE, 0xFFFFFFFF, 1, 2}));
    pool.WaitUntilIdle();
    EXPECT_EQ(runs, 4u);
}

TEST(TaskPool, NumbersStartAgainFromInsideATask) {
    struct Pair {
        ktTaskPool pool{0xFFFFFFFE};
        ktTask second;
        std::atomic<uint64_t> runs{0};
        uint32_t id = 0;
    } pair;
    pair.second = MakeTask(CountUp, &pair.runs);
    ktTask first = MakeTask(
        [](ktTask *task) {
            Pair &self = FromWord<Pair>(task);
            return uint64_t(self.pool.Submit(&self.second, &self.id));
        },
        &pair);
    uint64_t accepted = 0;
    first.resultOut = &accepted;
    uint32_t firstId = 0;
    ASSERT_TRUE(pair.pool.Start(1));
    ASSERT_TRUE(pair.pool.Submit(&first, &firstId));
    pair.pool.WaitUntilIdle();
    EXPECT_EQ(firstId, 0xFFFFFFFF);
    EXPECT_EQ(accepted, 1u);
    EXPECT_EQ(pair.id, 1u);
    EXPECT_EQ(pair.runs, 1u);
}

TEST(TaskPool, ManyThreadsSubmittingNeverShareANumber) {
    constexpr int perThread = 500;
    std::atomic<uint64_t> runs{0};
    ktTaskPool pool(0xFFFFFFFF - 700); // the numbers start again on the way
    ASSERT_TRUE(pool.Start(3));
    std::vector<std::vector<ktTask>> tasks(4, std::vector<ktTask>(perThread, MakeTask(CountUp, &runs)));
    std::multiset<uint32_t> ids;
    std::mutex idsLock;
    std::vector<std::thread> threads;
    for (auto &own : tasks) {
        threads.emplace_back([&] {
            for (ktTask &task : own) {
                uint32_t id = 0;
                EXPECT_TRUE(pool.Submit(&task, &id));
                std::lock_guard guard(idsLock);
                ids.insert(id);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    pool.WaitUntilIdle();
    EXPECT_EQ(runs, 4u * perThread);
    ASSERT_EQ(ids.size(), 4u * perThread);
    EXPECT_EQ(ids.count(0), 0u);
    EXPECT_EQ(std::set<uint32_t>(ids.begin(), ids.end()).size(), ids.size());
    EXPECT_EQ(ids.count(0xFFFFFFFF), 1u);
    EXPECT_EQ(ids.count(1), 1u);
}
