// DR0 to DR3 with what DR7 wants of them, single steps, and the traps that follow.
#include "sim/cpu.h"

namespace sable {

namespace {

enum class WatchKind : uint8_t { execute, write, port, readWrite };

bool IsEnabled(uint64_t dr7, unsigned n) { return (dr7 >> 2 * n & 3) != 0; }

WatchKind KindOf(uint64_t dr7, unsigned n) { return WatchKind(dr7 >> (16 + 4 * n) & 3); }

unsigned LengthOf(uint64_t dr7, unsigned n) {
    constexpr uint8_t lengths[4] = {1, 2, 8, 4};
    return lengths[dr7 >> (18 + 4 * n) & 3];
}

// Breakpoints on ports are not there.
bool IsData(WatchKind kind) { return kind == WatchKind::write || kind == WatchKind::readWrite; }

} // namespace

void Cpu::RefreshDebug() {
    bool hasCode = false, hasData = false;
    if ((registers.dr7 & 0xFF) != 0) {
        for (unsigned n = 0; n < 4; ++n) {
            if (!IsEnabled(registers.dr7, n)) continue;
            hasCode = hasCode || KindOf(registers.dr7, n) == WatchKind::execute;
            hasData = hasData || IsData(KindOf(registers.dr7, n));
        }
    }
    const Flags &flags = registers.flags;
    const bool checksAlignment = cpl == 3 && (registers.cr0 & cr0Am) != 0 && flags.Has(flagAc);
    SetAttention(attentionSingle, hasCode || flags.Has(flagTf) || flags.Has(flagRf));
    fetchTlb = &tlb[cpl == 3 ? 1 : 0];
    dataTlb = hasData || checksAlignment ? &noTlb : fetchTlb;
}

bool Cpu::IsAtCodeBreak(uint64_t linear) {
    uint64_t hits = 0;
    for (unsigned n = 0; n < 4; ++n) {
        if (IsEnabled(registers.dr7, n) && KindOf(registers.dr7, n) == WatchKind::execute &&
            registers.dr[n] == linear)
            hits |= uint64_t(1) << n;
    }
    registers.dr6 |= hits;
    return hits != 0;
}

void Cpu::CheckWatches(uint64_t linear, unsigned size, Access access) {
    if ((registers.dr7 & 0xFF) == 0) return;
    for (unsigned n = 0; n < 4; ++n) {
        const WatchKind kind = KindOf(registers.dr7, n);
        if (!IsEnabled(registers.dr7, n) || !IsData(kind)) continue;
        if (kind == WatchKind::write && access != Access::write) continue;
        const uint64_t length = LengthOf(registers.dr7, n);
        const uint64_t first = registers.dr[n] & ~(length - 1);
        if (linear < first + length && first < linear + size) AddDebugTrap(uint64_t(1) << n);
    }
}

void Cpu::AddDebugTrap(uint64_t bits) {
    debugTrap |= bits;
    SetAttention(attentionTrap, true);
    CutBlock();
}

void Cpu::TakeTrap() {
    registers.dr6 |= debugTrap;
    registers.dr7 &= ~uint64_t(dr7GeneralDetect);
    DeliverExternal(vectorDebug, EventKind::trap);
}

} // namespace sable
