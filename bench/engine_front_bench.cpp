// Round trips through the functions of the engine library, over a target that costs nothing.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "front/exports.h"
#include "front/front.h"
#include "support/fake_target.h"

namespace {

/// An engine over a fake target with 2 MiB of linear memory; its slices take 0.3 ms.
class OpenEngine {
public:
    OpenEngine() {
        sable::TheFront().makeTarget = [](const sable::MachineSettings &, sable::RawDataSink &) {
            return Make();
        };
        TransportCreate(&transport, 10);
        TransportSetInterfaceName(transport, "demo");
        EngCreateEngine(&handle);
        EngAssignTransport(handle, transport);
        EngStart(handle);
    }
    ~OpenEngine() {
        EngDestroyEngine(handle);
        TransportDestroy(transport);
    }
    OpenEngine(const OpenEngine &) = delete;
    OpenEngine &operator=(const OpenEngine &) = delete;

    void *handle = nullptr;

private:
    static std::unique_ptr<FakeTarget> Make() {
        auto target = std::make_unique<FakeTarget>();
        target->paging = {ktSbPaging4Level, true, true, 40, 0x10000};
        target->Put<uint64_t>(0x10000, 0x11003);
        target->Put<uint64_t>(0x11000, 0x12003);
        target->Put<uint64_t>(0x12000, 0x13003);
        for (uint64_t page = 0; page < 512; ++page)
            target->Put<uint64_t>(0x13000 + page * 8, 0x100003 + page * 4096);
        target->onRun = [] {
            const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(300);
            while (std::chrono::steady_clock::now() < end) {
            }
            return std::optional<ktSbStop>();
        };
        return target;
    }

    void *transport = nullptr;
};

void BM_Ping(benchmark::State &state) {
    const OpenEngine engine;
    for (auto _ : state) benchmark::DoNotOptimize(SbPing(engine.handle));
}
BENCHMARK(BM_Ping)->UseRealTime();

void BM_ReadLinear64K(benchmark::State &state) {
    const OpenEngine engine;
    std::vector<uint8_t> bytes(65536);
    uint32_t done = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(SbReadLinearMemory(engine.handle, 0, 0x123, bytes.data(), 65536, &done));
    }
}
BENCHMARK(BM_ReadLinear64K)->UseRealTime();

void BM_BreakIn(benchmark::State &state) {
    const OpenEngine engine;
    for (auto _ : state) {
        SbGo(engine.handle);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const auto start = std::chrono::steady_clock::now();
        SbBreakIn(engine.handle);
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}
BENCHMARK(BM_BreakIn)->UseManualTime()->Iterations(500);

void BM_SearchPhysical4M(benchmark::State &state) {
    const OpenEngine engine;
    uint64_t hit = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            SbSearchPhysicalMemory(engine.handle, 0, UINT64_MAX, "not there", 9, 1, 1, &hit));
    }
}
BENCHMARK(BM_SearchPhysical4M)->UseRealTime();

} // namespace
