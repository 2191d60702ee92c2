#pragma once

#include <cstdint>

constexpr uint32_t ktRegisterCount = 65;

/// Indices of the registers that the session itself reads.
enum ktRegisterIndex : uint32_t {
    ktRegIp = 0,  ///< instruction pointer
    ktRegCr3 = 1, ///< page-table root
    ktRegSp = 2,  ///< stack pointer
    ktRegCs = 19,
    ktRegCsBase = 21,
    ktRegSs = 27,
};

/// Register values by index. Bit n of the masks stands for values[n]; bit 63 for 63 and 64 together.
struct ktContext {
    bool complete = false; ///< every wanted register has been filled
    uint32_t mode = 0;     ///< ktProcessorMode
    uint64_t values[ktRegisterCount] = {};
    uint64_t validMask = 0;                   ///< registers that are filled
    uint64_t wantedMask = 0x07FFFFFFFFFFFFFF; ///< registers asked for; no debug registers by default
    uint64_t reserved = 0;                    ///< always 0
};
