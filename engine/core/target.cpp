#include "core/target.h"

namespace sable {

ktSbRawState Target::StartState() { return {0, ktSbStopBreakIn}; }

std::optional<ktSbStop> Target::Run() { return ktSbStopException; }
int32_t Target::Go() { return SABLE_NOT_SUPPORTED; }
int32_t Target::BreakIn() { return SABLE_NOT_SUPPORTED; }
int32_t Target::Step(bool, ktSbStop &) { return SABLE_NOT_SUPPORTED; }
int32_t Target::Reboot() { return SABLE_NOT_SUPPORTED; }

int32_t Target::SwitchCpu(uint32_t) { return SABLE_NOT_SUPPORTED; }
int32_t Target::GetCpuInfo(uint8_t &, uint8_t &) { return SABLE_NOT_SUPPORTED; }
int32_t Target::GetContext(ktRawContext &, uint64_t, uint32_t &) { return SABLE_NOT_SUPPORTED; }
int32_t Target::SetContext(const ktRawContext &, uint64_t) { return SABLE_NOT_SUPPORTED; }
int32_t Target::GetPaging(PagingFacts &) { return SABLE_NOT_SUPPORTED; }
int32_t Target::CpuId(uint32_t, uint32_t, ktSbRawCpuId &) { return SABLE_NOT_SUPPORTED; }
int32_t Target::ReadMsr(uint32_t, uint64_t &) { return SABLE_NOT_SUPPORTED; }
int32_t Target::WriteMsr(uint32_t, uint64_t) { return SABLE_NOT_SUPPORTED; }

int32_t Target::ReadIo(uint16_t, uint8_t, uint32_t &) { return SABLE_NOT_SUPPORTED; }
int32_t Target::WriteIo(uint16_t, uint8_t, uint32_t) { return SABLE_NOT_SUPPORTED; }

int32_t Target::ReadPhysical(uint64_t, void *, uint32_t, uint32_t &) { return SABLE_NOT_SUPPORTED; }
int32_t Target::WritePhysical(uint64_t, const void *, uint32_t, uint32_t &) { return SABLE_NOT_SUPPORTED; }
uint64_t Target::NextPhysical(uint64_t address) { return address; }
int32_t Target::ReadMmio(uint64_t, uint8_t, uint64_t &) { return SABLE_NOT_SUPPORTED; }
int32_t Target::WriteMmio(uint64_t, uint8_t, uint64_t) { return SABLE_NOT_SUPPORTED; }

void Target::SetStopQuery(StopQuery *) {}
int32_t Target::AddFetchStop(uint64_t) { return SABLE_NOT_SUPPORTED; }
int32_t Target::RemoveFetchStop(uint64_t) { return SABLE_NOT_SUPPORTED; }

} // namespace sable
