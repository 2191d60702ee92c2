#pragma once

#include "platform/window_system.h"

#include <cstdint>
#include <vector>

class ktX11Connection;

/// The monitors of the display, virtual ones counted, each with its work area. False when the display cannot
/// tell them. `primary` becomes the index of the primary one, 0 when none is.
bool ReadX11Monitors(const ktX11Connection &connection, std::vector<ktMonitorArea> &monitors,
                     size_t &primary);

/// Fills the work sizes of monitors whose rectangles are known.
void ReadX11WorkAreas(const ktX11Connection &connection, std::vector<ktMonitorArea> &monitors);
