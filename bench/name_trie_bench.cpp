#include "commands/name_trie.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

constexpr size_t wantedNames = 1000000;

/// The names of the libraries on this machine, by the script beside this file. Kept in the folder the
/// benchmark runs in, since the script takes a minute.
std::vector<std::string> CollectNames() {
    const std::filesystem::path list = "name_trie_bench_names.txt";
    if (!std::filesystem::exists(list)) {
        const auto script = std::filesystem::path(__FILE__).parent_path() / "collect_symbols.py";
        const std::string command = "python3 '" + script.string() + "' '" + list.string() + "'";
        if (std::system(command.c_str()) != 0) return {};
    }
    std::vector<std::string> names;
    std::ifstream input(list);
    for (std::string line; std::getline(input, line);) names.push_back(line);
    return names;
}

/// Names of the shape of real ones, for a machine without libraries or without the script's tools.
std::vector<std::string> InventNames() {
    static const char *const words[] = {"get",    "set",     "Node",   "Type",  "Value", "visit",
                                        "Block",  "insert",  "Range",  "List",  "Info",  "emit",
                                        "Target", "Machine", "Symbol", "parse", "Buffer"};
    std::mt19937 random(1);
    std::vector<std::string> names;
    for (size_t i = 0; i < wantedNames; ++i) {
        std::string name = "_ZN";
        for (size_t parts = 2 + random() % 4; parts > 0; --parts) {
            const std::string word = words[random() % std::size(words)];
            name += std::to_string(word.size()) + word;
        }
        names.push_back(name + "E" + std::to_string(i));
    }
    return names;
}

const std::vector<std::string> &Names() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> found = CollectNames();
        std::cerr << found.size() << " real names\n";
        return found.empty() ? InventNames() : found;
    }();
    return names;
}

const std::vector<std::string> &ShuffledNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> shuffled = Names();
        std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(2));
        return shuffled;
    }();
    return names;
}

void Fill(ktNameTrie &trie, const std::vector<std::string> &names) {
    for (size_t i = 0; i < names.size(); ++i) trie.Insert(names[i].c_str(), i);
}

void CountKeys(benchmark::State &state, const ktNameTrie &trie) {
    state.SetItemsProcessed(state.iterations() * int64_t(trie.KeyCount()));
    state.counters["keys"] = double(trie.KeyCount());
    state.counters["bytes/key"] = double(trie.MemoryBytes()) / double(trie.KeyCount());
}

void BM_Insert(benchmark::State &state, const std::vector<std::string> &(*names)()) {
    const std::vector<std::string> &keys = names();
    ktNameTrie trie;
    for (auto _ : state) {
        trie.Clear();
        Fill(trie, keys);
    }
    CountKeys(state, trie);
}
BENCHMARK_CAPTURE(BM_Insert, InFileOrder, Names)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Insert, Shuffled, ShuffledNames)->Unit(benchmark::kMillisecond);

void BM_Find(benchmark::State &state, const std::vector<std::string> &(*names)()) {
    ktNameTrie trie;
    Fill(trie, Names());
    for (auto _ : state) {
        uint64_t found = 0;
        for (const std::string &key : names()) found += trie.Find(key.c_str()).TerminalCount();
        if (found != trie.KeyCount()) state.SkipWithError("a key was not found");
    }
    CountKeys(state, trie);
}
BENCHMARK_CAPTURE(BM_Find, InFileOrder, Names)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Find, Shuffled, ShuffledNames)->Unit(benchmark::kMillisecond);

void BM_EnumerateForward(benchmark::State &state) {
    ktNameTrie trie;
    Fill(trie, Names());
    for (auto _ : state) {
        uint64_t found = 0;
        for (auto node = ktNameTrie::Next(trie.Root(), {}); node; node = ktNameTrie::Next(trie.Root(), node))
            ++found;
        if (found != trie.KeyCount()) state.SkipWithError("a key was not enumerated");
    }
    CountKeys(state, trie);
}
BENCHMARK(BM_EnumerateForward)->Unit(benchmark::kMillisecond);

void BM_EnumerateBackward(benchmark::State &state) {
    ktNameTrie trie;
    Fill(trie, Names());
    for (auto _ : state) {
        uint64_t found = 0;
        for (auto node = ktNameTrie::Previous(trie.Root(), {}); node;
             node = ktNameTrie::Previous(trie.Root(), node)) {
            ++found;
        }
        if (found != trie.KeyCount()) state.SkipWithError("a key was not enumerated");
    }
    CountKeys(state, trie);
}
BENCHMARK(BM_EnumerateBackward)->Unit(benchmark::kMillisecond);

/// The many small tries of a large program: one for each unit, filled in turn.
void BM_SmallTries(benchmark::State &state) {
    constexpr size_t keysEach = 50;
    const std::vector<std::string> &keys = Names();
    size_t memory = 0;
    for (auto _ : state) {
        memory = 0;
        for (size_t first = 0; first + keysEach <= keys.size(); first += keysEach) {
            ktNameTrie trie;
            for (size_t i = first; i < first + keysEach; ++i) trie.Insert(keys[i].c_str(), i);
            memory += trie.MemoryBytes();
        }
    }
    state.SetItemsProcessed(state.iterations() * int64_t(keys.size()));
    state.counters["bytes/key"] = double(memory) / double(keys.size());
}
BENCHMARK(BM_SmallTries)->Unit(benchmark::kMillisecond);

} // namespace
