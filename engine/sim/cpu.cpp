#include "sim/cpu.h"

#include "sim/descriptor.h"

namespace sable {

namespace {

constexpr uint32_t resetSignature = 0x610; // rdx at reset: family, model, stepping
constexpr uint64_t apicFirstCore = 0x100;

SegmentRegister ResetSegment(uint16_t selector, uint64_t base, uint16_t access) {
    return {selector, access, 0xFFFF, base, 0, 0, 0};
}

// An access of up to 8 bytes below the result is within the limit.
uint64_t FastEnd(const SegmentRegister &segment) {
    return segment.limit < 7 ? 0 : segment.limit - uint64_t(6);
}

} // namespace

Cpu::Cpu(unsigned coreNumber, PhysicalMemory &ram, Bus &devices)
    : core(coreNumber), memory(ram), bus(devices), dataTlb(&tlb[0]), fetchTlb(&tlb[0]) {
    Reset();
}

void Cpu::Reset() {
    constexpr uint16_t data = accessPresent | accessNotSystem | accessWritable | accessAccessed;
    registers = Registers();
    for (SegmentRegister &segment : registers.segment) segment = ResetSegment(0, 0, data);
    registers.segment[segCs] = ResetSegment(0xF000, 0xFFFF0000, data | accessCode);
    registers.ldt = ResetSegment(0, 0, uint16_t(accessPresent) | typeLdt);
    registers.tss = ResetSegment(0, 0, uint16_t(accessPresent) | typeTss32Busy);
    registers.rip = 0xFFF0;
    registers.cr0 = cr0Et | cr0Nw | cr0Cd;
    registers.gpr[gprRdx] = resetSignature;
    if (core == 0) registers.msr.apicBase |= apicFirstCore;
    attention = 0;
    isFaulted = isNmiBlocked = isEventDelivered = isRepeating = false;
    shadow = ShadowKind::none;
    debugTrap = 0;
    timeOffset = 0 - executed;
    Refresh();
}

void Cpu::Refresh() {
    Registers &r = registers;
    r.gpr[gprZero] = 0;
    const bool isLong = (r.cr0 & cr0Pg) != 0 && (r.msr.efer & eferLme) != 0;
    r.msr.efer = (r.msr.efer & ~uint64_t(eferLma)) | (isLong ? uint64_t(eferLma) : 0);
    FlushTlb(true);
    // Entries that are malformed stay as they were: there is no program to tell.
    if (!isLong) LoadPdpte(r.cr0, r.cr3, r.cr4);
    isFaulted = false;
    RefreshMode();
}

void Cpu::RefreshSegment(unsigned index) {
    SegmentRegister &segment = registers.segment[index];
    const bool is64 = Is64();
    segment.activeBase = is64 && index < segFs ? 0 : segment.base;
    if (is64) {
        segment.readEnd = segment.writeEnd = ~uint64_t(0);
        return;
    }
    const uint64_t end = FastEnd(segment);
    const bool isCode = (segment.access & accessCode) != 0, hasBit = (segment.access & accessWritable) != 0;
    const bool isDown = !isCode && (segment.access & accessDown) != 0;
    const bool isUsable = segment.IsPresent() && (segment.access & accessNotSystem) != 0 && !isDown;
    const bool isReal = !IsProtected();
    segment.readEnd = isReal || (isUsable && (!isCode || hasBit)) ? end : 0;
    segment.writeEnd = isReal || (isUsable && !isCode && hasBit) ? end : 0;
}

void Cpu::RefreshMode() {
    const SegmentRegister &cs = registers.segment[segCs];
    const SegmentRegister &ss = registers.segment[segSs];
    cpl = IsProtected() ? ss.Dpl() : 0;
    if (IsLong() && (cs.access & accessLong) != 0) {
        codeWidth = width64;
        stackMask = linearMask = ~uint64_t(0);
    } else {
        codeWidth = (cs.access & accessBig) != 0 ? width32 : width16;
        stackMask = (ss.access & accessBig) != 0 ? 0xFFFFFFFF : 0xFFFF;
        linearMask = 0xFFFFFFFF;
    }
    for (unsigned index = 0; index < segCount; ++index) RefreshSegment(index);
    RefreshDebug();
}

void Cpu::SetFlags(uint32_t word) {
    registers.flags.Set(word);
    RefreshDebug();
}

void Cpu::EnterCode(const SegmentRegister &code, uint64_t rip) {
    registers.segment[segCs] = code;
    registers.rip = rip;
    RefreshMode();
}

void Cpu::RequestExit() {
    SetAttention(attentionExit, true);
    CutBlock();
}

void Cpu::ShadowInterrupts(ShadowKind kind) {
    shadow = kind;
    SetAttention(attentionShadow, true);
}

bool Cpu::LeaveRepeating(const Instruction &instruction) {
    registers.rip = WithinCode(registers.gpr[gprBlock] + instruction.start);
    isRepeating = true;
    return false;
}

bool Cpu::Raise(unsigned vector) {
    isFaulted = true;
    fault = {uint8_t(vector), false, 0, 0};
    return false;
}

bool Cpu::Raise(unsigned vector, uint32_t error) {
    isFaulted = true;
    fault = {uint8_t(vector), true, error, 0};
    return false;
}

bool Cpu::RaisePage(uint64_t linear, uint32_t error) {
    isFaulted = true;
    fault = {vectorPage, true, error, linear};
    return false;
}

} // namespace sable
