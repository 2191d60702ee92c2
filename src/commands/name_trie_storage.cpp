#include "commands/name_trie_storage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr uint64_t maxCount = 0xFFFFFFFF;

/// Bytes that a label of that length takes among the label bytes.
uint32_t StoredBytes(uint64_t length) {
    return length > ktNameTrieEdge::inlineTail + 1 ? uint32_t(length - 1) : 0;
}

/// Grown by an eighth, so that little stays unused in tries that are filled once and then kept.
uint64_t GrownCapacity(uint64_t capacity, uint64_t needed) {
    return std::min(std::max(capacity + capacity / 8, needed), maxCount);
}

uint32_t CommonLength(const char *a, const char *b, uint32_t length) {
    return uint32_t(std::mismatch(a, a + length, b).first - a);
}

} // namespace

ktNameTrieStorage *ktNameTrieStorage::Create(size_t limit) {
    ktNameTrieStorage *storage = new (std::nothrow) ktNameTrieStorage;
    if (storage == nullptr) return nullptr;
    // The root and, as it is made for an insertion, one edge.
    if (!storage->Reserve(2, 0, limit)) {
        delete storage;
        return nullptr;
    }
    storage->TakeEdge();
    return storage;
}

ktNameTrieStorage::~ktNameTrieStorage() {
    std::free(edges);
    std::free(labels);
}

size_t ktNameTrieStorage::MemoryBytes() const {
    return sizeof *this + edgeCapacity * sizeof(ktNameTrieEdge) + labelCapacity;
}

const char *ktNameTrieStorage::Tail(uint32_t index) const {
    const ktNameTrieEdge &edge = edges[index];
    return StoredBytes(edge.length) == 0 ? reinterpret_cast<const char *>(&edge.tail) : labels + edge.tail;
}

bool ktNameTrieStorage::Resolve(ktNameTriePlace &place) const {
    if (place.index >= edgeCount) return false;
    while (place.down > edges[place.index].length) {
        uint32_t lower = edges[place.index].firstChild;
        while (lower != 0 && edges[lower].isLowerPart == 0) lower = edges[lower].nextSibling;
        if (lower == 0) return false;
        place.down -= edges[place.index].length;
        place.index = lower;
    }
    return place.down != 0 || place.index == 0;
}

ktNameTriePlace ktNameTrieStorage::Descend(std::string_view key, size_t &matched) const {
    ktNameTriePlace place;
    matched = 0;
    while (matched < key.size()) {
        const uint32_t child = FindChild(place.index, static_cast<unsigned char>(key[matched]));
        if (child == 0) break;
        const uint32_t length = edges[child].length;
        const uint32_t wanted = uint32_t(std::min<size_t>(length, key.size() - matched));
        const uint32_t common = 1 + CommonLength(Tail(child), key.data() + matched + 1, wanted - 1);
        matched += common;
        place = {child, common};
        if (common < length) break;
    }
    return place;
}

ktNameTriePlace ktNameTrieStorage::Parent(ktNameTriePlace place) const {
    if (place.down > 1) return {place.index, place.down - 1};
    const uint32_t parent = edges[place.index].parent;
    return {parent, edges[parent].length};
}

uint32_t ktNameTrieStorage::FindChild(uint32_t index, unsigned char byte) const {
    uint32_t child = edges[index].firstChild;
    while (child != 0 && edges[child].firstByte < byte) child = edges[child].nextSibling;
    return child != 0 && edges[child].firstByte == byte ? child : 0;
}

