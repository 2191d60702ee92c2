#!/usr/bin/env python3
"""The demo guest: it boots in QEMU, where that is installed, and its ELF files say what is in memory.

Usage: demo_guest_test.py --batch PROGRAM --data FOLDER [unittest arguments]

The guests' files lie beside the batch program.
"""

import argparse
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
TEXT = HERE.parent / "data" / "demo_guest.txt"
SOURCES = HERE.parents[1] / "engine" / "guest"
BIN = Path()
QEMU = shutil.which("qemu-system-x86_64")
BOOT_SECONDS = 120

LOAD_ADDRESS, NOTE_ADDRESS, NOTE_MAGIC = 0x7C00, 0x500, 0x44424C53
KERNEL_ELF_FILES = ("demo.elf", "demo_first.elf", "demo_second.elf")


def by_speaker(lines):
    """Lines of one speaker always come in the same order; whose turn it is follows from the timer."""
    groups = {}
    for line in lines:
        speaker = re.match(r"(kernel: (?:first|second): |[a-z]+: )?", line).group(0)
        groups.setdefault(speaker, []).append(line)
    return groups


def load_segments(path):
    """(address, bytes) of each segment that a loader takes from the file."""
    content = path.read_bytes()
    is64 = content[4] == 2
    at, size, count = ((struct.unpack_from("<Q", content, 32)[0], *struct.unpack_from("<HH", content, 54)) if is64
                       else (struct.unpack_from("<I", content, 28)[0], *struct.unpack_from("<HH", content, 42)))
    for n in range(count):
        if is64:
            kind, _, offset, address, _, length = struct.unpack_from("<IIQQQQ", content, at + n * size)
        else:
            kind, offset, address, _, length = struct.unpack_from("<IIIII", content, at + n * size)
        if kind == 1 and length:
            yield address, content[offset:offset + length]


@unittest.skipUnless(QEMU, "QEMU is not installed")
class Boot(unittest.TestCase):
    maxDiff = None

    def run_until(self, is_done, *arguments):
        """The debug port's text once `is_done` likes its lines; the serial port must have said the same."""
        with tempfile.TemporaryDirectory() as folder:
            debug, serial = Path(folder) / "debug", Path(folder) / "serial"
            command = [QEMU, "-display", "none", "-no-reboot", "-net", "none", "-monitor", "none",
                       "-debugcon", f"file:{debug}", "-serial", f"file:{serial}", *arguments]
            with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True) as machine:
                try:
                    until = time.monotonic() + BOOT_SECONDS
                    while time.monotonic() < until and machine.poll() is None:
                        time.sleep(0.1)
                        if debug.exists() and is_done(self.whole_lines(debug)):
                            break
                    self.assertIsNone(machine.poll(), machine.stderr.read() if machine.poll() is not None else "")
                finally:
                    machine.kill()
            lines, heard = self.whole_lines(debug), self.whole_lines(serial)
            both = min(len(lines), len(heard))
            self.assertEqual(lines[:both], heard[:both])
            self.assertLessEqual(abs(len(lines) - len(heard)), 1)
            return lines

    @staticmethod
    def whole_lines(path):
        return path.read_text(errors="replace").split("\n")[:-1]

    def check_demo(self, *arguments, changed=None):
        lines = TEXT.read_text().splitlines()
        for old, new in (changed or {}).items():
            self.assertIn(old, lines)
            lines[lines.index(old)] = new
        expected = by_speaker(lines)

        def has_all(printed):
            groups = by_speaker(printed)
            return all(len(groups.get(speaker, [])) >= len(texts) for speaker, texts in expected.items())

        groups = by_speaker(self.run_until(has_all, *arguments))
        self.assertEqual({speaker: groups.get(speaker, [])[:len(texts)] for speaker, texts in expected.items()},
                         expected)
        self.assertEqual(set(groups), set(expected))

    def test_boots_from_a_disk(self):
        self.check_demo("-drive", f"format=raw,file={BIN}/demo.img,snapshot=on", "-m", "64", "-smp", "2",
                        "-cpu", "qemu64,+pdpe1gb")

    def test_boots_from_a_floppy_without_a_second_core_and_without_large_pages(self):
        self.check_demo("-drive", f"format=raw,if=floppy,file={BIN}/demo.img,snapshot=on", "-boot", "a",
                        "-m", "64", "-smp", "1", "-cpu", "qemu64,-pdpe1gb",
                        changed={"kernel: second core runs, identifier 1": "kernel: there is no second core",
                                 "kernel: pages of 4 KiB, 2 MiB and 1 GiB": "kernel: pages of 4 KiB, 2 MiB"})

    def test_boots_without_a_bios_when_a_loader_leaves_its_note(self):
        rom = bytearray(0x10000)
        rom[0xFFF0:0xFFF5] = b"\xEA" + struct.pack("<HH", LOAD_ADDRESS, 0)
        with tempfile.NamedTemporaryFile(suffix=".rom") as file:
            file.write(rom)
            file.flush()
            note = NOTE_MAGIC | (96 << 10) << 32
            self.check_demo("-bios", file.name, "-m", "96", "-smp", "2", "-cpu", "qemu64,+pdpe1gb",
                            "-device", f"loader,file={BIN}/demo.img,addr={LOAD_ADDRESS:#x},force-raw=on",
                            "-device", f"loader,addr={NOTE_ADDRESS:#x},data={note:#x},data-len=8",
                            changed={"kernel: long mode, 64 MiB": "kernel: long mode, 96 MiB"})

    def test_variants_stay_in_their_kind_of_paging(self):
        for guest, kind in (("demo32", "32"), ("demopae", "PAE")):
            with self.subTest(guest):
                lines = self.run_until(bool, "-drive", f"format=raw,file={BIN}/{guest}.img,snapshot=on", "-m", "64")
                self.assertEqual(lines, [f"variant: paging {kind} is on"])


class Files(unittest.TestCase):
    def test_elf_files_hold_the_bytes_that_the_image_brings(self):
        image = (BIN / "demo.img").read_bytes()
        for name in KERNEL_ELF_FILES:
            segments = list(load_segments(BIN / name))
            self.assertTrue(segments, name)
            for address, content in segments:
                self.assertIn(content, image, f"{name}: {address:#x}")

    def test_images_are_the_boot_codes_segments(self):
        for elf, image in (("demo_boot", "demo"), ("demo32", "demo32"), ("demopae", "demopae")):
            (address, content), = load_segments(BIN / f"{elf}.elf")
            self.assertEqual(address, LOAD_ADDRESS)
            self.assertEqual(content, (BIN / f"{image}.img").read_bytes())

    def test_processes_differ_at_the_same_address(self):
        first, second = (dict(load_segments(BIN / f"demo_{name}.elf"))[0x400000] for name in ("first", "second"))
        self.assertNotEqual(first[0x100:0x140], second[0x100:0x140])

    def test_no_folder_of_the_machine_that_made_them_is_left(self):
        for path in (*BIN.glob("demo*.elf"), *BIN.glob("demo*.img")):
            content = path.read_bytes()
            for folder in (str(BIN.parent), str(SOURCES.parents[1])):
                self.assertNotIn(folder.encode(), content, path.name)


def main():
    global BIN
    parser = argparse.ArgumentParser()
    parser.add_argument("--batch", required=True, type=Path)
    parser.add_argument("--data", required=True, type=Path)
    arguments, rest = parser.parse_known_args()
    BIN = arguments.batch.resolve().parent
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
