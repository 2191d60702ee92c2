#include "sim/control.h"

#include "sim/cpu.h"
#include "sim/cpuid.h"

namespace sable {

bool IsControlRegister(unsigned number) { return number == 0 || (number >= 2 && number <= 4) || number == 8; }

uint64_t ReadControl(const Cpu &cpu, unsigned number) {
    const Registers &r = cpu.registers;
    switch (number) {
    case 0:
        return r.cr0;
    case 2:
        return r.cr2;
    case 3:
        return r.cr3;
    case 4:
        return r.cr4;
    default:
        return r.cr8;
    }
}

namespace {

// PAE paging outside long mode has its top level in registers.
bool UsesPdpte(uint64_t cr0, uint64_t cr4, bool isLong) {
    return (cr0 & cr0Pg) != 0 && (cr4 & cr4Pae) != 0 && !isLong;
}

bool WriteCr3(Cpu &cpu, uint64_t value) {
    Registers &r = cpu.registers;
    if (cpu.IsLong() && value >> physicalAddressBits != 0) return cpu.RaiseGeneral();
    if (UsesPdpte(r.cr0, r.cr4, cpu.IsLong()) && !cpu.LoadPdpte(r.cr0, value, r.cr4)) return false;
    r.cr3 = value;
    cpu.FlushTlb(false);
    return true;
}

bool WriteCr4(Cpu &cpu, uint64_t value) {
    Registers &r = cpu.registers;
    if ((value & ~uint64_t(cr4Tsd | cr4De | cr4Pse | cr4Pae | cr4Mce | cr4Pge)) != 0)
        return cpu.RaiseGeneral();
    if (cpu.IsLong() && (value & cr4Pae) == 0) return cpu.RaiseGeneral();
    const bool changesPaging = ((value ^ r.cr4) & (cr4Pse | cr4Pae | cr4Pge)) != 0;
    if (changesPaging && UsesPdpte(r.cr0, value, cpu.IsLong()) && !cpu.LoadPdpte(r.cr0, r.cr3, value))
        return false;
    r.cr4 = value;
    if (changesPaging) cpu.FlushTlb(true);
    return true;
}

bool WriteCr8(Cpu &cpu, uint64_t value) {
    if (value > 15) return cpu.RaiseGeneral();
    cpu.registers.cr8 = value;
    cpu.GetBus().TaskPriorityChanged(cpu.Core(), unsigned(value));
    return true;
}

} // namespace

bool WriteCr0(Cpu &cpu, uint64_t value) {
    Registers &r = cpu.registers;
    constexpr uint64_t known =
        cr0Pe | cr0Mp | cr0Em | cr0Ts | cr0Et | cr0Ne | cr0Wp | cr0Am | cr0Nw | cr0Cd | cr0Pg;
    if (value >> 32 != 0) return cpu.RaiseGeneral();
    value = (value & known) | cr0Et;
    if ((value & (cr0Pg | cr0Pe)) == cr0Pg || (value & (cr0Nw | cr0Cd)) == cr0Nw) return cpu.RaiseGeneral();

    uint64_t efer = r.msr.efer;
    const bool startsPaging = (value & ~r.cr0 & cr0Pg) != 0;
    const bool endsPaging = (~value & r.cr0 & cr0Pg) != 0;
    if (startsPaging && (efer & eferLme) != 0) {
        const bool isLongCode = (r.segment[segCs].access & accessLong) != 0;
        const bool isSmallTask = (r.tss.Type() & 8) == 0 && r.tss.IsPresent();
        if ((r.cr4 & cr4Pae) == 0 || isLongCode || isSmallTask) return cpu.RaiseGeneral();
        efer |= eferLma;
    }
    if (endsPaging) {
        if (cpu.Is64()) return cpu.RaiseGeneral();
        efer &= ~uint64_t(eferLma);
    }
    const bool isLong = (efer & eferLma) != 0;
    const bool changesPaging = ((value ^ r.cr0) & (cr0Pg | cr0Cd | cr0Nw)) != 0;
    if (changesPaging && UsesPdpte(value, r.cr4, isLong) && !cpu.LoadPdpte(value, r.cr3, r.cr4)) return false;
    const bool changesTlb = ((value ^ r.cr0) & (cr0Pg | cr0Wp | cr0Pe)) != 0;
    r.msr.efer = efer;
    r.cr0 = value;
    if (changesTlb) cpu.FlushTlb(true);
    cpu.RefreshMode();
    return true;
}

bool WriteControl(Cpu &cpu, unsigned number, uint64_t value) {
    switch (number) {
    case 0:
        return WriteCr0(cpu, value);
    case 2:
        cpu.registers.cr2 = value;
        return true;
    case 3:
        return WriteCr3(cpu, value);
    case 4:
        return WriteCr4(cpu, value);
    default:
        return WriteCr8(cpu, value);
    }
}

} // namespace sable
