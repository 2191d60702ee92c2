// Memory accesses that the TLB cannot answer at once: checks of segments, two pages, devices, breakpoints on
// data.
#include <cstring>

#include "sim/cpu.h"
#include "sim/descriptor.h"

namespace sable {

namespace {

bool IsAllowedBy(const SegmentRegister &segment, Access access) {
    if (!segment.IsPresent() || (segment.access & accessNotSystem) == 0) return false;
    const bool isCode = (segment.access & accessCode) != 0, hasBit = (segment.access & accessWritable) != 0;
    if (access == Access::write) return !isCode && hasBit;
    return !isCode || hasBit;
}

} // namespace

// Raises what the segment has against the access, and misalignment.
bool Cpu::CheckOperand(unsigned segment, uint64_t offset, unsigned size, Access access, uint64_t &linear) {
    const SegmentRegister &in = registers.segment[segment];
    const unsigned vector = segment == segSs ? vectorStack : vectorGeneral;
    linear = in.activeBase + offset;
    if (Is64()) {
        if (!IsCanonical(linear) || !IsCanonical(linear + size - 1)) return Raise(vector, 0);
    } else {
        linear &= 0xFFFFFFFF;
        if (IsProtected() && !IsAllowedBy(in, access)) return Raise(vector, 0);
        if (!IsWithinLimit(in, offset, size)) return Raise(vector, 0);
    }
    const bool checksAlignment = cpl == 3 && (registers.cr0 & cr0Am) != 0 && registers.flags.Has(flagAc);
    if (checksAlignment && (linear & (size - 1)) != 0) return Raise(vectorAlignment, 0);
    return true;
}

bool Cpu::Resolve(uint64_t linear, unsigned size, Access access, bool isUser, Span &span) {
    span.size = size;
    span.firstSize = size;
    const unsigned room = 4096 - unsigned(linear & 0xFFF);
    if (!Translate(linear, access, isUser, span.physical[0])) return false;
    if (room >= size) return true;
    span.firstSize = room;
    const uint64_t next = (linear + room) & (IsLong() ? ~uint64_t(0) : 0xFFFFFFFF);
    return Translate(next, access, isUser, span.physical[1]);
}

bool Cpu::ResolveOperand(unsigned segment, uint64_t offset, unsigned size, Access access, Span &span) {
    uint64_t linear;
    if (!CheckOperand(segment, offset, size, access, linear)) return false;
    if (!Resolve(linear, size, access, cpl == 3, span)) return false;
    CheckWatches(linear, size, access);
    return true;
}

bool Cpu::LoadSlow(unsigned segment, uint64_t offset, unsigned size, uint64_t &value) {
    Span span;
    if (!ResolveOperand(segment, offset, size, Access::read, span)) return false;
    value = ReadSpan(span);
    return true;
}

bool Cpu::StoreSlow(unsigned segment, uint64_t offset, unsigned size, uint64_t value) {
    Span span;
    if (!ResolveOperand(segment, offset, size, Access::write, span)) return false;
    WriteSpan(span, value);
    return true;
}

namespace {

// Devices see a part of two operands whose size is none of theirs byte by byte.
bool IsWholeSize(unsigned size) { return size == 1 || size == 2 || size == 4 || size == 8; }

} // namespace

// After a device the block ends, so that what it announces is seen at the next instruction, however the run
// is cut.
uint64_t Cpu::ReadPhysical(uint64_t physical, unsigned size) {
    uint64_t value = 0;
    if (memory.Holds(physical) && memory.Size() - physical >= size) {
        std::memcpy(&value, memory.At(physical), size);
        return value;
    }
    CutBlock();
    if (IsWholeSize(size)) return bus.ReadDevice(core, physical, size);
    for (unsigned n = 0; n < size; ++n) value |= bus.ReadDevice(core, physical + n, 1) << 8 * n;
    return value;
}

void Cpu::WritePhysical(uint64_t physical, unsigned size, uint64_t value) {
    if (memory.Holds(physical) && memory.Size() - physical >= size) {
        std::memcpy(memory.At(physical), &value, size);
        if ((*memory.CodeMarks(physical) & PhysicalMemory::MarkMask(physical, size)) != 0) DropCode(physical);
        return;
    }
    CutBlock();
    if (IsWholeSize(size)) {
        bus.WriteDevice(core, physical, size, value);
        return;
    }
    for (unsigned n = 0; n < size; ++n) bus.WriteDevice(core, physical + n, 1, value >> 8 * n & 0xFF);
}

uint64_t Cpu::ReadSpan(const Span &span) {
    uint64_t value = ReadPhysical(span.physical[0], span.firstSize);
    if (span.firstSize != span.size)
        value |= ReadPhysical(span.physical[1], span.size - span.firstSize) << 8 * span.firstSize;
    return value;
}

void Cpu::WriteSpan(const Span &span, uint64_t value) {
    const unsigned firstBits = 8 * span.firstSize & 63; // 0 for all of 8 bytes, which are in one part
    const uint64_t firstMask = firstBits != 0 ? (uint64_t(1) << firstBits) - 1 : ~uint64_t(0);
    WritePhysical(span.physical[0], span.firstSize, value & firstMask);
    if (span.firstSize != span.size)
        WritePhysical(span.physical[1], span.size - span.firstSize, value >> firstBits);
}

// Also called for the code that is being executed right now: nothing more of its block counts.
void Cpu::DropCode(uint64_t physical) {
    memory.DropCode(physical);
    CutBlock();
}

bool Cpu::ReadLinear(uint64_t linear, unsigned size, bool isUser, uint64_t &value) {
    Span span;
    if (!Resolve(linear, size, Access::read, isUser, span)) return false;
    value = ReadSpan(span);
    return true;
}

bool Cpu::WriteLinear(uint64_t linear, unsigned size, bool isUser, uint64_t value) {
    Span span;
    if (!Resolve(linear, size, Access::write, isUser, span)) return false;
    WriteSpan(span, value);
    return true;
}

bool Cpu::ReadSystem(uint64_t linear, unsigned size, uint64_t &value) {
    return ReadLinear(IsLong() ? linear : linear & 0xFFFFFFFF, size, false, value);
}

bool Cpu::WriteSystem(uint64_t linear, unsigned size, uint64_t value) {
    return WriteLinear(IsLong() ? linear : linear & 0xFFFFFFFF, size, false, value);
}

// The bitmap in the task state segment has a bit for each port; one that is not there forbids.
bool Cpu::CheckPort(uint16_t port, unsigned size) {
    if (!IsProtected() || cpl <= registers.flags.Iopl()) return true;
    const SegmentRegister &tss = registers.tss;
    constexpr unsigned mapPointer = 0x66;
    uint64_t mapAt, bits;
    if (!tss.IsPresent() || (tss.Type() & 8) == 0 || tss.limit < mapPointer + 1) return RaiseGeneral();
    if (!ReadSystem(tss.base + mapPointer, 2, mapAt)) return false;
    const uint64_t byteAt = mapAt + port / 8u;
    if (byteAt + 1 > tss.limit) return RaiseGeneral();
    if (!ReadSystem(tss.base + byteAt, 2, bits)) return false;
    const uint64_t wanted = ((uint64_t(1) << size) - 1) << (port & 7);
    return (bits & wanted) == 0 || RaiseGeneral();
}

} // namespace sable
