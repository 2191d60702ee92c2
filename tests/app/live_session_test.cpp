#include "platform/thread.h"
#include "support/live_app.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <functional>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

class LiveSession : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(live.IsReady()) << "there is no engine library beside this program";
        ASSERT_EQ(live.Execute("connect sable local"), ktCmdOk);
    }

    ktCmdProcessor &Processor() { return *live.app->processor; }
    static bool Within(std::chrono::milliseconds limit, const std::function<bool()> &isTrue) {
        const auto end = Clock::now() + limit;
        while (!isTrue()) {
            if (Clock::now() > end) return false;
            SleepMilliseconds(1);
        }
        return true;
    }

    ktLiveApp live;
};

constexpr std::chrono::seconds patience(30); // a loaded machine with a sanitizer is slow

std::string HexOf(uint64_t number) {
    char text[17];
    std::snprintf(text, sizeof(text), "%" PRIX64, number);
    return text;
}

} // namespace

TEST_F(LiveSession, ABreakGetsThroughWhileATraceRuns) {
    ASSERT_EQ(Processor().RunLine("t 1000000000"), ktCmdQueued);
    ASSERT_TRUE(Within(patience, [&] { return Processor().IsBusy(); }));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Processor().RunLine("break"), ktCmdOk);
        EXPECT_TRUE(live.Registers().complete);
    }
    EXPECT_TRUE(Processor().IsBusy()) << "the trace goes on until it is cancelled";
    ASSERT_TRUE(Within(patience, [&] {
        Processor().CancelRunning();
        return !Processor().IsBusy();
    }));
    EXPECT_EQ(Processor().LastQueuedStatus(), ktCmdCancelled);
    EXPECT_TRUE(live.Registers().complete);
}

TEST_F(LiveSession, AStopAtABreakPointIsNeverLostHoweverSoonItComes) {
    ASSERT_EQ(live.Execute("t"), ktCmdOk); // what stops at once is the second instruction
    const uint64_t second = live.Registers().values[ktRegIp];
    ASSERT_EQ(live.Execute("bp #" + HexOf(second)), ktCmdOk);
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(Processor().RunLine("restart"), ktCmdOk);
        ASSERT_EQ(Processor().RunLine("g"), ktCmdOk);
        ASSERT_TRUE(Within(patience, [&] {
            const ktContext registers = live.Registers();
            return !Processor().IsBusy() && registers.complete && registers.values[ktRegIp] == second;
        })) << i;
    }
}

TEST_F(LiveSession, DisconnectEndsATraceAndARun) {
    for (const char *line : {"t 1000000000", "g"}) {
        ASSERT_NE(Processor().RunLine(line), ktCmdFailed);
        const auto start = Clock::now();
        EXPECT_EQ(Processor().RunLine("disconnect"), ktCmdOk);
        EXPECT_LT(Clock::now() - start, patience);
        EXPECT_FALSE(live.Registers().complete);
        ASSERT_EQ(live.Execute("connect sable local"), ktCmdOk);
    }
}

TEST_F(LiveSession, CommandsOfTwoThreadsMeetAtTheTarget) {
    ASSERT_EQ(Processor().RunLine("t 3000"), ktCmdQueued);
    int answers = 0;
    do {
        EXPECT_EQ(Processor().RunLine("r"), ktCmdOk);
        EXPECT_EQ(Processor().RunLine("cpuid 1"), ktCmdOk); // a busy system takes numbers, but no texts
        EXPECT_EQ(Processor().RunLine("rdmsr 1B"), ktCmdOk);
        ++answers;
    } while (Processor().IsBusy());
    EXPECT_GT(answers, 0);
    EXPECT_EQ(Processor().LastQueuedStatus(), ktCmdOk);
}
