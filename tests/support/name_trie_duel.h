#pragma once

#include "commands/name_trie.h"
#include "support/naive_name_trie.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// A ktNameTrie and its model, driven side by side. Every operation gives the empty text while both agree,
/// and else a sentence on the first difference.
class NameTrieDuel {
public:
    using Node = NaiveNameTrie::Node;

    explicit NameTrieDuel(size_t limit = SIZE_MAX) : trie(limit) {}

    ktNameTrie &Trie() { return trie; }
    /// Insertions that failed for want of memory.
    uint64_t Refused() const { return refused; }

    std::string Insert(const std::string &key, uint64_t value) {
        const Node *present = model.Find(key);
        const bool isNew = present == nullptr || present->terminalCount == 0;
        const ktNameTrieNode node = trie.Insert(key.c_str(), value);
        if (!node && isNew && IsStorable(key)) {
            ++refused;
            return {};
        }
        Node *expected = model.Insert(key, value);
        if (bool(node) != (expected != nullptr)) return "insert of '" + key + "'";
        if (expected != nullptr) kept.emplace_back(expected->id, node);
        return expected != nullptr ? CompareNode(node, expected) : std::string();
    }

    std::string Remove(const std::string &key) {
        const bool expected = model.Remove(key);
        return trie.Remove(key.c_str()) == expected ? std::string() : "remove of '" + key + "'";
    }

    /// Keeps the handle of the node of that prefix, to be looked at by every later comparison.
    std::string Keep(const std::string &key) {
        Node *expected = model.Find(key);
        const ktNameTrieNode node = trie.Find(key.c_str());
        if (bool(node) != (expected != nullptr)) return "find of '" + key + "'";
        if (expected != nullptr) kept.emplace_back(expected->id, node);
        return {};
    }

    /// Compares the walks below the node of prefix `top`, one step from the node `from`, or a beginning when
    /// there is no such node below.
    std::string CompareStep(const std::string &top, const std::string &from) {
        Node *modelTop = model.Find(top);
        const ktNameTrieNode trieTop = trie.Find(top.c_str());
        if (bool(trieTop) != (modelTop != nullptr)) return "find of '" + top + "'";
        if (modelTop == nullptr) return {};
        const bool isBelow = from.compare(0, top.size(), top) == 0;
        Node *modelFrom = isBelow ? model.Find(from) : nullptr;
        const ktNameTrieNode trieFrom = isBelow ? trie.Find(from.c_str()) : ktNameTrieNode();
        if (bool(trieFrom) != (modelFrom != nullptr)) return "find of '" + from + "'";
        std::string fault =
            CompareNode(ktNameTrie::Next(trieTop, trieFrom), NaiveNameTrie::Next(modelTop, modelFrom));
        if (!fault.empty()) return "next of '" + from + "' below '" + top + "': " + fault;
        fault = CompareNode(ktNameTrie::Previous(trieTop, trieFrom),
                            NaiveNameTrie::Previous(modelTop, modelFrom));
        if (!fault.empty()) return "previous of '" + from + "' below '" + top + "': " + fault;
        return {};
    }

    /// Compares every node, every kept handle, and both walks from end to end.
    std::string CompareAll() {
        uint64_t keys = 0;
        for (const auto &[id, expected] : model.Alive()) {
            const std::string key = NaiveNameTrie::Key(expected);
            std::string fault = CompareNode(trie.Find(key.c_str()), expected);
            if (fault.empty() && trie.Find(key + "\x01")) {
                if (expected->children.count(1) == 0) fault = "a child that should not be";
            }
            if (!fault.empty()) return "node '" + key + "': " + fault;
            keys += expected->terminalCount;
        }
        if (trie.KeyCount() != keys) return "key count";
        std::string fault = CompareKept();
        if (fault.empty()) fault = CompareWalk(ktNameTrie::Next, NaiveNameTrie::Next);
        if (fault.empty()) fault = CompareWalk(ktNameTrie::Previous, NaiveNameTrie::Previous);
        return fault;
    }

private:
    static bool IsStorable(const std::string &key) {
        for (const char c : key) {
            if (static_cast<unsigned char>(c) > 127) return false;
        }
        return true;
    }

    std::string CompareNode(const ktNameTrieNode &node, const Node *expected) {
        if (bool(node) != (expected != nullptr)) return node ? "should be none" : "should be a node";
        if (expected == nullptr) return {};
        if (node.TerminalCount() != expected->terminalCount) return "terminal count";
        if (node.SubtreeCount() != expected->subtreeCount) return "subtree count";
        if (node.Value() != expected->value) return "value";
        if (node.Key() != NaiveNameTrie::Key(expected)) return "key '" + node.Key() + "'";
        if (!(node == trie.Find(node.Key()))) return "another handle of the same node is not equal";
        const ktNameTrieNode parent = node.Parent();
        if (bool(parent) != (expected->parent != nullptr)) return "parent";
        if (parent && parent.Key() != NaiveNameTrie::Key(expected->parent)) return "parent's key";
        if (parent == node) return "equal to its parent";
        return {};
    }

    std::string CompareKept() {
        std::vector<std::pair<uint64_t, ktNameTrieNode>> still;
        for (const auto &[id, node] : kept) {
            const auto expected = model.Alive().find(id);
            if (expected == model.Alive().end()) continue;
            const std::string fault = CompareNode(node, expected->second);
            if (!fault.empty())
                return "kept handle of '" + NaiveNameTrie::Key(expected->second) + "': " + fault;
            still.emplace_back(id, node);
        }
        kept = std::move(still);
        return {};
    }

    template <typename TrieStep, typename ModelStep>
    std::string CompareWalk(TrieStep trieStep, ModelStep modelStep) {
        ktNameTrieNode node;
        Node *expected = nullptr;
        do {
            node = trieStep(trie.Root(), node);
            expected = modelStep(model.Root(), expected);
            const std::string fault = CompareNode(node, expected);
            if (!fault.empty()) return "walk at '" + node.Key() + "': " + fault;
        } while (expected != nullptr);
        return {};
    }

    ktNameTrie trie;
    NaiveNameTrie model;
    std::vector<std::pair<uint64_t, ktNameTrieNode>> kept;
    uint64_t refused = 0;
};
