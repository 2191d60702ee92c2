#pragma once

#include <cstddef>
#include <string_view>

/// The word of `line` that covers byte `column`; blanks, tabs and line ends part words. Empty when the column
/// is behind the line, and for a word of one character with something behind it.
std::string_view WordAt(std::string_view line, size_t column);
