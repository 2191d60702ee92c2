"""The window of sabledbg on a virtual screen, driven by keys and mouse and read off the screen."""

import subprocess

from screen_text import Font
from x_display import XDisplay, end, wait_until

TITLE = "SableDbg"
BAND = 100          # pixels above the views of text pages
BUTTONS = 55        # pixels of the two buttons in a view's corner
INPUT_GAP = 20      # below the command line of the debug window
CODE_TOP = 200
CODE_MARGINS = 350
BACKGROUND = (43, 45, 49)
CURRENT_LINE = (80, 80, 80)


class WindowSession:
    """A running program. `programs` is the folder with sabledbg and dump_atlas."""

    def __init__(self, programs, display=None, width=1600, height=1100):
        self.programs = programs
        self.own_display = XDisplay(width, height) if display is None else None
        self.display = display or self.own_display
        self.process = None
        self.window = None
        self.font = Font(programs / "dump_atlas")

    def __enter__(self):
        if self.own_display:
            self.own_display.start()
        try:
            self.start()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        end(self.process)
        if self.own_display:
            self.own_display.stop()

    def start(self):
        self.process = self.display.spawn([self.programs / "sabledbg"], stdin=subprocess.DEVNULL,
                                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.window = self.display.window(TITLE)
        wait_until(lambda: self.shot().pixel(5, 50) == BACKGROUND, "first frame")

    def rectangle(self):
        return self.display.geometry(self.window)

    def shot(self):
        """What the window shows."""
        x, y, w, h = self.rectangle()
        image = self.display.screenshot()
        left, top = max(x, 0), max(y, 0)
        return image.crop(left, top, min(x + w, image.width) - left, min(y + h, image.height) - top)

    def key(self, *chords):
        self.display.key(*chords)

    def type(self, text):
        self.display.xdotool("type", "--delay", "12", text)

    def enter(self, line):
        """Types a line into the input with the focus; an empty input shows that it was taken."""
        self.type(line)
        self.key("Return")

    def click(self, x, y, button=1):
        """At a place of the window."""
        left, top, _, _ = self.rectangle()
        self.display.click(left + x, top + y, button)

    # The pages, from top to bottom.

    def rows(self, image, x, top, height, columns=None):
        """The lines of a view."""
        step = self.font.line_height
        columns = columns or (image.width - x) // self.font.advance
        return [self.font.read(image, x, top + row * step, columns) for row in range(height // step)]

    def columns(self, image):
        """As many as are left of the two buttons in a view's corner."""
        return (image.width - BUTTONS) // self.font.advance

    def command_rows(self):
        image = self.shot()
        return self.rows(image, 0, BAND, image.height - 2 * self.font.line_height - BAND, self.columns(image))

    def command_lines(self):
        return [row for row in self.command_rows() if row]

    def command_input(self):
        image = self.shot()
        return self.font.read(image, 0, image.height - 2 * self.font.line_height, 150)

    def log_lines(self):
        image = self.shot()
        return [row for row in self.rows(image, 0, BAND, image.height - 2 * BAND, self.columns(image)) if row]

    def title(self):
        image = self.shot()
        for name in ("Command window", "Log window", "Remote log window"):
            x = image.width - len(name) * self.font.advance - 10
            if self.font.read(image, x, BAND - 5 - self.font.line_height, len(name)) == name:
                return name
        return None

    def debug_input(self):
        image = self.shot()
        return self.font.read(image, 0, image.height - INPUT_GAP - self.font.line_height,
                              image.width // 4 * 3 // self.font.advance)

    def core_label(self, image=None):
        image = image or self.shot()
        return self.font.read(image, 0, CODE_TOP - self.font.line_height, 23)

    def location_label(self):
        return self.font.read(self.shot(), 208, CODE_TOP - self.font.line_height, 90)

    def code_rows(self, image=None):
        image = image or self.shot()
        columns = image.width // 4 * 3 // self.font.advance
        return self.rows(image, 0, CODE_TOP, image.height - CODE_MARGINS, columns)

    def current_row(self, image=None):
        """Number of the row with the bar; None without one."""
        image = image or self.shot()
        x = image.width // 4 * 3 - 3
        for row in range((image.height - CODE_MARGINS) // self.font.line_height):
            if image.pixel(x, CODE_TOP + row * self.font.line_height + 8) == CURRENT_LINE:
                return row
        return None

    def registers(self, image=None):
        """Name to value, as the panel shows them."""
        image = image or self.shot()
        left = image.width // 4 * 3
        top = 2 * self.font.line_height
        found = {}
        for row in range((image.height - top) // self.font.line_height):
            y = top + row * self.font.line_height
            name = self.font.read(image, left, y, 13)
            if name and "\0" not in name:
                found[name] = self.font.read(image, left + 120, y, 16)
        return found
