#pragma once

#include <cstdint>

/// Parts of a register. A key of the names below is a register's index in ktContext plus one of these.
constexpr uint32_t ktRegWhole = 0;
constexpr uint32_t ktRegPartLow32 = 0x100;
constexpr uint32_t ktRegPartLow16 = 0x200;
constexpr uint32_t ktRegPartLow8 = 0x400;
constexpr uint32_t ktRegPartHigh8 = 0x800; ///< bits 8 to 15

/// The short name: "rax", "eax", "cs_base". "Unknown" for a key that has none; never null.
const char *ktRegisterName(uint32_t key);
/// The label that the context view shows: "CS Base". It differs from the short name for whole registers
/// alone. "Unknown" for a key that has none; never null.
const char *ktRegisterLabel(uint32_t key);
