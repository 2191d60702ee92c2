#pragma once

#include "symbols/dwarf/line_sections.h"

#include <cstdint>

class ktLineInfo;
class ktLogBatch;
class ktWorkBudget;

/// Adds to `lines` the line program at `offset` of .debug_line. `is32` is the form of the unit that names it,
/// and `bias` is added to every address. The program is checked now, and what there is to tell goes to `log`
/// once; its tables are worked out when they are asked for, so the sections outlive `lines`. False when the
/// header cannot be read, with nothing added; also when the program stops early, with the rows up to there;
/// and, with nothing added, without memory or when `budget` is used up. One thread for `lines` and `log`.
bool ParseLineProgram(const ktLineSections &sections, uint64_t offset, bool is32, uint64_t bias,
                      ktWorkBudget &budget, ktLogBatch &log, ktLineInfo &lines);
