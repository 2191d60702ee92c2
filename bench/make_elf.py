#!/usr/bin/env python3
"""Writes a large ELF program without debug information, for measuring loads against other programs.

Usage: make_elf.py OUTPUT [--megabytes 100] [--functions 100000] [--table dynsym|symtab]

`dynsym` is what a stripped library keeps: functions alone. `symtab` has a file symbol before every 100 of them.
"""

import argparse
import random
import struct

HEADER, SEGMENT, SECTION, SYMBOL = 64, 56, 64, 24
CODE_ADDRESS = 0x1000


def symbols(functions, with_files):
    """The symbol table and its strings."""
    strings = bytearray(b"\0file.c\0")
    table = bytearray(SYMBOL)
    for number in range(functions):
        if with_files and number % 100 == 0:
            table += struct.pack("<IBBHQQ", 1, 4, 0, 0xFFF1, 0, 0)
        table += struct.pack("<IBBHQQ", len(strings), 0x12, 0, 1, CODE_ADDRESS + number * 256, 200)
        strings += b"some_library_function_%d\0" % number
    if with_files:
        table += struct.pack("<IBBHQQ", 0, 4, 0, 0xFFF1, 0, 0)
    return bytes(table), bytes(strings)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("output")
    parser.add_argument("--megabytes", type=int, default=100)
    parser.add_argument("--functions", type=int, default=100000)
    parser.add_argument("--table", choices=("dynsym", "symtab"), default="dynsym")
    arguments = parser.parse_args()

    code = random.Random(1).randbytes(arguments.megabytes << 20)
    table, strings = symbols(arguments.functions, arguments.table == "symtab")
    table_name = b"." + arguments.table.encode()
    names = b"\0.text\0.strtab\0" + table_name + b"\0.shstrtab\0"
    parts = (code, strings, table, names)
    offsets = [0x1000]  # the code lies in the file as it does in memory
    for part in parts:
        offsets.append((offsets[-1] + len(part) + 7) // 8 * 8)

    table_type = 2 if arguments.table == "symtab" else 11
    rows = [(0,) * 10,
            (1, 1, 6, CODE_ADDRESS, offsets[0], len(code), 0, 0, 16, 0),
            (7, 3, 0, 0, offsets[1], len(strings), 0, 0, 1, 0),
            (15, table_type, 2, 0, offsets[2], len(table), 2, 1, 8, SYMBOL),
            (15 + len(table_name) + 1, 3, 0, 0, offsets[3], len(names), 0, 0, 1, 0)]
    header = struct.pack("<4sBBB9xHHIQQQIHHHHHH", b"\x7fELF", 2, 1, 1, 3, 62, 1, CODE_ADDRESS, HEADER, offsets[4],
                         0, HEADER, SEGMENT, 1, SECTION, len(rows), len(rows) - 1)
    program = struct.pack("<IIQQQQQQ", 1, 5, offsets[0], CODE_ADDRESS, CODE_ADDRESS, len(code), len(code), 0x1000)
    with open(arguments.output, "wb") as out:
        out.write(header + program)
        for offset, part in zip(offsets, parts):
            out.seek(offset)
            out.write(part)
        out.seek(offsets[4])
        out.write(b"".join(struct.pack("<IIQQQQIIQQ", *row) for row in rows))


if __name__ == "__main__":
    main()
