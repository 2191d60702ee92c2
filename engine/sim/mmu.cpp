// Paging: the walk through the tables, its faults, and what of it is kept in the TLB.
#include "sim/cpu.h"
#include "sim/cpuid.h"
#include "sim/descriptor.h"

namespace sable {

namespace {

enum PageEntry : uint64_t {
    entryPresent = 1,
    entryWritable = 2,
    entryUser = 4,
    entryAccessed = 0x20,
    entryDirty = 0x40,
    entryLarge = 0x80,
    entryGlobal = 0x100,
    entryNoExecute = uint64_t(1) << 63
};

constexpr uint64_t physicalMask = (uint64_t(1) << physicalAddressBits) - 1;
constexpr uint64_t addressMask = physicalMask & ~uint64_t(0xFFF);
constexpr uint64_t reservedHigh = ((uint64_t(1) << 52) - 1) & ~physicalMask;
// An entry of the top level of PAE paging has no rights and no bits for use.
constexpr uint64_t pdpteReserved = 0x1E6 | ~physicalMask;

constexpr uint64_t Bits(unsigned from, unsigned to) {
    return ((uint64_t(1) << to) - 1) & ~((uint64_t(1) << from) - 1);
}

void AddEntry(Leaf &leaf, uint64_t at, uint64_t entry) {
    leaf.entryAt[leaf.entryCount] = at;
    leaf.entry[leaf.entryCount++] = entry;
    leaf.isWritable = leaf.isWritable && (entry & entryWritable) != 0;
    leaf.isUser = leaf.isUser && (entry & entryUser) != 0;
}

} // namespace

// Two levels of entries of 4 bytes; with PSE a page of 4 MiB whose address bits 32 to 39 stand in 13 to 20.
bool Cpu::WalkLegacy(uint64_t linear, Leaf &leaf) {
    leaf.entrySize = 4;
    const uint64_t directoryAt = (registers.cr3 & 0xFFFFF000) | (linear >> 22 & 0x3FF) << 2;
    const uint64_t directory = ReadPhysical(directoryAt, 4);
    if ((directory & entryPresent) == 0) return false;
    AddEntry(leaf, directoryAt, directory);
    if ((directory & entryLarge) != 0 && (registers.cr4 & cr4Pse) != 0) {
        leaf.isLarge = true;
        leaf.isReserved = (directory & Bits(21, 22)) != 0;
        leaf.isGlobal = (directory & entryGlobal) != 0;
        leaf.physical = (directory & 0xFFC00000) | (directory >> 13 & 0xFF) << 32 | (linear & 0x3FFFFF);
        return true;
    }
    const uint64_t tableAt = (directory & 0xFFFFF000) | (linear >> 12 & 0x3FF) << 2;
    const uint64_t entry = ReadPhysical(tableAt, 4);
    if ((entry & entryPresent) == 0) return false;
    AddEntry(leaf, tableAt, entry);
    leaf.isGlobal = (entry & entryGlobal) != 0;
    leaf.physical = (entry & 0xFFFFF000) | (linear & 0xFFF);
    return true;
}

// Entries of 8 bytes: four levels in long mode; with PAE two, below the four entries kept in registers.
bool Cpu::WalkWide(uint64_t linear, Leaf &leaf) {
    const bool hasNx = (registers.msr.efer & eferNxe) != 0;
    const uint64_t reserved =
        reservedHigh | (hasNx ? 0 : uint64_t(entryNoExecute)) | (IsLong() ? 0 : Bits(52, 63));
    unsigned shift = 39;
    uint64_t table = registers.cr3 & addressMask;
    if (!IsLong()) {
        const uint64_t top = registers.pdpte[linear >> 30 & 3];
        if ((top & entryPresent) == 0) return false;
        table = top & addressMask;
        shift = 21;
    }
    for (;; shift -= 9) {
        const uint64_t at = table | (linear >> shift & 0x1FF) << 3;
        const uint64_t entry = ReadPhysical(at, 8);
        if ((entry & entryPresent) == 0) return false;
        AddEntry(leaf, at, entry);
        if (hasNx && (entry & entryNoExecute) != 0) leaf.isExecutable = false;
        if ((entry & reserved) != 0) leaf.isReserved = true;
        const bool isLarge = shift != 12 && (entry & entryLarge) != 0;
        if (isLarge && (shift == 39 || (entry & Bits(13, shift)) != 0)) leaf.isReserved = true;
        if (leaf.isReserved) return true;
        if (isLarge || shift == 12) {
            const uint64_t within = Bits(0, shift);
            leaf.isLarge = isLarge;
            leaf.isGlobal = (entry & entryGlobal) != 0;
            leaf.physical = (entry & addressMask & ~within) | (linear & within);
            return true;
        }
        table = entry & addressMask;
    }
}

// False when an entry on the way is not present.
bool Cpu::Walk(uint64_t linear, Leaf &leaf) {
    return (registers.cr4 & cr4Pae) != 0 ? WalkWide(linear, leaf) : WalkLegacy(linear, leaf);
}

bool Cpu::IsPermitted(const Leaf &leaf, Access access, bool isUser) const {
    if (isUser && !leaf.isUser) return false;
    if (access == Access::execute) return leaf.isExecutable;
    if (access == Access::read || leaf.isWritable) return true;
    return !isUser && (registers.cr0 & cr0Wp) == 0;
}

void Cpu::SetUsedBits(const Leaf &leaf, bool isWrite) {
    for (unsigned n = 0; n < leaf.entryCount; ++n) {
        const bool isLast = n + 1 == leaf.entryCount;
        const uint64_t wanted = entryAccessed | (isLast && isWrite ? uint64_t(entryDirty) : 0);
        if ((leaf.entry[n] & wanted) != wanted)
            WritePhysical(leaf.entryAt[n], leaf.entrySize, leaf.entry[n] | wanted);
    }
}

// A page that has not been written yet gets no tag for writing, so that the first write sets its dirty bit.
void Cpu::Fill(uint64_t linear, uint64_t physical, const Leaf &leaf, bool isUser, bool isDirty) {
    if (!memory.Holds(physical)) return;
    const uint64_t page = linear & ~uint64_t(0xFFF), physicalPage = physical & ~uint64_t(0xFFF);
    const bool mayWrite = isDirty && IsPermitted(leaf, Access::write, isUser);
    tlb[isUser ? 1 : 0].EntryOf(linear) = {page,
                                           mayWrite ? page : Tlb::none,
                                           IsPermitted(leaf, Access::execute, isUser) ? page : Tlb::none,
                                           memory.At(physicalPage),
                                           memory.CodeMarks(physicalPage),
                                           physicalPage,
                                           leaf.isGlobal && (registers.cr4 & cr4Pge) != 0,
                                           leaf.isLarge};
}

bool Cpu::Translate(uint64_t linear, Access access, bool isUser, uint64_t &physical) {
    const uint64_t page = linear & ~uint64_t(0xFFF);
    const TlbEntry &entry = tlb[isUser ? 1 : 0].EntryOf(linear);
    const uint64_t tag = access == Access::read    ? entry.readTag
                         : access == Access::write ? entry.writeTag
                                                   : entry.executeTag;
    if (tag == page) {
        physical = entry.physical | (linear & 0xFFF);
        return true;
    }
    Leaf leaf;
    if ((registers.cr0 & cr0Pg) == 0) {
        physical = linear;
        Fill(linear, physical, leaf, isUser, true);
        return true;
    }
    uint32_t error = 0;
    if (access == Access::write) error |= pageErrorWrite;
    if (isUser) error |= pageErrorUser;
    const bool hasNx = (registers.msr.efer & eferNxe) != 0 && (registers.cr4 & cr4Pae) != 0;
    if (access == Access::execute && hasNx) error |= pageErrorFetch;
    if (!Walk(linear, leaf)) return RaisePage(linear, error);
    if (leaf.isReserved) return RaisePage(linear, error | pageErrorPresent | pageErrorReserved);
    if (!IsPermitted(leaf, access, isUser)) return RaisePage(linear, error | pageErrorPresent);
    SetUsedBits(leaf, access == Access::write);
    physical = leaf.physical;
    const bool isDirty = access == Access::write || (leaf.entry[leaf.entryCount - 1] & entryDirty) != 0;
    Fill(linear, physical, leaf, isUser, isDirty);
    return true;
}

void Cpu::FlushTlb(bool globalToo) {
    for (Tlb &each : tlb) {
        if (globalToo) {
            each.Flush();
        } else {
            each.FlushExceptGlobal();
        }
    }
}

void Cpu::FlushPage(uint64_t linear) {
    for (Tlb &each : tlb) each.FlushPage(linear);
}

bool Cpu::LoadPdpte(uint64_t cr0, uint64_t cr3, uint64_t cr4) {
    if ((cr0 & cr0Pg) == 0 || (cr4 & cr4Pae) == 0) return true;
    uint64_t entries[4];
    for (unsigned n = 0; n < 4; ++n) {
        entries[n] = ReadPhysical((cr3 & 0xFFFFFFE0) + uint64_t{8} * n, 8);
        if ((entries[n] & entryPresent) != 0 && (entries[n] & pdpteReserved) != 0) return RaiseGeneral();
    }
    for (unsigned n = 0; n < 4; ++n) registers.pdpte[n] = entries[n];
    return true;
}

} // namespace sable
