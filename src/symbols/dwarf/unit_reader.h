#pragma once

struct ktDwarfContext;
struct ktDwarfUnit;

/// Reads the entries of one unit and appends the unit they make to the results. False when the entries cannot
/// be read to their end: what was read until then is kept all the same. Any thread; the log and the results
/// are all that it shares with other units.
bool ReadDwarfUnit(ktDwarfContext &context, const ktDwarfUnit &unit);
