// Loading a program with debugging information by 1, 2 and more workers. SABLE_BENCH_PROGRAM names the
// program, for example the one that make_cpp_program.py builds; without it there is nothing to measure.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>

#include "app/task_pool.h"
#include "symbols/load_request.h"
#include "symbols/module_loader.h"
#include "symbols/symbol_factory.h"

namespace {

/// Argument: the number of workers; 0 loads on the calling thread.
void LoadProgram(benchmark::State &state) {
    const char *path = std::getenv("SABLE_BENCH_PROGRAM");
    if (!path) {
        state.SkipWithError("SABLE_BENCH_PROGRAM is not set");
        return;
    }
    ktTaskPool pool;
    const auto workers = static_cast<uint32_t>(state.range(0));
    if (workers && !pool.Start(workers)) {
        state.SkipWithError("no workers");
        return;
    }
    for (auto _ : state) {
        ktSymbolFactory factory;
        ktLoadRequest request;
        request.factory = &factory;
        request.pool = workers ? &pool : nullptr;
        request.parallel = workers != 0;
        if (!LoadFromFile(request, path)) state.SkipWithError("not loaded");
        state.PauseTiming(); // giving everything back is no part of a load
        request.module.Reset();
        state.ResumeTiming();
    }
}
BENCHMARK(LoadProgram)->Arg(0)->Arg(1)->Arg(2)->Arg(4)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
