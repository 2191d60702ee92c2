#include "symbols/object.h"

#include <limits>
#include <new>
#include <vector>

namespace {

// An object whose last reference goes while another one is being destroyed is destroyed on the spot, so that
// children go before the strings of their owner. Only beyond this depth it has to wait: the length of a chain
// of types is chosen by the file, the stack is not.
constexpr uint32_t maxNesting = 64;

/// Destroys objects for the outermost Release of a thread and for those inside it.
class Reaper {
public:
    static void Destroy(ktObject *object) {
        if (!current) {
            Reaper reaper;
            current = &reaper;
            reaper.DestroyNow(object);
            reaper.DestroyWaiting();
            current = nullptr;
        } else if (current->depth < maxNesting || !current->Defer(object)) {
            current->DestroyNow(object);
        }
    }

private:
    void DestroyNow(ktObject *object) {
        ++depth;
        object->Destroy(ktObject::destroyFree);
        --depth;
    }

    bool Defer(ktObject *object) {
        try {
            waiting.push_back(object);
        } catch (const std::bad_alloc &) {
            return false;
        }
        return true;
    }

    void DestroyWaiting() {
        std::vector<ktObject *> batch;
        while (!waiting.empty()) {
            batch.clear();
            batch.swap(waiting);
            for (ktObject *object : batch) DestroyNow(object);
        }
    }

    static thread_local Reaper *current;

    uint32_t depth = 0;
    std::vector<ktObject *> waiting;
};

thread_local Reaper *Reaper::current = nullptr;

} // namespace

void ktObject::Destroy(uint32_t flags) {
    if (flags & destroyFree) {
        delete this;
    } else {
        this->~ktObject();
    }
}

bool ktObject::AddRef() {
    uint32_t count = refCount.load(std::memory_order_relaxed);
    do {
        if (count == 0 || count == std::numeric_limits<uint32_t>::max()) return false;
    } while (!refCount.compare_exchange_weak(count, count + 1, std::memory_order_relaxed));
    return true;
}

void ktObject::Release() {
    uint32_t count = refCount.load(std::memory_order_relaxed);
    do {
        if (count == 0) return;
    } while (!refCount.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel,
                                             std::memory_order_relaxed));
    if (count == 1 && !inArena) Reaper::Destroy(this);
}
