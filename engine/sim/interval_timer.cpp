#include "sim/interval_timer.h"

namespace sable {

namespace {

constexpr unsigned commandIndex = 3;
constexpr uint8_t channelMask = 0xC0, readBack = 0xC0;
/// Of a read-back command; what is 0 is wanted.
enum ReadBackBits : uint8_t { noCount = 0x20, noStatus = 0x10, ofChannel0 = 2 };
constexpr uint8_t statusOutput = 0x80, statusNotLoaded = 0x40;

} // namespace

uint16_t IntervalTimer::CountAt(uint64_t now) const {
    if (!isCounting) return count;
    const uint64_t counts = (now - start) / unitsPerCount;
    if (!IsPeriodic()) return uint16_t(count - counts);
    // A square wave counts by two.
    const uint64_t done = (mode == 3 ? 2 * counts : counts) % Period();
    return uint16_t(Period() - done);
}

// Low before the end of a single count; a square wave's first half is high; else low for one count only.
uint8_t IntervalTimer::Status(uint64_t now) const {
    const uint64_t counts = (now - start) / unitsPerCount;
    const bool isHigh = mode == 0   ? isCounting && counts > count
                        : mode == 3 ? counts % Period() < (Period() + 1) / 2
                                    : CountAt(now) != 1;
    return uint8_t((isHigh ? statusOutput : 0) | (isCounting ? 0 : statusNotLoaded) | uint8_t(bytes) << 4 |
                   mode << 1);
}

bool IntervalTimer::HasRisen(uint64_t now) {
    if (now < nextRise) return false;
    if (IsPeriodic()) {
        const uint64_t units = Period() * unitsPerCount;
        nextRise += ((now - nextRise) / units + 1) * units;
    } else {
        nextRise = never;
    }
    return true;
}

void IntervalTimer::LatchCount(uint64_t now) {
    if (isLatched) return;
    isLatched = true;
    latchedCount = CountAt(now);
}

void IntervalTimer::Command(uint8_t value, uint64_t now) {
    if ((value & channelMask) == readBack) {
        if ((value & ofChannel0) == 0) return;
        if ((value & noCount) == 0) LatchCount(now);
        if ((value & noStatus) == 0 && !isStatusLatched) {
            isStatusLatched = true;
            latchedStatus = Status(now);
        }
        return;
    }
    if ((value & channelMask) != 0) return;
    const Bytes wanted = Bytes(value >> 4 & 3);
    if (wanted == Bytes::none) {
        LatchCount(now);
        return;
    }
    const uint8_t newMode = value >> 1 & 7;
    mode = newMode > 5 ? uint8_t(newMode - 4) : newMode;
    bytes = wanted;
    expectsHigh = readsHigh = isLatched = isStatusLatched = isCounting = false;
    nextRise = never;
}

// The modes 1 and 5 begin with a signal that nothing gives.
void IntervalTimer::LoadCount(uint64_t now) {
    if (mode == 1 || mode == 5) return;
    isCounting = true;
    start = now;
    const uint64_t counts = IsPeriodic() ? Period() : uint64_t(count) + 1;
    nextRise = now + counts * unitsPerCount;
}

void IntervalTimer::Write(unsigned index, uint8_t value, uint64_t now) {
    if (index == commandIndex) {
        Command(value, now);
        return;
    }
    if (index != 0) return;
    if (bytes == Bytes::both && !expectsHigh) {
        lowByte = value;
        expectsHigh = true;
        return;
    }
    expectsHigh = false;
    count = bytes == Bytes::low    ? uint16_t(value)
            : bytes == Bytes::high ? uint16_t(value << 8)
                                   : uint16_t(value << 8 | lowByte);
    LoadCount(now);
}

uint8_t IntervalTimer::Read(unsigned index, uint64_t now) {
    if (index != 0) return 0xFF;
    if (isStatusLatched) {
        isStatusLatched = false;
        return latchedStatus;
    }
    const uint16_t value = isLatched ? latchedCount : CountAt(now);
    const bool isHigh = bytes == Bytes::high || (bytes == Bytes::both && readsHigh);
    const bool isLast = bytes != Bytes::both || readsHigh;
    readsHigh = !isLast;
    if (isLast) isLatched = false;
    return uint8_t(isHigh ? value >> 8 : value);
}

} // namespace sable
