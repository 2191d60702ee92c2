#include "app/cut_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(CutText, StartsEmptyAndTerminated) {
    char buffer[4] = {'x', 'x', 'x', 'x'};
    const ktCutText text(buffer);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(text.Length(), 0u);
    EXPECT_FALSE(text.IsFull());
}

TEST(CutText, AppendsUntilTheBufferIsFull) {
    char buffer[9] = {};
    ktCutText text(buffer, 8); // the ninth byte must stay
    buffer[8] = '!';
    text.Put("ab");
    text.Print("%d", 34);
    EXPECT_STREQ(text.Get(), "ab34");
    text.Fill('-', 2);
    text.Put("789");
    EXPECT_STREQ(text.Get(), "ab34--7");
    EXPECT_TRUE(text.IsFull());
    text.Put("x");
    text.Fill('x', ~uint64_t(0));
    text.Print("%s", "x");
    EXPECT_STREQ(text.Get(), "ab34--7");
    EXPECT_EQ(buffer[8], '!');
}

TEST(CutText, EachWayOfAppendingIsCut) {
    char buffer[4];
    ktCutText text(buffer);
    text.Put("12345");
    EXPECT_STREQ(text.Get(), "123");
    text.Clear();
    text.Fill('z', 5);
    EXPECT_STREQ(text.Get(), "zzz");
    text.Clear();
    text.Print("%05d", 1);
    EXPECT_STREQ(text.Get(), "000");
    EXPECT_EQ(text.Length(), 3u);
}

TEST(CutText, ClearMakesRoomAgain) {
    char buffer[4];
    ktCutText text(buffer);
    text.Put("123");
    text.Clear();
    EXPECT_STREQ(text.Get(), "");
    EXPECT_EQ(text.Length(), 0u);
    text.Put("4");
    EXPECT_STREQ(text.Get(), "4");
}

TEST(CutText, OneByteHoldsTheEmptyText) {
    char buffer[1];
    ktCutText text(buffer);
    EXPECT_TRUE(text.IsFull());
    text.Put("a");
    text.Fill('a', 1);
    text.Print("a");
    EXPECT_STREQ(text.Get(), "");
}

} // namespace
