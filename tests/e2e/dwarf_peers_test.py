#!/usr/bin/env python3
"""Compares what a load keeps of debugging information with what readelf, llvm-dwarfdump and gdb read.

The reader keeps only a part on purpose. What it leaves out is worked out here from the peers' own view of the
entries, each rule with its reason, so that a difference is a fault on one side and never waved through.

Usage: dwarf_peers_test.py --batch PROGRAM --data FOLDER [unittest arguments]
"""

import argparse
import re
import shutil
import sys
import unittest
from pathlib import Path

from dwarf_expectation import Expectation, base_name, entries_of, output_of, ranges_by_offset, with_unique_names

BATCH = ""
DUMP = ""
DATA = Path()


def programs(pattern):
    """Linked files only: a relocatable object's offsets into the other sections are all 0 until it is linked."""
    found = [path for path in sorted(DATA.glob(pattern)) if path.suffix != ".o"]
    assert found, f"no program {pattern} in {DATA}"
    return found


def rust_programs():
    return [path for path in [DATA / "rooms_rust.elf"] if path.exists()]


# --- what our load keeps ---------------------------------------------------------------------------------


class Unit:
    def __init__(self, name, ranges):
        self.name = name
        self.ranges = ranges
        self.functions = []   # (name, entry, is inlined, ranges), in the order of the array
        self.structs = []     # (name, size, [(member, offset)])
        self.enums = []       # (name, size, [(enumerator, value)])
        self.rows = []        # (address, zero-based line, file name)


def range_of(field):
    start, size = field.split("+")
    return int(start), int(size)


def units_of(path):
    units = []
    for line in output_of(DUMP, path).splitlines():
        kind, *fields = line.split("\t")
        if kind == "unit":
            units.append(Unit(fields[0], [range_of(field) for field in fields[1:]]))
        elif kind == "function":
            units[-1].functions.append((fields[0], int(fields[1]), fields[2] == "1", [range_of(f) for f in fields[3:]]))
        elif kind in ("struct", "enum"):
            members = []
            (units[-1].structs if kind == "struct" else units[-1].enums).append((fields[0], int(fields[1]), members))
        elif kind in ("member", "enumerator"):
            members.append((fields[0], int(fields[1])))
        elif kind == "row":
            units[-1].rows.append((int(fields[0]), int(fields[1]), fields[2]))
        else:
            raise ValueError(line)
    return units


class Functions(unittest.TestCase):
    maxDiff = None

    def compare(self, path):
        lists = ranges_by_offset(path)
        expected = [unit for unit in entries_of(path) if unit.version == 4 and unit.tag == "DW_TAG_compile_unit"]
        with_code = []
        for entry in expected:
            rules = Expectation(entry, lists)
            # A unit's code is its own ranges and those of its functions; one with none at all is let go.
            if rules.ranges_of(entry) or rules.functions:
                with_code.append((entry, rules))
        units = units_of(path)
        self.assertEqual(len(units), len(with_code))
        compared = 0
        for unit, (entry, rules) in zip(units, with_code):
            name = base_name(entry.text("DW_AT_name"))
            self.assertTrue(unit.name == name or re.fullmatch(re.escape(name) + r"_\d+", unit.name), unit.name)
            wanted = with_unique_names(rules.functions)
            found = [(None if re.fullmatch(r"fn_[0-9A-F]+", each[0]) else each[0], *each[1:])
                     for each in unit.functions]
            self.assertEqual([(*each[:3], sorted(each[3])) for each in found],
                             [(*each[:3], sorted(each[3])) for each in wanted], unit.name)
            low, high = (function(edges) for function, edges in (
                (min, [start for each in wanted for start, _ in each[3]] or [0]),
                (max, [start + size for each in wanted for start, size in each[3]] or [0])))
            own = [(start, start + size) for start, size in rules.ranges_of(entry)]
            self.assertEqual(min(start for start, _ in unit.ranges), min([low, *(s for s, _ in own)] if wanted else
                                                                         [s for s, _ in own]))
            self.assertEqual(max(start + size for start, size in unit.ranges), max([high, *(e for _, e in own)]))
            compared += len(found)
        return compared

    def test_every_function_that_the_rules_keep_has_the_name_and_ranges_of_readelf(self):
        for path in programs("*_dwarf4_*"):
            with self.subTest(program=path.name):
                self.assertGreater(self.compare(path), 0)

    def test_the_same_in_a_rust_program_whose_names_stand_in_namespaces(self):
        if not rust_programs():
            self.skipTest("rustc was not installed when the programs were made")
        for path in rust_programs():
            self.compare(path)
            names = {function[0] for unit in units_of(path) for function in unit.functions}
            self.assertNotIn("total", names)

    def test_inlined_calls_of_an_optimised_program_are_kept_without_their_names(self):
        units = [unit for path in programs("*_dwarf4_*_O2_*") for unit in units_of(path)]
        inlined = [function for unit in units for function in unit.functions if function[2]]
        self.assertGreater(len(inlined), 3)
        for function in inlined:
            self.assertRegex(function[0], r"^fn_[0-9A-F]+$")

    def test_gcc_s_version_5_gives_the_functions_that_version_4_gives(self):
        # gcc writes the forms that the reader knows, so the functions of a program are all there; their
        # inlined calls have other forms of range list and are not compared.
        for path in programs("gcc_dwarf5_*"):
            expected = [entry for unit in entries_of(path) if unit.tag == "DW_TAG_compile_unit"
                        for entry in unit.children if entry.tag == "DW_TAG_subprogram"
                        and "DW_AT_high_pc" in entry.values and "DW_AT_name" in entry.values]
            found = {(function[0], *function[3][0]) for unit in units_of(path) for function in unit.functions}
            with self.subTest(program=path.name):
                self.assertTrue(expected)
                for entry in expected:
                    self.assertIn((entry.text("DW_AT_name"), entry.number("DW_AT_low_pc"),
                                   entry.number("DW_AT_high_pc")), found)


