// The simulated processor against the one that the tests run on: random instructions of programs, executed by
// both, leave the same registers, flags and memory.
//
// Not here: what privileged code does; segments and modes; far transfers; IN and OUT; instructions that fault
// (the division that does not fit is only counted); BCD adjustments and other instructions that 64-bit code
// does not have; near jumps and calls with prefix 66, which processors treat differently; BSF and BSR with
// prefix F3, which newer processors take for others; time and CPUID; SHLD and SHRD of words by more than 16,
// BSWAP of words, whose results are undefined. InstructionMaker::SetUndefined has the flags that are.
#include <gtest/gtest.h>

#include "support/cpu_rig.h"
#include "support/random_instruction.h"

namespace {

using namespace sable;

constexpr uint32_t afOnly = flagAf;
constexpr uint32_t multiplied = flagPf | flagAf | flagZf | flagSf;
constexpr uint32_t scanned = flagPf | flagAf | flagSf | flagOf | flagCf;
constexpr uint32_t bitTested = flagPf | flagAf | flagSf | flagOf;

// clang-format off
constexpr InstructionRow rows[] = {
    {"add", {0x00}, 1, RowForm::modRm, 0, RowImm::none, rowByte | rowLock, 0},
    {"add", {0x01}, 1, RowForm::modRm, 0, RowImm::none, rowLock, 0},
    {"add", {0x02}, 1, RowForm::modRm, 0, RowImm::none, rowByte, 0},
    {"add", {0x03}, 1, RowForm::modRm, 0, RowImm::none, 0, 0},
    {"add", {0x04}, 1, RowForm::plain, 0, RowImm::operand, rowByte, 0},
    {"add", {0x05}, 1, RowForm::plain, 0, RowImm::operand, 0, 0},
    {"or", {0x08}, 1, RowForm::modRm, 0, RowImm::none, rowByte | rowLock, afOnly},
    {"or", {0x09}, 1, RowForm::modRm, 0, RowImm::none, rowLock, afOnly},
    {"or", {0x0B}, 1, RowForm::modRm, 0, RowImm::none, 0, afOnly},
    {"adc", {0x10}, 1, RowForm::modRm, 0, RowImm::none, rowByte | rowLock, 0},
    {"adc", {0x11}, 1, RowForm::modRm, 0, RowImm::none, rowLock, 0},
    {"adc", {0x13}, 1, RowForm::modRm, 0, RowImm::none, 0, 0},
    {"adc", {0x14}, 1, RowForm::plain, 0, RowImm::operand, rowByte, 0},
    {"sbb", {0x18}, 1, RowForm::modRm, 0, RowImm::none, rowByte | rowLock, 0},
    {"sbb", {0x19}, 1, RowForm::modRm, 0, RowImm::none, rowLock, 0},
    {"sbb", {0x1A}, 1, RowForm::modRm, 0, RowImm::none, rowByte, 0},
    {"sbb", {0x1D}, 1, RowForm::plain, 0, RowImm::operand, 0, 0},
    {"and", {0x20}, 1, RowForm::modRm, 0, RowImm::none, rowByte | rowLock, afOnly},
    {"and", {0x21}, 1, RowForm::modRm, 0, RowImm::none, rowLock, afOnly},
    {"and", {0x23}, 1, RowForm::modRm, 0, RowImm::none, 0, afOnly},
    {"sub", {0x28}, 1, RowForm::modRm, 0, RowImm::none, rowByte | rowLock, 0},
    {"sub", {0x29}, 1, RowForm::modRm, 0, RowImm::none, rowLock, 0},
    {"sub", {0x2B}, 1, RowForm::modRm, 0, RowImm::none, 0, 0},
    {"xor", {0x30}, 1, RowForm::modRm, 0, RowImm::none, rowByte | rowLock, afOnly},
    {"xor", {0x33}, 1, RowForm::modRm, 0, RowImm::none, 0, afOnly},
    {"cmp", {0x38}, 1, RowForm::modRm, 0, RowImm::none, rowByte, 0},
    {"cmp", {0x39}, 1, RowForm::modRm, 0, RowImm::none, 0, 0},
    {"cmp", {0x3A}, 1, RowForm::modRm, 0, RowImm::none, rowByte, 0},
    {"cmp", {0x3D}, 1, RowForm::plain, 0, RowImm::operand, 0, 0},
    {"group 80 add", {0x80}, 1, RowForm::digit, 0, RowImm::byte, rowByte | rowLock, 0},
    {"group 80 adc", {0x80}, 1, RowForm::digit, 2, RowImm::byte, rowByte | rowLock, 0},
    {"group 80 sub", {0x80}, 1, RowForm::digit, 5, RowImm::byte, rowByte | rowLock, 0},
    {"group 81 or", {0x81}, 1, RowForm::digit, 1, RowImm::operand, rowLock, afOnly},
    {"group 81 sbb", {0x81}, 1, RowForm::digit, 3, RowImm::operand, rowLock, 0},
    {"group 81 and", {0x81}, 1, RowForm::digit, 4, RowImm::operand, rowLock, afOnly},
    {"group 81 cmp", {0x81}, 1, RowForm::digit, 7, RowImm::operand, 0, 0},
    {"group 83 adc", {0x83}, 1, RowForm::digit, 2, RowImm::byte, rowLock, 0},
    {"group 83 xor", {0x83}, 1, RowForm::digit, 6, RowImm::byte, rowLock, afOnly},
    {"group 83 cmp", {0x83}, 1, RowForm::digit, 7, RowImm::byte, 0, 0},
    {"test", {0x84}, 1, RowForm::modRm, 0, RowImm::none, rowByte, afOnly},
    {"test", {0x85}, 1, RowForm::modRm, 0, RowImm::none, 0, afOnly},
    {"test", {0xA8}, 1, RowForm::plain, 0, RowImm::operand, rowByte, afOnly},
    {"test", {0xA9}, 1, RowForm::plain, 0, RowImm::operand, 0, afOnly},
    {"test", {0xF6}, 1, RowForm::digit, 0, RowImm::byte, rowByte, afOnly},
    {"test", {0xF7}, 1, RowForm::digit, 1, RowImm::operand, 0, afOnly},
    {"not", {0xF6}, 1, RowForm::digit, 2, RowImm::none, rowByte | rowLock, 0},
    {"not", {0xF7}, 1, RowForm::digit, 2, RowImm::none, rowLock, 0},
    {"neg", {0xF6}, 1, RowForm::digit, 3, RowImm::none, rowByte | rowLock, 0},
    {"neg", {0xF7}, 1, RowForm::digit, 3, RowImm::none, rowLock, 0},
    {"inc", {0xFE}, 1, RowForm::digit, 0, RowImm::none, rowByte | rowLock, 0},
    {"dec", {0xFE}, 1, RowForm::digit, 1, RowImm::none, rowByte | rowLock, 0},
    {"inc", {0xFF}, 1, RowForm::digit, 0, RowImm::none, rowLock, 0},
    {"dec", {0xFF}, 1, RowForm::digit, 1, RowImm::none, rowLock, 0},
    {"mul", {0xF6}, 1, RowForm::digit, 4, RowImm::none, rowByte, multiplied},
    {"mul", {0xF7}, 1, RowForm::digit, 4, RowImm::none, 0, multiplied},
    {"imul", {0xF6}, 1, RowForm::digit, 5, RowImm::none, rowByte, multiplied},
    {"imul", {0xF7}, 1, RowForm::digit, 5, RowImm::none, 0, multiplied},
    {"imul", {0x0F, 0xAF}, 2, RowForm::modRm, 0, RowImm::none, 0, multiplied},
    {"imul", {0x69}, 1, RowForm::modRm, 0, RowImm::operand, 0, multiplied},
    {"imul", {0x6B}, 1, RowForm::modRm, 0, RowImm::byte, 0, multiplied},
    {"div", {0xF6}, 1, RowForm::digit, 6, RowImm::none, rowByte | rowDivides, flagsArithmetic},
    {"div", {0xF7}, 1, RowForm::digit, 6, RowImm::none, rowDivides, flagsArithmetic},
    {"idiv", {0xF6}, 1, RowForm::digit, 7, RowImm::none, rowByte | rowDivides, flagsArithmetic},
    {"idiv", {0xF7}, 1, RowForm::digit, 7, RowImm::none, rowDivides, flagsArithmetic},
    {"rol", {0xC0}, 1, RowForm::digit, 0, RowImm::byte, rowByte | rowRotates, 0},
    {"rol", {0xC1}, 1, RowForm::digit, 0, RowImm::byte, rowRotates, 0},
    {"rol", {0xD1}, 1, RowForm::digit, 0, RowImm::none, 0, 0},
    {"rol", {0xD3}, 1, RowForm::digit, 0, RowImm::none, rowRotates, 0},
    {"ror", {0xC0}, 1, RowForm::digit, 1, RowImm::byte, rowByte | rowRotates, 0},
    {"ror", {0xC1}, 1, RowForm::digit, 1, RowImm::byte, rowRotates, 0},
    {"ror", {0xD0}, 1, RowForm::digit, 1, RowImm::none, rowByte, 0},
    {"rcl", {0xC0}, 1, RowForm::digit, 2, RowImm::byte, rowByte | rowRotates, 0},
    {"rcl", {0xC1}, 1, RowForm::digit, 2, RowImm::byte, rowRotates, 0},
    {"rcl", {0xD1}, 1, RowForm::digit, 2, RowImm::none, 0, 0},
    {"rcl", {0xD3}, 1, RowForm::digit, 2, RowImm::none, rowRotates, 0},
    {"rcr", {0xC0}, 1, RowForm::digit, 3, RowImm::byte, rowByte | rowRotates, 0},
    {"rcr", {0xC1}, 1, RowForm::digit, 3, RowImm::byte, rowRotates, 0},
    {"rcr", {0xD1}, 1, RowForm::digit, 3, RowImm::none, 0, 0},
    {"rcr", {0xD2}, 1, RowForm::digit, 3, RowImm::none, rowByte | rowRotates, 0},
    {"shl", {0xC0}, 1, RowForm::digit, 4, RowImm::byte, rowByte | rowShifts, 0},
    {"shl", {0xC1}, 1, RowForm::digit, 4, RowImm::byte, rowShifts, 0},
    {"shl", {0xC1}, 1, RowForm::digit, 6, RowImm::byte, rowShifts, 0},
    {"shl", {0xD1}, 1, RowForm::digit, 4, RowImm::none, 0, afOnly},
    {"shl", {0xD3}, 1, RowForm::digit, 4, RowImm::none, rowShifts, 0},
    {"shr", {0xC0}, 1, RowForm::digit, 5, RowImm::byte, rowByte | rowShifts, 0},
    {"shr", {0xC1}, 1, RowForm::digit, 5, RowImm::byte, rowShifts, 0},
    {"shr", {0xD0}, 1, RowForm::digit, 5, RowImm::none, rowByte, afOnly},
    {"shr", {0xD3}, 1, RowForm::digit, 5, RowImm::none, rowShifts, 0},
    {"sar", {0xC0}, 1, RowForm::digit, 7, RowImm::byte, rowByte | rowShifts, 0},
    {"sar", {0xC1}, 1, RowForm::digit, 7, RowImm::byte, rowShifts, 0},
    {"sar", {0xD1}, 1, RowForm::digit, 7, RowImm::none, 0, afOnly},
    {"sar", {0xD3}, 1, RowForm::digit, 7, RowImm::none, rowShifts, 0},
    {"shld", {0x0F, 0xA4}, 2, RowForm::modRm, 0, RowImm::byte, rowDouble, 0},
    {"shld", {0x0F, 0xA5}, 2, RowForm::modRm, 0, RowImm::none, rowDouble | rowNo16, 0},
    {"shrd", {0x0F, 0xAC}, 2, RowForm::modRm, 0, RowImm::byte, rowDouble, 0},
    {"shrd", {0x0F, 0xAD}, 2, RowForm::modRm, 0, RowImm::none, rowDouble | rowNo16, 0},
    {"bt", {0x0F, 0xA3}, 2, RowForm::modRm, 0, RowImm::none, rowBitString, bitTested},
    {"bts", {0x0F, 0xAB}, 2, RowForm::modRm, 0, RowImm::none, rowBitString | rowLock, bitTested},
    {"btr", {0x0F, 0xB3}, 2, RowForm::modRm, 0, RowImm::none, rowBitString | rowLock, bitTested},
    {"btc", {0x0F, 0xBB}, 2, RowForm::modRm, 0, RowImm::none, rowBitString | rowLock, bitTested},
    {"bt", {0x0F, 0xBA}, 2, RowForm::digit, 4, RowImm::byte, 0, bitTested},
    {"bts", {0x0F, 0xBA}, 2, RowForm::digit, 5, RowImm::byte, rowLock, bitTested},
    {"btr", {0x0F, 0xBA}, 2, RowForm::digit, 6, RowImm::byte, rowLock, bitTested},
    {"btc", {0x0F, 0xBA}, 2, RowForm::digit, 7, RowImm::byte, rowLock, bitTested},
    {"bsf", {0x0F, 0xBC}, 2, RowForm::modRm, 0, RowImm::none, 0, scanned},
    {"bsr", {0x0F, 0xBD}, 2, RowForm::modRm, 0, RowImm::none, 0, scanned},
    {"popcnt", {0x0F, 0xB8}, 2, RowForm::modRm, 0, RowImm::none, rowNeedsF3, 0},
    {"cmpxchg", {0x0F, 0xB0}, 2, RowForm::modRm, 0, RowImm::none, rowByte | rowLock, 0},
    {"cmpxchg", {0x0F, 0xB1}, 2, RowForm::modRm, 0, RowImm::none, rowLock, 0},
    {"cmpxchg8b or 16b", {0x0F, 0xC7}, 2, RowForm::digit, 1, RowImm::none, rowMemory | rowLock | rowAligned16 | rowNo16, 0},
    {"xadd", {0x0F, 0xC0}, 2, RowForm::modRm, 0, RowImm::none, rowByte | rowLock, 0},
    {"xadd", {0x0F, 0xC1}, 2, RowForm::modRm, 0, RowImm::none, rowLock, 0},
    {"xchg", {0x86}, 1, RowForm::modRm, 0, RowImm::none, rowByte | rowLock, 0},
    {"xchg", {0x87}, 1, RowForm::modRm, 0, RowImm::none, rowLock, 0},
    {"xchg rax", {0x90}, 1, RowForm::opcodeRm, 0, RowImm::none, 0, 0},
    {"mov", {0x88}, 1, RowForm::modRm, 0, RowImm::none, rowByte, 0},
    {"mov", {0x89}, 1, RowForm::modRm, 0, RowImm::none, 0, 0},
    {"mov", {0x8A}, 1, RowForm::modRm, 0, RowImm::none, rowByte, 0},
    {"mov", {0x8B}, 1, RowForm::modRm, 0, RowImm::none, 0, 0},
    {"mov", {0xB0}, 1, RowForm::opcodeRm, 0, RowImm::full, rowByte, 0},
    {"mov", {0xB8}, 1, RowForm::opcodeRm, 0, RowImm::full, 0, 0},
    {"mov", {0xC6}, 1, RowForm::digit, 0, RowImm::byte, rowByte, 0},
    {"mov", {0xC7}, 1, RowForm::digit, 0, RowImm::operand, 0, 0},
    {"movzx", {0x0F, 0xB6}, 2, RowForm::modRm, 0, RowImm::none, 0, 0},
    {"movzx", {0x0F, 0xB7}, 2, RowForm::modRm, 0, RowImm::none, rowNo16, 0},
    {"movsx", {0x0F, 0xBE}, 2, RowForm::modRm, 0, RowImm::none, 0, 0},
    {"movsx", {0x0F, 0xBF}, 2, RowForm::modRm, 0, RowImm::none, rowNo16, 0},
    {"movsxd", {0x63}, 1, RowForm::modRm, 0, RowImm::none, rowNo16, 0},
    {"lea", {0x8D}, 1, RowForm::modRm, 0, RowImm::none, rowMemory, 0},
    {"cbw", {0x98}, 1, RowForm::plain, 0, RowImm::none, 0, 0},
    {"cwd", {0x99}, 1, RowForm::plain, 0, RowImm::none, 0, 0},
    {"bswap", {0x0F, 0xC8}, 2, RowForm::opcodeRm, 0, RowImm::none, rowNo16, 0},
    {"lahf", {0x9F}, 1, RowForm::plain, 0, RowImm::none, 0, 0},
    {"sahf", {0x9E}, 1, RowForm::plain, 0, RowImm::none, 0, 0},
    {"cmc, clc, stc", {0xF8}, 1, RowForm::plain, 0, RowImm::none, 0, 0, 2},
    {"cmc", {0xF5}, 1, RowForm::plain, 0, RowImm::none, 0, 0},
    {"cld, std", {0xFC}, 1, RowForm::plain, 0, RowImm::none, 0, 0, 2},
    {"nop", {0x0F, 0x1F}, 2, RowForm::modRm, 0, RowImm::none, 0, 0},
    {"cmovcc", {0x0F, 0x40}, 2, RowForm::modRm, 0, RowImm::none, 0, 0, 16},
    {"cmovcc", {0x0F, 0x40}, 2, RowForm::modRm, 0, RowImm::none, 0, 0, 16},
    {"setcc", {0x0F, 0x90}, 2, RowForm::modRm, 0, RowImm::none, rowByte, 0, 16},
    {"setcc", {0x0F, 0x90}, 2, RowForm::modRm, 0, RowImm::none, rowByte, 0, 16},
    {"jcc", {0x70}, 1, RowForm::jump, 0, RowImm::none, 0, 0, 16},
    {"jcc", {0x70}, 1, RowForm::jump, 0, RowImm::none, 0, 0, 16},
    {"loop, jrcxz", {0xE0}, 1, RowForm::jump, 0, RowImm::none, 0, 0, 4},
    {"push", {0x50}, 1, RowForm::stackRm, 0, RowImm::none, 0, 0},
    {"push", {0xFF}, 1, RowForm::stackDigit, 6, RowImm::none, 0, 0},
    {"push", {0x6A}, 1, RowForm::stack, 0, RowImm::byte, 0, 0},
    {"push", {0x68}, 1, RowForm::stack, 0, RowImm::operand, 0, 0},
    {"pop", {0x58}, 1, RowForm::stackRm, 0, RowImm::none, 0, 0},
    {"pop", {0x8F}, 1, RowForm::stackDigit, 0, RowImm::none, 0, 0},
    {"pushf", {0x9C}, 1, RowForm::stack, 0, RowImm::none, 0, 0},
    {"popf", {0x9D}, 1, RowForm::stack, 0, RowImm::none, rowPopsFlags, 0},
    {"leave", {0xC9}, 1, RowForm::stack, 0, RowImm::none, 0, 0},
    {"movs", {0xA4}, 1, RowForm::string, 0, RowImm::none, rowByte | rowRepeats, 0},
    {"movs", {0xA5}, 1, RowForm::string, 0, RowImm::none, rowRepeats, 0},
    {"stos", {0xAA}, 1, RowForm::string, 0, RowImm::none, rowByte | rowRepeats, 0},
    {"stos", {0xAB}, 1, RowForm::string, 0, RowImm::none, rowRepeats, 0},
    {"lods", {0xAC}, 1, RowForm::string, 0, RowImm::none, rowByte | rowRepeats, 0},
    {"lods", {0xAD}, 1, RowForm::string, 0, RowImm::none, rowRepeats, 0},
    {"cmps", {0xA6}, 1, RowForm::string, 0, RowImm::none, rowByte | rowCompares, 0},
    {"cmps", {0xA7}, 1, RowForm::string, 0, RowImm::none, rowCompares, 0},
    {"scas", {0xAE}, 1, RowForm::string, 0, RowImm::none, rowByte | rowCompares, 0},
    {"scas", {0xAF}, 1, RowForm::string, 0, RowImm::none, rowCompares, 0},
};
// clang-format on

constexpr size_t rowCount = sizeof rows / sizeof rows[0];

// The data of NativeCode in the simulated memory, its pages in another order than their linear addresses.
constexpr uint64_t dataPages[4] = {0x102000, 0x105000, 0x101000, 0x107000};
constexpr uint64_t codePage = 0x120000;

class CpuNative : public testing::TestWithParam<unsigned> {
protected:
    void SetUp() override {
        if (!NativeCode::isPossible) GTEST_SKIP() << "another kind of processor cannot be compared";
        ASSERT_TRUE(native.IsThere());
        rig.StartLong(CpuRig::userCode64);
        rig.cpu.registers.flags.Set(flagIf); // as a program sees them
        // Tables for the 2 MiB from NativeCode::dataAddress on, which hold its code as well.
        constexpr uint64_t table = 0x130000;
        rig.Write64(CpuRig::wideDirectory + 8 * (NativeCode::dataAddress >> 21), table | 7);
        for (unsigned n = 0; n < 4; ++n) rig.Write64(table + 8 * n, dataPages[n] | 7);
        rig.Write64(table + 8 * (NativeCode::codeAddress >> 12 & 511), codePage | 7);
        rig.cpu.Refresh();
    }

