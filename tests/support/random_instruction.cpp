#include "support/random_instruction.h"

namespace {

constexpr uint32_t carryFlag = 1, auxFlag = 0x10, overflowFlag = 0x800;

} // namespace

// Numbers of all sizes, and those at which flags change.
uint64_t InstructionMaker::Value() {
    constexpr uint64_t edges[] = {0,
                                  1,
                                  ~uint64_t(0),
                                  0x7F,
                                  0x80,
                                  0xFF,
                                  0x7FFF,
                                  0x8000,
                                  0xFFFF,
                                  0x7FFFFFFF,
                                  0x80000000,
                                  0xFFFFFFFF,
                                  uint64_t(1) << 63,
                                  ~uint64_t(0) >> 1,
                                  0x0F,
                                  0x10};
    switch (Pick(4)) {
    case 0:
        return edges[Pick(sizeof edges / sizeof edges[0])];
    case 1:
        return Pick(70);
    case 2:
        return random() >> Pick(64);
    default:
        return random();
    }
}

uint64_t InstructionMaker::PickAddress(const InstructionRow &row) {
    const uint64_t address = middle - 0x40 + Pick(0x80);
    return (row.traits & rowAligned16) != 0 ? address & ~uint64_t(15) : address;
}

InstructionMaker::Choice InstructionMaker::Choose(const InstructionRow &row) {
    Choice choice = {};
    const bool isStack =
        row.form == RowForm::stack || row.form == RowForm::stackRm || row.form == RowForm::stackDigit;
    const bool hasModRm =
        row.form == RowForm::modRm || row.form == RowForm::digit || row.form == RowForm::stackDigit;
    choice.isMemory = hasModRm && ((row.traits & rowMemory) != 0 || Chance(2));
    choice.has67 = choice.isMemory && Chance(8);
    choice.hasLock = choice.isMemory && (row.traits & rowLock) != 0 && Chance(8);
    const bool hasWidths = (row.traits & (rowByte | rowNoWidths)) == 0 && row.form != RowForm::jump;
    choice.has66 = hasWidths && (row.traits & rowNo16) == 0 && Chance(4);
    if (!Chance(3)) {
        choice.rex = uint8_t(0x40 | Pick(16));
        if (!hasWidths && (row.traits & rowByte) == 0) choice.rex &= 0x47;
    }
    choice.bytes = (row.traits & rowByte) != 0 ? 1
                   : (choice.rex & 8) != 0     ? 8
                   : choice.has66              ? 2
                   : isStack                   ? 8
                                               : 4;
    return choice;
}

void InstructionMaker::AddPrefixes(const InstructionRow &row, const Choice &choice, RandomInstruction &out) {
    if (choice.has66) out.Add(0x66, 1);
    if (choice.has67) out.Add(0x67, 1);
    if (choice.hasLock) out.Add(0xF0, 1);
    if ((row.traits & rowRepeats) != 0 && Chance(2)) out.Add(0xF3, 1);
    if ((row.traits & rowCompares) != 0 && Chance(2)) out.Add(Chance(2) ? 0xF2 : 0xF3, 1);
    if ((row.traits & rowNeedsF3) != 0) out.Add(0xF3, 1);
    if (choice.rex != 0) out.Add(choice.rex, 1);
}

namespace {

constexpr unsigned none = 16; // no register

// A memory operand as ModRM, SIB and REX name it.
struct Address {
    unsigned base = none, index = none, scale = 0, displacementBytes = 0;
    bool isRelative = false, hasSib = false;
};

Address Understand(uint8_t modRm, uint8_t sib, uint8_t rex) {
    Address address;
    const unsigned mod = modRm >> 6, rm = modRm & 7;
    address.hasSib = rm == 4;
    const unsigned base = rm == 4 ? sib & 7u : rm;
    address.displacementBytes = mod == 1 ? 1 : mod == 2 || base == 5 ? 4 : 0;
    address.isRelative = rm == 5 && mod == 0;
    if (base != 5 || mod != 0) address.base = base | (rex & 1 ? 8u : 0u);
    if (rm != 4) return address;
    const unsigned index = (sib >> 3 & 7u) | (rex & 2 ? 8u : 0u);
    if (index != 4) address.index = index;
    address.scale = sib >> 6;
    return address;
}

} // namespace

// Any ModRM and SIB, with a displacement and registers that make it hit the data.
void InstructionMaker::AddMemory(const InstructionRow &row, const Choice &choice, RandomInstruction &out,
                                 size_t immBytes) {
    const bool isBitString = (row.traits & rowBitString) != 0 && row.form == RowForm::modRm;
    uint8_t modRm, sib;
    Address parts;
    unsigned reg;
    for (bool isUsable = false; !isUsable;) {
        modRm = uint8_t(Pick(0xC0));
        sib = uint8_t(random());
        if (row.form != RowForm::modRm) modRm = uint8_t((modRm & 0xC7) | row.digit << 3);
        parts = Understand(modRm, sib, choice.rex);
        reg = (modRm >> 3 & 7u) | (choice.rex & 4 ? 8u : 0u);
        if (parts.base == parts.index && parts.base != none && parts.scale != 0) continue;
        if (isBitString && (reg == parts.base || reg == parts.index)) continue;
        const bool isStack = row.form == RowForm::stackDigit;
        isUsable = !(isStack && (parts.base == 4 || parts.base == 5 || parts.index == 5));
    }
    if (isBitString) {
        const uint64_t bit = Pick(0x200) - 0x100;
        out.gpr[reg] = choice.bytes == 2 ? (bit & 0xFFFF) | random() << 16 : bit;
    }
    const uint64_t address = PickAddress(row);
    out.Add(modRm, 1);
    if (parts.hasSib) out.Add(sib, 1);
    uint64_t displacement = 0;
    if (parts.displacementBytes == 1) displacement = uint64_t(int8_t(random()));
    if (parts.displacementBytes == 4) displacement = uint64_t(int32_t(random()) >> 4);
    if (parts.base != none && parts.base == parts.index) {
        // Twice the same register.
        if (((address - displacement) & 1) != 0 && parts.displacementBytes != 0) displacement ^= 1;
        out.gpr[parts.base] = (address - displacement) / 2;
    } else {
        uint64_t indexed = 0;
        if (parts.index != none) {
            out.gpr[parts.index] = Pick(16);
            indexed = out.gpr[parts.index] << parts.scale;
        }
        const uint64_t next = NativeCode::codeAddress + out.size + 4 + immBytes;
        if (parts.base == none) displacement = address - indexed - (parts.isRelative ? next : 0);
        if (parts.base != none) out.gpr[parts.base] = address - displacement - indexed;
        if (parts.base != none && choice.has67) out.gpr[parts.base] += random() << 32;
    }
    out.Add(displacement, parts.displacementBytes);
}

