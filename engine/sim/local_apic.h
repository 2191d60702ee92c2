#pragma once

#include <array>
#include <bitset>
#include <cstdint>

namespace sable {

/// What a local interrupt controller asks of other processors.
struct InterProcessor {
    enum class Kind : uint8_t { none, fixed, nmi, init, start };
    enum class To : uint8_t { one, self, all, others };

    Kind kind = Kind::none;
    To to = To::one;
    uint8_t vector = 0;
    uint8_t destination = 0; ///< identifier, or 0xFF for all
};

/// The interrupt controller within a processor: identifier, task priority, requests between processors, and
/// line 0, which may pass on what the 8259s send. It has no timer, and destinations are identifiers only.
class LocalApic {
public:
    static constexpr uint64_t defaultBase = 0xFEE00000;
    static constexpr unsigned pageSize = 0x1000;

    explicit LocalApic(unsigned identifier) : id(uint8_t(identifier)) {}
    /// As after power on; INIT does the same.
    void Reset();

    /// One register has 4 bytes every 16; `offset` is a multiple of 4, and what is no register reads 0.
    uint32_t Read(unsigned offset) const;
    /// Returns what other processors are asked for.
    InterProcessor Write(unsigned offset, uint32_t value);

    void SetTaskPriority(uint8_t priority) { taskPriority = priority; }
    uint8_t TaskPriority() const { return taskPriority; }
    /// An interrupt of this vector was sent here.
    void Request(uint8_t vector);
    bool HasInterrupt() const { return Pending() != none; }
    /// What the 8259s send goes to the processor.
    bool PassesLine0() const;
    /// The vector of what is served from now on, the spurious one when nothing is there any more.
    uint8_t Acknowledge();

private:
    using Vectors = std::bitset<256>;
    static constexpr unsigned none = 256;
    static constexpr unsigned localCount = 6;

    bool IsOn() const { return (spurious & 0x100) != 0; }
    unsigned Pending() const;
    uint8_t Priority() const;

    const uint8_t id;
    uint8_t taskPriority = 0;
    uint32_t spurious = 0xFF;
    uint32_t logicalId = 0, logicalForm = ~uint32_t(0);
    uint32_t commandLow = 0, commandHigh = 0;
    std::array<uint32_t, localCount> local = {0x10000, 0x10000, 0x10000, 0x10000, 0x10000, 0x10000};
    Vectors requested, inService;
};

} // namespace sable
