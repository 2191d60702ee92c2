#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "sim/cpu.h"
#include "sim/machine_bus.h"
#include "sim/physical_memory.h"

namespace sable {

enum class MachineStop : uint8_t {
    none,       ///< time is up
    breakPoint, ///< before an instruction that BreakCheck wanted to stop at
    shutdown,   ///< a core has met a fault that it cannot deliver; only a reset helps
    halted,     ///< each core has halted with interrupts off
    reset       ///< the machine was reset by its program and is at its first instruction
};

/// A PC with two processors that take turns on the caller's thread. Its time is counted in units of one
/// instruction of each core, so that the same program does the same whenever and wherever it runs.
class Machine {
public:
    static constexpr unsigned coreCount = MachineBus::coreCount;
    /// How fast time would pass on a real machine.
    static constexpr uint64_t unitsPerSecond = 1193182 * IntervalTimer::unitsPerCount;
    /// How long a core's turn is.
    static constexpr uint64_t turnUnits = 1000;

    struct Result {
        MachineStop stop = MachineStop::none;
        unsigned core = 0; ///< which one has stopped
        uint64_t idle = 0; ///< units that have passed with all cores asleep
    };

    /// Stands at the first instruction of `image`, which outlives this, as does `sink`.
    Machine(uint64_t ramBytes, std::span<const uint8_t> image, RawDataSink &sink);
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;

    /// Empty RAM with the image in it, the first core at its first instruction, the second one waiting for
    /// the first to start it. Breakpoints stay.
    void Reset();
    /// Runs for about `units`. What was interrupted by a stop goes on where it was.
    Result Run(uint64_t units);
    /// One instruction of one core, or the delivery of one interrupt, whatever breakpoints there are; the
    /// others stand still. A core that sleeps until an interrupt gets the next one that comes by itself; with
    /// interrupts held back it goes on as if one had come and gone. One that has halted for good, or was
    /// never started, stays as it is.
    Result Step(unsigned core, Interrupts interrupts);
    /// The next instruction of this core, and of no other, is executed without asking for breakpoints.
    void PassBreakOnce(unsigned core);

    /// Waits until another core starts it.
    bool IsWaiting(unsigned core) const { return waits[core]; }
    uint64_t Now() const { return bus.Now(); }
    Cpu &Core(unsigned core) { return cores[core]; }
    PhysicalMemory &Memory() { return memory; }
    MachineBus &Devices() { return bus; }
    /// Page tables or code may have been changed from outside.
    void Refresh();

private:
    void StartImage();
    bool GrantWishes();
    MachineStop TakeTurn();
    bool IsAsleep() const;
    bool CanBeWoken() const;
    void PassTime(uint64_t units);

    PhysicalMemory memory;
    MachineBus bus;
    std::array<Cpu, coreCount> cores;
    std::span<const uint8_t> guest;
    std::array<bool, coreCount> waits = {};
    std::array<bool, coreCount> passesBreak = {};
    // The round that is under way.
    uint64_t roundUnits = 0; // 0: none is
    unsigned turn = 0;       // whose turn it is
    uint64_t turnLeft = 0;
};

} // namespace sable
