#include "platform/sync.h"

#include "platform/clock.h"
#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr uint32_t longEnough = 20; // milliseconds in which a thread that could go on would have

/// Runs `work` on another thread and waits for it.
void OnAnotherThread(const std::function<void()> &work) { std::thread(work).join(); }

} // namespace

TEST(CriticalSection, TheOwnerMayEnterAgain) {
    ktCriticalSection section;
    section.Enter();
    section.Enter();
    EXPECT_TRUE(section.TryEnter());
    section.Leave();
    section.Leave();
    OnAnotherThread([&] { EXPECT_FALSE(section.TryEnter()); });
    section.Leave();
    OnAnotherThread([&] {
        EXPECT_TRUE(section.TryEnter());
        section.Leave();
    });
}

TEST(CriticalSection, TryEnterNeitherSpinsNorWaits) {
    ktCriticalSection section(0xFFFFFFFF); // a spin of that length would last minutes
    section.Enter();
    OnAnotherThread([&] {
        const uint64_t start = SystemClock().Milliseconds();
        EXPECT_FALSE(section.TryEnter());
        EXPECT_LT(SystemClock().Milliseconds() - start, 1000u);
    });
    section.Leave();
}

TEST(CriticalSection, KeepsThreadsApartWithAndWithoutSpinning) {
    for (const uint32_t spins : {0u, 100000u}) {
        ktCriticalSection section(spins);
        uint64_t plain = 0; // not atomic: a hole in the exclusion loses counts, and is a race
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int k = 0; k < 10000; ++k) {
                    ktLockGuard guard(section);
                    ktLockGuard again(section);
                    ++plain;
                }
            });
        }
        for (std::thread &thread : threads) thread.join();
        EXPECT_EQ(plain, 40000u);
    }
}

TEST(CriticalSection, WakesEverySleeper) {
    ktCriticalSection section;
    std::atomic<int> entered{0};
    section.Enter();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            ktLockGuard guard(section);
            ++entered;
        });
    }
    SleepMilliseconds(longEnough);
    EXPECT_EQ(entered, 0);
    section.Leave();
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(entered, 8);
}

TEST(CriticalSection, TryEnterUnderLoadKeepsThreadsApart) {
    ktCriticalSection section(100);
    uint64_t plain = 0;
    std::atomic<uint64_t> expected{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int k = 0; k < 5000; ++k) {
                if (i % 2 == 0) {
                    section.Enter();
                } else if (!section.TryEnter()) {
                    continue;
                }
                ++plain;
                ++expected;
                section.Leave();
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(plain, expected);
    EXPECT_GE(plain, 10000u);
}

TEST(Semaphore, StartsWithItsInitialCount) {
    ktSemaphore semaphore(2, 5);
    EXPECT_TRUE(semaphore.WaitFor(0));
    EXPECT_TRUE(semaphore.WaitFor(0));
    EXPECT_FALSE(semaphore.WaitFor(0));
}

TEST(Semaphore, RefusesToPassItsMaximum) {
    ktSemaphore semaphore(3, 5);
    EXPECT_FALSE(semaphore.Release(3));
    EXPECT_TRUE(semaphore.Release(2));
    EXPECT_FALSE(semaphore.Release());
    EXPECT_FALSE(semaphore.Release(0xFFFFFFFF));
    int taken = 0;
    while (semaphore.WaitFor(0)) ++taken;
    EXPECT_EQ(taken, 5);
}

TEST(Semaphore, WaitForGivesUpAfterItsTime) {
    ktSemaphore semaphore(0, 1);
    const uint64_t start = SystemClock().Nanoseconds();
    EXPECT_FALSE(semaphore.WaitFor(longEnough));
    EXPECT_GE(SystemClock().Nanoseconds() - start, uint64_t(longEnough) * 1000000);
}

TEST(Semaphore, OneReleaseWakesSeveralWaiters) {
    ktSemaphore semaphore(0, 10);
    std::atomic<int> through{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            semaphore.Wait();
            ++through;
        });
    }
    SleepMilliseconds(longEnough);
    EXPECT_EQ(through, 0);
    EXPECT_TRUE(semaphore.Release(3));
    for (std::thread &thread : threads) thread.join();
    EXPECT_FALSE(semaphore.WaitFor(0));
}

TEST(Semaphore, EveryReleaseLetsExactlyOneThrough) {
    constexpr int perThread = 5000;
    ktSemaphore semaphore(0, 1000000);
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < perThread; ++k) semaphore.Wait();
        });
        threads.emplace_back([&] {
            for (int k = 0; k < perThread; ++k) EXPECT_TRUE(semaphore.Release());
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_FALSE(semaphore.WaitFor(0));
}

TEST(Semaphore, MayBeDestroyedByTheThreadThatItWoke) {
    for (int i = 0; i < 500; ++i) {
        auto semaphore = std::make_unique<ktSemaphore>(0, 1);
        std::thread releaser([raw = semaphore.get()] { raw->Release(); });
        semaphore->Wait();
        semaphore.reset();
        releaser.join();
    }
}

TEST(Event, StaysSetUntilReset) {
    ktEvent event;
    EXPECT_FALSE(event.IsSet());
    EXPECT_FALSE(event.WaitFor(0));
    event.Set();
    event.Set();
    event.Wait();
    EXPECT_TRUE(event.WaitFor(0));
    EXPECT_TRUE(event.IsSet());
    event.Reset();
    EXPECT_FALSE(event.IsSet());
    EXPECT_FALSE(event.WaitFor(1));
}

TEST(Event, WakesAllWhoWaitAndHandsOverWhatWasWritten) {
    ktEvent event;
    int written = 0; // plain: the event orders it
    std::atomic<int> through{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            if (i % 2 == 0) {
                event.Wait();
            } else {
                EXPECT_TRUE(event.WaitFor(60000));
            }
            EXPECT_EQ(written, 7);
            ++through;
        });
    }
    SleepMilliseconds(longEnough);
    EXPECT_EQ(through, 0);
    written = 7;
    event.Set();
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(through, 4);
}

