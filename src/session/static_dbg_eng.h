#pragma once

#include "session/dbg_eng.h"

class ktHost;

/// The engine without a target: symbol work on files. It connects at once, and has nothing else to offer
/// than the CPUID of this machine.
class ktStaticDbgEng final : public ktDbgEng {
public:
    /// `newHost` must outlive the engine.
    explicit ktStaticDbgEng(ktHost &newHost) : host(newHost) {}

    ktStatus Connect(uint32_t transport, const char *address) override;
    ktStatus SetEventCallback(ktEventCallback callback, void *context) override;
    ktStatus Ping() override;
    ktStatus Go() override;
    ktStatus BreakIn() override;
    ktStatus Step(bool ignoreInterrupts) override;
    ktStatus Reboot() override;
    ktStatus GetStateInfo(ktStopState *state) override;
    ktStatus SwitchCpu(uint64_t core) override;
    ktStatus GetCpuInfo(uint64_t *currentCore, uint64_t *coreCount) override;
    ktStatus GetContext(ktContext *context) override;
    ktStatus SetContext(const ktContext *context) override;
    /// Executes CPUID on the host; zeros where it has none. Always 0.
    ktStatus CpuId(uint32_t leaf, uint32_t subleaf, uint32_t out[4]) override;
    ktStatus ReadTarget(ktAddress &address, void *buffer, uint64_t size, uint64_t *done) override;
    ktStatus WriteTarget(ktAddress &address, const void *buffer, uint64_t size, uint64_t *done) override;
    ktStatus WalkPage(const ktAddress &address, ktPageWalkResult *result) override;
    ktStatus ToPhysical(const ktAddress &address, uint64_t *physical) override;
    ktStatus SearchMemory(const ktAddress &start, const uint64_t *end, const void *pattern,
                          uint32_t patternSize, uint32_t step, ktAddress *hit) override;
    ktStatus ComputeSha1(const ktAddress &address, uint8_t (&digest)[20], uint64_t size,
                         uint64_t *done) override;
    ktStatus SetLogSink(ktLines *sink) override;
    uint32_t GetEngineType() override;

private:
    ktHost &host;
};
