#pragma once

#include <cstdint>

#include "sim/registers.h"

namespace sable {

class Cpu;

/// Types of system descriptors and gates, without the present bit and the privilege. In long mode the ones of
/// 32 bits are those of 64.
enum SystemType : uint8_t {
    typeTss16 = 1,
    typeLdt = 2,
    typeCallGate16 = 4,
    typeTaskGate = 5,
    typeInterruptGate16 = 6,
    typeTrapGate16 = 7,
    typeTss32 = 9,
    typeTss32Busy = 11,
    typeCallGate32 = 12,
    typeInterruptGate32 = 14,
    typeTrapGate32 = 15
};

/// Bits of a selector.
enum SelectorBits : uint16_t { selectorRpl = 3, selectorLocal = 4, selectorIndex = 0xFFF8 };

/// A descriptor as it stands in a table.
struct Descriptor {
    uint64_t low = 0, high = 0; ///< `high` only where long mode has 16 bytes
    uint64_t address = 0;       ///< linear

    uint16_t Access() const { return uint16_t(low >> 40 & 0xF0FF); }
    unsigned Type() const { return unsigned(low >> 40 & 15); }
    unsigned Dpl() const { return unsigned(low >> 45 & 3); }
    bool IsPresent() const { return (low >> 47 & 1) != 0; }
    bool IsSystem() const { return (low >> 44 & 1) == 0; }
    bool IsCode() const { return !IsSystem() && (Type() & accessCode) != 0; }
    bool IsConforming() const { return IsCode() && (Type() & accessDown) != 0; }
    bool IsWritableData() const {
        return !IsSystem() && (Type() & (accessCode | accessWritable)) == accessWritable;
    }
    bool IsReadable() const { return !IsSystem() && (Type() & (accessCode | accessWritable)) != accessCode; }
    bool IsLongCode() const { return IsCode() && (Access() & accessLong) != 0; }
    bool IsBig() const { return (Access() & accessBig) != 0; }
    uint64_t Base() const {
        return (low >> 16 & 0xFFFFFF) | (low >> 56 & 0xFF) << 24 | (high & 0xFFFFFFFF) << 32;
    }
    uint32_t Limit() const {
        const uint32_t limit = uint32_t((low & 0xFFFF) | (low >> 32 & 0xF0000));
        return (Access() & accessPages) != 0 ? limit << 12 | 0xFFF : limit;
    }
    SegmentRegister ToSegment(uint16_t selector) const {
        return {selector, Access(), Limit(), Base(), 0, 0, 0};
    }

    uint16_t GateSelector() const { return uint16_t(low >> 16); }
    uint64_t GateOffset() const {
        return (low & 0xFFFF) | (low >> 48 & 0xFFFF) << 16 | (high & 0xFFFFFFFF) << 32;
    }
    unsigned GateCount() const { return unsigned(low >> 32 & 31); } ///< parameters, or 0 to 7: stack table
    bool IsSmallGate() const { return (Type() & 8) == 0; }          ///< of 16 bits
};

/// What an instruction that raises faults adds to their selectors, and the fault for a selector that does
/// not serve.
struct SelectorFault {
    unsigned vector;
    uint32_t extra = 0;
};

inline bool IsNull(uint16_t selector) { return (selector & ~uint32_t(selectorRpl)) == 0; }

inline bool IsCanonical(uint64_t address) { return uint64_t(int64_t(address << 16) >> 16) == address; }

/// True if `size` bytes at `offset` lie within the segment's limit. For segments of 16 and 32 bits.
bool IsWithinLimit(const SegmentRegister &segment, uint64_t offset, unsigned size);

/// Raises `fault` for this selector; false.
bool RaiseSelector(Cpu &cpu, SelectorFault fault, uint16_t selector);
/// The descriptor that a selector other than null names. Beyond the table it raises `fault`.
bool ReadDescriptor(Cpu &cpu, uint16_t selector, SelectorFault fault, Descriptor &descriptor);
/// The second 8 bytes that system descriptors have in long mode; nothing happens elsewhere.
bool ReadUpperDescriptor(Cpu &cpu, uint16_t selector, SelectorFault fault, Descriptor &descriptor);
/// Sets the accessed bit in memory, when it is not set, and in `descriptor`.
bool MarkAccessed(Cpu &cpu, Descriptor &descriptor);

/// MOV, POP and their like into a segment register that is not CS.
bool LoadSegment(Cpu &cpu, unsigned index, uint16_t selector);
/// A stack segment for privilege `cpl` from a descriptor table, with its faults: `notPresent` is raised when
/// only that is missing.
bool ReadStackSegment(Cpu &cpu, uint16_t selector, unsigned cpl, SelectorFault fault, unsigned notPresent,
                      SegmentRegister &stack);
/// The stack segment of privilege `cpl` that long mode uses without a descriptor.
SegmentRegister NullStack(unsigned cpl);
/// The stack pointer, and outside long mode the stack segment's selector, that the task state segment has
/// for privilege `cpl`.
bool ReadTaskStack(Cpu &cpu, unsigned cpl, uint32_t extra, uint16_t &selector, uint64_t &pointer);
/// Entry 1 to 7 of the interrupt stack table.
bool ReadInterruptStack(Cpu &cpu, unsigned number, uint32_t extra, uint64_t &pointer);
/// Checks where a transfer into `code` ends up: the limit, or the form of the address in 64-bit code.
bool CheckCodeOffset(Cpu &cpu, const Descriptor &code, uint64_t offset);

} // namespace sable
