// `db` of 64 KiB that the page cache holds, and the rows alone, into a line store of the program.

#include "commands/dump_cmds.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "app/circular_lines.h"
#include "support/command_session.h"

namespace {

constexpr uint64_t start = 0x100000;
constexpr uint64_t size = 0x10000;

std::vector<uint8_t> MakeBytes() {
    std::vector<uint8_t> bytes(size);
    for (uint64_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 37 ^ i >> 8);
    return bytes;
}

template <typename Command>
void DumpCached(benchmark::State &state) {
    ktCommandSession target;
    target.Write(start, MakeBytes());
    ktCircularLines lines;
    lines.Reserve();
    ktCmdContext context;
    context.session = &target.session;
    context.output = &lines;
    Command command;
    command.SetCmdContext(context);
    ktCmdArg args[2] = {{ktArgAddressOrLocation, nullptr, start, nullptr},
                        {ktArgHex, nullptr, size, nullptr}};
    for (auto _ : state) benchmark::DoNotOptimize(command.Execute(args, 2));
    state.SetBytesProcessed(static_cast<int64_t>(size) * state.iterations());
}

void DumpRows(benchmark::State &state) {
    ktCircularLines lines;
    lines.Reserve();
    ktDumpFormat format;
    format.flags = ktDumpHex | ktDumpChars | ktDumpAddress | ktDumpOffset;
    format.sink = &lines;
    const std::vector<uint8_t> bytes = MakeBytes();
    for (auto _ : state) format.Dump(start, bytes, 0);
    state.SetBytesProcessed(static_cast<int64_t>(size) * state.iterations());
}

} // namespace

BENCHMARK(DumpRows)->Unit(benchmark::kMicrosecond);
BENCHMARK(DumpCached<ktDbCmd>)->Unit(benchmark::kMicrosecond);
BENCHMARK(DumpCached<ktDqCmd>)->Unit(benchmark::kMicrosecond);
