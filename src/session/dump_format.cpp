#include "session/dump_format.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "app/cut_text.h"
#include "app/hex_digits.h"
#include "app/lines.h"

namespace {

constexpr uint32_t prefixColumns = 20; ///< of a row, left to address and blanks when its bytes are computed

bool IsElementWidth(uint32_t width) { return width == 1 || width == 2 || width == 4 || width == 8; }

/// The little-endian element at `at`; bytes behind the end count as 0.
uint64_t ElementAt(std::span<const uint8_t> bytes, size_t at, uint32_t width) {
    uint64_t value = 0;
    for (uint32_t i = 0; i < width && at + i < bytes.size(); ++i) value |= uint64_t(bytes[at + i]) << (8 * i);
    return value;
}

/// What one element becomes: each writes at `out` and returns the place behind, at most maxElementText bytes
/// on.
using WriteElement = char *(*)(char *out, uint64_t value, uint32_t width);

constexpr size_t maxElementText = 24; // 8 bytes in decimal: a sign, 19 digits, a blank, a terminator

char *WriteHex(char *out, uint64_t value, uint32_t width) {
    out = ktPutHex(out, value, 2 * width);
    *out++ = ' ';
    return out;
}

/// 4-byte and 8-byte elements are signed.
char *WriteDecimal(char *out, uint64_t value, uint32_t width) {
    const int64_t number = width == 4 ? static_cast<int32_t>(value) : static_cast<int64_t>(value);
    const int digits = static_cast<int>(2 * width);
    return out + std::snprintf(out, maxElementText, "%0*" PRId64 " ", digits, number);
}

/// A code point in UTF-8.
char *WriteCodePoint(char *out, uint32_t point) {
    if (point == 0) return out;
    if (point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) point = '.';
    constexpr uint32_t leads[] = {0, 0xC0, 0xE0, 0xF0};
    const uint32_t more = (point >= 0x80) + (point >= 0x800) + (point >= 0x10000); // units behind the first
    *out++ = static_cast<char>(leads[more] | point >> (6 * more));
    for (uint32_t left = more; left > 0; --left)
        *out++ = static_cast<char>(0x80 | (point >> (6 * (left - 1)) & 0x3F));
    return out;
}

char *WriteChar(char *out, uint64_t value, uint32_t width) {
    if (width <= 2) {
        *out++ = value >= 0x20 && value <= 0x7D ? static_cast<char>(value) : '.';
    } else if (width == 4) {
        out = WriteCodePoint(out, static_cast<uint32_t>(value));
        *out++ = ' ';
    }
    return out;
}

/// Appends as much as fits. Blanks stand for a UTF-8 sequence that fits only in part.
void PutWhole(ktCutText &text, std::string_view part) {
    size_t fitting = part.size();
    if (fitting > text.Room()) {
        fitting = text.Room();
        while (fitting > 0 && (static_cast<uint8_t>(part[fitting]) & 0xC0) == 0x80) --fitting;
    }
    text.Put(part.substr(0, fitting));
    if (fitting < part.size()) text.Fill(' ', text.Room());
}

void PutElements(ktCutText &text, const ktDumpRow &row, uint32_t width, WriteElement write) {
    char block[128];
    char *end = block;
    for (size_t at = 0; at < row.count && !text.IsFull(); at += width) {
        end = write(end, ElementAt(row.bytes, at, width), width);
        if (std::end(block) - end >= static_cast<ptrdiff_t>(maxElementText)) continue;
        PutWhole(text, {block, end});
        end = block;
    }
    PutWhole(text, {block, end});
}

/// The low 32 bits of the distance.
void PutOffset(ktCutText &text, int64_t offset) {
    const auto bits = static_cast<uint64_t>(offset);
    const auto distance = static_cast<uint32_t>(offset < 0 ? 0 - bits : bits);
    text.Put(offset < 0 ? "-0x" : "+0x");
    uint32_t digits = 1;
    while (digits < 8 && distance >> (4 * digits) != 0) ++digits;
    char number[8];
    text.Put({number, ktPutHex(number, distance, digits)});
}

} // namespace

uint32_t ktDumpFormat::RowBytes() const {
    if (!IsElementWidth(elementWidth)) return 0;
    if (rowBytes != ktDumpFitRow) return rowBytes;
    const uint32_t digits = 2 * elementWidth;
    return maxColumns < digits + prefixColumns ? 0 : (maxColumns - prefixColumns) / (digits + 1);
}

void ktDumpFormat::Dump(uint64_t address, std::span<const uint8_t> bytes, int64_t offset) const {
    const uint32_t perRow = RowBytes();
    if (!sink || perRow == 0) return;
    const size_t shown = bytes.size() % elementWidth == 0 ? bytes.size() : bytes.size() / elementWidth;
    char line[rowTextSize];
    for (size_t at = 0; at < shown; at += perRow) {
        ktCutText text(line);
        PutRow(text, {address + at, static_cast<int64_t>(static_cast<uint64_t>(offset) + at),
                      static_cast<uint32_t>(std::min<size_t>(shown - at, perRow)), bytes.subspan(at)});
        sink->AddLine(line);
    }
}

void ktDumpFormat::PutRow(ktCutText &text, const ktDumpRow &row) const {
    const uint32_t perRow = RowBytes();
    if (perRow == 0) return;
    const uint64_t missing = perRow - std::min(row.count, perRow);
    if (flags & ktDumpAddress) {
        char digits[16];
        text.Put({digits, ktPutHex(digits, row.address, 16)});
        text.Put(": ");
    }
    if (flags & ktDumpHex) PutElements(text, row, elementWidth, WriteHex);
    if (flags & ktDumpDecimal) PutElements(text, row, elementWidth, WriteDecimal);
    if (flags & ktDumpChars) {
        text.Fill(' ', 1 + 3 * missing);
        PutElements(text, row, elementWidth, WriteChar);
    }
    if (flags & ktDumpOffset) {
        text.Fill(' ', 1 + missing);
        PutOffset(text, row.offset);
    }
}
