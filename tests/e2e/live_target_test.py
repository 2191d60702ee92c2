#!/usr/bin/env python3
"""The whole way from a typed line to the simulated PC and back.

Usage: live_target_test.py --batch PROGRAM --data FOLDER [unittest arguments]
"""

import re
import time
import unittest
from pathlib import Path

from live_session import LIVE

WHILE_IT_ARRIVES = ".sleep 1500"  # text of the target comes on a thread of its own
PAGE_WALK_END = re.compile(r"Linear ([0-9A-F]{16}) is ([0-9A-F]{16}) physical")


def translated(step):
    """The physical address that `pte` ends with."""
    return int(PAGE_WALK_END.fullmatch(step.output[-1]).group(2), 16)


class Memory(unittest.TestCase):
    maxDiff = None

    def check_page(self, address, physical, kind, prepare, connect="connect sable local", selector=0x10):
        steps = LIVE.run(*prepare, f"pte {address:X}", f"db {selector:X}:{address:X} 40", f"db {address:X} 40",
                         f"db #{physical:X} 40", connect=connect)
        walk, by_segment, linear, by_physical = steps[-4:]
        self.assertEqual([step.status for step in (walk, by_segment, linear, by_physical)], [0, 0, 0, 0])
        self.assertEqual(translated(walk), physical)
        self.assertTrue(any(row.startswith(kind) for row in walk.output), walk.output)
        self.assertEqual(by_segment.dumped_bytes(), by_physical.dumped_bytes())
        self.assertEqual(linear.dumped_bytes(), by_physical.dumped_bytes())
        return by_physical.dumped_bytes()

    def test_each_kind_of_address_shows_the_same_bytes(self):
        start = LIVE.to_function("kernelRound")
        physical = LIVE.physical("kernelRound")
        seen = {self.check_page(base + physical, physical, kind, start)
                for base, kind in ((0xFFFFFFFF80000000, "4KB page"), (0xFFFF800000000000, "2MB page"),
                                   (0xFFFFC00000000000, "1GB page"))}
        self.assertEqual(len(seen), 1)
        elf = (LIVE.folder / "demo.elf").read_bytes()
        self.assertIn(seen.pop(), elf)

    def test_32_bit_and_pae_paging(self):
        for guest, mode, large in (("demo32", "32-bit paging", "4MB page"), ("demopae", "PAE paging", "2MB page")):
            with self.subTest(guest):
                step = LIVE.symbol("variantStep", f"{guest}.elf")
                connect = f"connect sable local demo,guest={guest}"
                start = [f"bp #{step:X}", "g", ".wait", "bc 0"]
                self.check_page(step, step, "4KB page", start, connect)
                word = self.check_page(0xC0000000, 0x800000, large, start, connect)
                self.assertEqual(word[:4], b"DEMO")
                self.assertEqual(LIVE.run(*start, "pte C0000000", connect=connect)[-1].output[1], mode)

    def test_without_paging_an_address_is_its_own_translation(self):
        steps = LIVE.run("pte 7C00", "pte FFFF800000123456", "db 7C00 10", "db #7C00 10", "pte #7C00")
        self.assertEqual(translated(steps[1]), 0x7C00)
        self.assertEqual(translated(steps[2]), 0xFFFFFFFFFFFFFFFF)
        self.assertEqual(steps[2].output[1], "Paging is disabled")
        self.assertEqual(steps[3].dumped_bytes(), steps[4].dumped_bytes())
        self.assertEqual((steps[5].status, steps[5].output), (18, [])) # a physical address has no walk

    def test_an_edit_is_what_the_guest_sees(self):
        count = LIVE.symbol("roundCount")
        steps = LIVE.run(*LIVE.to_function("kernelRound"), f"eq {count:X} fffff", f"dq {count:X} 8",
                         f"dq #{LIVE.physical('roundCount'):X} 8", "g", WHILE_IT_ARRIVES, "break")
        self.assertIn("00000000000FFFFF", steps[6].output[0])
        self.assertIn("00000000000FFFFF", steps[7].output[0])
        printed = [row for step in steps[8:] for row in step.remote]
        self.assertTrue(any(row.startswith("kernel: round 1048576, ") for row in printed), printed)

    def test_a_byte_to_the_debug_port_arrives_as_text(self):
        steps = LIVE.run("outb e9 48", "outb e9 69", "outb e9 a", "inb e9", WHILE_IT_ARRIVES)
        self.assertEqual([row for step in steps for row in step.remote], ["Hi"])
        self.assertIn("E9", steps[-2].output[0])

    def test_the_image_in_memory_is_found(self):
        steps = LIVE.run(*LIVE.to_function("kernelRound"), "mod.detect", "em", "mod.detect FFFFFFFF80101004")
        self.assertEqual([step.status for step in steps[5:]], [0, 0, 27])
        self.assertRegex(steps[6].output[1],
                         r"demo\.pdb +0xFFFFFFFF80100000 - 0xFFFFFFFF80101FFF +0xFFFFFFFF80101000")


