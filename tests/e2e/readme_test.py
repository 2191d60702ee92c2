#!/usr/bin/env python3
"""The sessions in README.md are what the program prints.

Usage: readme_test.py --batch PROGRAM --data FOLDER [unittest arguments]
"""

import argparse
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

BATCH = ""
DATA = Path()
README = Path(__file__).resolve().parents[2] / "README.md"
PROMPT = "sable> "
TIME_LIMIT_SECONDS = 60


class Session(unittest.TestCase):
    def test_readme_shows_the_real_output(self):
        blocks = [block for block in re.findall(r"^```\n(.*?)^```$", README.read_text(), re.M | re.S)
                  if block.startswith(PROMPT)]
        self.assertEqual(len(blocks), 2)
        for block in blocks:
            with self.subTest(block.splitlines()[1]):
                self.check(block)

    def check(self, block):
        shown = block.replace("build/data", str(DATA)).splitlines()
        lines = [line[len(PROMPT):] for line in shown if line.startswith(PROMPT)]
        self.assertGreater(len(lines), 5)
        done = subprocess.run([BATCH, "--echo"], input="\n".join(lines) + "\n", stdout=subprocess.PIPE, text=True,
                              timeout=TIME_LIMIT_SECONDS, cwd=README.parent)
        printed = [re.sub("^> ", PROMPT, line).rstrip() for line in done.stdout.splitlines()]
        self.assertEqual(printed, shown)
        self.assertEqual(done.returncode, 0)


def main():
    global BATCH, DATA
    parser = argparse.ArgumentParser()
    parser.add_argument("--batch", required=True)
    parser.add_argument("--data", required=True, type=Path)
    arguments, rest = parser.parse_known_args()
    BATCH, DATA = os.path.abspath(arguments.batch), arguments.data.resolve()
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
