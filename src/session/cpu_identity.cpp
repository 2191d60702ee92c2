#include "session/cpu_identity.h"

#include "session/dbg_eng.h"

#include <cstring>

namespace {

constexpr uint32_t firstBrandLeaf = 0x80000002;
constexpr uint32_t addressSizeLeaf = 0x80000008;

} // namespace

bool ktCpuIdentity::Read() {
    if (ready) return true;
    if (!engine) return false;
    uint32_t words[4] = {};
    constexpr uint32_t brandLeaves = sizeof(brand) / sizeof(words);
    for (uint32_t i = 0; i < brandLeaves; ++i) {
        if (engine->CpuId(firstBrandLeaf + i, 0, words) < 0) return false;
        std::memcpy(brand + i * sizeof(words), words, sizeof(words));
    }
    if (engine->CpuId(addressSizeLeaf, 0, words) < 0) return false;
    virtualAddressBits = words[0] >> 8 & 0xFF;
    physicalAddressBits = words[0] & 0xFF;
    return true;
}
