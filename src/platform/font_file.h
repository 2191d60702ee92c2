#pragma once

#include <string>
#include <vector>

/// Files of monospaced faces of this system, the preferred one first. A file that is named may be missing.
std::vector<std::string> MonospacedFontFiles();
