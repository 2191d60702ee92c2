#!/usr/bin/env python3
"""Compares names, addresses and listings with nm and objdump on real executables.

Three programs are built from the sources below; executables of this machine that have a symbol table and
no debug information join them.

Usage: peers_test.py --batch PROGRAM [unittest arguments]
"""

import argparse
import os
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
from collections import namedtuple
from pathlib import Path

BATCH = ""
TIME_LIMIT_SECONDS = 300
MOST_LISTINGS = 60           # functions of each program whose instructions are compared
MOST_LOOKUPS = 200           # functions of each program that are searched by name
MOST_SYSTEM_PROGRAMS = 2
SYSTEM_SIZE_LIMIT = 40 << 20

SOURCES = {
    "numbers.c": r"""
        #include <stdint.h>
        static uint64_t rotate(uint64_t x, int by) { return x << by | x >> (64 - by); }
        static __attribute__((noinline)) uint64_t mix(uint64_t x) {
            x ^= 0x9E3779B97F4A7C15u; x *= 0xBF58476D1CE4E5B9u; return rotate(x, 31);
        }
        static __attribute__((noinline)) double root(double x) {
            double guess = x; for (int i = 0; i < 30; i++) guess = (guess + x / guess) / 2; return guess;
        }
        static __attribute__((noinline)) long double longer(long double x) { return x * 1.5L + 1; }
        static __attribute__((noinline)) int pick(unsigned n) {
            switch (n) { case 0: return 7; case 1: return -3; case 2: return 99; case 3: return 1 << 20;
                         case 4: return 5; case 5: return 0x12345678; case 6: return 1; default: return 0; }
        }
        uint64_t numbers(unsigned n) { return mix(n) + (uint64_t)root(n) + (uint64_t)longer(n) + pick(n); }
    """,
    "texts.c": r"""
        #include <stddef.h>
        static __attribute__((noinline)) size_t length(const char *s) { size_t n = 0; while (s[n]) n++; return n; }
        static __attribute__((noinline)) unsigned mix(const char *s) {
            unsigned sum = 0; for (size_t i = length(s); i--;) sum = sum * 33 + (unsigned char)s[i]; return sum;
        }
        struct block { int words[64]; };
        static struct block blocks[4];
        static __attribute__((noinline)) void spread(struct block *to, const struct block *from) {
            for (int i = 0; i < 3; i++) to[i] = *from;
        }
        static __attribute__((noinline)) float scale(float *v, int n, float by) {
            float sum = 0; for (int i = 0; i < n; i++) { v[i] *= by; sum += v[i]; } return sum;
        }
        unsigned texts(const char *s) {
            static float values[100];
            blocks[0].words[3] = (int)mix(s); spread(blocks + 1, blocks);
            return mix(s) + (unsigned)blocks[2].words[3] + (unsigned)scale(values, 100, 1.25f);
        }
    """,
    "main.c": r"""
        #include <stdio.h>
        #include <stdlib.h>
        unsigned long numbers(unsigned n);
        unsigned texts(const char *s);
        static __attribute__((noinline)) int compare(const void *a, const void *b) {
            return *(const int *)a - *(const int *)b;
        }
        static __attribute__((noinline)) int depth(int n) { return n < 2 ? n : depth(n - 1) + depth(n - 2); }
        static __attribute__((noinline)) void sort(int *v, int n) { qsort(v, (size_t)n, sizeof *v, compare); }
        int main(int argc, char **argv) {
            int values[8] = {5, 3, 9, argc, 0, 2, 8, 1};
            sort(values, 8);
            printf("%lu %u %d %d\n", numbers((unsigned)argc), texts(argv[0]), depth(values[2]), values[7]);
        }
    """,
}

BUILDS = (
    ("plain", "gcc", ("-O0", "-no-pie")),
    ("tuned", "clang", ("-O2", "-fPIE", "-pie")),
    # Without the passes that give functions other names.
    ("whole", "gcc", ("-O3", "-mavx2", "-fno-ipa-cp", "-fno-ipa-sra", "-static")),
)

