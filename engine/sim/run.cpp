// The main loop: events between instructions, finding and decoding blocks, executing them.
#include <algorithm>

#include "sim/cpu_memory.h"
#include "sim/decoder.h"

namespace sable {

StopReason Cpu::Run(uint64_t budget, FirstBreak firstBreak, Interrupts interrupts) {
    const uint64_t limit = executed + std::min(budget, ~uint64_t(0) - executed);
    StopReason reason = StopReason::budget;
    SetAttention(attentionExit, false);
    while (executed < limit) {
        if (attention != 0) {
            const Attended attended = Attend(interrupts, reason);
            if (attended == Attended::stop) return reason;
            if (attended == Attended::again) {
                firstBreak = FirstBreak::check;
                continue;
            }
        }
        const Block *block = FindBlock();
        if (block == nullptr) {
            ++executed;
            DeliverFault();
            continue;
        }
        if (block->startsAtBreak && firstBreak == FirstBreak::check && !isRepeating &&
            breakCheck != nullptr &&
            breakCheck->ShouldStop(core, registers.cr3, LinearRip(), block->key >> 2, registers.rip))
            return StopReason::breakPoint;
        firstBreak = FirstBreak::check;
        if ((attention & (attentionSingle | attentionShadow)) != 0) {
            RunSingle(*block);
        } else {
            RunBlock(*block, limit - executed);
        }
    }
    return (attention & attentionShutdown) != 0 ? StopReason::shutdown : reason;
}

// What has to happen before the next instruction. `again`: something was delivered.
Cpu::Attended Cpu::Attend(Interrupts interrupts, StopReason &reason) {
    if ((attention & attentionShutdown) != 0) {
        reason = StopReason::shutdown;
        return Attended::stop;
    }
    if ((attention & attentionExit) != 0) {
        SetAttention(attentionExit, false);
        reason = StopReason::exit;
        return Attended::stop;
    }
    if (shadow == ShadowKind::none) {
        if ((attention & attentionTrap) != 0) {
            ++executed;
            TakeTrap();
            return Attended::again;
        }
        if ((attention & attentionNmi) != 0 && !isNmiBlocked) {
            SetAttention(attentionNmi, false);
            isNmiBlocked = true;
            ++executed;
            DeliverExternal(vectorNmi, EventKind::external);
            return Attended::again;
        }
        const bool wantsLine = (attention & attentionLine) != 0 && registers.flags.Has(flagIf);
        if (wantsLine && interrupts == Interrupts::deliver) {
            ++executed;
            DeliverExternal(bus.AcknowledgeInterrupt(core), EventKind::external);
            return Attended::again;
        }
    }
    if ((attention & attentionHalted) != 0) {
        SetAttention(attentionShadow, false);
        shadow = ShadowKind::none;
        reason = StopReason::halted;
        const bool canWake = (attention & attentionNmi) != 0 && !isNmiBlocked;
        return canWake ? Attended::again : Attended::stop;
    }
    return Attended::run;
}

void Cpu::RunBlock(const Block &block, uint64_t budget) {
    registers.gpr[gprBlock] = registers.rip;
    isRepeating = false;
    const Instruction *i = block.first;
    blockFirst = i;
    blockEnd = i + std::min<uint64_t>(block.count, budget);
    do {
        if (!i->execute(*this, *i)) {
            executed += uint64_t(i - blockFirst) + 1;
            if (isFaulted) {
                registers.rip = WithinCode(registers.gpr[gprBlock] + i->start);
                DeliverFault();
            }
            return;
        }
        ++i;
    } while (i < blockEnd);
    executed += uint64_t(i - blockFirst);
    registers.rip = WithinCode(registers.gpr[gprBlock] + i[-1].end);
}

// One instruction under TF, breakpoints of the debug registers, or in the shadow of another.
void Cpu::RunSingle(const Block &block) {
    Flags &flags = registers.flags;
    if (!flags.Has(flagRf) && !isRepeating && IsAtCodeBreak(LinearRip())) {
        ++executed;
        Raise(vectorDebug);
        DeliverFault();
        return;
    }
    const bool steps = flags.Has(flagTf);
    const bool wasShadowed = shadow != ShadowKind::none;
    flags.SetSystem(flagRf, false);
    isEventDelivered = false;
    RunBlock(block, 1);
    if (wasShadowed) {
        shadow = ShadowKind::none;
        SetAttention(attentionShadow, false);
    }
    if (steps && !isEventDelivered && shadow != ShadowKind::stackSegment) AddDebugTrap(dr6Step);
    RefreshDebug();
}

uint64_t Cpu::BytesToCodeLimit() const {
    const uint64_t limit = registers.segment[segCs].limit;
    if (Is64()) return ~uint64_t(0);
    return registers.rip > limit ? 0 : limit - registers.rip + 1;
}

// The block at rip, or null when fetching it raised a fault.
const Block *Cpu::FindBlock() {
    const uint64_t linear = LinearRip();
    uint64_t physical;
    const TlbEntry &entry = fetchTlb->EntryOf(linear);
    if (entry.executeTag == (linear & ~uint64_t(0xFFF))) [[likely]] {
        physical = entry.physical | (linear & 0xFFF);
    } else {
        if (Is64() && !IsCanonical(linear)) {
            RaiseGeneral();
            return nullptr;
        }
        if (BytesToCodeLimit() == 0) {
            RaiseGeneral();
            return nullptr;
        }
        if (!Translate(linear, Access::execute, cpl == 3, physical)) return nullptr;
    }
    if (!memory.Holds(physical)) return DecodeAlone(physical);
    const uint64_t key = BlockCache::KeyOf(physical, codeWidth);
    Block &slot = blocks.SlotOf(key);
    const Block *block = &slot;
    if (slot.key != key || slot.version != memory.CodeVersion(physical)) block = DecodeBlock(physical, slot);
    if (!Is64() && block != nullptr && block->length > BytesToCodeLimit()) return DecodeAlone(physical);
    return block;
}

const Block *Cpu::DecodeBlock(uint64_t physical, Block &slot) {
    const uint8_t *bytes = memory.At(physical);
    const unsigned room = 4096 - unsigned(physical & 0xFFF);
    const unsigned available = unsigned(std::min<uint64_t>(room, BytesToCodeLimit()));
    const bool hasBreaks = memory.PageHasBreaks(physical);
    Instruction *instructions = blocks.Reserve();
    unsigned count = 0, length = 0;
    while (count < Block::maxCount && length < available) {
        if (count != 0 && hasBreaks && memory.HasBreak(physical + length)) break;
        const unsigned left = std::min(available - length, maxInstructionLength);
        const Decoded decoded = Decode(bytes + length, left, codeWidth, length, instructions[count]);
        if (decoded.length == 0) break;
        ++count;
        length += decoded.length;
        if (decoded.endsBlock) break;
    }
    if (count == 0) return DecodeAlone(physical);
    blocks.Commit(count);
    memory.MarkCode(physical, length);
    slot = {BlockCache::KeyOf(physical, codeWidth),
            memory.CodeVersion(physical),
            instructions,
            uint16_t(count),
            uint16_t(length),
            memory.HasBreak(physical)};
    return &slot;
}

bool Cpu::FetchByte(unsigned at, uint8_t &byte) {
    if (at >= BytesToCodeLimit()) return RaiseGeneral();
    const uint64_t linear = (LinearRip() + at) & linearMask;
    if (Is64() && !IsCanonical(linear)) return RaiseGeneral();
    uint64_t physical;
    if (!Translate(linear, Access::execute, cpl == 3, physical)) return false;
    byte = uint8_t(ReadPhysical(physical, 1));
    return true;
}

// One instruction that may reach into the next page or up to the segment's limit, or comes from a device. It
// is decoded each time, since what it is made of can change in more ways than a block is checked for.
const Block *Cpu::DecodeAlone(uint64_t physical) {
    uint8_t bytes[maxInstructionLength];
    Decoded decoded = {0, true};
    for (unsigned count = 0; decoded.length == 0 && count < maxInstructionLength;) {
        if (!FetchByte(count, bytes[count])) return nullptr;
        ++count;
        decoded = Decode(bytes, count, codeWidth, 0, scratch);
    }
    scratchBlock = {BlockCache::KeyOf(physical, codeWidth),
                    0,
                    &scratch,
                    1,
                    uint16_t(decoded.length),
                    memory.HasBreak(physical)};
    return &scratchBlock;
}

} // namespace sable
