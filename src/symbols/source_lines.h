#pragma once

#include <cstdint>

class ktLines;
struct ktLocation;

/// Adds to `output` the source line whose code starts at exactly `address` in the unit of `location`, or
/// nothing: a unit without such a row, a module without a source path, and a file that is not found show no
/// line and give no message. One thread at a time for one unit.
void ShowSourceLine(const ktLocation &location, uint64_t address, ktLines &output);
