#include "sim/execute.h"
#include "sim/opcode_rows.h"

namespace sable {

namespace {

constexpr uint16_t byteLock = traitByte | traitLock;

// Groups: the entry is at ModRM.reg.

constexpr Opcode Group1(unsigned n, uint16_t traits, Operands operands) {
    const bool isCompare = n == 7;
    return {&arithmetic[n][formRmImm], operands, uint16_t(isCompare ? traits & ~traitLock : traits), nullptr};
}

struct Group {
    Opcode at[8];
};

constexpr Group MakeGroup1(uint16_t traits, Operands operands) {
    Group group = {};
    for (unsigned n = 0; n < 8; ++n) group.at[n] = Group1(n, traits, operands);
    return group;
}

constexpr Group MakeShifts(ShiftForm form, uint16_t traits, Operands operands) {
    Group group = {};
    for (unsigned n = 0; n < 8; ++n) group.at[n] = {&shifts[n][form], operands, traits, nullptr};
    return group;
}

constexpr Group group80 = MakeGroup1(byteLock, Operands::modRmImm8);
constexpr Group group81 = MakeGroup1(traitLock, Operands::modRmImm);
constexpr Group group83 = MakeGroup1(traitLock, Operands::modRmImm8);
constexpr Group groupC0 = MakeShifts(shiftByImm, traitByte, Operands::modRmImm8);
constexpr Group groupC1 = MakeShifts(shiftByImm, 0, Operands::modRmImm8);
constexpr Group groupD0 = MakeShifts(shiftByOne, traitByte, Operands::modRm);
constexpr Group groupD1 = MakeShifts(shiftByOne, 0, Operands::modRm);
constexpr Group groupD2 = MakeShifts(shiftByCl, traitByte, Operands::modRm);
constexpr Group groupD3 = MakeShifts(shiftByCl, 0, Operands::modRm);
constexpr Opcode group8F[8] = {{&popRm, Operands::modRm, traitDefault64, nullptr}};
constexpr Opcode groupC6[8] = {{&movRmImm, Operands::modRmImm8, traitByte, nullptr}};
constexpr Opcode groupC7[8] = {{&movRmImm, Operands::modRmImm, 0, nullptr}};

constexpr Opcode groupF6[8] = {{&testRmImm, Operands::modRmImm8, traitByte, nullptr},
                               {&testRmImm, Operands::modRmImm8, traitByte, nullptr},
                               {&notRm, Operands::modRm, byteLock, nullptr},
                               {&negRm, Operands::modRm, byteLock, nullptr},
                               {&mulRm, Operands::modRm, traitByte, nullptr},
                               {&imulRm, Operands::modRm, traitByte, nullptr},
                               {&divRm, Operands::modRm, traitByte, nullptr},
                               {&idivRm, Operands::modRm, traitByte, nullptr}};

constexpr Opcode groupF7[8] = {
    {&testRmImm, Operands::modRmImm, 0, nullptr},  {&testRmImm, Operands::modRmImm, 0, nullptr},
    {&notRm, Operands::modRm, traitLock, nullptr}, {&negRm, Operands::modRm, traitLock, nullptr},
    {&mulRm, Operands::modRm, 0, nullptr},         {&imulRm, Operands::modRm, 0, nullptr},
    {&divRm, Operands::modRm, 0, nullptr},         {&idivRm, Operands::modRm, 0, nullptr}};

constexpr Opcode groupFE[8] = {{&incRm, Operands::modRm, byteLock, nullptr},
                               {&decRm, Operands::modRm, byteLock, nullptr}};

constexpr Opcode groupFF[8] = {{&incRm, Operands::modRm, traitLock, nullptr},
                               {&decRm, Operands::modRm, traitLock, nullptr},
                               {&callRm, Operands::modRm, traitForce64 | traitEnds, nullptr},
                               {&callFarRm, Operands::modRm, traitMemory | traitEnds, nullptr},
                               {&jmpRm, Operands::modRm, traitForce64 | traitEnds, nullptr},
                               {&jmpFarRm, Operands::modRm, traitMemory | traitEnds, nullptr},
                               {&pushRm, Operands::modRm, traitDefault64, nullptr}};

constexpr uint16_t nearTraits = traitForce64 | traitEnds;
constexpr uint16_t opRegister64 = traitOpRegister | traitDefault64;
constexpr uint16_t port = traitEnds;

constexpr OpcodeRow rows[] = {
    {0x06, 1, {&pushSegment, Operands::none, traitNo64, nullptr}},
    {0x07, 1, {&popSegment, Operands::none, traitNo64, nullptr}},
    {0x0E, 1, {&pushSegment, Operands::none, traitNo64, nullptr}},
    {0x16, 1, {&pushSegment, Operands::none, traitNo64, nullptr}},
    {0x17, 1, {&popSegment, Operands::none, traitNo64 | traitEnds, nullptr}},
    {0x1E, 1, {&pushSegment, Operands::none, traitNo64, nullptr}},
    {0x1F, 1, {&popSegment, Operands::none, traitNo64, nullptr}},
    {0x27, 1, {&adjustDaa, Operands::none, traitNo64, nullptr}},
    {0x2F, 1, {&adjustDas, Operands::none, traitNo64, nullptr}},
    {0x37, 1, {&adjustAaa, Operands::none, traitNo64, nullptr}},
    {0x3F, 1, {&adjustAas, Operands::none, traitNo64, nullptr}},
    {0x40, 8, {&incRm, Operands::none, traitOpRegister | traitNo64, nullptr}},
    {0x48, 8, {&decRm, Operands::none, traitOpRegister | traitNo64, nullptr}},
    {0x50, 8, {&pushRm, Operands::none, opRegister64, nullptr}},
    {0x58, 8, {&popRm, Operands::none, opRegister64, nullptr}},
    {0x60, 1, {&pushAll, Operands::none, traitNo64, nullptr}},
    {0x61, 1, {&popAll, Operands::none, traitNo64, nullptr}},
    {0x62, 1, {&bound, Operands::modRm, traitNo64 | traitMemory, nullptr}},
    {0x63, 1, {&movsxd, Operands::modRm, 0, nullptr}},
    {0x68, 1, {&pushImm, Operands::imm, traitDefault64, nullptr}},
    {0x69, 1, {&imulRegRmImm, Operands::modRmImm, 0, nullptr}},
    {0x6A, 1, {&pushImm, Operands::imm8, traitDefault64, nullptr}},
    {0x6B, 1, {&imulRegRmImm, Operands::modRmImm8, 0, nullptr}},
    {0x6C, 1, {&ins, Operands::none, traitByte | port, nullptr}},
    {0x6D, 1, {&ins, Operands::none, port, nullptr}},
    {0x6E, 1, {&outs, Operands::none, traitByte | port, nullptr}},
    {0x6F, 1, {&outs, Operands::none, port, nullptr}},
    {0x80, 1, {nullptr, Operands::modRm, 0, group80.at}},
    {0x81, 1, {nullptr, Operands::modRm, 0, group81.at}},
    {0x82, 1, {nullptr, Operands::modRm, traitNo64, group80.at}},
    {0x83, 1, {nullptr, Operands::modRm, 0, group83.at}},
    {0x84, 1, {&testRmReg, Operands::modRm, traitByte, nullptr}},
    {0x85, 1, {&testRmReg, Operands::modRm, 0, nullptr}},
    {0x86, 1, {&xchgRmReg, Operands::modRm, byteLock, nullptr}},
    {0x87, 1, {&xchgRmReg, Operands::modRm, traitLock, nullptr}},
    {0x88, 1, {&movRmReg, Operands::modRm, traitByte, nullptr}},
    {0x89, 1, {&movRmReg, Operands::modRm, 0, nullptr}},
    {0x8A, 1, {&movRegRm, Operands::modRm, traitByte, nullptr}},
    {0x8B, 1, {&movRegRm, Operands::modRm, 0, nullptr}},
    {0x8C, 1, {&movRmSegment, Operands::modRm, 0, nullptr}},
    {0x8D, 1, {&lea, Operands::modRm, traitMemory, nullptr}},
    {0x8E, 1, {&movSegmentRm, Operands::modRm, traitEnds, nullptr}},
    {0x8F, 1, {nullptr, Operands::modRm, 0, group8F}},
    {0x90, 8, {&xchgAccumulator, Operands::none, traitOpRegister, nullptr}},
    {0x98, 1, {&extendAccumulator, Operands::none, 0, nullptr}},
    {0x99, 1, {&extendIntoRdx, Operands::none, 0, nullptr}},
    {0x9A, 1, {&callFar, Operands::far, traitNo64 | traitEnds, nullptr}},
    {0x9C, 1, {&pushFlags, Operands::none, traitDefault64, nullptr}},
    {0x9D, 1, {&popFlags, Operands::none, traitDefault64 | traitEnds, nullptr}},
    {0x9E, 1, {&sahf, Operands::none, 0, nullptr}},
    {0x9F, 1, {&lahf, Operands::none, 0, nullptr}},
    {0xA0, 1, {&movRegRm, Operands::offset, traitByte, nullptr}},
    {0xA1, 1, {&movRegRm, Operands::offset, 0, nullptr}},
    {0xA2, 1, {&movRmReg, Operands::offset, traitByte, nullptr}},
    {0xA3, 1, {&movRmReg, Operands::offset, 0, nullptr}},
    {0xA4, 1, {&movs, Operands::none, traitByte, nullptr}},
    {0xA5, 1, {&movs, Operands::none, 0, nullptr}},
    {0xA6, 1, {&cmps, Operands::none, traitByte, nullptr}},
    {0xA7, 1, {&cmps, Operands::none, 0, nullptr}},
    {0xA8, 1, {&testRmImm, Operands::imm, traitByte, nullptr}},
    {0xA9, 1, {&testRmImm, Operands::imm, 0, nullptr}},
    {0xAA, 1, {&stos, Operands::none, traitByte, nullptr}},
    {0xAB, 1, {&stos, Operands::none, 0, nullptr}},
    {0xAC, 1, {&lods, Operands::none, traitByte, nullptr}},
    {0xAD, 1, {&lods, Operands::none, 0, nullptr}},
    {0xAE, 1, {&scas, Operands::none, traitByte, nullptr}},
    {0xAF, 1, {&scas, Operands::none, 0, nullptr}},
    {0xB0, 8, {&movRmImm, Operands::fullImm, traitOpRegister | traitByte, nullptr}},
    {0xB8, 8, {&movRmImm, Operands::fullImm, traitOpRegister, nullptr}},
    {0xC0, 1, {nullptr, Operands::modRm, 0, groupC0.at}},
    {0xC1, 1, {nullptr, Operands::modRm, 0, groupC1.at}},
    {0xC2, 1, {&retNearImm, Operands::imm16, nearTraits, nullptr}},
    {0xC3, 1, {&retNear, Operands::none, nearTraits, nullptr}},
    {0xC4, 1, {&loadEs, Operands::modRm, traitNo64 | traitMemory, nullptr}},
    {0xC5, 1, {&loadDs, Operands::modRm, traitNo64 | traitMemory, nullptr}},
    {0xC6, 1, {nullptr, Operands::modRm, 0, groupC6}},
    {0xC7, 1, {nullptr, Operands::modRm, 0, groupC7}},
    {0xC8, 1, {&enter, Operands::imm16Imm8, traitDefault64, nullptr}},
    {0xC9, 1, {&leave, Operands::none, traitDefault64, nullptr}},
    {0xCA, 1, {&retFarImm, Operands::imm16, traitEnds, nullptr}},
    {0xCB, 1, {&retFar, Operands::none, traitEnds, nullptr}},
    {0xCC, 1, {&int3, Operands::none, traitEnds, nullptr}},
    {0xCD, 1, {&intImm, Operands::imm8, traitEnds, nullptr}},
    {0xCE, 1, {&into, Operands::none, traitNo64, nullptr}},
    {0xCF, 1, {&iret, Operands::none, traitEnds, nullptr}},
    {0xD0, 1, {nullptr, Operands::modRm, 0, groupD0.at}},
    {0xD1, 1, {nullptr, Operands::modRm, 0, groupD1.at}},
    {0xD2, 1, {nullptr, Operands::modRm, 0, groupD2.at}},
    {0xD3, 1, {nullptr, Operands::modRm, 0, groupD3.at}},
    {0xD4, 1, {&adjustAam, Operands::imm8, traitNo64, nullptr}},
    {0xD5, 1, {&adjustAad, Operands::imm8, traitNo64, nullptr}},
    {0xD7, 1, {&xlat, Operands::none, 0, nullptr}},
    {0xE0, 1, {&loopNotZero, Operands::imm8, traitForce64, nullptr}},
    {0xE1, 1, {&loopZero, Operands::imm8, traitForce64, nullptr}},
    {0xE2, 1, {&loopCount, Operands::imm8, traitForce64, nullptr}},
    {0xE3, 1, {&jumpCountZero, Operands::imm8, traitForce64, nullptr}},
    {0xE4, 1, {&inImm, Operands::imm8, traitByte | port, nullptr}},
    {0xE5, 1, {&inImm, Operands::imm8, port, nullptr}},
    {0xE6, 1, {&outImm, Operands::imm8, traitByte | port, nullptr}},
    {0xE7, 1, {&outImm, Operands::imm8, port, nullptr}},
    {0xE8, 1, {&callRelative, Operands::imm, nearTraits, nullptr}},
    {0xE9, 1, {&jmpRelative, Operands::imm, nearTraits, nullptr}},
    {0xEA, 1, {&jmpFar, Operands::far, traitNo64 | traitEnds, nullptr}},
    {0xEB, 1, {&jmpRelative, Operands::imm8, nearTraits, nullptr}},
    {0xEC, 1, {&inDx, Operands::none, traitByte | port, nullptr}},
    {0xED, 1, {&inDx, Operands::none, port, nullptr}},
    {0xEE, 1, {&outDx, Operands::none, traitByte | port, nullptr}},
    {0xEF, 1, {&outDx, Operands::none, port, nullptr}},
    {0xF1, 1, {&int1, Operands::none, traitEnds, nullptr}},
    {0xF4, 1, {&hlt, Operands::none, traitEnds, nullptr}},
    {0xF5, 1, {&cmc, Operands::none, 0, nullptr}},
    {0xF6, 1, {nullptr, Operands::modRm, 0, groupF6}},
    {0xF7, 1, {nullptr, Operands::modRm, 0, groupF7}},
    {0xF8, 1, {&clc, Operands::none, 0, nullptr}},
    {0xF9, 1, {&stc, Operands::none, 0, nullptr}},
    {0xFA, 1, {&cli, Operands::none, traitEnds, nullptr}},
    {0xFB, 1, {&sti, Operands::none, traitEnds, nullptr}},
    {0xFC, 1, {&cld, Operands::none, 0, nullptr}},
    {0xFD, 1, {&setDirection, Operands::none, 0, nullptr}},
    {0xFE, 1, {nullptr, Operands::modRm, 0, groupFE}},
    {0xFF, 1, {nullptr, Operands::modRm, 0, groupFF}},
};

constexpr ConditionRow conditionRow = {0x70, conditionalJumps, Operands::imm8, traitForce64};

// 00 to 3F: eight operations, each with six forms.
constexpr void AddArithmetic(OpcodeMap &map) {
    for (unsigned n = 0; n < 8; ++n) {
        const ExecuteTable *forms = arithmetic[n];
        const uint16_t lock = n == 7 ? 0 : traitLock; // CMP writes nothing
        Opcode *at = &map.at[uint64_t{8} * n];
        at[0] = {&forms[formRmReg], Operands::modRm, uint16_t(traitByte | lock), nullptr};
        at[1] = {&forms[formRmReg], Operands::modRm, lock, nullptr};
        at[2] = {&forms[formRegRm], Operands::modRm, traitByte, nullptr};
        at[3] = {&forms[formRegRm], Operands::modRm, 0, nullptr};
        at[4] = {&forms[formRmImm], Operands::imm, traitByte, nullptr};
        at[5] = {&forms[formRmImm], Operands::imm, 0, nullptr};
    }
}

constexpr OpcodeMap MakeMap() {
    OpcodeMap map = {};
    AddArithmetic(map);
    AddRow(map, conditionRow);
    for (const OpcodeRow &row : rows) AddRow(map, row);
    return map;
}

constexpr OpcodeMap map = MakeMap();

} // namespace

const Opcode *const oneByteOpcodes = map.at;
const Opcode arplOpcode = {&arpl, Operands::modRm, 0, nullptr};

} // namespace sable
