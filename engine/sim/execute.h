#pragma once

#include "sim/opcode.h"

/// The operations that the opcode tables refer to, by the file that has them.
namespace sable {

enum OperandForm : unsigned { formRmReg, formRegRm, formRmImm, formCount };
enum ShiftForm : unsigned { shiftByImm, shiftByOne, shiftByCl, shiftFormCount };

// execute_arithmetic.cpp: by the number of the operation in the opcode.
extern const ExecuteTable arithmetic[8][formCount];
extern const ExecuteTable testRmReg, testRmImm, incRm, decRm, notRm, negRm;
extern const ExecuteTable adjustDaa, adjustDas, adjustAaa, adjustAas, adjustAam, adjustAad;

// execute_multiply.cpp
extern const ExecuteTable mulRm, imulRm, divRm, idivRm, imulRegRm, imulRegRmImm;

// execute_shift.cpp: by ModRM.reg.
extern const ExecuteTable shifts[8][shiftFormCount];
extern const ExecuteTable shldImm, shldCl, shrdImm, shrdCl;

// execute_bits.cpp: BT, BTS, BTR, BTC.
extern const ExecuteTable bitTests[4][2]; // by register, by number
extern const ExecuteTable bsf, bsr, popcnt, cmpxchg, xadd, cmpxchgDouble;

// execute_move.cpp
extern const ExecuteTable movRmReg, movRegRm, movRmImm, xchgRmReg, xchgAccumulator;
extern const ExecuteTable movzxByte, movzxWord, movsxByte, movsxWord, movsxd;
extern const ExecuteTable lea, extendAccumulator, extendIntoRdx, bswap, xlat, lahf, sahf;
extern const ExecuteTable conditionalMoves[16], conditionalSets[16];

// execute_stack.cpp
extern const ExecuteTable pushRm, popRm, pushImm, pushAll, popAll, pushFlags, popFlags, enter, leave;

// execute_branch.cpp
extern const ExecuteTable conditionalJumps[16];
extern const ExecuteTable jmpRelative, jmpRm, callRelative, callRm, retNear, retNearImm;
extern const ExecuteTable loopNotZero, loopZero, loopCount, jumpCountZero;

// execute_far.cpp
extern const ExecuteTable jmpFar, jmpFarRm, callFar, callFarRm, retFar, retFarImm, iret;
extern const ExecuteTable int1, int3, intImm, into, bound, syscallEnter, syscallReturn;

// execute_segment.cpp
extern const ExecuteTable movRmSegment, movSegmentRm, pushSegment, popSegment;
extern const ExecuteTable loadEs, loadSs, loadDs, loadFs, loadGs;
extern const ExecuteTable lar, lsl, verr, verw, arpl, sldt, str, lldt, ltr, sgdt, sidt, lgdt, lidt;

// execute_system.cpp
extern const ExecuteTable nop, clc, stc, cmc, cld, setDirection, cli, sti, hlt;
extern const ExecuteTable smsw, lmsw, clts, systemPair, fencePair, clflush, writeBack;
extern const ExecuteTable movFromCr, movToCr, movFromDr, movToDr, rdmsr, wrmsr, rdtsc, cpuid;

// execute_string.cpp
extern const ExecuteTable movs, cmps, stos, lods, scas, ins, outs;
extern const ExecuteTable inImm, inDx, outImm, outDx;

} // namespace sable
