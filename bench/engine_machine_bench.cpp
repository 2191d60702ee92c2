#include <chrono>
#include <string>

#include <benchmark/benchmark.h>

#include "core/interface_name.h"
#include "core/target_factory.h"
#include "support/machine_rig.h"

namespace {

using namespace sable;

uint64_t Executed(Machine &machine) { return machine.Core(0).Executed() + machine.Core(1).Executed(); }

// The demo guest with its devices and both cores busy, and with 100 breakpoints that are not reached. Items
// are instructions.
void BM_Machine(benchmark::State &state) {
    MachineRig rig;
    if (!rig.RunUntil("second: step 16,")) state.SkipWithError("the guest does not boot");
    for (int64_t n = 0; n < state.range(0); ++n)
        rig.machine.Memory().AddBreak(0x110000 + uint64_t(n) * 96 + 1);
    const uint64_t before = Executed(rig.machine);
    for (auto _ : state) rig.machine.Run(1000000);
    state.SetItemsProcessed(int64_t(Executed(rig.machine) - before));
}
BENCHMARK(BM_Machine)->Arg(0)->Arg(100)->Unit(benchmark::kMillisecond);

// From the reset to the last line of the guest's start.
void BM_Boot(benchmark::State &state) {
    for (auto _ : state) {
        MachineRig rig;
        if (!rig.RunUntil("kernel: process 2 is second\n")) state.SkipWithError("the guest does not boot");
    }
}
BENCHMARK(BM_Boot)->Unit(benchmark::kMillisecond);

// What a break-in or another request waits for.
void BM_RunMoment(benchmark::State &state) {
    TextKeeper keeper;
    const auto target = MakeTarget({}, keeper);
    target->Go();
    while (!keeper.Has("second: step 16,")) target->Run();
    for (auto _ : state) target->Run();
}
BENCHMARK(BM_RunMoment)->Unit(benchmark::kMicrosecond);

void BM_Step(benchmark::State &state) {
    TextKeeper keeper;
    const auto target = MakeTarget({}, keeper);
    target->Go();
    while (!keeper.Has("second: step 16,")) target->Run();
    target->SwitchCpu(1);
    for (auto _ : state) {
        ktSbStop stop = ktSbStopStep;
        target->Step(true, stop);
    }
}
BENCHMARK(BM_Step);

void BM_Make(benchmark::State &state) {
    TextKeeper keeper;
    for (auto _ : state) benchmark::DoNotOptimize(MakeTarget({}, keeper));
}
BENCHMARK(BM_Make)->Unit(benchmark::kMicrosecond);

} // namespace
