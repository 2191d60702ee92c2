#include "commands/name_trie.h"

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/name_trie_duel.h"

namespace {

using Keys = std::vector<std::string>;

void InsertAll(ktNameTrie &trie, const Keys &keys) {
    for (const std::string &key : keys) EXPECT_TRUE(trie.Insert(key.c_str(), key.size() + 100)) << key;
}

Keys Forward(const ktNameTrie &trie, const char *prefix = "") {
    Keys keys;
    const ktNameTrieNode root = trie.Find(prefix);
    for (auto node = ktNameTrie::Next(root, {}); node; node = ktNameTrie::Next(root, node)) keys.push_back(node.Key());
    return keys;
}

Keys Backward(const ktNameTrie &trie, const char *prefix = "") {
    Keys keys;
    const ktNameTrieNode root = trie.Find(prefix);
    for (auto node = ktNameTrie::Previous(root, {}); node; node = ktNameTrie::Previous(root, node)) {
        keys.push_back(node.Key());
    }
    return keys;
}

std::string RandomKey(std::mt19937 &random, uint32_t alphabet, uint32_t maxLength) {
    std::string key(random() % (maxLength + 1), ' ');
    for (char &c : key) c = char('a' + random() % alphabet);
    return key;
}

} // namespace

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

TEST(NameTrie, WalksSkipNodesWithoutKeys) {
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

TEST(NameTrie, WalksGoInOrderOfBytes) {
    ktNameTrie trie;
    InsertAll(trie, {"t", "sym.server.add", "b", "~", "bcls", "sym.folder.add", "bc", "B", "sym", "\x01"});
    const Keys ascending{"\x01", "B", "b", "bc", "bcls", "sym", "sym.folder.add", "sym.server.add", "t", "~"};
    EXPECT_EQ(Forward(trie), ascending);
    EXPECT_EQ(Backward(trie), Keys(ascending.rbegin(), ascending.rend()));
}

TEST(NameTrie, NodeMayHaveAllChildren) {
    ktNameTrie trie;
    Keys keys;
    for (int byte = 127; byte > 0; --byte) keys.push_back("x" + std::string(1, char(byte)));
    InsertAll(trie, keys);
    EXPECT_EQ(Forward(trie), Keys(keys.rbegin(), keys.rend()));
    EXPECT_EQ(Backward(trie), keys);
    EXPECT_EQ(trie.Find("x").SubtreeCount(), 128u);
}

TEST(NameTrie, WalkBelowAPrefixStaysBelowIt) {
    ktNameTrie trie;
    InsertAll(trie, {"a", "mod.detect", "mod.list", "mode", "n"});
    EXPECT_EQ(Forward(trie, "mod"), (Keys{"mod.detect", "mod.list", "mode"}));
    EXPECT_EQ(Backward(trie, "mod"), (Keys{"mode", "mod.list", "mod.detect"}));
    EXPECT_EQ(Forward(trie, "mod.d"), Keys{"mod.detect"});
    EXPECT_EQ(Backward(trie, "mod.d"), Keys{"mod.detect"});
    EXPECT_EQ(Forward(trie, "mo"), (Keys{"mod.detect", "mod.list", "mode"}));
}

TEST(NameTrie, ForwardWalkNeverYieldsItsRoot) {
    ktNameTrie trie;
    InsertAll(trie, {"", "bc", "bcls"});
    EXPECT_EQ(Forward(trie), (Keys{"bc", "bcls"}));
    EXPECT_EQ(Forward(trie, "bc"), Keys{"bcls"});
    EXPECT_EQ(Forward(trie, "bcls"), Keys());
    EXPECT_EQ(ktNameTrie::Next(trie.Root(), trie.Root()).Key(), "bc");
}

TEST(NameTrie, BackwardWalkYieldsATerminalRootLast) {
    ktNameTrie trie;
    InsertAll(trie, {"", "bc", "bcls"});
    EXPECT_EQ(Backward(trie), (Keys{"bcls", "bc", ""}));
    EXPECT_EQ(Backward(trie, "bc"), (Keys{"bcls", "bc"}));
    EXPECT_EQ(Backward(trie, "bcls"), Keys{"bcls"});
    EXPECT_EQ(Backward(trie, "b"), (Keys{"bcls", "bc"}));
    EXPECT_FALSE(ktNameTrie::Previous(trie.Find("bc"), trie.Find("bc")));
    EXPECT_FALSE(ktNameTrie::Previous(trie.Root(), trie.Root()));
}

TEST(NameTrie, WalksStartFromNodesInsideAnEdge) {
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

TEST(NameTrie, WalkFromANodeOfAnotherTrieEnds) {
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

TEST(NameTrie, ParentGoesUpByteByByte) {
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

TEST(NameTrie, HandlesSurviveLaterInsertions) {
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
    for (const ktNameTrieNode &node : {whole, upper, middle, lower}) EXPECT_TRUE(node == trie.Find(node.Key()));
    EXPECT_EQ(ktNameTrie::Next(upper, middle).Key(), "abcdef");
}

TEST(NameTrie, HandlesSurviveTheRemovalOfTheKeyTheyWereFoundIn) {
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

TEST(NameTrie, HandlesOfNodesThatAreGoneAnswerWithoutAKey) {
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

TEST(NameTrie, EmptyTrieTakesNoMemory) {
    ktNameTrie trie;
    EXPECT_LE(sizeof trie, 16u);
    EXPECT_EQ(trie.MemoryBytes(), 0u);
    EXPECT_FALSE(trie.Find("a"));
    EXPECT_TRUE(trie.Find("") == trie.Root());
    EXPECT_EQ(trie.Root().SubtreeCount(), 1u);
    EXPECT_FALSE(trie.Root().Parent());
    EXPECT_EQ(Forward(trie), Keys());
    EXPECT_EQ(Backward(trie), Keys());
    trie.Insert("a", 1);
    EXPECT_GT(trie.MemoryBytes(), 0u);
    trie.Clear();
    EXPECT_EQ(trie.MemoryBytes(), 0u);
    EXPECT_EQ(trie.KeyCount(), 0u);
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

TEST(NameTrie, WithoutMemoryAnInsertionChangesNothing) {
    size_t enough = 0;
    {
        ktNameTrie trie;
        InsertAll(trie, {"abcdefghijklmnop", "abcdefgh", "abcdefghijklxyz", "b"});
        enough = trie.MemoryBytes();
    }
    ktNameTrie starved(0);
    EXPECT_FALSE(starved.Insert("a", 1));
    EXPECT_FALSE(starved.Insert("", 1));
    EXPECT_EQ(starved.MemoryBytes(), 0u);

    uint64_t refused = 0;
    for (size_t limit = 0; limit <= enough; ++limit) {
        NameTrieDuel duel(limit);
        for (const char *key : {"abcdefghijklmnop", "abcdefgh", "abcdefghijklxyz", "b"}) {
            EXPECT_EQ(duel.Insert(key, 1), "") << limit;
            EXPECT_EQ(duel.CompareAll(), "") << limit;
            EXPECT_LE(duel.Trie().MemoryBytes(), limit);
        }
        refused += duel.Refused();
        if (limit == enough) {
            EXPECT_EQ(duel.Refused(), 0u);
        }
    }
    EXPECT_GT(refused, enough);
}

TEST(NameTrie, RepeatedInsertionAndRemovalDoesNotGrow) {
    ktNameTrie trie;
    const std::string longKey(300, 'x');
    const Keys keys{"a", "symbol", "symbols!", longKey, longKey + "y", longKey.substr(0, 150) + longKey};
    for (const std::string &key : keys) trie.Insert(key.c_str(), 1);
    const size_t before = trie.MemoryBytes();
    for (int round = 0; round < 2000; ++round) {
        for (const std::string &key : keys) EXPECT_TRUE(trie.Remove(key.c_str()));
        EXPECT_EQ(trie.KeyCount(), 0u);
        for (const std::string &key : keys) EXPECT_TRUE(trie.Insert(key.c_str(), 1));
    }
    EXPECT_LE(trie.MemoryBytes(), 3 * before);
    EXPECT_EQ(trie.KeyCount(), keys.size());
}

TEST(NameTrie, LabelsThatAreGoneAreReplacedByNewOnes) {
    ktNameTrie trie;
    trie.Insert("kept key", 1);
    // Below a key that goes as well, everything goes.
    for (int round = 0; round < 2000; ++round) {
        const std::string key = "p" + std::to_string(round) + std::string(500, 'z');
        trie.Insert("p", 2);
        EXPECT_TRUE(trie.Insert(key.c_str(), 3));
        EXPECT_TRUE(trie.Remove(key.c_str()));
        EXPECT_TRUE(trie.Remove("p"));
    }
    EXPECT_LE(trie.MemoryBytes(), 8192u);
    EXPECT_EQ(Forward(trie), Keys{"kept key"});
    EXPECT_EQ(trie.FindValue("kept key"), 1u);
}

TEST(NameTrie, KeysOfMegabytesWork) {
    ktNameTrie trie;
    // Longer than one edge can be.
    std::string key(20 * 1000 * 1000, 'k');
    key[10 * 1000 * 1000] = 'm';
    ASSERT_TRUE(trie.Insert(key.c_str(), 5));
    EXPECT_EQ(trie.FindValue(key.c_str()), 5u);
    EXPECT_EQ(trie.Find(key).Key(), key);
    const std::string half = key.substr(0, 9 * 1000 * 1000);
    EXPECT_EQ(trie.Find(half).SubtreeCount(), 2u);
    EXPECT_EQ(trie.Find(half).Parent().Key().size(), half.size() - 1);
    const std::string fork = half + "x";
    ASSERT_TRUE(trie.Insert(fork.c_str(), 6));
    EXPECT_EQ(ktNameTrie::Next(trie.Find(half), {}).Value(), 5u);
    EXPECT_EQ(ktNameTrie::Previous(trie.Find(half), {}).Value(), 6u);
    EXPECT_TRUE(trie.Remove(key.c_str()));
    EXPECT_TRUE(trie.Find(key.substr(0, key.size() - 1)));
    EXPECT_EQ(ktNameTrie::Next(trie.Root(), {}).Value(), 6u);
}

TEST(NameTrie, DeepTrieIsWalkedWithoutRecursion) {
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

TEST(NameTrie, BehavesAsOneNodeAByte) {
    for (uint32_t seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        const uint32_t alphabet = uint32_t(1 + random() % 4);
        const uint32_t maxLength = seed % 3 == 0 ? 24 : 8;
        const uint32_t removals = uint32_t(random() % 5);
        NameTrieDuel duel;
        for (uint32_t step = 0; step < 200; ++step) {
            const std::string key = RandomKey(random, alphabet, maxLength);
            std::string fault;
            const uint32_t choice = uint32_t(random() % 8);
            if (choice < removals) {
                fault = duel.Remove(key);
            } else if (choice < 6) {
                fault = duel.Insert(key, random());
            } else {
                fault = duel.Keep(key);
            }
            if (fault.empty()) fault = duel.CompareStep(RandomKey(random, alphabet, 4), key);
            if (fault.empty() && step % 10 == 0) fault = duel.CompareAll();
            ASSERT_EQ(fault, "") << "seed " << seed << " step " << step;
        }
        ASSERT_EQ(duel.CompareAll(), "") << "seed " << seed;
    }
}

TEST(NameTrie, BehavesAsOneNodeAByteWhenMemoryIsShort) {
    uint64_t refused = 0;
    for (uint32_t seed = 0; seed < 100; ++seed) {
        std::mt19937 random(seed);
        NameTrieDuel duel(200 + random() % 2000);
        for (uint32_t step = 0; step < 200; ++step) {
            const std::string key = RandomKey(random, 3, 20);
            std::string fault = random() % 3 == 0 ? duel.Remove(key) : duel.Insert(key, step);
            if (fault.empty() && step % 10 == 0) fault = duel.CompareAll();
            ASSERT_EQ(fault, "") << "seed " << seed << " step " << step;
        }
        refused += duel.Refused();
    }
    EXPECT_GT(refused, 1000u);
}
