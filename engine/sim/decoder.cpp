#include "sim/decoder.h"

#include "sim/cpu.h"
#include "sim/opcode.h"

namespace sable {

namespace {

bool ExecuteTooLong(Cpu &cpu, const Instruction &) { return cpu.RaiseGeneral(); }

// Bytes in order. Beyond the end it gives zeros and remembers why.
class ByteCursor {
public:
    ByteCursor(const uint8_t *code, unsigned available) : bytes(code), size(available) {}

    uint8_t Next() {
        if (position >= maxInstructionLength) {
            isTooLong = true;
            return 0;
        }
        if (position >= size) {
            isCut = true;
            return 0;
        }
        return bytes[position++];
    }
    uint64_t Unsigned(unsigned count) {
        uint64_t value = 0;
        for (unsigned n = 0; n < count; ++n) value |= uint64_t(Next()) << 8 * n;
        return value;
    }
    int64_t Signed(unsigned count) {
        const unsigned unused = 64 - 8 * count;
        return int64_t(Unsigned(count) << unused) >> unused;
    }
    bool IsOver() const { return isCut || isTooLong; }
    bool IsCut() const { return isCut; }
    unsigned Position() const { return position; }

private:
    const uint8_t *bytes;
    unsigned size, position = 0;
    bool isCut = false, isTooLong = false;
};

enum Rex : uint8_t { rexB = 1, rexX = 2, rexR = 4, rexW = 8 };

struct Prefixes {
    uint8_t bits = 0; // PrefixBits
    uint8_t rex = 0;
    bool hasRex = false, hasOperand = false, hasAddress = false;
    int segment = -1; // SegmentIndex
};

// The number of a segment override, -1 for other bytes. In 64-bit code only FS and GS count.
int SegmentOfPrefix(uint8_t byte) {
    if ((byte & 0xE7) == 0x26) return byte >> 3 & 3;
    return byte == 0x64 ? segFs : byte == 0x65 ? segGs : -1;
}

bool TakePrefix(uint8_t byte, Width codeWidth, Prefixes &prefixes) {
    const int segment = SegmentOfPrefix(byte);
    if (segment >= 0) {
        if (codeWidth != width64 || segment >= segFs) prefixes.segment = segment;
        return true;
    }
    switch (byte) {
    case 0x66:
        prefixes.hasOperand = true;
        return true;
    case 0x67:
        prefixes.hasAddress = true;
        return true;
    case 0xF0:
        prefixes.bits |= prefixLock;
        return true;
    case 0xF2:
    case 0xF3:
        prefixes.bits &= uint8_t(~(prefixRepeat | prefixRepeatNot));
        prefixes.bits |= byte == 0xF3 ? prefixRepeat : prefixRepeatNot;
        return true;
    default:
        return false;
    }
}

// The first byte that is no prefix. REX counts only right in front of the opcode.
uint8_t ReadPrefixes(ByteCursor &cursor, Width codeWidth, Prefixes &prefixes) {
    for (;;) {
        const uint8_t byte = cursor.Next();
        if (cursor.IsOver()) return byte;
        if (codeWidth == width64 && (byte & 0xF0) == 0x40) {
            prefixes.rex = byte & 15;
            prefixes.hasRex = true;
        } else if (TakePrefix(byte, codeWidth, prefixes)) {
            prefixes.rex = 0;
            prefixes.hasRex = false;
        } else {
            return byte;
        }
    }
}

Width AddressWidth(Width codeWidth, const Prefixes &prefixes) {
    if (codeWidth == width64) return prefixes.hasAddress ? width32 : width64;
    return (codeWidth == width32) != prefixes.hasAddress ? width32 : width16;
}

Width OperandWidth(Width codeWidth, const Prefixes &prefixes, uint16_t traits) {
    if ((traits & traitByte) != 0) return width8;
    if ((traits & traitNative) != 0) return codeWidth == width64 ? width64 : width32;
    if (codeWidth == width64) {
        if ((prefixes.rex & rexW) != 0 || (traits & traitForce64) != 0) return width64;
        if (prefixes.hasOperand) return width16;
        return (traits & traitDefault64) != 0 ? width64 : width32;
    }
    return (codeWidth == width32) != prefixes.hasOperand ? width32 : width16;
}

// The offset of a register in gpr; without REX the byte registers 4 to 7 are ah to bh.
uint8_t RegisterOffset(unsigned number, Width width, bool hasRex) {
    if (width == width8 && !hasRex && number >= 4 && number < 8) return uint8_t((number - 4) * 8 + 1);
    return uint8_t(number * 8);
}

void UseMemory(Instruction &i, uint8_t base, uint8_t index, uint8_t scale) {
    i.base = base;
    i.index = index;
    i.scale = scale;
}

// Base and index of 16-bit addresses by ModRM.rm.
constexpr uint8_t pairs16[8][2] = {{gprRbx, gprRsi},  {gprRbx, gprRdi},  {gprRbp, gprRsi},
                                   {gprRbp, gprRdi},  {gprRsi, gprZero}, {gprRdi, gprZero},
                                   {gprRbp, gprZero}, {gprRbx, gprZero}};

void ReadAddress16(ByteCursor &cursor, unsigned mod, unsigned rm, Instruction &i) {
    if (mod == 0 && rm == 6) {
        UseMemory(i, gprZero, gprZero, 0);
        i.displacement = cursor.Signed(2);
        return;
    }
    UseMemory(i, pairs16[rm][0], pairs16[rm][1], 0);
    if (mod != 0) i.displacement = cursor.Signed(mod == 1 ? 1 : 2);
}

void ReadAddress(ByteCursor &cursor, Width codeWidth, unsigned mod, unsigned rm, uint8_t rex,
                 Instruction &i) {
    const uint8_t upperBase = rex & rexB ? 8 : 0, upperIndex = rex & rexX ? 8 : 0;
    if (rm == 4) {
        const uint8_t sib = cursor.Next();
        const uint8_t index = uint8_t((sib >> 3 & 7) | upperIndex);
        const uint8_t base = sib & 7;
        const bool hasBase = base != 5 || mod != 0;
        UseMemory(i, hasBase ? uint8_t(base | upperBase) : uint8_t(gprZero),
                  index == 4 ? uint8_t(gprZero) : index, sib >> 6);
        if (!hasBase) i.displacement = cursor.Signed(4);
    } else if (rm == 5 && mod == 0) {
        UseMemory(i, codeWidth == width64 ? gprBlock : gprZero, gprZero, 0);
        i.displacement = cursor.Signed(4);
    } else {
        UseMemory(i, uint8_t(rm | upperBase), gprZero, 0);
    }
    if (mod != 0) i.displacement = cursor.Signed(mod == 1 ? 1 : 4);
}

void ReadModRm(ByteCursor &cursor, uint8_t modRm, Width codeWidth, const Prefixes &prefixes, uint16_t traits,
               Instruction &i) {
    const unsigned mod = modRm >> 6, rm = modRm & 7;
    i.reg = RegisterOffset((modRm >> 3 & 7) | (prefixes.rex & rexR ? 8u : 0u), i.width, prefixes.hasRex);
    i.isMemory = mod != 3 && (traits & traitRegister) == 0;
    if (!i.isMemory) {
        const Width rmWidth = (traits & traitByteRm) != 0 ? width8 : i.width;
        i.rm = RegisterOffset(rm | (prefixes.rex & rexB ? 8u : 0u), rmWidth, prefixes.hasRex);
        return;
    }
    if (i.addressWidth == width16) {
        ReadAddress16(cursor, mod, rm, i);
    } else {
        ReadAddress(cursor, codeWidth, mod, rm, prefixes.rex, i);
    }
    const bool usesStack = i.base == gprRsp || i.base == gprRbp;
    if (prefixes.segment < 0 && usesStack) i.segment = segSs;
}

void ReadOperands(ByteCursor &cursor, Operands operands, Instruction &i) {
    const unsigned immBytes = i.width == width64 ? 4 : i.Bytes();
    switch (operands) {
    case Operands::none:
    case Operands::modRm:
        break;
    case Operands::modRmImm8:
    case Operands::imm8:
        i.immediate = uint64_t(cursor.Signed(1));
        break;
    case Operands::imm16:
        i.immediate = cursor.Unsigned(2);
        break;
    case Operands::modRmImm:
    case Operands::imm:
        i.immediate = uint64_t(cursor.Signed(immBytes));
        break;
    case Operands::fullImm:
        i.immediate = cursor.Unsigned(i.Bytes());
        break;
    case Operands::imm16Imm8:
        i.selector = uint16_t(cursor.Unsigned(2));
        i.immediate = cursor.Next();
        break;
    case Operands::far:
        i.immediate = cursor.Unsigned(i.Bytes());
        i.selector = uint16_t(cursor.Unsigned(2));
        break;
    case Operands::offset:
        i.displacement = int64_t(cursor.Unsigned(1u << i.addressWidth));
        i.isMemory = true;
        break;
    }
}

bool HasModRm(Operands operands) {
    return operands == Operands::modRm || operands == Operands::modRmImm8 || operands == Operands::modRmImm;
}

bool IsValid(const Opcode &opcode, Width codeWidth, const Instruction &i) {
    if (opcode.table == nullptr) return false;
    if ((opcode.traits & traitNo64) != 0 && codeWidth == width64) return false;
    if ((opcode.traits & traitMemory) != 0 && !i.isMemory) return false;
    return (i.prefixes & prefixLock) == 0 || ((opcode.traits & traitLock) != 0 && i.isMemory);
}

// The entry of the opcode that the bytes name. Reads ModRM when there is one.
Opcode FindOpcode(ByteCursor &cursor, uint8_t byte, Width codeWidth, uint8_t &modRm, Instruction &i) {
    Opcode opcode = oneByteOpcodes[byte];
    if (byte == 0x0F) {
        byte = cursor.Next();
        opcode = twoByteOpcodes[byte];
    } else if (byte == 0x63 && codeWidth != width64) {
        opcode = arplOpcode;
    }
    i.opcode = byte;
    if (!HasModRm(opcode.operands) || (opcode.table == nullptr && opcode.group == nullptr)) return opcode;
    modRm = cursor.Next();
    if (opcode.group != nullptr) {
        const uint16_t outer = opcode.traits;
        opcode = opcode.group[modRm >> 3 & 7];
        opcode.traits |= outer;
    }
    return opcode;
}

} // namespace

Decoded Decode(const uint8_t *bytes, unsigned available, Width codeWidth, unsigned at, Instruction &i) {
    ByteCursor cursor(bytes, available);
    Prefixes prefixes;
    i = {};
    i.base = i.index = gprZero;
    const uint8_t first = ReadPrefixes(cursor, codeWidth, prefixes);
    i.prefixes = prefixes.bits;
    i.segment = prefixes.segment >= 0 ? uint8_t(prefixes.segment) : uint8_t(segDs);
    i.addressWidth = AddressWidth(codeWidth, prefixes);

    uint8_t modRm = 0;
    const Opcode opcode = FindOpcode(cursor, first, codeWidth, modRm, i);
    i.width = OperandWidth(codeWidth, prefixes, opcode.traits);
    if (HasModRm(opcode.operands)) ReadModRm(cursor, modRm, codeWidth, prefixes, opcode.traits, i);
    if ((opcode.traits & traitOpRegister) != 0)
        i.rm = RegisterOffset((i.opcode & 7u) | (prefixes.rex & rexB ? 8u : 0u), i.width, prefixes.hasRex);
    const bool isValid = IsValid(opcode, codeWidth, i);
    if (isValid) ReadOperands(cursor, opcode.operands, i);
    if (cursor.IsCut()) return {0, true};

    const unsigned length = cursor.Position();
    i.start = uint16_t(at);
    i.end = uint16_t(at + length);
    if (i.isMemory && i.base == gprBlock) i.displacement += i.end;
    if (cursor.IsOver()) {
        i.execute = ExecuteTooLong;
    } else if (!isValid) {
        i.execute = ExecuteInvalid;
    } else {
        i.execute = opcode.table->execute[i.isMemory ? 1 : 0][i.width];
        return {length, (opcode.traits & traitEnds) != 0};
    }
    return {length, true};
}

} // namespace sable
