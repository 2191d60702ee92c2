#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class ktObject;

/// One debugging entry of a unit.
struct ktDieNode {
    uint32_t offset = 0;  ///< of the entry in .debug_info
    uint32_t shape = 0;   ///< index of its declaration
    uint32_t ordinal = 0; ///< objects of the unit that come before the one of this entry
    uint32_t parent = 0;  ///< nodes, 0 being the root and, everywhere but as a parent, none
    uint32_t firstChild = 0;
    uint32_t nextSibling = 0;
    ktObject *object = nullptr; ///< once it is needed
};

/// The entries of one unit as a tree, by the children flags and the end marks of the entries as they come.
class ktDieTree {
public:
    static constexpr uint32_t root = 0;

    /// Empties the tree, and keeps its memory. `start` is the offset of the first entry.
    void Begin(uint32_t start) {
        firstOffset = start;
        current = root;
        previousHasChildren = true;
        nodes.assign(1, {});
        firstOfBlock.clear();
    }

    /// Adds the next entry, which lies behind all before; returns its node.
    uint32_t Add(uint32_t offset, bool hasChildren) {
        const auto node = static_cast<uint32_t>(nodes.size());
        nodes.emplace_back();
        nodes[node].offset = offset;
        Link(node);
        previousHasChildren = hasChildren;
        current = node;
        const size_t block = (offset - firstOffset) / blockSize;
        if (firstOfBlock.size() <= block) firstOfBlock.resize(block + 1, node);
        return node;
    }
    /// An end mark. What `previousHasChildren` says is left as it is, so the entry after an entry that has
    /// children by its flag, but none in fact, becomes a child all the same.
    void Pop() { current = nodes[current].parent; }
    /// An entry whose tag is 0 ends a list of children as well, and has a flag of its own.
    void Pop(bool hasChildren) {
        Pop();
        previousHasChildren = hasChildren;
    }

    ktDieNode &operator[](uint32_t node) { return nodes[node]; }
    const ktDieNode &operator[](uint32_t node) const { return nodes[node]; }
    uint32_t Current() const { return current; }
    uint32_t FirstChild(uint32_t node) const { return nodes[node].firstChild; }
    uint32_t NextSibling(uint32_t node) const { return nodes[node].nextSibling; }
    size_t Count() const { return nodes.size() - 1; }
    /// The node of the entry that starts exactly at `offset`, or 0.
    uint32_t Find(uint64_t offset) const {
        const uint64_t block =
            offset >= firstOffset ? (offset - firstOffset) / blockSize : firstOfBlock.size();
        if (block >= firstOfBlock.size()) return 0;
        uint32_t node = firstOfBlock[block];
        while (node < nodes.size() && nodes[node].offset < offset) ++node;
        return node < nodes.size() && nodes[node].offset == offset ? node : 0;
    }

private:
    static constexpr uint32_t blockSize = 16; // bytes; a look-up passes the few entries of one block

    void Link(uint32_t node) {
        ktDieNode &before = nodes[current];
        if (previousHasChildren) {
            nodes[node].parent = current;
            if (before.firstChild == 0) {
                before.firstChild = node;
            } else {
                PutBehind(before.firstChild, node);
            }
        } else if (current != root) { // the root has no siblings: the entry stands apart
            nodes[node].parent = before.parent;
            PutBehind(current, node);
        }
    }
    void PutBehind(uint32_t place, uint32_t node) {
        nodes[node].nextSibling = nodes[place].nextSibling;
        nodes[place].nextSibling = node;
    }

    uint32_t firstOffset = 0;
    uint32_t current = root;
    bool previousHasChildren = true; // of the root
    std::vector<ktDieNode> nodes{1};
    std::vector<uint32_t> firstOfBlock; // first node at or behind the start of each block
};
