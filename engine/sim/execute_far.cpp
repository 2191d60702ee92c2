// Transfers to another code segment. There is no hardware task switch: a task gate or task state segment as
// the target is #GP, a return with NT set as well.
#include "sim/execute_forms.h"
#include "sim/far_return.h"
#include "sim/stack_writer.h"

namespace sable {

namespace {

struct FarPointer {
    uint16_t selector;
    uint64_t offset;
};

bool ReadFarPointer(Cpu &cpu, const Instruction &i, FarPointer &pointer) {
    const uint64_t offset = cpu.Offset(i);
    const uint64_t selectorAt = (offset + i.Bytes()) & Cpu::widthMask[i.addressWidth];
    uint16_t word = 0;
    uint32_t dword = 0;
    bool isRead = false;
    if (i.width == width16) isRead = cpu.Load<uint16_t>(i.segment, offset, word);
    if (i.width == width32) isRead = cpu.Load<uint32_t>(i.segment, offset, dword);
    if (i.width == width64) isRead = cpu.Load<uint64_t>(i.segment, offset, pointer.offset);
    if (i.width != width64) pointer.offset = word | dword;
    return isRead && cpu.Load<uint16_t>(i.segment, selectorAt, pointer.selector);
}

SegmentRegister RealCode(const Cpu &cpu, uint16_t selector) {
    SegmentRegister code = cpu.registers.segment[segCs];
    code.selector = selector;
    code.base = uint64_t(selector) << 4;
    return code;
}

// A code segment named by a far pointer, not through a gate: the privilege stays.
bool CheckDirectCode(Cpu &cpu, const FarPointer &to, Descriptor &code) {
    const SelectorFault fault = {vectorGeneral};
    const unsigned rpl = to.selector & selectorRpl;
    const bool isAllowed =
        code.IsConforming() ? code.Dpl() <= cpu.Cpl() : rpl <= cpu.Cpl() && code.Dpl() == cpu.Cpl();
    if (!isAllowed || (cpu.IsLong() && code.IsLongCode() && code.IsBig()))
        return RaiseSelector(cpu, fault, to.selector);
    if (!code.IsPresent()) return RaiseSelector(cpu, {vectorNotPresent}, to.selector);
    return CheckCodeOffset(cpu, code, to.offset) && MarkAccessed(cpu, code);
}

SegmentRegister CodeSegment(const Descriptor &code, uint16_t selector, unsigned cpl) {
    return code.ToSegment(uint16_t((selector & ~uint32_t(selectorRpl)) | cpl));
}

// Replaces the gate that `gate` is by the code behind it; `to` becomes where it leads.
bool PassGate(Cpu &cpu, bool isCall, FarPointer &to, Descriptor &gate, Descriptor &code) {
    const SelectorFault fault = {vectorGeneral};
    const bool isGate = gate.Type() == typeCallGate32 || (gate.Type() == typeCallGate16 && !cpu.IsLong());
    if (!isGate || gate.Dpl() < cpu.Cpl() || gate.Dpl() < (to.selector & unsigned(selectorRpl)))
        return RaiseSelector(cpu, fault, to.selector);
    if (!gate.IsPresent()) return RaiseSelector(cpu, {vectorNotPresent}, to.selector);
    if (gate.IsSmallGate()) gate.low &= 0x0000FFFFFFFFFFFF;
    if (!ReadUpperDescriptor(cpu, to.selector, fault, gate)) return false;
    to = {gate.GateSelector(), gate.GateOffset()};
    if (IsNull(to.selector)) return cpu.RaiseGeneral();
    if (!ReadDescriptor(cpu, to.selector, fault, code)) return false;
    const bool mayGoInside = isCall || code.IsConforming();
    if (!code.IsCode() || code.Dpl() > cpu.Cpl() || (!mayGoInside && code.Dpl() != cpu.Cpl()) ||
        (cpu.IsLong() && (!code.IsLongCode() || code.IsBig())))
        return RaiseSelector(cpu, fault, to.selector);
    if (!code.IsPresent()) return RaiseSelector(cpu, {vectorNotPresent}, to.selector);
    return CheckCodeOffset(cpu, code, to.offset) && MarkAccessed(cpu, code);
}

bool ReadTarget(Cpu &cpu, const FarPointer &to, Descriptor &target) {
    if (IsNull(to.selector)) return cpu.RaiseGeneral();
    return ReadDescriptor(cpu, to.selector, {vectorGeneral}, target);
}

// Each returns false, as it leaves the block in any case.
bool JumpFar(Cpu &cpu, FarPointer to) {
    if (!cpu.IsProtected()) {
        if (to.offset > cpu.registers.segment[segCs].limit) return cpu.RaiseGeneral();
        cpu.EnterCode(RealCode(cpu, to.selector), to.offset);
        return false;
    }
    Descriptor target, code;
    if (!ReadTarget(cpu, to, target)) return false;
    if (target.IsCode()) {
        code = target;
        if (!CheckDirectCode(cpu, to, code)) return false;
    } else if (!target.IsSystem() || !PassGate(cpu, false, to, target, code)) {
        return cpu.IsFaulted() ? false : RaiseSelector(cpu, {vectorGeneral}, to.selector);
    }
    cpu.EnterCode(CodeSegment(code, to.selector, cpu.Cpl()), to.offset);
    return false;
}

bool PushReturn(Cpu &cpu, const Instruction &i, StackWriter &stack, unsigned size) {
    return stack.Push(cpu.registers.segment[segCs].selector, size, 0) && stack.Push(cpu.NextRip(i), size, 0);
}

// A call through a gate to a more privileged segment: its own stack, with the parameters copied.
bool CallInside(Cpu &cpu, const Instruction &i, const FarPointer &to, const Descriptor &gate,
                const Descriptor &code) {
    const Registers &r = cpu.registers;
    const unsigned newCpl = code.Dpl();
    const unsigned size = cpu.IsLong() ? 8 : gate.IsSmallGate() ? 2 : 4;
    uint16_t selector;
    uint64_t pointer;
    if (!ReadTaskStack(cpu, newCpl, 0, selector, pointer)) return false;
    SegmentRegister newStack = NullStack(newCpl);
    if (!cpu.IsLong() && !ReadStackSegment(cpu, selector, newCpl, {vectorTss}, vectorStack, newStack))
        return false;
    StackWriter stack(cpu, newStack, pointer, newCpl, cpu.IsLong());
    if (!stack.Push(r.segment[segSs].selector, size, selector) || !stack.Push(r.gpr[gprRsp], size, selector))
        return false;
    for (unsigned n = cpu.IsLong() ? 0 : gate.GateCount(); n > 0; --n) {
        uint16_t word = 0;
        uint32_t dword = 0;
        const uint64_t depth = uint64_t{n - 1} * size;
        const bool isRead = size == 2 ? cpu.Peek<uint16_t>(depth, word) : cpu.Peek<uint32_t>(depth, dword);
        if (!isRead || !stack.Push(word | dword, size, selector)) return false;
    }
    if (!PushReturn(cpu, i, stack, size)) return false;
    stack.Commit();
    cpu.EnterCode(CodeSegment(code, to.selector, newCpl), to.offset);
    return false;
}

bool CallFar(Cpu &cpu, const Instruction &i, FarPointer to) {
    StackWriter stack(cpu);
    if (!cpu.IsProtected()) {
        if (to.offset > cpu.registers.segment[segCs].limit) return cpu.RaiseGeneral();
        if (!PushReturn(cpu, i, stack, i.Bytes())) return false;
        stack.Commit();
        cpu.EnterCode(RealCode(cpu, to.selector), to.offset);
        return false;
    }
    Descriptor target, code;
    unsigned size = i.Bytes();
    if (!ReadTarget(cpu, to, target)) return false;
    if (target.IsCode()) {
        code = target;
        if (!CheckDirectCode(cpu, to, code)) return false;
    } else {
        if (!target.IsSystem()) return RaiseSelector(cpu, {vectorGeneral}, to.selector);
        if (!PassGate(cpu, true, to, target, code)) return false;
        if (!code.IsConforming() && code.Dpl() < cpu.Cpl()) return CallInside(cpu, i, to, target, code);
        size = cpu.IsLong() ? 8 : target.IsSmallGate() ? 2 : 4;
    }
    if (!PushReturn(cpu, i, stack, size)) return false;
    stack.Commit();
    cpu.EnterCode(CodeSegment(code, to.selector, cpu.Cpl()), to.offset);
    return false;
}

FarPointer Immediate(const Instruction &i) { return {i.selector, i.immediate & Cpu::widthMask[i.width]}; }

bool JmpFarImm(Cpu &cpu, const Instruction &i) { return JumpFar(cpu, Immediate(i)); }

bool CallFarImm(Cpu &cpu, const Instruction &i) { return CallFar(cpu, i, Immediate(i)); }

bool JmpFarRm(Cpu &cpu, const Instruction &i) {
    FarPointer to;
    return ReadFarPointer(cpu, i, to) && JumpFar(cpu, to);
}

bool CallFarRm(Cpu &cpu, const Instruction &i) {
    FarPointer to;
    return ReadFarPointer(cpu, i, to) && CallFar(cpu, i, to);
}

bool RetFar(Cpu &cpu, const Instruction &i) { return ReturnFar(cpu, i, 0); }

bool RetFarImm(Cpu &cpu, const Instruction &i) { return ReturnFar(cpu, i, uint16_t(i.immediate)); }

bool Int1(Cpu &cpu, const Instruction &i) {
    return cpu.SoftwareInterrupt(i, vectorDebug, EventKind::privileged);
}

bool Int3(Cpu &cpu, const Instruction &i) {
    return cpu.SoftwareInterrupt(i, vectorBreak, EventKind::software);
}

bool IntImm(Cpu &cpu, const Instruction &i) {
    return cpu.SoftwareInterrupt(i, uint8_t(i.immediate), EventKind::software);
}

bool Into(Cpu &cpu, const Instruction &i) {
    if (!cpu.registers.flags.Overflow()) return true;
    return cpu.SoftwareInterrupt(i, vectorOverflow, EventKind::software);
}

struct Bound {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        using Signed = std::make_signed_t<T>;
        const uint64_t offset = cpu.Offset(i);
        T low, high;
        if (!cpu.Load<T>(i.segment, offset, low)) return false;
        if (!cpu.Load<T>(i.segment, (offset + sizeof(T)) & Cpu::widthMask[i.addressWidth], high))
            return false;
        const Signed index = Signed(cpu.Get<T>(i.reg));
        return (index >= Signed(low) && index <= Signed(high)) || cpu.Raise(vectorBound);
    }
};

SegmentRegister FlatSegment(uint16_t selector, unsigned cpl, uint16_t access) {
    const uint16_t rights = uint16_t(access | accessNotSystem | accessPresent | accessPages | accessAccessed |
                                     cpl << accessDplShift);
    return {selector, rights, 0xFFFFFFFF, 0, 0, 0, 0};
}

constexpr uint16_t codeAccess = accessCode | accessWritable;

bool Syscall(Cpu &cpu, const Instruction &i) {
    Registers &r = cpu.registers;
    if (!cpu.IsLong() || (r.msr.efer & eferSce) == 0) return ExecuteInvalid(cpu, i);
    const uint64_t target = cpu.Is64() ? r.msr.lstar : r.msr.cstar;
    const uint16_t selector = uint16_t(r.msr.star >> 32 & ~uint64_t(selectorRpl));
    const uint32_t flags = r.flags.Get() & ~uint32_t(flagRf);
    r.gpr[gprRcx] = cpu.Is64() ? cpu.NextRip(i) : cpu.NextRip(i) & 0xFFFFFFFF;
    r.gpr[gprR11] = flags;
    r.segment[segSs] = FlatSegment(uint16_t(selector + 8), 0, accessWritable | accessBig);
    cpu.EnterCode(FlatSegment(selector, 0, codeAccess | accessLong), target);
    cpu.SetFlags(flags & ~uint32_t(r.msr.fmask));
    cpu.MarkEventDelivered();
    return false;
}

bool Sysret(Cpu &cpu, const Instruction &i) {
    Registers &r = cpu.registers;
    if (!cpu.IsLong() || (r.msr.efer & eferSce) == 0) return ExecuteInvalid(cpu, i);
    if (cpu.Cpl() != 0) return cpu.RaiseGeneral();
    const bool to64 = i.width == width64;
    const uint64_t target = to64 ? r.gpr[gprRcx] : r.gpr[gprRcx] & 0xFFFFFFFF;
    if (!IsCanonical(target)) return cpu.RaiseGeneral();
    const uint16_t base = uint16_t(r.msr.star >> 48);
    const uint16_t selector = uint16_t((base + (to64 ? 16 : 0)) | selectorRpl);
    r.segment[segSs] = FlatSegment(uint16_t((base + 8) | selectorRpl), 3, accessWritable | accessBig);
    cpu.EnterCode(FlatSegment(selector, 3, uint16_t(codeAccess | (to64 ? accessLong : accessBig))), target);
    const uint32_t known = flagsArithmetic | flagTf | flagIf | flagDf | flagIopl | flagNt | flagAc | flagId;
    cpu.SetFlags(uint32_t(r.gpr[gprR11]) & known);
    return false;
}

} // namespace

const ExecuteTable jmpFar = SameForAll(JmpFarImm);
const ExecuteTable jmpFarRm = SameForAll(JmpFarRm);
const ExecuteTable callFar = SameForAll(CallFarImm);
const ExecuteTable callFarRm = SameForAll(CallFarRm);
const ExecuteTable retFar = SameForAll(RetFar);
const ExecuteTable retFarImm = SameForAll(RetFarImm);
const ExecuteTable iret = SameForAll(ReturnFromInterrupt);
const ExecuteTable int1 = SameForAll(Int1);
const ExecuteTable int3 = SameForAll(Int3);
const ExecuteTable intImm = SameForAll(IntImm);
const ExecuteTable into = SameForAll(Into);
const ExecuteTable bound = MakeRegisterTable<Bound>();
const ExecuteTable syscallEnter = SameForAll(Syscall);
const ExecuteTable syscallReturn = SameForAll(Sysret);

} // namespace sable
