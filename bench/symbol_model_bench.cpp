#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "symbols/comp_unit.h"
#include "symbols/function.h"
#include "symbols/interval_index.h"
#include "symbols/module.h"
#include "symbols/symbol_factory.h"
#include "symbols/types.h"

// Filling, freezing and searching units of the size of a kernel.

namespace {

constexpr uint64_t functionCount = 200000;
constexpr uint64_t lookUpCount = 300000; // functions of the module for look-ups

using Layout = std::vector<std::vector<ktAddrRange>>; // the ranges of each function, in the order of adding

Layout Apart() {
    Layout layout;
    for (uint64_t i = 0; i < functionCount; ++i) layout.push_back({{i * 0x40, 0x30}});
    return layout;
}

Layout Touching() {
    Layout layout;
    for (uint64_t i = 0; i < functionCount; ++i) layout.push_back({{i * 0x40, 0x40}});
    return layout;
}

Layout Shuffled(Layout layout) {
    std::shuffle(layout.begin(), layout.end(), std::mt19937_64(1));
    return layout;
}

/// Each function has a hot and a cold part, and an inlined call ahead of it.
Layout InTwoParts() {
    Layout layout;
    for (uint64_t i = 0; i < functionCount / 2; ++i) {
        layout.push_back({{i * 0x40 + 8, 8}});
        layout.push_back({{i * 0x40, 0x30}, {0x10000000 + i * 0x20, 0x10}});
    }
    return layout;
}

std::string NameOf(uint64_t number, uint64_t nameCount) {
    return "function" + std::to_string(number % nameCount);
}

/// Objects ready to be added, so that only the adding is measured.
std::vector<ktFunction *> MakeFunctions(ktSymbolFactory &factory, const Layout &layout, uint64_t nameCount) {
    std::vector<ktFunction *> functions;
    for (uint64_t i = 0; i < layout.size(); ++i) {
        ktFunction *function = factory.CreateFunction();
        function->name.Assign(NameOf(i, nameCount).c_str());
        for (const ktAddrRange &range : layout[i]) function->ranges.Add(range.start, range.size);
        functions.push_back(function);
    }
    return functions;
}

void AddAll(ktCompUnit &unit, const std::vector<ktFunction *> &functions) {
    for (ktFunction *function : functions) unit.AddFunction(function);
}

void AddFunctions(benchmark::State &state, const Layout &layout, uint64_t nameCount, bool indexNames) {
    for (auto _ : state) {
        state.PauseTiming();
        ktSymbolFactory factory;
        factory.indexNames = indexNames;
        std::vector<ktFunction *> functions = MakeFunctions(factory, layout, nameCount);
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        state.ResumeTiming();
        AddAll(*unit, functions);
        state.PauseTiming();
        ReleaseAll(functions);
        state.counters["ranges"] = static_cast<double>(unit->ranges.Count());
        unit.Reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(layout.size()));
}

#define KT_ADD_BENCHMARK(title, layout, nameCount)                                                           \
    BENCHMARK_CAPTURE(AddFunctions, title##_scanned, layout, nameCount, false)                               \
        ->Unit(benchmark::kMillisecond);                                                                     \
    BENCHMARK_CAPTURE(AddFunctions, title##_indexed, layout, nameCount, true)->Unit(benchmark::kMillisecond)

KT_ADD_BENCHMARK(apart, Apart(), functionCount);
KT_ADD_BENCHMARK(touching, Touching(), functionCount);
KT_ADD_BENCHMARK(apart_shuffled, Shuffled(Apart()), functionCount);
KT_ADD_BENCHMARK(touching_shuffled, Shuffled(Touching()), functionCount);
KT_ADD_BENCHMARK(in_two_parts, InTwoParts(), functionCount);
KT_ADD_BENCHMARK(in_two_parts_shuffled, Shuffled(InTwoParts()), functionCount);
KT_ADD_BENCHMARK(half_of_one_name, Apart(), 2);
KT_ADD_BENCHMARK(a_thousand_names, Apart(), 1000);

/// A module of `unitCount` units that hold 300,000 functions with gaps between them.
class BigModule {
public:
    explicit BigModule(uint64_t unitCount) : module(factory.CreateModule()) {
        for (uint64_t number = 0; number < unitCount; ++number) {
            ktRef<ktCompUnit> unit(factory.CreateCompUnit());
            for (uint64_t i = 0; i < lookUpCount / unitCount; ++i) {
                ktRef<ktFunction> function(factory.CreateFunction());
                const uint64_t start = Start(number * (lookUpCount / unitCount) + i);
                function->ranges.Add(start, 0x30);
                function->entry = start;
                unit->AddFunction(function.Get());
            }
            module->AddCompUnit(unit.Get());
        }
        module->size = lookUpCount * 0x40;
    }
    /// Scattered, as symbols come, but each unit in an area of its own.
    static uint64_t Start(uint64_t number) { return (number ^ (number * 37 % 64)) * 0x40; }

    ktSymbolFactory factory;
    ktRef<ktModule> module;
};

void LookUp(benchmark::State &state) {
    BigModule big(static_cast<uint64_t>(state.range(0)));
    big.module->Freeze();
    std::mt19937_64 random(1);
    std::vector<ktCompUnit *> units;
    std::vector<ktFunction *> functions;
    uint64_t found = 0;
    for (auto _ : state) {
        const uint64_t address = random() % big.module->size;
        units.clear();
        functions.clear();
        big.module->UnitsAt(address, units);
        for (ktCompUnit *unit : units) unit->FunctionsAt(address, functions);
        found += functions.size();
    }
    state.counters["found"] = static_cast<double>(found) / static_cast<double>(state.iterations());
}
BENCHMARK(LookUp)->Arg(1)->Arg(3000);

void FirstLookUp(benchmark::State &state) {
    BigModule big(static_cast<uint64_t>(state.range(0)));
    for (auto _ : state) {
        big.module->Freeze();
        ktCompUnit *unit = big.module->FirstUnitAt(0x10);
        benchmark::DoNotOptimize(unit ? unit->FirstFunctionAt(0x10) : nullptr);
    }
}
BENCHMARK(FirstLookUp)->Arg(1)->Arg(3000)->Unit(benchmark::kMillisecond);

void Freeze(benchmark::State &state) {
    for (auto _ : state) {
        state.PauseTiming();
        BigModule big(static_cast<uint64_t>(state.range(0)));
        state.ResumeTiming();
        big.module->Freeze();
        state.PauseTiming();
        big.module.Reset();
        state.ResumeTiming();
    }
}
BENCHMARK(Freeze)->Arg(1)->Arg(3000)->Unit(benchmark::kMillisecond);

void FirstHits(benchmark::State &state) {
    BigModule big(static_cast<uint64_t>(state.range(0)));
    big.module->Freeze();
    std::mt19937_64 random(1);
    for (auto _ : state) {
        const uint64_t address = random() % big.module->size;
        ktCompUnit *unit = big.module->FirstUnitAt(address);
        benchmark::DoNotOptimize(unit ? unit->FirstFunctionAt(address) : nullptr);
    }
}
BENCHMARK(FirstHits)->Arg(1)->Arg(3000);

void FindFunction(benchmark::State &state) {
    BigModule big(1);
    big.module->SetIndexed(state.range(0) != 0);
    ktCompUnit &unit = *big.module->CompUnits()[0];
    unit.SetIndexed(state.range(0) != 0);
    big.module->Freeze();
    std::mt19937_64 random(1);
    uint64_t found = 0;
    for (auto _ : state) {
        const uint64_t place = random() % lookUpCount;
        found += unit.FindFunction(unit.Functions()[place]->name.Get()) == unit.Functions()[place];
    }
    state.counters["found"] = static_cast<double>(found) / static_cast<double>(state.iterations());
}
BENCHMARK(FindFunction)->Arg(0)->Arg(1);

void AddUnits(benchmark::State &state) {
    for (auto _ : state) {
        ktSymbolFactory factory;
        factory.indexNames = state.range(0) != 0;
        ktRef<ktModule> module(factory.CreateModule());
        for (uint64_t i = 0; i < 65000; ++i) {
            ktRef<ktCompUnit> unit(factory.CreateCompUnit());
            if (i % 2) unit->name.Assign("unit.c");
            module->AddCompUnit(unit.Get());
        }
    }
}
BENCHMARK(AddUnits)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void Sizes(benchmark::State &state) {
    for (auto _ : state) benchmark::DoNotOptimize(state.iterations());
    std::vector<ktInterval> intervals;
    for (uint32_t i = 0; i < lookUpCount; ++i)
        intervals.push_back({i * uint64_t(16), i * uint64_t(16) + 9, i});
    const double indexBytes = static_cast<double>(ktIntervalIndex(intervals).MemoryBytes());
    state.counters["ktRangeList"] = sizeof(ktRangeList);
    state.counters["ktFunction"] = sizeof(ktFunction);
    state.counters["ktBasicType"] = sizeof(ktBasicType);
    state.counters["ktTypeMember"] = sizeof(ktTypeMember);
    state.counters["ktCompUnit"] = sizeof(ktCompUnit);
    state.counters["indexBytesEach"] = indexBytes / static_cast<double>(lookUpCount);
}
BENCHMARK(Sizes)->Iterations(1);

} // namespace
