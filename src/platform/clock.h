#pragma once

#include <cstdint>

/// Source of monotonic time, replaceable in tests.
class ktClock {
public:
    virtual ~ktClock() = default;
    /// Milliseconds since an arbitrary start; never goes back.
    virtual uint64_t Milliseconds() = 0;
    /// Nanoseconds since an arbitrary start; never goes back.
    virtual uint64_t Nanoseconds() = 0;
    virtual void Sleep(uint32_t milliseconds) = 0;
};

/// The system's own clock. Lives for the whole process.
ktClock &SystemClock();
