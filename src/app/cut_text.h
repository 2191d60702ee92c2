#pragma once

#include "platform/compiler.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

/// A text that grows in a caller's buffer and is terminated at all times. What does not fit is cut.
class ktCutText {
public:
    /// The empty text in `buffer`, which outlives this object; `capacity`, in bytes with the terminator,
    /// is at least 1.
    ktCutText(char *buffer, size_t capacity) : start(buffer), limit(capacity - 1) { start[0] = 0; }
    template <size_t capacity>
    explicit ktCutText(char (&buffer)[capacity]) : ktCutText(buffer, capacity) {}

    void Put(std::string_view part);
    /// Appends `count` times `c`.
    void Fill(char c, uint64_t count);
    /// Appends as printf does. `format` is the program's own: foreign texts are arguments.
    void Print(const char *format, ...) KT_PRINTF_FORMAT(2, 3);
    void Clear() { start[length = 0] = 0; }

    const char *Get() const { return start; }
    size_t Length() const { return length; }
    /// Bytes that still fit.
    size_t Room() const { return limit - length; }
    /// Nothing more fits.
    bool IsFull() const { return length == limit; }

private:
    char *start;
    size_t limit; ///< bytes without the terminator
    size_t length = 0;
};
