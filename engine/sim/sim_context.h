#pragma once

#include <cstdint>

#include "abi/records.h"

namespace sable {

struct Registers;

/// What a debugger sees of a processor's registers. `mode` is a ktSbMode.
void ExportRegisters(const Registers &registers, ktRawContext &context, uint32_t &mode);

/// Sets the registers in `mask` (ktSbRegister). False, with nothing changed, when the processor would not be
/// able to have these values: unknown bits in control registers, paging without protected mode, virtual 8086
/// mode, a root beyond the physical addresses. Bits of the flags and of debug registers that are fixed stay
/// so.
bool ImportRegisters(const ktRawContext &context, uint64_t mask, Registers &registers);

} // namespace sable
