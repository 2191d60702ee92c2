#include "sim/sim_target.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <thread>

#include "sim/cpuid.h"
#include "sim/msr.h"
#include "sim/sim_context.h"

namespace sable {

namespace {

/// Machine time of one Run: about a third of a millisecond, so that a break-in does not wait.
constexpr uint64_t runUnits = 8000;
/// Sleeps below this are not worth their cost.
constexpr auto shortestSleep = std::chrono::microseconds(50);

constexpr uint64_t Bit(unsigned index) { return uint64_t(1) << index; }

bool IsWidth(uint8_t width, unsigned widest) {
    return width != 0 && width <= widest && (width & (width - 1)) == 0;
}

/// An idle machine is as slow as a real one and leaves the host alone.
void Sleep(uint64_t idleUnits) {
    constexpr uint64_t million = 1000000;
    const auto time = std::chrono::microseconds(idleUnits * million / Machine::unitsPerSecond);
    if (time >= shortestSleep) std::this_thread::sleep_for(time);
}

} // namespace

SimTarget::SimTarget(uint64_t ramBytes, std::span<const uint8_t> image, RawDataSink &sink)
    : machine(ramBytes, image, sink) {
    if (machine.Memory().Size() < ramBytes) throw std::bad_alloc();
    for (unsigned core = 0; core < Machine::coreCount; ++core) machine.Core(core).SetBreakCheck(this);
}

// Why the machine has stopped, if it has.
std::optional<ktSbStop> SimTarget::Note(const Machine::Result &result) {
    if (result.stop == MachineStop::none) return std::nullopt;
    machine.Devices().Text().Flush();
    if (result.stop != MachineStop::halted) current = result.core;
    switch (result.stop) {
    case MachineStop::breakPoint:
        return ktSbStopBreakPoint;
    case MachineStop::reset:
        return ktSbStopReset;
    default:
        return ktSbStopException;
    }
}

std::optional<ktSbStop> SimTarget::Run() {
    const Machine::Result result = machine.Run(runUnits);
    const std::optional<ktSbStop> stop = Note(result);
    if (stop) return stop;
    machine.Devices().Text().FlushIfQuiet();
    Sleep(result.idle);
    return std::nullopt;
}

int32_t SimTarget::Go() {
    machine.PassBreakOnce(current);
    return SABLE_OK;
}

int32_t SimTarget::BreakIn() {
    machine.Devices().Text().Flush();
    return SABLE_OK;
}

int32_t SimTarget::Step(bool ignoreInterrupts, ktSbStop &stop) {
    const Interrupts interrupts = ignoreInterrupts ? Interrupts::holdBack : Interrupts::deliver;
    if (const std::optional<ktSbStop> other = Note(machine.Step(current, interrupts))) stop = *other;
    machine.Devices().Text().Flush();
    return SABLE_OK;
}

int32_t SimTarget::Reboot() {
    machine.Devices().Text().Flush();
    machine.Reset();
    current = 0;
    return SABLE_OK;
}

int32_t SimTarget::SwitchCpu(uint32_t core) {
    if (core >= Machine::coreCount) return SABLE_BAD_ARGUMENT;
    current = core;
    return SABLE_OK;
}

int32_t SimTarget::GetCpuInfo(uint8_t &currentCore, uint8_t &coreCount) {
    currentCore = uint8_t(current);
    coreCount = Machine::coreCount;
    return SABLE_OK;
}

int32_t SimTarget::GetContext(ktRawContext &context, uint64_t, uint32_t &mode) {
    ExportRegisters(Current().registers, context, mode);
    return SABLE_OK;
}

int32_t SimTarget::SetContext(const ktRawContext &context, uint64_t mask) {
    Cpu &cpu = Current();
    if (!ImportRegisters(context, mask, cpu.registers)) return SABLE_BAD_ARGUMENT;
    if ((mask & Bit(ktSbRegRip)) != 0) cpu.SetHalted(false);
    machine.Devices().TaskPriorityChanged(current, unsigned(cpu.registers.cr8));
    cpu.Refresh();
    return SABLE_OK;
}

int32_t SimTarget::GetPaging(PagingFacts &facts) {
    const Registers &r = Current().registers;
    const bool isPaged = (r.cr0 & cr0Pg) != 0;
    facts.mode = !isPaged                      ? ktSbPagingNone
                 : (r.msr.efer & eferLma) != 0 ? ktSbPaging4Level
                 : (r.cr4 & cr4Pae) != 0       ? ktSbPagingPae
                                               : ktSbPaging32;
    facts.hasLargePages = (r.cr4 & cr4Pse) != 0;
    facts.hasGigabytePages = true;
    facts.physicalBits = physicalAddressBits;
    facts.root = r.cr3;
    return SABLE_OK;
}

int32_t SimTarget::CpuId(uint32_t leaf, uint32_t, ktSbRawCpuId &result) {
    const CpuidValues values = GetCpuid(leaf, current);
    result = {values.eax, values.ebx, values.ecx, values.edx};
    return SABLE_OK;
}

int32_t SimTarget::ReadMsr(uint32_t number, uint64_t &value) {
    Cpu &cpu = Current();
    return sable::ReadMsr(cpu, number, cpu.Now(), value) ? SABLE_OK : SABLE_FAILED;
}

int32_t SimTarget::WriteMsr(uint32_t number, uint64_t value) {
    Cpu &cpu = Current();
    return sable::WriteMsr(cpu, number, cpu.Now(), value) ? SABLE_OK : SABLE_FAILED;
}

int32_t SimTarget::ReadIo(uint16_t port, uint8_t width, uint32_t &value) {
    if (!IsWidth(width, 4)) return SABLE_BAD_ARGUMENT;
    value = machine.Devices().ReadPort(current, port, width);
    return SABLE_OK;
}

int32_t SimTarget::WriteIo(uint16_t port, uint8_t width, uint32_t value) {
    if (!IsWidth(width, 4)) return SABLE_BAD_ARGUMENT;
    machine.Devices().WritePort(current, port, width, value);
    machine.Devices().Text().Flush();
    return SABLE_OK;
}

int32_t SimTarget::ReadMmio(uint64_t physical, uint8_t width, uint64_t &value) {
    if (!IsWidth(width, 8) || physical % width != 0) return SABLE_BAD_ARGUMENT;
    value = 0;
    if (!machine.Memory().Read(physical, &value, width))
        value = machine.Devices().ReadDevice(current, physical, width);
    return SABLE_OK;
}

int32_t SimTarget::WriteMmio(uint64_t physical, uint8_t width, uint64_t value) {
    if (!IsWidth(width, 8) || physical % width != 0) return SABLE_BAD_ARGUMENT;
    if (machine.Memory().Write(physical, &value, width)) {
        machine.Refresh();
    } else {
        const uint64_t mask = ~uint64_t(0) >> (64 - 8 * width);
        machine.Devices().WriteDevice(current, physical, width, value & mask);
    }
    return SABLE_OK;
}

int32_t SimTarget::ReadPhysical(uint64_t address, void *buffer, uint32_t size, uint32_t &done) {
    const uint64_t end = machine.Memory().Size();
    done = address < end ? uint32_t(std::min<uint64_t>(size, end - address)) : 0;
    machine.Memory().Read(address, buffer, done);
    return done == size ? SABLE_OK : SABLE_FAILED;
}

int32_t SimTarget::WritePhysical(uint64_t address, const void *buffer, uint32_t size, uint32_t &done) {
    const uint64_t end = machine.Memory().Size();
    done = address < end ? uint32_t(std::min<uint64_t>(size, end - address)) : 0;
    if (done != 0) {
        machine.Memory().Write(address, buffer, done);
        machine.Refresh();
    }
    return done == size ? SABLE_OK : SABLE_FAILED;
}

uint64_t SimTarget::NextPhysical(uint64_t address) {
    return machine.Memory().Holds(address) ? address : ~uint64_t(0);
}

void SimTarget::SetStopQuery(StopQuery *query) { stopQuery = query; }

int32_t SimTarget::AddFetchStop(uint64_t physical) {
    machine.Memory().AddBreak(physical);
    return SABLE_OK;
}

int32_t SimTarget::RemoveFetchStop(uint64_t physical) {
    machine.Memory().RemoveBreak(physical);
    return SABLE_OK;
}

bool SimTarget::ShouldStop(unsigned, uint64_t root, uint64_t linear, uint64_t physical, uint64_t rip) {
    return stopQuery != nullptr && stopQuery->ShouldStop(root, linear, physical, rip);
}

} // namespace sable
