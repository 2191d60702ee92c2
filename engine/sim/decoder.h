#pragma once

#include <cstdint>

#include "sim/instruction.h"

namespace sable {

struct Decoded {
    unsigned length; ///< in bytes; 0: the instruction goes on beyond what is there
    bool endsBlock;
};

constexpr unsigned maxInstructionLength = 15;

/// Decodes one instruction of code with that default width from `available` bytes. `at` is where it stands in
/// its block. What is no instruction becomes one that raises #UD, one that is too long #GP.
Decoded Decode(const uint8_t *bytes, unsigned available, Width codeWidth, unsigned at,
               Instruction &instruction);

} // namespace sable
