#include "session/break_point_ids.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

TEST(BreakPointIds, AreGivenLowestFirst) {
    ktBreakPointIds ids;
    uint32_t id = 99;
    for (uint32_t i = 0; i < 200; ++i) {
        ASSERT_TRUE(ids.Take(id));
        EXPECT_EQ(id, i);
    }
    ids.Give(130);
    ids.Give(3);
    ids.Give(64);
    EXPECT_EQ(ids.InUse(), 197u);
    for (const uint32_t expected : {3u, 64u, 130u, 200u}) {
        ASSERT_TRUE(ids.Take(id));
        EXPECT_EQ(id, expected);
    }
}

TEST(BreakPointIds, EndAt1024) {
    ktBreakPointIds ids;
    uint32_t id = 0;
    for (uint32_t i = 0; i < 1024; ++i) ASSERT_TRUE(ids.Take(id));
    EXPECT_EQ(id, 1023u);
    EXPECT_EQ(ids.InUse(), 1024u);
    id = 7;
    EXPECT_FALSE(ids.Take(id));
    EXPECT_EQ(id, 7u);
    ids.Give(1023);
    EXPECT_TRUE(ids.Take(id));
    EXPECT_EQ(id, 1023u);
}

TEST(BreakPointIds, GivingBackWhatIsFreeOrOutOfRangeHasNoEffect) {
    ktBreakPointIds ids;
    ids.Give(0);
    uint32_t id = 0;
    ASSERT_TRUE(ids.Take(id));
    ids.Give(1);
    ids.Give(1024);
    ids.Give(~0u);
    EXPECT_EQ(ids.InUse(), 1u);
    ids.Give(0);
    ids.Give(0);
    EXPECT_EQ(ids.InUse(), 0u);
}

TEST(BreakPointIds, ResetFreesAll) {
    ktBreakPointIds ids;
    uint32_t id = 0;
    for (uint32_t i = 0; i < 1024; ++i) ASSERT_TRUE(ids.Take(id));
    ids.Reset();
    EXPECT_EQ(ids.InUse(), 0u);
    ASSERT_TRUE(ids.Take(id));
    EXPECT_EQ(id, 0u);
}

TEST(BreakPointIds, ThreadsNeverShareOne) {
    ktBreakPointIds ids;
    std::vector<uint32_t> taken[4];
    std::vector<std::thread> threads;
    for (std::vector<uint32_t> &mine : taken) {
        threads.emplace_back([&ids, &mine] {
            for (uint32_t id = 0; mine.size() < 250 && ids.Take(id);) {
                mine.push_back(id);
                if (mine.size() % 7 == 0) {
                    ids.Give(mine.back());
                    mine.pop_back();
                    ids.Take(id);
                    mine.push_back(id);
                }
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    std::vector<uint32_t> all;
    for (const std::vector<uint32_t> &mine : taken) all.insert(all.end(), mine.begin(), mine.end());
    EXPECT_EQ(all.size(), ids.InUse());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
}
