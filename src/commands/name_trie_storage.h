#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// One edge of a ktNameTrie and the node at its end. Links are indices; 0, the root, stands for none.
struct ktNameTrieEdge {
    static constexpr uint32_t maxLength = (1u << 23) - 1;
    static constexpr uint32_t inlineTail = 4;

    uint64_t value;
    uint32_t parent;
    uint32_t firstChild;
    uint32_t nextSibling; ///< ascending by first byte; the next free edge in a free one
    uint32_t keysBelow;   ///< keys that end below this edge's end
    /// The label behind its first byte: up to 4 bytes as they are, more as an offset into the label bytes.
    uint32_t tail;
    uint32_t length : 23; ///< bytes of the label; 0 for the root and for a free edge
    uint32_t firstByte : 7;
    uint32_t isTerminal : 1;  ///< a key ends at the end
    uint32_t isLowerPart : 1; ///< was cut off its parent's label, so places counted from there go on here

    bool IsLive() const { return isTerminal != 0 || keysBelow != 0; }
};
static_assert(sizeof(ktNameTrieEdge) == 32);

/// A node of the trie: `down` bytes below the start of edge `index`. The root is {0, 0}; all others have
/// 1 <= down <= length.
struct ktNameTriePlace {
    uint32_t index = 0;
    uint32_t down = 0;

    bool operator==(const ktNameTriePlace &) const = default;
};

/// The edges and label bytes of a ktNameTrie that is not empty. Two arrays that grow by an eighth.
class ktNameTrieStorage {
public:
    /// Null without memory, or when `limit` bytes do not suffice for an empty one.
    static ktNameTrieStorage *Create(size_t limit);
    ~ktNameTrieStorage();
    ktNameTrieStorage(const ktNameTrieStorage &) = delete;
    ktNameTrieStorage &operator=(const ktNameTrieStorage &) = delete;

    const ktNameTrieEdge &Edge(uint32_t index) const { return edges[index]; }
    /// The bytes of the edge's label behind the first; valid until the next change.
    const char *Tail(uint32_t index) const;
    size_t MemoryBytes() const;

    /// Makes a place that an insertion has overtaken refer to the edge that holds it now; false when it is
    /// gone.
    bool Resolve(ktNameTriePlace &place) const;
    /// Follows `key` from the root as far as there are nodes; `matched` receives the number of bytes.
    ktNameTriePlace Descend(std::string_view key, size_t &matched) const;
    /// The place one byte up; `place` is not the root.
    ktNameTriePlace Parent(ktNameTriePlace place) const;

    /// Makes a node for each byte of `rest` below `place`, and ends an edge at the last of them, which is
    /// returned in `place`. False without memory, and then nothing has changed. Bytes are 1 to 127.
    bool Extend(ktNameTriePlace &place, std::string_view rest, size_t limit);
    /// Marks the end of the edge as a key.
    void AddKey(uint32_t index, uint64_t value);
    /// Undoes AddKey. When there are no keys below, the last node of the edge goes, with all edges below.
    void RemoveKey(uint32_t index);

private:
    ktNameTrieStorage() = default;

    uint32_t FindChild(uint32_t index, unsigned char byte) const;
    bool Reserve(uint64_t newEdges, uint64_t newLabelBytes, size_t limit);
    bool ReserveLabels(uint64_t newBytes, size_t limit);
    bool CompactLabels(uint64_t newCapacity);
    uint32_t TakeEdge();
    void FreeEdge(uint32_t index);
    void FreeBelow(uint32_t index);
    void SetLabel(uint32_t index, uint32_t length, const char *tailBytes, uint32_t tailOffset);
    void Split(ktNameTriePlace place);
    void Link(uint32_t parent, uint32_t child);
    void Unlink(uint32_t child);
    void CountKeys(uint32_t index, uint32_t difference);

    ktNameTrieEdge *edges = nullptr; ///< the root is the first
    char *labels = nullptr;
    uint32_t edgeCount = 0;
    uint32_t edgeCapacity = 0;
    uint32_t freeEdges = 0; ///< list through nextSibling
    uint32_t freeEdgeCount = 0;
    uint32_t labelSize = 0;
    uint32_t labelCapacity = 0;
    uint32_t labelLive = 0; ///< of labelSize, the bytes that edges refer to
};
