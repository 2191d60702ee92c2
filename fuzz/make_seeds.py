#!/usr/bin/env python3
"""Writes the seeds of the fuzz targets to fuzz/seeds/TARGET/NAME (TARGET without _fuzz).

Usage: make_seeds.py [OUTPUT_FOLDER]

A target's seeds come from a function marked @seeds("TARGET") that yields (name, bytes).
"""

import pathlib
import struct
import sys

MAKERS = []  # (target, function)


def seeds(target):
    def mark(function):
        MAKERS.append((target, function))
        return function
    return mark


@seeds("location")
def location_seeds():
    """The first byte is the mask, the rest the text."""
    texts = ["m", "m_1!u|f", "*!*|*", "*!*#t", "m!*|f#t+0x10", "C:\\m!u|in+108018", "m|f", "!|#+", "m!*|", "+0x" + "f" * 30]
    for number, text in enumerate(texts):
        for mask in (0, 8, 10, 15, 30, 31):
            yield f"{number}_{mask}", bytes([mask]) + text.encode()


@seeds("command_line")
def command_line_seeds():
    lines = ["", " ", "bc 1", "bc  1", "bcls tail", "db  10", "db m!u|f 0x20", 'db "a b"c 10', 'dt "m!u#t <x>" 1000',
             "eb 1000" + " ff" * 31, 'eval "1 + (2 * 3)"', 'help "', "connect sable usb3 192.168.1.5", "t 007",
             'lsf m "C:\\a b\\c.pdb"', "sl one two three four five", "\x80\xff q", "rdmsr " + "1" * 32, "q" * 64]
    for number, line in enumerate(lines):
        yield str(number), line.encode("latin-1")


@seeds("type_display")
def type_display_seeds():
    """Types as kind, length and text of the name, length and bytes of the size, and what the kind adds; then
    a byte for each reference. The whole is printed as a format as well."""
    def named(kind, name, size, *numbers):
        parts = [bytes([kind, len(name)]), name.encode()]
        for number in (size, *numbers):
            text = number.to_bytes(8, "big").lstrip(b"\0")
            parts.append(bytes([len(text)]) + text)
        return b"".join(parts)
    integer = named(0, "int", 4)
    yield "basic", integer + named(0, "wide", 16) + named(0, "huge", 2**63 + 4)
    yield "circle", b"".join(named(2, "", flags) for flags in (1, 2, 4, 8, 16, 0)) + bytes(64)
    yield "one_of_each", integer + b"".join(named(kind, "k%d%%" % kind, 8, 1, 3) for kind in range(1, 8)) + bytes(range(16))
    for number, text in enumerate(["%08llX %-20s %n", "operator%=", "%*.*f%#o%+5d", "% -+#0999999999999.99999a", "%5%d%"]):
        yield f"format_{number}", text.encode()


@seeds("expression")
def expression_seeds():
    texts = ["1 + (2 * 3)", "2 ^^ 3 ^^ 2", "-5", "min(1,2)", "mxy", "1 )( 2", "min + 1", "(m)1)(5", "1 << 41", "0xff,",
             "5 > 3 && 1", "1 / 0", "[{(1)}] % 7", "1 == 2 != 3 <= 4 >= 5 || 6 | 7 & 8 ^ 9 >> 1 < 2", "(" * 99 + ")" * 99]
    for number, text in enumerate(texts):
        yield str(number), text.encode()


@seeds("address")
def address_seeds():
    texts = ["#1000", "1000", "8:1000", "1000@2000", "8:1000@2000", "1000@8:2000", "#8:1000", "1:2:3", "1@2@3", "#", ":",
             "@", "12xz34", "0x10:0xFFFF800000000000@0x1AA000", "f" * 63, "f" * 64, "FFFFFFFFFFFFFFFFF", "##1", "#1@2"]
    for number, text in enumerate(texts):
        yield str(number), text.encode()


