#pragma once

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "commands/name_trie.h"
#include "symbols/name_index.h"
#include "symbols/named_object.h"
#include "symbols/object.h"
#include "symbols/unique_name.h"

/// What a container does with a name that it already holds.
enum class ktNameRule { unique, asItComes };

/// Growing array of owned objects with their names. While indexed, a trie answers for the names: it refuses
/// bytes above 127, so such names are then neither found nor ever taken. Otherwise the answer is that of a
/// scan of the array. Names must not change after the add. One writer at a time; readers only while nobody
/// writes.
template <class T>
class ktNamedArray {
public:
    explicit ktNamedArray(ktNameRule nameRule) : rule(nameRule) {}

    /// Takes a reference, makes the name unique where that is the rule, and appends. False, with no
    /// reference kept, when that cannot be done. `beforeAppend()` runs when only the append is left.
    template <class BeforeAppend>
    bool Add(T *object, const BeforeAppend &beforeAppend) {
        if (!object || items.size() >= ktNameIndex::none || !object->AddRef()) return false;
        bool added = false;
        try {
            MakeRoom();
            if (MakeNameUnique(*object)) {
                beforeAppend();
                Append(object);
                added = true;
            }
        } catch (const std::bad_alloc &) {
            added = false;
        }
        if (!added) object->Release();
        return added;
    }
    /// The object with exactly that name, the first one of equal names; null for null and unknown names.
    T *Find(const char *name) const {
        if (!name) return nullptr;
        if (indexed) return reinterpret_cast<T *>(trie.FindValue(name));
        if (!hashed) return Scan(name);
        const uint32_t place = places.Find(name, [this](uint32_t at) { return NameOf(*items[at]); });
        return place == ktNameIndex::none ? nullptr : items[place];
    }
    void SetIndexed(bool on) {
        if (on == indexed) return;
        indexed = on;
        trie.Clear();
        places.Clear();
        hashed = false;
        if (indexed) {
            for (T *object : items) EnterIntoTrie(object);
        } else if (items.size() > scanLimit) {
            HashAll();
        }
    }
    bool IsIndexed() const { return indexed; }
    /// Drops what only adding needs. Find stays as fast.
    void Freeze() {
        unique.Forget();
        places.Shrink();
    }
    /// Drops the references in array order.
    void Release() {
        trie.Clear();
        places.Clear();
        ReleaseAll(items);
    }
    const std::vector<T *> &Items() const { return items; }
    const ktNameTrie &Trie() const { return trie; }

private:
    /// Up to here a scan is as fast as the hash, and most units stay below.
    static constexpr size_t scanLimit = 16;

    /// After this an append needs no memory but the trie's.
    void MakeRoom() {
        if (items.size() == items.capacity()) items.reserve(items.empty() ? 4 : items.size() * 2);
        if (hashed) {
            places.Reserve(items.size() + 1);
        } else if (!indexed && items.size() >= scanLimit) {
            HashAll();
        }
    }
    bool MakeNameUnique(T &object) {
        if (rule == ktNameRule::asItComes) return true;
        std::string candidate;
        const char *name = NameOf(object);
        const char *free = unique.Pick(name, [this](const char *text) { return Find(text); }, candidate);
        return free == name || SetNameOf(object, free);
    }
    void Append(T *object) {
        items.push_back(object);
        object->SetInUnit();
        if (indexed) {
            EnterIntoTrie(object);
        } else if (hashed && NameOf(*object)) {
            places.Add(NameOf(*object), static_cast<uint32_t>(items.size() - 1));
        }
    }
    /// Refused names and all but the first of equal ones simply stay out.
    void EnterIntoTrie(T *object) { trie.Insert(NameOf(*object), reinterpret_cast<uint64_t>(object)); }
    void HashAll() {
        if (rule == ktNameRule::asItComes) return;
        places.Reserve(items.size() + 1);
        hashed = true;
        for (size_t place = 0; place < items.size(); ++place) {
            const char *name = NameOf(*items[place]);
            if (name && !Find(name)) places.Add(name, static_cast<uint32_t>(place));
        }
    }
    T *Scan(const char *name) const {
        for (T *object : items) {
            const char *own = NameOf(*object);
            if (own && std::strcmp(own, name) == 0) return object;
        }
        return nullptr;
    }

    std::vector<T *> items;
    ktNameTrie trie;
    ktNameIndex places; // in use while `hashed`
    ktUniqueNames unique;
    ktNameRule rule;
    bool indexed = false;
    bool hashed = false;
};
