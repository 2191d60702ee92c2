#pragma once

#include <cstdint>

struct ktContext;
struct ktRawContext;

/// Where a register of ktContext stands in ktRawContext.
struct ktRawRegister {
    uint16_t offset; ///< bytes
    uint8_t width;   ///< bytes: 2, 4 or 8
};

/// The place of register `index`, below ktRegisterCount.
const ktRawRegister &ktFindRawRegister(uint32_t index);

/// Takes the registers that `context.wantedMask` names. Bits of earlier reads stay in `context.validMask`.
/// Bit 63 gives its two registers, and is never counted: `context.complete` stays as the others left it.
void TakeRegisters(const ktRawContext &raw, ktContext &context);
/// Puts the registers that `context.wantedMask` names, cut to their widths.
void PutRegisters(const ktContext &context, ktRawContext &raw);
