#!/usr/bin/env python3
"""Makes the pictures of the README: docs/make_screenshots.py [FOLDER OF THE PROGRAMS]

The programs come from ./test, which also installs the virtual screen that they run on.
"""

import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "e2e"))

from window_session import WindowSession  # noqa: E402
from x_display import wait_until  # noqa: E402

OUTPUT = ROOT / "docs" / "screenshots"


def save(session, name):
    time.sleep(0.3)     # the last key's frame
    session.shot().write_png(OUTPUT / f"{name}.png")


def main():
    programs = Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build" / "release" / "bin").resolve()
    OUTPUT.mkdir(exist_ok=True)
    with WindowSession(programs) as session:
        session.key("alt+grave")
        session.enter("help")
        wait_until(lambda: len(session.command_lines()) == 4, "help")
        save(session, "command-window")

        session.key("alt+4")
        wait_until(lambda: session.title() == "Log window", "log")
        save(session, "log-window")

        session.key("alt+2", "alt+grave")
        session.enter("connect sable local")
        wait_until(lambda: session.core_label() == "Stopped on core 0", "target")
        # The kernel's addresses are right once it has made its own space.
        for line in (f"lmf {programs}/demo.elf", "bp #1101D6", "g"):
            session.enter(line)
        wait_until(lambda: session.registers().get("rip") == "FFFFFFFF801101D6", "kernel")
        session.enter(f"lmf {programs}/demo.elf")
        session.enter("bp demo!*|listWalk")
        session.key("F5")
        wait_until(lambda: "listWalk" in session.location_label(), "list walk")
        for _ in range(5):
            session.key("F11")
        save(session, "debug-window")


if __name__ == "__main__":
    main()
