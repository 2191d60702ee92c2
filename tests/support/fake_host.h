#pragma once

#include "platform/host.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <utility>

/// A machine as a test wants it.
class ktFakeHost final : public ktHost {
public:
    bool PhysicalMemory(uint64_t &bytes) override {
        bytes = memoryKnown ? memory : 0;
        return memoryKnown;
    }

    uint32_t ProcessorCount() override { return processors; }

    bool CpuId(uint32_t leaf, uint32_t subleaf, uint32_t out[4]) override {
        std::fill_n(out, 4, 0);
        if (!hasCpuId) return false;
        const auto found = cpuId.find({leaf, subleaf});
        if (found != cpuId.end()) std::copy(found->second.begin(), found->second.end(), out);
        return true;
    }

    uint64_t memory = uint64_t(8) << 30;
    bool memoryKnown = true;
    uint32_t processors = 4;
    bool hasCpuId = true;
    std::map<std::pair<uint32_t, uint32_t>, std::array<uint32_t, 4>> cpuId; ///< by leaf and subleaf
};
