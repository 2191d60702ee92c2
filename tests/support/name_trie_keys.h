#pragma once

#include "commands/name_trie.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

/// Keys in the order of a walk.
using NameTrieKeys = std::vector<std::string>;

/// Inserts every key, with its length plus 100 as the value.
inline void InsertAll(ktNameTrie &trie, const NameTrieKeys &keys) {
    for (const std::string &key : keys) EXPECT_TRUE(trie.Insert(key.c_str(), key.size() + 100)) << key;
}

/// All that Next gives below the node of `prefix`.
inline NameTrieKeys Forward(const ktNameTrie &trie, const char *prefix = "") {
    NameTrieKeys keys;
    const ktNameTrieNode root = trie.Find(prefix);
    for (auto node = ktNameTrie::Next(root, {}); node; node = ktNameTrie::Next(root, node))
        keys.push_back(node.Key());
    return keys;
}

/// All that Previous gives below the node of `prefix`.
inline NameTrieKeys Backward(const ktNameTrie &trie, const char *prefix = "") {
    NameTrieKeys keys;
    const ktNameTrieNode root = trie.Find(prefix);
    for (auto node = ktNameTrie::Previous(root, {}); node; node = ktNameTrie::Previous(root, node)) {
        keys.push_back(node.Key());
    }
    return keys;
}
