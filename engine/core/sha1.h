#pragma once

#include <cstdint>

#include "abi/records.h"

namespace sable {

class AddressSpace;
class WorkMonitor;

/// SHA-1 of a range. A digest of less than the range is none: SABLE_FAILED, with `done` bytes before the
/// first that cannot be read, or when nobody waits any more.
int32_t ComputeSha1(AddressSpace &space, uint64_t address, uint32_t size, WorkMonitor &monitor,
                    ktSbRawSha1 &digest, uint32_t &done);

} // namespace sable
