#pragma once

#include <cstring>
#include <type_traits>

#include "sim/cpu.h"
#include "sim/descriptor.h"

/// The part of Cpu that is compiled into each instruction.
namespace sable {

template <class T>
T Cpu::Get(uint8_t offset) const {
    T value;
    std::memcpy(&value, reinterpret_cast<const char *>(registers.gpr) + offset, sizeof value);
    return value;
}

template <class T>
void Cpu::Set(uint8_t offset, T value) {
    char *place = reinterpret_cast<char *>(registers.gpr) + offset;
    if constexpr (sizeof(T) == 4) {
        const uint64_t wide = uint32_t(value);
        std::memcpy(place, &wide, sizeof wide);
    } else {
        std::memcpy(place, &value, sizeof value);
    }
}

inline uint64_t Cpu::Offset(const Instruction &instruction) const {
    const uint64_t *gpr = registers.gpr;
    const uint64_t sum = gpr[instruction.base] + (gpr[instruction.index] << instruction.scale) +
                         uint64_t(instruction.displacement);
    return sum & widthMask[instruction.addressWidth];
}

inline uint64_t Cpu::ThisRip(const Instruction &instruction) const {
    return registers.gpr[gprBlock] + instruction.start;
}

inline uint64_t Cpu::NextRip(const Instruction &instruction) const {
    return registers.gpr[gprBlock] + instruction.end;
}

inline uint64_t Cpu::TimeAt(const Instruction &instruction) const {
    return Now() + uint64_t(&instruction - blockFirst);
}

inline bool Cpu::JumpNear(uint64_t target) {
    if (Is64() ? !IsCanonical(target) : target > registers.segment[segCs].limit) return RaiseGeneral();
    registers.rip = target;
    return false;
}

// The last byte lies in the page of the tag only when the first does too: the entry of a page cannot hold
// the one after it.
template <class T>
bool Cpu::Load(unsigned segment, uint64_t offset, T &value) {
    const SegmentRegister &from = registers.segment[segment];
    if (offset < from.readEnd) [[likely]] {
        const uint64_t linear = (from.activeBase + offset) & linearMask;
        const TlbEntry &entry = dataTlb->EntryOf(linear);
        if (((linear + sizeof(T) - 1) & ~uint64_t(0xFFF)) == entry.readTag) [[likely]] {
            std::memcpy(&value, entry.host + (linear & 0xFFF), sizeof value);
            return true;
        }
    }
    uint64_t wide = 0;
    if (!LoadSlow(segment, offset, sizeof(T), wide)) return false;
    value = T(wide);
    return true;
}

template <class T>
bool Cpu::Store(unsigned segment, uint64_t offset, T value) {
    const SegmentRegister &to = registers.segment[segment];
    if (offset < to.writeEnd) [[likely]] {
        const uint64_t linear = (to.activeBase + offset) & linearMask;
        const TlbEntry &entry = dataTlb->EntryOf(linear);
        if (((linear + sizeof(T) - 1) & ~uint64_t(0xFFF)) == entry.writeTag) [[likely]] {
            std::memcpy(entry.host + (linear & 0xFFF), &value, sizeof value);
            if ((*entry.codeMarks & PhysicalMemory::MarkMask(linear, sizeof(T))) != 0) [[unlikely]]
                DropCode(entry.physical);
            return true;
        }
    }
    return StoreSlow(segment, offset, sizeof(T), uint64_t(std::make_unsigned_t<T>(value)));
}

template <class T>
bool Cpu::Open(unsigned segment, uint64_t offset, OperandPlace &place, T &value) {
    const SegmentRegister &to = registers.segment[segment];
    if (offset < to.writeEnd && offset < to.readEnd) [[likely]] {
        const uint64_t linear = (to.activeBase + offset) & linearMask;
        const TlbEntry &entry = dataTlb->EntryOf(linear);
        if (((linear + sizeof(T) - 1) & ~uint64_t(0xFFF)) == entry.writeTag) [[likely]] {
            place.host = entry.host + (linear & 0xFFF);
            place.codeMarks = entry.codeMarks;
            place.physical = entry.physical | (linear & 0xFFF);
            std::memcpy(&value, place.host, sizeof value);
            return true;
        }
    }
    place.host = nullptr;
    if (!ResolveOperand(segment, offset, sizeof(T), Access::write, place.span)) return false;
    value = T(ReadSpan(place.span));
    return true;
}

template <class T>
void Cpu::Close(const OperandPlace &place, T value) {
    if (place.host == nullptr) [[unlikely]] {
        WriteSpan(place.span, uint64_t(std::make_unsigned_t<T>(value)));
        return;
    }
    std::memcpy(place.host, &value, sizeof value);
    if ((*place.codeMarks & PhysicalMemory::MarkMask(place.physical, sizeof(T))) != 0) [[unlikely]]
        DropCode(place.physical);
}

inline void Cpu::AddToStackPointer(uint64_t bytes) {
    uint64_t &rsp = registers.gpr[gprRsp];
    rsp = (rsp & ~stackMask) | ((rsp + bytes) & stackMask);
}

template <class T>
bool Cpu::Push(T value) {
    if (!Store<T>(segSs, (registers.gpr[gprRsp] - sizeof(T)) & stackMask, value)) return false;
    AddToStackPointer(uint64_t(0) - sizeof(T));
    return true;
}

template <class T>
bool Cpu::Peek(uint64_t depth, T &value) {
    return Load<T>(segSs, (registers.gpr[gprRsp] + depth) & stackMask, value);
}

} // namespace sable
