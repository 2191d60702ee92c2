#pragma once

#include "platform/sync.h"
#include "session/address.h"

#include <atomic>
#include <cstdint>

/// One memory view's wish for bytes. The view owns it; the session fills it on the command thread.
struct ktMemViewRequest {
    ktAddress address; ///< guarded by addressLock
    uint32_t size = 0;
    uint32_t gotSize = 0; ///< bytes read
    uint32_t skipped = 0; ///< bytes at the start that could not be read
    uint8_t *buffer = nullptr;
    uint32_t paused = 0;
    std::atomic<uint32_t> pending{0}; ///< refreshes asked for and not yet done
    ktCriticalSection addressLock;    ///< held for the time of a copy
    /// Over gotSize, skipped and the buffer. The session holds it while it reads from the target, so a frame
    /// only tries to enter it.
    ktCriticalSection contentLock;
};
