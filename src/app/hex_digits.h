#pragma once

#include <cstdint>

/// Writes the low `digits` hexadecimal digits of `value`, upper case and with leading zeros, at `out`,
/// without a terminator; returns the place behind them.
inline char *ktPutHex(char *out, uint64_t value, uint32_t digits) {
    for (uint32_t shift = digits * 4; shift > 0; shift -= 4)
        *out++ = "0123456789ABCDEF"[(value >> (shift - 4)) & 15];
    return out;
}
