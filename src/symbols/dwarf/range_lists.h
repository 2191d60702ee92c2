#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

class ktWorkBudget;

/// Start and end of each range, in list order.
using ktAddressPairs = std::vector<std::pair<uint64_t, uint64_t>>;

/// Reads the version 4 list at `offset` of .debug_ranges. The base starts at 0 and is never the unit's low
/// pc. False, with `pairs` empty, when the list cannot be read to its end or `budget` is used up.
bool ReadRangeList(std::span<const uint8_t> section, uint64_t offset, uint64_t addressSize,
                   ktWorkBudget &budget, ktAddressPairs &pairs);

/// The same for the version 5 list at `offset` of .debug_rnglists, with `addresses` the bytes of .debug_addr.
/// Entries that only select a base leave a pair of zeros.
bool ReadRngList(std::span<const uint8_t> section, std::span<const uint8_t> addresses, uint64_t offset,
                 uint64_t addressSize, ktWorkBudget &budget, ktAddressPairs &pairs);
