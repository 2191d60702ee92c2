#pragma once

#include <cstdint>

class ktCmd;

/// A group of commands that it owns by value.
class ktCmdSet {
public:
    virtual ~ktCmdSet() = default;
    /// Command `index` in the order of construction, or null past the end.
    virtual ktCmd *GetCommand(uint64_t index) = 0;
};