    uint8_t *SimulatedData(uint64_t offset) {
        return rig.memory.At(dataPages[offset >> 12] + (offset & 0xFFF));
    }

    void CopyDataToSimulation(uint64_t from, uint64_t to) {
        for (uint64_t at = from; at < to; at = (at & ~uint64_t(0xFFF)) + 0x1000) {
            const uint64_t end = std::min(to, (at & ~uint64_t(0xFFF)) + 0x1000);
            std::memcpy(SimulatedData(at), native.Data() + at, end - at);
        }
    }

    bool IsDataEqual(uint64_t from, uint64_t to) {
        for (uint64_t at = from; at < to; at = (at & ~uint64_t(0xFFF)) + 0x1000) {
            const uint64_t end = std::min(to, (at & ~uint64_t(0xFFF)) + 0x1000);
            if (std::memcmp(SimulatedData(at), native.Data() + at, end - at) != 0) return false;
        }
        return true;
    }

    // True unless it faulted. The flags are those that the simulated processor has.
    bool Simulate(const RandomInstruction &instruction) {
        Registers &r = rig.cpu.registers;
        std::memcpy(r.gpr, instruction.gpr, sizeof instruction.gpr);
        r.rip = NativeCode::codeAddress;
        rig.memory.Write(codePage, instruction.bytes, instruction.size);
        for (unsigned n = 0; n < 3 && r.rip != NativeCode::codeAddress + instruction.size; ++n) {
            rig.cpu.Run(1);
            if (rig.cpu.Cpl() == 0) return false;
        }
        return true;
    }

