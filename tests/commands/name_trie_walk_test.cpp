#include "commands/name_trie.h"

#include <string>

#include <gtest/gtest.h>

#include "support/name_trie_keys.h"

using Keys = NameTrieKeys;

TEST(NameTrieWalk, WalksSkipNodesWithoutKeys) {
    ktNameTrie trie;
    InsertAll(trie, {"aaaa", "b", "bbbb", "cccc", "d"});
    trie.Remove("aaaa");
    trie.Remove("bbbb");
    trie.Remove("cccc");
    EXPECT_TRUE(trie.Find("ccc"));
    EXPECT_EQ(Forward(trie), (Keys{"b", "d"}));
    EXPECT_EQ(Backward(trie), (Keys{"d", "b"}));
    EXPECT_EQ(Forward(trie, "cc"), Keys());
    EXPECT_EQ(Backward(trie, "cc"), Keys());
    EXPECT_EQ(ktNameTrie::Next(trie.Root(), trie.Find("cc")).Key(), "d");
    EXPECT_EQ(ktNameTrie::Previous(trie.Root(), trie.Find("cc")).Key(), "b");
}

TEST(NameTrieWalk, WalksGoInOrderOfBytes) {
    ktNameTrie trie;
    InsertAll(trie, {"t", "sym.server.add", "b", "~", "bcls", "sym.folder.add", "bc", "B", "sym", "\x01"});
    const Keys ascending{"\x01", "B", "b", "bc", "bcls", "sym", "sym.folder.add", "sym.server.add", "t", "~"};
    EXPECT_EQ(Forward(trie), ascending);
    EXPECT_EQ(Backward(trie), Keys(ascending.rbegin(), ascending.rend()));
}

TEST(NameTrieWalk, NodeMayHaveAllChildren) {
    ktNameTrie trie;
    Keys keys;
    for (int byte = 127; byte > 0; --byte) keys.push_back("x" + std::string(1, char(byte)));
    InsertAll(trie, keys);
    EXPECT_EQ(Forward(trie), Keys(keys.rbegin(), keys.rend()));
    EXPECT_EQ(Backward(trie), keys);
    EXPECT_EQ(trie.Find("x").SubtreeCount(), 128u);
}

TEST(NameTrieWalk, WalkBelowAPrefixStaysBelowIt) {
    ktNameTrie trie;
    InsertAll(trie, {"a", "mod.detect", "mod.list", "mode", "n"});
    EXPECT_EQ(Forward(trie, "mod"), (Keys{"mod.detect", "mod.list", "mode"}));
    EXPECT_EQ(Backward(trie, "mod"), (Keys{"mode", "mod.list", "mod.detect"}));
    EXPECT_EQ(Forward(trie, "mod.d"), Keys{"mod.detect"});
    EXPECT_EQ(Backward(trie, "mod.d"), Keys{"mod.detect"});
    EXPECT_EQ(Forward(trie, "mo"), (Keys{"mod.detect", "mod.list", "mode"}));
}

TEST(NameTrieWalk, ForwardWalkNeverYieldsItsRoot) {
    ktNameTrie trie;
    InsertAll(trie, {"", "bc", "bcls"});
    EXPECT_EQ(Forward(trie), (Keys{"bc", "bcls"}));
    EXPECT_EQ(Forward(trie, "bc"), Keys{"bcls"});
    EXPECT_EQ(Forward(trie, "bcls"), Keys());
    EXPECT_EQ(ktNameTrie::Next(trie.Root(), trie.Root()).Key(), "bc");
}

TEST(NameTrieWalk, BackwardWalkYieldsATerminalRootLast) {
    ktNameTrie trie;
    InsertAll(trie, {"", "bc", "bcls"});
    EXPECT_EQ(Backward(trie), (Keys{"bcls", "bc", ""}));
    EXPECT_EQ(Backward(trie, "bc"), (Keys{"bcls", "bc"}));
    EXPECT_EQ(Backward(trie, "bcls"), Keys{"bcls"});
    EXPECT_EQ(Backward(trie, "b"), (Keys{"bcls", "bc"}));
    EXPECT_FALSE(ktNameTrie::Previous(trie.Find("bc"), trie.Find("bc")));
    EXPECT_FALSE(ktNameTrie::Previous(trie.Root(), trie.Root()));
}

TEST(NameTrieWalk, WalksStartFromNodesInsideAnEdge) {
    ktNameTrie trie;
    InsertAll(trie, {"abcdef", "x"});
    const ktNameTrieNode root = trie.Find("ab");
    EXPECT_EQ(ktNameTrie::Next(root, trie.Find("abcd")).Key(), "abcdef");
    EXPECT_FALSE(ktNameTrie::Next(root, trie.Find("abcdef")));
    EXPECT_FALSE(ktNameTrie::Previous(root, trie.Find("abcd")));
    EXPECT_FALSE(ktNameTrie::Previous(root, trie.Find("abcdef")));
    EXPECT_EQ(ktNameTrie::Previous(root, {}).Key(), "abcdef");
    EXPECT_FALSE(ktNameTrie::Previous(root, root));
}