@seeds("name_trie")
def name_trie_seeds():
    """The first byte sets the memory limit; then, each time, length * 4 + operation and the key."""
    def steps(limit, *parts):
        return bytes([limit]) + b"".join(bytes([len(key) * 4 + operation]) + key for operation, key in parts)
    insert, append, remove, keep = range(4)
    yield "split", steps(0, (insert, b"abcdef"), (keep, b"abc"), (insert, b"abx"), (remove, b"abcdef"), (insert, b"abc"))
    yield "interior", steps(0, (insert, b"bcls"), (insert, b"bc"), (remove, b"bc"), (insert, b"bc"), (remove, b"bcls"))
    yield "root", steps(0, (insert, b""), (insert, b"a"), (remove, b"a"), (remove, b""), (insert, b"ab"))
    yield "long", steps(0, *[(append, b"0123456789" * 6)] * 8, (insert, b"\x80"), (remove, b"0123456789" * 6))
    yield "starved", steps(140, *[(insert, bytes([97 + i]) * 20) for i in range(20)], (remove, b"c" * 20), (keep, b"cc"))


LOAD_MODES = (0, 1, 3, 5, 7, 16 + 1)  # to pages, unsized reader, moved, indexed names


def elf_file(wide, kind=2, symbol_table=2, relocations=True):
    """A segment, a symbol table of two files with a function each, and their names."""
    head, segment, section, symbol = (64, 56, 64, 24) if wide else (52, 32, 40, 16)
    names = b"\0.strtab\0.symtab\0.debug_info\0"
    strings = b"\0a.c\0main\0b.c\0helper\0"

    def one_symbol(name, info, value=0, size=0, index=1):
        if wide:
            return struct.pack("<IBBHQQ", name, info, 0, index, value, size)
        return struct.pack("<IIIBBH", name, value, size, info, 0, index)

    symbols = (one_symbol(0, 0) + one_symbol(1, 4) + one_symbol(5, 2, 0x400010, 16) + one_symbol(10, 4)
               + one_symbol(14, 2, 0x400020, 8) + one_symbol(0, 4))
    code = bytes(range(64))
    at = head + segment
    places = []
    for part in (code, strings, symbols, names):
        places.append(at)
        at += len(part)
    words = "<IIQQQQIIQQ" if wide else "<IIIIIIIIII"
    sections = [(0,) * 10, (1, 3, 0, 0, places[1], len(strings), 0, 0, 1, 0),
                (9, symbol_table, 0, 0, places[2], len(symbols), 1, 0, 8, symbol),
                (17, 9 if relocations else 1, 0, 0x400000, places[0], 8, 0, 0, 1, 0),
                (0, 3, 0, 0, places[3], len(names), 0, 0, 1, 0)]
    header = struct.pack("<4sBBB9xHHI" + ("QQQ" if wide else "III") + "IHHHHHH", b"\x7fELF", 1 + wide, 1, 1, kind,
                         62 if wide else 3, 1, 0x400010, head, at, 0, head, segment, 1, section, len(sections),
                         len(sections) - 1)
    if wide:
        program = struct.pack("<IIQQQQQQ", 1, 5, places[0], 0x400000, 0x400000, len(code), 0x2100, 0x1000)
    else:
        program = struct.pack("<IIIIIIII", 1, places[0], 0x400000, 0x400000, len(code), 0x2100, 5, 0x1000)
    table = b"".join(struct.pack(words, *entry) for entry in sections)
    return header + program + code + strings + symbols + names + table


@seeds("elf")
def elf_seeds():
    """The first byte is the mode of the load, the rest the file."""
    files = {"wide": elf_file(True), "narrow": elf_file(False), "object": elf_file(True, kind=1),
             "library": elf_file(True, kind=3, symbol_table=11), "fixed": elf_file(False, relocations=False)}
    for name, content in files.items():
        for mode in LOAD_MODES:
            yield f"{name}_{mode}", bytes([mode]) + content


