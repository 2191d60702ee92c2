#pragma once

#include <cstdint>

class ktDbgEng;

/// What CPUID tells of the target's processor.
struct ktCpuIdentity {
    bool ready = false; ///< never set, so each read repeats the queries
    ktDbgEng *engine = nullptr;
    uint8_t brand[64] = {}; ///< raw results of leaves 0x80000002 to 0x80000005: EAX, EBX, ECX, EDX each
    uint64_t virtualAddressBits = 0;
    uint64_t physicalAddressBits = 0;

    /// Queries the engine; false without one and on a negative result.
    bool Read();
};
