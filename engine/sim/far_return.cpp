#include "sim/far_return.h"

#include "sim/cpu_memory.h"
#include "sim/descriptor.h"

namespace sable {

namespace {

// What RETF and IRET find on the stack, by the width of the instruction.
class Frame {
public:
    Frame(Cpu &processor, const Instruction &instruction) : cpu(processor), width(instruction.width) {}

    bool Read(uint64_t &value) {
        const bool isRead = width == width16   ? ReadAs<uint16_t>(value)
                            : width == width32 ? ReadAs<uint32_t>(value)
                                               : ReadAs<uint64_t>(value);
        depth += uint64_t(1) << width;
        return isRead;
    }
    void Skip(uint64_t bytes) { depth += bytes; }
    uint64_t Depth() const { return depth; }

private:
    template <class T>
    bool ReadAs(uint64_t &value) {
        T narrow;
        if (!cpu.Peek<T>(depth, narrow)) return false;
        value = narrow;
        return true;
    }

    Cpu &cpu;
    Width width;
    uint64_t depth = 0;
};

bool ReadReturnCode(Cpu &cpu, uint16_t selector, uint64_t rip, Descriptor &code) {
    const SelectorFault fault = {vectorGeneral};
    if (IsNull(selector)) return cpu.RaiseGeneral();
    if (!ReadDescriptor(cpu, selector, fault, code)) return false;
    const unsigned rpl = selector & selectorRpl;
    const bool isAllowed = rpl >= cpu.Cpl() && (code.IsConforming() ? code.Dpl() <= rpl : code.Dpl() == rpl);
    if (!code.IsCode() || !isAllowed || (cpu.IsLong() && code.IsLongCode() && code.IsBig()))
        return RaiseSelector(cpu, fault, selector);
    if (!code.IsPresent()) return RaiseSelector(cpu, {vectorNotPresent}, selector);
    return CheckCodeOffset(cpu, code, rip) && MarkAccessed(cpu, code);
}

bool ReadReturnStack(Cpu &cpu, uint16_t selector, unsigned newCpl, bool to64, SegmentRegister &stack) {
    if (IsNull(selector)) {
        if (!to64 || newCpl == 3 || (selector & selectorRpl) != newCpl) return cpu.RaiseGeneral();
        stack = NullStack(newCpl);
        return true;
    }
    return ReadStackSegment(cpu, selector, newCpl, {vectorGeneral}, vectorStack, stack);
}

// Segments that the less privileged code may not use are taken away from it.
void DropPrivilegedSegments(Cpu &cpu, unsigned newCpl) {
    for (const unsigned index : {segEs, segDs, segFs, segGs}) {
        SegmentRegister &segment = cpu.registers.segment[index];
        const bool isConforming = (segment.access & (accessCode | accessDown)) == (accessCode | accessDown);
        if (segment.IsPresent() && !isConforming && segment.Dpl() < newCpl) segment = SegmentRegister();
    }
}

void EnterOuter(Cpu &cpu, const Descriptor &code, uint16_t selector, uint64_t rip,
                const SegmentRegister &stack, uint64_t rsp, unsigned drop) {
    const unsigned newCpl = selector & selectorRpl;
    if (newCpl != cpu.Cpl()) DropPrivilegedSegments(cpu, newCpl);
    cpu.registers.segment[segSs] = stack;
    uint64_t &pointer = cpu.registers.gpr[gprRsp];
    const bool is64 = cpu.IsLong() && code.IsLongCode();
    const uint64_t mask = is64 ? ~uint64_t(0) : (stack.access & accessBig) != 0 ? 0xFFFFFFFF : 0xFFFF;
    pointer = (pointer & ~mask) | ((rsp + drop) & mask);
    cpu.EnterCode(code.ToSegment(selector), rip);
}

/// Goes to code with the stack that stands behind the return address. False when that has raised something.
bool ReturnWithStack(Cpu &cpu, Frame &frame, const Descriptor &code, uint16_t selector, uint64_t rip,
                     unsigned drop) {
    uint64_t rsp, word;
    SegmentRegister stack;
    const bool to64 = cpu.IsLong() && code.IsLongCode();
    if (!frame.Read(rsp) || !frame.Read(word) ||
        !ReadReturnStack(cpu, uint16_t(word), selector & selectorRpl, to64, stack))
        return false;
    EnterOuter(cpu, code, selector, rip, stack, rsp, drop);
    return true;
}

bool ReturnReal(Cpu &cpu, Frame &frame, uint64_t rip, uint16_t selector) {
    SegmentRegister code = cpu.registers.segment[segCs];
    if (rip > code.limit) return cpu.RaiseGeneral();
    code.selector = selector;
    code.base = uint64_t(selector) << 4;
    cpu.AddToStackPointer(frame.Depth());
    cpu.EnterCode(code, rip);
    return false;
}

uint32_t ReturnedFlags(const Cpu &cpu, const Instruction &i, unsigned oldCpl, uint64_t word) {
    uint32_t changes = flagsArithmetic | flagTf | flagDf | flagNt;
    if (i.width != width16) changes |= flagRf | flagAc | flagId;
    if (oldCpl == 0) changes |= flagIopl;
    if (oldCpl <= cpu.registers.flags.Iopl()) changes |= flagIf;
    return (cpu.registers.flags.Get() & ~changes) | (uint32_t(word) & changes);
}

} // namespace

bool ReturnFar(Cpu &cpu, const Instruction &i, unsigned arguments) {
    Frame frame(cpu, i);
    uint64_t rip, word;
    if (!frame.Read(rip) || !frame.Read(word)) return false;
    frame.Skip(arguments);
    const uint16_t selector = uint16_t(word);
    if (!cpu.IsProtected()) return ReturnReal(cpu, frame, rip, selector);
    Descriptor code;
    if (!ReadReturnCode(cpu, selector, rip, code)) return false;
    if ((selector & selectorRpl) != cpu.Cpl()) {
        ReturnWithStack(cpu, frame, code, selector, rip, arguments);
        return false;
    }
    cpu.AddToStackPointer(frame.Depth());
    cpu.EnterCode(code.ToSegment(selector), rip);
    return false;
}

bool ReturnFromInterrupt(Cpu &cpu, const Instruction &i) {
    Frame frame(cpu, i);
    uint64_t rip, word, flags;
    if (cpu.IsProtected() && cpu.registers.flags.Has(flagNt)) return cpu.RaiseGeneral();
    if (!frame.Read(rip) || !frame.Read(word) || !frame.Read(flags)) return false;
    const uint16_t selector = uint16_t(word);
    const unsigned oldCpl = cpu.Cpl();
    const uint32_t newFlags = ReturnedFlags(cpu, i, oldCpl, flags);
    if (!cpu.IsProtected()) {
        ReturnReal(cpu, frame, rip, selector);
        if (cpu.IsFaulted()) return false;
    } else {
        // There is no virtual 8086 mode to go back to.
        if (!cpu.IsLong() && i.width != width16 && oldCpl == 0 && (flags & flagVm) != 0)
            return cpu.RaiseGeneral();
        Descriptor code;
        if (!ReadReturnCode(cpu, selector, rip, code)) return false;
        if ((selector & selectorRpl) == oldCpl && !cpu.Is64()) {
            cpu.AddToStackPointer(frame.Depth());
            cpu.EnterCode(code.ToSegment(selector), rip);
        } else if (!ReturnWithStack(cpu, frame, code, selector, rip, 0)) {
            return false;
        }
    }
    cpu.EndNmi();
    cpu.SetFlags(newFlags);
    return false;
}

} // namespace sable
