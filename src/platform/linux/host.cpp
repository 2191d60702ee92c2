#include "platform/host.h"

#include <cerrno>
#include <cpuid.h>
#include <sys/sysinfo.h>
#include <unistd.h>

namespace {

class LinuxHost final : public ktHost {
public:
    bool PhysicalMemory(uint64_t &bytes) override {
        struct sysinfo facts = {};
        bytes = 0;
        if (sysinfo(&facts) != 0) return false;
        bytes = uint64_t(facts.totalram) * facts.mem_unit;
        return true;
    }

    uint32_t ProcessorCount() override {
        const long online = sysconf(_SC_NPROCESSORS_ONLN);
        return online < 1 ? 1 : static_cast<uint32_t>(online);
    }

    bool CpuId(uint32_t leaf, uint32_t subleaf, uint32_t out[4]) override {
        out[0] = out[1] = out[2] = out[3] = 0;
        if (__get_cpuid_max(0, nullptr) == 0) return false;
        __cpuid_count(leaf, subleaf, out[0], out[1], out[2], out[3]);
        return true;
    }
};

} // namespace

ktHost &SystemHost() {
    // Never destroyed: others may need it while the process ends.
    static LinuxHost &instance = *new LinuxHost;
    return instance;
}

uint32_t LastSystemError() { return static_cast<uint32_t>(errno); }

void SetLastSystemError(uint32_t error) { errno = static_cast<int>(error); }

bool CommandLineToNarrow(const char *commandLine, std::string &out) {
    out.clear();
    if (!commandLine) {
        errno = EINVAL; // what the caller reports
        return false;
    }
    out = commandLine;
    return true;
}
