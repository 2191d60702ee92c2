#pragma once

#include <cstdint>
#include <string>

/// Facts about this machine, replaceable in tests.
class ktHost {
public:
    virtual ~ktHost() = default;
    /// Total physical memory in bytes; false when the system does not tell.
    virtual bool PhysicalMemory(uint64_t &bytes) = 0;
    /// Processors that are online, at least 1.
    virtual uint32_t ProcessorCount() = 0;
    /// CPUID on the processor that runs this thread. False, with zeros, on a processor without it.
    virtual bool CpuId(uint32_t leaf, uint32_t subleaf, uint32_t out[4]) = 0;
};

/// The machine that runs this process. Lives for the whole process.
ktHost &SystemHost();

/// The calling thread's last system error code.
uint32_t LastSystemError();
void SetLastSystemError(uint32_t error);

/// The entry's command line in the system's narrow text. False when null or not convertible.
bool CommandLineToNarrow(const char *commandLine, std::string &out);
