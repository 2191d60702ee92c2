#pragma once

#include <cstdint>

#include "abi/records.h"

namespace sable {

class Target;
struct PagingFacts;

/// The way through the page tables for one linear address.
struct PageWalk {
    /// Entries from the top level up to and including the one that ends the way: the final page's, the first
    /// that is not present, or one that the processor would refuse for its reserved bits.
    ktSbRawPageWalk raw = {};
    uint64_t physical = 0; ///< of the address, when raw.isValid is set
    uint64_t first = 0;    ///< the first and the last linear address that end at the same entry
    uint64_t last = 0;
};

/// `root` 0 is the current core's own. Of a root those bits count that the paging mode takes the address of
/// the first table from. Without paging each address below 4 GiB is its own translation.
PageWalk WalkPages(Target &target, const PagingFacts &facts, uint64_t root, uint64_t linear);

} // namespace sable