class EveryProgram(unittest.TestCase):
    def test_loads_and_is_listed_whatever_its_compiler_version_and_kind(self):
        # Much of clang's version 5 and of a relocatable object reads wrongly: its forms are not known, its
        # references are not filled in. What is left is shown all the same.
        files = sorted(DATA.glob("*_dwarf*")) + rust_programs()
        self.assertGreater(len(files), 20)
        for path in files:
            with self.subTest(program=path.name):
                em, ecu, efn, sl, um = run_lines(path, ["em", "ecu *", "efn *!*", "sl |", f"um {path.stem}"])
                self.assertEqual(em[0].split(), ["Module", "name:", "Start:", "End:", "Entry:"])
                self.assertEqual(em[1].split()[0], path.stem[:31])
                self.assertEqual((em[-1], ecu[-1], um[-1]), ("[0]", "[0]", "[0]"))
                # One function at least is found, or no unit had code.
                self.assertEqual((efn[-1], sl[-1]), ("[0]", "[0]") if len(ecu) > 2 else ("[10]", "[10]"))
                self.assertEqual(len(efn), len(sl) + (1 if len(ecu) > 2 else 0))


class Rows(unittest.TestCase):
    maxDiff = None

    def programs(self):
        return programs("*_dwarf4_*") + rust_programs()

    def test_every_row_is_one_that_readelf_decodes(self):
        for path in self.programs():
            expected = []
            for line in output_of("readelf", "--debug-dump=decodedline", "-W", path).splitlines():
                # An end of sequence has a dash for its line.
                if match := re.match(r"(\S.*?)\s+(\d+|-)\s+(0x[0-9a-f]+|0)(?:\s|$)", line):
                    number = None if match.group(2) == "-" else int(match.group(2)) - 1
                    expected.append((int(match.group(3), 0), number))
            found = [row for unit in units_of(path) for row in unit.rows]
            with self.subTest(program=path.name):
                self.assertTrue(expected)
                self.assertEqual(len(found), len(expected))
                for (address, line, _), (wanted, number) in zip(found, expected):
                    self.assertEqual(address, wanted)
                    if number is not None:
                        # Line 0 says that no line belongs to the code; one less than that wraps round.
                        self.assertEqual(line, number % (1 << 64))

    @unittest.skipUnless(shutil.which("llvm-dwarfdump"), "llvm-dwarfdump is not installed")
    def test_every_row_has_the_address_line_and_file_of_llvm_dwarfdump(self):
        for path in self.programs():
            expected, files = [], {}
            for line in output_of("llvm-dwarfdump", "--debug-line", path).splitlines():
                if line.startswith("debug_line["):
                    files = {}
                elif match := re.match(r"file_names\[\s*(\d+)\]:", line):
                    number = int(match.group(1))
                elif match := re.match(r'\s+name: "(.*)"', line):
                    files[number] = match.group(1)
                elif match := re.match(r"(0x[0-9a-f]{16})\s+(\d+)\s+\d+\s+(\d+)\s", line):
                    expected.append((int(match.group(1), 16), (int(match.group(2)) - 1) % (1 << 64),
                                     files.get(int(match.group(3)), "")))
            found = [row for unit in units_of(path) for row in unit.rows]
            with self.subTest(program=path.name):
                self.assertTrue(expected)
                self.assertEqual(len(found), len(expected))
                different = [pair for pair in zip(found, expected) if pair[0] != pair[1]]
                self.assertEqual(different[:5], [])


