#pragma once

/// Lets the compiler check a printf-like call: positions of the format and the first argument, from 1.
#if defined(__GNUC__)
#define KT_PRINTF_FORMAT(formatAt, firstAt) __attribute__((format(printf, formatAt, firstAt)))
#else
#define KT_PRINTF_FORMAT(formatAt, firstAt)
#endif
