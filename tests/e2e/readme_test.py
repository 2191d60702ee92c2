#!/usr/bin/env python3
"""The sessions in README.md are what the program prints. A line "..." in one stands for any lines.

Usage: readme_test.py --batch PROGRAM --data FOLDER [unittest arguments]
"""

import argparse
import itertools
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

BATCH = Path()
DATA = Path()
README = Path(__file__).resolve().parents[2] / "README.md"
PROMPT = "sable> "
TIME_LIMIT_SECONDS = 60


class Session(unittest.TestCase):
    def test_readme_shows_the_real_output(self):
        blocks = [block for _, block in re.findall(r"^```(\w*)\n(.*?)^```$", README.read_text(), re.M | re.S)
                  if block.startswith(PROMPT)]
        self.assertEqual(len(blocks), 3)
        for block in blocks:
            with self.subTest(block.splitlines()[1]):
                self.check(block)

    @staticmethod
    def with_gaps(printed, shown):
        """`printed` with "..." for what `shown` leaves out: up to the next line that it shows."""
        rows = iter(printed)
        result = []
        for number, line in enumerate(shown):
            if line != "...":
                result += itertools.islice(rows, 1)
                continue
            behind = shown[number + 1]
            rest = list(rows)
            rows = iter(rest[rest.index(behind):] if behind in rest else [])
            result.append(line)
        return result + list(rows)

    @staticmethod
    def without_made_numbers(line):
        """Types without a name are numbered in the order in which the threads of a load make them."""
        return re.sub(r"\b(modt|arr)_[0-9A-F]+\b", r"\1_N", line)

    def check(self, block):
        shown = block.replace("build/data", str(DATA)).replace("build/release/bin", str(BATCH.parent)).splitlines()
        lines = [line[len(PROMPT):] for line in shown if line.startswith(PROMPT)]
        self.assertGreater(len(lines), 5)
        done = subprocess.run([BATCH, "--echo"], input="\n".join(lines) + "\n", stdout=subprocess.PIPE, text=True,
                              timeout=TIME_LIMIT_SECONDS, cwd=README.parent)
        printed = [re.sub("^> ", PROMPT, line).rstrip() for line in done.stdout.splitlines()]
        shown = [self.without_made_numbers(line) for line in shown]
        printed = [self.without_made_numbers(line) for line in printed]
        self.assertEqual(self.with_gaps(printed, shown), shown)
        self.assertEqual(done.returncode, 0)


def main():
    global BATCH, DATA
    parser = argparse.ArgumentParser()
    parser.add_argument("--batch", required=True)
    parser.add_argument("--data", required=True, type=Path)
    arguments, rest = parser.parse_known_args()
    BATCH, DATA = Path(os.path.abspath(arguments.batch)), arguments.data.resolve()
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
