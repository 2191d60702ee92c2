#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class ktNameTrie;
class ktNameTrieStorage;
struct ktNameTriePlace;

/// A place in a ktNameTrie: the end of some prefix of a stored key. A small value; false when it stands
/// for no node. It stays valid until its node is removed or the trie cleared, whatever is inserted or
/// removed elsewhere meanwhile. After that it answers as a node without a key, or as another node.
class ktNameTrieNode {
public:
    ktNameTrieNode() = default;
    explicit operator bool() const { return trie != nullptr; }
    bool operator==(const ktNameTrieNode &other) const;

    /// 1 when a key ends here, else 0.
    uint64_t TerminalCount() const;
    /// 1 plus the number of keys stored below, so there are children exactly when it is above 1.
    uint64_t SubtreeCount() const;
    /// The caller's word of the key that ends here, 0 for none.
    uint64_t Value() const;
    /// The node one byte up; none for the root.
    ktNameTrieNode Parent() const;
    /// The bytes from the root to here.
    std::string Key() const;

private:
    friend class ktNameTrie;
    ktNameTrieNode(const ktNameTrie *owner, uint32_t edge, uint32_t depth)
        : trie(owner), index(edge), down(depth) {}
    /// The storage and the place as it is now; null when there is no such place (any longer) or no storage.
    const ktNameTrieStorage *Resolve(ktNameTriePlace &place) const;

    // Edges are compressed, so a node may lie inside an edge: `down` bytes below the start of edge `index`.
    // When that edge has been split since, the bytes behind its end go on in its lower part.
    const ktNameTrie *trie = nullptr;
    uint32_t index = 0;
    uint32_t down = 0;
};

/// Byte-indexed trie from 7-bit text keys to a word of the caller. It behaves as one node a byte; edges
/// without a branch are stored as one. Values are never freed by it but in ClearWithValues. An empty trie
/// has no memory of its own. One writer at a time; readers only while nobody writes.
class ktNameTrie {
public:
    /// Insert fails rather than let MemoryBytes() pass `limit`.
    explicit ktNameTrie(size_t limit = SIZE_MAX);
    ~ktNameTrie();
    ktNameTrie(const ktNameTrie &) = delete;
    ktNameTrie &operator=(const ktNameTrie &) = delete;

    /// True for keys that Insert does not refuse for what they are.
    static bool CanHold(std::string_view key);

    ktNameTrieNode Root() const;
    /// The new key's node. None, and nothing changed, for a null key, a byte above 127, a key
    /// already stored, or exhausted memory. The empty key marks the root.
    ktNameTrieNode Insert(const char *key, uint64_t value);
    /// False when the key is not stored. A key with others below loses its mark and its value. One without
    /// takes its last node and all below along; the nodes above stay, those without any key left included.
    bool Remove(const char *key);
    /// The node of the prefix `key`, interior nodes included; none when no such path exists.
    ktNameTrieNode Find(const char *key) const;
    ktNameTrieNode Find(std::string_view key) const;
    /// The value of the exact key, 0 when it is not stored.
    uint64_t FindValue(const char *key) const;
    /// The next terminal after `node` below `root` in ascending key order; no `node` means the
    /// beginning. `root` itself is never returned.
    static ktNameTrieNode Next(ktNameTrieNode root, ktNameTrieNode node);
    /// The terminal before `node`, descending; no `node` means the last. Here `root` itself is
    /// returned when it is terminal and the walk comes up to it.
    static ktNameTrieNode Previous(ktNameTrieNode root, ktNameTrieNode node);
    void Clear();
    /// Frees each terminal's value (a malloc'd block) first, the root's included.
    void ClearWithValues();
    /// Bytes of memory that this trie holds beyond itself.
    size_t MemoryBytes() const;
    uint64_t KeyCount() const;

private:
    friend class ktNameTrieNode;

    ktNameTrieNode EndOf(uint32_t edge) const;

    ktNameTrieStorage *storage = nullptr; ///< null until the first insertion
    size_t memoryLimit;
};
