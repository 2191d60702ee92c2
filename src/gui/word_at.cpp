#include "gui/word_at.h"

namespace {

bool IsDelimiter(char byte) { return byte == '\t' || byte == '\n' || byte == ' '; }

} // namespace

std::string_view WordAt(std::string_view line, size_t column) {
    if (column >= line.size()) return {};
    size_t start = column;
    while (start > 0 && !IsDelimiter(line[start])) --start;
    if (IsDelimiter(line[start]) && start + 1 < line.size()) ++start;
    size_t end = column; // of the last byte, or the line's end, which has none
    while (end < line.size() && !IsDelimiter(line[end])) ++end;
    if (end < line.size() && end > 0) --end;
    if (start >= end) return {};
    return line.substr(start, end - start + 1);
}
