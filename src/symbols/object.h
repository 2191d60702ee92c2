#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

/// Base of everything in the symbol tree: an id and an atomic reference count, 1 at creation. An object that
/// stands in its unit's arena lives as long as the unit, whatever its count.
class ktObject {
public:
    enum Kind : uint32_t {
        kindCompUnit = 0,
        kindFunction = 1,
        kindFuncArg = 2,
        kindType = 3,
        kindTypeMember = 4,
        kindEnumMember = 5,
        kindModule = 6,
        kindVariable = 7,
    };
    /// Bit of Destroy: free the memory as well.
    static constexpr uint32_t destroyFree = 1;

    explicit ktObject(uint64_t id) : objectId(id) {}
    ktObject(const ktObject &) = delete;
    ktObject &operator=(const ktObject &) = delete;
    virtual ~ktObject() = default;

    /// Runs the destructor; with bit 0 of `flags` frees the memory too.
    virtual void Destroy(uint32_t flags);
    virtual uint64_t GetId() const { return objectId; }
    virtual Kind GetKind() const = 0;
    /// False, without counting, when the count is already 0 or cannot go higher (2^32 - 1). Any thread.
    virtual bool AddRef();
    /// The step from 1 to 0 destroys the object; a count of 0 stays 0. Any thread. However long the
    /// chain of objects that go with it, the stack use is bounded.
    virtual void Release();

    uint64_t RefCount() const { return refCount.load(std::memory_order_relaxed); }

    /// The object's memory is its unit's arena. Called by its maker.
    void SetInArena() { inArena = true; }
    bool IsInArena() const { return inArena; }
    /// A unit has taken the object in. Called by the thread that fills the unit.
    void SetInUnit() { inUnit = true; }
    bool IsInUnit() const { return inUnit; }
    /// True for the first call. Called by the thread that drops the object's owner.
    bool BeginSweep() { return !std::exchange(sweepBegun, true); }

private:
    const uint64_t objectId;
    std::atomic<uint32_t> refCount{1};
    bool inArena = false;
    bool inUnit = false;
    bool sweepBegun = false;
};

/// Owner of one reference; drops it at the end.
template <class T>
class ktRef {
public:
    ktRef() = default;
    /// Takes over the reference that the caller holds.
    explicit ktRef(T *owned) : object(owned) {}
    ktRef(ktRef &&other) noexcept : object(other.Detach()) {}
    ktRef &operator=(ktRef &&other) noexcept {
        if (this != &other) Reset(other.Detach());
        return *this;
    }
    ~ktRef() { Reset(); }

    T *Get() const { return object; }
    T *operator->() const { return object; }
    T &operator*() const { return *object; }
    explicit operator bool() const { return object != nullptr; }
    /// Hands the reference to the caller.
    T *Detach() {
        T *detached = object;
        object = nullptr;
        return detached;
    }
    void Reset(T *other = nullptr) {
        if (object) object->Release();
        object = other;
    }

private:
    T *object = nullptr;
};

/// Releases the objects of `owned` in array order and empties it.
template <class List>
void ReleaseAll(List &owned) {
    for (auto *object : owned) object->Release();
    owned.clear();
}
