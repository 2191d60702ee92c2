// Interrupts and exceptions: through the table of real mode, of protected mode and of long mode.
#include "sim/cpu_memory.h"
#include "sim/stack_writer.h"

namespace sable {

namespace {

// Faults that, one during the delivery of another, make a double fault.
bool IsContributory(unsigned vector) {
    return vector == vectorDivide || (vector >= vectorTss && vector <= vectorGeneral);
}

bool MakesDoubleFault(unsigned first, unsigned second) {
    if (IsContributory(first)) return IsContributory(second);
    return first == vectorPage && (second == vectorPage || IsContributory(second));
}

uint32_t SavedFlags(const Cpu &cpu, const Event &event) {
    const uint32_t flags = cpu.registers.flags.Get() & ~uint32_t(flagRf);
    return event.kind == EventKind::exception && event.vector != vectorDouble ? flags | flagRf : flags;
}

bool RaiseGate(Cpu &cpu, unsigned fault, const Event &event) {
    return cpu.Raise(fault, event.vector * 8u + selectorErrorIdt + event.SelectorBits());
}

// What protected mode and long mode have in common: the checks of the gate and of the code behind it.
bool CheckGate(Cpu &cpu, const Event &event, const Descriptor &gate) {
    const bool isKnown =
        gate.IsSystem() &&
        (gate.Type() == typeInterruptGate32 || gate.Type() == typeTrapGate32 ||
         (!cpu.IsLong() && (gate.Type() == typeInterruptGate16 || gate.Type() == typeTrapGate16)));
    if (!isKnown) return RaiseGate(cpu, vectorGeneral, event); // a task gate, too
    if (event.kind == EventKind::software && gate.Dpl() < cpu.Cpl())
        return RaiseGate(cpu, vectorGeneral, event);
    return gate.IsPresent() || RaiseGate(cpu, vectorNotPresent, event);
}

bool ReadHandlerCode(Cpu &cpu, const Event &event, const Descriptor &gate, Descriptor &code) {
    const uint16_t selector = gate.GateSelector();
    const SelectorFault fault = {vectorGeneral, event.SelectorBits()};
    if (IsNull(selector)) return RaiseSelector(cpu, fault, 0);
    if (!ReadDescriptor(cpu, selector, fault, code)) return false;
    if (!code.IsCode() || code.Dpl() > cpu.Cpl()) return RaiseSelector(cpu, fault, selector);
    if (cpu.IsLong() && (!code.IsLongCode() || code.IsBig())) return RaiseSelector(cpu, fault, selector);
    if (!code.IsPresent()) return RaiseSelector(cpu, {vectorNotPresent, fault.extra}, selector);
    return MarkAccessed(cpu, code);
}

void EnterHandler(Cpu &cpu, const Descriptor &gate, const Descriptor &code, unsigned newCpl) {
    Flags &flags = cpu.registers.flags;
    flags.Set(flags.Get() & ~uint32_t(flagTf | flagNt | flagRf | flagVm));
    if ((gate.Type() & 1) == 0) flags.SetSystem(flagIf, false);
    const uint16_t selector = uint16_t((gate.GateSelector() & ~uint32_t(selectorRpl)) | newCpl);
    cpu.EnterCode(code.ToSegment(selector), gate.GateOffset());
}

unsigned HandlerPrivilege(const Cpu &cpu, const Descriptor &code) {
    return code.IsConforming() ? cpu.Cpl() : code.Dpl();
}

} // namespace

bool Cpu::DeliverReal(const Event &event) {
    if (event.vector * 4u + 3 > registers.idt.limit) return RaiseGeneral();
    uint64_t entry;
    if (!ReadSystem(registers.idt.base + event.vector * uint64_t{4}, 4, entry)) return false;
    StackWriter stack(*this);
    const SegmentRegister &cs = registers.segment[segCs];
    if (!stack.Push(registers.flags.Get() & 0xFFFF, 2, 0) || !stack.Push(cs.selector, 2, 0) ||
        !stack.Push(event.rip & 0xFFFF, 2, 0))
        return false;
    stack.Commit();
    registers.flags.Set(registers.flags.Get() & ~uint32_t(flagIf | flagTf | flagAc | flagRf));
    SegmentRegister code = cs;
    code.selector = uint16_t(entry >> 16);
    code.base = uint64_t(code.selector) << 4;
    EnterCode(code, entry & 0xFFFF);
    return true;
}

bool Cpu::DeliverProtected(const Event &event) {
    Descriptor gate, code;
    if (event.vector * 8u + 7 > registers.idt.limit) return RaiseGate(*this, vectorGeneral, event);
    if (!ReadSystem(registers.idt.base + event.vector * uint64_t{8}, 8, gate.low)) return false;
    if (gate.IsSmallGate()) gate.low &= 0x0000FFFFFFFFFFFF;
    if (!CheckGate(*this, event, gate) || !ReadHandlerCode(*this, event, gate, code)) return false;

    const unsigned size = gate.IsSmallGate() ? 2 : 4;
    const unsigned newCpl = HandlerPrivilege(*this, code);
    const uint32_t extra = event.SelectorBits();
    const SegmentRegister oldStack = registers.segment[segSs];
    StackWriter stack(*this);
    if (newCpl != cpl) {
        uint16_t selector;
        uint64_t pointer;
        SegmentRegister newStack;
        if (!ReadTaskStack(*this, newCpl, extra, selector, pointer) ||
            !ReadStackSegment(*this, selector, newCpl, {vectorTss, extra}, vectorStack, newStack))
            return false;
        StackWriter inner(*this, newStack, pointer, newCpl, false);
        const uint32_t error = (selector & ~uint32_t(selectorRpl)) | extra;
        if (!inner.Push(oldStack.selector, size, error) || !inner.Push(registers.gpr[gprRsp], size, error) ||
            !inner.Push(SavedFlags(*this, event), size, error) ||
            !inner.Push(registers.segment[segCs].selector, size, error) ||
            !inner.Push(event.rip, size, error) ||
            (event.hasError && !inner.Push(event.error, size, error)) ||
            !CheckCodeOffset(*this, code, gate.GateOffset()))
            return false;
        inner.Commit();
    } else {
        if (!stack.Push(SavedFlags(*this, event), size, extra) ||
            !stack.Push(registers.segment[segCs].selector, size, extra) ||
            !stack.Push(event.rip, size, extra) ||
            (event.hasError && !stack.Push(event.error, size, extra)) ||
            !CheckCodeOffset(*this, code, gate.GateOffset()))
            return false;
        stack.Commit();
    }
    EnterHandler(*this, gate, code, newCpl);
    return true;
}

bool Cpu::DeliverLong(const Event &event) {
    Descriptor gate, code;
    if (event.vector * 16u + 15 > registers.idt.limit) return RaiseGate(*this, vectorGeneral, event);
    const uint64_t at = registers.idt.base + event.vector * uint64_t{16};
    if (!ReadSystem(at, 8, gate.low) || !ReadSystem(at + 8, 8, gate.high)) return false;
    if (!CheckGate(*this, event, gate) || !ReadHandlerCode(*this, event, gate, code)) return false;

    const unsigned newCpl = HandlerPrivilege(*this, code);
    const uint32_t extra = event.SelectorBits();
    const unsigned stackNumber = gate.GateCount() & 7;
    uint64_t pointer = registers.gpr[gprRsp];
    uint16_t unused;
    if (stackNumber != 0) {
        if (!ReadInterruptStack(*this, stackNumber, extra, pointer)) return false;
    } else if (newCpl != cpl && !ReadTaskStack(*this, newCpl, extra, unused, pointer)) {
        return false;
    }
    const SegmentRegister oldStack = registers.segment[segSs];
    StackWriter stack(*this, newCpl != cpl ? NullStack(newCpl) : oldStack, pointer & ~uint64_t(15), newCpl,
                      true);
    if (!stack.Push(oldStack.selector, 8, extra) || !stack.Push(registers.gpr[gprRsp], 8, extra) ||
        !stack.Push(SavedFlags(*this, event), 8, extra) ||
        !stack.Push(registers.segment[segCs].selector, 8, extra) || !stack.Push(event.rip, 8, extra) ||
        (event.hasError && !stack.Push(event.error, 8, extra)) ||
        !CheckCodeOffset(*this, code, gate.GateOffset()))
        return false;
    stack.Commit();
    EnterHandler(*this, gate, code, newCpl);
    return true;
}

bool Cpu::Deliver(const Event &event) {
    const bool isDone = !IsProtected() ? DeliverReal(event)
                        : IsLong()     ? DeliverLong(event)
                                       : DeliverProtected(event);
    if (!isDone) return false;
    isEventDelivered = true;
    debugTrap = 0;
    SetAttention(attentionTrap | attentionHalted, false);
    RefreshDebug();
    return true;
}

// A fault on the way to the handler takes the place of the event, or makes a double fault, or ends it all.
void Cpu::DeliverFault() {
    unsigned first = fault.vector;
    for (;;) {
        const Fault present = fault;
        isFaulted = false;
        if (present.vector == vectorPage) registers.cr2 = present.address;
        if (present.vector == vectorDebug) {
            registers.dr7 &= ~uint64_t(dr7GeneralDetect);
            RefreshDebug();
        }
        if (Deliver({present.vector, EventKind::exception, present.hasError, present.error, registers.rip}))
            return;
        const unsigned second = fault.vector;
        if (first == vectorDouble) {
            isFaulted = false;
            SetAttention(attentionShutdown, true);
            return;
        }
        if (MakesDoubleFault(first, second)) {
            if (second == vectorPage) registers.cr2 = fault.address;
            fault = {vectorDouble, true, 0, 0};
            first = vectorDouble;
        } else {
            first = second;
        }
    }
}

void Cpu::DeliverExternal(unsigned vector, EventKind kind) {
    if (!Deliver({uint8_t(vector), kind, false, 0, registers.rip})) DeliverFault();
}

bool Cpu::SoftwareInterrupt(const Instruction &instruction, unsigned vector, EventKind kind) {
    const uint64_t next = NextRip(instruction) & widthMask[codeWidth == width64 ? width64 : width32];
    return Deliver({uint8_t(vector), kind, false, 0, next}) && false;
}

} // namespace sable
