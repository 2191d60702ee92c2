#include "platform/thread.h"

#include "platform/host.h"
#include "platform/sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <memory>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

std::atomic<uint64_t> handled{0};
std::atomic<uint64_t> handledElsewhere{0};
pthread_t home; // the thread of the tests

void Handle(int) {
    ++handled;
    if (!pthread_equal(pthread_self(), home)) ++handledElsewhere;
}

bool IsBlocked(int signal) {
    sigset_t mask;
    return pthread_sigmask(SIG_BLOCK, nullptr, &mask) == 0 && sigismember(&mask, signal) == 1;
}

/// A handler for SIGUSR1, and threads that run and threads that wait, none of which must see it.
class SignalsBesideThreads : public testing::Test {
protected:
    void SetUp() override {
        home = pthread_self();
        handled = handledElsewhere = 0;
        struct sigaction action = {};
        action.sa_handler = Handle;
        ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
        for (size_t i = 0; i < threads.size(); ++i) {
            ASSERT_TRUE(threads[i].Start(i % 2 == 0 ? Turn : Wait, this));
            begun.Wait();
        }
    }
    void TearDown() override {
        end.Set();
        for (ktThread &thread : threads) thread.Join();
        sigaction(SIGUSR1, &before, nullptr);
    }

    static void Turn(void *argument) {
        auto &self = *static_cast<SignalsBesideThreads *>(argument);
        self.begun.Release();
        while (!self.end.IsSet()) YieldThread();
    }
    static void Wait(void *argument) {
        auto &self = *static_cast<SignalsBesideThreads *>(argument);
        self.begun.Release();
        self.end.Wait();
    }

    ktSemaphore begun{0, 4};
    ktEvent end;
    std::vector<ktThread> threads{4};
    struct sigaction before = {};
};

} // namespace

TEST_F(SignalsBesideThreads, OneToTheProcessIsHandledHereBeforeTheCallReturns) {
    for (uint64_t i = 1; i <= 1000; ++i) {
        ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
        ASSERT_EQ(handled, i);
    }
    EXPECT_EQ(raise(SIGUSR1), 0);
    EXPECT_EQ(handled, 1001u);
    EXPECT_EQ(handledElsewhere, 0u);
}

// As in a handler that passes its own signal on: nobody else may take it meanwhile.
TEST_F(SignalsBesideThreads, OneThatIsBlockedHereWaitsUntilItIsNot) {
    sigset_t set, old;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR1);
    for (uint64_t i = 1; i <= 20; ++i) {
        ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &set, &old), 0);
        ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
        SleepMilliseconds(1);
        EXPECT_EQ(handled, i - 1);
        ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &old, nullptr), 0);
        ASSERT_EQ(handled, i);
    }
    EXPECT_EQ(handledElsewhere, 0u);
}

TEST(Thread, ItsOwnFaultsReachTheHandler) {
    const auto faultOnAThread = [] {
        void *page = mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        signal(SIGSEGV, [](int) { _exit(7); });
        ktThread thread;
        if (page == MAP_FAILED ||
            !thread.Start([](void *at) { *static_cast<volatile char *>(at) = 1; }, page))
            _exit(1);
        thread.Join();
        _exit(2);
    };
    EXPECT_EXIT(faultOnAThread(), testing::ExitedWithCode(7), "");
}

TEST(Thread, LeavesTheSignalsOfItsStarterAsTheyWere) {
    sigset_t set, old;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR2);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &set, &old), 0);
    bool blockedInside = false;
    ktThread thread;
    EXPECT_TRUE(
        thread.Start([](void *seen) { *static_cast<bool *>(seen) = IsBlocked(SIGUSR1); }, &blockedInside));
    thread.Join();
    EXPECT_TRUE(blockedInside);
    EXPECT_TRUE(IsBlocked(SIGUSR2));
    EXPECT_FALSE(IsBlocked(SIGUSR1));
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &old, nullptr), 0);
}

TEST(Thread, ThatTheSystemRefusesIsNotStartedAndLeavesTheReason) {
    pthread_attr_t usual, huge;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    ASSERT_EQ(pthread_getattr_default_np(&huge), 0);
    // No address space has room for such a stack.
    ASSERT_EQ(pthread_attr_setstacksize(&huge, SIZE_MAX / 4 & ~size_t(0xFFFF)), 0);
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    ktThread thread;
    const bool started = thread.Start([](void *) {}, nullptr);
    const uint32_t reason = LastSystemError();
    ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
    pthread_attr_destroy(&huge);
    pthread_attr_destroy(&usual);
    EXPECT_FALSE(started);
    EXPECT_EQ(reason, uint32_t(EAGAIN));
    EXPECT_FALSE(thread.IsStarted());
    EXPECT_EQ(thread.Id(), 0u);
    thread.Join(); // nothing to wait for
    EXPECT_FALSE(IsBlocked(SIGUSR1));
    ASSERT_TRUE(thread.Start([](void *) {}, nullptr)); // once there is room again
    thread.Join();
}
