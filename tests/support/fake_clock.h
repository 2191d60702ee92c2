#pragma once

#include "platform/clock.h"

#include <cstdint>

/// Time that stands still until a test or a Sleep moves it. One thread.
class ktFakeClock final : public ktClock {
public:
    uint64_t Milliseconds() override { return nanoseconds / 1000000; }
    uint64_t Nanoseconds() override { return nanoseconds; }
    void Sleep(uint32_t milliseconds) override {
        slept += milliseconds;
        Advance(milliseconds);
    }

    void Advance(uint64_t milliseconds) { nanoseconds += milliseconds * 1000000; }

    uint64_t nanoseconds = 0;
    uint64_t slept = 0; ///< milliseconds that Sleep was asked for, in all
};
