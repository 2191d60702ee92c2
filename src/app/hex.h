#pragma once

#include <cstdint>

/// The system's hexadecimal reader: skips a leading "0x", folds case, and passes over every byte
/// that is no hexadecimal digit. No overflow check: high bits fall away. Null and "" give 0.
uint64_t ktParseHex(const char *text);
