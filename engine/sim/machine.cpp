#include "sim/machine.h"

#include <algorithm>

#include "guest/guest_image.h"

namespace sable {

Machine::Machine(uint64_t ramBytes, std::span<const uint8_t> image, RawDataSink &sink)
    : memory(ramBytes), bus(sink), cores{Cpu(0, memory, bus), Cpu(1, memory, bus)}, guest(image) {
    for (unsigned core = 0; core < coreCount; ++core) bus.Attach(core, cores[core]);
    StartImage();
}

void Machine::Reset() {
    memory.Clear();
    StartImage();
}

// Memory is empty.
void Machine::StartImage() {
    for (Cpu &cpu : cores) cpu.Reset();
    bus.Reset();
    waits.fill(true);
    waits[0] = false;
    passesBreak.fill(false);
    roundUnits = turnLeft = 0;
    turn = 0;

    const uint32_t note[] = {GuestStart::noteMagic, uint32_t(memory.Size() >> 10)};
    memory.Write(GuestStart::noteAddress, note, sizeof note);
    memory.Write(GuestStart::loadAddress, guest.data(), guest.size());
    Registers &first = cores[0].registers;
    first.segment[segCs].selector = 0;
    first.segment[segCs].base = 0;
    first.rip = GuestStart::loadAddress;
    Refresh();
}

void Machine::Refresh() {
    for (Cpu &cpu : cores) cpu.Refresh();
}

void Machine::PassBreakOnce(unsigned core) {
    passesBreak.fill(false);
    passesBreak[core] = true;
}

// True when the machine was reset.
bool Machine::GrantWishes() {
    const MachineWishes wishes = bus.TakeWishes();
    if (wishes.reset) {
        Reset();
        return true;
    }
    for (unsigned core = 0; core < coreCount; ++core) {
        Cpu &cpu = cores[core];
        if (wishes.init[core]) {
            const uint64_t time = cpu.Now();
            cpu.Reset();
            cpu.AdvanceIdle(time);
            bus.ResetApic(core);
            waits[core] = true;
        }
        if (const std::optional<uint8_t> page = wishes.start[core]; page && waits[core]) {
            SegmentRegister &code = cpu.registers.segment[segCs];
            code.selector = uint16_t(*page << 8);
            code.base = uint64_t(*page) << 12;
            cpu.registers.rip = 0;
            cpu.Refresh();
            waits[core] = false;
        }
    }
    return false;
}

// The core whose turn it is executes until its turn is over; none: it is.
MachineStop Machine::TakeTurn() {
    Cpu &cpu = cores[turn];
    while (turnLeft != 0) {
        if (waits[turn]) {
            cpu.AdvanceIdle(turnLeft);
            turnLeft = 0;
            break;
        }
        const uint64_t before = cpu.Executed();
        const StopReason reason = cpu.Run(turnLeft, passesBreak[turn] ? FirstBreak::pass : FirstBreak::check);
        const uint64_t used = cpu.Executed() - before;
        turnLeft -= std::min(used, turnLeft);
        if (used != 0) passesBreak[turn] = false;
        if (bus.HasWishes() && GrantWishes()) return MachineStop::reset;
        if (reason == StopReason::breakPoint) return MachineStop::breakPoint;
        if (reason == StopReason::shutdown) return MachineStop::shutdown;
        if (reason == StopReason::halted) {
            cpu.AdvanceIdle(turnLeft);
            turnLeft = 0;
        }
    }
    return MachineStop::none;
}

bool Machine::IsAsleep() const {
    for (unsigned core = 0; core < coreCount; ++core) {
        if (!waits[core] && !cores[core].IsAsleep()) return false;
    }
    return true;
}

bool Machine::CanBeWoken() const {
    for (unsigned core = 0; core < coreCount; ++core) {
        if (!waits[core] && cores[core].registers.flags.Has(flagIf)) return true;
    }
    return false;
}

// While no core executes anything.
void Machine::PassTime(uint64_t units) {
    bus.Elapse(units);
    for (Cpu &cpu : cores) cpu.AdvanceIdle(units);
}

Machine::Result Machine::Run(uint64_t units) {
    Result result;
    if (bus.HasWishes() && GrantWishes()) return {MachineStop::reset, 0, 0};
    const uint64_t end = bus.Now() + units;
    while (bus.Now() < end) {
        if (roundUnits == 0) {
            const uint64_t event = bus.NextEvent() - bus.Now();
            if (IsAsleep()) {
                if (!CanBeWoken()) return {MachineStop::halted, result.core, result.idle};
                const uint64_t rest = std::min(end - bus.Now(), event);
                PassTime(rest);
                result.idle += rest;
                continue;
            }
            roundUnits = turnLeft = std::clamp<uint64_t>(event, 1, turnUnits);
            turn = 0;
        }
        for (;;) {
            if (const MachineStop stop = TakeTurn(); stop != MachineStop::none) {
                result.stop = stop;
                result.core = turn;
                return result;
            }
            if (turn + 1 == coreCount) break;
            ++turn;
            turnLeft = roundUnits;
        }
        bus.Elapse(roundUnits);
        roundUnits = 0;
    }
    return result;
}

Machine::Result Machine::Step(unsigned core, Interrupts interrupts) {
    if (bus.HasWishes() && GrantWishes()) return {MachineStop::reset, 0, 0};
    if (waits[core]) return {};
    Cpu &cpu = cores[core];
    if (cpu.IsHalted() && cpu.registers.flags.Has(flagIf)) {
        if (interrupts == Interrupts::holdBack) {
            cpu.SetHalted(false);
        } else if (cpu.IsAsleep() && bus.NextEvent() != IntervalTimer::never) {
            PassTime(bus.NextEvent() - bus.Now());
        }
    }
    const StopReason reason = cpu.Step(interrupts);
    if (bus.HasWishes() && GrantWishes()) return {MachineStop::reset, 0, 0};
    if (reason == StopReason::shutdown) return {MachineStop::shutdown, core, 0};
    bus.Elapse(1);
    return {MachineStop::none, core, 0};
}

} // namespace sable
