#include "app/log.h"

#include "app/circular_lines.h"
#include "app/log_lines.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

/// No test leaves a sink behind.
class Log : public testing::Test {
protected:
    ~Log() override { ClearLogSink(); }

    ktLogLines lines;
};

} // namespace

TEST_F(Log, IsSilentlyDroppedBeforeASinkIsSet) {
    EXPECT_EQ(ktLog("nobody %s", "listens"), 0);
    EXPECT_TRUE(SetLogSink(&lines));
    EXPECT_EQ(lines.GetLineCount(), 0u);
}

TEST_F(Log, IsSilentlyDroppedAfterTheSinkIsCleared) {
    EXPECT_TRUE(SetLogSink(&lines));
    EXPECT_EQ(ktLog("kept"), 1);
    ClearLogSink();
    EXPECT_EQ(ktLog("dropped"), 0);
    ClearLogSink(); // again, harmless
    EXPECT_EQ(lines.GetLineCount(), 1u);
    EXPECT_TRUE(SetLogSink(&lines)); // and a sink may be set anew
    EXPECT_EQ(ktLog("kept too"), 1);
    EXPECT_EQ(lines.GetLineCount(), 2u);
}

TEST_F(Log, FormatsLikePrintf) {
    EXPECT_TRUE(SetLogSink(&lines));
    EXPECT_EQ(ktLog("%s %08X %llu%%", "at", 0xBEEFu, 42ull), 1);
    EXPECT_EQ(ktLog("%s", ""), 1);
    ASSERT_EQ(lines.GetLineCount(), 2u);
    EXPECT_STREQ(lines.GetLine(0), "at 0000BEEF 42%");
    EXPECT_STREQ(lines.GetLine(1), "");
    EXPECT_EQ(ktLog(nullptr), 0);
}

TEST_F(Log, AMessageIsCutTo511Bytes) {
    EXPECT_TRUE(SetLogSink(&lines));
    for (const size_t length : {510u, 511u, 512u, 5000u}) {
        const std::string text(length, 'x');
        EXPECT_EQ(ktLog("%s", text.c_str()), 1);
        EXPECT_EQ(lines.GetLine(lines.GetLineCount() - 1), text.substr(0, 511));
    }
}

TEST_F(Log, ASecondSinkReplacesTheFirst) {
    ktCircularLines second;
    ASSERT_TRUE(second.Reserve());
    EXPECT_TRUE(SetLogSink(&lines));
    EXPECT_EQ(ktLog("one"), 1);
    EXPECT_TRUE(SetLogSink(&second));
    EXPECT_EQ(ktLog("two"), 1);
    EXPECT_FALSE(SetLogSink(nullptr)); // refused: the sink stays
    EXPECT_EQ(ktLog("three"), 1);
    ClearLogSink();
    EXPECT_EQ(lines.GetLineCount(), 1u);
    ASSERT_EQ(second.GetLineCount(), 2u);
    EXPECT_STREQ(second.GetLine(0), "two");
    EXPECT_STREQ(second.GetLine(1), "three");
}

TEST_F(Log, ManyThreadsNeverMixTheirMessages) {
    constexpr int threadCount = 4;
    constexpr int perThread = 2000;
    EXPECT_TRUE(SetLogSink(&lines));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([thread] {
            const std::string filling(100, static_cast<char>('a' + thread));
            for (int i = 0; i < perThread; ++i) EXPECT_EQ(ktLog("%d %d %s", thread, i, filling.c_str()), 1);
        });
    }
    for (std::thread &thread : threads) thread.join();
    ASSERT_EQ(lines.GetLineCount(), uint64_t(threadCount) * perThread);
    std::map<int, int> next; // each thread's messages come in its own order
    for (uint64_t i = 0; i < lines.GetLineCount(); ++i) {
        const std::string line = lines.GetLine(i);
        const int thread = line[0] - '0';
        ASSERT_TRUE(thread >= 0 && thread < threadCount) << line;
        const std::string wanted = std::to_string(thread) + " " + std::to_string(next[thread]++) + " " +
                                   std::string(100, static_cast<char>('a' + thread));
        ASSERT_EQ(line, wanted);
    }
}

TEST_F(Log, ClearingWhileOthersLogHandsNothingToTheOldSink) {
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            while (!done) ktLog("message");
        });
    }
    for (int round = 0; round < 200; ++round) {
        auto sink = std::make_unique<ktLogLines>();
        EXPECT_TRUE(SetLogSink(sink.get()));
        EXPECT_EQ(ktLog("own"), 1);
        ClearLogSink();
        EXPECT_GE(sink->GetLineCount(), 1u);
        sink.reset(); // nobody is left in it
    }
    done = true;
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(ktLog("nobody listens"), 0);
}
