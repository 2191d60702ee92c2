#pragma once

#include <atomic>
#include <memory>
#include <new>

/// A value that the first who asks for it makes. Set and Drop belong to the one writer; Get is for any thread
/// and takes no lock: of two threads that make it at once, one throws its own away.
template <class T>
class ktLazyValue {
public:
    ktLazyValue() = default;
    ~ktLazyValue() { Drop(); }
    ktLazyValue(const ktLazyValue &) = delete;
    ktLazyValue &operator=(const ktLazyValue &) = delete;

    void Set(std::unique_ptr<const T> made) {
        delete value.exchange(made.release(), std::memory_order_acq_rel);
    }
    void Drop() {
        if (value.load(std::memory_order_relaxed)) Set(nullptr);
    }
    /// The value, which `make(fresh)` fills when it is not there; null without memory. It stays until the
    /// next Set or Drop.
    template <class Make>
    const T *Get(const Make &make) const {
        const T *present = value.load(std::memory_order_acquire);
        return present ? present : MakeNow(make);
    }

private:
    template <class Make>
    const T *MakeNow(const Make &make) const {
        std::unique_ptr<T> made;
        try {
            made = std::make_unique<T>();
            make(*made);
        } catch (const std::bad_alloc &) {
            return nullptr;
        }
        const T *present = nullptr;
        const bool first = value.compare_exchange_strong(present, made.get(), std::memory_order_acq_rel,
                                                         std::memory_order_acquire);
        return first ? made.release() : present;
    }

    mutable std::atomic<const T *> value{nullptr};
};
