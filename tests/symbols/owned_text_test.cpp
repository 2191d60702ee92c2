#include "symbols/owned_text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

TEST(OwnedText, IsNullAtFirst) {
    const ktOwnedText text;
    EXPECT_EQ(text.Get(), nullptr);
    static_assert(sizeof(ktOwnedText) == sizeof(void *));
}

TEST(OwnedText, AssignKeepsAPrivateCopy) {
    std::string source = "name";
    ktOwnedText text;
    EXPECT_TRUE(text.Assign(source.c_str()));
    source = "else";
    EXPECT_STREQ(text.Get(), "name");
    EXPECT_FALSE(text.Assign(nullptr));
    EXPECT_STREQ(text.Get(), "name");
}

TEST(OwnedText, AssignTakesAPartOfItself) {
    ktOwnedText text;
    text.Assign("folder/file");
    EXPECT_TRUE(text.Assign(text.Get() + 7));
    EXPECT_STREQ(text.Get(), "file");
    EXPECT_TRUE(text.Assign(std::string_view(text.Get(), 2)));
    EXPECT_STREQ(text.Get(), "fi");
}

TEST(OwnedText, LendRefersToTheTextItself) {
    const char *lasting = "lasting";
    ktOwnedText text;
    text.Assign("a copy that goes");
    text.Lend(lasting);
    EXPECT_EQ(text.Get(), lasting);
    text.Lend(lasting + 4);
    EXPECT_STREQ(text.Get(), "ing");
    text.Lend(nullptr);
    EXPECT_EQ(text.Get(), nullptr);
}

TEST(OwnedText, AssignOverALentTextLeavesThatAlone) {
    char lasting[] = "lasting";
    ktOwnedText text;
    text.Lend(lasting);
    EXPECT_TRUE(text.Assign(text.Get()));
    EXPECT_NE(text.Get(), lasting);
    lasting[0] = 'f';
    EXPECT_STREQ(text.Get(), "lasting");
    EXPECT_STREQ(lasting, "fasting");
}

TEST(OwnedText, MovesTakeTheTextAlong) {
    ktOwnedText from;
    from.Assign("moved");
    ktOwnedText to(std::move(from));
    EXPECT_STREQ(to.Get(), "moved");
    ktOwnedText lent;
    lent.Lend("lent");
    lent = std::move(to);
    EXPECT_STREQ(lent.Get(), "moved");
}

} // namespace