def pe_file(wide):
    """Code, a CodeView record and one block of relocations, laid out in the file as in memory."""
    machine, magic, size = (0x8664, 0x20B, 240) if wide else (0x14C, 0x10B, 224)
    directories = [(0, 0)] * 16
    directories[5], directories[6] = (0x600, 16), (0x500, 28)
    optional = struct.pack("<HBBIIIII", magic, 1, 0, 0x100, 0, 0, 0x410, 0x400)
    optional += struct.pack("<Q", 0x10000000) if wide else struct.pack("<II", 0x500, 0x10000000)
    optional += struct.pack("<IIHHHHHHIIIIHH", 16, 16, 6, 0, 0, 0, 6, 0, 0, 0x700, 0x300, 0, 3, 0x40)
    optional += struct.pack("<QQQQII" if wide else "<IIIIII", 0x1000, 0x1000, 0x1000, 0x1000, 0, 16)
    optional += b"".join(struct.pack("<II", *entry) for entry in directories)
    sections = b"".join(struct.pack("<8sIIIIIIHHI", name, 0x100, at, 0x100, at, 0, 0, 0, 0, 0)
                        for name, at in ((b".text", 0x400), (b"longname", 0x500), (b".reloc", 0x600)))
    head = struct.pack("<H58xI", 0x5A4D, 0x40) + struct.pack("<IHHIIIHH", 0x4550, machine, 3, 0, 0, 0, size, 0x22)
    debug = struct.pack("<IIHHIIII", 0, 0, 0, 0, 2, 34, 0x51C, 0x51C) + b"RSDS" + bytes(16) + struct.pack("<I", 1)
    relocations = struct.pack("<IIHHHH", 0x400, 16, 0x3010, 0xA020, 0x1030, 0x2040)
    return ((head + optional + sections).ljust(0x400, b"\0") + bytes(range(256))
            + (debug + b"C:\\k.pdb\0").ljust(0x100, b"\0") + relocations.ljust(0x100, b"\0"))


@seeds("pe")
def pe_seeds():
    """As for elf; mode 8 reads the image from a target's memory."""
    for name, content in (("wide", pe_file(True)), ("narrow", pe_file(False))):
        for mode in LOAD_MODES + (8, 10):
            yield f"{name}_{mode}", bytes([mode]) + content


def line_program(version, tables, code, wide=False):
    """A program with the header fields of common compilers."""
    body = struct.pack("<H", version) + (b"\x08\0" if version == 5 else b"") + bytes(8 if wide else 4) + b"\x01"
    body += (b"\x01" if version >= 4 else b"") + b"\x01\xfb\x0e\x0d" + bytes((0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 0, 1))
    body += tables + code
    return (struct.pack("<IQ", 0xFFFFFFFF, len(body)) if wide else struct.pack("<I", len(body))) + body


@seeds("line_program")
def line_program_seeds():
    """The first byte: 1 for a 32-bit unit, 2 for texts in sections, 4 times the program's offset; then .debug_line."""
    old = b"/inc\0sub\0\0a.c\0\0\1\2b.h\0\1\1\2\0"
    inline = b"\1\1\x08\2/build\0/inc\0" + b"\2\1\x08\2\x0b\2a.c\0\0b.h\0\1"
    every = (b"\1\1\x1f\1" + bytes(4) + b"\5\1\x0e\2\x0f\3\x09\4\x06\5\x1e\1" + bytes(4) + b"\1\2ab" + bytes(20))
    code = (b"\0\x09\2" + struct.pack("<Q", 0x1000) + b"\x12\x05\x07\x03\x09\x01\x02\x04\x04\x02\xd0\x06\x08"
            b"\0\2\4\1\x0a\0\1\1\0\5\2" + struct.pack("<I", 0x2000) + b"\x14\x02\x02\0\1\1")
    logged = b"\7\x09\5\x0a\x0b\x0c\1\0\5\3x\0\1\2\3\1"
    programs = {"old": line_program(3, old, code), "four": line_program(4, old, code + logged),
                "five": line_program(5, inline, code), "wide": line_program(5, inline, code, wide=True),
                "forms": line_program(5, every, code), "none": line_program(2, b"\0\0", logged),
                "many": line_program(4, b"d\0" * 1026 + b"\0" + b"f\0\0\0\0" * 1026 + b"\0", code)}
    for name, content in programs.items():
        for mode in (0, 1, 3):
            yield f"{name}_{mode}", bytes([mode]) + content
    yield "offset", bytes([1 + 4 * 4]) + bytes(4) + programs["four"]


def uleb(number):
    out = b""
    while number > 0x7F:
        out += bytes([number & 0x7F | 0x80])
        number >>= 7
    return out + bytes([number])


