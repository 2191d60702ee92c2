#pragma once

#include "symbols/owned_text.h"

#include <cstdint>
#include <vector>

/// One row of a unit's line table.
struct ktLineRecord {
    uint64_t address; ///< load bias included
    uint64_t line;    ///< zero-based
    uint64_t file;    ///< index into ktLineInfo::files
};

/// Line table of a unit. Index 0 of `directories` and `files` stays empty; directory number 0 stands
/// for `compDir`. Rows are in the order of the line program, not sorted.
struct ktLineInfo {
    ktOwnedText compDir;
    std::vector<ktOwnedText> directories;
    std::vector<ktOwnedText> files;
    std::vector<uint64_t> fileDirs; ///< directory number of each file
    std::vector<ktLineRecord> lines;
};
