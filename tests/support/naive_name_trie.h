#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

/// The trie of names as its rules put it, one node a byte: the model that ktNameTrie is compared with.
class NaiveNameTrie {
public:
    struct Node {
        uint64_t id = 0; ///< unique in the life of the trie
        Node *parent = nullptr;
        unsigned char byte = 0;
        std::map<unsigned char, std::unique_ptr<Node>> children;
        uint64_t terminalCount = 0;
        uint64_t subtreeCount = 1;
        uint64_t value = 0;
    };

    NaiveNameTrie() { alive[0] = &root; }

    Node *Root() { return &root; }
    /// The nodes that exist, by id.
    const std::map<uint64_t, Node *> &Alive() const { return alive; }

    Node *Insert(const std::string &key, uint64_t value) {
        for (const char c : key) {
            if (static_cast<signed char>(c) < 0) return nullptr;
        }
        Node *found = Find(key);
        if (found != nullptr && found->terminalCount != 0) return nullptr;
        Node *node = &root;
        for (const char c : key) {
            ++node->subtreeCount;
            std::unique_ptr<Node> &child = node->children[static_cast<unsigned char>(c)];
            if (child == nullptr) {
                child = std::make_unique<Node>();
                child->id = ++lastId;
                child->parent = node;
                child->byte = static_cast<unsigned char>(c);
                alive[child->id] = child.get();
            }
            node = child.get();
        }
        node->terminalCount = 1;
        node->value = value;
        return node;
    }

    bool Remove(const std::string &key) {
        Node *node = Find(key);
        if (node == nullptr || node->terminalCount == 0) return false;
        node->terminalCount = 0;
        node->value = 0;
        for (Node *above = node->parent; above != nullptr; above = above->parent) --above->subtreeCount;
        if (node->subtreeCount > 1) return true;
        if (node == &root) {
            for (auto &child : root.children) Forget(child.second.get());
            root.children.clear();
        } else {
            Forget(node);
            node->parent->children.erase(node->byte);
        }
        return true;
    }

    Node *Find(const std::string &key) {
        Node *node = &root;
        for (const char c : key) {
            const auto child = node->children.find(static_cast<unsigned char>(c));
            if (child == node->children.end()) return nullptr;
            node = child->second.get();
        }
        return node;
    }

    /// The terminal after `node` below `top`, one step of the ascending walk after the other.
    static Node *Next(Node *top, Node *node) {
        if (node == nullptr) node = top;
        do {
            node = StepForward(top, node);
        } while (node != nullptr && node->terminalCount == 0);
        return node;
    }

    static Node *Previous(Node *top, Node *node) {
        if (node == nullptr) {
            node = Deepest(top);
        } else {
            node = node == top ? nullptr : StepBack(node);
        }
        while (node != nullptr && node->terminalCount == 0) node = node == top ? nullptr : StepBack(node);
        return node;
    }

    static std::string Key(const Node *node) {
        std::string key;
        for (; node->parent != nullptr; node = node->parent) key.insert(key.begin(), char(node->byte));
        return key;
    }

private:
    void Forget(Node *node) {
        for (auto &child : node->children) Forget(child.second.get());
        alive.erase(node->id);
    }

    static Node *StepForward(Node *top, Node *node) {
        if (!node->children.empty()) return node->children.begin()->second.get();
        for (; node != top; node = node->parent) {
            const auto after = node->parent->children.upper_bound(node->byte);
            if (after != node->parent->children.end()) return after->second.get();
        }
        return nullptr;
    }

    static Node *StepBack(Node *node) {
        auto at = node->parent->children.find(node->byte);
        return at == node->parent->children.begin() ? node->parent : Deepest(std::prev(at)->second.get());
    }

    static Node *Deepest(Node *node) {
        while (!node->children.empty()) node = node->children.rbegin()->second.get();
        return node;
    }

    Node root;
    std::map<uint64_t, Node *> alive;
    uint64_t lastId = 0;
};
