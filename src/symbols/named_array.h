#pragma once

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "commands/name_trie.h"
#include "symbols/arena.h"
#include "symbols/lazy_value.h"
#include "symbols/name_index.h"
#include "symbols/named_object.h"
#include "symbols/object.h"
#include "symbols/unique_name.h"

/// What a container does with a name that it already holds.
enum class ktNameRule { unique, asItComes };

/// Growing array of owned objects with their names. While indexed, it answers as its name trie would: that
/// refuses bytes above 127, so such names are then neither found nor ever taken. Otherwise the answer is that
/// of a scan of the array. Names must not change after the add. One writer at a time; readers only while
/// nobody writes.
template <class T>
class ktNamedArray {
public:
    /// `arena`, where it is given, holds the new names of objects that stand in it.
    explicit ktNamedArray(ktNameRule nameRule, ktArena *arenaOfNames = nullptr)
        : arena(arenaOfNames), rule(nameRule) {}

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
        if (indexed && !ktNameTrie::CanHold(name)) return nullptr;
        const ktNameIndex *index = Index();
        if (!index) return Scan(name);
        const uint32_t place = index->Find(name, [this](uint32_t at) { return NameOf(*items[at]); });
        return place == ktNameIndex::none ? nullptr : items[place];
    }
    void SetIndexed(bool on) {
        indexed = on;
        trie.Drop();
    }
    bool IsIndexed() const { return indexed; }
    /// Drops what only adding needs, until the next Add. The first Find after it makes a new index.
    void Freeze() {
        unique.Forget();
        items.shrink_to_fit();
        places.Clear();
        hashed = false;
        frozen = true;
    }
    /// Drops the references in array order.
    void Release() {
        trie.Drop();
        frozenPlaces.Drop();
        places.Clear();
        hashed = frozen = false;
        if (hasHeapObjects) ReleaseAll(items);
        items.clear();
    }
    /// True when not all objects go with the arena.
    bool HasHeapObjects() const { return hasHeapObjects; }
    const std::vector<T *> &Items() const { return items; }
    /// All names while indexed, else none. Any thread while nobody writes; the first call after a change
    /// builds it.
    const ktNameTrie &Trie() const {
        static const ktNameTrie empty;
        if (!indexed) return empty;
        // Refused names and all but the first of equal ones simply stay out.
        const ktNameTrie *built = trie.Get([this](ktNameTrie &names) {
            for (T *object : items) names.Insert(NameOf(*object), reinterpret_cast<uint64_t>(object));
        });
        return built ? *built : empty;
    }

private:
    /// Up to here a scan is as fast as the hash, and most units stay below.
    static constexpr size_t scanLimit = 16;

    /// After this an append needs no memory but the trie's.
    void MakeRoom() {
        frozen = false;
        frozenPlaces.Drop();
        if (items.size() == items.capacity()) items.reserve(items.empty() ? 4 : items.size() * 2);
        if (hashed) {
            places.Reserve(items.size() + 1);
        } else if (rule == ktNameRule::unique && items.size() >= scanLimit) {
            Hash(places);
            hashed = true;
        }
    }
    /// Null where a scan is to answer.
    const ktNameIndex *Index() const {
        if (hashed) return &places;
        if (!frozen || items.size() <= scanLimit) return nullptr;
        return frozenPlaces.Get([this](ktNameIndex &index) { Hash(index); });
    }
    bool MakeNameUnique(T &object) {
        if (rule == ktNameRule::asItComes) return true;
        std::string candidate;
        const char *name = NameOf(object);
        const char *free = unique.Pick(name, [this](const char *text) { return Find(text); }, candidate);
        if (free == name) return true;
        if (!arena || !object.IsInArena()) return SetNameOf(object, free);
        LendNameTo(object, arena->CopyText(candidate));
        return true;
    }
    void Append(T *object) {
        items.push_back(object);
        object->SetInUnit();
        hasHeapObjects |= !object->IsInArena();
        trie.Drop();
        if (hashed) EnterLast();
    }
    /// Only refused names can be there already, and the first place of equal ones counts.
    void EnterLast() {
        const auto nameAt = [this](uint32_t at) { return NameOf(*items[at]); };
        const char *name = NameOf(*items.back());
        const bool mayRepeat = indexed && name && !ktNameTrie::CanHold(name);
        if (!name || (mayRepeat && places.Find(name, nameAt) != ktNameIndex::none)) return;
        places.Add(name, static_cast<uint32_t>(items.size() - 1));
    }
    /// Enters all names, the first place of equal ones.
    void Hash(ktNameIndex &index) const {
        index.Reserve(items.size() + 1);
        const auto nameAt = [this](uint32_t at) { return NameOf(*items[at]); };
        for (uint32_t place = 0; place < items.size(); ++place) {
            const char *name = NameOf(*items[place]);
            if (name && index.Find(name, nameAt) == ktNameIndex::none) index.Add(name, place);
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
    ktLazyValue<ktNameTrie> trie;
    ktNameIndex places; // in use while `hashed`
    ktLazyValue<ktNameIndex> frozenPlaces;
    ktUniqueNames unique;
    ktArena *arena;
    ktNameRule rule;
    bool indexed = false;
    bool hashed = false;
    bool frozen = false;
    bool hasHeapObjects = false;
};
