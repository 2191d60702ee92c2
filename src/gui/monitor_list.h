#pragma once

#include "platform/window_system.h"

#include <vector>

struct ktMonitorInfo {
    uint32_t valid = 1;
    uint32_t x = 0;
    uint32_t y = 0;
    uint32_t w = 0;
    uint32_t h = 0;
    uint32_t reserved_before_work[2] = {};
    uint32_t work_w = 0;
    uint32_t work_h = 0;
    uint32_t reserved_after_work[2] = {};
};

/// The monitors of this moment; taken anew each time they are needed. Main thread.
class ktMonitorList {
public:
    explicit ktMonitorList(ktWindowSystem &windowSystem) : system(windowSystem) {}

    /// False, with none left, when the system cannot tell them.
    bool Enumerate();
    /// The first monitor that holds the point (0, 0), its edges included; null when none does.
    const ktMonitorInfo *Primary() const;
    /// The first monitor with `column` strictly between its left and right edge; null when none has.
    const ktMonitorInfo *AtColumn(int32_t column) const;

    std::vector<ktMonitorInfo> monitors;

private:
    ktWindowSystem &system;
};
