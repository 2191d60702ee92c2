#include "symbols/lazy_value.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <new>
#include <thread>

namespace {

/// A number that counts how many of its kind there are, and whose memory can be refused.
struct Counted {
    Counted() { ++alive; }
    ~Counted() { --alive; }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;

    static void *operator new(size_t size) {
        if (isRefused) throw std::bad_alloc();
        return ::operator new(size);
    }
    static void operator delete(void *memory) { ::operator delete(memory); }

    int number = 0;
    static inline std::atomic<int> alive{0};
    static inline bool isRefused = false;
};

std::unique_ptr<Counted> Made(int number) {
    auto made = std::make_unique<Counted>();
    made->number = number;
    return made;
}

class LazyValue : public testing::Test {
protected:
    ~LazyValue() override { EXPECT_EQ(Counted::alive, 0); } // by then the value is gone as well

    static int NumberOf(const Counted *counted) { return counted ? counted->number : -1; }
    /// What two threads get that are both within `make`, each with its own number, before one goes on.
    static void GetTwice(const ktLazyValue<Counted> &value, const std::function<void(int)> &make,
                         const Counted *(&seen)[2]) {
        std::atomic<int> entered{0};
        const auto ask = [&](int who) {
            seen[who] = value.Get([&](Counted &fresh) {
                ++entered;
                while (entered < 2) std::this_thread::yield();
                make(who);
                fresh.number = 7;
            });
        };
        std::thread other(ask, 1);
        ask(0);
        other.join();
    }
};

TEST_F(LazyValue, IsMadeByTheFirstGetAndStays) {
    ktLazyValue<Counted> value;
    int calls = 0;
    const auto make = [&calls](Counted &fresh) { fresh.number = ++calls; };
    EXPECT_EQ(Counted::alive, 0);
    const Counted *first = value.Get(make);
    EXPECT_EQ(NumberOf(first), 1);
    EXPECT_EQ(value.Get(make), first);
    EXPECT_EQ(calls, 1);
}

TEST_F(LazyValue, SetReplacesAndDropMakesTheNextGetMakeAnew) {
    ktLazyValue<Counted> value;
    const auto make = [](Counted &fresh) { fresh.number = 5; };
    value.Set(Made(1));
    EXPECT_EQ(NumberOf(value.Get(make)), 1);
    value.Set(Made(2));
    EXPECT_EQ(NumberOf(value.Get(make)), 2);
    EXPECT_EQ(Counted::alive, 1);
    value.Drop();
    EXPECT_EQ(Counted::alive, 0);
    value.Drop(); // once more: nothing is there
    EXPECT_EQ(NumberOf(value.Get(make)), 5);
    value.Set(nullptr);
    EXPECT_EQ(Counted::alive, 0);
}

TEST_F(LazyValue, IsNullWhileItCannotBeFilledAndMadeByTheNextGet) {
    ktLazyValue<Counted> value;
    int calls = 0;
    const auto make = [&calls](Counted &fresh) {
        fresh.number = ++calls;
        if (calls < 3) throw std::bad_alloc();
    };
    EXPECT_EQ(value.Get(make), nullptr);
    EXPECT_EQ(Counted::alive, 0); // what was begun is gone
    EXPECT_EQ(value.Get(make), nullptr);
    EXPECT_EQ(NumberOf(value.Get(make)), 3);
    EXPECT_EQ(NumberOf(value.Get(make)), 3);
    EXPECT_EQ(calls, 3);
}

TEST_F(LazyValue, IsNullWithoutMemoryForItself) {
    ktLazyValue<Counted> value;
    int calls = 0;
    const auto make = [&calls](Counted &) { ++calls; };
    Counted::isRefused = true;
    EXPECT_EQ(value.Get(make), nullptr);
    EXPECT_EQ(calls, 0);
    Counted::isRefused = false;
    EXPECT_NE(value.Get(make), nullptr);
    EXPECT_EQ(calls, 1);
}

TEST_F(LazyValue, OfTwoThatMakeItAtOnceOneThrowsItsOwnAway) {
    for (int round = 0; round < 50; ++round) {
        ktLazyValue<Counted> value;
        const Counted *seen[2] = {};
        GetTwice(value, [](int) {}, seen);
        EXPECT_EQ(NumberOf(seen[0]), 7);
        EXPECT_EQ(seen[0], seen[1]);
        EXPECT_EQ(Counted::alive, 1);
    }
}

TEST_F(LazyValue, OneThreadWithoutMemoryDoesNotTakeTheValueFromAnother) {
    for (int round = 0; round < 50; ++round) {
        ktLazyValue<Counted> value;
        const Counted *seen[2] = {};
        GetTwice(
            value,
            [](int who) {
                if (who == 0) throw std::bad_alloc();
            },
            seen);
        EXPECT_EQ(seen[0], nullptr);
        EXPECT_EQ(NumberOf(seen[1]), 7);
        EXPECT_EQ(value.Get([](Counted &) { FAIL(); }), seen[1]);
    }
}

} // namespace
