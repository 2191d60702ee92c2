#pragma once

#include <cstdint>

enum ktKeyMod : uint32_t {
    ktModCtrl = 1,
    ktModAlt = 2,
    ktModShift = 4,
    ktModReserved = 8, ///< nothing sets it
};

constexpr uint64_t ktCodeShift = uint64_t(1) << 60;
constexpr uint64_t ktCodeAlt = uint64_t(1) << 61;
constexpr uint64_t ktCodeCtrl = uint64_t(1) << 62;
constexpr uint64_t ktCodeChar = uint64_t(1) << 63;

/// A key press or a character, as components get it.
struct ktKeyEvent {
    uint64_t key = 0; ///< virtual-key number, or the character
    bool is_char = false;
    uint8_t scan = 0;
    uint16_t repeat = 0;
    uint32_t mods = 0; ///< ktKeyMod bits
    uint64_t code = 0; ///< `key` with ktCode bits
};