TEST(NameTrieWalk, WalkFromANodeOfAnotherTrieEnds) {
    ktNameTrie trie;
    ktNameTrie other;
    InsertAll(trie, {"a", "b"});
    InsertAll(other, {"a", "b"});
    EXPECT_FALSE(ktNameTrie::Next(trie.Root(), other.Find("a")));
    EXPECT_FALSE(ktNameTrie::Previous(trie.Root(), other.Find("b")));
    EXPECT_FALSE(trie.Find("a") == other.Find("a"));
    EXPECT_FALSE(ktNameTrie::Next(trie.Find("a"), trie.Find("b")));
    EXPECT_FALSE(ktNameTrie::Previous(trie.Find("b"), trie.Find("a")));
}

TEST(NameTrieWalk, ParentGoesUpByteByByte) {
    ktNameTrie trie;
    InsertAll(trie, {"abc", "abd"});
    ktNameTrieNode node = trie.Find("abc");
    for (const char *expected : {"ab", "a", ""}) {
        node = node.Parent();
        ASSERT_TRUE(node);
        EXPECT_EQ(node.Key(), expected);
        EXPECT_TRUE(node == trie.Find(expected));
    }
    EXPECT_TRUE(node == trie.Root());
    EXPECT_FALSE(node.Parent());
}

TEST(NameTrieWalk, HandlesSurviveLaterInsertions) {
    ktNameTrie trie;
    const ktNameTrieNode whole = trie.Insert("abcdefgh", 1);
    const ktNameTrieNode upper = trie.Find("ab");
    const ktNameTrieNode middle = trie.Find("abcd");
    const ktNameTrieNode lower = trie.Find("abcdef");
    InsertAll(trie, {"abcdef", "abcx", "abc", "abcd", "a", "abcdefgh+"});
    EXPECT_EQ(whole.Value(), 1u);
    EXPECT_EQ(whole.Key(), "abcdefgh");
    EXPECT_EQ(whole.SubtreeCount(), 2u);
    EXPECT_EQ(upper.Key(), "ab");
    EXPECT_EQ(upper.SubtreeCount(), 7u);
    EXPECT_EQ(middle.TerminalCount(), 1u);
    EXPECT_EQ(middle.Parent().Key(), "abc");
    EXPECT_EQ(lower.Value(), 106u);
    for (const ktNameTrieNode &node : {whole, upper, middle, lower})
        EXPECT_TRUE(node == trie.Find(node.Key()));
    EXPECT_EQ(ktNameTrie::Next(upper, middle).Key(), "abcdef");
}

TEST(NameTrieWalk, HandlesSurviveTheRemovalOfTheKeyTheyWereFoundIn) {
    ktNameTrie trie;
    trie.Insert("abcd", 1);
    const ktNameTrieNode node = trie.Find("ab");
    const ktNameTrieNode above = trie.Find("abc");
    trie.Insert("abx", 2);
    trie.Insert("abcy", 3);
    trie.Remove("abcd");
    trie.Remove("abcy");
    EXPECT_EQ(node.Key(), "ab");
    EXPECT_EQ(node.SubtreeCount(), 2u);
    EXPECT_EQ(above.Key(), "abc");
    EXPECT_EQ(above.SubtreeCount(), 1u);
    EXPECT_TRUE(node == trie.Find("ab"));
}

TEST(NameTrieWalk, HandlesOfNodesThatAreGoneAnswerWithoutAKey) {
    ktNameTrie trie;
    InsertAll(trie, {"abc", "b"});
    const ktNameTrieNode inside = trie.Find("ab");
    const ktNameTrieNode gone = trie.Find("abc");
    trie.Remove("abc");
    EXPECT_EQ(gone.TerminalCount(), 0u);
    EXPECT_FALSE(ktNameTrie::Next(trie.Root(), gone));
    EXPECT_FALSE(ktNameTrie::Previous(trie.Root(), gone));
    EXPECT_FALSE(ktNameTrie::Next(gone, {}));
    EXPECT_FALSE(gone.Parent());
    EXPECT_EQ(inside.Key(), "ab");
    trie.Clear();
    EXPECT_EQ(inside.TerminalCount(), 0u);
    EXPECT_EQ(inside.Key(), "");
    EXPECT_FALSE(ktNameTrie::Previous(trie.Root(), inside));
}

TEST(NameTrieWalk, DeepTrieIsWalkedWithoutRecursion) {
    ktNameTrie trie;
    std::string key;
    for (uint64_t depth = 1; depth <= 3000; ++depth) {
        key += 'd';
        ASSERT_TRUE(trie.Insert(key.c_str(), depth));
    }
    const Keys forward = Forward(trie);
    ASSERT_EQ(forward.size(), 3000u);
    EXPECT_EQ(forward[1234].size(), 1235u);
    EXPECT_EQ(Backward(trie).front().size(), 3000u);
    EXPECT_EQ(trie.Root().SubtreeCount(), 3001u);
    for (; key.size() > 1; key.pop_back()) EXPECT_TRUE(trie.Remove(key.c_str()));
    EXPECT_EQ(Forward(trie), Keys{"d"});
}
