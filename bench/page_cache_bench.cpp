#include "session/page_cache.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "session/space_reader.h"

namespace {

constexpr uint64_t start = 0xFFFFF80000000000;
constexpr uint32_t readSize = 1 << 20;
constexpr uint32_t pageCount = readSize / ktPageSize;

/// A source that is always there: what it costs is what the cache costs.
class ktZeroReader final : public DataReader {
public:
    uint64_t GetPosition() override { return 0; }
    bool IsAtEnd() override { return false; }
    bool Seek(uint64_t) override { return true; }
    bool Skip(uint64_t) override { return false; }
    bool SeekFromEnd(int64_t) override { return false; }
    bool ReadExact(void *buffer, uint32_t size) override {
        std::memset(buffer, 0, size);
        return true;
    }
    bool Read(void *buffer, uint32_t size, uint32_t *done) override {
        if (done != nullptr) *done = size;
        return ReadExact(buffer, size);
    }
    std::unique_ptr<DataReader> Clone() override { return nullptr; }
    std::unique_ptr<DataReader> SubReader(uint64_t, uint64_t) override { return nullptr; }
};

/// Fills a cache that holds other pages too in random order, as a session leaves it after a while: neither
/// the pages nor the nodes of neighbours lie side by side.
void Scatter(ktPageCache &cache) {
    std::vector<uint64_t> numbers;
    for (uint64_t i = 0; i < pageCount * 16; ++i) numbers.push_back(start / ktPageSize + i);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    for (const uint64_t number : numbers) cache.ReservePages(number * ktPageSize, ktPageSize);
}

void BM_Memcpy1MiB(benchmark::State &state) {
    ktPageCache cache;
    Scatter(cache);
    std::vector<const uint8_t *> pages;
    for (uint32_t i = 0; i < pageCount; ++i) pages.push_back(cache.FindPage(start / ktPageSize + i)->data);
    std::vector<uint8_t> buffer(readSize);
    for (auto _ : state) {
        for (uint32_t i = 0; i < pageCount; ++i) std::memcpy(&buffer[i * ktPageSize], pages[i], ktPageSize);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * readSize);
}
BENCHMARK(BM_Memcpy1MiB);

void BM_WarmRead1MiB(benchmark::State &state) {
    ktPageCache cache;
    Scatter(cache);
    ktZeroReader source;
    ktSpaceReader reader(&cache, &source);
    std::vector<uint8_t> buffer(readSize);
    for (auto _ : state) {
        reader.Seek(start);
        if (!reader.ReadExact(buffer.data(), readSize)) state.SkipWithError("the read failed");
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * readSize);
}
BENCHMARK(BM_WarmRead1MiB);

/// After a stop: every page is stale and fetched again.
void BM_StaleRead1MiB(benchmark::State &state) {
    ktPageCache cache;
    Scatter(cache);
    ktZeroReader source;
    ktSpaceReader reader(&cache, &source);
    std::vector<uint8_t> buffer(readSize);
    for (auto _ : state) {
        ++cache.generation;
        reader.Seek(start);
        if (!reader.ReadExact(buffer.data(), readSize)) state.SkipWithError("the read failed");
    }
    state.SetBytesProcessed(state.iterations() * readSize);
}
BENCHMARK(BM_StaleRead1MiB);

void BM_WarmRead16Bytes(benchmark::State &state) {
    ktPageCache cache;
    Scatter(cache);
    ktZeroReader source;
    ktSpaceReader reader(&cache, &source);
    uint8_t buffer[16];
    uint64_t offset = 0;
    for (auto _ : state) {
        reader.Seek(start + offset);
        if (!reader.ReadExact(buffer, sizeof buffer)) state.SkipWithError("the read failed");
        offset = (offset + 12345) % readSize;
    }
}
BENCHMARK(BM_WarmRead16Bytes);

/// An image of a static engine: pages made and written in one go, then dropped.
void BM_ReserveAndWrite16MiB(benchmark::State &state) {
    const std::vector<uint8_t> image(16 * readSize, 0x5A);
    ktPageCache cache;
    for (auto _ : state) {
        if (!cache.ReservePages(start, image.size())) state.SkipWithError("no memory");
        cache.WritePages(start, image.data(), image.size(), nullptr, cache.CurrentStamp());
        cache.Clear();
    }
    state.SetBytesProcessed(state.iterations() * int64_t(image.size()));
}
BENCHMARK(BM_ReserveAndWrite16MiB)->Unit(benchmark::kMillisecond);

} // namespace
