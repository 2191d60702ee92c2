#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

/// Finds the place of a name in an array whose owner keeps the names: a hash table of places, 8 bytes a
/// slot. The hash is keyed anew in each process, so that a file cannot bring names that collide.
/// One writer at a time; readers only while nobody writes.
class ktNameIndex {
public:
    static constexpr uint32_t none = ~uint32_t(0);

    /// The place that was added for `name`, or none. `nameAt(place)` gives the name that stands there.
    template <class NameAt>
    uint32_t Find(const char *name, const NameAt &nameAt) const {
        if (slots.empty()) return none;
        const uint32_t hash = Hash(name);
        for (size_t at = Home(hash); slots[at].place != none; at = Behind(at)) {
            if (slots[at].hash == hash && std::strcmp(nameAt(slots[at].place), name) == 0) {
                return slots[at].place;
            }
        }
        return none;
    }
    /// Makes room for `names` names in total: until there are as many, Add needs no memory.
    void Reserve(size_t names);
    /// Enters a name that Find does not find, for a `place` below `none`.
    void Add(const char *name, uint32_t place);
    void Clear();

    /// Bytes of memory that the table holds beyond this object.
    size_t MemoryBytes() const { return slots.capacity() * sizeof(Slot); }

private:
    struct Slot {
        uint32_t hash = 0;
        uint32_t place = none;
    };

    static uint32_t Hash(const char *name);
    size_t Home(uint32_t hash) const { return static_cast<size_t>((uint64_t(hash) * slots.size()) >> 32); }
    size_t Behind(size_t at) const { return at + 1 == slots.size() ? 0 : at + 1; }
    void Put(const Slot &slot);
    void Resize(size_t slotCount);

    std::vector<Slot> slots; // free slots have no place
    size_t used = 0;
};
