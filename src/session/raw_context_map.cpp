#include "session/raw_context_map.h"

#include "abi/records.h"
#include "session/context.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <iterator>

// Fields of every width are copied from and to the low bytes of a value.
static_assert(std::endian::native == std::endian::little);

namespace {

#define SABLE_FIELD(name) {uint16_t(offsetof(ktRawContext, name)), uint8_t(sizeof(ktRawContext::name))}
#define SABLE_SEGMENT(n)                                                                                     \
    SABLE_FIELD(selector[n]), SABLE_FIELD(access[n]), SABLE_FIELD(base[n]), SABLE_FIELD(limit[n])

// clang-format off
constexpr ktRawRegister registers[] = {
    // 0: rip, cr3, rsp
    SABLE_FIELD(rip), SABLE_FIELD(cr3), SABLE_FIELD(rsp),
    // 3: rax to rbp
    SABLE_FIELD(rax), SABLE_FIELD(rbx), SABLE_FIELD(rcx), SABLE_FIELD(rdx),
    SABLE_FIELD(rsi), SABLE_FIELD(rdi), SABLE_FIELD(rbp),
    // 10: rflags
    SABLE_FIELD(rflags),
    // 11: r8 to r15
    SABLE_FIELD(r8), SABLE_FIELD(r9), SABLE_FIELD(r10), SABLE_FIELD(r11),
    SABLE_FIELD(r12), SABLE_FIELD(r13), SABLE_FIELD(r14), SABLE_FIELD(r15),
    // 19: selector, access, base, limit of cs, ds, ss, es, fs, gs
    SABLE_SEGMENT(ktSbCs), SABLE_SEGMENT(ktSbDs), SABLE_SEGMENT(ktSbSs),
    SABLE_SEGMENT(ktSbEs), SABLE_SEGMENT(ktSbFs), SABLE_SEGMENT(ktSbGs),
    // 43: control registers
    SABLE_FIELD(cr0), SABLE_FIELD(cr2), SABLE_FIELD(cr4), SABLE_FIELD(cr8),
    // 47: base and limit of GDT and IDT
    SABLE_FIELD(gdtBase), SABLE_FIELD(gdtLimit), SABLE_FIELD(idtBase), SABLE_FIELD(idtLimit),
    // 51: selector, access, base, limit of LDT and TSS
    SABLE_FIELD(ldt), SABLE_FIELD(ldtAccess), SABLE_FIELD(ldtBase), SABLE_FIELD(ldtLimit),
    SABLE_FIELD(tss), SABLE_FIELD(tssAccess), SABLE_FIELD(tssBase), SABLE_FIELD(tssLimit),
    // 59: debug registers
    SABLE_FIELD(dr0), SABLE_FIELD(dr1), SABLE_FIELD(dr2), SABLE_FIELD(dr3), SABLE_FIELD(dr6), SABLE_FIELD(dr7),
};
// clang-format on

#undef SABLE_SEGMENT
#undef SABLE_FIELD

constexpr uint32_t sharedBit = 63; // stands for this register and the next

/// True when each byte of the record but its reserved ones belongs to exactly one register.
constexpr bool CoversTheRecord() {
    uint8_t uses[sizeof(ktRawContext)] = {};
    for (const ktRawRegister &place : registers)
        for (uint32_t i = 0; i < place.width; ++i) ++uses[place.offset + i];
    for (uint32_t i = 0; i < sizeof(ktRawContext); ++i) {
        const uint32_t reserved = offsetof(ktRawContext, reserved);
        const bool isReserved = i >= reserved && i < reserved + sizeof(ktRawContext::reserved);
        if (uses[i] != (isReserved ? 0 : 1)) return false;
    }
    return true;
}

static_assert(std::size(registers) == ktRegisterCount);
static_assert(registers[ktRegIp].offset == offsetof(ktRawContext, rip));
static_assert(registers[ktRegCr3].offset == offsetof(ktRawContext, cr3));
static_assert(registers[ktRegSp].offset == offsetof(ktRawContext, rsp));
static_assert(registers[ktRegCs].offset == offsetof(ktRawContext, selector));
static_assert(registers[ktRegCsBase].offset == offsetof(ktRawContext, base));
static_assert(registers[ktRegSs].offset == offsetof(ktRawContext, selector[ktSbSs]));
static_assert(CoversTheRecord());

uint64_t Take(const ktRawContext &raw, uint32_t index) {
    uint64_t value = 0;
    std::memcpy(&value, reinterpret_cast<const uint8_t *>(&raw) + registers[index].offset,
                registers[index].width);
    return value;
}

void Put(ktRawContext &raw, uint32_t index, uint64_t value) {
    std::memcpy(reinterpret_cast<uint8_t *>(&raw) + registers[index].offset, &value, registers[index].width);
}

} // namespace

const ktRawRegister &ktFindRawRegister(uint32_t index) { return registers[index]; }

void TakeRegisters(const ktRawContext &raw, ktContext &context) {
    for (uint32_t i = 0; i < sharedBit; ++i) {
        if (!(context.wantedMask >> i & 1)) continue;
        context.values[i] = Take(raw, i);
        context.validMask |= uint64_t{1} << i;
        context.complete = context.validMask == context.wantedMask;
    }
    if (!(context.wantedMask >> sharedBit & 1)) return;
    context.values[sharedBit] = Take(raw, sharedBit);
    context.values[sharedBit + 1] = Take(raw, sharedBit + 1);
}

void PutRegisters(const ktContext &context, ktRawContext &raw) {
    for (uint32_t i = 0; i < ktRegisterCount; ++i) {
        if (context.wantedMask >> std::min(i, sharedBit) & 1) Put(raw, i, context.values[i]);
    }
}
