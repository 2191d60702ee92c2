#pragma once

#include <cstdint>
#include <span>

namespace sable {

class AddressSpace;
class WorkMonitor;

constexpr uint32_t maxPatternSize = 4096;

struct SearchRange {
    uint64_t start = 0;
    uint64_t end = 0;  ///< the last address at which the pattern may begin; below `start` to search downwards
    uint32_t step = 1; ///< the pattern may begin at multiples of it from `start`
};

/// Finds the place nearest to the start of a pattern of 1 to maxPatternSize bytes. What is not mapped, or
/// cannot be read, is passed over in one go as far as the page tables tell. SABLE_FAILED when it is not there
/// or nobody waits any more, SABLE_NOT_SUPPORTED for a target without memory, SABLE_BAD_ARGUMENT for an empty
/// or long pattern, or a step of 0.
int32_t SearchMemory(AddressSpace &space, const SearchRange &range, std::span<const uint8_t> pattern,
                     WorkMonitor &monitor, uint64_t &hit);

} // namespace sable
