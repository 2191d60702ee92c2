#pragma once

#include <cstdint>

namespace sable {

struct CpuidValues {
    uint32_t eax, ebx, ecx, edx;
};

constexpr unsigned physicalAddressBits = 40;

/// What CPUID shows on processor `core`. A leaf above the highest is answered as the highest basic leaf; all
/// 0 stands for a leaf without content. No leaf has more than one part.
CpuidValues GetCpuid(uint32_t leaf, unsigned core);

} // namespace sable
