#pragma once

#include "platform/sync.h"

#include <atomic>
#include <memory>
#include <vector>

class ktSpace;

/// The spaces of one connection and the current one. Find, Append and the current space may be used by
/// two command threads at once; Spaces() by one while nobody appends.
class ktSpaceList {
public:
    ktSpaceList();
    ~ktSpaceList();

    ktSpace *Current() const { return current; }
    /// The space with that key, or null.
    ktSpace *Find(uint64_t key) const;
    /// Appends; the list owns it.
    ktSpace *Append(std::unique_ptr<ktSpace> space);
    void SetCurrent(ktSpace *space) { current = space; }
    const std::vector<std::unique_ptr<ktSpace>> &Spaces() const { return spaces; }

private:
    mutable ktCriticalSection lock;
    std::vector<std::unique_ptr<ktSpace>> spaces;
    std::atomic<ktSpace *> current = nullptr;
};
