#pragma once

#include "platform/sync.h"

#include <cstdint>

/// The reader-writer lock of a line store, the guard of its fields, and the memory that whoever
/// holds the lock may still look at.
///
/// Two levels, so that text is appended while a frame is drawn: views hold the reader-writer lock
/// for a whole walk over lines, and nobody who appends ever takes it. Every operation of the store,
/// appending included, holds `access` while it touches the fields, but for no longer.
class ktLineStoreLock {
public:
    ktLineStoreLock() = default;
    ~ktLineStoreLock();
    ktLineStoreLock(const ktLineStoreLock &) = delete;
    ktLineStoreLock &operator=(const ktLineStoreLock &) = delete;

    /// A thread that holds the lock shared may take it shared again.
    void LockShared();
    void UnlockShared();
    void LockExclusive();
    void UnlockExclusive();

    /// Guards the fields of the store and what follows. Taken after the lock, when both are.
    ktCriticalSection access{4000};

    /// Under `access`: whether somebody holds the lock, shared or exclusive, and may thus hold
    /// pointers to text.
    bool IsHeld() const { return holders != 0; }
    /// Under `access`, while the lock is held: a terminated copy of `length` bytes that lives until
    /// nobody holds the lock. Null without memory.
    const char *KeepCopy(const char *bytes, uint64_t length);
    /// Under `access`, while the lock is held: frees `block` (malloc'd) as soon as nobody holds the
    /// lock. False without memory; the block then stays the caller's.
    bool FreeLater(void *block);

private:
    struct Kept; // one piece of memory that waits for the holders to leave

    Kept *Keep(uint64_t extra);
    void AddHolder();
    void RemoveHolder();
    void FreeKept();

    ktRwLock lock;
    uint64_t holders = 0;
    Kept *kept = nullptr;
};
