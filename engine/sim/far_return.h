#pragma once

#include <cstdint>

namespace sable {

class Cpu;
struct Instruction;

/// RETF, which drops `arguments` bytes from the stack. Always false, as Execute has it.
bool ReturnFar(Cpu &cpu, const Instruction &instruction, unsigned arguments);
/// IRET of each operand width.
bool ReturnFromInterrupt(Cpu &cpu, const Instruction &instruction);

} // namespace sable
