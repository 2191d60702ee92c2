#pragma once

#include "platform/sync.h"
#include "session/address.h"
#include "session/context.h"
#include "session/dbg_eng.h"

#include <cstdint>

class ktSpace;

constexpr uint64_t ktSnapshotCodeSize = 1024;
constexpr uint64_t ktSnapshotStackSize = 128;

/// The page-table root as addresses carry it: cr3 without its flag and reserved bits.
constexpr uint64_t ktPageTableRoot(uint64_t cr3) { return cr3 & 0x00FFFFFFFFFFF000; }

/// State of the stopped target as views and commands see it. A plain value, which a frame can copy.
struct ktSnapshotState {
    ktAddress codeAddress; ///< address of code[0], kind virtual
    uint64_t codeSize = ktSnapshotCodeSize;
    uint8_t code[ktSnapshotCodeSize] = {};
    ktAddress stackAddress; ///< address of stack[0], kind virtual
    uint64_t stackSize = ktSnapshotStackSize;
    uint8_t stack[ktSnapshotStackSize] = {};
    ktSpace *space = nullptr; ///< current when the snapshot was completed; null in a cleared one
    ktStopState stop;
    uint64_t coreCount = 0; ///< 0 while the target runs on all cores
    uint64_t currentCore = 0;
    ktContext context;

    uint64_t PageTableRoot() const { return ktPageTableRoot(context.values[ktRegCr3]); }
    /// Clears cores, space, sizes and register validity, and leaves everything else alone.
    void Reset();
};

/// A record of the session's rotation. Created once; its lock lives as long.
struct ktSnapshot : ktSnapshotState {
    bool lockReady = true;
    ktCriticalSection lock{100000};
};
