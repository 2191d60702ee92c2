#include "core/segment.h"

#include "abi/records.h"
#include "core/address_space.h"
#include "core/target.h"

namespace sable {

namespace {

constexpr uint64_t Bit(unsigned index) { return uint64_t(1) << index; }
constexpr uint64_t Group(unsigned first, unsigned count) { return (Bit(count) - 1) << first; }

constexpr uint64_t neededRegisters = Group(ktSbRegCs, 4 * ktSbSegmentCount) | Bit(ktSbRegGdtBase) |
                                     Bit(ktSbRegGdtLimit) | Group(ktSbRegLdt, 4);

/// The base that a descriptor of a code or data segment gives.
int32_t ReadDescriptor(Target &target, const ktRawContext &context, uint16_t selector, uint64_t &base) {
    constexpr uint16_t localTable = 4;
    const bool isLocal = (selector & localTable) != 0;
    const uint64_t table = isLocal ? context.ldtBase : context.gdtBase;
    const uint32_t limit = isLocal ? context.ldtLimit : context.gdtLimit;
    const uint32_t offset = selector & ~7u;
    // The first descriptor of the global table is the null one. A task without a local table has a null ldt.
    if ((!isLocal && offset == 0) || (isLocal && (context.ldt & ~3) == 0) || offset + 7 > limit) {
        return SABLE_FAILED;
    }
    LinearSpace space(target, 0);
    if (const int32_t status = space.Open(); status < 0) return status;
    uint64_t descriptor = 0;
    uint32_t done = 0;
    if (const int32_t status = space.Read(table + offset, &descriptor, sizeof descriptor, done); status < 0) {
        return status;
    }
    constexpr uint64_t codeOrData = Bit(44);
    constexpr uint64_t present = Bit(47);
    if (done != sizeof descriptor || (descriptor & codeOrData) == 0 || (descriptor & present) == 0) {
        return SABLE_FAILED;
    }
    base = (descriptor >> 16 & 0xFFFFFF) | (descriptor >> 56 & 0xFF) << 24;
    return SABLE_OK;
}

} // namespace

int32_t FindSegment(Target &target, uint16_t selector, Segment &segment) {
    ktRawContext context = {};
    uint32_t mode = ktSbModeReal;
    if (const int32_t status = target.GetContext(context, neededRegisters, mode); status < 0) return status;

    const bool isFlat = mode == ktSbModeLong64;
    segment = {0, isFlat ? UINT64_MAX : 0xFFFFFFFF};
    for (unsigned index = 0; index < ktSbSegmentCount; ++index) {
        if (context.selector[index] != selector) continue;
        if (!isFlat || index == ktSbFs || index == ktSbGs) segment.base = context.base[index];
        return SABLE_OK;
    }
    if (isFlat) return SABLE_OK;
    if (mode == ktSbModeReal || mode == ktSbModeVirtual8086) {
        segment.base = uint64_t(selector) << 4;
        return SABLE_OK;
    }
    return ReadDescriptor(target, context, selector, segment.base);
}

} // namespace sable
