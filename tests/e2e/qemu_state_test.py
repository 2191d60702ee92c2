#!/usr/bin/env python3
"""The simulated PC has the registers that QEMU has, at the same places of the demo guest.

Usage: qemu_state_test.py --batch PROGRAM --data FOLDER [unittest arguments]

The guest is started alike, by a loader that leaves a note. Up to the timer's first interrupt everything is
compared; behind it, what does not depend on when that came.
"""

import struct
import tempfile
import unittest
from pathlib import Path
from shutil import which
from subprocess import DEVNULL, Popen

from gdb_link import GdbLink
from live_session import LIVE

QEMU = which("qemu-system-x86_64")
SECONDS = 60

LOAD_ADDRESS, NOTE_ADDRESS, NOTE_MAGIC, RAM_KIB = 0x7C00, 0x500, 0x44424C53, 64 << 10
RESUME_FLAG = 1 << 16  # QEMU has it set behind a breakpoint of its debug server
GENERAL = ("rax", "rbx", "rcx", "rdx", "rsi", "rdi", "rbp", "rsp", "r8", "r9", "r10", "r11", "r12", "r13", "r14",
           "r15", "rip", "rfl")
SYSTEM = ("cs", "ss", "fs", "gs", "fs_base", "gs_base", "cr0", "cr3", "cr4", "cr8")
FROM_PROCESSES = ("ds", "es", "cr2")  # as the last process left them, so it matters whether one has run
SAVED = ("rbx", "rbp", "rsp", "rip", "r12", "r13", "r14", "r15")  # what calls and interrupts leave alone

SIGNATURE = {("bootMain", "rdx")}  # from the reset: which processor it is

# Functions in the order in which they are called, with the file that names them.
BEFORE_THE_TIMER = [("demo_boot.elf", "bootMain"), ("demo.elf", "kernelMain"), ("demo.elf", "pagingInit"),
                    ("demo.elf", "descriptorsInit"), ("demo.elf", "timerInit")]
BEHIND_IT = [("demo.elf", name) for name in ("heapInit", "processesInit", "kernelLoop", "kernelRound", "listInsert",
                                             "listWalk", "fibonacci", "ackermann", "samplesChange")]


@unittest.skipUnless(QEMU, "QEMU is not installed")
class Registers(unittest.TestCase):
    maxDiff = None

    def start_qemu(self, folder):
        rom = bytearray(0x10000)
        rom[0xFFF0:0xFFF5] = b"\xEA" + struct.pack("<HH", LOAD_ADDRESS, 0)
        (folder / "rom").write_bytes(rom)
        note = NOTE_MAGIC | RAM_KIB << 32
        machine = Popen([QEMU, "-display", "none", "-no-reboot", "-net", "none", "-monitor", "none", "-serial", "none",
                         "-bios", folder / "rom", "-m", "64", "-smp", "2", "-cpu", "qemu64,+pdpe1gb", "-S",
                         "-chardev", f"socket,id=debug,path={folder}/debug,server=on,wait=off", "-gdb", "chardev:debug",
                         "-device", f"loader,file={LIVE.folder}/demo.img,addr={LOAD_ADDRESS:#x},force-raw=on",
                         "-device", f"loader,addr={NOTE_ADDRESS:#x},data={note:#x},data-len=8"],
                        stdout=DEVNULL, stderr=DEVNULL)
        self.addCleanup(machine.wait)
        self.addCleanup(machine.kill)

    def in_qemu(self, addresses):
        with tempfile.TemporaryDirectory() as name:
            self.start_qemu(Path(name))
            link = GdbLink(f"{name}/debug", SECONDS)
            self.addCleanup(link.close)
            rows = []
            for address in addresses:
                link.run_to(address)
                rows.append(link.registers())
            return rows

    @staticmethod
    def in_the_simulated_pc(places):
        lines = [line for place in places for line in (f"bp #{place:X}", "g", ".wait", "r", "bcls")]
        return [step.registers() for step in LIVE.run(*lines) if step.line == "r"]

    def test_are_the_same_at_chosen_places(self):
        places = BEFORE_THE_TIMER + BEHIND_IT
        addresses = [LIVE.symbol(name, file) for file, name in places]
        ours = self.in_the_simulated_pc([address & 0x7FFFFFFF for address in addresses])
        theirs = self.in_qemu(addresses)
        self.assertEqual(len(ours), len(theirs))
        for place, own, other in zip(places, ours, theirs):
            other["rfl"] &= ~RESUME_FLAG
            names = SYSTEM + (GENERAL + FROM_PROCESSES if place in BEFORE_THE_TIMER else SAVED)
            names = [name for name in names if (place[1], name) not in SIGNATURE]
            with self.subTest(place):
                self.assertEqual({name: f"{own[name]:X}" for name in names},
                                 {name: f"{other[name]:X}" for name in names})


if __name__ == "__main__":
    LIVE.run_tests()
