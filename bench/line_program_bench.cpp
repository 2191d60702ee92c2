// Line programs: what a load pays to check one, and what the first look at its rows costs.

#include <benchmark/benchmark.h>

#include "app/log_batch.h"
#include "support/line_program_builder.h"
#include "symbols/dwarf/line_program.h"
#include "symbols/dwarf/work_budget.h"
#include "symbols/line_info.h"

namespace {

/// A program of about `rows` rows with the mix of instructions that compilers write.
ktBytes MakeProgram(uint64_t rows) {
    ktLineProgramBuilder program;
    program.tables.Text("/usr/include").U8(0);
    for (int i = 0; i < 100; ++i) program.tables.File("file.h", 1);
    program.tables.U8(0);
    uint32_t random = 1;
    for (uint64_t row = 0; row < rows; ++row) {
        random = random * 1664525 + 1013904223;
        if (row % 64 == 0) program.code.SetAddress(0x400000 + row * 16);
        if (random >> 29 == 0)
            program.code.SetFile(1 + (random >> 8) % 100).AdvanceLine(int(random >> 16 & 0xFF) - 128);
        program.code.U8(5).Uleb(random >> 20 & 0x3F).U8(13 + (random >> 24) % 200);
        if (row % 64 == 63) program.code.AdvancePc(16).EndSequence();
    }
    return program.Build();
}

constexpr uint64_t rowCount = 1000000;

void BM_CheckLineProgram(benchmark::State &state) {
    const ktBytes bytes = MakeProgram(rowCount);
    ktLineSections sections;
    sections.line = bytes;
    ktWorkBudget budget(~uint64_t(0));
    ktLogBatch log;
    for (auto _ : state) {
        ktLineInfo lines;
        benchmark::DoNotOptimize(ParseLineProgram(sections, 0, true, 0, budget, log, lines));
    }
    state.SetItemsProcessed(state.iterations() * int64_t(rowCount));
    state.SetBytesProcessed(state.iterations() * int64_t(bytes.size()));
}
BENCHMARK(BM_CheckLineProgram)->Unit(benchmark::kMillisecond);

void BM_DecodeLineRows(benchmark::State &state) {
    const ktBytes bytes = MakeProgram(rowCount);
    ktLineSections sections;
    sections.line = bytes;
    ktWorkBudget budget(~uint64_t(0));
    ktLogBatch log;
    for (auto _ : state) {
        ktLineInfo lines;
        ParseLineProgram(sections, 0, true, 0, budget, log, lines);
        benchmark::DoNotOptimize(lines.Rows().data());
    }
    state.SetItemsProcessed(state.iterations() * int64_t(rowCount));
}
BENCHMARK(BM_DecodeLineRows)->Unit(benchmark::kMillisecond);

void BM_FirstRowAt(benchmark::State &state) {
    const ktBytes bytes = MakeProgram(rowCount);
    ktLineSections sections;
    sections.line = bytes;
    ktWorkBudget budget(~uint64_t(0));
    ktLogBatch log;
    ktLineInfo lines;
    ParseLineProgram(sections, 0, true, 0, budget, log, lines);
    uint64_t address = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(lines.FirstRowAt(0x400000 + (address += 0x9E3779B1) % (rowCount * 16)));
}
BENCHMARK(BM_FirstRowAt);

} // namespace
