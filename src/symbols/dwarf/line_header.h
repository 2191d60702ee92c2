#pragma once

#include "symbols/dwarf/byte_cursor.h"

#include <cstdint>

/// The fixed part of a line program's header.
struct ktLineHeader {
    /// Reads it from where `cursor` stands, which ends behind the table of opcode lengths. False for bytes
    /// that end too early. The version is not judged: one that is unknown has the oldest shape.
    bool Read(ktByteCursor &cursor);

    uint64_t end = 0; ///< position behind the whole program, by its length; may be one that does not exist
    uint16_t version = 0;
    uint8_t minInstLength = 0;
    uint8_t maxOps = 1; ///< 0 only where version 4 says so
    int8_t lineBase = 0;
    uint8_t lineRange = 0;
    uint8_t opcodeBase = 0;
};
