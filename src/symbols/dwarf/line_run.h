#pragma once

#include "symbols/dwarf/byte_cursor.h"
#include "symbols/dwarf/line_header.h"

#include <algorithm>
#include <cstdint>

/// The state of a line program between two instructions. It starts as a sequence of rows does.
struct ktLineRegisters {
    uint64_t address = 0;
    uint64_t opIndex = 0; ///< below the header's maxOps
    uint64_t file = 1;
    uint64_t line = 1;
};

/// Runs one line program. Registers that no row keeps (column, flags, instruction set, discriminator) are not
/// kept here either: their operands are only passed over.
///
/// `Sink` has `Row(address, line, file)`, called for each row in order, and `Unexpected(text)`, called with a
/// literal for instructions that are carried out and deserve a line in the log.
template <class Sink>
class ktLineRun {
public:
    ktLineRun(const ktLineHeader &programHeader, Sink &rowSink, const ktLineRegisters &start = {})
        : header(programHeader), sink(rowSink), registers(start) {
        // 65536 / lineRange, rounded up: exact for the division of a byte.
        if (header.lineRange != 0) reciprocal = 0xFFFFu / header.lineRange + 1;
        canAdvance = header.lineRange != 0 && header.maxOps != 0;
    }

    /// Runs from where `cursor` stands to the end of the program, or to the first instruction that fails:
    /// false.
    bool Run(ktByteCursor &cursor) {
        ktByteCursor code = cursor; // a local, whose fields can stay in registers
        bool succeeded = true;
        while (succeeded && HasMore(code)) succeeded = Step(code);
        cursor = code;
        return succeeded;
    }
    bool HasMore(const ktByteCursor &code) const { return code.Position() < header.end; }
    /// Runs the instruction at `code`; false when it fails.
    bool Step(ktByteCursor &code) { return Execute(code) && !code.Failed(); }
    const ktLineRegisters &Registers() const { return registers; }

private:
    enum Standard : uint8_t {
        extended,
        copy,
        advancePc,
        advanceLine,
        setFile,
        setColumn,
        negateStmt,
        setBasicBlock,
        constAddPc,
        fixedAdvancePc,
        setPrologueEnd,
        setEpilogueBegin,
        setIsa,
    };
    enum Extended : uint8_t { endSequence = 1, setAddress, defineFile, setDiscriminator };

    bool Execute(ktByteCursor &code) {
        const uint8_t opcode = code.U8();
        if (opcode >= header.opcodeBase && opcode != extended) return Special(opcode);
        switch (opcode) {
        case extended:
            StepExtended(code);
            break;
        case copy:
            AddRow();
            break;
        case advancePc:
            registers.address += header.minInstLength * code.Uleb(); // the index of the operation stays
            break;
        case advanceLine:
            registers.line += static_cast<uint64_t>(code.Sleb());
            break;
        case setFile:
            registers.file = code.Uleb();
            break;
        case setColumn:
            code.SkipLeb();
            break;
        case setBasicBlock:
            sink.Unexpected("Unexpected instruction DW_LNS_set_basic_block");
            break;
        case constAddPc:
            return AdvanceAddress(uint8_t(0xFF - header.opcodeBase));
        case fixedAdvancePc:
            sink.Unexpected("Unexpected instruction DW_LNS_fixed_advance_pc");
            registers.address += code.U8(); // one byte, where the format has two
            break;
        case setPrologueEnd:
            sink.Unexpected("Unexpected instruction DW_LNS_set_prologue_end");
            break;
        case setEpilogueBegin:
            sink.Unexpected("Unexpected instruction DW_LNS_set_epilogue_begin");
            break;
        case setIsa:
            sink.Unexpected("Unexpected instruction DW_LNS_set_isa");
            code.SkipLeb();
            break;
        case negateStmt:
        default: // the counts of operands are not consulted: unknown instructions read nothing
            break;
        }
        return true;
    }

    bool Special(uint8_t opcode) {
        const auto distance = static_cast<uint8_t>(opcode - header.opcodeBase);
        if (!AdvanceAddress(distance)) return false;
        const uint32_t lineStep = distance - Steps(distance) * header.lineRange;
        registers.line += static_cast<uint64_t>(int64_t(header.lineBase) + lineStep);
        AddRow();
        return true;
    }

    uint32_t Steps(uint8_t distance) const { return distance * reciprocal >> 16; }

    bool AdvanceAddress(uint8_t distance) {
        if (!canAdvance) return false; // a division by 0
        const uint32_t steps = Steps(distance);
        if (header.maxOps == 1) {
            registers.address += uint64_t(header.minInstLength) * steps;
            return true;
        }
        const uint64_t operations = registers.opIndex + steps;
        registers.address += header.minInstLength * (operations / header.maxOps);
        registers.opIndex = operations % header.maxOps;
        return true;
    }

    /// The length only tells how large an operand is: what it covers beyond that runs as instructions.
    void StepExtended(ktByteCursor &code) {
        const uint64_t length = code.Uleb();
        const uint64_t operandSize = std::min<uint64_t>(length - 1, 8); // 8 for a length of 0 as well
        const uint8_t instruction = code.U8();
        if (code.Failed()) return;
        switch (instruction) {
        case endSequence:
            AddRow();
            registers = ktLineRegisters();
            break;
        case setAddress:
            registers.address = Operand(code, operandSize);
            registers.opIndex = 0;
            break;
        case defineFile:
            sink.Unexpected("Unexpected instruction DW_LNE_define_file");
            code.String();
            for (int i = 0; i < 3; ++i) code.SkipLeb(); // directory, time, size
            break;
        case setDiscriminator:
            Operand(code, operandSize); // raw bytes, where the format has a LEB
            break;
        default:
            break;
        }
    }

    /// An operand that has no bytes cannot be read.
    static uint64_t Operand(ktByteCursor &code, uint64_t size) {
        if (size == 0) code.Fail();
        return code.Number(size);
    }

    void AddRow() { sink.Row(registers.address, registers.line, registers.file); }

    const ktLineHeader header;
    Sink &sink;
    ktLineRegisters registers;
    uint32_t reciprocal = 0;
    bool canAdvance = false;
};