Function = namedtuple("Function", "name address size")


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, errors="replace",
                          timeout=TIME_LIMIT_SECONDS).stdout


def build(folder, name, compiler, options):
    if not shutil.which(compiler):
        compiler = "gcc"
    sources = []
    for file_name, text in SOURCES.items():
        source = folder / file_name
        source.write_text(text)
        sources.append(str(source))
    program = folder / name
    output_of(compiler, *options, "-g0", *sources, "-o", str(program))
    return program


def section_facts(path):
    """(has a symbol table, has debug information) of a 64-bit ELF file for x86; None for anything else."""
    with open(path, "rb") as file:
        header = file.read(64)
        if len(header) < 64 or header[:6] != b"\x7fELF\x02\x01" or struct.unpack_from("<H", header, 18)[0] != 62:
            return None
        offset, = struct.unpack_from("<Q", header, 40)
        count, names_index = struct.unpack_from("<HH", header, 60)
        file.seek(offset)
        table = file.read(64 * count)
        if len(table) < 64 * count or names_index >= count:
            return None
        sections = [struct.unpack_from("<IIQQQQ", table, 64 * i) for i in range(count)]
        file.seek(sections[names_index][4])
        names = file.read(sections[names_index][5])
    return any(section[1] == 2 for section in sections), b"debug_info" in names


def system_programs():
    found, sizes = [], set()  # copies of one program stand beside each other under many names
    for folder in dict.fromkeys(os.environ.get("PATH", "").split(os.pathsep)):
        for path in sorted(Path(folder).glob("*")) if folder else ():
            try:
                size = path.stat().st_size if path.is_file() else SYSTEM_SIZE_LIMIT
                if size < SYSTEM_SIZE_LIMIT and size not in sizes and section_facts(path) == (True, False):
                    sizes.add(size)
                    if visible_functions(path):
                        found.append(path)
            except OSError:
                continue
            if len(found) == MOST_SYSTEM_PROGRAMS:
                return found
    return found


def visible_functions(path):
    """The functions that stand behind a file symbol and before the last one, with the names that they get."""
    done, unit, names = [], None, set()
    for line in output_of("nm", "-a", "-p", "-f", "sysv", str(path)).splitlines():
        fields = [field.strip() for field in line.split("|")]
        if len(fields) != 7:
            continue
        name, value, _, kind, size = fields[:5]
        if kind == "FILE":
            done.extend(unit or ())
            unit, names = [], set()
        elif kind == "FUNC" and unit is not None:
            unique, number = name, 0
            while unique in names:
                number += 1
                unique = f"{name}_{number}"
            names.add(unique)
            unit.append(Function(unique, int(value or "0", 16), int(size or "0", 16)))
    return done


def run_lines(path, lines):
    """What each of `lines` prints, after `path` is loaded."""
    start = ["connect static local", f'lmf "{path}"']
    with tempfile.NamedTemporaryFile("w", suffix=".script") as script:
        script.write("\n".join(start + list(lines)) + "\n")
        script.flush()
        output = output_of(BATCH, "--echo", "--status", script.name)
    answers, current = [], None
    for line in output.splitlines():
        if line.startswith("> "):
            current = []
            answers.append(current)
        elif current is not None:
            current.append(line)
    assert len(answers) == len(start) + len(lines), (len(answers), path)
    assert answers[1] == ["[0]"], (path, answers[1])
    return answers[len(start):]


def addresses_in(lines, pattern):
    return [int(match.group(1), 16) for match in map(pattern.match, lines) if match]


ADDRESS_LINE = re.compile(r"Address: ([0-9A-F]{16})(?: \((.*)\))?$")
LISTING_LINE = re.compile(r"([0-9A-F]{16}): ")
OBJDUMP_LINE = re.compile(r"\s*([0-9a-f]+):\t")


