"""Runs lines of commands against the simulated PC and takes apart what the batch program prints."""

import argparse
import re
import subprocess
import sys
import unittest
from pathlib import Path

TIME_LIMIT_SECONDS = 120
KERNEL_OFFSET = 0xFFFFFFFF80000000  # of the demo guest's kernel: linear minus physical address


class Step:
    """One line and what followed it; directives of the batch program have no status."""

    def __init__(self, line):
        self.line, self.output, self.remote, self.status = line, [], [], None

    def registers(self):
        """What `r` printed, as numbers by name."""
        return {name: int(value, 16) for name, value in (row.split(": ") for row in self.output)}

    def dumped_bytes(self):
        """What `db` printed."""
        rows = [re.fullmatch(r"[0-9A-F]+: (.{48}).*", row).group(1) for row in self.output]
        return bytes.fromhex("".join(rows))


class LiveSession:
    def __init__(self):
        self.batch, self.folder = Path(), Path()

    def run_tests(self):
        """The tests of the script that was started, with the program that its arguments name."""
        parser = argparse.ArgumentParser()
        parser.add_argument("--batch", required=True, type=Path)
        parser.add_argument("--data", required=True, type=Path)
        arguments, rest = parser.parse_known_args()
        self.batch = arguments.batch.resolve()
        self.folder = self.batch.parent
        unittest.main(argv=[sys.argv[0], *rest])

    def symbol(self, name, file="demo.elf"):
        """The address that nm gives a symbol of one of the guest's files."""
        rows = subprocess.run(["nm", self.folder / file], check=True, stdout=subprocess.PIPE, text=True).stdout
        found = [row.split()[0] for row in rows.splitlines() if row.split()[-1] == name]
        if len(found) != 1:
            raise ValueError(f"{file}: {len(found)} symbols named {name}")
        return int(found[0], 16)

    def physical(self, name):
        """Where a symbol of the kernel is in physical memory."""
        return self.symbol(name) - KERNEL_OFFSET

    def to_function(self, name):
        """Lines that stop the machine at the first call of a kernel's function, with no breakpoint left."""
        return [f"bp #{self.physical(name):X}", "g", ".wait", "bc 0"]

    def run(self, *lines, connect="connect sable local", exit_code=0):
        """The steps of a session: one for `connect`, and one for each line."""
        text = "\n".join([connect, *lines]) + "\n"
        done = subprocess.run([self.batch, "--echo", "--status", "--remote"], input=text, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=TIME_LIMIT_SECONDS)
        if done.returncode != exit_code:
            raise AssertionError(f"exit code {done.returncode}: {done.stderr}\n{done.stdout}")
        steps = []
        for row in done.stdout.splitlines():
            if row.startswith("> "):
                steps.append(Step(row[2:]))
            elif row.startswith("remote: "):
                steps[-1].remote.append(row[len("remote: "):])
            elif re.fullmatch(r"\[\d+\]", row):
                steps[-1].status = int(row[1:-1])
            else:
                steps[-1].output.append(row)
        return steps


LIVE = LiveSession()
