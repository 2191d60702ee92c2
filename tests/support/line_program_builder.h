#pragma once

#include "support/byte_patch.h"

#include <cstdint>
#include <initializer_list>
#include <string>

/// Bytes of a line program, appended one field after the other.
class ktLineBytes {
public:
    ktBytes bytes;

    ktLineBytes &U8(uint64_t value) { return Number(value, 1); }
    ktLineBytes &U16(uint64_t value) { return Number(value, 2); }
    ktLineBytes &U32(uint64_t value) { return Number(value, 4); }
    ktLineBytes &U64(uint64_t value) { return Number(value, 8); }
    ktLineBytes &Number(uint64_t value, size_t size) {
        for (size_t i = 0; i < size; ++i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
        return *this;
    }
    ktLineBytes &Uleb(uint64_t value) {
        for (; value > 0x7F; value >>= 7) bytes.push_back(static_cast<uint8_t>(value | 0x80));
        bytes.push_back(static_cast<uint8_t>(value));
        return *this;
    }
    ktLineBytes &Sleb(int64_t value) {
        for (; value > 63 || value < -64; value >>= 7) bytes.push_back(static_cast<uint8_t>(value | 0x80));
        bytes.push_back(static_cast<uint8_t>(value & 0x7F));
        return *this;
    }
    ktLineBytes &Text(const std::string &text) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        return U8(0);
    }
    ktLineBytes &Raw(std::initializer_list<uint8_t> raw) {
        bytes.insert(bytes.end(), raw);
        return *this;
    }

    ktLineBytes &Copy() { return U8(1); }
    ktLineBytes &AdvancePc(uint64_t distance) { return U8(2).Uleb(distance); }
    ktLineBytes &AdvanceLine(int64_t distance) { return U8(3).Sleb(distance); }
    ktLineBytes &SetFile(uint64_t file) { return U8(4).Uleb(file); }
    ktLineBytes &SetAddress(uint64_t address, size_t size = 8) {
        return U8(0).Uleb(size + 1).U8(2).Number(address, size);
    }
    ktLineBytes &EndSequence() { return U8(0).Uleb(1).U8(1); }
    /// An entry of a file table before version 5.
    ktLineBytes &File(const std::string &name, uint64_t directory) {
        return Text(name).Uleb(directory).Uleb(77).Uleb(88);
    }
};

/// One line program: header, tables and code. The fields stand where the format has them, and are those of
/// common compilers; a version 5 header has its `maxOps`.
class ktLineProgramBuilder {
public:
    uint16_t version = 4;
    bool wide = false; ///< the 64-bit form of the format
    uint8_t minInstLength = 1, maxOps = 1, defaultIsStmt = 1;
    int8_t lineBase = -5;
    uint8_t lineRange = 14, opcodeBase = 13;
    ktLineBytes tables; ///< behind the lengths of the opcodes; empty: two empty lists
    ktLineBytes code;

    ktBytes Build() const {
        ktLineBytes body;
        body.U16(version);
        if (version == 5) body.U8(8).U8(0);
        const uint64_t headerLength = 0x5A5A; // nobody may rely on it
        body.Number(headerLength, wide ? 8 : 4).U8(minInstLength);
        if (version >= 4) body.U8(maxOps);
        body.U8(defaultIsStmt).U8(static_cast<uint8_t>(lineBase)).U8(lineRange).U8(opcodeBase);
        for (uint32_t opcode = 1; opcode < opcodeBase; ++opcode) body.U8(OperandCount(opcode));
        Append(body, tables.bytes.empty() ? ktBytes{0, 0} : tables.bytes);
        Append(body, code.bytes);
        ktLineBytes whole;
        if (wide) whole.U32(0xFFFFFFFF);
        whole.Number(body.bytes.size(), wide ? 8 : 4);
        Append(whole, body.bytes);
        return whole.bytes;
    }

private:
    static uint8_t OperandCount(uint32_t opcode) {
        constexpr uint8_t counts[] = {0, 0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 0, 1};
        return opcode < sizeof counts ? counts[opcode] : 1;
    }
    static void Append(ktLineBytes &to, const ktBytes &from) {
        to.bytes.insert(to.bytes.end(), from.begin(), from.end());
    }
};
