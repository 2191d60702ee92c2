"""What a load keeps of the functions of a program, worked out from the entries that readelf prints."""

import re
import subprocess

TIME_LIMIT_SECONDS = 300


def output_of(*command):
    return subprocess.run([str(word) for word in command], check=True, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, text=True, errors="replace", timeout=TIME_LIMIT_SECONDS).stdout


class Entry:
    def __init__(self, depth, offset, tag, forms):
        self.depth = depth
        self.offset = offset
        self.tag = tag
        self.forms = forms
        self.values = {}
        self.children = []

    def text(self, attribute):
        """The text of a string attribute, whatever the form that readelf names before it."""
        value = self.values.get(attribute)
        return None if value is None else re.sub(r"^\(.*?offset: 0x[0-9a-f]+\): ", "", value)

    def number(self, attribute):
        value = self.values.get(attribute)
        return None if value is None else int(re.match(r"-?(0x[0-9a-f]+|\d+)", value).group(), 0)


def abbreviation_forms(path):
    """{table offset: {number: {attribute: form}}}"""
    tables, table, forms = {}, None, None
    for line in output_of("readelf", "--debug-dump=abbrev", path).splitlines():
        if match := re.match(r"\s+Number TAG \((0x[0-9a-f]+|0)\)", line):
            table = tables.setdefault(int(match.group(1), 0), {})
        elif match := re.match(r"\s+(\d+)\s+\S+\s+\[(?:has|no) children\]", line):
            forms = table.setdefault(int(match.group(1)), {})
        elif match := re.match(r"\s+(DW_AT_\w+)\s+(DW_FORM_\w+)", line):
            forms[match.group(1)] = match.group(2)
    return tables


def entries_of(path):
    """The unit entries, in the order of the file, each a tree."""
    tables, table, version = abbreviation_forms(path), None, 0
    units, stack = [], []
    for line in output_of("readelf", "--debug-dump=info", path).splitlines():
        if match := re.match(r"\s+Version:\s+(\d+)", line):
            version = int(match.group(1))
        elif match := re.match(r"\s+Abbrev Offset:\s+(0x[0-9a-f]+|0)", line):
            table = tables[int(match.group(1), 0)]
        elif match := re.match(r" <(\d+)><([0-9a-f]+)>: Abbrev Number: (\d+)(?: \((\w+)\))?", line):
            depth, number = int(match.group(1)), int(match.group(3))
            if number == 0:
                continue
            entry = Entry(depth, int(match.group(2), 16), match.group(4), table[number])
            entry.version = version
            del stack[depth:]
            (stack[-1].children if stack else units).append(entry)
            stack.append(entry)
        elif match := re.match(r"\s+<[0-9a-f]+>\s+(DW_AT_\w+)\s*: (.*)", line):
            stack[-1].values[match.group(1)] = match.group(2).split("\t")[0].strip()
    return units


def ranges_by_offset(path):
    """.debug_ranges as readelf prints it: {list offset: [(begin, end)]}, each with the unit's base added."""
    lists = {}
    for line in output_of("readelf", "--debug-dump=Ranges", path).splitlines():
        if match := re.match(r"\s+([0-9a-f]{8}) ([0-9a-f]{16}) ([0-9a-f]{16})(.*)", line):
            assert "base" not in match.group(4), f"{path}: a base selection, which the compilers here do not write"
            lists.setdefault(int(match.group(1), 16), []).append((int(match.group(2), 16), int(match.group(3), 16)))
    return lists


class Expectation:
    """What the reader keeps of the functions of one unit of version 4, by its own rules."""

    def __init__(self, unit, lists):
        self.unit = unit
        self.lists = lists
        self.base = unit.number("DW_AT_low_pc") or 0
        self.functions = []   # (name or None, entry, is inlined, ranges)
        # Only direct children of the unit are looked at: what stands in a namespace, in a struct or under a
        # lexical block has no parent that could own it, so it is dropped.
        for entry in unit.children:
            if entry.tag == "DW_TAG_subprogram":
                self.add_function(entry)

    def add_function(self, entry):
        # A nested function or inlined call comes before the one it stands in: look-ups take the first that holds
        # an address, and that has to be the innermost.
        for child in entry.children:
            if child.tag in ("DW_TAG_subprogram", "DW_TAG_inlined_subroutine"):
                self.add_function(child)
        ranges = self.ranges_of(entry)
        ranges = [(start, size) for start, size in ranges if size != 0 or "DW_AT_ranges" not in entry.values]
        if ranges:
            start = entry.number("DW_AT_low_pc") if "DW_AT_high_pc" in entry.values else 0
            # Declarations and calls without code are not functions. A name comes from the entry itself, never
            # from the entry that it is an instance of: those get a name of their own, fn_ and their number.
            self.functions.append((entry.text("DW_AT_name"), start, entry.tag == "DW_TAG_inlined_subroutine", ranges))

    def ranges_of(self, entry):
        ranges = []
        if "DW_AT_high_pc" in entry.values:
            ranges.append((entry.number("DW_AT_low_pc"), entry.number("DW_AT_high_pc")))
        if "DW_AT_ranges" in entry.values:
            ranges += self.list_at(entry.number("DW_AT_ranges"))
        return ranges

    def list_at(self, offset):
        # A list does not start from the unit's low pc, which readelf adds: it starts from 0. A pair (0, x) is
        # taken for a base selection, because the marker with which its begin is compared is 0 as well.
        ranges, base = [], 0
        for begin, end in self.lists.get(offset, []):
            begin, end = begin - self.base, end - self.base
            if begin == 0 and end != 0:
                base = end
            elif begin != end:
                ranges.append((base + begin, end - begin))
        return ranges


def with_unique_names(functions):
    """The n-th function of one name becomes name_n, as far as that is free; None stays: a made-up name."""
    taken, done = set(), []
    for name, *rest in functions:
        if name is not None:
            unique, number = name, 0
            while unique in taken:
                number += 1
                unique = f"{name}_{number}"
            taken.add(unique)
            name = unique
        done.append((name, *rest))
    return done


def base_name(path):
    return re.split(r"[/\\]", path)[-1]
