#include "app/cut_text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

void ktCutText::Put(std::string_view part) {
    length += part.copy(start + length, limit - length);
    start[length] = 0;
}

void ktCutText::Fill(char c, uint64_t count) {
    const size_t fitting = static_cast<size_t>(std::min<uint64_t>(count, limit - length));
    std::memset(start + length, c, fitting);
    length += fitting;
    start[length] = 0;
}

void ktCutText::Print(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int wanted = std::vsnprintf(start + length, limit - length + 1, format, arguments);
    va_end(arguments);
    if (wanted > 0) length = std::min(limit, length + static_cast<size_t>(wanted));
    start[length] = 0; // also after a failure
}
