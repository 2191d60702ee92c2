#include "commands/transport.h"

#include <gtest/gtest.h>

namespace {

TEST(Transport, EveryKeywordHasItsNumber) {
    const char *keywords[] = {"serial", "usb2",  "usb3",   "firewire", "thunderbolt",
                              "net",    "audio", "memory", "pipe",     "local"};
    uint32_t number = 0;
    for (const char *keyword : keywords) {
        EXPECT_EQ(ktParseTransport(keyword), ++number) << keyword;
        EXPECT_STREQ(ktTransportName(number), keyword);
    }
}

TEST(Transport, OtherWordsAreZero) {
    for (const char *word : {"", "usb", "USB3", "usb3 ", "invalid"}) EXPECT_EQ(ktParseTransport(word), 0u);
    EXPECT_EQ(ktParseTransport(nullptr), 0u);
}

TEST(Transport, UnknownNumbersAreInvalid) {
    EXPECT_STREQ(ktTransportName(0), "invalid");
    EXPECT_STREQ(ktTransportName(11), "invalid");
}

TEST(Engine, KeywordsAreExact) {
    EXPECT_EQ(ktParseEngine("static"), 1u);
    EXPECT_EQ(ktParseEngine("sable"), 2u);
    for (const char *word : {"", "Static", "sables", "stat"}) EXPECT_EQ(ktParseEngine(word), 0u);
    EXPECT_EQ(ktParseEngine(nullptr), 0u);
}

} // namespace
