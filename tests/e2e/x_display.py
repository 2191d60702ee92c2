"""A virtual screen for tests: starts Xvfb, acts on it as a user would, and reads what is on it."""

import ctypes
import os
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import zlib
from pathlib import Path

START_SECONDS = 30
TOOL_SECONDS = 30
POLL_SECONDS = 0.02
PR_SET_PDEATHSIG = 1


def wait_until(condition, what, seconds=20):
    """Waits until `condition()` is true and returns what it gave; fails naming `what` after `seconds`."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"no {what} within {seconds} seconds")
        time.sleep(POLL_SECONDS)


def die_with_parent():
    """Runs in a child: it ends with the thread that started it, however that comes about."""
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGTERM)


class Screenshot:
    """What a screen showed: `width` by `height` pixels, 3 bytes each in `rgb`, top row first."""

    def __init__(self, width, height, rgb):
        self.width = width
        self.height = height
        self.rgb = rgb

    @classmethod
    def of_xwd(cls, data):
        """Reads a window dump of 32 bits a pixel."""
        fields = struct.unpack(">25I", data[:100])
        header_size, version, width, height = fields[0], fields[1], fields[4], fields[5]
        byte_order, bits, stride, masks, colors = fields[7], fields[11], fields[12], fields[14:17], fields[19]
        if version != 7 or bits != 32 or masks != (0xFF0000, 0xFF00, 0xFF):
            raise ValueError(f"not a dump of 8 bits a colour: version {version}, {bits} bits, masks {masks}")
        start = header_size + 12 * colors
        rows = [data[start + y * stride:start + y * stride + 4 * width] for y in range(height)]
        pixels = b"".join(rows)
        if len(pixels) != 4 * width * height:
            raise ValueError("the dump is cut")
        rgb = bytearray(3 * width * height)
        # The lowest byte of a pixel is blue; it comes first where the least significant byte does.
        for channel, place in enumerate((2, 1, 0) if byte_order == 0 else (1, 2, 3)):
            rgb[channel::3] = pixels[place::4]
        return cls(width, height, bytes(rgb))

    def pixel(self, x, y):
        """(red, green, blue), 0 to 255 each."""
        at = 3 * (y * self.width + x)
        return tuple(self.rgb[at:at + 3])

    def crop(self, x, y, width, height):
        rows = [self.rgb[3 * (row * self.width + x):3 * (row * self.width + x + width)]
                for row in range(y, y + height)]
        return Screenshot(width, height, b"".join(rows))

    def png(self):
        def chunk(kind, body):
            return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))
        stride = 3 * self.width
        rows = b"".join(b"\0" + self.rgb[at:at + stride] for at in range(0, len(self.rgb), stride))
        head = struct.pack(">2I5B", self.width, self.height, 8, 2, 0, 0, 0)
        return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", zlib.compress(rows, 6))
                + chunk(b"IEND", b""))

    def write_png(self, path):
        Path(path).write_bytes(self.png())


class XlibClient:
    """What the desktop's own programs do, which no tool of the system does: through libX11 itself."""

    CLIENT_MESSAGE = 33
    CONFIGURE_REQUEST = 23
    SUBSTRUCTURE_NOTIFY = 1 << 19
    SUBSTRUCTURE_REDIRECT = 1 << 20
    ICONIC_STATE = 3

    def __init__(self, display_name):
        self.xlib = ctypes.CDLL("libX11.so.6")
        for name in ("XOpenDisplay", "XDefaultRootWindow", "XInternAtom"):
            getattr(self.xlib, name).restype = ctypes.c_void_p
        self.display = ctypes.c_void_p(self.xlib.XOpenDisplay(display_name.encode()))
        if not self.display:
            raise AssertionError(f"the display {display_name} cannot be opened")
        self.root = self.xlib.XDefaultRootWindow(self.display)

    def close(self):
        self.xlib.XCloseDisplay(self.display)

    def atom(self, name):
        return self.xlib.XInternAtom(self.display, name.encode(), 0)

    def set_property(self, name, kind, values, window=None):
        """Gives a window, or the root, a property of 32-bit numbers; none deletes it."""
        target = ctypes.c_ulong(int(window) if window else self.root)
        if values:
            numbers = (ctypes.c_ulong * len(values))(*(value & 0xFFFFFFFF for value in values))
            self.xlib.XChangeProperty(self.display, target, ctypes.c_ulong(self.atom(name)),
                                      ctypes.c_ulong(self.atom(kind)), 32, 0, numbers, len(values))
        else:
            self.xlib.XDeleteProperty(self.display, target, ctypes.c_ulong(self.atom(name)))
        self.xlib.XSync(self.display, 0)

    def ask_to_close(self, window):
        """What the close entry of a window list does."""
        event = struct.pack("@iLiPLLi5l", self.CLIENT_MESSAGE, 0, 0, 0, int(window), self.atom("WM_PROTOCOLS"), 32,
                            self.atom("WM_DELETE_WINDOW"), 0, 0, 0, 0)
        self.xlib.XSendEvent(self.display, ctypes.c_ulong(int(window)), 0, ctypes.c_long(0),
                             ctypes.create_string_buffer(event, 192))
        self.xlib.XSync(self.display, 0)

    def lock_group(self, group):
        """Switches to the keyboard's layout of that number, 0 being the first."""
        self.xlib.XkbLockGroup(self.display, 0x100, group)
        self.xlib.XSync(self.display, 0)

    def refuse_placement(self):
        """Begins to decide where windows are, and from then on leaves them where they are."""
        self.xlib.XSelectInput(self.display, ctypes.c_ulong(self.root), ctypes.c_long(self.SUBSTRUCTURE_REDIRECT))
        self.xlib.XSync(self.display, 0)

    def grant_placement(self, delay):
        """Grants what windows have asked for since, one after the other, each `delay` seconds later; returns how many
        there were."""
        count = 0
        while self.xlib.XPending(self.display):
            buffer = ctypes.create_string_buffer(192)
            self.xlib.XNextEvent(self.display, buffer)
            kind, _, _, _, _, window, *place, _, _, mask = struct.unpack_from("@iLiPLLiiiiiLiL", buffer)
            if kind != self.CONFIGURE_REQUEST:
                continue
            count += 1
            time.sleep(delay)
            changes = ctypes.create_string_buffer(struct.pack("@5iLi", *place, 0, 0), 64)
            self.xlib.XConfigureWindow(self.display, ctypes.c_ulong(window), mask & 0xF, changes)
            self.xlib.XSync(self.display, 0)
        return count

    def watch(self):
        """Begins to hear what windows ask of the desktop."""
        self.xlib.XSelectInput(self.display, ctypes.c_ulong(self.root), ctypes.c_long(self.SUBSTRUCTURE_NOTIFY))
        self.xlib.XSync(self.display, 0)

    def minimized(self):
        """Windows that asked to be minimised since the last call."""
        windows = []
        while self.xlib.XPending(self.display):
            buffer = ctypes.create_string_buffer(192)
            self.xlib.XNextEvent(self.display, buffer)
            kind, _, _, _, window, message, _, state = struct.unpack_from("@iLiPLLil", buffer)
            if (kind, message, state) == (self.CLIENT_MESSAGE, self.atom("WM_CHANGE_STATE"), self.ICONIC_STATE):
                windows.append(window)
        return windows


