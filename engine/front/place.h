#pragma once

#include <cstdint>

#include "abi/records.h"
#include "core/address_space.h"
#include "core/segment.h"
#include "core/target_session.h"

namespace sable {

/// Where memory is, as a caller of the library says it.
struct Place {
    enum class Kind { physical, linear, segmented };

    Kind kind = Kind::physical;
    uint64_t root = 0;     ///< of linear and segmented; 0 is the current core's own
    uint16_t selector = 0; ///< of segmented
    uint64_t address = 0;

    static Place Physical(uint64_t address) { return {Kind::physical, 0, 0, address}; }
    static Place Linear(uint64_t root, uint64_t address) { return {Kind::linear, root, 0, address}; }
    static Place Segmented(uint64_t root, uint16_t selector, uint64_t address) {
        return {Kind::segmented, root, selector, address};
    }
    Place Behind(uint32_t bytes) const { return {kind, root, selector, address + bytes}; }
};

/// `work(space, address)` with the linear space of a place that is not physical.
template <typename Work>
int32_t InLinearSpace(TargetSession &session, const Place &place, Work work) {
    uint64_t address = place.address;
    if (place.kind == Place::Kind::segmented) {
        Segment segment;
        if (const int32_t status = session.SegmentOf(place.selector, segment); status < 0) return status;
        address = segment.Linear(address);
    }
    LinearSpace space(session.target, place.root);
    if (const int32_t status = space.Open(); status < 0) return status;
    return work(space, address);
}

/// The same with the space of any place.
template <typename Work>
int32_t InSpace(TargetSession &session, const Place &place, Work work) {
    if (place.kind != Place::Kind::physical) return InLinearSpace(session, place, work);
    PhysicalSpace space(session.target);
    return work(space, place.address);
}

} // namespace sable
