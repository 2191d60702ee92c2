#pragma once

#include "session/address.h"

#include <cstdint>

/// A breakpoint as the user knows it.
class ktBreakPoint {
public:
    virtual ~ktBreakPoint() = default;
    /// The user's number, from 0.
    virtual uint32_t GetId() const = 0;
    /// Copies the address to `out` and returns that.
    virtual ktAddress &GetAddress(ktAddress &out) const = 0;
    /// What stood at the address when the breakpoint was made.
    virtual uint8_t GetSavedByte() const = 0;
    /// False: it has no counterpart in the engine library.
    virtual bool IsEnabled() const = 0;
};
