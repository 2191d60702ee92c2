#pragma once

#include <cstdint>

/// Where something is, in any kind of target memory or register space. A plain value.
struct ktAddress {
    enum Kind : uint32_t {
        kindNone = 0,
        kindVirtual = 1,
        kindLinear = 2,
        kindPhysical = 3,
        kindMsr = 4,
        kindIoPort = 5,
        kindMmioVirtual = 6,
        kindMmioLinear = 7,
        kindMmioPhysical = 8,
    };

    uint64_t value = 0;     ///< the address, a port number or a register number
    uint64_t root = 0;      ///< page-table root for kinds 1, 2, 6, 7; 0 means the current one
    uint16_t selector = 0;  ///< segment selector for kinds 1 and 6
    uint8_t width = 0;      ///< access width in bytes for kinds 5 to 8
    uint32_t attribute = 9; ///< handed to the engine for kinds 6 to 8, and updated by it
    uint32_t kind = kindNone;

    void Reset() { *this = ktAddress(); }
};

constexpr uint32_t ktAddressTextSize = 32;

/// Reads VALUE, SELECTOR:VALUE, either with @ROOT behind, or #VALUE (physical); all hexadecimal.
/// False, with `out` untouched, for null, for a length outside 1 to 63, and for bad separators.
bool ParseAddress(const char *text, ktAddress &out);
/// Writes the text form of kinds 1 to 3; the empty text and false for all others.
bool FormatAddress(const ktAddress &address, char (&text)[ktAddressTextSize]);
