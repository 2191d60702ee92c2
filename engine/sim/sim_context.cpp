#include "sim/sim_context.h"

#include <iterator>

#include "sim/cpuid.h"
#include "sim/fault.h"
#include "sim/registers.h"

namespace sable {

namespace {

struct GprRow {
    uint64_t ktRawContext::*field;
    unsigned bit, gpr;
};

constexpr GprRow gprRows[] = {
    {&ktRawContext::rsp, ktSbRegRsp, gprRsp},       {&ktRawContext::rax, ktSbRegRax, gprRax},
    {&ktRawContext::rbx, ktSbRegRax + 1, gprRbx},   {&ktRawContext::rcx, ktSbRegRax + 2, gprRcx},
    {&ktRawContext::rdx, ktSbRegRax + 3, gprRdx},   {&ktRawContext::rsi, ktSbRegRax + 4, gprRsi},
    {&ktRawContext::rdi, ktSbRegRax + 5, gprRdi},   {&ktRawContext::rbp, ktSbRegRax + 6, gprRbp},
    {&ktRawContext::r8, ktSbRegR8, gprR8},          {&ktRawContext::r9, ktSbRegR8 + 1, gprR8 + 1},
    {&ktRawContext::r10, ktSbRegR8 + 2, gprR8 + 2}, {&ktRawContext::r11, ktSbRegR8 + 3, gprR8 + 3},
    {&ktRawContext::r12, ktSbRegR8 + 4, gprR8 + 4}, {&ktRawContext::r13, ktSbRegR8 + 5, gprR8 + 5},
    {&ktRawContext::r14, ktSbRegR8 + 6, gprR8 + 6}, {&ktRawContext::r15, ktSbRegR8 + 7, gprR8 + 7},
};

struct PlainRow {
    uint64_t ktRawContext::*field;
    unsigned bit;
    uint64_t Registers::*value;
};

constexpr PlainRow plainRows[] = {
    {&ktRawContext::rip, ktSbRegRip, &Registers::rip},
    {&ktRawContext::cr3, ktSbRegCr3, &Registers::cr3},
    {&ktRawContext::cr0, ktSbRegCr0, &Registers::cr0},
    {&ktRawContext::cr2, ktSbRegCr0 + 1, &Registers::cr2},
    {&ktRawContext::cr4, ktSbRegCr0 + 2, &Registers::cr4},
    {&ktRawContext::cr8, ktSbRegCr0 + 3, &Registers::cr8},
    {&ktRawContext::dr6, ktSbRegDr6And7, &Registers::dr6},
    {&ktRawContext::dr7, ktSbRegDr6And7, &Registers::dr7},
};

constexpr uint64_t ktRawContext::*debugFields[] = {&ktRawContext::dr0, &ktRawContext::dr1, &ktRawContext::dr2,
                                                   &ktRawContext::dr3};

// In the order of ktSbSegment.
constexpr SegmentIndex segments[ktSbSegmentCount] = {segCs, segDs, segSs, segEs, segFs, segGs};

constexpr uint32_t knownFlags = flagsArithmetic | flagTf | flagIf | flagDf | flagIopl | flagNt | flagRf |
                                flagVm | flagAc | flagVif | flagVip | flagId;
constexpr uint32_t knownCr0 =
    cr0Pe | cr0Mp | cr0Em | cr0Ts | cr0Et | cr0Ne | cr0Wp | cr0Am | cr0Nw | cr0Cd | cr0Pg;
constexpr uint32_t knownCr4 = cr4Tsd | cr4De | cr4Pse | cr4Pae | cr4Mce | cr4Pge;
constexpr uint32_t knownDr6 = 0xE00F, knownDr7 = 0xFFFF2BFF;

bool Has(uint64_t mask, unsigned bit) { return (mask >> bit & 1) != 0; }

/// Sets the parts of a segment register whose four bits begin at `bit`.
void ImportSegment(uint64_t mask, unsigned bit, uint16_t selector, uint32_t access, uint64_t base,
                   uint32_t limit, SegmentRegister &segment) {
    if (Has(mask, bit)) segment.selector = selector;
    if (Has(mask, bit + 1)) segment.access = uint16_t(access & 0xF0FF);
    if (Has(mask, bit + 2)) segment.base = base;
    if (Has(mask, bit + 3)) segment.limit = limit;
}

uint32_t ModeOf(const Registers &registers) {
    const uint16_t code = registers.segment[segCs].access;
    const bool isBig = (code & accessBig) != 0;
    if ((registers.cr0 & cr0Pe) == 0) return ktSbModeReal;
    if ((registers.msr.efer & eferLma) == 0) return isBig ? ktSbModeProtected32 : ktSbModeProtected16;
    if ((code & accessLong) != 0) return ktSbModeLong64;
    return isBig ? ktSbModeLong32 : ktSbModeLong16;
}

bool IsPossible(const Registers &registers) {
    const uint64_t cr0 = registers.cr0, cr4 = registers.cr4;
    if ((cr0 & ~uint64_t(knownCr0)) != 0 || (cr4 & ~uint64_t(knownCr4)) != 0 || registers.cr8 > 15)
        return false;
    if ((cr0 & (cr0Pg | cr0Pe)) == cr0Pg || (cr0 & (cr0Nw | cr0Cd)) == cr0Nw) return false;
    const bool isLong = (cr0 & cr0Pg) != 0 && (registers.msr.efer & eferLme) != 0;
    if (isLong && (cr4 & cr4Pae) == 0) return false;
    return registers.cr3 >> (isLong ? physicalAddressBits : 32) == 0 && !registers.flags.Has(flagVm);
}

} // namespace

void ExportRegisters(const Registers &registers, ktRawContext &context, uint32_t &mode) {
    context = {};
    for (const GprRow &row : gprRows) context.*row.field = registers.gpr[row.gpr];
    for (const PlainRow &row : plainRows) context.*row.field = registers.*row.value;
    for (unsigned n = 0; n < std::size(debugFields); ++n) context.*debugFields[n] = registers.dr[n];
    context.rflags = registers.flags.Get();
    for (unsigned n = 0; n < ktSbSegmentCount; ++n) {
        const SegmentRegister &segment = registers.segment[segments[n]];
        context.selector[n] = segment.selector;
        context.access[n] = segment.access;
        context.base[n] = segment.base;
        context.limit[n] = segment.limit;
    }
    context.gdtBase = registers.gdt.base;
    context.gdtLimit = registers.gdt.limit;
    context.idtBase = registers.idt.base;
    context.idtLimit = registers.idt.limit;
    context.ldt = registers.ldt.selector;
    context.ldtAccess = registers.ldt.access;
    context.ldtBase = registers.ldt.base;
    context.ldtLimit = registers.ldt.limit;
    context.tss = registers.tss.selector;
    context.tssAccess = registers.tss.access;
    context.tssBase = registers.tss.base;
    context.tssLimit = registers.tss.limit;
    mode = ModeOf(registers);
}

bool ImportRegisters(const ktRawContext &context, uint64_t mask, Registers &registers) {
    Registers changed = registers;
    for (const GprRow &row : gprRows) {
        if (Has(mask, row.bit)) changed.gpr[row.gpr] = context.*row.field;
    }
    for (const PlainRow &row : plainRows) {
        if (Has(mask, row.bit)) changed.*row.value = context.*row.field;
    }
    for (unsigned n = 0; n < std::size(debugFields); ++n) {
        if (Has(mask, ktSbRegDr0 + n)) changed.dr[n] = context.*debugFields[n];
    }
    if (Has(mask, ktSbRegRflags)) changed.flags.Set(uint32_t(context.rflags) & knownFlags);
    for (unsigned n = 0; n < ktSbSegmentCount; ++n) {
        ImportSegment(mask, ktSbRegCs + 4 * n, context.selector[n], context.access[n], context.base[n],
                      context.limit[n], changed.segment[segments[n]]);
    }
    ImportSegment(mask, ktSbRegLdt, context.ldt, context.ldtAccess, context.ldtBase, context.ldtLimit,
                  changed.ldt);
    ImportSegment(mask, ktSbRegTss, context.tss, context.tssAccess, context.tssBase, context.tssLimit,
                  changed.tss);
    if (Has(mask, ktSbRegGdtBase)) changed.gdt.base = context.gdtBase;
    if (Has(mask, ktSbRegGdtLimit)) changed.gdt.limit = context.gdtLimit;
    if (Has(mask, ktSbRegIdtBase)) changed.idt.base = context.idtBase;
    if (Has(mask, ktSbRegIdtLimit)) changed.idt.limit = context.idtLimit;
    changed.cr0 |= cr0Et;
    changed.dr6 = (changed.dr6 & knownDr6) | dr6Fixed;
    changed.dr7 = (changed.dr7 & knownDr7) | dr7Fixed;
    if (!IsPossible(changed)) return false;
    registers = changed;
    return true;
}

} // namespace sable
