#pragma once

#include <cstdint>

namespace sable {

class Cpu;
struct Instruction;

/// Executes one instruction. True: go on with the next one. False: Registers::rip has been set, or a fault
/// was raised (Cpu::Raise) and nothing of the instruction has happened.
using Execute = bool (*)(Cpu &, const Instruction &);

/// Size of an operand or address as the power of two of its bytes.
enum Width : uint8_t { width8, width16, width32, width64 };

enum PrefixBits : uint8_t { prefixRepeat = 1, prefixRepeatNot = 2, prefixLock = 4 };

/// A decoded instruction. `reg` and `rm` are byte offsets into Registers::gpr, so that ah to bh need no rule.
struct Instruction {
    Execute execute;
    uint64_t immediate;   ///< sign-extended where the opcode says so; far pointer: offset
    int64_t displacement; ///< of a memory operand; when `base` is gprBlock it counts from the block's start
    uint16_t start, end;  ///< byte offsets from the start of the block
    uint16_t selector;    ///< of a far pointer; the first operand of ENTER
    uint8_t reg;          ///< ModRM.reg
    uint8_t rm;           ///< ModRM.rm as a register, or the register in the opcode
    uint8_t base, index;  ///< slots of Registers::gpr
    uint8_t scale;        ///< log2
    uint8_t segment;      ///< SegmentIndex of the memory operand
    Width addressWidth;
    Width width;      ///< of the operands
    uint8_t prefixes; ///< PrefixBits
    uint8_t opcode;   ///< last byte of the opcode
    bool isMemory;    ///< ModRM has a memory operand

    unsigned RegNumber() const { return reg / 8u; } ///< for operands wider than a byte
    unsigned Bytes() const { return 1u << width; }
};

} // namespace sable
