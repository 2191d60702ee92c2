// Commands through the whole program against the simulated PC: command, session, binding, engine and machine.

#include "app/log_lines.h"
#include "platform/thread.h"
#include "support/live_app.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

constexpr char linearDump[] = "db FFFF800000200000 10000";

/// A session with the kernel's page tables in use. False when there is none.
bool ConnectToKernel(ktLiveApp &live) {
    if (!live.IsReady() || live.Execute("connect sable local") != ktCmdOk) return false;
    if (live.Execute("g") != ktCmdOk) return false;
    SleepMilliseconds(1000); // boots in less
    return live.Execute("break") == ktCmdOk;
}

void Clear(ktApp &app) {
    app.outputLines->LockExclusive();
    app.outputLines->Clear();
    app.outputLines->UnlockExclusive();
}

void Connect(benchmark::State &state) {
    ktLiveApp live;
    for (auto _ : state) {
        if (!live.IsReady() || live.Execute("connect sable local") != ktCmdOk) {
            state.SkipWithError("no engine library");
            break;
        }
        state.PauseTiming();
        live.Execute("disconnect");
        state.ResumeTiming();
    }
}
BENCHMARK(Connect)->Unit(benchmark::kMillisecond)->UseRealTime();

void Trace(benchmark::State &state) {
    ktLiveApp live;
    if (!ConnectToKernel(live)) state.SkipWithError("no target");
    const std::string line = "t " + std::to_string(state.range(0));
    for (auto _ : state) {
        if (live.Execute(line) != ktCmdOk) state.SkipWithError("a step failed");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Trace)->Arg(1)->Arg(10000)->Unit(benchmark::kMicrosecond)->UseRealTime();

/// 64 KiB, the pages in the cache of the address space or not.
void Dump(benchmark::State &state) {
    ktLiveApp live;
    if (!ConnectToKernel(live)) state.SkipWithError("no target");
    const bool isCold = state.range(0) != 0;
    live.Execute(linearDump);
    for (auto _ : state) {
        state.PauseTiming();
        if (isCold) live.app->session->DropPageCache();
        Clear(*live.app);
        state.ResumeTiming();
        if (live.Execute(linearDump) != ktCmdOk) state.SkipWithError("the dump failed");
    }
}
BENCHMARK(Dump)->ArgName("cold")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
