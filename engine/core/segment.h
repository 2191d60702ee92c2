#pragma once

#include <cstdint>

namespace sable {

class Target;

/// How the offsets of a segment become linear addresses.
struct Segment {
    uint64_t base = 0;
    uint64_t mask = 0xFFFFFFFF; ///< linear addresses wrap behind it
    uint64_t Linear(uint64_t offset) const { return (base + offset) & mask; }
};

/// What a selector means to the current core. One that a segment register holds has that register's base, in
/// the order of ktSbSegment; in 64-bit mode only fs and gs have one. Any other is looked up in the descriptor
/// tables, or is a paragraph number in real and virtual-8086 mode. SABLE_FAILED for a selector without a
/// segment.
int32_t FindSegment(Target &target, uint16_t selector, Segment &segment);

} // namespace sable
