#pragma once

#include <cstdint>

namespace sable {

/// Channel 0 of an 8254 timer; the others are not there, and counts are binary. Time is the machine's, see
/// Machine::Now; it does not go back.
class IntervalTimer {
public:
    static constexpr uint64_t unitsPerCount = 20; ///< machine time for each count
    static constexpr uint64_t never = ~uint64_t(0);

    /// When the output rises next.
    uint64_t NextRise() const { return nextRise; }
    /// True when the output has risen up to `now` since this was asked before.
    bool HasRisen(uint64_t now);

    /// Registers 0 to 3; 3 is for commands.
    uint8_t Read(unsigned index, uint64_t now);
    void Write(unsigned index, uint8_t value, uint64_t now);

private:
    enum class Bytes : uint8_t { none, low, high, both };

    void Command(uint8_t value, uint64_t now);
    void LatchCount(uint64_t now);
    void LoadCount(uint64_t now);
    uint64_t Period() const { return count == 0 ? 0x10000 : count; }
    uint16_t CountAt(uint64_t now) const;
    bool IsPeriodic() const { return mode == 2 || mode == 3; }
    uint8_t Status(uint64_t now) const;

    Bytes bytes = Bytes::both;
    uint8_t mode = 3;
    uint16_t count = 0;
    uint64_t start = 0; // when the count was loaded
    uint64_t nextRise = never;
    uint8_t lowByte = 0;
    bool expectsHigh = false, readsHigh = false;
    bool isCounting = false;
    bool isLatched = false, isStatusLatched = false;
    uint16_t latchedCount = 0;
    uint8_t latchedStatus = 0;
};

} // namespace sable
