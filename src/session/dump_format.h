#pragma once

#include <cstdint>
#include <span>

class ktCutText;
class ktLines;

/// What a row of a dump shows, in this order.
enum ktDumpFlag : uint8_t {
    ktDumpHex = 1,
    ktDumpDecimal = 2,
    ktDumpChars = 4,
    ktDumpAddress = 8, ///< in front of the row
    ktDumpOffset = 16, ///< behind the row
};

/// Bytes per row that follow from the width of the text.
constexpr uint32_t ktDumpFitRow = 0xFFFFFFFF;

/// The bytes of one row.
struct ktDumpRow {
    uint64_t address;               ///< of the first byte
    int64_t offset;                 ///< of the first byte, from the start of the dump or view
    uint32_t count;                 ///< bytes that the row covers
    std::span<const uint8_t> bytes; ///< from the row's first byte on; an element that starts in the row may
                                    ///< reach behind it, and what is not there counts as 0
};

/// How bytes become rows of text. Elements are little-endian.
///
/// The characters of 4-byte elements are code points, written in UTF-8, with a blank behind each: 0 writes
/// nothing but the blank, and what is no character (a surrogate, or above 10FFFF) a point.
struct ktDumpFormat {
    static constexpr uint32_t rowTextSize = 256; ///< of a row that Dump makes, with the terminator

    uint32_t rowBytes = 16;    ///< or ktDumpFitRow
    uint32_t elementWidth = 1; ///< in bytes: 1, 2, 4 or 8; with any other nothing is shown
    uint8_t flags = 0;         ///< ktDumpFlag
    uint32_t maxColumns = 256; ///< text width of a row, for ktDumpFitRow
    ktLines *sink = nullptr;   ///< receives the rows; null drops them

    /// Bytes per row; 0 when no row can be made.
    uint32_t RowBytes() const;
    /// Adds the rows of `bytes` to the sink. A count that is no multiple of the element width shows only a
    /// count / width of its bytes, and a final element that these cut is shown whole.
    void Dump(uint64_t address, std::span<const uint8_t> bytes, int64_t offset) const;
    /// Appends the text of one row. A row that is shorter than RowBytes() is padded.
    void PutRow(ktCutText &text, const ktDumpRow &row) const;
};
