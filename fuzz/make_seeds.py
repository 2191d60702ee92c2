#!/usr/bin/env python3
"""Writes the seeds of the fuzz targets to fuzz/seeds/TARGET/NAME (TARGET without _fuzz).

Usage: make_seeds.py [OUTPUT_FOLDER]

A target's seeds come from a function marked @seeds("TARGET") that yields (name, bytes).
"""

import pathlib
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
