#!/usr/bin/env python3
"""sabledbg as a person uses it: keys and mouse of a virtual screen go in, and text is read off its pixels.

Usage: window_test.py --batch PROGRAM --data FOLDER [unittest arguments]
sabledbg, dump_atlas and show_picture stand beside the batch program.
"""

import argparse
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

from window_session import BACKGROUND, WindowSession
from x_display import XDisplay, XlibClient, end, wait_until

PROGRAMS = Path()
DATA = Path()
HELP = ["cls - clear screen", "connect - start a new debugging session", "help - list available commands",
        "q - quit application"]
PAGE_COLOR = (26, 26, 30)


class Window(unittest.TestCase):
    """Tests that share one screen, each with a program of its own."""

    @classmethod
    def setUpClass(cls):
        cls.display = XDisplay(1600, 1100)
        cls.display.start()

    @classmethod
    def tearDownClass(cls):
        cls.display.stop()

    def setUp(self):
        self.display.move_pointer(5, 5)
        self.session = WindowSession(PROGRAMS, self.display)
        self.session.__enter__()
        self.addCleanup(self.session.__exit__)

    def await_equal(self, read, wanted, seconds=20):
        """Waits until `read()` gives `wanted`."""
        deadline = time.monotonic() + seconds
        while read() != wanted and time.monotonic() < deadline:
            time.sleep(0.05)
        self.assertEqual(read(), wanted)

    def await_true(self, read, what, seconds=20):
        return wait_until(read, what, seconds)

    def end_of_program(self):
        self.assertEqual(self.session.process.wait(20), 0)
        self.assertEqual(self.session.process.stdout.read(), b"")
        self.assertEqual(self.session.process.stderr.read(), b"")

    def give_focus(self):
        self.session.key("alt+grave")


