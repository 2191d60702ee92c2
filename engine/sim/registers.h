#pragma once

#include <cstdint>

#include "sim/flags.h"

namespace sable {

/// Slots of Registers::gpr. The last two serve the address arithmetic and are no registers of the machine.
enum Gpr : uint8_t {
    gprRax,
    gprRcx,
    gprRdx,
    gprRbx,
    gprRsp,
    gprRbp,
    gprRsi,
    gprRdi,
    gprR8,
    gprR11 = 11,
    gprZero = 16, ///< always 0
    gprBlock,     ///< rip of the first instruction of the block that is being executed
    gprCount
};

/// Segment registers in the order of their numbers in instructions.
enum SegmentIndex : uint8_t { segEs, segCs, segSs, segDs, segFs, segGs, segCount };

/// Bits of SegmentRegister::access.
enum SegmentAccess : uint16_t {
    accessAccessed = 1,
    accessWritable = 2, ///< data: may be written; code: may be read
    accessDown = 4,     ///< data: expands down; code: conforming
    accessCode = 8,
    accessNotSystem = 0x10,
    accessDplShift = 5,
    accessPresent = 0x80,
    accessLong = 0x2000,
    accessBig = 0x4000,
    accessPages = 0x8000 ///< the limit in the descriptor counts pages
};

/// A segment register, LDTR or TR with what was loaded from its descriptor.
struct SegmentRegister {
    uint16_t selector = 0;
    uint16_t access = 0; ///< bits 40 to 55 of the descriptor without the limit
    uint32_t limit = 0;  ///< in bytes, the last that may be reached
    uint64_t base = 0;

    /// Follow from the above and the mode; Cpu::Refresh sets them. An access of up to 8 bytes at an offset
    /// below the end needs no further check.
    uint64_t activeBase = 0, readEnd = 0, writeEnd = 0;

    unsigned Dpl() const { return access >> accessDplShift & 3u; }
    unsigned Type() const { return access & 15u; }
    bool IsPresent() const { return (access & accessPresent) != 0; }
};

struct TableRegister {
    uint64_t base = 0;
    uint16_t limit = 0xFFFF;
};

enum Cr0 : uint32_t {
    cr0Pe = 1,
    cr0Mp = 2,
    cr0Em = 4,
    cr0Ts = 8,
    cr0Et = 16,
    cr0Ne = 32,
    cr0Wp = 1u << 16,
    cr0Am = 1u << 18,
    cr0Nw = 1u << 29,
    cr0Cd = 1u << 30,
    cr0Pg = 1u << 31
};

enum Cr4 : uint32_t {
    cr4Tsd = 1u << 2,
    cr4De = 1u << 3,
    cr4Pse = 1u << 4,
    cr4Pae = 1u << 5,
    cr4Mce = 1u << 6,
    cr4Pge = 1u << 7
};

enum Efer : uint32_t { eferSce = 1, eferLme = 1u << 8, eferLma = 1u << 10, eferNxe = 1u << 11 };

/// Model specific registers that are plain storage; see msr.cpp.
struct MsrValues {
    uint64_t efer = 0, star = 0, lstar = 0, cstar = 0, fmask = 0, kernelGsBase = 0, tscAux = 0;
    uint64_t apicBase = 0xFEE00800;
    uint64_t pat = 0x0007040600070406;
    uint64_t mtrrDefault = 0;
};

/// All of the state that a program can see.
struct Registers {
    uint64_t gpr[gprCount] = {};
    uint64_t rip = 0;
    Flags flags;
    SegmentRegister segment[segCount];
    SegmentRegister ldt, tss;
    TableRegister gdt, idt;
    uint64_t cr0 = cr0Et, cr2 = 0, cr3 = 0, cr4 = 0, cr8 = 0;
    uint64_t dr[4] = {};
    uint64_t dr6 = 0xFFFF0FF0, dr7 = 0x400;
    uint64_t pdpte[4] = {}; ///< the top level of PAE paging, taken from memory when CR3 is loaded
    MsrValues msr;
};

} // namespace sable
