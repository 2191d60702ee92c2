#pragma once

#include <cstdint>

constexpr uint32_t ktPageWalkLevels = 4;

/// What an engine finds on its way through the page tables of one address.
struct ktPageWalkResult {
    enum Mode : uint16_t {
        modeOff = 0,
        mode32Bit = 1,
        modePae = 2,
        mode4Level = 3,
        modeOther = 4, ///< known to the engine, and shown as nothing
    };

    uint16_t levelCount = 0; ///< how many entries are filled
    uint16_t reserved1 = 0;
    uint16_t mode = modeOff;
    uint8_t reserved2 = 0;
    uint8_t valid = 0;                       ///< not 0: the translation exists
    uint64_t entries[ktPageWalkLevels] = {}; ///< raw, from the top level down; 32-bit ones in the low half
};
