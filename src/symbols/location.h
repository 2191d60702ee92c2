#pragma once

#include <cstdint>
#include <vector>

class ktCompUnit;
class ktFunction;
class ktModule;
class ktSpace;
class ktType;

/// One result of a lookup. Pointers are not owned and may be null; they die with their module.
struct ktLocation {
    uint64_t address = 0;
    ktModule *module = nullptr;
    ktCompUnit *unit = nullptr;
    ktFunction *function = nullptr;
    ktType *type = nullptr;
};

using ktLocationList = std::vector<ktLocation>;

/// Parts of a location string.
enum ktLocationPart : uint64_t {
    ktLocationOffset = 1,
    ktLocationFunction = 2,
    ktLocationUnit = 4,
    ktLocationModule = 8,
    ktLocationType = 16,
    ktLocationAll = 15, ///< everything but the type
};

/// The parts that stand in `text`: 8, with "!" 12, "|" adds 2, "#" 16, "+" 1.
uint64_t MaskOf(const char *text);

/// Empties `results` and fills it with every location that matches `text`; a `mask` of 0 means
/// MaskOf(text). True if there is one.
bool FindByName(const ktSpace &space, ktLocationList &results, const char *text, uint64_t mask);
/// Appends every location of `address`, innermost function first. True if `results` is not empty.
bool FindByAddress(const ktSpace &space, ktLocationList &results, uint64_t address);
/// Moves `location` to `address`, which is mostly near the last one. Allocates nothing.
bool Update(const ktSpace &space, ktLocation *location, uint64_t address);
/// Update for every location; true only if the list is not empty and all returned true.
bool UpdateAll(const ktSpace &space, ktLocationList *results, uint64_t address);
