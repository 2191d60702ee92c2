#pragma once

#include <cstdint>

namespace sable {

/// What processors reach outside their memory. All of it is called from the thread that runs them; `core`
/// is the processor that asks. Sizes are 1, 2, 4 or 8 bytes, ports up to 4; values above the size are 0.
class Bus {
public:
    virtual ~Bus() = default;
    /// Where nothing answers, all bits are 1.
    virtual uint64_t ReadDevice(unsigned core, uint64_t physical, unsigned size) = 0;
    virtual void WriteDevice(unsigned core, uint64_t physical, unsigned size, uint64_t value) = 0;
    virtual uint32_t ReadPort(unsigned core, uint16_t port, unsigned size) = 0;
    virtual void WritePort(unsigned core, uint16_t port, unsigned size, uint32_t value) = 0;
    /// The processor takes the interrupt that its line announces; the answer is the vector.
    virtual uint8_t AcknowledgeInterrupt(unsigned core) = 0;
    /// CR8 was written: interrupts of this priority (0 to 15) and below are not wanted.
    virtual void TaskPriorityChanged(unsigned core, unsigned priority) = 0;
};

/// Asked when a processor is about to execute an instruction whose physical address is in the break set.
class BreakCheck {
public:
    virtual ~BreakCheck() = default;
    /// True: the processor stops before the instruction. `root` is CR3, `linear` the instruction's address
    /// and `rip` that address without the base of the code segment.
    virtual bool ShouldStop(unsigned core, uint64_t root, uint64_t linear, uint64_t physical,
                            uint64_t rip) = 0;
};

} // namespace sable
