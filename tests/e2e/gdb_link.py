"""A client of QEMU's debug server: breakpoints, going on, registers."""

import re
import socket
import time

# As the server sends them for a 64-bit machine: names and bytes.
LAYOUT = [(name, 8) for name in ("rax", "rbx", "rcx", "rdx", "rsi", "rdi", "rbp", "rsp", "r8", "r9", "r10", "r11",
                                 "r12", "r13", "r14", "r15", "rip")]
LAYOUT += [(name, 4) for name in ("rfl", "cs", "ss", "ds", "es", "fs", "gs")]
LAYOUT += [(name, 8) for name in ("fs_base", "gs_base", "k_gs_base", "cr0", "cr2", "cr3", "cr4", "cr8", "efer")]


class GdbLink:
    def __init__(self, path, seconds):
        self.socket = socket.socket(socket.AF_UNIX)
        until = time.monotonic() + seconds
        while True:
            try:
                self.socket.connect(path)
                break
            except OSError:
                if time.monotonic() > until:
                    raise
                time.sleep(0.05)
        self.socket.settimeout(seconds)
        self.buffer = b""

    def close(self):
        self.socket.close()

    def ask(self, text):
        """The answer to a packet."""
        body = text.encode()
        self.socket.sendall(b"$" + body + b"#%02x" % (sum(body) & 0xFF))
        while True:
            found = re.search(rb"\$([^#]*)#..", self.buffer)
            if found:
                self.buffer = self.buffer[found.end():]
                self.socket.sendall(b"+")
                return found.group(1).decode()
            more = self.socket.recv(65536)
            if not more:
                raise ConnectionError("the server is gone")
            self.buffer += more

    def run_to(self, address):
        """Goes on to the instruction at a linear address."""
        answers = (self.ask(f"Z1,{address:x},1"), self.ask("c")[:3], self.ask(f"z1,{address:x},1"))
        if answers != ("OK", "T05", "OK"):
            raise ConnectionError(f"unexpected: {answers}")

    def registers(self):
        """Those of the first processor, as numbers by name."""
        if self.ask("Hg1") != "OK":
            raise ConnectionError("there is no first processor")
        content = bytes.fromhex(self.ask("g"))
        values, position = {}, 0
        for name, size in LAYOUT:
            values[name] = int.from_bytes(content[position:position + size], "little")
            position += size
        return values
