#include "sim/cpuid.h"

namespace sable {

namespace {

struct CpuidRow {
    uint32_t leaf;
    CpuidValues values;
};

constexpr uint32_t Text(const char (&text)[5]) {
    return uint32_t(uint8_t(text[0])) | uint32_t(uint8_t(text[1])) << 8 | uint32_t(uint8_t(text[2])) << 16 |
           uint32_t(uint8_t(text[3])) << 24;
}

constexpr uint32_t highestBasic = 1, highestExtended = 0x80000008;
constexpr uint32_t firstExtended = 0x80000000;

// Family 6, model 1, stepping 0.
constexpr uint32_t signature = 0x610;

// Leaf 1: CMPXCHG16B, POPCNT.
constexpr uint32_t features1c = 1u << 13 | 1u << 23;
// Leaf 1 and, the same bits, 0x80000001: DE, PSE, TSC, MSR, PAE, CMPXCHG8B, APIC, MTRR, PGE, CMOV, PAT,
// PSE36.
constexpr uint32_t featuresCommon = 1u << 2 | 1u << 3 | 1u << 4 | 1u << 5 | 1u << 6 | 1u << 8 | 1u << 9 |
                                    1u << 12 | 1u << 13 | 1u << 15 | 1u << 16 | 1u << 17;
constexpr uint32_t clflushFeature = 1u << 19;
// LAHF in 64-bit code.
constexpr uint32_t featuresExtendedC = 1;
// SYSCALL, NX, pages of 1 GiB, RDTSCP, long mode.
constexpr uint32_t featuresExtendedD = 1u << 11 | 1u << 20 | 1u << 26 | 1u << 27 | 1u << 29;

// Lines of 64 bytes for CLFLUSH, in units of 8.
constexpr uint32_t clflushLine = 8 << 8;
constexpr uint32_t linearAddressBits = 48;

constexpr CpuidRow rows[] = {
    {0, {highestBasic, Text("Sabl"), Text("PC  "), Text("eSim")}},
    {1, {signature, clflushLine, features1c, featuresCommon | clflushFeature}},
    {0x80000000, {highestExtended, Text("Sabl"), Text("PC  "), Text("eSim")}},
    {0x80000001, {signature, 0, featuresExtendedC, featuresCommon | featuresExtendedD}},
    {0x80000002, {Text("Sabl"), Text("eSim"), Text("PC v"), Text("irtu")}},
    {0x80000003, {Text("al p"), Text("roce"), Text("ssor"), 0}},
    {0x80000008, {linearAddressBits << 8 | physicalAddressBits, 0, 0, 0}},
};

} // namespace

CpuidValues GetCpuid(uint32_t leaf, unsigned core) {
    const bool isBeyond = leaf >= firstExtended ? leaf > highestExtended : leaf > highestBasic;
    const uint32_t wanted = isBeyond ? highestBasic : leaf;
    for (const CpuidRow &row : rows) {
        if (row.leaf != wanted) continue;
        CpuidValues values = row.values;
        if (wanted == 1) values.ebx |= core << 24; // number of the local interrupt controller
        return values;
    }
    return {0, 0, 0, 0};
}

} // namespace sable