class BreakPoints(unittest.TestCase):
    def stops(self, lines, count):
        """Instruction pointer and page-table root at each of `count` stops."""
        steps = LIVE.run(*lines, *["g", ".wait", "r"] * count)
        rows = [step.registers() for step in steps if step.line == "r"][-count:]
        return [(row["rip"], row["cr3"]) for row in rows]

    def process_roots(self):
        entry = LIVE.physical("syscallDispatch")
        roots = [root for _, root in self.stops([f"bp #{entry:X}"], 12)]
        self.assertEqual(len(set(roots)), 2, roots)
        return sorted(set(roots))

    def test_a_root_picks_one_of_two_processes_at_the_same_address(self):
        start = LIVE.to_function("syscallDispatch")
        for root in self.process_roots():
            with self.subTest(f"{root:X}"):
                step = 0x400100
                self.assertEqual(self.stops([*start, f"bp {step:X}@{root:X}"], 6), [(step, root)] * 6)
                shared = LIVE.symbol("syscallDispatch")
                self.assertEqual(self.stops([*start, f"bp {shared:X}@{root:X}"], 6), [(shared, root)] * 6)

    def test_one_without_a_root_belongs_to_the_present_one(self):
        shared = LIVE.symbol("syscallDispatch")
        steps = LIVE.run(*LIVE.to_function("syscallDispatch"), "r", f"bp {shared:X}", "g", ".wait", "r")
        self.assertEqual(steps[-1].registers()["cr3"], steps[5].registers()["cr3"])

    def test_a_physical_one_overrides_the_others_and_a_cleared_one_does_not_stop(self):
        place = LIVE.symbol("kernelRound")
        physical = LIVE.physical("kernelRound")
        steps = LIVE.run(*LIVE.to_function("kernelRound"), f"bp {place:X}", "bl", f"bp #{physical:X}", "bl", "bc 1",
                         "bl", "bcls", "bl", "g", ".sleep 100", "break", "bl r")
        linear = f"Breakpoint ID: 0, {{}}, address: {place:016X}"
        self.assertEqual(steps[6].output, [linear.format("E")])
        self.assertEqual(steps[8].output, [linear.format("D"), f"Breakpoint ID: 1, E, address: #{physical:016X}"])
        self.assertEqual(steps[10].output, [linear.format("D")])
        self.assertEqual((steps[11].output, steps[12].output), (["Breakpoints cleared"], []))
        self.assertEqual((steps[15].status, steps[16].output), (0, []))

    def test_a_name_is_enough(self):
        place = LIVE.symbol("fibonacci")
        steps = LIVE.run(*LIVE.to_function("kernelRound"), f"lmf {LIVE.folder}/demo.elf", "bp demo!*|fibonacci",
                         "g", ".wait", "r")
        self.assertEqual(steps[-1].registers()["rip"], place)


class RunControl(unittest.TestCase):
    def rip(self, *lines):
        return LIVE.run(*LIVE.to_function("kernelRound"), *lines, "r")[-1].registers()["rip"]

    def test_many_steps_are_single_steps(self):
        self.assertEqual(self.rip("t 1000"), self.rip("t 999", "t"))
        self.assertEqual(self.rip("t 40", "t 0", "t"), self.rip("t 42"))

    def test_steps_until_an_address_and_until_an_instruction(self):
        self.assertEqual(self.rip(f"tua {LIVE.symbol('fibonacci'):X}"), LIVE.symbol("fibonacci"))
        rip = self.rip("tui call")
        listing = LIVE.run(*LIVE.to_function("kernelRound"), f"u {rip:X} 1")[-1].output
        self.assertRegex(listing[0], rf"^{rip:016X}: .* call ")

    def test_the_other_core_has_registers_of_its_own(self):
        steps = LIVE.run(*LIVE.to_function("kernelRound"), "sw 1", "r", "sw 0", "r", "sw 2", "r")
        other, first, still = steps[6].registers(), steps[8].registers(), steps[10].registers()
        self.assertEqual(first["rip"], LIVE.symbol("kernelRound"))
        self.assertNotEqual(other["tss_base"], first["tss_base"])
        self.assertEqual((steps[9].status, still), (4, first)) # there are two cores

    def test_a_restart_begins_at_the_beginning(self):
        begin = LIVE.run("r")[-1].registers()
        steps = LIVE.run(*LIVE.to_function("kernelRound"), "restart", ".wait", "r", "g", WHILE_IT_ARRIVES,
                         "break")
        self.assertEqual(steps[7].registers(), begin)
        printed = [row for step in steps[8:] for row in step.remote]
        self.assertIn("kernel: long mode, 64 MiB", printed)

    def test_break_stops_a_running_machine(self):
        steps = LIVE.run("g", "r", ".sleep 300", "break", "r", "break")
        self.assertEqual([steps[2].output, steps[4].status, steps[6].status], [[], 0, 0])
        self.assertIn("rip", steps[5].registers())

    def test_a_running_machine_can_be_left_and_found_again(self):
        started = time.monotonic()
        steps = LIVE.run("g", ".sleep 50", "disconnect", "connect sable local", "r", "g", "disconnect")
        self.assertEqual([step.status for step in steps], [0, 0, None, 0, 0, 0, 0, 0])
        self.assertEqual(steps[5].registers()["rip"], LIVE.run("r")[-1].registers()["rip"])
        self.assertLess(time.monotonic() - started, 30)

    def test_two_sessions_that_do_the_same_see_the_same(self):
        lines = [*LIVE.to_function("kernelRound"), "t 500", "r", "dq FFFF800000200000 200", "bp 400100", "g",
                 ".sleep 1", "sw 1"]
        first, second = (LIVE.run(*lines)[:8] for _ in range(2))
        self.assertEqual([step.output for step in first], [step.output for step in second])


if __name__ == "__main__":
    LIVE.run_tests()