# --- types, as gdb knows them ----------------------------------------------------------------------------


def gdb_members(path, name):
    """(size, [(member, offset in bytes, is a bit field)]) of what `ptype /o` prints; '' is a member without name."""
    members, depth, start, size = [], 0, 0, None
    for line in output_of("gdb", "-nx", "-batch", "-ex", f"ptype /o {name}", path).splitlines():
        if match := re.search(r"/\* total size \(bytes\):\s+(\d+) \*/", line):
            size = int(match.group(1)) if depth == 1 else size
            continue
        head, _, text = line.partition("*/")
        offset = re.match(r"/\*\s+(\d+)(?::\s*\d+)?\s+\|", head)
        offset = int(offset.group(1)) if offset else None
        if offset is None and re.match(r"/\*\s+\d+ $", head):
            offset = 0  # only the size of a union's member is printed: it starts where the union starts
        text = text if head.startswith("/*") else line
        text = text.strip()
        if text.endswith("{"):
            if depth == 1:
                start = offset
            depth += 1
        elif text.startswith("}"):
            depth -= 1
            if depth == 1:
                members.append((text.strip("}; ").split("[")[0], start, False))
        elif depth == 1 and offset is not None and text.endswith(";") and not text.startswith("static"):
            members.append((member_name(text), offset, re.search(r" : \d+;$", text) is not None))
    return size, members


def member_name(text):
    if match := re.search(r"\(\*(?:const |volatile )*(\w+)\)", text):
        return match.group(1)
    return re.search(r"(\w+)(?:\[\d+\])*(?: : \d+)?;$", text).group(1)


def gdb_enumerators(path, name):
    text = output_of("gdb", "-nx", "-batch", "-ex", f"ptype {name}", path)
    names = [part.split("=")[0].strip() for part in re.search(r"\{(.*)\}", text).group(1).split(",")]
    commands = [word for each in names for word in ("-ex", f"print/d {each}")]
    values = re.findall(r"= (-?\d+)", output_of("gdb", "-nx", "-batch", *commands, path))
    return list(zip(names, map(int, values)))


def run_lines(path, lines):
    """What each of `lines` prints, after `path` is loaded."""
    words = [word for line in ["connect static local", f'lmf "{path}"', *lines] for word in ("-x", line)]
    answers = []
    for line in output_of(BATCH, "--echo", "--status", *words, "/dev/null").splitlines():
        if line.startswith("> "):
            answers.append([])
        elif answers:
            answers[-1].append(line)
    assert len(answers) == len(lines) + 2 and answers[1] == ["[0]"], (path, answers[:2])
    return answers[2:]


