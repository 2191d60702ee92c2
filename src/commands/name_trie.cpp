#include "commands/name_trie.h"

#include <algorithm>
#include <cstdlib>

#include "commands/name_trie_storage.h"

namespace {

uint32_t FirstLive(const ktNameTrieStorage &storage, uint32_t edge) {
    while (edge != 0 && !storage.Edge(edge).IsLive()) edge = storage.Edge(edge).nextSibling;
    return edge;
}

/// The last live child of `parent` in front of its child `end`, 0 meaning the last of all.
uint32_t LastLive(const ktNameTrieStorage &storage, uint32_t parent, uint32_t end) {
    uint32_t last = 0;
    for (uint32_t child = storage.Edge(parent).firstChild; child != end;
         child = storage.Edge(child).nextSibling) {
        if (storage.Edge(child).IsLive()) last = child;
    }
    return last;
}

/// The first key at the end of the edge or below; the edge is live.
uint32_t FirstKey(const ktNameTrieStorage &storage, uint32_t edge) {
    while (storage.Edge(edge).isTerminal == 0) edge = FirstLive(storage, storage.Edge(edge).firstChild);
    return edge;
}

/// The last key below the end of the edge, or the edge itself without any.
uint32_t LastBelow(const ktNameTrieStorage &storage, uint32_t edge) {
    while (storage.Edge(edge).keysBelow != 0) edge = LastLive(storage, edge, 0);
    return edge;
}

} // namespace

ktNameTrie::ktNameTrie(size_t limit) : memoryLimit(limit) {}

ktNameTrie::~ktNameTrie() { Clear(); }

bool ktNameTrie::CanHold(std::string_view key) {
    return std::none_of(key.begin(), key.end(), [](char c) { return static_cast<unsigned char>(c) > 127; });
}

ktNameTrieNode ktNameTrie::Root() const { return {this, 0, 0}; }

ktNameTrieNode ktNameTrie::Insert(const char *key, uint64_t value) {
    if (key == nullptr) return {};
    const std::string_view text(key);
    if (!CanHold(text)) return {};
    if (storage == nullptr) storage = ktNameTrieStorage::Create(memoryLimit);
    if (storage == nullptr) return {};

    size_t matched = 0;
    ktNameTriePlace place = storage->Descend(text, matched);
    const bool isNode = matched == text.size() && place.down == storage->Edge(place.index).length;
    if (isNode && storage->Edge(place.index).isTerminal != 0) return {};
    if (!isNode && !storage->Extend(place, text.substr(matched), memoryLimit)) return {};
    storage->AddKey(place.index, value);
    return {this, place.index, place.down};
}

bool ktNameTrie::Remove(const char *key) {
    const ktNameTrieNode node = Find(key);
    if (node.TerminalCount() == 0) return false;
    storage->RemoveKey(node.index);
    return true;
}

ktNameTrieNode ktNameTrie::Find(const char *key) const {
    if (key == nullptr) return {};
    return Find(std::string_view(key));
}

ktNameTrieNode ktNameTrie::Find(std::string_view key) const {
    if (key.empty()) return Root();
    if (storage == nullptr) return {};
    size_t matched = 0;
    const ktNameTriePlace place = storage->Descend(key, matched);
    return matched == key.size() ? ktNameTrieNode(this, place.index, place.down) : ktNameTrieNode();
}

uint64_t ktNameTrie::FindValue(const char *key) const { return Find(key).Value(); }

ktNameTrieNode ktNameTrie::Next(ktNameTrieNode root, ktNameTrieNode node) {
    const ktNameTrie *trie = root.trie;
    if (trie == nullptr || trie->storage == nullptr) return {};
    const ktNameTrieStorage &storage = *trie->storage;
    if (!node) node = root;
    ktNameTriePlace top{root.index, root.down};
    ktNameTriePlace place{node.index, node.down};
    if (node.trie != trie || !storage.Resolve(top) || !storage.Resolve(place)) return {};

    uint32_t edge = 0;
    if (place.down < storage.Edge(place.index).length) {
        // Inside an edge there is one way to go.
        edge = storage.Edge(place.index).IsLive() ? place.index : 0;
    } else {
        edge = FirstLive(storage, storage.Edge(place.index).firstChild);
    }
    for (uint32_t done = place.index; edge == 0; done = storage.Edge(done).parent) {
        if (done == top.index || done == 0) return {};
        edge = FirstLive(storage, storage.Edge(done).nextSibling);
    }
    return trie->EndOf(FirstKey(storage, edge));
}

