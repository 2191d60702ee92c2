#include "symbols/name_index.h"

#include <algorithm>
#include <bit>
#include <chrono>

namespace {

constexpr size_t SlotsFor(size_t names) {
    return names + names / 3 + 1; // three quarters full
}

struct HashKey {
    uint64_t low;
    uint64_t high;
};

/// Not a secret that must withstand an attacker on this machine: it only has to differ from what the writer
/// of a file could foresee.
HashKey MakeHashKey() {
    static const char anchor = 0;
    const auto time = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    const auto place = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(&anchor));
    return {time * 0x9E3779B97F4A7C15, std::rotl(place, 32) ^ time};
}

/// SipHash with one round for each word and three at the end.
class KeyedHash {
public:
    explicit KeyedHash(const HashKey &key)
        : a(key.low ^ 0x736F6D6570736575), b(key.high ^ 0x646F72616E646F6D), c(key.low ^ 0x6C7967656E657261),
          d(key.high ^ 0x7465646279746573) {}

    void Add(uint64_t word) {
        d ^= word;
        Round();
        a ^= word;
    }
    uint64_t End() {
        c ^= 0xFF;
        Round();
        Round();
        Round();
        return a ^ b ^ c ^ d;
    }

private:
    void Round() {
        a += b;
        b = std::rotl(b, 13) ^ a;
        a = std::rotl(a, 32);
        c += d;
        d = std::rotl(d, 16) ^ c;
        a += d;
        d = std::rotl(d, 21) ^ a;
        c += b;
        b = std::rotl(b, 17) ^ c;
        c = std::rotl(c, 32);
    }

    uint64_t a, b, c, d;
};

} // namespace

uint32_t ktNameIndex::Hash(const char *name) {
    static const HashKey key = MakeHashKey();
    const size_t length = std::strlen(name);
    KeyedHash hash(key);
    uint64_t word;
    size_t done = 0;
    for (; length - done >= sizeof(word); done += sizeof(word)) {
        std::memcpy(&word, name + done, sizeof(word));
        hash.Add(word);
    }
    word = 0;
    std::memcpy(&word, name + done, length - done);
    hash.Add(word ^ (uint64_t(length) << 56));
    return static_cast<uint32_t>(hash.End());
}

void ktNameIndex::Reserve(size_t names) {
    const size_t wanted = SlotsFor(names);
    if (wanted > slots.size()) Resize(std::max(wanted, slots.size() * 2));
}

void ktNameIndex::Add(const char *name, uint32_t place) {
    Reserve(used + 1);
    Put({Hash(name), place});
    ++used;
}

void ktNameIndex::Clear() {
    slots = std::vector<Slot>();
    used = 0;
}

void ktNameIndex::Put(const Slot &slot) {
    size_t at = Home(slot.hash);
    while (slots[at].place != none) at = Behind(at);
    slots[at] = slot;
}

void ktNameIndex::Resize(size_t slotCount) {
    std::vector<Slot> old(slotCount);
    old.swap(slots);
    for (const Slot &slot : old) {
        if (slot.place != none) Put(slot);
    }
}
