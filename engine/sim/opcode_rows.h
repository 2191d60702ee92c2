#pragma once

#include "sim/opcode.h"

namespace sable {

/// One line of an opcode table: `count` opcodes from `first` on with the same meaning.
struct OpcodeRow {
    uint8_t first;
    unsigned count;
    Opcode opcode;
};

struct OpcodeMap {
    Opcode at[256];
};

/// Sixteen opcodes from `first` on, one for each condition.
struct ConditionRow {
    uint8_t first;
    const ExecuteTable *tables;
    Operands operands;
    uint16_t traits;
};

constexpr void AddRow(OpcodeMap &map, const OpcodeRow &row) {
    for (unsigned n = 0; n < row.count; ++n) map.at[row.first + n] = row.opcode;
}

constexpr void AddRow(OpcodeMap &map, const ConditionRow &row) {
    for (unsigned n = 0; n < 16; ++n)
        map.at[row.first + n] = {&row.tables[n], row.operands, row.traits, nullptr};
}

} // namespace sable
