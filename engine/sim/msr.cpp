#include "sim/msr.h"

#include "sim/cpu.h"
#include "sim/descriptor.h"

namespace sable {

namespace {

enum class MsrRule : uint8_t {
    plain,     // any bits within the mask
    canonical, // an address
    memoryType // eight bytes, each a memory type
};

struct MsrRow {
    uint32_t number;
    uint64_t MsrValues::*field;
    uint64_t mask; // bits that may be set
    MsrRule rule;
};

constexpr uint64_t all = ~uint64_t(0);

constexpr MsrRow rows[] = {
    {0x0000001B, &MsrValues::apicBase, 0xFFFFFFFD00, MsrRule::plain},
    {0x00000277, &MsrValues::pat, all, MsrRule::memoryType},
    {0x000002FF, &MsrValues::mtrrDefault, 0xCFF, MsrRule::plain},
    {0xC0000081, &MsrValues::star, all, MsrRule::plain},
    {0xC0000082, &MsrValues::lstar, all, MsrRule::canonical},
    {0xC0000083, &MsrValues::cstar, all, MsrRule::canonical},
    {0xC0000084, &MsrValues::fmask, 0xFFFFFFFF, MsrRule::plain},
    {0xC0000102, &MsrValues::kernelGsBase, all, MsrRule::canonical},
    {0xC0000103, &MsrValues::tscAux, 0xFFFFFFFF, MsrRule::plain},
};

// Those that are more than storage.
enum MsrNumber : uint32_t {
    msrTsc = 0x10,
    msrMtrrCapabilities = 0xFE,
    msrEfer = 0xC0000080,
    msrFsBase = 0xC0000100,
    msrGsBase = 0xC0000101
};

bool AreMemoryTypes(uint64_t value) {
    for (unsigned n = 0; n < 8; ++n) {
        const unsigned type = unsigned(value >> 8 * n & 0xFF);
        if (type > 7 || type == 2 || type == 3) return false;
    }
    return true;
}

bool IsAllowed(const MsrRow &row, uint64_t value) {
    if ((value & ~row.mask) != 0) return false;
    if (row.rule == MsrRule::canonical) return IsCanonical(value);
    return row.rule != MsrRule::memoryType || AreMemoryTypes(value);
}

bool WriteEfer(Cpu &cpu, uint64_t value) {
    uint64_t &efer = cpu.registers.msr.efer;
    if ((value & ~uint64_t(eferSce | eferLme | eferLma | eferNxe)) != 0) return false;
    // LME may not change under paging; LMA follows from it and is not written.
    if ((cpu.registers.cr0 & cr0Pg) != 0 && ((value ^ efer) & eferLme) != 0) return false;
    efer = (value & ~uint64_t(eferLma)) | (efer & eferLma);
    cpu.FlushTlb(true);
    return true;
}

bool WriteBase(Cpu &cpu, unsigned index, uint64_t value) {
    if (!IsCanonical(value)) return false;
    cpu.registers.segment[index].base = value;
    cpu.RefreshMode();
    return true;
}

} // namespace

bool ReadMsr(const Cpu &cpu, uint32_t number, uint64_t now, uint64_t &value) {
    const Registers &r = cpu.registers;
    for (const MsrRow &row : rows) {
        if (row.number != number) continue;
        value = r.msr.*row.field;
        return true;
    }
    switch (number) {
    case msrTsc:
        value = now;
        return true;
    case msrMtrrCapabilities:
        value = 0;
        return true; // no ranges of either kind
    case msrEfer:
        value = r.msr.efer;
        return true;
    case msrFsBase:
        value = r.segment[segFs].base;
        return true;
    case msrGsBase:
        value = r.segment[segGs].base;
        return true;
    default:
        return false;
    }
}

bool WriteMsr(Cpu &cpu, uint32_t number, uint64_t now, uint64_t value) {
    for (const MsrRow &row : rows) {
        if (row.number != number) continue;
        if (!IsAllowed(row, value)) return false;
        cpu.registers.msr.*row.field = value;
        return true;
    }
    switch (number) {
    case msrTsc:
        cpu.AdvanceIdle(value - now);
        return true;
    case msrEfer:
        return WriteEfer(cpu, value);
    case msrFsBase:
        return WriteBase(cpu, segFs, value);
    case msrGsBase:
        return WriteBase(cpu, segGs, value);
    default:
        return false;
    }
}

} // namespace sable
