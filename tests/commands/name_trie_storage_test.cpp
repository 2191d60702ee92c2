#include "commands/name_trie.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/name_trie_duel.h"
#include "support/name_trie_keys.h"

using Keys = NameTrieKeys;

namespace {

std::string RandomKey(std::mt19937 &random, uint32_t alphabet, uint32_t maxLength) {
    std::string key(random() % (maxLength + 1), ' ');
    for (char &c : key) c = char('a' + random() % alphabet);
    return key;
}

} // namespace

TEST(NameTrieStorage, EmptyTrieTakesNoMemory) {
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

TEST(NameTrieStorage, WithoutMemoryAnInsertionChangesNothing) {
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

TEST(NameTrieStorage, RepeatedInsertionAndRemovalDoesNotGrow) {
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

TEST(NameTrieStorage, LabelsThatAreGoneAreReplacedByNewOnes) {
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

TEST(NameTrieStorage, KeysOfMegabytesWork) {
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

TEST(NameTrieStorage, BehavesAsOneNodeAByte) {
    for (uint32_t seed = 0; seed < 150; ++seed) {
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

TEST(NameTrieStorage, BehavesAsOneNodeAByteWhenMemoryIsShort) {
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
