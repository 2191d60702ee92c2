#pragma once

#include <cstdint>

class ktLines;
struct ktPageWalkResult;

/// Adds to `output` what the entries of a page walk say, in the layout of the walk's mode: one or more lines
/// for each level up to the first that is not filled or not present, or to the page. `root` is shown as it
/// is; addresses are cut to `physicalAddressBits`, of which the low six bits count.
void ktPutPageWalk(ktLines &output, const ktPageWalkResult &walk, uint64_t root,
                   uint64_t physicalAddressBits);
