#pragma once

#include "sim/cpu.h"
#include "sim/descriptor.h"

namespace sable {

/// Pushes onto a stack that is not in use yet: nothing of the processor changes before Commit. What was
/// written below a stack that is given up does not matter.
class StackWriter {
public:
    /// The stack in use.
    explicit StackWriter(Cpu &processor)
        : cpu(processor), stack(processor.registers.segment[segSs]), pointer(processor.registers.gpr[gprRsp]),
          mask(processor.StackMask()), cpl(processor.Cpl()), is64(processor.Is64()) {}
    /// Another one, for privilege `newCpl`. `isLong`: of 64-bit code, where segments do not count.
    StackWriter(Cpu &processor, const SegmentRegister &segment, uint64_t rsp, unsigned newCpl, bool isLong)
        : cpu(processor), stack(segment), pointer(rsp), mask(isLong ? ~uint64_t(0)
                                                             : (segment.access & accessBig) != 0 ? 0xFFFFFFFF
                                                                                                 : 0xFFFF),
          cpl(newCpl), is64(isLong), isNew(true) {}

    /// Raises #SS(`error`) beyond the limit, and page faults.
    bool Push(uint64_t value, unsigned size, uint32_t error) {
        const uint64_t offset = (pointer - size) & mask;
        if (is64 ? !IsCanonical(offset) : !IsWithinLimit(stack, offset, size))
            return cpu.Raise(vectorStack, error);
        const uint64_t linear = is64 ? offset : (stack.base + offset) & 0xFFFFFFFF;
        if (!cpu.WriteLinear(linear, size, cpl == 3, value)) return false;
        pointer = (pointer & ~mask) | offset;
        return true;
    }

    /// The stack is the processor's from here on.
    void Commit() {
        if (isNew) cpu.registers.segment[segSs] = stack;
        cpu.registers.gpr[gprRsp] = pointer;
    }

private:
    Cpu &cpu;
    SegmentRegister stack;
    uint64_t pointer, mask;
    unsigned cpl;
    bool is64, isNew = false;
};

} // namespace sable