class Peers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        folder = Path(cls.temporary.name)
        cls.programs = [build(folder, *row) for row in BUILDS] + system_programs()
        cls.functions = {path: visible_functions(path) for path in cls.programs}

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()

    def sample(self, path, most):
        functions = [function for function in self.functions[path]
                     if function.size and not re.search(r'[!|#+*\\ "]|[^\x20-\x7e]', function.name)
                     and len(function.name) < 200]
        return random.Random(path.name).sample(functions, min(most, len(functions)))

    def test_there_is_something_to_compare(self):
        for path in self.programs[:len(BUILDS)]:
            names = {function.name for function in self.functions[path]}
            self.assertLessEqual({"mix", "spread", "compare", "sort"}, names, path)
            self.assertNotIn("main", names, path)  # global symbols stand behind the last file symbol

    def test_every_visible_function_is_listed_with_its_address(self):
        for path in self.programs:
            with self.subTest(program=path.name):
                listed, = run_lines(path, ["sl |"])
                self.assertEqual(listed.pop(), "[0]")
                found = []
                for line in listed:
                    match = ADDRESS_LINE.match(line)
                    self.assertIsNotNone(match, line)
                    found.append((match.group(2).split("|", 1)[1], int(match.group(1), 16)))
                expected = [(function.name, function.address) for function in self.functions[path]]
                self.assertEqual(found, expected)

    def test_names_lead_to_the_addresses_that_nm_prints(self):
        for path in self.programs:
            with self.subTest(program=path.name):
                names = sorted({function.name for function in self.sample(path, MOST_LOOKUPS)})
                for name, lines in zip(names, run_lines(path, [f"xl *!*|{name}" for name in names])):
                    expected = [function.address for function in self.functions[path] if function.name == name]
                    self.assertEqual(addresses_in(lines, ADDRESS_LINE), expected, name)
                    self.assertEqual(lines[-1], "[0]")

    def test_instructions_start_where_objdump_has_them(self):
        for path in self.programs:
            with self.subTest(program=path.name):
                functions = self.sample(path, MOST_LISTINGS)
                expected = []
                for function in functions:
                    text = output_of("objdump", "-d", "--no-show-raw-insn",
                                     f"--start-address={function.address}",
                                     f"--stop-address={function.address + function.size}", str(path))
                    expected.append(addresses_in(text.splitlines(), OBJDUMP_LINE))
                listings = run_lines(path, [f"u {function.address:x} {len(starts)}"
                                            for function, starts in zip(functions, expected)])
                for function, starts, listing in zip(functions, expected, listings):
                    self.assertTrue(starts, function)
                    self.assertEqual(addresses_in(listing, LISTING_LINE), starts, function)
                    self.assertEqual(listing[-1], "[0]")
                    # In other programs several functions may share an address, and the first one shows.
                    if path in self.programs[:len(BUILDS)]:
                        self.assertTrue(listing[0].endswith("|" + function.name), listing[0])

    def test_a_name_lists_the_whole_function(self):
        for path in self.programs[:len(BUILDS)]:
            module = path.name
            with self.subTest(program=module):
                for name in ("spread", "compare", "root"):
                    function, = [each for each in self.functions[path] if each.name == name]
                    text = output_of("objdump", "-d", "--no-show-raw-insn", f"--start-address={function.address}",
                                     f"--stop-address={function.address + function.size}", str(path))
                    starts = addresses_in(text.splitlines(), OBJDUMP_LINE)
                    listing, = run_lines(path, [f"u {module}!*|{name}"])
                    self.assertRegex(listing[0], rf"^{module}!cu_[0-9A-F]+\|{name}$")
                    self.assertEqual(addresses_in(listing, LISTING_LINE)[:len(starts)], starts)


def main():
    global BATCH
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--batch", required=True, help="the batch program")
    parser.add_argument("--data", help="not used: these tests build their own programs")
    options, rest = parser.parse_known_args()
    BATCH = str(Path(options.batch).resolve())
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
