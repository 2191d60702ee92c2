#include "app/task_pool.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>

#include "platform/sync.h"
#include "platform/thread.h"

namespace {

/// Counts its runs by whether they are on the thread that made this.
struct Counts {
    uint64_t owner = CurrentThreadId();
    std::atomic<uint32_t> here{0};
    std::atomic<uint32_t> elsewhere{0};

    static uint64_t Run(ktTask *task) {
        auto &counts = *reinterpret_cast<Counts *>(task->args[0]);
        ++(CurrentThreadId() == counts.owner ? counts.here : counts.elsewhere);
        return 7;
    }
};

/// Holds a worker until it is let go.
struct Block {
    ktSemaphore begun{0, 1};
    ktSemaphore go{0, 1};

    static uint64_t Run(ktTask *task) {
        auto &block = *reinterpret_cast<Block *>(task->args[0]);
        block.begun.Release();
        block.go.Wait();
        return 0;
    }
    static uint64_t LetGo(ktTask *task) {
        reinterpret_cast<Block *>(task->args[0])->go.Release();
        return 0;
    }
};

ktTask TaskOf(ktTask::Entry entry, void *argument) {
    ktTask task;
    task.entry = entry;
    task.args[0] = reinterpret_cast<uint64_t>(argument);
    return task;
}

} // namespace

TEST(TaskPoolHelp, RunsQueuedTasksOnTheCallingThread) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(1));
    Block block;
    ktTask blocking = TaskOf(Block::Run, &block);
    ASSERT_TRUE(pool.Submit(&blocking, nullptr));
    block.begun.Wait();

    // The only worker is held, so all of these are run by who helps; the last one lets the worker go.
    Counts counts;
    std::array<ktTask, 5> tasks;
    uint64_t result = 0;
    uint64_t status = 0;
    for (ktTask &task : tasks) {
        task = TaskOf(Counts::Run, &counts);
        task.resultOut = &result;
        task.statusOut = &status;
        ASSERT_TRUE(pool.Submit(&task, nullptr));
    }
    ktTask last = TaskOf(Block::LetGo, &block);
    ASSERT_TRUE(pool.Submit(&last, nullptr));
    pool.HelpUntilIdle();
    EXPECT_EQ(counts.here, tasks.size());
    EXPECT_EQ(counts.elsewhere, 0u);
    EXPECT_EQ(result, 7u);
    EXPECT_EQ(status, ktTaskDone);
    EXPECT_FALSE(pool.IsBusy());
}

TEST(TaskPoolHelp, EndsOnlyWhenTheWorkersAreIdleToo) {
    ktTaskPool pool;
    ASSERT_TRUE(pool.Start(3));
    Counts counts;
    for (int round = 0; round < 200; ++round) {
        std::array<ktTask, 20> tasks;
        for (ktTask &task : tasks) {
            task = TaskOf(Counts::Run, &counts);
            ASSERT_TRUE(pool.Submit(&task, nullptr));
        }
        pool.HelpUntilIdle(); // the records go at the end of the round
        ASSERT_EQ(counts.here + counts.elsewhere, tasks.size() * static_cast<size_t>(round + 1));
    }
}

TEST(TaskPoolHelp, WithoutAStartedPoolReturnsAtOnce) {
    ktTaskPool pool;
    pool.HelpUntilIdle();
    EXPECT_FALSE(pool.IsBusy());
}