class Commands(Window):
    def test_help_stands_above_the_command_line(self):
        self.assertEqual(self.session.title(), "Command window")
        self.session.type("lost")           # nobody has the focus yet
        self.give_focus()
        self.session.enter("help")
        self.await_equal(self.session.command_lines, HELP)
        self.assertEqual(self.session.command_rows()[-4:], HELP)   # directly above the input
        self.assertEqual(self.session.command_input(), "")

    def test_a_click_gives_the_focus_as_well(self):
        self.session.click(300, self.session.shot().height - 24)
        self.session.type("eval 1")
        self.await_equal(self.session.command_input, "eval 1")

    def test_a_file_is_loaded_and_listed(self):
        self.give_focus()
        self.session.enter("connect static local")
        self.await_equal(self.session.command_input, "")
        self.session.enter(f"lmf {DATA}/fixed.elf")
        self.session.enter("u fixed!*|alpha")
        self.await_true(lambda: "000000000040102C: C3                ret" in self.session.command_lines(), "listing")
        self.assertIn("0000000000401024: 74 05             jz 0x40102b <fixed!cu_2|alpha+0x18>",
                      self.session.command_lines())

    def test_history_comes_back_with_the_arrows(self):
        self.give_focus()
        self.session.enter("help q")
        self.session.enter("help cls")
        self.session.key("Up")
        self.await_equal(self.session.command_input, "help cls")
        self.session.key("Up")
        self.await_equal(self.session.command_input, "help q")
        self.session.key("Down", "Down")
        self.await_equal(self.session.command_input, "")

    def test_every_printable_character_can_be_typed_and_read(self):
        text = "".join(chr(code) for code in range(33, 127))
        self.give_focus()
        self.session.type(text)
        self.await_equal(self.session.command_input, text)

    def test_clear_empties_the_page_and_copy_takes_all_of_it(self):
        self.give_focus()
        self.session.enter("help")
        self.await_equal(self.session.command_lines, HELP)
        width = self.session.shot().width
        self.session.click(width - 20, 110)
        self.await_equal(self.display.clipboard, "\n".join(HELP) + "\n")
        self.session.click(width - 40, 110)
        self.await_equal(self.session.command_lines, [])

    def test_a_right_click_copies_word_line_and_all(self):
        self.give_focus()
        self.session.enter("help")
        self.await_equal(self.session.command_lines, HELP)
        image = self.session.shot()
        step = self.session.font.line_height
        rows = (image.height - 2 * step - 100) // step
        y = 100 + (rows - 3) * step + 8     # the line of connect
        self.session.click(60, y, 3)
        self.await_equal(self.display.clipboard, "connect")
        self.session.click(5, y, 3)
        self.await_equal(self.display.clipboard, HELP[1])
        advance = self.session.font.advance
        self.session.click((image.width // advance - 1) * advance + 4, y, 3)
        self.await_equal(self.display.clipboard, "\n".join(HELP) + "\n")

    def test_paste_puts_the_clipboard_into_the_line(self):
        self.give_focus()
        self.display.set_clipboard("help q")
        self.session.key("ctrl+v")
        self.await_equal(self.session.command_input, "help q")
        self.session.key("ctrl+shift+v")    # is no paste
        self.session.key("Home", "Delete", "End", "BackSpace")
        self.await_equal(self.session.command_input, "elp")

    def test_alt_and_control_chords_do_not_type(self):
        self.give_focus()
        self.session.key("alt+a", "ctrl+b", "alt+grave", "alt+1")
        self.session.type("x")
        self.await_equal(self.session.command_input, "x")

    def test_escape_empties_the_line_and_cancels_a_command(self):
        self.give_focus()
        self.session.enter("connect static nosuch")     # tries for ever
        self.session.type("kept")
        self.session.key("Return")                      # busy: the text stays
        self.await_equal(self.session.command_input, "kept")
        self.session.key("Escape")
        self.await_equal(self.session.command_input, "")
        self.session.enter("help")
        self.await_equal(self.session.command_lines, HELP)

    def test_wheel_and_page_keys_scroll(self):
        self.give_focus()
        self.session.enter("connect static local")
        self.await_equal(self.session.command_input, "")
        for number in range(40):
            self.session.enter(f"eval {number:X}")
        self.session.enter("help")
        self.await_true(lambda: "q - quit application" in self.session.command_lines(), "help")
        last = self.session.command_rows()
        self.session.click(400, 400)        # the view has the focus now
        self.session.click(400, 400, 4)
        self.await_equal(lambda: self.session.command_rows()[3:], last[:-3])
        self.session.key("Prior")
        self.await_equal(lambda: self.session.command_rows()[6:], last[:-6])
        self.session.key("Home")
        self.await_equal(lambda: self.session.command_rows()[0], "0")
        self.session.key("End")
        self.await_equal(self.session.command_rows, last)


class Pages(Window):
    def test_alt_with_a_digit_shows_each_page(self):
        self.session.key("alt+4")
        self.await_equal(self.session.title, "Log window")
        self.assertEqual(self.session.log_lines(), ["Sable engine loaded", "Static engine loaded"])
        self.session.key("alt+5")
        self.await_equal(self.session.title, "Remote log window")
        self.session.key("alt+2")
        self.await_equal(self.session.core_label, "No cores present")
        self.assertEqual(self.session.code_rows()[0], "No code available")
        self.session.key("alt+3")
        self.await_equal(lambda: self.session.code_rows()[0], "Target not connected")
        self.session.key("alt+6")
        self.await_true(lambda: self.session.shot().pixel(300, 300) == BACKGROUND, "empty display page")
        self.session.key("alt+1")
        self.await_equal(self.session.title, "Command window")

    def test_the_clear_button_of_a_log_empties_it(self):
        self.session.key("alt+4")
        self.await_equal(self.session.title, "Log window")
        self.session.click(self.session.shot().width - 40, 110)
        self.await_equal(self.session.log_lines, [])


class Target(Window):
    """The simulated PC."""

    def setUp(self):
        super().setUp()
        self.session.key("alt+2", "alt+grave")
        self.session.enter("connect sable local")
        self.await_equal(self.session.core_label, "Stopped on core 0")

    def test_registers_and_the_bar_move_at_each_step(self):
        seen = set()
        for _ in range(8):
            image = self.session.shot()
            registers = self.session.registers(image)
            row = self.session.current_row(image)
            self.assertIsNotNone(row)
            line = self.session.code_rows(image)[row]
            self.assertEqual(line[5:21], registers["rip"])      # the bar lies under the instruction pointer
            seen.add(registers["rip"])
            before = registers["rip"]
            self.session.key("F11")
            self.await_true(lambda: self.session.registers()["rip"] != before, "step")
        self.assertEqual(len(seen), 8)

    def test_registers_are_those_of_the_r_command(self):
        for _ in range(3):
            self.session.key("F11")
        time.sleep(0.3)
        shown = self.session.registers()
        self.session.key("alt+1", "alt+grave")
        self.session.enter("r")
        self.await_true(lambda: len(self.session.command_lines()) > 30, "output")
        self.session.click(400, 400)
        self.session.key("Home")
        self.await_true(lambda: any(line.startswith("rip: ") for line in self.session.command_lines()), "registers")
        printed = dict(line.split(": 0x") for line in self.session.command_lines() if ": 0x" in line)
        for name in ("rip", "cr3", "rsp", "rax", "r15"):
            self.assertEqual(shown[name], printed[name], name)

    def test_instructions_are_coloured(self):
        self.await_true(lambda: self.session.current_row() is not None, "code")
        image = self.session.shot()
        rows = self.session.code_rows(image)
        step, advance = self.session.font.line_height, self.session.font.advance
        kinds = {}
        for number, text in enumerate(rows):
            words = text[23:].split(" ")
            at = 23
            for word in words:
                bare = word.strip(",[]")
                if bare in ("jz", "jnz", "call"):
                    kinds.setdefault("branch", self.session.font.ink_color(image, at * advance, 200 + number * step))
                if bare in ("ax", "al"):
                    start = at + word.index(bare)
                    kinds.setdefault("register",
                                     self.session.font.ink_color(image, start * advance, 200 + number * step))
                if bare.startswith("0x") and word == bare:
                    kinds.setdefault("number", self.session.font.ink_color(image, at * advance, 200 + number * step))
                at += len(word) + 1
        self.assertEqual(kinds, {"branch": (255, 0, 0), "register": (255, 204, 0), "number": (0, 204, 255)})

    def test_run_and_break_by_key_from_another_page(self):
        self.session.key("alt+4", "F5", "alt+2")
        self.await_true(lambda: self.session.core_label().startswith("Running on"), "running target")
        self.session.key("alt+5", "F4", "alt+2")
        self.await_equal(self.session.core_label, "Stopped on core 0")

    def test_the_source_location_stands_above_the_code(self):
        self.session.enter(f"lmf {PROGRAMS}/demo.elf")
        for line in ("bp #1101D6", "g"):
            self.session.enter(line)
        self.await_true(lambda: self.session.registers().get("rip") == "FFFFFFFF801101D6", "stop")
        self.session.enter(f"lmf {PROGRAMS}/demo.elf")
        self.session.key("F11")
        self.await_true(lambda: "kernelLoop" in self.session.location_label(), "location")

    def test_a_right_click_copies_a_register(self):
        self.await_true(lambda: "rip" in self.session.registers(), "registers")
        image = self.session.shot()
        self.session.click(image.width // 4 * 3 + 130, 2 * self.session.font.line_height + 8, 3)
        self.await_equal(self.display.clipboard, self.session.registers()["rip"])

    def test_what_the_target_prints_is_on_the_remote_page(self):
        self.session.key("F5", "alt+5")
        self.await_true(self.session.log_lines, "text of the target")
        self.session.key("F4")

    def test_disconnect_empties_the_page(self):
        self.session.enter("disconnect")
        self.await_equal(self.session.core_label, "No cores present")
        self.assertEqual(self.session.code_rows()[0], "No code available")


class Ends(Window):
    def test_q_ends_the_program(self):
        self.give_focus()
        self.session.enter("q")
        self.end_of_program()

    def test_alt_f4_ends_the_program(self):
        self.session.key("alt+F4")
        self.end_of_program()

    def test_the_close_button_ends_the_program(self):
        self.session.click(self.session.shot().width - 20, 15)
        self.end_of_program()

    def test_q_ends_a_session_with_a_running_target(self):
        self.session.key("alt+2", "alt+grave")
        self.session.enter("connect sable local")
        self.await_equal(self.session.core_label, "Stopped on core 0")
        self.session.key("F5")
        self.session.enter("q")
        self.end_of_program()

    def test_the_desktop_may_close_the_window(self):
        self.display.xlib.ask_to_close(self.session.window)
        self.end_of_program()


class Frame(Window):
    """The window has no frame: it moves, resizes and maximises itself."""

    def test_the_title_band_moves_it_and_the_page_below_does_not(self):
        x, y, w, h = self.session.rectangle()
        self.display.drag((x + 300, y + 39), (x + 360, y + 19))
        self.await_equal(self.session.rectangle, (x + 60, y - 20, w, h))
        self.display.drag((x + 300, y + 60), (x + 400, y + 100))
        self.assertEqual(self.session.rectangle(), (x + 60, y - 20, w, h))

    def test_the_corner_resizes_it_and_the_layout_follows(self):
        x, y, w, h = self.session.rectangle()
        self.display.drag((x + w - 10, y + h - 10), (x + w - 210, y + h - 110))
        self.await_equal(self.session.rectangle, (x, y, w - 200, h - 100))
        self.await_equal(self.session.title, "Command window")
        self.give_focus()
        self.session.enter("help")
        self.await_equal(self.session.command_lines, HELP)

    def test_a_drag_ends_where_the_button_went_up(self):
        x, y, w, h = self.session.rectangle()
        self.display.move_pointer(x + 300, y + 20)
        self.display.xdotool("mousedown", "1")
        self.session.process.send_signal(signal.SIGSTOP)    # it hears of all this too late
        try:
            self.display.move_pointer(x + 330, y + 60)
            self.display.xdotool("mouseup", "1")
            self.display.move_pointer(x + 700, y + 500)
        finally:
            self.session.process.send_signal(signal.SIGCONT)
        self.await_equal(self.session.rectangle, (x + 30, y + 40, w, h))
        time.sleep(0.2)
        self.assertEqual(self.session.rectangle(), (x + 30, y + 40, w, h))

    def test_a_button_left_with_the_pointer_is_no_click(self):
        x, y, w, h = self.session.rectangle()
        self.display.drag((x + w - 20, y + 15), (x + w + 60, y + 15))   # off the close button, out of the window
        self.display.drag((x + w - 20, y + 15), (x + w - 20, y - 40))
        self.give_focus()
        self.session.type("here")
        self.await_equal(self.session.command_input, "here")

    def test_it_follows_a_desktop_that_moves_and_resizes_it(self):
        self.display.xdotool("windowmove", self.session.window, "200", "60")
        self.display.xdotool("windowsize", self.session.window, "1000", "700")
        self.await_equal(self.session.rectangle, (200, 60, 1000, 700))
        self.await_equal(self.session.title, "Command window")
        self.display.drag((400, 80), (430, 100))
        self.await_equal(self.session.rectangle, (230, 80, 1000, 700))

    def test_it_never_gets_smaller_than_100_by_100(self):
        x, y, w, h = self.session.rectangle()
        self.display.drag((x + w - 10, y + h - 10), (x + 20, y + 20), steps=20)
        self.await_equal(self.session.rectangle, (x, y, 100, 100))

    def test_keys_maximise_restore_and_move_it(self):
        home = self.session.rectangle()
        self.session.key("ctrl+alt+Up")
        self.await_equal(self.session.rectangle, (0, 0, 1600, 1099))
        self.display.drag((300, 20), (400, 60))         # a maximised window stays where it is
        self.session.key("ctrl+alt+shift+Left")
        self.assertEqual(self.session.rectangle(), (0, 0, 1600, 1099))
        self.session.key("ctrl+alt+Down")
        self.await_equal(self.session.rectangle, home)
        self.session.key("ctrl+alt+shift+Left", "ctrl+alt+shift+Up")
        x, y, w, h = home
        self.await_equal(self.session.rectangle, (x - 2, y - 2, w, h))

    def test_the_maximise_button_toggles(self):
        home = self.session.rectangle()
        self.session.click(home[2] - 60, 15)
        self.await_equal(self.session.rectangle, (0, 0, 1600, 1099))
        self.session.click(1600 - 60, 15)
        self.await_equal(self.session.rectangle, home)

    def test_the_minimise_button_minimises(self):
        self.display.xlib.watch()
        self.display.xlib.minimized()
        self.session.click(self.session.shot().width - 100, 15)
        windows = []
        self.await_true(lambda: windows.extend(self.display.xlib.minimized()) or windows, "minimised window")
        self.assertEqual(windows, [int(self.session.window)])


class Desktop(Window):
    """A desktop that has its own mind."""

    def setUp(self):
        super().setUp()
        self.desktop = XlibClient(self.display.name)
        self.addCleanup(self.desktop.close)
        self.desktop.refuse_placement()
        self.home = self.session.rectangle()

    def grant_until(self, wanted, delay):
        def granted():
            self.desktop.grant_placement(delay)
            return self.session.rectangle()
        self.await_equal(granted, wanted)

    def test_a_refused_size_leaves_the_pages_as_large_as_the_window(self):
        for _ in range(2):
            self.session.key("ctrl+alt+Up")
            time.sleep(1)
            self.assertEqual(self.session.rectangle(), self.home)
            self.assertEqual(self.session.title(), "Command window")
            self.session.key("ctrl+alt+Down")
            time.sleep(1)
            self.assertEqual(self.session.title(), "Command window")

    def test_a_refused_drag_leaves_the_pages_as_large_as_the_window(self):
        x, y, w, h = self.home
        self.display.drag((x + w - 10, y + h - 10), (x + w - 210, y + h - 110))
        time.sleep(1)
        self.assertEqual(self.session.rectangle(), self.home)
        self.assertEqual(self.session.title(), "Command window")
        self.desktop.grant_placement(0)     # after all
        self.await_equal(lambda: self.session.rectangle()[2], w - 200)
        self.await_equal(self.session.title, "Command window")

    def test_after_a_refused_move_the_next_one_begins_where_the_window_is(self):
        x, y, w, h = self.home
        self.display.drag((x + 300, y + 20), (x + 300, y + 80))
        time.sleep(1)
        self.assertEqual(self.session.rectangle(), self.home)
        self.session.key("ctrl+alt+shift+Left")
        self.grant_until((x - 2, y, w, h), 0)

    def test_a_slow_desktop_loses_no_step(self):
        x, y, w, h = self.home
        self.session.key(*["ctrl+alt+shift+Left"] * 10)
        self.grant_until((x - 20, y, w, h), 0.04)
        self.session.key("ctrl+alt+shift+Right")
        self.grant_until((x - 18, y, w, h), 0)


class Monitors(unittest.TestCase):
    def test_it_maximises_on_the_monitor_that_holds_its_middle(self):
        with XDisplay(2000, 1100) as display:
            display.xrandr("--setmonitor", "left", "1000/270x1100/270+0+0", "screen")
            display.xrandr("--setmonitor", "right", "1000/270x1100/270+1000+0", "none")
            with WindowSession(PROGRAMS, display) as session:
                self.assertEqual(session.rectangle(), (50, 100, 900, 990))  # cut to the primary monitor
                session.key("ctrl+alt+Up")
                wait_until(lambda: session.rectangle() == (0, 0, 1000, 1099), "maximised on the left")
                session.key("ctrl+alt+Down")
                wait_until(lambda: session.rectangle() == (50, 100, 900, 990), "restored")
                display.drag((300, 120), (1400, 120), steps=12)
                wait_until(lambda: session.rectangle()[0] == 1150, "moved to the right")
                session.key("ctrl+alt+Up")
                wait_until(lambda: session.rectangle() == (1000, 0, 1000, 1099), "maximised on the right")


class Picture(unittest.TestCase):
    """Pictures of the page of the target's display, through the driver's own shaders and textures."""

    QUARTERS = [(0xFF, 0x80, 0x00), (0x00, 0xC0, 0x40), (0x20, 0x60, 0xFF), (0xF0, 0xE0, 0xD0)]

    def test_a_picture_is_shown_upright_in_its_colours_and_replaced(self):
        with XDisplay(1600, 1100) as display:
            process = display.spawn([PROGRAMS / "show_picture"], stdin=subprocess.PIPE, stderr=subprocess.PIPE)
            self.addCleanup(end, process)
            left, top, _, _ = display.geometry(display.window("SableDbg"))

            def shown():
                shot = display.screenshot()
                places = ((10, 110), (1270, 110), (1270, 810), (10, 810))   # clockwise, near the corners
                return [shot.pixel(left + x, top + y) for x, y in places]
            for turn in range(3):
                wanted = self.QUARTERS[turn:] + self.QUARTERS[:turn]
                wait_until(lambda: shown() == wanted, f"picture {turn}: {wanted}, not {shown()}")
                shot = display.screenshot()
                for x, y, quarter in ((639, 459, 0), (640, 460, 2)):        # up to the middle, at twice its size
                    self.assertNotEqual(shot.pixel(left + x, top + y), BACKGROUND)
                    self.assertEqual(shot.pixel(left + x + (4 if quarter else -4), top + y + (4 if quarter else -4)),
                                     wanted[quarter])
                self.assertEqual(shot.pixel(left + 5, top + 99), BACKGROUND)
                self.assertEqual(shot.pixel(left + 1281, top + 110), BACKGROUND)
                self.assertEqual(shot.pixel(left + 5, top + 821), BACKGROUND)
                process.stdin.write(b"\n")
                process.stdin.flush()
            process.stdin.close()
            display.key("alt+F4")
            self.assertEqual(process.wait(20), 0)
            self.assertEqual(process.stderr.read(), b"")


class Lifetime(unittest.TestCase):
    def test_it_starts_and_stops_fifty_times(self):
        with XDisplay(1600, 1100) as display:
            for _ in range(50):
                with WindowSession(PROGRAMS, display) as session:
                    session.key("alt+F4")
                    self.assertEqual(session.process.wait(20), 0)
                    self.assertEqual(session.process.stderr.read(), b"")

    def test_without_a_display_it_says_so(self):
        self.expect_failure({"PATH": "/usr/bin"}, r"^sabledbg: no window can be opened: there is no display: .*\n$")

    def test_without_gl_it_says_so(self):
        with XDisplay(800, 600, without=["GLX"]) as display:
            self.expect_failure(display.environment(), r"^sabledbg: the window cannot be created: "
                                r"Cannot find a suitable pixel format\. \S.*\n$")

    def expect_failure(self, environment, line):
        done = subprocess.run([PROGRAMS / "sabledbg"], env=environment, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, timeout=60)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stdout, "")
        self.assertRegex(done.stderr, line)


def main():
    global PROGRAMS, DATA
    parser = argparse.ArgumentParser()
    parser.add_argument("--batch", required=True, type=Path)
    parser.add_argument("--data", required=True, type=Path)
    arguments, rest = parser.parse_known_args()
    PROGRAMS, DATA = arguments.batch.resolve().parent, arguments.data.resolve()
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
