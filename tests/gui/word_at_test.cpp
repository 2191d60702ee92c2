#include "gui/word_at.h"

#include <gtest/gtest.h>

#include <string>

TEST(WordAt, GivesTheWordThatCoversTheColumn) {
    for (size_t column = 3; column < 6; ++column) EXPECT_EQ(WordAt("ab def gh", column), "def") << column;
    EXPECT_EQ(WordAt("ab def gh", 0), "ab");
    EXPECT_EQ(WordAt("ab def gh", 7), "gh");
    EXPECT_EQ(WordAt("ab def gh", 8), "gh");
}

TEST(WordAt, BlanksTabsAndLineEndsPartWords) {
    EXPECT_EQ(WordAt("ab\tcd\nef gh", 4), "cd");
    EXPECT_EQ(WordAt("ab\tcd\nef gh", 6), "ef");
    EXPECT_EQ(WordAt("[rsp+0x10],eax: gh", 5), "[rsp+0x10],eax:");
}

TEST(WordAt, ADelimiterHasNoWord) {
    EXPECT_EQ(WordAt("ab cd", 2), "");
    EXPECT_EQ(WordAt("   ", 1), "");
    EXPECT_EQ(WordAt(" ab", 0), "");
    EXPECT_EQ(WordAt("ab ", 2), "");
}

TEST(WordAt, ThereIsNothingBehindTheLine) {
    EXPECT_EQ(WordAt("ab", 2), "");
    EXPECT_EQ(WordAt("ab", 1000), "");
    EXPECT_EQ(WordAt("", 0), "");
}

TEST(WordAt, AWordOfOneCharacterCountsAtTheEndOfTheLineOnly) {
    EXPECT_EQ(WordAt("a b c", 0), "");
    EXPECT_EQ(WordAt("a b c", 2), "");
    EXPECT_EQ(WordAt("a b c", 4), "c");
    EXPECT_EQ(WordAt("a", 0), "a");
}