    NativeCode native;
    CpuRig rig;
};

std::string Describe(const RandomInstruction &instruction, uint32_t flags) {
    std::string text = std::string(instruction.name) + ":";
    char part[40];
    for (size_t n = 0; n < instruction.size; ++n) {
        std::snprintf(part, sizeof part, " %02X", instruction.bytes[n]);
        text += part;
    }
    for (unsigned n = 0; n < 16; ++n) {
        std::snprintf(part, sizeof part, "%s%llX", n == 0 ? "\nfrom " : " ",
                      static_cast<unsigned long long>(instruction.gpr[n]));
        text += part;
    }
    std::snprintf(part, sizeof part, " flags %X", flags);
    return text + part;
}

TEST_P(CpuNative, RandomInstructionsLeaveTheSameState) {
    constexpr unsigned cases = 60000;
    constexpr uint64_t from = NativeCode::dataSize / 2 - InstructionMaker::reach;
    constexpr uint64_t to = NativeCode::dataSize / 2 + InstructionMaker::reach;
    InstructionMaker maker(GetParam());
    const Registers start = rig.cpu.registers;
    unsigned faults = 0, divisions = 0;
    uint64_t gpr[16];
    for (unsigned n = 0; n < cases; ++n) {
        for (uint64_t &value : gpr) value = maker.Value();
        if (n % 16 == 0) {
            for (uint64_t at = from; at < to; at += 8) {
                const uint64_t value = maker.Value();
                std::memcpy(native.Data() + at, &value, 8);
            }
        }
        const RandomInstruction instruction = maker.Make(rows[maker.Pick(rowCount)], gpr, native.Data());
        CopyDataToSimulation(from, to);
        // Half of the time the flags stay as the instruction before left them inside.
        Flags &flags = rig.cpu.registers.flags;
        if (n % 2 == 0) flags.Set((uint32_t(maker.Value()) & (flagsArithmetic | flagDf)) | flagIf);
        const uint32_t before = flags.Get();
        NativeCode::State state;
        std::memcpy(state.gpr, instruction.gpr, sizeof state.gpr);
        state.flags = before;
        divisions += instruction.mayDivideFault;
        if (!Simulate(instruction)) {
            ASSERT_TRUE(instruction.mayDivideFault && rig.IsAtHandler(vectorDivide))
                << Describe(instruction, before);
            ++faults;
            rig.cpu.registers = start;
            rig.cpu.Refresh();
            continue;
        }
        native.Run(instruction.bytes, instruction.size, state);
        for (unsigned reg = 0; reg < 16; ++reg)
            ASSERT_EQ(rig.cpu.registers.gpr[reg], state.gpr[reg])
                << "register " << reg << " of " << Describe(instruction, before);
        const uint32_t compared = (flagsArithmetic | flagDf) & ~instruction.undefinedFlags;
        ASSERT_EQ(flags.Get() & compared, state.flags & compared) << Describe(instruction, before);
        ASSERT_TRUE(IsDataEqual(from, to)) << Describe(instruction, before);
    }
    // Most divisions are compared, not skipped.
    EXPECT_LT(faults, divisions / 2);
    EXPECT_GT(divisions, 0u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, CpuNative, testing::Range(1u, 11u));

} // namespace
