#include "core/target_session.h"

#include <utility>

#include "core/segment.h"

namespace sable {

TargetSession::TargetSession(std::unique_ptr<Target> machine, EventSink &events, WorkMonitor &workMonitor)
    : owned(std::move(machine)), eventSink(events), state(owned->StartState()), target(*owned),
      monitor(workMonitor), breakPoints(target) {}

TargetSession::~TargetSession() = default;

void TargetSession::RunSlice() {
    if (const std::optional<ktSbStop> stop = target.Run()) ReportStop(*stop);
}

void TargetSession::ReportStop(ktSbStop stop) {
    state = {0, uint8_t(stop)};
    eventSink.PostEvent(stop);
}

int32_t TargetSession::Go() {
    if (IsRunning()) return SABLE_OK;
    const int32_t status = target.Go();
    if (status >= 0) state.isRunning = 1;
    return status;
}

int32_t TargetSession::BreakIn() {
    if (!IsRunning()) return SABLE_OK;
    const int32_t status = target.BreakIn();
    if (status >= 0) ReportStop(ktSbStopBreakIn);
    return status;
}

int32_t TargetSession::Step(bool ignoreInterrupts) {
    if (IsRunning()) return SABLE_FAILED;
    ktSbStop stop = ktSbStopStep;
    const int32_t status = target.Step(ignoreInterrupts, stop);
    if (status < 0) return status;
    if (stop == ktSbStopStep) {
        state.stopCode = ktSbStopStep;
    } else {
        ReportStop(stop);
    }
    return status;
}

int32_t TargetSession::Reboot() {
    const int32_t status = target.Reboot();
    if (status >= 0) ReportStop(ktSbStopReset);
    return status;
}

int32_t TargetSession::SwitchCpu(uint32_t core) {
    return IsRunning() ? SABLE_FAILED : target.SwitchCpu(core);
}

int32_t TargetSession::GetContext(ktRawContext &context, uint64_t mask, uint32_t &mode) {
    return IsRunning() ? SABLE_FAILED : target.GetContext(context, mask, mode);
}

int32_t TargetSession::SetContext(const ktRawContext &context, uint64_t mask) {
    return IsRunning() ? SABLE_FAILED : target.SetContext(context, mask);
}

int32_t TargetSession::SegmentOf(uint16_t selector, Segment &segment) {
    return IsRunning() ? SABLE_FAILED : FindSegment(target, selector, segment);
}

} // namespace sable
