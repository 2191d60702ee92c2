#include "sim/execute.h"
#include "sim/opcode_rows.h"

namespace sable {

namespace {

// 0F 00 and 0F 01: descriptor tables and modes.
constexpr Opcode group00[8] = {
    {&sldt, Operands::modRm, 0, nullptr},         {&str, Operands::modRm, 0, nullptr},
    {&lldt, Operands::modRm, traitEnds, nullptr}, {&ltr, Operands::modRm, traitEnds, nullptr},
    {&verr, Operands::modRm, 0, nullptr},         {&verw, Operands::modRm, 0, nullptr}};

constexpr Opcode group01[8] = {
    {&sgdt, Operands::modRm, traitMemory, nullptr}, {&sidt, Operands::modRm, traitMemory, nullptr},
    {&lgdt, Operands::modRm, traitMemory, nullptr}, {&lidt, Operands::modRm, traitMemory, nullptr},
    {&smsw, Operands::modRm, 0, nullptr},           {},
    {&lmsw, Operands::modRm, traitEnds, nullptr},   {&systemPair, Operands::modRm, traitEnds, nullptr}};

// 0F AE: what belongs to floating point is missing.
constexpr Opcode groupAE[8] = {{},
                               {},
                               {},
                               {},
                               {},
                               {&fencePair, Operands::modRm, 0, nullptr},
                               {&fencePair, Operands::modRm, 0, nullptr},
                               {&clflush, Operands::modRm, 0, nullptr}};

constexpr Opcode groupBA[8] = {{},
                               {},
                               {},
                               {},
                               {&bitTests[0][1], Operands::modRmImm8, 0, nullptr},
                               {&bitTests[1][1], Operands::modRmImm8, traitLock, nullptr},
                               {&bitTests[2][1], Operands::modRmImm8, traitLock, nullptr},
                               {&bitTests[3][1], Operands::modRmImm8, traitLock, nullptr}};

constexpr Opcode groupC7[8] = {{}, {&cmpxchgDouble, Operands::modRm, traitMemory | traitLock, nullptr}};

constexpr uint16_t controlTraits = traitRegister | traitNative | traitEnds;

constexpr OpcodeRow rows[] = {
    {0x00, 1, {nullptr, Operands::modRm, 0, group00}},
    {0x01, 1, {nullptr, Operands::modRm, 0, group01}},
    {0x02, 1, {&lar, Operands::modRm, 0, nullptr}},
    {0x03, 1, {&lsl, Operands::modRm, 0, nullptr}},
    {0x05, 1, {&syscallEnter, Operands::none, traitEnds, nullptr}},
    {0x06, 1, {&clts, Operands::none, 0, nullptr}},
    {0x07, 1, {&syscallReturn, Operands::none, traitEnds, nullptr}},
    {0x08, 2, {&writeBack, Operands::none, 0, nullptr}}, // INVD, WBINVD
    {0x0D, 1, {&nop, Operands::modRm, 0, nullptr}},      // prefetch hints
    {0x18, 8, {&nop, Operands::modRm, 0, nullptr}},      // hints, among them NOP and ENDBR
    {0x20, 1, {&movFromCr, Operands::modRm, controlTraits, nullptr}},
    {0x21, 1, {&movFromDr, Operands::modRm, controlTraits, nullptr}},
    {0x22, 1, {&movToCr, Operands::modRm, controlTraits, nullptr}},
    {0x23, 1, {&movToDr, Operands::modRm, controlTraits, nullptr}},
    {0x30, 1, {&wrmsr, Operands::none, traitEnds, nullptr}},
    {0x31, 1, {&rdtsc, Operands::none, 0, nullptr}},
    {0x32, 1, {&rdmsr, Operands::none, 0, nullptr}},
    {0xA0, 1, {&pushSegment, Operands::none, traitDefault64, nullptr}},
    {0xA1, 1, {&popSegment, Operands::none, traitDefault64, nullptr}},
    {0xA2, 1, {&cpuid, Operands::none, 0, nullptr}},
    {0xA3, 1, {&bitTests[0][0], Operands::modRm, 0, nullptr}},
    {0xA4, 1, {&shldImm, Operands::modRmImm8, 0, nullptr}},
    {0xA5, 1, {&shldCl, Operands::modRm, 0, nullptr}},
    {0xA8, 1, {&pushSegment, Operands::none, traitDefault64, nullptr}},
    {0xA9, 1, {&popSegment, Operands::none, traitDefault64, nullptr}},
    {0xAB, 1, {&bitTests[1][0], Operands::modRm, traitLock, nullptr}},
    {0xAC, 1, {&shrdImm, Operands::modRmImm8, 0, nullptr}},
    {0xAD, 1, {&shrdCl, Operands::modRm, 0, nullptr}},
    {0xAE, 1, {nullptr, Operands::modRm, 0, groupAE}},
    {0xAF, 1, {&imulRegRm, Operands::modRm, 0, nullptr}},
    {0xB0, 1, {&cmpxchg, Operands::modRm, traitByte | traitLock, nullptr}},
    {0xB1, 1, {&cmpxchg, Operands::modRm, traitLock, nullptr}},
    {0xB2, 1, {&loadSs, Operands::modRm, traitMemory | traitEnds, nullptr}},
    {0xB3, 1, {&bitTests[2][0], Operands::modRm, traitLock, nullptr}},
    {0xB4, 1, {&loadFs, Operands::modRm, traitMemory, nullptr}},
    {0xB5, 1, {&loadGs, Operands::modRm, traitMemory, nullptr}},
    {0xB6, 1, {&movzxByte, Operands::modRm, traitByteRm, nullptr}},
    {0xB7, 1, {&movzxWord, Operands::modRm, 0, nullptr}},
    {0xB8, 1, {&popcnt, Operands::modRm, 0, nullptr}},
    {0xBA, 1, {nullptr, Operands::modRm, 0, groupBA}},
    {0xBB, 1, {&bitTests[3][0], Operands::modRm, traitLock, nullptr}},
    {0xBC, 1, {&bsf, Operands::modRm, 0, nullptr}},
    {0xBD, 1, {&bsr, Operands::modRm, 0, nullptr}},
    {0xBE, 1, {&movsxByte, Operands::modRm, traitByteRm, nullptr}},
    {0xBF, 1, {&movsxWord, Operands::modRm, 0, nullptr}},
    {0xC0, 1, {&xadd, Operands::modRm, traitByte | traitLock, nullptr}},
    {0xC1, 1, {&xadd, Operands::modRm, traitLock, nullptr}},
    {0xC7, 1, {nullptr, Operands::modRm, 0, groupC7}},
    {0xC8, 8, {&bswap, Operands::none, traitOpRegister, nullptr}},
};

constexpr ConditionRow conditionRows[] = {
    {0x40, conditionalMoves, Operands::modRm, 0},
    {0x80, conditionalJumps, Operands::imm, traitForce64},
    {0x90, conditionalSets, Operands::modRm, traitByte},
};

constexpr OpcodeMap MakeMap() {
    OpcodeMap map = {};
    for (const OpcodeRow &row : rows) AddRow(map, row);
    for (const ConditionRow &row : conditionRows) AddRow(map, row);
    return map;
}

constexpr OpcodeMap map = MakeMap();

} // namespace

const Opcode *const twoByteOpcodes = map.at;

} // namespace sable
