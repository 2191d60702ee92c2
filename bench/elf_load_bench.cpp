// Loading a stripped program of 100 MiB, next to only reading its file into memory.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "session/file_reader.h"
#include "session/page_cache.h"
#include "support/elf_builder.h"
#include "symbols/load_request.h"
#include "symbols/module_loader.h"
#include "symbols/symbol_factory.h"

namespace {

constexpr uint64_t imageBytes = uint64_t(100) << 20;

/// A file of the temporary folder, made once and removed at the end of the process.
class BigFile {
public:
    BigFile(const char *name, uint32_t tableType, uint32_t functions, uint32_t functionsPerFile)
        : path((std::filesystem::temp_directory_path() / name).string()) {
        ktElfBuilder elf;
        elf.type = ktElfTypeDyn;
        ktBytes code(imageBytes);
        uint32_t word = 1;
        for (size_t i = 0; i + 4 <= code.size(); i += 4) {
            PutField(code, i, word);
            word = word * 1664525 + 1013904223;
        }
        elf.AddSegment(0x1000, std::move(code), imageBytes);
        elf.AddSymbol(0, "");
        for (uint32_t i = 0; i < functions; ++i) {
            if (functionsPerFile && i % functionsPerFile == 0) elf.AddFile("file.c");
            elf.AddFunction("some_library_function_" + std::to_string(i), 0x1000 + i * 256ull, 200);
        }
        if (functionsPerFile) elf.AddFile("");
        elf.AddSymbolTable(tableType);
        const ktBytes bytes = elf.Build();
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    ~BigFile() { std::filesystem::remove(path); }

    const std::string path;
};

const char *PathOf(int64_t kind) {
    static const BigFile dynamic("sabledbg-bench-dynamic.elf", ktElfSectionDynamicSymbols, 100000, 0);
    static const BigFile full("sabledbg-bench-full.elf", ktElfSectionSymbols, 100000, 100);
    return (kind == 0 ? dynamic : full).path.c_str();
}

/// Argument: 0 for a library with dynamic symbols, 1 for a program with file symbols.
void ReadIntoAFreshBuffer(benchmark::State &state) {
    const char *path = PathOf(state.range(0));
    for (auto _ : state) {
        FileReader reader(path);
        const auto size = static_cast<uint32_t>(reader.GetSize());
        const std::unique_ptr<uint8_t, decltype(&std::free)> buffer(static_cast<uint8_t *>(std::malloc(size)),
                                                                    &std::free);
        if (!reader.ReadExact(buffer.get(), size)) state.SkipWithError("short read");
        benchmark::DoNotOptimize(buffer.get());
    }
}
BENCHMARK(ReadIntoAFreshBuffer)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

/// Arguments: as above, and whether the image is copied to pages.
void LoadFile(benchmark::State &state) {
    const char *path = PathOf(state.range(0));
    for (auto _ : state) {
        ktSymbolFactory factory;
        ktPageCache pages;
        ktLoadRequest request;
        request.factory = &factory;
        if (state.range(1)) request.pages = &pages;
        if (!LoadFromFile(request, path)) state.SkipWithError("not loaded");
        state.PauseTiming(); // giving everything back is no part of a load
        request.module.Reset();
        pages.Clear();
        state.ResumeTiming();
    }
}
BENCHMARK(LoadFile)->Args({0, 0})->Args({0, 1})->Args({1, 0})->Args({1, 1})->Unit(benchmark::kMillisecond);

} // namespace
