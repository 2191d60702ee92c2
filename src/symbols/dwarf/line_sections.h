#pragma once

#include <cstdint>
#include <span>

/// The bytes of the sections that line programs are read from, empty for one that is not there. They stand
/// unchanged as long as anybody asks for lines.
struct ktLineSections {
    std::span<const uint8_t> line;    ///< .debug_line
    std::span<const uint8_t> str;     ///< .debug_str
    std::span<const uint8_t> lineStr; ///< .debug_line_str
    std::span<const uint8_t> strDwo;  ///< .debug_str.dwo
};
