#include "app/hex.h"

#include <gtest/gtest.h>

TEST(Hex, DigitsOfEitherCase) {
    EXPECT_EQ(ktParseHex("0123456789"), 0x123456789u);
    EXPECT_EQ(ktParseHex("abcdefABCDEF"), 0xABCDEFABCDEFu);
}

TEST(Hex, NullAndEmptyAreZero) {
    EXPECT_EQ(ktParseHex(nullptr), 0u);
    EXPECT_EQ(ktParseHex(""), 0u);
    EXPECT_EQ(ktParseHex("0x"), 0u);
    EXPECT_EQ(ktParseHex("0"), 0u);
}

TEST(Hex, PrefixIsSkippedOnceAndInLowerCaseOnly) {
    EXPECT_EQ(ktParseHex("0x10"), 0x10u);
    // What looks like another prefix is a zero and a byte to pass over.
    EXPECT_EQ(ktParseHex("0X10"), 0x10u);
    EXPECT_EQ(ktParseHex("0x0x10"), 0x10u);
    EXPECT_EQ(ktParseHex("x10"), 0x10u);
}

TEST(Hex, OtherBytesVanish) {
    EXPECT_EQ(ktParseHex("12z3"), 0x123u);
    EXPECT_EQ(ktParseHex("12xz34"), 0x1234u);
    EXPECT_EQ(ktParseHex(" -1`2_3g\xFF\x80"), 0x123u);
    EXPECT_EQ(ktParseHex("fffff800`12345678"), 0xFFFFF80012345678u);
}

TEST(Hex, HighBitsFallAway) {
    EXPECT_EQ(ktParseHex("ffffffffffffffffff"), 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ(ktParseHex("123456789abcdef01"), 0x23456789ABCDEF01u);
}
