#include "commands/cmd_processor.h"

#include "commands/expression.h"
#include "support/declared_cmd_set.h"

#include <cstdint>
#include <cstring>
#include <string>

#include <benchmark/benchmark.h>

namespace {

/// One typed line, from the text to the released arguments, with all commands registered.
void BM_ParseLine(benchmark::State &state, const char *text) {
    ktDeclaredCmdSet set;
    ktCmdProcessor processor;
    processor.RegisterSet(&set);
    for (auto _ : state) {
        ktCmdLine line = {};
        line.cursor = text;
        line.length = static_cast<uint32_t>(std::strlen(text));
        if (!processor.ParseLine(text, &line)) state.SkipWithError("the line does not parse");
        benchmark::DoNotOptimize(line);
        ktCmdProcessor::ReleaseArgs(&line);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(BM_ParseLine, NoArguments, "sym.server.list");
BENCHMARK_CAPTURE(BM_ParseLine, Address, "db fffff80012345678 100");
BENCHMARK_CAPTURE(BM_ParseLine, QuotedPath, "lmf \"C:\\a folder\\program.exe\" 140000000");
BENCHMARK_CAPTURE(BM_ParseLine, ThirtyTwoArguments,
                  "eb 1000 0 1 2 3 4 5 6 7 8 9 a b c d e f 0 1 2 3 4 5 6 7 8 9 a b c d e");

/// What a session's start and end cost.
void BM_RegisterSet(benchmark::State &state) {
    ktDeclaredCmdSet one, other;
    ktCmdProcessor processor;
    for (auto _ : state) {
        processor.RegisterSet(&one);
        processor.RegisterSet(&other);
    }
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(BM_RegisterSet);

void BM_Evaluate(benchmark::State &state, const char *text) {
    uint64_t value = 0;
    for (auto _ : state) {
        ktExpression expression;
        if (!expression.Parse(text) || !expression.Evaluate(&value)) state.SkipWithError("there is no value");
        benchmark::DoNotOptimize(value);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(BM_Evaluate, Short, "1 + (2 * 3)");
BENCHMARK_CAPTURE(BM_Evaluate, LargestPower, "3 ^^ ffffffffffffffff");

} // namespace
