#pragma once

#include "session/address.h"
#include "session/break_point.h"

#include <cstdint>
#include <set>

/// A breakpoint of an engine library.
struct ktSbBreakPoint final : ktBreakPoint {
    uint32_t GetId() const override { return id; }
    ktAddress &GetAddress(ktAddress &out) const override { return out = address; }
    uint8_t GetSavedByte() const override { return savedByte; }
    bool IsEnabled() const override { return enabled; }

    /// It has no counterpart in the library any more.
    void Disable();
    /// True for the same kind and place; what a kind does not look at does not count.
    bool IsAt(const ktAddress &other) const;

    bool enabled = false;   ///< set in the library
    bool hasFilter = false; ///< the library holds a filter for it
    bool ownsId = false;    ///< `id` is taken from the manager's numbers
    uint32_t id = 0;        ///< the user's number
    uint16_t engineId = 0;  ///< the library's number
    uint16_t filterId = 0;  ///< the library's number of the filter
    ktAddress address;      ///< as the user gave it, with its root filled in
    uint64_t physical = 0;  ///< what `address` is
    uint8_t savedByte = 0;
};

/// The library's one breakpoint at a physical address, and who uses it.
struct ktSbPhysBreak {
    bool isPhysical = false; ///< was given as a physical address: no filter guards it
    uint32_t ownerId = 0;    ///< then the id of that breakpoint
    uint16_t engineId = 0;
    uint8_t savedByte = 0;
    /// The library's filters for it: those that a breakpoint here goes by, and those that fit none. Left out
    /// are equals of one that is gone by.
    uint16_t filterCount = 0;
    uint64_t physical = 0;
    std::set<uint32_t> filters; ///< ids of the breakpoints that it has a filter for
};
