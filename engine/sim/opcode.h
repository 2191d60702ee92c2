#pragma once

#include <cstdint>

#include "sim/instruction.h"

namespace sable {

/// One operation: what executes it without and with a memory operand, for each operand width.
struct ExecuteTable {
    Execute execute[2][4];
};

/// What follows the opcode.
enum class Operands : uint8_t {
    none,
    modRm,
    modRmImm8, ///< sign-extended
    modRmImm,  ///< of the operand's width, at most 32 bits, sign-extended
    imm8,      ///< sign-extended
    imm16,
    imm,       ///< as with modRmImm; the accumulator is Instruction::rm
    fullImm,   ///< of the operand's width up to 64 bits
    imm16Imm8, ///< ENTER
    far,       ///< offset of the operand's width and selector
    offset     ///< of the address width: a memory operand without ModRM, the accumulator is Instruction::reg
};

enum OpcodeTrait : uint16_t {
    traitByte = 1,         ///< operands are bytes
    traitByteRm = 2,       ///< ModRM.rm is a byte, ModRM.reg is not
    traitDefault64 = 4,    ///< 64-bit code: 64 bits unless a prefix says 16
    traitForce64 = 8,      ///< 64-bit code: 64 bits
    traitNative = 16,      ///< 64 bits in 64-bit code, 32 elsewhere
    traitNo64 = 32,        ///< does not exist in 64-bit code
    traitEnds = 64,        ///< nothing is decoded beyond it: control goes elsewhere or modes may change
    traitLock = 128,       ///< LOCK is allowed with a memory operand
    traitMemory = 256,     ///< needs a memory operand
    traitRegister = 512,   ///< ModRM.rm is a register whatever ModRM.mod says
    traitOpRegister = 1024 ///< the low bits of the opcode name Instruction::rm
};

struct Opcode {
    const ExecuteTable *table; ///< null: no such opcode
    Operands operands;
    uint16_t traits;
    const Opcode *group; ///< not null: the entry is at ModRM.reg there
};

/// 256 entries each: opcodes of one byte, and those behind 0F.
extern const Opcode *const oneByteOpcodes;
extern const Opcode *const twoByteOpcodes;
/// What 63 is outside 64-bit code.
extern const Opcode arplOpcode;
/// What an opcode that does not exist executes: #UD.
bool ExecuteInvalid(Cpu &cpu, const Instruction &instruction);

} // namespace sable
