#!/usr/bin/env python3
"""Builds a large C++ program with DWARF 4: many units, each instantiating much of the standard library.

Usage: make_cpp_program.py [--units N] [--jobs N] [--compiler NAME] OUTPUT_FOLDER

OUTPUT_FOLDER receives the sources, the objects and the program `large_cpp.elf`. Units of even number are
compiled with -O0, of odd number with -O2. An object is made anew only when its source changed, so a run that
was interrupted goes on where it stopped. 44 units give over 50 MB of .debug_info with gcc 12.
"""

import argparse
import concurrent.futures
import subprocess
from pathlib import Path

# Every unit gets types of its own, so nothing that it instantiates can be shared with another unit.
UNIT = r"""
#include <algorithm>
#include <any>
#include <array>
#include <atomic>
#include <bitset>
#include <chrono>
#include <complex>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <queue>
#include <random>
#include <ranges>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <variant>
#include <vector>

namespace unit@N@ {

enum class Shade : int { dark = -@N@ - 1, light = 3, glare = 100 + @N@ };

struct Key {
    int number = @N@;
    std::string text;
    auto operator<=>(const Key &) const = default;
};

struct KeyHash {
    std::size_t operator()(const Key &key) const { return std::hash<std::string>()(key.text) ^ key.number; }
};

template <class T, int Depth> struct Nest {
    Nest<T, Depth - 1> inner;
    std::vector<T> values;
    std::map<int, std::array<T, Depth>> table;
    T Sum() const { return std::accumulate(values.begin(), values.end(), inner.Sum()); }
};

template <class T> struct Nest<T, 0> {
    T Sum() const { return T(); }
};

struct Flags {
    unsigned low : 3;
    unsigned high : 13;
    Shade shade : 16;
    union {
        long whole;
        struct {
            short first, second;
        };
    };
};

using Choice = std::variant<std::monostate, int, double, std::string, Key, std::vector<Key>>;

template <class Container> int Fill(Container &container, int count) {
    for (int i = 0; i < count; i++) {
        container.insert(container.end(), {Key{i, std::to_string(i)}, Shade::light});
    }
    return static_cast<int>(container.size());
}

int Run(int seed) {
    std::map<Key, Shade> ordered;
    std::multimap<Key, Shade> several;
    std::unordered_map<Key, Shade, KeyHash> hashed;
    int total = Fill(ordered, seed) + Fill(several, seed) + Fill(hashed, seed);
    std::set<Key> keys;
    std::unordered_set<Key, KeyHash> bag;
    std::deque<Key> deck;
    std::list<Key> chain;
    std::vector<Key> row;
    for (auto &[key, shade] : ordered) {
        keys.insert(key);
        bag.insert(key);
        deck.push_back(key);
        chain.push_front(key);
        row.push_back(key);
        total += static_cast<int>(shade);
    }
    std::sort(row.begin(), row.end());
    std::stable_sort(deck.begin(), deck.end());
    chain.sort();
    std::mt19937_64 random(seed);
    std::shuffle(row.begin(), row.end(), random);
    std::nth_element(row.begin(), row.begin() + row.size() / 2, row.end());
    std::priority_queue<Key> queue(row.begin(), row.end());
    for (const Key &key : row | std::views::filter([](const Key &k) { return k.number % 2 == 0; }) |
                              std::views::take(5) | std::views::reverse) {
        total += key.number;
    }
    Choice choice = seed % 2 ? Choice(Key{seed, "x"}) : Choice(std::string("y"));
    total += std::visit([](const auto &value) { return static_cast<int>(sizeof value); }, choice);
    std::any anything = row;
    total += static_cast<int>(std::any_cast<std::vector<Key> &>(anything).size());
    std::function<int(const Key &)> function = [seed](const Key &key) { return key.number + seed; };
    std::optional<Key> maybe = row.empty() ? std::nullopt : std::optional<Key>(row.front());
    total += maybe ? function(*maybe) : 0;
    std::regex pattern("(a|b)+[0-9]{1,3}$");
    std::smatch match;
    std::string text = "ab" + std::to_string(seed);
    total += std::regex_search(text, match, pattern) ? static_cast<int>(match.size()) : 0;
    auto later = std::async(std::launch::deferred, [&] { return static_cast<int>(keys.size() + bag.size()); });
    total += later.get();
    std::ostringstream out;
    out << std::filesystem::path("a/b").lexically_normal() << std::complex<double>(1, 2);
    auto shared = std::make_shared<std::tuple<Key, Flags, std::unique_ptr<Key>>>();
    std::get<1>(*shared).low = 2;
    Nest<int, 8> ints;
    Nest<long, 8> longs;
    Nest<double, 8> doubles;
    Nest<Shade *, 1> pointers;
    (void)pointers;
    return total + ints.Sum() + static_cast<int>(longs.Sum() + doubles.Sum()) + static_cast<int>(out.str().size());
}

}  // namespace unit@N@

int Unit@N@(int seed) { return unit@N@::Run(seed); }
"""


def main_source(units):
    declarations = "".join(f"int Unit{i}(int);\n" for i in range(units))
    calls = "".join(f"    total += Unit{i}(count);\n" for i in range(units))
    return f"{declarations}int main(int count, char **) {{\n    int total = 0;\n{calls}    return total & 1;\n}}\n"


def write_if_new(path, text):
    if not path.exists() or path.read_text() != text:
        path.write_text(text)


def compile_one(compiler, source, optimise):
    out = source.with_suffix(".o")
    if not out.exists() or out.stat().st_mtime < source.stat().st_mtime:
        partial = source.with_suffix(".part")
        subprocess.run([compiler, "-std=c++20", "-gdwarf-4", optimise, "-w", "-c", "-o", partial, source], check=True)
        partial.rename(out)
    return out


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--units", type=int, default=44)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--compiler", default="g++")
    options = parser.parse_args()
    options.folder.mkdir(parents=True, exist_ok=True)

    sources = [options.folder / "main.cpp"]
    write_if_new(sources[0], main_source(options.units))
    for i in range(options.units):
        sources.append(options.folder / f"unit{i}.cpp")
        write_if_new(sources[-1], UNIT.replace("@N@", str(i)))
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        objects = list(pool.map(lambda pair: compile_one(options.compiler, pair[1], ("-O0", "-O2")[pair[0] % 2]),
                                enumerate(sources)))
    program = options.folder / "large_cpp.elf"
    if not program.exists() or any(o.stat().st_mtime > program.stat().st_mtime for o in objects):
        subprocess.run([options.compiler, "-no-pie", "-pthread", "-o", program, *objects], check=True)
    print(program)


if __name__ == "__main__":
    main()
