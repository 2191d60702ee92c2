#pragma once

#include <atomic>
#include <cstdint>

/// How far a long load has come. Any thread may read it at any time; the thread that loads begins and ends
/// it.
struct ktLoadProgress {
    std::atomic<uint64_t> unitsFound{0};
    std::atomic<uint64_t> unitsDone{0};

    void Reset() {
        unitsDone.store(0, std::memory_order_relaxed);
        unitsFound.store(0, std::memory_order_relaxed);
    }
};

/// Clears a progress when the load is over, however it ends.
class ktLoadProgressScope {
public:
    explicit ktLoadProgressScope(ktLoadProgress &ofLoad) : progress(ofLoad) {}
    ~ktLoadProgressScope() { progress.Reset(); }
    ktLoadProgressScope(const ktLoadProgressScope &) = delete;
    ktLoadProgressScope &operator=(const ktLoadProgressScope &) = delete;

private:
    ktLoadProgress &progress;
};
