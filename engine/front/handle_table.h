#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace sable {

/// The next handle that any table gives.
inline std::atomic<uintptr_t> nextHandle = 0x10001;

/// What callers hold instead of pointers. A handle is a number that is never given again, and no two tables
/// give the same one: a stale, foreign or made-up handle is just not there. Any thread.
template <typename Object>
class HandleTable {
public:
    void *Add(std::shared_ptr<Object> object) {
        const std::lock_guard guard(lock);
        const uintptr_t handle = nextHandle++;
        objects.emplace(handle, std::move(object));
        return reinterpret_cast<void *>(handle);
    }

    /// Null when there is none. Who finds an object may use it, though it be taken out meanwhile.
    std::shared_ptr<Object> Find(const void *handle) {
        const std::lock_guard guard(lock);
        const auto place = objects.find(reinterpret_cast<uintptr_t>(handle));
        return place != objects.end() ? place->second : nullptr;
    }

    /// For one caller only.
    std::shared_ptr<Object> TakeOut(const void *handle) {
        const std::lock_guard guard(lock);
        const auto place = objects.find(reinterpret_cast<uintptr_t>(handle));
        if (place == objects.end()) return nullptr;
        std::shared_ptr<Object> object = std::move(place->second);
        objects.erase(place);
        return object;
    }

private:
    std::mutex lock;
    std::unordered_map<uintptr_t, std::shared_ptr<Object>> objects;
    static_assert(sizeof(void *) == 8, "handles of 64 bits do not run out");
};

} // namespace sable