class DwarfUnit:
    """The bytes of one unit and of its declarations, entry by entry."""

    def __init__(self, version=4, wide=False, size=8):
        self.version, self.wide, self.size = version, wide, size
        self.info, self.abbrev = b"", b""

    def entry(self, tag, children, *attributes):
        """Each attribute: its number, its form, and the bytes in the entry."""
        code = self.abbrev_count = getattr(self, "abbrev_count", 0) + 1
        self.abbrev += uleb(code) + uleb(tag) + bytes([children])
        self.abbrev += b"".join(uleb(number) + uleb(form) + (b"\x7f" if form == 0x21 else b"")
                                for number, form, _ in attributes) + b"\0\0"
        start = self.here()
        self.info += uleb(code) + b"".join(value for _, _, value in attributes)
        return start

    def here(self):
        return (12 if self.wide else 4) + len(self.header()) + len(self.info)

    def end(self):
        self.info += b"\0"

    def header(self):
        offset = bytes(8 if self.wide else 4)
        version = struct.pack("<H", self.version)
        return version + (bytes([1, self.size]) + offset if self.version >= 5 else offset + bytes([self.size]))

    def build(self):
        body = self.header() + self.info
        length = struct.pack("<IQ", 0xFFFFFFFF, len(body)) if self.wide else struct.pack("<I", len(body))
        return length + body


def dwarf_unit(version, wide, size, every_form=False):
    unit = DwarfUnit(version, wide, size)
    address = lambda number: number.to_bytes(size, "little")
    offset = lambda number: number.to_bytes(8 if wide else 4, "little")
    ref = lambda number: struct.pack("<I", number)
    name = lambda text: (3, 8, text + b"\0")
    unit.entry(0x11, 1, (3, 0x0E, offset(1)), (0x1B, 8, b"/src\0"), (0x11, 1, address(0x40)), (0x12, 5, b"\x80\0"),
               (0x10, 0x17, offset(0)), (0x55, 0x17, offset(0)))
    if every_form:
        long = b"\x03abc"
        for form, value in ((0x03, b"\3\0abc"), (0x04, b"\3\0\0\0abc"), (0x09, long), (0x0A, long), (0x18, long),
                            (0x05, b"ab"), (0x06, b"abcd"), (0x07, b"abcdefgh"), (0x0B, b"a"), (0x0C, b"\1"),
                            (0x0D, b"\x7e"), (0x0F, b"\x80\1"), (0x10, offset(30)), (0x11, b"a"), (0x12, b"ab"),
                            (0x14, bytes(8)), (0x15, b"\x1e"), (0x19, b""), (0x1F, offset(0)), (0x21, b""), (0x16, b""),
                            (0x20, b""), (0x1A, b""), (0x23, b"")):
            unit.entry(0x34, 0, (0x49, form, value), (0x5A, 0x0B, b"a"))
        return unit
    integer = unit.entry(0x24, 0, name(b"int"), (0x0B, 0x0B, b"\4"), (0x3E, 0x0B, b"\5"))
    node = unit.entry(0x13, 1, name(b"node"), (0x0B, 0x0B, b"\x10"))
    unit.entry(0x0D, 0, name(b"next"), (0x49, 0x13, ref(node)), (0x38, 0x0B, b"\0"))
    unit.end()
    pointer = unit.entry(0x0F, 0, (0x49, 0x13, ref(node)))
    unit.entry(0x16, 0, (0x49, 0x13, ref(unit.here())))
    unit.entry(0x01, 1, (0x49, 0x13, ref(pointer)))
    unit.entry(0x21, 0, (0x49, 0x13, ref(integer)), (0x2F, 0x0B, b"\7"))
    unit.end()
    unit.entry(0x04, 1, name(b"colour"), (0x49, 0x13, ref(integer)))
    unit.entry(0x28, 0, name(b"red"), (0x1C, 0x0D, b"\1"))
    unit.end()
    unit.entry(0x15, 1, (0x49, 0x13, ref(integer)))
    unit.entry(0x05, 0, (0x49, 0x13, ref(pointer)))
    unit.end()
    origin = unit.entry(0x2E, 1, name(b"inlined"), (0x49, 0x13, ref(integer)))
    unit.entry(0x05, 0, name(b"a"))
    unit.end()
    unit.entry(0x2E, 1, name(b"main"), (0x11, 1, address(0x50)), (0x12, 0x0B, b"\x20"), (0x40, 0x18, b"\1\x9c"))
    unit.entry(0x1D, 0, (0x31, 0x13, ref(origin)), (0x55, 0x17, offset(0)))
    unit.entry(0x0B, 1)
    unit.entry(0x34, 0, name(b"hidden"))
    unit.end()
    unit.entry(0x34, 0, name(b"local"), (0x49, 0x13, ref(pointer)))
    unit.end()
    unit.entry(0x34, 0, name(b"global"), (0x49, 0x13, ref(pointer)), (0x02, 0x18, b"\1\3"))
    unit.end()
    return unit


