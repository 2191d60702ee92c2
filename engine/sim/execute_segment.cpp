// Segment registers, descriptor tables, and questions about descriptors.
#include "sim/descriptor.h"
#include "sim/execute_forms.h"

namespace sable {

namespace {

// A selector read from a register or a word in memory.
bool ReadSelector(Cpu &cpu, const Instruction &i, uint16_t &selector) {
    return ReadRm<uint16_t>(cpu, i, selector);
}

// A selector into a register of the operand's width, or a word in memory.
bool WriteSelector(Cpu &cpu, const Instruction &i, uint16_t selector) {
    if (i.isMemory) return cpu.Store<uint16_t>(i.segment, cpu.Offset(i), selector);
    if (i.width == width16) cpu.Set<uint16_t>(i.rm, selector);
    if (i.width == width32) cpu.Set<uint32_t>(i.rm, selector);
    if (i.width == width64) cpu.Set<uint64_t>(i.rm, selector);
    return true;
}

bool MovRmSegment(Cpu &cpu, const Instruction &i) {
    const unsigned index = i.RegNumber() & 7;
    if (index >= segCount) return ExecuteInvalid(cpu, i);
    return WriteSelector(cpu, i, cpu.registers.segment[index].selector);
}

bool MovSegmentRm(Cpu &cpu, const Instruction &i) {
    const unsigned index = i.RegNumber() & 7;
    if (index >= segCount || index == segCs) return ExecuteInvalid(cpu, i);
    uint16_t selector;
    if (!ReadSelector(cpu, i, selector) || !LoadSegment(cpu, index, selector)) return false;
    if (index == segSs) cpu.ShadowInterrupts(ShadowKind::stackSegment);
    return true;
}

// The number is in the opcode: 06, 0E, 16, 1E and, behind 0F, A0 and A8; POP is one more.
unsigned SegmentOfOpcode(const Instruction &i) { return i.opcode >> 3 & 7u; }

struct PushSegment {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return cpu.Push<T>(T(cpu.registers.segment[SegmentOfOpcode(i)].selector));
    }
};

struct PopSegment {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        const unsigned index = SegmentOfOpcode(i);
        uint16_t selector;
        if (!cpu.Peek<uint16_t>(0, selector)) return false;
        // The stack that is popped from is the one before SS changes.
        const uint64_t before = cpu.registers.gpr[gprRsp];
        cpu.AddToStackPointer(sizeof(T));
        if (!LoadSegment(cpu, index, selector)) {
            cpu.registers.gpr[gprRsp] = before;
            return false;
        }
        if (index == segSs) cpu.ShadowInterrupts(ShadowKind::stackSegment);
        return true;
    }
};

template <unsigned index>
struct LoadFar {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        const uint64_t offset = cpu.Offset(i);
        T value;
        uint16_t selector;
        if (!cpu.Load<T>(i.segment, offset, value)) return false;
        const uint64_t next = (offset + sizeof(T)) & Cpu::widthMask[i.addressWidth];
        if (!cpu.Load<uint16_t>(i.segment, next, selector)) return false;
        if (!LoadSegment(cpu, index, selector)) return false;
        cpu.Set<T>(i.reg, value);
        return true;
    }
};

// The descriptor for LAR, LSL, VERR, VERW, as far as the program may see it; no faults but those of memory.
// `isVisible` false with true returned: the answer is no.
bool FindVisible(Cpu &cpu, uint16_t selector, Descriptor &descriptor, bool &isVisible) {
    isVisible = false;
    const Registers &r = cpu.registers;
    const SegmentRegister &ldt = r.ldt;
    const bool isLocal = (selector & selectorLocal) != 0;
    const uint32_t limit = isLocal ? ldt.limit : r.gdt.limit;
    if (IsNull(selector) || (isLocal && !ldt.IsPresent()) || (selector | 7u) > limit) return true;
    if (!ReadDescriptor(cpu, selector, {vectorGeneral}, descriptor)) return false;
    const unsigned privilege =
        cpu.Cpl() > (selector & unsigned(selectorRpl)) ? cpu.Cpl() : selector & selectorRpl;
    isVisible = descriptor.IsConforming() || descriptor.Dpl() >= privilege;
    return true;
}

