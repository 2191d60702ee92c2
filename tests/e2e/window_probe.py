"""What the tests of the native window layer share: the probe program on a screen of its own."""

import argparse
import subprocess
import sys
import threading
import time
import unittest

from x_display import XDisplay, end, wait_until

WIDTH, HEIGHT = 800, 600
# Where the probe's window is at first.
LEFT, TOP, WINDOW_W, WINDOW_H = 100, 80, 400, 300
UNSTEADY = ("mouseMove", "paint", "placed")   # come as the system likes


class Lines:
    """Collects the lines that a program prints."""

    def __init__(self, stream):
        self.all = []
        self.reader = threading.Thread(target=self._read, args=[stream], daemon=True)
        self.reader.start()

    def _read(self, stream):
        for line in stream:
            self.all.append(line.rstrip("\n"))


class Probe:
    """The probe program, with its window open."""

    program = ""            # path of the program

    def __init__(self, display, *arguments, opens=True, **more):
        self.display = display
        self.process = display.spawn([Probe.program, *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE, text=True, bufsize=1, **more)
        self.lines = Lines(self.process.stdout)
        self.errors = Lines(self.process.stderr)
        self.mark = 0
        if opens:
            self.wait_for("ready")
            self.window = wait_until(self._windows, "window of the probe")[0]
            self.wait_for("activated")

    def _windows(self):
        return self.display.run("xdotool", "search", "--onlyvisible", "--all", "--pid", self.process.pid,
                                "--name", "probe", check=False).split()

    def wait_for(self, line):
        try:
            wait_until(lambda: line in self.lines.all, f"line '{line}'")
        except AssertionError as fault:
            raise AssertionError(f"{fault}; got {self.lines.all}, {self.errors.all}") from None

    def ask(self, line):
        """Has the probe do something; returns what it says to that, without messages of its window."""
        start = len(self.lines.all)
        done = "done " + line.split()[0]
        self.process.stdin.write(line + "\n")
        wait_until(lambda: done in self.lines.all[start:], f"'{done}'")
        lines = self.lines.all[start:]
        word = {"monitors": ("monitor ", "monitors", "screen")}.get(line.split()[0], (line.split()[0], "cop"))
        return [said for said in lines[:lines.index(done)] if said.startswith(word)]

    def begin(self):
        """What is printed from here on counts for `messages`."""
        self.settle()
        self.mark = len(self.lines.all)

    def settle(self):
        for _ in range(3):
            self.ask("frames")
            time.sleep(0.03)

    def messages(self, keep=()):
        """Messages since `begin`, without those that come as the system likes."""
        return [line for line in self.lines.all[self.mark:]
                if not line.startswith(("frames", "done ")) and (line.startswith(keep) if keep
                                                                 else not line.startswith(UNSTEADY))]

    def short(self):
        """Key messages since `begin` as words: d65 key down, u65 key up, c97 character; others whole."""
        letters = {"keyDown": "d", "keyUp": "u", "character": "c"}
        words = []
        for line in self.messages():
            kind, *rest = line.split()
            words.append(letters[kind] + rest[0] if kind in letters else line)
        return " ".join(words)

    def expect(self, wanted):
        """Waits until the key messages since `begin` are the words `wanted`, and no more come."""
        try:
            wait_until(lambda: len(self.short().split()) >= len(wanted.split()), wanted, 10)
        except AssertionError:
            pass
        self.settle()
        if self.short() != wanted:
            raise AssertionError(f"wanted {wanted}\n   got {self.short()}")

    def quit(self):
        """Ends the probe in order; returns the seconds that took."""
        start = time.monotonic()
        self.process.stdin.write("quit\n")
        self.process.stdin.close()
        self.process.wait(20)
        return time.monotonic() - start

    def end(self):
        self.process.kill()     # a signal that can be caught is a message to it
        self.lines.reader.join()
        self.errors.reader.join()
        end(self.process)


class OnScreen(unittest.TestCase):
    """One screen for all tests of a class, and one probe for each test."""

    extensions_off = ()
    probe_arguments = ()

    @classmethod
    def setUpClass(cls):
        cls.display = XDisplay(WIDTH, HEIGHT, without=cls.extensions_off)
        cls.display.start()
        cls.addClassCleanup(cls.display.stop)

    def setUp(self):
        self.display.move_pointer(WIDTH - 1, HEIGHT - 1)
        self.probe = self.open_probe(*self.probe_arguments)

    def open_probe(self, *arguments, **more):
        probe = Probe(self.display, *arguments, **more)
        self.addCleanup(probe.end)
        return probe


def main(**programs):
    """Runs the tests of the calling script; `programs`: an option that must be given, and who takes its value."""
    parser = argparse.ArgumentParser(add_help=False)
    programs["probe"] = Probe
    for name in programs:
        parser.add_argument(f"--{name}", required=True)
    options, rest = parser.parse_known_args()
    for name, owner in programs.items():
        owner.program = getattr(options, name)
    unittest.main(module="__main__", argv=[sys.argv[0], *rest])
