#include "session/raw_context_map.h"

#include "abi/records.h"
#include "session/context.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

constexpr uint64_t sharedBit = uint64_t{1} << 63;

struct Place {
    const char *name;
    uint32_t offset;
    uint32_t width;
};

// By index, from the layout of the record as it is agreed on: offsets are written out, not computed.
constexpr Place places[] = {
    {"rip", 0, 8},          {"cr3", 8, 8},        {"rsp", 16, 8},        {"rax", 24, 8},
    {"rbx", 32, 8},         {"rcx", 40, 8},       {"rdx", 48, 8},        {"rsi", 56, 8},
    {"rdi", 64, 8},         {"rbp", 72, 8},       {"rflags", 80, 8},     {"r8", 88, 8},
    {"r9", 96, 8},          {"r10", 104, 8},      {"r11", 112, 8},       {"r12", 120, 8},
    {"r13", 128, 8},        {"r14", 136, 8},      {"r15", 144, 8},       {"cs", 152, 2},
    {"cs access", 164, 4},  {"cs base", 216, 8},  {"cs limit", 188, 4},  {"ds", 154, 2},
    {"ds access", 168, 4},  {"ds base", 224, 8},  {"ds limit", 192, 4},  {"ss", 156, 2},
    {"ss access", 172, 4},  {"ss base", 232, 8},  {"ss limit", 196, 4},  {"es", 158, 2},
    {"es access", 176, 4},  {"es base", 240, 8},  {"es limit", 200, 4},  {"fs", 160, 2},
    {"fs access", 180, 4},  {"fs base", 248, 8},  {"fs limit", 204, 4},  {"gs", 162, 2},
    {"gs access", 184, 4},  {"gs base", 256, 8},  {"gs limit", 208, 4},  {"cr0", 264, 8},
    {"cr2", 272, 8},        {"cr4", 280, 8},      {"cr8", 288, 8},       {"GDT base", 296, 8},
    {"GDT limit", 312, 2},  {"IDT base", 304, 8}, {"IDT limit", 314, 2}, {"LDT", 316, 2},
    {"LDT access", 320, 4}, {"LDT base", 328, 8}, {"LDT limit", 324, 4}, {"TSS", 318, 2},
    {"TSS access", 336, 4}, {"TSS base", 344, 8}, {"TSS limit", 340, 4}, {"dr0", 352, 8},
    {"dr1", 360, 8},        {"dr2", 368, 8},      {"dr3", 376, 8},       {"dr6", 384, 8},
    {"dr7", 392, 8},
};

static_assert(std::size(places) == 65);

/// A record whose byte n is n, folded.
ktRawContext NumberedBytes() {
    ktRawContext raw;
    auto *bytes = reinterpret_cast<uint8_t *>(&raw);
    for (uint32_t i = 0; i < sizeof(raw); ++i) bytes[i] = static_cast<uint8_t>(i * 7 + 1);
    return raw;
}

uint64_t ValueAt(const ktRawContext &raw, const Place &place) {
    uint64_t value = 0;
    for (uint32_t i = place.width; i > 0; --i)
        value = value << 8 | reinterpret_cast<const uint8_t *>(&raw)[place.offset + i - 1];
    return value;
}

} // namespace

TEST(RawContextMap, EveryRegisterHasItsPlace) {
    for (uint32_t i = 0; i < ktRegisterCount; ++i) {
        EXPECT_EQ(ktFindRawRegister(i).offset, places[i].offset) << places[i].name;
        EXPECT_EQ(ktFindRawRegister(i).width, places[i].width) << places[i].name;
    }
}

TEST(RawContextMap, TakesEachRegisterAloneAndWidensIt) {
    const ktRawContext raw = NumberedBytes();
    for (uint32_t i = 0; i < 63; ++i) {
        ktContext context;
        context.wantedMask = uint64_t{1} << i;
        TakeRegisters(raw, context);
        for (uint32_t other = 0; other < ktRegisterCount; ++other)
            EXPECT_EQ(context.values[other], other == i ? ValueAt(raw, places[i]) : 0) << places[i].name;
        EXPECT_EQ(context.validMask, uint64_t{1} << i);
        EXPECT_TRUE(context.complete);
    }
}

TEST(RawContextMap, PutsEachRegisterAloneAndNarrowsIt) {
    for (uint32_t i = 0; i < 63; ++i) {
        ktContext context;
        context.wantedMask = uint64_t{1} << i;
        for (uint64_t &value : context.values) value = 0xF1E2D3C4B5A69788;
        ktRawContext raw = {};
        PutRegisters(context, raw);
        ktRawContext expected = {};
        std::memcpy(reinterpret_cast<uint8_t *>(&expected) + places[i].offset, &context.values[i],
                    places[i].width);
        EXPECT_EQ(std::memcmp(&raw, &expected, sizeof(raw)), 0) << places[i].name;
    }
}

TEST(RawContextMap, Bit63TakesBothDebugRegistersWithoutCountingThem) {
    const ktRawContext raw = NumberedBytes();
    ktContext context;
    context.wantedMask = sharedBit;
    TakeRegisters(raw, context);
    EXPECT_EQ(context.values[63], raw.dr6);
    EXPECT_EQ(context.values[64], raw.dr7);
    EXPECT_EQ(context.validMask, 0u);
    EXPECT_FALSE(context.complete);
    context.complete = true;
    TakeRegisters(raw, context);
    EXPECT_TRUE(context.complete) << "stays as it was";
}

TEST(RawContextMap, Bit63PutsBothDebugRegisters) {
    ktContext context;
    context.wantedMask = sharedBit;
    context.values[63] = 0x66;
    context.values[64] = 0x77;
    ktRawContext raw = {};
    PutRegisters(context, raw);
    ktRawContext expected = {};
    expected.dr6 = 0x66;
    expected.dr7 = 0x77;
    EXPECT_EQ(std::memcmp(&raw, &expected, sizeof(raw)), 0);
}

TEST(RawContextMap, AWantedBit63LeavesTheContextIncomplete) {
    ktContext context;
    context.wantedMask = ~uint64_t{0};
    TakeRegisters(NumberedBytes(), context);
    EXPECT_EQ(context.validMask, ~sharedBit);
    EXPECT_FALSE(context.complete);
}

TEST(RawContextMap, BitsOfEarlierReadsStay) {
    ktContext context;
    context.wantedMask = 1;
    TakeRegisters(NumberedBytes(), context);
    context.wantedMask = 2;
    TakeRegisters(NumberedBytes(), context);
    EXPECT_EQ(context.validMask, 3u);
    EXPECT_FALSE(context.complete) << "more is valid than was wanted";
}

TEST(RawContextMap, TheDefaultMaskIsCompleteWithoutDebugRegisters) {
    ktContext context;
    TakeRegisters(NumberedBytes(), context);
    EXPECT_EQ(context.validMask, 0x07FFFFFFFFFFFFFFu);
    EXPECT_TRUE(context.complete);
    for (uint32_t i = 59; i < ktRegisterCount; ++i) EXPECT_EQ(context.values[i], 0u);
}

TEST(RawContextMap, AnEmptyMaskChangesNothing) {
    ktContext context;
    context.wantedMask = 0;
    TakeRegisters(NumberedBytes(), context);
    EXPECT_EQ(context.validMask, 0u);
    EXPECT_FALSE(context.complete);
    ktRawContext raw = {};
    const ktRawContext empty = {};
    PutRegisters(context, raw);
    EXPECT_EQ(std::memcmp(&raw, &empty, sizeof(raw)), 0);
}
