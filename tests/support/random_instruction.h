#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "support/native_code.h"

/// One instruction of 64-bit code with registers to execute it with, made so that its memory operand lies
/// around the middle of NativeCode's data and that it does not fault, unless it divides.
struct RandomInstruction {
    uint8_t bytes[64] = {};
    size_t size = 0;
    uint64_t gpr[16] = {};
    uint32_t undefinedFlags = 0; ///< those that the architecture leaves open for these operands
    bool mayDivideFault = false;
    const char *name = "";

    void Add(uint64_t value, unsigned count) {
        for (unsigned n = 0; n < count; ++n) bytes[size++] = uint8_t(value >> 8 * n);
    }
};

/// What follows the opcode of an InstructionRow.
enum class RowForm : uint8_t {
    modRm,    ///< with a register
    digit,    ///< with InstructionRow::digit as ModRM.reg
    opcodeRm, ///< the register is part of the opcode
    plain,    ///< nothing
    string,   ///< nothing; rsi and rdi point to the data, rcx is small
    stack,    ///< nothing; rsp points to the data
    stackRm,  ///< as opcodeRm, stackDigit as digit, with rsp pointing to the data
    stackDigit,
    jump ///< 8 bits, over an INC that follows
};

enum class RowImm : uint8_t { none, byte, operand, full, word };

enum RowTrait : uint16_t {
    rowByte = 1,         ///< bytes as operands
    rowLock = 2,         ///< LOCK is allowed with memory
    rowMemory = 4,       ///< memory only
    rowBitString = 8,    ///< the register is a bit offset: small
    rowNo16 = 16,        ///< undefined with words
    rowDivides = 32,     ///< may divide by zero or overflow
    rowShifts = 64,      ///< undefined flags follow from the count
    rowRepeats = 128,    ///< REP is allowed
    rowCompares = 256,   ///< REPE and REPNE are allowed
    rowAligned16 = 512,  ///< memory at multiples of 16
    rowPopsFlags = 1024, ///< the top of the stack has to be flags that a program may set
    rowNeedsF3 = 2048,
    rowRotates = 4096,  ///< as rowShifts, but only overflow is ever undefined
    rowDouble = 8192,   ///< as rowShifts, and words with a count above 16 are undefined
    rowNoWidths = 16384 ///< neither 66 nor REX.W
};

struct InstructionRow {
    const char *name;
    uint8_t opcode[2];
    uint8_t opcodeSize;
    RowForm form;
    uint8_t digit;
    RowImm imm;
    uint16_t traits;
    uint32_t undefinedFlags;
    uint8_t opcodes = 1; ///< so many from this one on
};

class InstructionMaker {
public:
    explicit InstructionMaker(uint64_t seed) : random(seed) {}

    static constexpr uint64_t middle = NativeCode::dataAddress + NativeCode::dataSize / 2;
    static constexpr uint64_t reach = 0x200; ///< no operand is farther from `middle`

    uint64_t Pick(uint64_t count) { return random() % count; }
    bool Chance(unsigned oneIn) { return random() % oneIn == 0; }
    uint64_t Value();
    RandomInstruction Make(const InstructionRow &row, const uint64_t *gpr, uint8_t *data);

private:
    struct Choice {
        bool isMemory, has66, hasLock, has67;
        uint8_t rex;
        unsigned bytes; ///< of the operand
    };

    Choice Choose(const InstructionRow &row);
    void AddPrefixes(const InstructionRow &row, const Choice &choice, RandomInstruction &out);
    void AddModRm(const InstructionRow &row, const Choice &choice, RandomInstruction &out, size_t immBytes);
    void AddMemory(const InstructionRow &row, const Choice &choice, RandomInstruction &out, size_t immBytes);
    void SetUndefined(const InstructionRow &row, const Choice &choice, RandomInstruction &out, uint8_t count);
    uint64_t PickAddress(const InstructionRow &row);

    std::mt19937_64 random;
};
