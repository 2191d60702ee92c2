#pragma once

#include <cstdint>
#include <memory>

#include "core/break_point_table.h"
#include "core/target.h"

namespace sable {

struct Segment;

/// Where stops are reported that nobody waits for. Any thread; never waits.
class EventSink {
public:
    virtual void PostEvent(ktSbStop stop) = 0;

protected:
    ~EventSink() = default;
};

/// A target while an engine talks to it: what it does, and its breakpoints. Target's thread.
///
/// Registers belong to a stopped machine: while it runs, what is about them is SABLE_FAILED.
class TargetSession {
public:
    /// Takes a target. `events` and `workMonitor` outlive this.
    TargetSession(std::unique_ptr<Target> machine, EventSink &events, WorkMonitor &workMonitor);
    ~TargetSession();
    TargetSession(const TargetSession &) = delete;
    TargetSession &operator=(const TargetSession &) = delete;

    bool IsRunning() const { return state.isRunning != 0; }
    ktSbRawState State() const { return state; }
    /// Lets a running machine run for a moment, and reports the stop if it stopped.
    void RunSlice();
    /// The machine is stopped from now on, and that is reported.
    void ReportStop(ktSbStop stop);

    /// Nothing to do for a machine that runs.
    int32_t Go();
    /// Nothing to do for a machine that is stopped: its stop code stays, and there is no event.
    int32_t BreakIn();
    /// The step has ended at the return, so that only a stop for another reason is an event.
    int32_t Step(bool ignoreInterrupts);
    int32_t Reboot();
    int32_t SwitchCpu(uint32_t core);
    int32_t GetContext(ktRawContext &context, uint64_t mask, uint32_t &mode);
    int32_t SetContext(const ktRawContext &context, uint64_t mask);
    /// How addresses of a selector become linear.
    int32_t SegmentOf(uint16_t selector, Segment &segment);

private:
    const std::unique_ptr<Target> owned;
    EventSink &eventSink;
    ktSbRawState state;

public:
    Target &target;
    WorkMonitor &monitor;
    BreakPointTable breakPoints;
};

} // namespace sable