// System types that LAR and LSL accept: those with a limit for LSL, gates besides for LAR.
bool IsKnownSystemType(const Cpu &cpu, unsigned type, bool forLimit) {
    constexpr uint32_t withLimit =
        1u << typeTss16 | 1u << typeLdt | 1u << 3 | 1u << typeTss32 | 1u << typeTss32Busy;
    constexpr uint32_t withLimitLong = 1u << typeLdt | 1u << typeTss32 | 1u << typeTss32Busy;
    constexpr uint32_t gates = 1u << typeCallGate16 | 1u << typeTaskGate | 1u << typeCallGate32;
    constexpr uint32_t gatesLong = 1u << typeCallGate32;
    const uint32_t known = (cpu.IsLong() ? withLimitLong : withLimit) | (forLimit       ? 0
                                                                         : cpu.IsLong() ? gatesLong
                                                                                        : gates);
    return (known >> type & 1) != 0;
}

template <bool isLimit>
struct Inspect {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        if (!cpu.IsProtected()) return ExecuteInvalid(cpu, i);
        uint16_t selector;
        Descriptor descriptor;
        bool isVisible;
        if (!ReadRm<uint16_t, isMemory>(cpu, i, selector)) return false;
        if (!FindVisible(cpu, selector, descriptor, isVisible)) return false;
        if (isVisible && descriptor.IsSystem())
            isVisible = IsKnownSystemType(cpu, descriptor.Type(), isLimit);
        cpu.registers.flags.SetZero(isVisible);
        if (isVisible)
            cpu.Set<T>(i.reg, T(isLimit ? descriptor.Limit() : uint32_t(descriptor.low >> 32 & 0xF0FF00)));
        return true;
    }
};

template <bool forWriting>
bool Verify(Cpu &cpu, const Instruction &i) {
    if (!cpu.IsProtected()) return ExecuteInvalid(cpu, i);
    uint16_t selector;
    Descriptor descriptor;
    bool isVisible;
    if (!ReadSelector(cpu, i, selector) || !FindVisible(cpu, selector, descriptor, isVisible)) return false;
    const bool isRight = forWriting ? descriptor.IsWritableData() : descriptor.IsReadable();
    cpu.registers.flags.SetZero(isVisible && isRight);
    return true;
}

bool Arpl(Cpu &cpu, const Instruction &i) {
    if (!cpu.IsProtected()) return ExecuteInvalid(cpu, i);
    const unsigned wanted = cpu.Get<uint16_t>(i.reg) & selectorRpl;
    uint16_t selector;
    OperandPlace place;
    if (i.isMemory) {
        if (!cpu.Open<uint16_t>(i.segment, cpu.Offset(i), place, selector)) return false;
    } else {
        selector = cpu.Get<uint16_t>(i.rm);
    }
    const bool isLower = (selector & selectorRpl) < wanted;
    if (isLower) selector = uint16_t((selector & ~unsigned(selectorRpl)) | wanted);
    if (i.isMemory) {
        cpu.Close<uint16_t>(place, selector);
    } else {
        cpu.Set<uint16_t>(i.rm, selector);
    }
    cpu.registers.flags.SetZero(isLower);
    return true;
}

bool Sldt(Cpu &cpu, const Instruction &i) {
    if (!cpu.IsProtected()) return ExecuteInvalid(cpu, i);
    return WriteSelector(cpu, i, cpu.registers.ldt.selector);
}

bool Str(Cpu &cpu, const Instruction &i) {
    if (!cpu.IsProtected()) return ExecuteInvalid(cpu, i);
    return WriteSelector(cpu, i, cpu.registers.tss.selector);
}

bool ReadSystemSegment(Cpu &cpu, uint16_t selector, unsigned type, unsigned alternative,
                       Descriptor &descriptor) {
    const SelectorFault fault = {vectorGeneral};
    if ((selector & selectorLocal) != 0) return RaiseSelector(cpu, fault, selector);
    if (!ReadDescriptor(cpu, selector, fault, descriptor)) return false;
    if (!descriptor.IsSystem() || (descriptor.Type() != type && descriptor.Type() != alternative))
        return RaiseSelector(cpu, fault, selector);
    if (!descriptor.IsPresent()) return RaiseSelector(cpu, {vectorNotPresent}, selector);
    if (!ReadUpperDescriptor(cpu, selector, fault, descriptor)) return false;
    return IsCanonical(descriptor.Base()) || RaiseSelector(cpu, fault, selector);
}

bool Lldt(Cpu &cpu, const Instruction &i) {
    if (!cpu.IsProtected()) return ExecuteInvalid(cpu, i);
    uint16_t selector;
    if (!cpu.RequirePrivilege0() || !ReadSelector(cpu, i, selector)) return false;
    if (IsNull(selector)) {
        cpu.registers.ldt = SegmentRegister();
        cpu.registers.ldt.selector = selector;
        return true;
    }
    Descriptor descriptor;
    if (!ReadSystemSegment(cpu, selector, typeLdt, typeLdt, descriptor)) return false;
    cpu.registers.ldt = descriptor.ToSegment(selector);
    return true;
}

