// Instructions about the processor itself.
#include "sim/control.h"
#include "sim/cpuid.h"
#include "sim/execute_forms.h"
#include "sim/msr.h"

namespace sable {

bool ExecuteInvalid(Cpu &cpu, const Instruction &) { return cpu.Raise(vectorInvalid); }

namespace {

constexpr uint8_t rax = gprRax * 8, rcx = gprRcx * 8, rdx = gprRdx * 8, rbx = gprRbx * 8;

bool Nop(Cpu &, const Instruction &) { return true; }

bool Clc(Cpu &cpu, const Instruction &) {
    cpu.registers.flags.SetCarry(false);
    return true;
}

bool Stc(Cpu &cpu, const Instruction &) {
    cpu.registers.flags.SetCarry(true);
    return true;
}

bool Cmc(Cpu &cpu, const Instruction &) {
    cpu.registers.flags.SetCarry(!cpu.registers.flags.Carry());
    return true;
}

bool Cld(Cpu &cpu, const Instruction &) {
    cpu.registers.flags.SetSystem(flagDf, false);
    return true;
}

bool Std(Cpu &cpu, const Instruction &) {
    cpu.registers.flags.SetSystem(flagDf, true);
    return true;
}

bool MayChangeInterrupts(Cpu &cpu) {
    return !cpu.IsProtected() || cpu.Cpl() <= cpu.registers.flags.Iopl() || cpu.RaiseGeneral();
}

bool Cli(Cpu &cpu, const Instruction &) {
    if (!MayChangeInterrupts(cpu)) return false;
    cpu.registers.flags.SetSystem(flagIf, false);
    return true;
}

bool Sti(Cpu &cpu, const Instruction &) {
    if (!MayChangeInterrupts(cpu)) return false;
    if (!cpu.registers.flags.Has(flagIf)) cpu.ShadowInterrupts(ShadowKind::sti);
    cpu.registers.flags.SetSystem(flagIf, true);
    return true;
}

bool Hlt(Cpu &cpu, const Instruction &) {
    if (!cpu.RequirePrivilege0()) return false;
    cpu.SetHalted(true);
    return true;
}

// A register gets as much of CR0 as it holds, memory a word.
bool Smsw(Cpu &cpu, const Instruction &i) {
    const uint64_t cr0 = cpu.registers.cr0;
    if (i.isMemory) return cpu.Store<uint16_t>(i.segment, cpu.Offset(i), uint16_t(cr0));
    if (i.width == width16) cpu.Set<uint16_t>(i.rm, uint16_t(cr0));
    if (i.width == width32) cpu.Set<uint32_t>(i.rm, uint32_t(cr0));
    if (i.width == width64) cpu.Set<uint64_t>(i.rm, cr0);
    return true;
}

// PE, MP, EM and TS; PE cannot be cleared.
bool Lmsw(Cpu &cpu, const Instruction &i) {
    uint16_t value;
    if (!cpu.RequirePrivilege0() || !ReadRm<uint16_t>(cpu, i, value)) return false;
    const uint64_t cr0 = cpu.registers.cr0;
    return WriteCr0(cpu, (cr0 & ~uint64_t(cr0Mp | cr0Em | cr0Ts)) | (value & 15u));
}

bool Clts(Cpu &cpu, const Instruction &) {
    if (!cpu.RequirePrivilege0()) return false;
    cpu.registers.cr0 &= ~uint64_t(cr0Ts);
    return true;
}

bool Invlpg(Cpu &cpu, const Instruction &i) {
    if (!cpu.RequirePrivilege0()) return false;
    const SegmentRegister &segment = cpu.registers.segment[i.segment];
    const uint64_t linear = segment.activeBase + cpu.Offset(i);
    cpu.FlushPage(cpu.Is64() ? linear : linear & 0xFFFFFFFF);
    return true;
}

bool Swapgs(Cpu &cpu) {
    if (!cpu.RequirePrivilege0()) return false;
    Registers &r = cpu.registers;
    const uint64_t old = r.segment[segGs].base;
    r.segment[segGs].base = r.msr.kernelGsBase;
    r.msr.kernelGsBase = old;
    cpu.RefreshMode();
    return true;
}

bool IsTimeAllowed(Cpu &cpu) {
    return cpu.Cpl() == 0 || (cpu.registers.cr4 & cr4Tsd) == 0 || cpu.RaiseGeneral();
}

void SetPair(Cpu &cpu, uint64_t value) {
    cpu.Set<uint32_t>(rax, uint32_t(value));
    cpu.Set<uint32_t>(rdx, uint32_t(value >> 32));
}

bool Rdtsc(Cpu &cpu, const Instruction &i) {
    if (!IsTimeAllowed(cpu)) return false;
    SetPair(cpu, cpu.TimeAt(i));
    return true;
}

// 0F 01 /7: memory is INVLPG, the registers 0 and 1 are SWAPGS and RDTSCP.
bool SystemPair(Cpu &cpu, const Instruction &i) {
    if (i.isMemory) return Invlpg(cpu, i);
    const unsigned number = i.rm / 8u;
    if (number == 0 && cpu.Is64()) return Swapgs(cpu);
    if (number != 1) return ExecuteInvalid(cpu, i);
    if (!IsTimeAllowed(cpu)) return false;
    SetPair(cpu, cpu.TimeAt(i));
    cpu.Set<uint32_t>(rcx, uint32_t(cpu.registers.msr.tscAux));
    return true;
}

// Memory is in order by itself; there is no cache.
bool FencePair(Cpu &cpu, const Instruction &i) { return !i.isMemory || ExecuteInvalid(cpu, i); }

// With a register it is SFENCE. The line is read like a byte.
bool Clflush(Cpu &cpu, const Instruction &i) {
    uint8_t unused;
    return !i.isMemory || cpu.Load<uint8_t>(i.segment, cpu.Offset(i), unused);
}

bool WriteBack(Cpu &cpu, const Instruction &) { return cpu.RequirePrivilege0(); }

bool MovFromCr(Cpu &cpu, const Instruction &i) {
    uint64_t value;
    if (!IsControlRegister(i.RegNumber())) return ExecuteInvalid(cpu, i);
    if (!cpu.RequirePrivilege0()) return false;
    value = ReadControl(cpu, i.RegNumber());
    cpu.Set<uint64_t>(i.rm, cpu.Is64() ? value : value & 0xFFFFFFFF);
    return true;
}

bool MovToCr(Cpu &cpu, const Instruction &i) {
    if (!IsControlRegister(i.RegNumber())) return ExecuteInvalid(cpu, i);
    if (!cpu.RequirePrivilege0()) return false;
    return WriteControl(cpu, i.RegNumber(), cpu.Get<uint64_t>(i.rm) & Cpu::widthMask[i.width]);
}

// DR4 and DR5 are DR6 and DR7 unless CR4.DE says otherwise.
bool CheckDebugAccess(Cpu &cpu, const Instruction &i) {
    const unsigned number = i.RegNumber();
    const bool isAlias = number == 4 || number == 5;
    if (number > 7 || (isAlias && (cpu.registers.cr4 & cr4De) != 0)) return ExecuteInvalid(cpu, i);
    if (!cpu.RequirePrivilege0()) return false;
    if ((cpu.registers.dr7 & dr7GeneralDetect) == 0) return true;
    cpu.registers.dr6 |= dr6Access;
    return cpu.Raise(vectorDebug);
}

bool MovFromDr(Cpu &cpu, const Instruction &i) {
    if (!CheckDebugAccess(cpu, i)) return false;
    const Registers &r = cpu.registers;
    const unsigned number = i.RegNumber();
    const uint64_t value = number < 4 ? r.dr[number] : (number & 1) != 0 ? r.dr7 : r.dr6;
    cpu.Set<uint64_t>(i.rm, value & Cpu::widthMask[i.width]);
    return true;
}

bool MovToDr(Cpu &cpu, const Instruction &i) {
    if (!CheckDebugAccess(cpu, i)) return false;
    Registers &r = cpu.registers;
    const unsigned number = i.RegNumber();
    const uint64_t value = cpu.Get<uint64_t>(i.rm) & Cpu::widthMask[i.width];
    if (number < 4) {
        r.dr[number] = value;
    } else if (value >> 32 != 0) {
        return cpu.RaiseGeneral();
    } else if ((number & 1) != 0) {
        r.dr7 = (value & 0xFFFF2BFF) | dr7Fixed;
    } else {
        r.dr6 = (value & 0xE00F) | dr6Fixed;
    }
    cpu.RefreshDebug();
    return true;
}

uint64_t Pair(const Cpu &cpu) { return uint64_t(cpu.Get<uint32_t>(rdx)) << 32 | cpu.Get<uint32_t>(rax); }

bool Rdmsr(Cpu &cpu, const Instruction &i) {
    uint64_t value;
    if (!cpu.RequirePrivilege0()) return false;
    if (!ReadMsr(cpu, cpu.Get<uint32_t>(rcx), cpu.TimeAt(i), value)) return cpu.RaiseGeneral();
    SetPair(cpu, value);
    return true;
}

bool Wrmsr(Cpu &cpu, const Instruction &i) {
    if (!cpu.RequirePrivilege0()) return false;
    return WriteMsr(cpu, cpu.Get<uint32_t>(rcx), cpu.TimeAt(i), Pair(cpu)) || cpu.RaiseGeneral();
}

bool Cpuid(Cpu &cpu, const Instruction &) {
    const CpuidValues values = GetCpuid(cpu.Get<uint32_t>(rax), cpu.Core());
    cpu.Set<uint32_t>(rax, values.eax);
    cpu.Set<uint32_t>(rbx, values.ebx);
    cpu.Set<uint32_t>(rcx, values.ecx);
    cpu.Set<uint32_t>(rdx, values.edx);
    return true;
}

} // namespace

const ExecuteTable nop = SameForAll(Nop);
const ExecuteTable clc = SameForAll(Clc);
const ExecuteTable stc = SameForAll(Stc);
const ExecuteTable cmc = SameForAll(Cmc);
const ExecuteTable cld = SameForAll(Cld);
const ExecuteTable setDirection = SameForAll(Std);
const ExecuteTable cli = SameForAll(Cli);
const ExecuteTable sti = SameForAll(Sti);
const ExecuteTable hlt = SameForAll(Hlt);
const ExecuteTable smsw = SameForAll(Smsw);
const ExecuteTable lmsw = SameForAll(Lmsw);
const ExecuteTable clts = SameForAll(Clts);
const ExecuteTable systemPair = SameForAll(SystemPair);
const ExecuteTable fencePair = SameForAll(FencePair);
const ExecuteTable clflush = SameForAll(Clflush);
const ExecuteTable writeBack = SameForAll(WriteBack);
const ExecuteTable movFromCr = SameForAll(MovFromCr);
const ExecuteTable movToCr = SameForAll(MovToCr);
const ExecuteTable movFromDr = SameForAll(MovFromDr);
const ExecuteTable movToDr = SameForAll(MovToDr);
const ExecuteTable rdmsr = SameForAll(Rdmsr);
const ExecuteTable wrmsr = SameForAll(Wrmsr);
const ExecuteTable rdtsc = SameForAll(Rdtsc);
const ExecuteTable cpuid = SameForAll(Cpuid);

} // namespace sable