@unittest.skipUnless(shutil.which("gdb"), "gdb is not installed")
class Types(unittest.TestCase):
    maxDiff = None
    STRUCTS = {"c": ("struct flags", "struct point", "struct record", "union word"), "cpp": ("struct Holder",)}

    def structs(self):
        """(program, name as gdb wants it, entry) of what the first unit of each program defines."""
        for language, names in self.STRUCTS.items():
            for path in programs(f"*_dwarf4_{language}_*"):
                entries = {entry.text("DW_AT_name"): entry for entry in entries_of(path)[0].children
                           if entry.tag in ("DW_TAG_structure_type", "DW_TAG_union_type")}
                # A compiler leaves out a type that only unused code mentions.
                for name in (each for each in names if each.split()[1] in entries or each != "union word"):
                    yield path, name, entries[name.split()[1]]

    def expected_members(self, path, name, entry):
        size, members = gdb_members(path, name)
        fields = [child for child in entry.children if child.tag == "DW_TAG_member"]
        self.assertEqual(len(fields), len(members), name)
        expected = []
        for (member, offset, is_bits), field in zip(members, fields):
            if is_bits and "DW_AT_bit_offset" in field.values:
                # gcc counts the bits from the top of a storage unit whose own offset is what is kept.
                storage = field.number("DW_AT_data_member_location")
                bits = (field.number("DW_AT_byte_size") * 8 - field.number("DW_AT_bit_offset")
                        - field.number("DW_AT_bit_size"))
                self.assertEqual(storage + bits // 8, offset, (name, member))
                offset = storage
            elif is_bits:
                # clang gives one bit offset from the start of the struct, which is not among what is kept.
                self.assertEqual(field.number("DW_AT_data_bit_offset") // 8, offset, (name, member))
                offset = 0
            expected.append((member, offset))
        return size, expected

    def test_sizes_and_offsets_are_those_of_gdb(self):
        compared = 0
        for path, name, entry in self.structs():
            with self.subTest(program=path.name, type=name):
                size, expected = self.expected_members(path, name, entry)
                found, = [each for each in units_of(path)[0].structs if each[0] == name.split()[1]]
                self.assertEqual(found[1], size)
                self.assertEqual([("" if re.fullmatch(r"fld_[0-9A-F]+", each) else each, offset)
                                  for each, offset in found[2]], expected)
                compared += len(expected)
        self.assertGreater(compared, 40)

    def test_dt_prints_those_sizes_and_offsets(self):
        for path, name, entry in self.structs():
            with self.subTest(program=path.name, type=name):
                size, expected = self.expected_members(path, name, entry)
                unit, name = base_name(entries_of(path)[0].text("DW_AT_name")), name.split()[1]
                shown, = run_lines(path, [f"dt {path.stem}!{unit}#{name}"])
                self.assertEqual(shown[0], f"Complex type {name}, size 0x{size:016X}")
                printed = [re.fullmatch(r"\+0x([0-9A-F]{8}): (\S+) : .+", line).groups() for line in shown[1:-1]]
                self.assertEqual([("" if re.fullmatch(r"fld_[0-9A-F]+", member) else member, int(offset, 16))
                                  for offset, member in printed], expected)
                self.assertEqual(shown[-1], "[0]")

    def test_enumerators_have_gdb_s_values_unless_they_came_in_as_signed(self):
        compared = signed = 0
        for path in programs("*_dwarf4_c_*"):
            for name in ("signal", "level"):
                entry, = [entry for unit in entries_of(path)[:1] for entry in unit.children
                          if entry.tag == "DW_TAG_enumeration_type" and entry.text("DW_AT_name") == name]
                expected = []
                for (member, value), child in zip(gdb_enumerators(path, f"enum {name}"), entry.children):
                    self.assertEqual(child.text("DW_AT_name"), member)
                    # A number in the signed form goes to a place from which no enumerator is taken: it reads 0.
                    is_signed = child.forms["DW_AT_const_value"] == "DW_FORM_sdata"
                    signed += is_signed
                    expected.append((member, 0 if is_signed else value))
                found, = [each for each in units_of(path)[0].enums if each[0] == name]
                with self.subTest(program=path.name, type=name):
                    self.assertEqual(found[2], expected)
                    shown, = run_lines(path, [f"dt {path.stem}!shapes.c#{name}"])
                    self.assertEqual(shown[1:-1], [f"{member} : {value}" for member, value in expected])
                compared += len(expected)
        self.assertGreater(compared, 20)
        self.assertGreater(signed, 2)

    def test_a_type_in_a_namespace_is_in_no_list(self):
        for path in programs("*_dwarf4_cpp_*"):
            with self.subTest(program=path.name):
                self.assertEqual(run_lines(path, ["dt *!*#Square", "dt *!*#Pair"]), [["[11]"], ["[11]"]])


def main():
    global BATCH, DUMP, DATA
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--batch", required=True, help="the batch program; dump_symbols stands beside it")
    parser.add_argument("--data", required=True, help="the programs of make_data.py")
    options, rest = parser.parse_known_args()
    BATCH = str(Path(options.batch).resolve())
    DUMP = str(Path(BATCH).with_name("dump_symbols"))
    DATA = Path(options.data)
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