void InstructionMaker::AddModRm(const InstructionRow &row, const Choice &choice, RandomInstruction &out,
                                size_t immBytes) {
    if (choice.isMemory) {
        AddMemory(row, choice, out, immBytes);
        return;
    }
    const uint64_t reg = row.form == RowForm::modRm ? Pick(8) : row.digit;
    out.Add(0xC0 | reg << 3 | Pick(8), 1);
}

// Which flags the count of a shift leaves undefined.
void InstructionMaker::SetUndefined(const InstructionRow &row, const Choice &choice, RandomInstruction &out,
                                    uint8_t count) {
    out.undefinedFlags = row.undefinedFlags;
    const unsigned masked = count & (choice.bytes == 8 ? 63u : 31u);
    const bool isShift = (row.traits & (rowShifts | rowDouble)) != 0;
    if (isShift) out.undefinedFlags = masked == 0 ? 0u : masked == 1 ? auxFlag : auxFlag | overflowFlag;
    // The last bit shifted out is undefined when all bits are gone.
    if ((row.traits & rowShifts) != 0 && masked >= 8 * choice.bytes) out.undefinedFlags |= carryFlag;
    if ((row.traits & rowRotates) != 0) out.undefinedFlags = masked == 1 || masked == 0 ? 0u : overflowFlag;
}

RandomInstruction InstructionMaker::Make(const InstructionRow &row, const uint64_t *gpr, uint8_t *data) {
    RandomInstruction out;
    out.name = row.name;
    out.mayDivideFault = (row.traits & rowDivides) != 0;
    std::memcpy(out.gpr, gpr, sizeof out.gpr);
    Choice choice = Choose(row);
    if ((row.traits & rowDivides) != 0) { // so that most quotients fit
        out.gpr[2] = Chance(2) ? 0 : Pick(4);
        if (choice.bytes == 1) out.gpr[0] &= 0xFFF;
    }
    const unsigned immWidth = choice.bytes == 8 ? 4 : choice.bytes;
    const size_t immBytes = row.imm == RowImm::none      ? 0
                            : row.imm == RowImm::byte    ? 1
                            : row.imm == RowImm::word    ? 2
                            : row.imm == RowImm::operand ? immWidth
                                                         : choice.bytes;
    AddPrefixes(row, choice, out);
    for (unsigned n = 0; n < row.opcodeSize; ++n) {
        const bool isLast = n + 1u == row.opcodeSize;
        out.Add(row.opcode[n] + (isLast && row.opcodes > 1 ? Pick(row.opcodes) : 0), 1);
    }
    if (row.form == RowForm::opcodeRm || row.form == RowForm::stackRm)
        out.bytes[out.size - 1] = uint8_t(out.bytes[out.size - 1] + Pick(8));
    const bool usesStack =
        row.form == RowForm::stack || row.form == RowForm::stackRm || row.form == RowForm::stackDigit;
    if (row.form == RowForm::modRm || row.form == RowForm::digit || row.form == RowForm::stackDigit)
        AddModRm(row, choice, out, immBytes);
    if (usesStack) {
        if (out.gpr[4] - (middle - 0x40) > 0x80) out.gpr[4] = middle - 0x40 + Pick(0x80);
        out.gpr[5] = middle - 0x40 + Pick(0x80);
    }
    if (row.form == RowForm::string) {
        out.gpr[6] = PickAddress(row);
        out.gpr[7] = PickAddress(row);
        out.gpr[1] = Pick(12);
    }
    if ((row.traits & rowPopsFlags) != 0) {
        const uint64_t flags = (random() & 0xCD5) | 0x202;
        std::memcpy(data + (out.gpr[4] - NativeCode::dataAddress), &flags, sizeof flags);
    }
    const bool isWordDouble = (row.traits & rowDouble) != 0 && choice.bytes == 2;
    const uint64_t imm = isWordDouble ? Pick(17) : Chance(2) ? Pick(80) : random();
    out.Add(imm, unsigned(immBytes));
    SetUndefined(row, choice, out, row.imm == RowImm::byte ? uint8_t(imm) : uint8_t(out.gpr[1]));
    if (row.form == RowForm::jump) { // over inc rax
        constexpr uint8_t inc[] = {0x48, 0xFF, 0xC0};
        out.Add(sizeof inc, 1);
        for (const uint8_t byte : inc) out.Add(byte, 1);
    }
    return out;
}
