#pragma once

#include <cstdint>

class ktLines;
struct ktLocation;

/// Prints the source text that belongs to code.
class ktSourceLines {
public:
    virtual ~ktSourceLines() = default;
    /// Adds to `output` the source line whose code starts at exactly `address` in the unit of `location`,
    /// or nothing. Command thread.
    virtual void ShowSourceLine(const ktLocation &location, uint64_t address, ktLines &output) = 0;
};