def range_lists(size):
    """A list of each version, and the addresses of the second."""
    address = lambda number: number.to_bytes(size, "little")
    ones = b"\xff" * size
    old = b"".join((address(0x40), address(0x60), ones, address(0x70), address(1), address(9), address(0) * 2))
    new = b"".join((b"\4\x10\x20\5", address(0x60), b"\4\1\2\1\0\2\0\6", address(0x40), address(0x50), b"\7",
                    address(0x30), b"\x80\1\x09\3\0\x30\0"))
    return old, new, address(0x44) + address(0x55)


@seeds("dwarf_info")
def dwarf_info_seeds():
    """The first byte: 1 for indexed names, 2 for a moved file; the lengths of the eight sections; the sections."""
    for version in (3, 4, 5):
        for wide in (False, True):
            for size in (4, 8):
                for every_form in (False, True):
                    unit = dwarf_unit(version, wide, size, every_form)
                    old, new, addresses = range_lists(size)
                    lines = line_program(4, b"\0\0", b"\0\x05\2" + struct.pack("<I", 0x50) + b"\1\0\1\1")
                    # The second unit uses the declarations of the first.
                    sections = (unit.build() * 2, unit.abbrev + b"\0", b"\0/src/u.c\0", b"line\0", old, new, addresses,
                                lines)
                    content = b"".join(struct.pack("<H", len(part)) for part in sections) + b"".join(sections)
                    for mode in (0, 3):
                        yield f"{version}_{wide:d}_{size}_{every_form:d}_{mode}", bytes([mode]) + content


@seeds("range_list")
def range_list_seeds():
    """Size of an address, offset of the list, length of the addresses; then these and the section."""
    for size in (1, 2, 4, 8):
        old, new, addresses = range_lists(size)
        for name, content in (("old", old), ("new", new)):
            for offset in (0, 2 * size):
                yield f"{name}_{size}_{offset}", bytes([size, offset, len(addresses)]) + addresses + content


@seeds("source_path")
def source_path_seeds():
    """The first byte: 1 for the other separator, 2 for a root; then the path, which is also the text of a file."""
    texts = ["/home/u/../a.c", "C:\\x\\a.c", "../../a", "./a/./b/..", "//\\//", "", "a\nb\n\nc", "/a/b/c/d/e/../../../f.c"]
    for number, text in enumerate(texts):
        for mode in range(4):
            yield f"{number}_{mode}", bytes([mode]) + text.encode()


@seeds("engine_memory")
def engine_memory_seeds():
    """Settings of the processor and the questions; then RAM with tables of 32-bit, PAE and 4-level paging."""
    def ram(width, *entries):
        memory = bytearray(0x6000)
        for place, entry in entries:
            memory[place:place + width] = entry.to_bytes(width, "little")
        memory[0x5000:0x5008] = b"MZ\0\0\0\0\0\0"
        return bytes(memory)

    tables = {
        0: (b"", 0x5000),
        1: (ram(4, (0x1000, 0x2003), (0x1004, 0x83), (0x2004, 0x5003), (0x2008, 0x4003)), 0x1000),
        2: (ram(8, (0x1000, 0x2001), (0x2000, 0x3003), (0x2008, 0x83), (0x3008, 0x5003)), 0x1000),
        3: (ram(8, (0x1000, 0x2003), (0x1FF8, 0x1003), (0x2000, 0x3003), (0x2008, 0x83), (0x3000, 0x4003),
                (0x3008, 0x83), (0x4008, 0x5003)), 0x1000),
        4: (b"", 0),
    }
    for mode, (memory, linear) in tables.items():
        for features in (0x63, 0xA3, 0x00):
            for address in (linear, linear + 0xFFE, 0xFFFFFFFFFFFFFFF8):
                settings = struct.pack("<BBBBHHQQQQ", mode, features, 8, 1, 8, 1, 0x1000, address, 0x20000, 0x3F0000)
                yield f"{mode}_{features}_{address & 0xFFFF:x}", settings + memory
    for number, text in enumerate(("demo", "demo,ram=128M", "demo,ram=2G", "demo,ram=,")):
        yield f"name_{number}", text.encode()


def main():
    here = pathlib.Path(__file__).resolve().parent
    root = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else here / "seeds"
    for target, function in MAKERS:
        folder = root / target
        folder.mkdir(parents=True, exist_ok=True)
        for name, data in function():
            (folder / name).write_bytes(data)


if __name__ == "__main__":
    main()
