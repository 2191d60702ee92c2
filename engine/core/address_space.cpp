#include "core/address_space.h"

#include <algorithm>

#include "core/page_walk.h"

namespace sable {

namespace {

/// `access(physical, offset, count, done)` for each piece of the range.
template <typename Access>
int32_t ForEachPiece(AddressSpace &space, uint64_t address, uint32_t size, uint32_t &done, Access access) {
    done = 0;
    int32_t status = SABLE_FAILED;
    while (done < size) {
        const AddressSpace::Piece piece = space.Locate(address);
        if (!piece.isMapped) break;
        const uint32_t count = uint32_t(std::min<uint64_t>(size - done - 1, piece.last - address)) + 1;
        uint32_t came = 0;
        status = access(piece.physical, done, count, came);
        came = std::min(came, count);
        done += came;
        address += came;
        // Behind the highest address there is none, and not the lowest again.
        if (status < 0 || came < count || address == 0) break;
    }
    if (done != 0 || size == 0) return SABLE_OK;
    return status < 0 ? status : SABLE_FAILED;
}

} // namespace

int32_t AddressSpace::Read(uint64_t address, void *buffer, uint32_t size, uint32_t &done) {
    uint8_t *const out = static_cast<uint8_t *>(buffer);
    return ForEachPiece(*this, address, size, done,
                        [&](uint64_t physical, uint32_t offset, uint32_t count, uint32_t &came) {
                            return target.ReadPhysical(physical, out + offset, count, came);
                        });
}

int32_t AddressSpace::Write(uint64_t address, const void *buffer, uint32_t size, uint32_t &done) {
    const uint8_t *const in = static_cast<const uint8_t *>(buffer);
    return ForEachPiece(*this, address, size, done,
                        [&](uint64_t physical, uint32_t offset, uint32_t count, uint32_t &came) {
                            return target.WritePhysical(physical, in + offset, count, came);
                        });
}

AddressSpace::Piece PhysicalSpace::Locate(uint64_t address) {
    constexpr uint64_t lastPhysical = (uint64_t(1) << 52) - 1;
    const uint64_t next = address <= lastPhysical ? target.NextPhysical(address) : UINT64_MAX;
    if (next == address) return {true, address, address, lastPhysical};
    // A target does not tell what is below an address, so a page is taken at a time.
    const uint64_t first = address <= lastPhysical ? address & ~uint64_t(0xFFF) : lastPhysical + 1;
    return {false, 0, first, next < address || next == UINT64_MAX ? UINT64_MAX : next - 1};
}

bool PhysicalSpace::Translate(uint64_t address, uint64_t &physical) {
    physical = address;
    return true;
}

int32_t LinearSpace::Open() { return target.GetPaging(facts); }

AddressSpace::Piece LinearSpace::Locate(uint64_t address) {
    const PageWalk walk = WalkPages(target, facts, root, address);
    return {walk.raw.isValid != 0, walk.physical, walk.first, walk.last};
}

bool LinearSpace::Translate(uint64_t address, uint64_t &physical) {
    const Piece piece = Locate(address);
    physical = piece.physical;
    return piece.isMapped;
}

} // namespace sable