class XDisplay:
    """An Xvfb of its own, with GL drawn by software. Use it as a context manager, or call start and stop."""

    def __init__(self, width=1920, height=1080, extensions=(), without=()):
        self.width = width
        self.height = height
        self.extensions = ("GLX", "RANDR", "RENDER", *extensions)
        self.without = tuple(without)
        self.name = None        # ":N" while it runs
        self.server = None
        self.folder = None
        self.keepers = []       # background processes of tools
        self.xlib = None        # an XlibClient while it runs

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()

    def start(self):
        self.folder = Path(tempfile.mkdtemp(prefix="sable-xvfb-"))
        reader, writer = os.pipe()
        command = ["Xvfb", "-displayfd", str(writer), "-fbdir", str(self.folder), "-noreset", "-nolisten", "tcp",
                   # Fonts of the server, whatever is installed: message boxes need others, and become lines on
                   # standard error, so that none waits for somebody to confirm it.
                   "-fp", "built-ins",
                   "-screen", "0", f"{self.width}x{self.height}x24"]
        for extension in self.extensions:
            if extension not in self.without:
                command += ["+extension", extension]
        for extension in self.without:
            command += ["-extension", extension]
        try:
            with open(self.folder / "log", "wb") as log:
                self.server = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                               pass_fds=[writer], preexec_fn=die_with_parent)
            os.close(writer)
            writer = None
            self.name = ":" + self._display_number(reader)
            self.xlib = XlibClient(self.name)
        except BaseException:
            self.stop()
            raise
        finally:
            os.close(reader)
            if writer is not None:
                os.close(writer)

    def _display_number(self, reader):
        os.set_blocking(reader, False)
        text = b""

        def whole_line():
            nonlocal text
            if self.server.poll() is not None:
                raise AssertionError("Xvfb ended: " + (self.folder / "log").read_text(errors="replace"))
            try:
                text += os.read(reader, 64)
            except BlockingIOError:
                pass
            return text.endswith(b"\n")
        wait_until(whole_line, "display number from Xvfb", START_SECONDS)
        return text.decode().strip()

    def stop(self):
        if self.server and self.server.poll() is not None:
            print(f"Xvfb ended by itself with {self.server.returncode}: "
                  + (self.folder / "log").read_text(errors="replace"), file=sys.stderr)
        elif self.xlib:
            self.xlib.close()
        self.xlib = None
        for process in [*self.keepers, self.server]:
            end(process)
        self.keepers = []
        self.server = None
        self.name = None
        if self.folder:
            shutil.rmtree(self.folder, ignore_errors=True)
        self.folder = None

    def environment(self, **more):
        """What a program that shall run on this screen needs; software GL even where there is hardware."""
        variables = dict(os.environ)
        for name in ("WAYLAND_DISPLAY", "XAUTHORITY", "XMODIFIERS"):
            variables.pop(name, None)
        # A bus that cannot be had: without any name a library would start one, which would stay.
        variables.update(DISPLAY=self.name, LIBGL_ALWAYS_SOFTWARE="1",
                         DBUS_SESSION_BUS_ADDRESS="unix:path=/nonexistent", **more)
        return variables

    def spawn(self, arguments, **more):
        """Starts a program on this screen; the caller ends it (see `end`)."""
        more.setdefault("env", self.environment())
        return subprocess.Popen([str(argument) for argument in arguments], preexec_fn=die_with_parent, **more)

    def run(self, *arguments, check=True, **more):
        """Runs a tool to its end and returns its standard output."""
        done = subprocess.run([str(argument) for argument in arguments], env=self.environment(), text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=TOOL_SECONDS, **more)
        if check and done.returncode != 0:
            raise AssertionError(f"{arguments}: exit code {done.returncode}: {done.stderr}")
        return done.stdout

    def xdotool(self, *arguments):
        return self.run("xdotool", *arguments)

    def xrandr(self, *arguments):
        return self.run("xrandr", *arguments)

    def key(self, *chords):
        """Presses and releases each chord, such as "alt+1", one after the other."""
        self.xdotool("key", "--delay", "15", *chords)

    def move_pointer(self, x, y):
        self.xdotool("mousemove", x, y)

    def click(self, x, y, button=1):
        self.xdotool("mousemove", x, y, "click", button)

    def drag(self, start, end_point, steps=8, button=1):
        """Moves the pointer with a button down from one point of the screen to another."""
        self.xdotool("mousemove", *start, "mousedown", button)
        for step in range(1, steps + 1):
            x, y = (a + (b - a) * step // steps for a, b in zip(start, end_point))
            self.xdotool("mousemove", x, y)
            time.sleep(POLL_SECONDS)
        self.xdotool("mouseup", button)

    def window(self, title, seconds=20):
        """Number of the visible window of this title, which must be there within `seconds`."""
        def find():
            return self.run("xdotool", "search", "--onlyvisible", "--name", title, check=False).split()
        return wait_until(find, f"window {title}", seconds)[0]

    def geometry(self, window):
        """(x, y, width, height) of a window on the screen."""
        values = dict(line.split("=") for line in
                      self.xdotool("getwindowgeometry", "--shell", window).splitlines())
        return tuple(int(values[name]) for name in ("X", "Y", "WIDTH", "HEIGHT"))

    def set_clipboard(self, text):
        """Copies as another program would; that program stays until the screen stops."""
        keeper = self.spawn(["xclip", "-quiet", "-selection", "clipboard", "-in"], stdin=subprocess.PIPE,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.keepers.append(keeper)
        keeper.stdin.write(text.encode())
        keeper.stdin.close()
        wait_until(lambda: self.clipboard() == text, "text in the clipboard")

    def clipboard(self):
        """What another program pastes; None when there is nothing."""
        done = subprocess.run(["xclip", "-selection", "clipboard", "-target", "UTF8_STRING", "-out"],
                              env=self.environment(), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, timeout=TOOL_SECONDS)
        return done.stdout.decode() if done.returncode == 0 else None

    def screenshot(self):
        return Screenshot.of_xwd((self.folder / "Xvfb_screen0").read_bytes())


def end(process, seconds=5):
    """Ends a child and waits for it; nothing when there is none."""
    if process is None:
        return
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(seconds)
        except subprocess.TimeoutExpired:
            process.kill()
    process.wait()
    for stream in (process.stdin, process.stdout, process.stderr):
        if stream and not stream.closed:
            stream.close()
