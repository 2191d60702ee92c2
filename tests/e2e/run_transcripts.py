#!/usr/bin/env python3
"""Runs the batch program on recorded transcripts and compares every byte of its output.

Usage: run_transcripts.py --batch PROGRAM --data FOLDER [--update] [TRANSCRIPT ...]

A transcript is a text file. Lines that start with "! " at its top set it up:

  ! title TEXT                   what it shows
  ! option OPTION                an option for the program, besides --echo and --status
  ! stdin                        lines go through standard input instead of a script file
  ! exit N                       the exit code that is expected (0 when absent)
  ! var NAME symbol FILE SYMBOL  the address of a symbol as nm prints it, 16 upper-case digits
  ! var NAME entry FILE          the entry address as readelf prints it

All other lines are what the program must print. Those that start with "> " are also its input.
{data} stands for the folder of built programs, {sources} for that of their sources and {NAME} for a variable;
{{ and }} stand for braces.
--update writes what the program printed into the transcript, putting the names back.
"""

import argparse
import difflib
import re
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
TIME_LIMIT_SECONDS = 120


def tool_output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def symbol_address(path, symbol):
    found = [line.split()[0] for line in tool_output("nm", path).splitlines() if line.split()[-1] == symbol]
    if len(found) != 1:
        raise ValueError(f"{path}: {len(found)} symbols named {symbol}")
    return f"{int(found[0], 16):016X}"


def entry_address(path):
    header = tool_output("readelf", "-hW", path)
    entry = re.search(r"Entry point address:\s+(0x[0-9a-f]+)", header).group(1)
    return f"{int(entry, 16):016X}"


class Transcript:
    def __init__(self, path, data):
        self.path = path
        self.names = {"data": str(data), "sources": str(HERE.parent / "data" / "src")}
        self.options = []
        self.use_stdin = False
        self.exit_code = 0
        self.header = []
        lines = path.read_text().splitlines()
        while lines and lines[0].startswith("! "):
            self.header.append(lines[0])
            self.read_setting(lines.pop(0)[2:])
        self.expected = [self.expand(line) for line in lines]

    def read_setting(self, setting):
        word, _, rest = setting.partition(" ")
        if word == "option":
            self.options.append(self.expand(rest))
        elif word == "stdin":
            self.use_stdin = True
        elif word == "exit":
            self.exit_code = int(rest)
        elif word == "var":
            name, kind, *arguments = rest.split()
            arguments[0] = self.expand(arguments[0])
            self.names[name] = {"symbol": symbol_address, "entry": entry_address}[kind](*arguments)
        elif word != "title":
            raise ValueError(f"{self.path}: unknown setting: {setting}")

    def expand(self, line):
        return line.format(**self.names)

    def contract(self, line):
        line = line.replace("{", "{{").replace("}", "}}")
        for name, value in self.names.items():
            line = line.replace(value, "{" + name + "}")
        return line

    def run(self, batch):
        script = "".join(line[2:] + "\n" for line in self.expected if line.startswith("> "))
        command = [batch, "--echo", "--status", *self.options]
        with tempfile.NamedTemporaryFile("w", suffix=".script") as file:
            if not self.use_stdin:
                file.write(script)
                file.flush()
                command.append(file.name)
            return subprocess.run(command, input=script if self.use_stdin else "", stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, text=True, errors="surrogateescape",
                                  timeout=TIME_LIMIT_SECONDS)

    def check(self, batch, update):
        done = self.run(batch)
        printed = done.stdout.splitlines()
        if update:
            body = [self.contract(line) for line in printed]
            self.path.write_text("\n".join([*self.header, *body]) + "\n")
            return True
        difference = list(difflib.unified_diff(self.expected, printed, "expected", "printed", lineterm=""))
        if done.returncode != self.exit_code:
            difference.append(f"exit code {done.returncode}, expected {self.exit_code}")
        if done.stderr and self.exit_code == 0:
            difference.append("standard error: " + done.stderr)
        print(f"{'FAILED' if difference else 'passed'}: {self.path.name}")
        for line in difference:
            print("    " + line)
        return not difference


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--batch", required=True)
    parser.add_argument("--data", required=True, type=Path)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("transcripts", nargs="*", type=Path)
    arguments = parser.parse_args()
    paths = arguments.transcripts or sorted((HERE / "transcripts").glob("*.txt"))
    if not paths:
        raise SystemExit("no transcripts found")
    results = [Transcript(path, arguments.data.resolve()).check(arguments.batch, arguments.update) for path in paths]
    print(f"{sum(results)} passed, {len(results) - sum(results)} failed")
    sys.exit(0 if all(results) else 1)


if __name__ == "__main__":
    main()
