#include "app/log_batch.h"

#include "app/log.h"
#include "support/recording_lines.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

class LogBatch : public testing::Test {
protected:
    LogBatch() { SetLogSink(&log); }
    ~LogBatch() override { ClearLogSink(); }

    ktRecordingLines log;
};

TEST_F(LogBatch, LinesShowInTheirOrderWhenItEnds) {
    {
        ktLogBatch batch;
        batch.Add("first");
        batch.Format("%s %d", "second", 2);
        batch.Add("third %s"); // no format
        EXPECT_TRUE(log.lines.empty());
    }
    EXPECT_EQ(log.lines, (Lines{"first", "second 2", "third %s"}));
}

TEST_F(LogBatch, AFlushHandsOnAndTheBatchGoesOn) {
    ktLogBatch batch;
    batch.Add("first");
    batch.Flush();
    batch.Flush();
    EXPECT_EQ(log.lines, Lines{"first"});
    batch.Format("%s", "second");
    batch.Flush();
    EXPECT_EQ(log.lines, (Lines{"first", "second"}));
}

TEST_F(LogBatch, FormattedLinesAreCutTo511Bytes) {
    const std::string text(600, 'x');
    {
        ktLogBatch batch;
        batch.Format("%s", text.c_str());
    }
    EXPECT_EQ(log.lines, Lines{text.substr(0, 511)});
}

TEST_F(LogBatch, ManyLinesOfBothKindsKeepTheirOrder) {
    Lines expected;
    {
        ktLogBatch batch;
        for (int i = 0; i < 5000; ++i) {
            if (i % 3 == 0) {
                batch.Add("literal");
                expected.push_back("literal");
            } else {
                batch.Format("number %d", i);
                expected.push_back("number " + std::to_string(i));
            }
        }
    }
    EXPECT_EQ(log.lines, expected);
}

TEST_F(LogBatch, WithoutASinkLinesVanish) {
    ClearLogSink();
    {
        ktLogBatch batch;
        for (int i = 0; i < 1000; ++i) batch.Add("nobody listens");
    }
    SetLogSink(&log);
    ktLogBatch().Flush();
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(LogBatch, RunsOfTwoThreadsDoNotMix) {
    std::thread threads[2];
    for (int i = 0; i < 2; ++i) {
        threads[i] = std::thread([i] {
            for (int round = 0; round < 50; ++round) {
                ktLogBatch batch;
                for (int line = 0; line < 100; ++line) batch.Add(i == 0 ? "zero" : "one");
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    ASSERT_EQ(log.lines.size(), 10'000u);
    for (size_t i = 0; i < log.lines.size(); i += 100)
        EXPECT_EQ(Lines(log.lines.begin() + long(i), log.lines.begin() + long(i) + 100),
                  Lines(100, log.lines[i]));
}

} // namespace
