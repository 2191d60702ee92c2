#include "commands/name_trie.h"

#include <cstdlib>
#include <string_view>

#include <gtest/gtest.h>

#include "support/name_trie_keys.h"

using Keys = NameTrieKeys;

TEST(NameTrie, StoredKeyIsFoundWithItsValue) {
    ktNameTrie trie;
    const ktNameTrieNode node = trie.Insert("bcls", 7);
    ASSERT_TRUE(node);
    EXPECT_EQ(node.TerminalCount(), 1u);
    EXPECT_EQ(node.Value(), 7u);
    EXPECT_EQ(node.Key(), "bcls");
    EXPECT_TRUE(trie.Find("bcls") == node);
    EXPECT_EQ(trie.FindValue("bcls"), 7u);
    EXPECT_EQ(trie.KeyCount(), 1u);
}

TEST(NameTrie, InteriorNodeCountsAsFoundWithoutBeingAKey) {
    ktNameTrie trie;
    trie.Insert("bcls", 7);
    const ktNameTrieNode node = trie.Find("bc");
    ASSERT_TRUE(node);
    EXPECT_EQ(node.TerminalCount(), 0u);
    EXPECT_EQ(node.Value(), 0u);
    EXPECT_EQ(trie.FindValue("bc"), 0u);
    EXPECT_FALSE(trie.Find("bd"));
    EXPECT_FALSE(trie.Find("bclsx"));
}

TEST(NameTrie, KeyThatIsThePrefixOfAnotherIsAnInteriorTerminal) {
    ktNameTrie trie;
    trie.Insert("bcls", 2);
    trie.Insert("bc", 1);
    EXPECT_EQ(trie.Find("bc").TerminalCount(), 1u);
    EXPECT_EQ(trie.Find("bc").SubtreeCount(), 2u);
    EXPECT_EQ(trie.FindValue("bc"), 1u);
    EXPECT_EQ(trie.FindValue("bcls"), 2u);
}

TEST(NameTrie, SubtreeCountIsOneMoreThanTheKeysBelow) {
    ktNameTrie trie;
    InsertAll(trie, {"a", "ab", "abc", "abd", "x"});
    EXPECT_EQ(trie.Root().SubtreeCount(), 6u);
    EXPECT_EQ(trie.Find("a").SubtreeCount(), 4u);
    EXPECT_EQ(trie.Find("ab").SubtreeCount(), 3u);
    EXPECT_EQ(trie.Find("abc").SubtreeCount(), 1u);
    EXPECT_EQ(trie.Find("x").SubtreeCount(), 1u);
}

TEST(NameTrie, SecondInsertionFailsAndKeepsTheOldValue) {
    ktNameTrie trie;
    trie.Insert("db", 1);
    EXPECT_FALSE(trie.Insert("db", 2));
    EXPECT_EQ(trie.FindValue("db"), 1u);
    EXPECT_EQ(trie.Root().SubtreeCount(), 2u);
    EXPECT_EQ(trie.KeyCount(), 1u);
}

TEST(NameTrie, NullKeysFail) {
    ktNameTrie trie;
    EXPECT_FALSE(trie.Insert(nullptr, 1));
    EXPECT_FALSE(trie.Remove(nullptr));
    EXPECT_FALSE(trie.Find(static_cast<const char *>(nullptr)));
    EXPECT_EQ(trie.FindValue(nullptr), 0u);
    EXPECT_EQ(trie.KeyCount(), 0u);
}

TEST(NameTrie, NoNodeAnswersNothing) {
    const ktNameTrieNode none;
    EXPECT_FALSE(none);
    EXPECT_EQ(none.TerminalCount(), 0u);
    EXPECT_EQ(none.SubtreeCount(), 0u);
    EXPECT_EQ(none.Value(), 0u);
    EXPECT_EQ(none.Key(), "");
    EXPECT_FALSE(none.Parent());
    EXPECT_FALSE(ktNameTrie::Next(none, none));
    EXPECT_FALSE(ktNameTrie::Previous(none, none));
}

TEST(NameTrie, BytesAbove127AreRefusedAndLeaveNothingBehind) {
    ktNameTrie trie;
    trie.Insert("caf", 1);
    EXPECT_FALSE(trie.Insert("caf\xC3\xA9", 2));
    EXPECT_FALSE(trie.Insert("new\x80", 2));
    EXPECT_FALSE(trie.Find("caf\xC3"));
    EXPECT_FALSE(trie.Find("n"));
    EXPECT_FALSE(trie.Remove("caf\xC3\xA9"));
    EXPECT_EQ(trie.Root().SubtreeCount(), 2u);
    EXPECT_TRUE(trie.Insert("\x7f\x01", 3));
    EXPECT_EQ(trie.FindValue("\x7f\x01"), 3u);
}

TEST(NameTrie, ViewWithAZeroByteIsNotFound) {
    ktNameTrie trie;
    trie.Insert("ab", 1);
    EXPECT_TRUE(trie.Find(std::string_view("ab", 2)));
    EXPECT_FALSE(trie.Find(std::string_view("ab\0", 3)));
    EXPECT_FALSE(trie.Find(std::string_view("\0", 1)));
}

