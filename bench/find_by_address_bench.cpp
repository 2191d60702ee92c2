// FindByAddress and Update in a module of 300,000 functions. The counter median_ns is the median of single,
// separately timed look-ups; allocs is what all of them together allocated.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>
#include <vector>

#include "commands/cmd_line.h"
#include "support/allocation_count.h"
#include "support/command_session.h"
#include "support/symbol_builder.h"
#include "symbols/location.h"
#include "symbols/location_cmds.h"

namespace {

constexpr uint64_t functionCount = 300000;
constexpr uint64_t functionSize = 64;
constexpr uint64_t base = 0x400000;

/// `unitCount` units share the functions; every tenth function has an inlined call in its middle.
void Fill(ktSymbolBuilder &builder, ktSpace &space, uint64_t unitCount) {
    ktModule *module = builder.AddModule("big", base, functionCount * functionSize);
    ktCompUnit *unit = nullptr;
    for (uint64_t i = 0; i < functionCount; ++i) {
        if (i % (functionCount / unitCount) == 0) {
            unit = builder.AddUnit(module, ("source/unit_" + std::to_string(i) + ".c").c_str());
        }
        const uint64_t start = base + i * functionSize;
        const std::string name = "function_with_a_name_of_usual_length_" + std::to_string(i);
        if (i % 10 == 0) builder.AddInlined(unit, ("inlined_" + name).c_str(), {{start + 16, 16}});
        builder.AddFunction(unit, name.c_str(), {{start, functionSize - 8}});
    }
    builder.Publish(space, module);
}

std::unique_ptr<ktSpace> MakeSpace(uint64_t unitCount) {
    auto space = std::make_unique<ktSpace>(0, nullptr);
    ktSymbolBuilder builder;
    Fill(builder, *space, unitCount);
    return space;
}

std::vector<uint64_t> Addresses(uint64_t step) {
    std::mt19937_64 random(1);
    std::vector<uint64_t> addresses(100000);
    uint64_t next = base;
    for (uint64_t &address : addresses) {
        address = step ? next += step : base + random() % (functionCount * functionSize);
    }
    return addresses;
}

/// Times each call of `lookUp` on its own.
template <class LookUp>
void Measure(benchmark::State &state, const std::vector<uint64_t> &addresses, LookUp lookUp) {
    using Clock = std::chrono::steady_clock;
    std::vector<double> times(addresses.size());
    uint64_t allocated = 0;
    for (const uint64_t address : addresses) lookUp(address); // buffers get their size
    for (auto unused : state) {
        static_cast<void>(unused);
        const uint64_t before = AllocationCount();
        for (size_t i = 0; i < addresses.size(); ++i) {
            const auto start = Clock::now();
            lookUp(addresses[i]);
            times[i] = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
        }
        allocated += AllocationCount() - before;
    }
    const auto middle = times.begin() + static_cast<ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    state.counters["median_ns"] = *middle;
    state.counters["allocs"] = static_cast<double>(allocated);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * addresses.size()));
}

void FindByAddressRandom(benchmark::State &state) {
    const auto space = MakeSpace(static_cast<uint64_t>(state.range(0)));
    ktLocationList results;
    Measure(state, Addresses(0), [&](uint64_t address) {
        results.clear();
        benchmark::DoNotOptimize(FindByAddress(*space, results, address));
    });
}
BENCHMARK(FindByAddressRandom)->Arg(1)->Arg(1000)->Arg(30000)->Unit(benchmark::kMillisecond);

void UpdateAllStepping(benchmark::State &state) {
    const auto space = MakeSpace(static_cast<uint64_t>(state.range(0)));
    ktLocationList results;
    FindByAddress(*space, results, base);
    Measure(state, Addresses(4),
            [&](uint64_t address) { benchmark::DoNotOptimize(UpdateAll(*space, &results, address)); });
}
BENCHMARK(UpdateAllStepping)->Arg(1)->Arg(1000)->Unit(benchmark::kMillisecond);

void UpdateAllRandom(benchmark::State &state) {
    const auto space = MakeSpace(static_cast<uint64_t>(state.range(0)));
    ktLocationList results;
    FindByAddress(*space, results, base);
    Measure(state, Addresses(0),
            [&](uint64_t address) { benchmark::DoNotOptimize(UpdateAll(*space, &results, address)); });
}
BENCHMARK(UpdateAllRandom)->Arg(1)->Arg(1000)->Unit(benchmark::kMillisecond);

void SearchByName(benchmark::State &state) {
    const auto space = MakeSpace(1000);
    ktLocationList results;
    for (auto unused : state) {
        static_cast<void>(unused);
        benchmark::DoNotOptimize(
            FindByName(*space, results, "*!*|function_with_a_name_of_usual_length_299999", 0));
    }
}
BENCHMARK(SearchByName)->Unit(benchmark::kMillisecond);

/// `sl`: range 0 finds one function of 330,000, range 1 prints all of them.
void SearchLocations(benchmark::State &state) {
    ktCommandSession target;
    Fill(target.builder, *target.space, 1000);
    ktSlCmd sl;
    const std::vector<std::string> words = state.range(0) == 0
                                               ? std::vector<std::string>{"LENGTH_299999", "unit"}
                                               : std::vector<std::string>{"unit"};
    for (auto unused : state) {
        static_cast<void>(unused);
        benchmark::DoNotOptimize(target.Run(sl, words));
    }
    state.counters["lines"] = static_cast<double>(target.output.lines.size());
}
BENCHMARK(SearchLocations)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace
