#include "symbols/dwarf/line_header.h"

namespace {

constexpr uint32_t wideLength = 0xFFFFFFFF; ///< the length proper follows, in 8 bytes

} // namespace

bool ktLineHeader::Read(ktByteCursor &cursor) {
    uint64_t length = cursor.U32();
    const bool is32 = length != wideLength;
    if (!is32) length = cursor.U64();
    end = cursor.Position() + length; // wraps for lengths that no file has, and is then passed already
    if (length != 0) version = cursor.U16();
    if (version == 5) cursor.Skip(2); // sizes of an address and of a segment selector
    cursor.Offset(is32); // of the header: the program starts where the tables end, whatever it says
    minInstLength = cursor.U8();
    // A version 5 header has this byte as well. It is read as one without it, so that each field from here on
    // takes the byte of the one before: tables and rows of such programs have always been what this gives.
    if (version == 4) maxOps = cursor.U8();
    cursor.U8(); // default of is_stmt, which no row keeps
    lineBase = static_cast<int8_t>(cursor.U8());
    lineRange = cursor.U8();
    opcodeBase = cursor.U8();
    for (uint32_t opcode = 1; opcode < opcodeBase; ++opcode) cursor.SkipLeb(); // counts of operands
    return !cursor.Failed();
}
