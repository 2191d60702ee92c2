#!/usr/bin/env python3
"""The native window layer on a real X server: what it does to window, screen and clipboard.

Usage: window_system_test.py --probe PROGRAM --manager PROGRAM [unittest arguments]
"""

import signal
import subprocess
import time
import unittest

from window_probe import HEIGHT, LEFT, TOP, WIDTH, WINDOW_H, WINDOW_W, Lines, OnScreen, Probe, main
from x_display import XDisplay, wait_until


class Windows(OnScreen):
    def geometry(self):
        return self.display.geometry(self.probe.window)

    def test_it_opens_where_it_was_asked_to_with_its_title(self):
        self.assertEqual(self.geometry(), (LEFT, TOP, WINDOW_W, WINDOW_H))
        self.assertEqual(self.display.xdotool("getwindowname", self.probe.window), "probe\n")

    def test_it_moves_and_resizes(self):
        self.probe.ask("move 7 9")
        wait_until(lambda: self.geometry() == (7, 9, WINDOW_W, WINDOW_H), "move")
        self.probe.ask("resize 333 222")
        wait_until(lambda: self.geometry() == (7, 9, 333, 222), "size")
        self.probe.ask("place 40 50 600 500")
        wait_until(lambda: self.geometry() == (40, 50, 600, 500), "place")
        self.assertEqual(self.probe.ask("toscreen 5 -6"), ["toscreen 45 44"])
        self.probe.ask("move -30 -20")
        wait_until(lambda: self.geometry() == (-30, -20, 600, 500), "move")
        self.assertEqual(self.probe.ask("toscreen 0 0"), ["toscreen -30 -20"])

    def test_each_of_many_moves_takes_effect_in_order(self):
        for step in range(100):
            self.probe.process.stdin.write(f"move {step} {2 * step}\n")
        self.assertEqual(self.probe.ask("toscreen 0 0")[0].split()[0], "toscreen")
        wait_until(lambda: self.geometry() == (99, 198, WINDOW_W, WINDOW_H), "last move")

    def test_sides_without_a_pixel_or_with_too_many_are_held(self):
        self.probe.ask("resize 0 0")
        wait_until(lambda: self.geometry()[2:] == (1, 1), "smallest size")
        self.probe.ask("resize 4000000000 70000")
        wait_until(lambda: self.geometry()[2:] == (16384, 16384), "largest size")

    def test_minimising_asks_the_desktop(self):
        self.display.xlib.watch()
        self.probe.ask("minimize")
        self.assertEqual(wait_until(self.display.xlib.minimized, "request"), [int(self.probe.window)])

    def test_the_desktop_may_close_it(self):
        self.probe.begin()
        self.display.xlib.ask_to_close(self.probe.window)
        wait_until(lambda: "close" in self.probe.messages(), "close message")
        self.probe.settle()
        self.assertEqual(self.probe.messages(), ["close"])

    def test_signals_ask_it_to_close(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.probe.begin()
            self.probe.process.send_signal(number)
            wait_until(lambda: "close" in self.probe.messages(), "close message")
            self.probe.settle()
            self.assertEqual(self.probe.messages(), ["close"])

    def test_uncovering_it_gives_a_paint_message(self):
        other = self.open_probe("without drawing")
        self.probe.begin()
        other.ask("move 700 500")
        wait_until(lambda: "paint" in self.probe.messages(("paint",)), "paint message")

    def test_there_is_one_window_at_a_time(self):
        self.assertEqual(self.probe.ask("second"), ["second refused"])

    def test_an_error_that_no_box_can_show_is_a_line(self):
        self.assertEqual(self.probe.ask("error"), ["error confirmed"])
        wait_until(lambda: self.probe.errors.all, "line on standard error")
        self.assertEqual(self.probe.errors.all, ["Error: A sentence."])

    def test_it_ends_in_order(self):
        self.probe.quit()
        self.assertEqual(self.probe.process.returncode, 0)
        self.probe.lines.reader.join()
        self.assertEqual(self.probe.lines.all[-5:], ["gl stopped", "destroyed", "done quit", "loop ended", "closed"])
        self.probe.errors.reader.join()
        self.assertEqual(self.probe.errors.all, [])

    def test_an_end_that_finds_the_queue_full_is_not_lost(self):
        self.probe.process.stdin.write("flood\n")
        self.probe.process.stdin.close()
        self.assertEqual(self.probe.process.wait(60), 0)
        self.probe.lines.reader.join()
        self.assertEqual(self.probe.lines.all[-5:], ["gl stopped", "destroyed", "done flood", "loop ended", "closed"])

    def test_it_starts_and_stops_again_and_again(self):
        self.probe.quit()
        for _ in range(5):
            probe = self.open_probe()
            probe.quit()
            self.assertEqual(probe.process.returncode, 0)


class Drawing(OnScreen):
    def test_a_second_thread_draws_and_swaps(self):
        line = next(line for line in self.probe.lines.all if line.startswith("gl "))
        self.assertRegex(line, r"^gl interval [01] error 0 version [34]\.\d")
        for color in (0xFF8000, 0x123456):
            self.probe.ask(f"color {color:x}")
            wanted = (color >> 16, color >> 8 & 255, color & 255)
            wait_until(lambda: self.display.screenshot().pixel(LEFT, TOP) == wanted, "colour")
            shot = self.display.screenshot()
            self.assertEqual(shot.pixel(LEFT + WINDOW_W - 1, TOP + WINDOW_H - 1), wanted)
            self.assertEqual(shot.pixel(LEFT - 1, TOP), (0, 0, 0))
            self.assertEqual(shot.pixel(LEFT + WINDOW_W, TOP), (0, 0, 0))

    def test_drawing_follows_the_size(self):
        self.probe.ask("color ff0000")
        self.probe.ask("place 0 0 700 500")
        wait_until(lambda: self.display.screenshot().pixel(699, 499) == (255, 0, 0), "colour in the corner")

    def test_frames_go_on_while_the_window_moves(self):
        def frames():
            return int(self.probe.ask("frames")[0].split()[1])
        before = frames()
        for step in range(20):
            self.probe.ask(f"place {step} {step} {400 + step} {300 + step}")
        wait_until(lambda: frames() > before + 5, "frames")


class Monitors(OnScreen):
    probe_arguments = ("without drawing",)

    def monitors(self):
        return self.probe.ask("monitors")

    def two_monitors(self):
        self.display.xrandr("--setmonitor", "*left", "500/130x600/160+0+0", "screen")
        self.display.xrandr("--setmonitor", "right", "300/80x400/106+500+0", "none")
        self.addCleanup(self.display.xrandr, "--delmonitor", "right")
        self.addCleanup(self.display.xrandr, "--delmonitor", "left")

    def set_property(self, name, kind, values, window=None):
        self.display.xlib.set_property(name, kind, values, window)
        if window is None:
            self.addCleanup(self.display.xlib.set_property, name, kind, [])

    def test_one_screen_is_one_monitor(self):
        self.assertEqual(self.monitors(), ["monitor 0 0 800 600 work 800 600", "screen 800 600"])

    def test_virtual_monitors_count(self):
        self.two_monitors()
        self.assertEqual(self.monitors(), ["monitor 0 0 500 600 work 500 600", "monitor 500 0 300 400 work 300 400",
                                           "screen 500 600"])

    def test_the_desktop_publishes_work_areas(self):
        self.two_monitors()
        self.set_property("_GTK_WORKAREAS_D0", "CARDINAL", [0, 20, 500, 580, 500, 0, 300, 390])
        self.assertEqual(self.monitors()[:2], ["monitor 0 0 500 600 work 500 580",
                                               "monitor 500 0 300 400 work 300 390"])

    def test_the_work_areas_of_the_current_desktop_count(self):
        self.set_property("_GTK_WORKAREAS_D0", "CARDINAL", [0, 20, 800, 580])
        self.set_property("_GTK_WORKAREAS_D3", "CARDINAL", [0, 0, 770, 500])
        self.set_property("_NET_CURRENT_DESKTOP", "CARDINAL", [3])
        self.assertEqual(self.monitors()[0], "monitor 0 0 800 600 work 770 500")
        self.set_property("_NET_CURRENT_DESKTOP", "CARDINAL", [4])
        self.assertEqual(self.monitors()[0], "monitor 0 0 800 600 work 800 600")

    def test_panels_take_from_their_monitor(self):
        self.two_monitors()
        panel = int(self.probe.window)
        self.set_property("_NET_WM_STRUT_PARTIAL", "CARDINAL", [0, 0, 24, 0, 0, 0, 0, 0, 500, 799, 0, 0], panel)
        self.set_property("_NET_CLIENT_LIST", "WINDOW", [0x7654321, panel, 0])
        self.assertEqual(self.monitors()[:2], ["monitor 0 0 500 600 work 500 600",
                                               "monitor 500 0 300 400 work 300 376"])
        self.set_property("_NET_WM_STRUT_PARTIAL", "CARDINAL", [], panel)
        self.set_property("_NET_WM_STRUT", "CARDINAL", [50, 0, 0, 0], panel)
        self.assertEqual(self.monitors()[:2], ["monitor 0 0 500 600 work 450 600",
                                               "monitor 500 0 300 400 work 300 400"])

    def test_properties_of_a_wrong_kind_are_ignored(self):
        self.set_property("_GTK_WORKAREAS_D0", "STRING", [0, 20, 800, 580])
        self.set_property("_NET_CURRENT_DESKTOP", "ATOM", [1])
        self.set_property("_NET_CLIENT_LIST", "CARDINAL", [1, 2, 3])
        self.assertEqual(self.monitors()[0], "monitor 0 0 800 600 work 800 600")


class MonitorsWithoutRandr(OnScreen):
    extensions_off = ("RANDR",)
    probe_arguments = ("without drawing",)

    def test_the_screen_is_the_monitor(self):
        self.assertEqual(self.probe.ask("monitors"), ["monitor 0 0 800 600 work 800 600", "screen 800 600"])

    def test_work_areas_count(self):
        self.display.xlib.set_property("_GTK_WORKAREAS_D0", "CARDINAL", [0, 20, 800, 580])
        self.addCleanup(self.display.xlib.set_property, "_GTK_WORKAREAS_D0", "CARDINAL", [])
        self.assertEqual(self.probe.ask("monitors")[0], "monitor 0 0 800 600 work 800 580")


class Clipboard(OnScreen):
    program = ""            # path of the clipboard manager
    probe_arguments = ("without drawing",)

    def manager(self, mode):
        process = self.display.spawn([Clipboard.program, mode], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        lines = Lines(process.stdout)

        def stop():
            process.kill()
            process.wait()
            lines.reader.join()
            process.stdout.close()
        self.addCleanup(stop)
        wait_until(lambda: lines.all, "clipboard manager")
        return lines

    def test_others_paste_what_was_copied(self):
        self.assertEqual(self.probe.ask("copy two words \u00e9"), ["copied"])
        self.assertEqual(self.display.clipboard(), "two words \u00e9")
        self.assertEqual(self.probe.ask("paste"), ["paste two words \u00e9"])

    def test_what_others_copied_is_pasted(self):
        self.display.set_clipboard("from afar \u20ac")
        self.assertEqual(self.probe.ask("paste"), ["paste from afar \u20ac"])

    def test_an_empty_clipboard_fails(self):
        self.assertIsNone(self.display.clipboard())
        self.assertEqual(self.probe.ask("paste"), ["paste failed"])

    def test_a_large_text_goes_both_ways(self):
        self.probe.ask("copybig 3000000")
        self.assertEqual(self.display.clipboard(), "x" * 3000000)
        self.display.set_clipboard("y" * 300000)
        self.assertEqual(self.probe.ask("paste"), ["paste " + "y" * 300000])

    def test_a_manager_takes_the_text_over(self):
        lines = self.manager("each")
        self.probe.ask("copy outlives me")
        self.assertLess(self.probe.quit(), 1)
        wait_until(lambda: "owns" in lines.all, "new owner")
        self.assertEqual(lines.all, ["ready", "asked", "took 11", "owns"])
        self.assertEqual(self.display.clipboard(), "outlives me")

    def test_a_manager_may_ask_for_a_list_of_forms(self):
        lines = self.manager("list")
        self.probe.ask("copy outlives me too")
        self.assertLess(self.probe.quit(), 1)
        wait_until(lambda: "owns" in lines.all, "new owner")
        # Of four pairs the picture lost its property.
        self.assertEqual(lines.all, ["ready", "asked", "list 7", "forms 6", "image 0", "time 1", "took 15", "owns"])
        self.assertEqual(self.display.clipboard(), "outlives me too")

    def test_a_large_text_is_handed_over(self):
        lines = self.manager("each")
        self.probe.ask("copybig 3000000")
        self.assertLess(self.probe.quit(), 2)
        wait_until(lambda: "owns" in lines.all, "new owner")
        self.assertEqual(self.display.clipboard(), "x" * 3000000)

    def test_a_text_too_large_for_the_display_is_refused(self):
        lines = self.manager("each")
        self.assertEqual(self.probe.ask("copybig 20000000"), ["copy failed"])
        self.probe.ask("copy small")
        self.assertEqual(self.probe.ask("copybig 20000000"), ["copy failed"])
        self.assertEqual(self.display.clipboard(), "small")
        self.probe.quit()
        wait_until(lambda: "owns" in lines.all, "new owner")
        self.assertEqual(self.display.clipboard(), "small")

    def test_a_text_that_comes_in_pieces_costs_a_second_at_most(self):
        self.display.set_clipboard("z" * 9000000)
        start = time.monotonic()
        answer = self.probe.ask("paste")[0]
        self.assertLess(time.monotonic() - start, 3)
        self.assertIn(answer, ("paste failed", "paste " + "z" * 9000000))

    def test_a_manager_that_does_not_answer_costs_a_second(self):
        lines = self.manager("silent")
        self.probe.ask("copy text")
        seconds = self.probe.quit()
        self.assertGreaterEqual(seconds, 0.9)
        self.assertLess(seconds, 2)
        self.assertEqual(lines.all, ["ready", "asked"])
        self.assertEqual(self.probe.process.returncode, 0)

    def test_a_manager_that_refuses_costs_nothing(self):
        lines = self.manager("refuse")
        self.probe.ask("copy text")
        self.assertLess(self.probe.quit(), 0.9)
        self.assertEqual(lines.all, ["ready", "asked"])

    def test_without_a_manager_the_end_comes_at_once(self):
        self.probe.ask("copy text")
        self.assertLess(self.probe.quit(), 0.9)
        self.assertIsNone(self.display.clipboard())

    def test_what_others_copied_is_not_handed_over(self):
        lines = self.manager("each")
        self.probe.ask("copy mine")
        self.display.set_clipboard("theirs")
        self.assertLess(self.probe.quit(), 0.9)
        self.assertEqual(lines.all, ["ready"])
        self.assertEqual(self.display.clipboard(), "theirs")


class Failures(unittest.TestCase):
    def test_without_a_display_there_is_a_sentence(self):
        done = subprocess.run([Probe.program], env={"SDL_VIDEODRIVER": "dummy"}, stdin=subprocess.DEVNULL, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=20)
        self.assertEqual((done.returncode, done.stdout), (1, "problem there is no display: DISPLAY is not set\n"))
        self.assertEqual(done.stderr, "")

    def test_without_gl_there_is_a_message_and_no_window(self):
        with XDisplay(WIDTH, HEIGHT, without=["GLX"]) as display:
            probe = Probe(display, opens=False)
            self.addCleanup(probe.end)
            probe.process.wait(20)
            probe.lines.reader.join()
            probe.errors.reader.join()
            problem, closed = probe.lines.all
            self.assertRegex(problem, r"^no window: Cannot find a suitable pixel format\. \S")
            self.assertEqual(closed, "closed")
            self.assertEqual(probe.errors.all, [])
            self.assertEqual(probe.process.returncode, 2)

    def test_another_driver_in_the_environment_does_not_count(self):
        with XDisplay(WIDTH, HEIGHT) as display:
            probe = Probe(display, env=display.environment(SDL_VIDEODRIVER="dummy"))
            self.addCleanup(probe.end)
            self.assertEqual(display.geometry(probe.window), (LEFT, TOP, WINDOW_W, WINDOW_H))
            probe.quit()


if __name__ == "__main__":
    main(manager=Clipboard)