TEST(RwLock, ReadersShareAWriterIsAlone) {
    ktRwLock lock;
    std::atomic<bool> wrote{false};
    lock.LockShared();
    OnAnotherThread([&] { ktSharedGuard guard(lock); });
    std::thread writer([&] {
        ktExclusiveGuard guard(lock);
        wrote = true;
    });
    SleepMilliseconds(longEnough);
    EXPECT_FALSE(wrote);
    lock.UnlockShared();
    writer.join();
    EXPECT_TRUE(wrote);
}

TEST(RwLock, AReaderEntersAgainWhileAWriterWaits) {
    ktRwLock lock;
    std::atomic<bool> wrote{false};
    lock.LockShared();
    std::thread writer([&] {
        ktExclusiveGuard guard(lock);
        wrote = true;
    });
    SleepMilliseconds(longEnough); // the writer waits by now
    lock.LockShared();
    EXPECT_FALSE(wrote);
    lock.UnlockShared();
    EXPECT_FALSE(wrote);
    lock.UnlockShared();
    writer.join();
    EXPECT_TRUE(wrote);
}

TEST(RwLock, AReaderWaitsForTheWriterInside) {
    ktRwLock lock;
    std::atomic<bool> read{false};
    lock.LockExclusive();
    std::thread reader([&] {
        ktSharedGuard guard(lock);
        read = true;
    });
    SleepMilliseconds(longEnough);
    EXPECT_FALSE(read);
    lock.UnlockExclusive();
    reader.join();
    EXPECT_TRUE(read);
}

TEST(RwLock, WritersAndReadersUnderLoadSeeWholeChanges) {
    ktRwLock lock;
    uint64_t first = 0; // plain, always equal outside a writer
    uint64_t second = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 3000; ++k) {
                ktExclusiveGuard guard(lock);
                ++first;
                ++second;
            }
        });
        threads.emplace_back([&] {
            for (int k = 0; k < 3000; ++k) {
                ktSharedGuard guard(lock);
                ktSharedGuard again(lock);
                ASSERT_EQ(first, second);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(first, 6000u);
    EXPECT_EQ(second, 6000u);
}

TEST(Thread, RunsItsEntryUnderTheIdThatTheStarterSees) {
    struct Seen {
        std::atomic<uint64_t> id{0};
    } seen;
    ktThread thread;
    EXPECT_FALSE(thread.IsStarted());
    EXPECT_EQ(thread.Id(), 0u);
    ASSERT_TRUE(
        thread.Start([](void *argument) { static_cast<Seen *>(argument)->id = CurrentThreadId(); }, &seen));
    EXPECT_TRUE(thread.IsStarted());
    const uint64_t id = thread.Id();
    EXPECT_NE(id, 0u);
    EXPECT_NE(id, CurrentThreadId());
    EXPECT_FALSE(thread.Start([](void *) {}, nullptr)); // one thread at a time
    thread.Join();
    EXPECT_EQ(seen.id, id);
    EXPECT_FALSE(thread.IsStarted());
    EXPECT_EQ(thread.Id(), 0u);
    thread.Join(); // nothing to wait for
}

TEST(Thread, MovesWithItsThread) {
    ktEvent go;
    ktThread first;
    ASSERT_TRUE(first.Start([](void *argument) { static_cast<ktEvent *>(argument)->Wait(); }, &go));
    const uint64_t id = first.Id();
    ktThread second(std::move(first));
    ktThread third;
    third = std::move(second);
    EXPECT_EQ(third.Id(), id);
    go.Set();
    third.Join();
}

TEST(Thread, RefusesANullEntry) {
    ktThread thread;
    EXPECT_FALSE(thread.Start(nullptr, nullptr));
}

TEST(Thread, IdsAreUniqueAndStay) {
    const uint64_t own = CurrentThreadId();
    EXPECT_NE(own, 0u);
    EXPECT_EQ(own, CurrentThreadId());
    uint64_t other = 0;
    OnAnotherThread([&] { other = CurrentThreadId(); });
    EXPECT_NE(other, 0u);
    EXPECT_NE(other, own);
}

TEST(Clock, GoesForwardAndSleepsItsTime) {
    ktClock &clock = SystemClock();
    const uint64_t milliseconds = clock.Milliseconds();
    const uint64_t start = clock.Nanoseconds();
    clock.Sleep(5);
    SleepMilliseconds(5);
    YieldThread();
    EXPECT_GE(clock.Nanoseconds() - start, 10000000u);
    EXPECT_GE(clock.Milliseconds(), milliseconds + 9);
}
