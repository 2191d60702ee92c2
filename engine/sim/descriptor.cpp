#include "sim/descriptor.h"

#include "sim/cpu.h"

namespace sable {

bool IsWithinLimit(const SegmentRegister &segment, uint64_t offset, unsigned size) {
    const uint64_t last = offset + size - 1;
    if ((segment.access & (accessCode | accessDown | accessNotSystem)) == (accessDown | accessNotSystem)) {
        const uint64_t top = (segment.access & accessBig) != 0 ? 0xFFFFFFFF : 0xFFFF;
        return offset > segment.limit && last <= top;
    }
    return last <= segment.limit;
}

bool RaiseSelector(Cpu &cpu, SelectorFault fault, uint16_t selector) {
    return cpu.Raise(fault.vector, (selector & ~uint32_t(selectorRpl)) | fault.extra);
}

bool ReadDescriptor(Cpu &cpu, uint16_t selector, SelectorFault fault, Descriptor &descriptor) {
    const Registers &r = cpu.registers;
    const bool isLocal = (selector & selectorLocal) != 0;
    const unsigned offset = selector & selectorIndex;
    const bool hasTable = !isLocal || r.ldt.IsPresent();
    if (!hasTable || offset + 7 > (isLocal ? r.ldt.limit : r.gdt.limit))
        return RaiseSelector(cpu, fault, selector);
    descriptor = {};
    descriptor.address = (isLocal ? r.ldt.base : r.gdt.base) + offset;
    return cpu.ReadSystem(descriptor.address, 8, descriptor.low);
}

bool ReadUpperDescriptor(Cpu &cpu, uint16_t selector, SelectorFault fault, Descriptor &descriptor) {
    if (!cpu.IsLong()) return true;
    const Registers &r = cpu.registers;
    const unsigned offset = selector & selectorIndex;
    if (offset + 15 > ((selector & selectorLocal) != 0 ? r.ldt.limit : r.gdt.limit))
        return RaiseSelector(cpu, fault, selector);
    if (!cpu.ReadSystem(descriptor.address + 8, 8, descriptor.high)) return false;
    // The type field of the second half has to be 0.
    if ((descriptor.high >> 40 & 0x1F) != 0) return RaiseSelector(cpu, fault, selector);
    return true;
}

bool MarkAccessed(Cpu &cpu, Descriptor &descriptor) {
    if ((descriptor.Type() & accessAccessed) != 0) return true;
    descriptor.low |= uint64_t(accessAccessed) << 40;
    return cpu.WriteSystem(descriptor.address + 5, 1, descriptor.low >> 40 & 0xFF);
}

namespace {

void SetSegment(Cpu &cpu, unsigned index, const SegmentRegister &segment) {
    cpu.registers.segment[index] = segment;
    cpu.RefreshMode();
}

bool LoadStackSegment(Cpu &cpu, uint16_t selector) {
    if (IsNull(selector)) {
        if (!cpu.Is64() || cpu.Cpl() == 3 || (selector & selectorRpl) != cpu.Cpl()) return cpu.RaiseGeneral();
        SegmentRegister stack = NullStack(cpu.Cpl());
        stack.selector = selector;
        SetSegment(cpu, segSs, stack);
        return true;
    }
    SegmentRegister stack;
    if (!ReadStackSegment(cpu, selector, cpu.Cpl(), {vectorGeneral}, vectorStack, stack)) return false;
    SetSegment(cpu, segSs, stack);
    return true;
}

} // namespace

bool LoadSegment(Cpu &cpu, unsigned index, uint16_t selector) {
    if (!cpu.IsProtected()) {
        // The limit stays as it is; the rights count again in protected mode only.
        SegmentRegister segment = cpu.registers.segment[index];
        segment.selector = selector;
        segment.base = uint64_t(selector) << 4;
        segment.access = accessNotSystem | accessPresent | accessWritable | accessAccessed;
        SetSegment(cpu, index, segment);
        return true;
    }
    if (index == segSs) return LoadStackSegment(cpu, selector);
    if (IsNull(selector)) {
        SegmentRegister none;
        none.selector = selector;
        SetSegment(cpu, index, none);
        return true;
    }
    Descriptor descriptor;
    const SelectorFault fault = {vectorGeneral};
    if (!ReadDescriptor(cpu, selector, fault, descriptor)) return false;
    if (!descriptor.IsReadable()) return RaiseSelector(cpu, fault, selector);
    const unsigned rpl = selector & selectorRpl;
    if (!descriptor.IsConforming() && (rpl > descriptor.Dpl() || cpu.Cpl() > descriptor.Dpl()))
        return RaiseSelector(cpu, fault, selector);
    if (!descriptor.IsPresent()) return RaiseSelector(cpu, {vectorNotPresent}, selector);
    if (!MarkAccessed(cpu, descriptor)) return false;
    SetSegment(cpu, index, descriptor.ToSegment(selector));
    return true;
}

bool ReadStackSegment(Cpu &cpu, uint16_t selector, unsigned cpl, SelectorFault fault, unsigned notPresent,
                      SegmentRegister &stack) {
    if (IsNull(selector)) return RaiseSelector(cpu, fault, 0);
    Descriptor descriptor;
    if (!ReadDescriptor(cpu, selector, fault, descriptor)) return false;
    if ((selector & selectorRpl) != cpl || descriptor.Dpl() != cpl || !descriptor.IsWritableData())
        return RaiseSelector(cpu, fault, selector);
    if (!descriptor.IsPresent()) return RaiseSelector(cpu, {notPresent, fault.extra}, selector);
    if (!MarkAccessed(cpu, descriptor)) return false;
    stack = descriptor.ToSegment(selector);
    return true;
}

SegmentRegister NullStack(unsigned cpl) {
    SegmentRegister stack;
    stack.selector = uint16_t(cpl);
    stack.access = uint16_t(cpl << accessDplShift);
    return stack;
}

bool ReadTaskStack(Cpu &cpu, unsigned cpl, uint32_t extra, uint16_t &selector, uint64_t &pointer) {
    const SegmentRegister &tss = cpu.registers.tss;
    const bool isSmall = (tss.Type() & 8) == 0 && !cpu.IsLong();
    const unsigned size = cpu.IsLong() ? 8 : isSmall ? 2 : 4;
    const unsigned offset = cpu.IsLong() ? 4 + 8 * cpl : isSmall ? 2 + 4 * cpl : 4 + 8 * cpl;
    const unsigned last = cpu.IsLong() ? offset + 7 : offset + size + 1;
    if (!tss.IsPresent() || last > tss.limit) return RaiseSelector(cpu, {vectorTss, extra}, tss.selector);
    if (!cpu.ReadSystem(tss.base + offset, size, pointer)) return false;
    uint64_t word = 0;
    if (!cpu.IsLong() && !cpu.ReadSystem(tss.base + offset + size, 2, word)) return false;
    selector = uint16_t(word);
    return true;
}

bool ReadInterruptStack(Cpu &cpu, unsigned number, uint32_t extra, uint64_t &pointer) {
    const SegmentRegister &tss = cpu.registers.tss;
    const unsigned offset = 0x24 + 8 * (number - 1);
    if (!tss.IsPresent() || offset + 7 > tss.limit)
        return RaiseSelector(cpu, {vectorTss, extra}, tss.selector);
    return cpu.ReadSystem(tss.base + offset, 8, pointer);
}

bool CheckCodeOffset(Cpu &cpu, const Descriptor &code, uint64_t offset) {
    const bool is64 = cpu.IsLong() && code.IsLongCode();
    if (is64 ? !IsCanonical(offset) : offset > code.Limit()) return cpu.RaiseGeneral();
    return true;
}

} // namespace sable