// The descriptor becomes busy in memory.
bool Ltr(Cpu &cpu, const Instruction &i) {
    if (!cpu.IsProtected()) return ExecuteInvalid(cpu, i);
    uint16_t selector;
    if (!cpu.RequirePrivilege0() || !ReadSelector(cpu, i, selector)) return false;
    if (IsNull(selector)) return cpu.RaiseGeneral();
    Descriptor descriptor;
    if (!ReadSystemSegment(cpu, selector, typeTss32, cpu.IsLong() ? typeTss32 : typeTss16, descriptor))
        return false;
    descriptor.low |= uint64_t(2) << 40;
    if (!cpu.WriteSystem(descriptor.address + 5, 1, descriptor.low >> 40 & 0xFF)) return false;
    cpu.registers.tss = descriptor.ToSegment(selector);
    return true;
}

// SGDT and SIDT write the whole base: 8 bytes in 64-bit code, else 4, whatever the operand size.
template <TableRegister Registers::*table>
bool StoreTable(Cpu &cpu, const Instruction &i) {
    const TableRegister &from = cpu.registers.*table;
    const uint64_t offset = cpu.Offset(i);
    const uint64_t next = (offset + 2) & Cpu::widthMask[i.addressWidth];
    uint16_t limit;
    OperandPlace limitPlace;
    if (!cpu.Open<uint16_t>(i.segment, offset, limitPlace, limit)) return false;
    const bool isStored = cpu.Is64() ? cpu.Store<uint64_t>(i.segment, next, from.base)
                                     : cpu.Store<uint32_t>(i.segment, next, uint32_t(from.base));
    if (isStored) cpu.Close<uint16_t>(limitPlace, from.limit);
    return isStored;
}

// With words as operands the base has 24 bits.
template <TableRegister Registers::*table>
bool LoadTable(Cpu &cpu, const Instruction &i) {
    if (!cpu.RequirePrivilege0()) return false;
    const uint64_t offset = cpu.Offset(i);
    const uint64_t next = (offset + 2) & Cpu::widthMask[i.addressWidth];
    TableRegister to;
    uint32_t dword = 0;
    if (!cpu.Load<uint16_t>(i.segment, offset, to.limit)) return false;
    const bool isRead = cpu.Is64() ? cpu.Load<uint64_t>(i.segment, next, to.base)
                                   : cpu.Load<uint32_t>(i.segment, next, dword);
    if (!isRead) return false;
    if (!cpu.Is64()) to.base = i.width == width16 ? dword & 0xFFFFFF : dword;
    if (!IsCanonical(to.base)) return cpu.RaiseGeneral();
    cpu.registers.*table = to;
    return true;
}

} // namespace

const ExecuteTable movRmSegment = SameForAll(MovRmSegment);
const ExecuteTable movSegmentRm = SameForAll(MovSegmentRm);
const ExecuteTable pushSegment = MakeRegisterTable<PushSegment>();
const ExecuteTable popSegment = MakeRegisterTable<PopSegment>();
const ExecuteTable loadEs = MakeRegisterTable<LoadFar<segEs>>();
const ExecuteTable loadSs = MakeRegisterTable<LoadFar<segSs>>();
const ExecuteTable loadDs = MakeRegisterTable<LoadFar<segDs>>();
const ExecuteTable loadFs = MakeRegisterTable<LoadFar<segFs>>();
const ExecuteTable loadGs = MakeRegisterTable<LoadFar<segGs>>();
const ExecuteTable lar = MakeTable<Inspect<false>>();
const ExecuteTable lsl = MakeTable<Inspect<true>>();
const ExecuteTable verr = SameForAll(Verify<false>);
const ExecuteTable verw = SameForAll(Verify<true>);
const ExecuteTable arpl = SameForAll(Arpl);
const ExecuteTable sldt = SameForAll(Sldt);
const ExecuteTable str = SameForAll(Str);
const ExecuteTable lldt = SameForAll(Lldt);
const ExecuteTable ltr = SameForAll(Ltr);
const ExecuteTable sgdt = SameForAll(StoreTable<&Registers::gdt>);
const ExecuteTable sidt = SameForAll(StoreTable<&Registers::idt>);
const ExecuteTable lgdt = SameForAll(LoadTable<&Registers::gdt>);
const ExecuteTable lidt = SameForAll(LoadTable<&Registers::idt>);

} // namespace sable