bool ktNameTrieStorage::Extend(ktNameTriePlace &place, std::string_view rest, size_t limit) {
    const uint64_t wholeEdges = rest.size() / ktNameTrieEdge::maxLength;
    const uint32_t lastLength = uint32_t(rest.size() % ktNameTrieEdge::maxLength);
    const uint64_t labelBytes = wholeEdges * StoredBytes(ktNameTrieEdge::maxLength) + StoredBytes(lastLength);
    const bool isInside = place.down < edges[place.index].length;
    if (!Reserve(wholeEdges + (lastLength != 0) + isInside, labelBytes, limit)) return false;

    if (isInside) Split(place);
    while (!rest.empty()) {
        const uint32_t length = uint32_t(std::min<size_t>(rest.size(), ktNameTrieEdge::maxLength));
        const uint32_t index = TakeEdge();
        edges[index].firstByte = static_cast<unsigned char>(rest[0]) & 127;
        const uint32_t stored = StoredBytes(length);
        if (stored != 0) std::memcpy(labels + labelSize, rest.data() + 1, stored);
        SetLabel(index, length, rest.data() + 1, labelSize);
        labelSize += stored;
        Link(place.index, index);
        place = {index, length};
        rest.remove_prefix(length);
    }
    return true;
}

void ktNameTrieStorage::AddKey(uint32_t index, uint64_t value) {
    edges[index].isTerminal = 1;
    edges[index].value = value;
    CountKeys(index, 1);
}

void ktNameTrieStorage::RemoveKey(uint32_t index) {
    ktNameTrieEdge &edge = edges[index];
    edge.isTerminal = 0;
    edge.value = 0;
    CountKeys(index, ~uint32_t(0));
    if (edge.keysBelow != 0) return;
    FreeBelow(index);
    if (edge.length > 1) {
        // The nodes above the last one stay.
        SetLabel(index, edge.length - 1, Tail(index), edge.tail);
    } else if (edge.length == 1) {
        Unlink(index);
        FreeEdge(index);
    }
}

bool ktNameTrieStorage::Reserve(uint64_t newEdges, uint64_t newLabelBytes, size_t limit) {
    const uint64_t neededEdges = edgeCount + newEdges - std::min<uint64_t>(newEdges, freeEdgeCount);
    if (neededEdges > maxCount) return false;
    if (neededEdges > edgeCapacity) {
        uint64_t capacity = GrownCapacity(edgeCapacity, neededEdges);
        const uint64_t others = sizeof *this + uint64_t(labelCapacity);
        if (others + capacity * sizeof(ktNameTrieEdge) > limit) capacity = neededEdges;
        if (others + capacity * sizeof(ktNameTrieEdge) > limit) return false;
        void *grown = std::realloc(edges, size_t(capacity * sizeof(ktNameTrieEdge)));
        if (grown == nullptr) return false;
        edges = static_cast<ktNameTrieEdge *>(grown);
        edgeCapacity = uint32_t(capacity);
    }
    return newLabelBytes <= labelCapacity - labelSize || ReserveLabels(newLabelBytes, limit);
}

bool ktNameTrieStorage::ReserveLabels(uint64_t newBytes, size_t limit) {
    // Bytes of labels that are gone are only won back here, once they are more than half.
    const bool compact = labelLive < labelSize / 2;
    const uint64_t needed = (compact ? labelLive : labelSize) + newBytes;
    if (needed > maxCount) return false;
    uint64_t capacity = GrownCapacity(compact ? labelLive : labelCapacity, needed);
    const uint64_t others = sizeof *this + edgeCapacity * sizeof(ktNameTrieEdge);
    if (others + capacity > limit) capacity = needed;
    if (others + capacity > limit) return false;
    if (compact) return CompactLabels(capacity);
    void *grown = std::realloc(labels, size_t(capacity));
    if (grown == nullptr) return false;
    labels = static_cast<char *>(grown);
    labelCapacity = uint32_t(capacity);
    return true;
}

