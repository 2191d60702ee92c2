#include "gui/clipboard.h"
#include "support/test_clipboard.h"

#include <gtest/gtest.h>

TEST(Clipboard, NothingIsCopiedOrPastedBeforeTheWindowsAreThere) {
    std::string text = "kept";
    EXPECT_FALSE(CopyToClipboard("lost"));
    EXPECT_FALSE(PasteFromClipboard(text));
    EXPECT_EQ(text, "kept");
}

TEST(Clipboard, ACopyIsWhatAPasteGives) {
    ktTestClipboard clipboard;
    EXPECT_TRUE(CopyToClipboard("one\ntwo"));
    EXPECT_EQ(clipboard.Text(), "one\ntwo");
    std::string text;
    EXPECT_TRUE(PasteFromClipboard(text));
    EXPECT_EQ(text, "one\ntwo");
}

TEST(Clipboard, NullIsNotCopied) {
    ktTestClipboard clipboard;
    clipboard.Set("before");
    EXPECT_FALSE(CopyToClipboard(nullptr));
    EXPECT_EQ(clipboard.Text(), "before");
}

TEST(Clipboard, AnEmptyTextIsCopied) {
    ktTestClipboard clipboard;
    clipboard.Set("before");
    EXPECT_TRUE(CopyToClipboard(""));
    EXPECT_EQ(clipboard.Text(), "");
}

TEST(Clipboard, OneThatCannotBeHadFailsBothWays) {
    ktTestClipboard clipboard;
    clipboard.Refuse();
    std::string text;
    EXPECT_FALSE(CopyToClipboard("text"));
    EXPECT_FALSE(PasteFromClipboard(text));
}

TEST(Clipboard, APasteEndsAtTheFirstTerminator) {
    ktTestClipboard clipboard;
    clipboard.Set(std::string("ab\0cd", 5));
    std::string text;
    EXPECT_TRUE(PasteFromClipboard(text));
    EXPECT_EQ(text, "ab");
}