ktNameTrieNode ktNameTrie::Previous(ktNameTrieNode root, ktNameTrieNode node) {
    const ktNameTrie *trie = root.trie;
    if (trie == nullptr || trie->storage == nullptr) return {};
    const ktNameTrieStorage &storage = *trie->storage;
    ktNameTriePlace top{root.index, root.down};
    ktNameTriePlace place{node.index, node.down};
    if (!storage.Resolve(top)) return {};
    if (!node) {
        const uint32_t last = LastBelow(storage, top.index);
        return storage.Edge(last).isTerminal != 0 ? trie->EndOf(last) : ktNameTrieNode();
    }
    if (node.trie != trie || !storage.Resolve(place)) return {};
    for (uint32_t edge = place.index; edge != top.index && edge != 0;) {
        const uint32_t parent = storage.Edge(edge).parent;
        const uint32_t before = LastLive(storage, parent, edge);
        if (before != 0) return trie->EndOf(LastBelow(storage, before));
        if (storage.Edge(parent).isTerminal != 0) return trie->EndOf(parent);
        edge = parent;
    }
    return {};
}

void ktNameTrie::Clear() {
    delete storage;
    storage = nullptr;
}

void ktNameTrie::ClearWithValues() {
    const auto freeValue = [](ktNameTrieNode node) {
        std::free(reinterpret_cast<void *>(uintptr_t(node.Value())));
    };
    freeValue(Root());
    for (ktNameTrieNode node = Next(Root(), {}); node; node = Next(Root(), node)) freeValue(node);
    Clear();
}

size_t ktNameTrie::MemoryBytes() const { return storage != nullptr ? storage->MemoryBytes() : 0; }

uint64_t ktNameTrie::KeyCount() const {
    const ktNameTrieNode root = Root();
    return root.SubtreeCount() - 1 + root.TerminalCount();
}

ktNameTrieNode ktNameTrie::EndOf(uint32_t edge) const { return {this, edge, storage->Edge(edge).length}; }

const ktNameTrieStorage *ktNameTrieNode::Resolve(ktNameTriePlace &place) const {
    place = {index, down};
    const ktNameTrieStorage *storage = trie != nullptr ? trie->storage : nullptr;
    return storage != nullptr && storage->Resolve(place) ? storage : nullptr;
}

bool ktNameTrieNode::operator==(const ktNameTrieNode &other) const {
    if (trie != other.trie) return false;
    ktNameTriePlace place;
    ktNameTriePlace otherPlace;
    Resolve(place);
    other.Resolve(otherPlace);
    return place == otherPlace;
}

uint64_t ktNameTrieNode::TerminalCount() const {
    ktNameTriePlace place;
    const ktNameTrieStorage *storage = Resolve(place);
    if (storage == nullptr) return 0;
    const ktNameTrieEdge &edge = storage->Edge(place.index);
    return place.down == edge.length ? edge.isTerminal : 0;
}

uint64_t ktNameTrieNode::SubtreeCount() const {
    if (trie == nullptr) return 0;
    ktNameTriePlace place;
    const ktNameTrieStorage *storage = Resolve(place);
    if (storage == nullptr) return 1;
    const ktNameTrieEdge &edge = storage->Edge(place.index);
    return 1 + uint64_t(edge.keysBelow) + (place.down < edge.length ? edge.isTerminal : 0);
}

uint64_t ktNameTrieNode::Value() const {
    ktNameTriePlace place;
    const ktNameTrieStorage *storage = Resolve(place);
    if (storage == nullptr) return 0;
    const ktNameTrieEdge &edge = storage->Edge(place.index);
    return place.down == edge.length ? edge.value : 0;
}

ktNameTrieNode ktNameTrieNode::Parent() const {
    ktNameTriePlace place;
    const ktNameTrieStorage *storage = Resolve(place);
    if (storage == nullptr || place.index == 0) return {};
    place = storage->Parent(place);
    return {trie, place.index, place.down};
}

std::string ktNameTrieNode::Key() const {
    ktNameTriePlace place;
    const ktNameTrieStorage *storage = Resolve(place);
    if (storage == nullptr) return {};
    std::string reversed;
    while (place.index != 0) {
        const char *tail = storage->Tail(place.index);
        for (uint32_t i = place.down - 1; i > 0; --i) reversed += tail[i - 1];
        reversed += char(storage->Edge(place.index).firstByte);
        const uint32_t parent = storage->Edge(place.index).parent;
        place = {parent, storage->Edge(parent).length};
    }
    std::reverse(reversed.begin(), reversed.end());
    return reversed;
}