TEST(NameTrie, EmptyKeyMarksTheRoot) {
    ktNameTrie trie;
    EXPECT_EQ(trie.Root().TerminalCount(), 0u);
    const ktNameTrieNode node = trie.Insert("", 9);
    EXPECT_TRUE(node == trie.Root());
    EXPECT_EQ(trie.Root().TerminalCount(), 1u);
    EXPECT_EQ(trie.Root().Value(), 9u);
    EXPECT_EQ(trie.Root().SubtreeCount(), 1u);
    EXPECT_FALSE(trie.Insert("", 10));
    EXPECT_EQ(trie.KeyCount(), 1u);
    EXPECT_TRUE(trie.Remove(""));
    EXPECT_FALSE(trie.Remove(""));
    EXPECT_EQ(trie.Root().TerminalCount(), 0u);
    EXPECT_EQ(trie.Root().Value(), 0u);
    EXPECT_EQ(trie.Root().SubtreeCount(), 1u);
}

TEST(NameTrie, RemovingTheRootsKeyLeavesTheOthers) {
    ktNameTrie trie;
    InsertAll(trie, {"", "a", "b"});
    EXPECT_TRUE(trie.Remove(""));
    EXPECT_EQ(Backward(trie), (Keys{"b", "a"}));
    EXPECT_EQ(trie.Root().SubtreeCount(), 3u);
}

TEST(NameTrie, RemoveOfAKeyThatIsNotStoredFails) {
    ktNameTrie trie;
    EXPECT_FALSE(trie.Remove("a"));
    EXPECT_FALSE(trie.Remove(""));
    trie.Insert("abc", 1);
    EXPECT_FALSE(trie.Remove("ab"));
    EXPECT_FALSE(trie.Remove("abcd"));
    EXPECT_EQ(trie.FindValue("abc"), 1u);
    EXPECT_EQ(trie.Find("ab").SubtreeCount(), 2u);
}

TEST(NameTrie, RemoveOfAnInteriorKeyLeavesTheLongerKeysReachable) {
    ktNameTrie trie;
    InsertAll(trie, {"bc", "bcls", "bcx"});
    for (int round = 0; round < 5; ++round) {
        EXPECT_TRUE(trie.Remove("bc"));
        EXPECT_EQ(trie.Find("bc").TerminalCount(), 0u);
        EXPECT_EQ(trie.Find("bc").Value(), 0u);
        EXPECT_EQ(trie.Find("bc").SubtreeCount(), 3u);
        EXPECT_EQ(trie.Find("b").SubtreeCount(), 3u);
        EXPECT_EQ(trie.FindValue("bcls"), 104u);
        EXPECT_EQ(Forward(trie), (Keys{"bcls", "bcx"}));
        EXPECT_TRUE(trie.Insert("bc", 5));
        EXPECT_EQ(trie.Find("b").SubtreeCount(), 4u);
    }
}

TEST(NameTrie, RemoveTakesTheLastNodeAndLeavesTheNodesAbove) {
    ktNameTrie trie;
    trie.Insert("abc", 1);
    EXPECT_TRUE(trie.Remove("abc"));
    EXPECT_FALSE(trie.Find("abc"));
    for (const char *above : {"", "a", "ab"}) {
        ASSERT_TRUE(trie.Find(above)) << above;
        EXPECT_EQ(trie.Find(above).SubtreeCount(), 1u);
        EXPECT_EQ(trie.Find(above).TerminalCount(), 0u);
    }
    EXPECT_EQ(Forward(trie), Keys());
    EXPECT_EQ(Backward(trie), Keys());
    EXPECT_EQ(trie.KeyCount(), 0u);
}

TEST(NameTrie, RemoveTakesNodesWithoutKeysBelowAlong) {
    ktNameTrie trie;
    InsertAll(trie, {"ab", "abcde", "abxyz"});
    trie.Remove("abcde");
    trie.Remove("abxyz");
    EXPECT_TRUE(trie.Find("abcd"));
    EXPECT_TRUE(trie.Remove("ab"));
    EXPECT_FALSE(trie.Find("abcd"));
    EXPECT_FALSE(trie.Find("abx"));
    EXPECT_FALSE(trie.Find("ab"));
    EXPECT_TRUE(trie.Find("a"));
}

TEST(NameTrie, ClearedTrieTakesKeysAgain) {
    ktNameTrie trie;
    InsertAll(trie, {"", "a", "abc"});
    trie.Clear();
    EXPECT_EQ(Backward(trie), Keys());
    EXPECT_EQ(trie.Root().TerminalCount(), 0u);
    InsertAll(trie, {"ab"});
    EXPECT_EQ(Forward(trie), Keys{"ab"});
}

// That nothing leaks is what the address sanitizer says.
TEST(NameTrie, ClearWithValuesFreesEveryValueTheRootsIncluded) {
    ktNameTrie trie;
    for (const char *key : {"", "a", "abc", "b"}) {
        char *value = static_cast<char *>(std::malloc(4));
        ASSERT_NE(value, nullptr);
        EXPECT_TRUE(trie.Insert(key, uint64_t(reinterpret_cast<uintptr_t>(value))));
    }
    trie.ClearWithValues();
    EXPECT_EQ(trie.KeyCount(), 0u);
    EXPECT_EQ(trie.Root().Value(), 0u);
    trie.ClearWithValues();
    EXPECT_EQ(trie.MemoryBytes(), 0u);
}
