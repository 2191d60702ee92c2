#pragma once

#include "core/target.h"
#include "sim/machine.h"

namespace sable {

/// The simulated PC as a target. A step is one of the current core; the other one stands still meanwhile.
class SimTarget final : public Target, private BreakCheck {
public:
    /// `image` and `sink` outlive this. RAM that the host does not have is std::bad_alloc.
    SimTarget(uint64_t ramBytes, std::span<const uint8_t> image, RawDataSink &sink);

    std::optional<ktSbStop> Run() override;
    int32_t Go() override;
    int32_t BreakIn() override;
    int32_t Step(bool ignoreInterrupts, ktSbStop &stop) override;
    int32_t Reboot() override;

    int32_t SwitchCpu(uint32_t core) override;
    int32_t GetCpuInfo(uint8_t &currentCore, uint8_t &coreCount) override;
    int32_t GetContext(ktRawContext &context, uint64_t mask, uint32_t &mode) override;
    /// A new instruction pointer ends a HLT.
    int32_t SetContext(const ktRawContext &context, uint64_t mask) override;
    int32_t GetPaging(PagingFacts &facts) override;
    int32_t CpuId(uint32_t leaf, uint32_t subleaf, ktSbRawCpuId &result) override;
    int32_t ReadMsr(uint32_t number, uint64_t &value) override;
    int32_t WriteMsr(uint32_t number, uint64_t value) override;

    /// What these ask of the machine as a whole, such as a reset, happens at the next Run or Step.
    int32_t ReadIo(uint16_t port, uint8_t width, uint32_t &value) override;
    int32_t WriteIo(uint16_t port, uint8_t width, uint32_t value) override;
    int32_t ReadMmio(uint64_t physical, uint8_t width, uint64_t &value) override;
    int32_t WriteMmio(uint64_t physical, uint8_t width, uint64_t value) override;

    int32_t ReadPhysical(uint64_t address, void *buffer, uint32_t size, uint32_t &done) override;
    int32_t WritePhysical(uint64_t address, const void *buffer, uint32_t size, uint32_t &done) override;
    uint64_t NextPhysical(uint64_t address) override;

    void SetStopQuery(StopQuery *query) override;
    int32_t AddFetchStop(uint64_t physical) override;
    int32_t RemoveFetchStop(uint64_t physical) override;

private:
    bool ShouldStop(unsigned core, uint64_t root, uint64_t linear, uint64_t physical, uint64_t rip) override;
    std::optional<ktSbStop> Note(const Machine::Result &result);
    Cpu &Current() { return machine.Core(current); }

    Machine machine;
    StopQuery *stopQuery = nullptr;
    unsigned current = 0;
};

} // namespace sable