bool ktNameTrieStorage::CompactLabels(uint64_t newCapacity) {
    char *packed = static_cast<char *>(std::malloc(size_t(newCapacity)));
    if (packed == nullptr) return false;
    uint32_t size = 0;
    for (uint32_t index = 0; index < edgeCount; ++index) {
        const uint32_t stored = StoredBytes(edges[index].length);
        if (stored == 0) continue;
        std::memcpy(packed + size, labels + edges[index].tail, stored);
        edges[index].tail = size;
        size += stored;
    }
    std::free(labels);
    labels = packed;
    labelSize = size;
    labelCapacity = uint32_t(newCapacity);
    return true;
}

uint32_t ktNameTrieStorage::TakeEdge() {
    uint32_t index = freeEdges;
    if (index != 0) {
        freeEdges = edges[index].nextSibling;
        --freeEdgeCount;
    } else {
        index = edgeCount++;
    }
    edges[index] = ktNameTrieEdge();
    return index;
}

void ktNameTrieStorage::FreeEdge(uint32_t index) {
    labelLive -= StoredBytes(edges[index].length);
    edges[index] = ktNameTrieEdge();
    edges[index].nextSibling = freeEdges;
    freeEdges = index;
    ++freeEdgeCount;
}

void ktNameTrieStorage::FreeBelow(uint32_t index) {
    uint32_t current = index;
    while (true) {
        const uint32_t child = edges[current].firstChild;
        if (child != 0) {
            current = child;
            continue;
        }
        if (current == index) return;
        const uint32_t parent = edges[current].parent;
        edges[parent].firstChild = edges[current].nextSibling;
        FreeEdge(current);
        current = parent;
    }
}

void ktNameTrieStorage::SetLabel(uint32_t index, uint32_t length, const char *tailBytes,
                                 uint32_t tailOffset) {
    ktNameTrieEdge &edge = edges[index];
    labelLive += StoredBytes(length) - StoredBytes(edge.length);
    if (StoredBytes(length) == 0) {
        uint32_t inlined = 0;
        std::memcpy(&inlined, tailBytes, length - 1);
        edge.tail = inlined;
    } else {
        edge.tail = tailOffset;
    }
    edge.length = length & ktNameTrieEdge::maxLength;
}

void ktNameTrieStorage::Split(ktNameTriePlace place) {
    const uint32_t lowerIndex = TakeEdge();
    ktNameTrieEdge &upper = edges[place.index];
    ktNameTrieEdge &lower = edges[lowerIndex];
    const char *tail = Tail(place.index);
    const uint32_t offset = upper.tail;
    const uint32_t upperLength = place.down;
    const uint32_t lowerLength = upper.length - upperLength;

    // The upper part keeps the index: places above then stay where they are, even when the lower part goes.
    lower = upper;
    lower.length = 0;
    lower.firstByte = static_cast<unsigned char>(tail[upperLength - 1]) & 127;
    lower.isLowerPart = 1;
    SetLabel(lowerIndex, lowerLength, tail + upperLength, offset + upperLength);
    SetLabel(place.index, upperLength, tail, offset);
    for (uint32_t child = lower.firstChild; child != 0; child = edges[child].nextSibling) {
        edges[child].parent = lowerIndex;
    }
    upper.keysBelow += upper.isTerminal;
    upper.isTerminal = 0;
    upper.value = 0;
    upper.firstChild = 0;
    Link(place.index, lowerIndex);
}

void ktNameTrieStorage::Link(uint32_t parent, uint32_t child) {
    uint32_t *link = &edges[parent].firstChild;
    while (*link != 0 && edges[*link].firstByte < edges[child].firstByte) link = &edges[*link].nextSibling;
    edges[child].parent = parent;
    edges[child].nextSibling = *link;
    *link = child;
}

void ktNameTrieStorage::Unlink(uint32_t child) {
    uint32_t *link = &edges[edges[child].parent].firstChild;
    while (*link != child) link = &edges[*link].nextSibling;
    *link = edges[child].nextSibling;
}

void ktNameTrieStorage::CountKeys(uint32_t index, uint32_t difference) {
    while (index != 0) {
        index = edges[index].parent;
        edges[index].keysBelow += difference;
    }
}
