#pragma once

#include <cstdint>

/// Four bytes R, G, B, A as the graphics library takes them.
struct ktColor {
    uint8_t r = 0;
    uint8_t g = 0;
    uint8_t b = 0;
    uint8_t a = 0;

    friend constexpr bool operator==(const ktColor &, const ktColor &) = default;
};
static_assert(sizeof(ktColor) == 4 && alignof(ktColor) == 1);

/// From 0xAABBGGRR, which is how the four bytes read as a little-endian word.
constexpr ktColor ktColorFrom(uint32_t word) {
    return {static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word >> 16),
            static_cast<uint8_t>(word >> 24)};
}

constexpr ktColor ktColorText = ktColorFrom(0xFFFFFFFF);      ///< also underlines and the caret of the focus
constexpr ktColor ktColorNoCaret = ktColorFrom(0x00FFFFFF);   ///< invisible
constexpr ktColor ktColorIconHover = ktColorFrom(0xFF000000); ///< also the back of labels, which is not drawn
constexpr ktColor ktColorClear = ktColorFrom(0x00000000);     ///< back of a button without the pointer
constexpr ktColor ktColorButton = ktColorFrom(0xFF6B6867);    ///< icon without, back with the pointer
constexpr ktColor ktColorView = ktColorFrom(0xFF1E1A1A);      ///< back of the views
constexpr ktColor ktColorInput = ktColorFrom(0xFF272322);     ///< back of text inputs
constexpr ktColor ktColorCurrentLine = ktColorFrom(0xFF505050); ///< bar under the current instruction
constexpr ktColor ktColorSelectedRow = ktColorFrom(0xFFFF0000); ///< of the registers
constexpr ktColor ktColorRegister = ktColorFrom(0xFF00CCFF);    ///< register names among instructions
constexpr ktColor ktColorBranch = ktColorFrom(0xFF0000FF);      ///< branch mnemonics
constexpr ktColor ktColorHexNumber = ktColorFrom(0xFFFFCC00);
