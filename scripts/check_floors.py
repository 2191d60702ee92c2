#!/usr/bin/env python3
"""Checks the #include lines of src/ and engine/ against the table cmake/floors.txt.

A file includes only files of its own floor or of a lower one, includes form no cycle, only src/platform/
knows the operating system, and src/ and engine/ share nothing but engine/abi/. Every fault is printed as
FILE:LINE: SENTENCE; the exit code is 1 when there is one.
"""

import argparse
import pathlib
import re
import sys

SOURCE_SUFFIXES = {".h", ".c", ".cpp", ".inc"}
INCLUDE = re.compile(r'\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')
CONDITIONAL = re.compile(r"\s*#\s*(?:if|ifdef|ifndef|elif|elifdef|elifndef)\b")
SYSTEM_HEADER = re.compile(
    r"(?:sys|net|netinet|arpa|linux|asm|bits)/.*"
    r"|(?:unistd|pthread|dlfcn|fcntl|poll|signal|sched|semaphore|spawn|pwd|grp|dirent|termios|ucontext|execinfo"
    r"|ifaddrs|netdb|link|libgen|glob|fnmatch|strings|mqueue|aio|langinfo|syslog|utime|ftw|wordexp)\.h"
    r"|(?:windows|windef|winbase|winnt|winuser|winsock2?|ws2tcpip|iphlpapi|winhttp|psapi|dbghelp|shlobj|shellapi"
    r"|tlhelp32|io|direct|process|conio)\.h",
    re.IGNORECASE)

TABLE = "cmake/floors.txt"
PLATFORM = "platform"    # takes all of src/platform/
PROGRAMS = "programs"    # above the table: what these folders of src/ hold beside the listed stems
PROGRAM_FOLDERS = ("app/batch/", "app/windows/")
GUEST = "engine/guest"   # a program of its own, whose includes start at its folder


class Checker:
    def __init__(self, root):
        self.root = root
        self.faults = []
        self.floors = []     # names, bottom to top
        self.floor_of = {}   # stem -> floor name
        self.line_of = {}    # stem -> its line in the table
        self.includes = {}   # file -> [(line number, included file)], all relative to the root

    def fault(self, path, line, sentence):
        self.faults.append(f"{path}:{line}: {sentence}")

    def read_table(self):
        for number, line in enumerate((self.root / TABLE).read_text().splitlines(), 1):
            text = line.split("#")[0].strip()
            if not text:
                continue
            if text.startswith("["):
                self.floors.append(text.strip("[]"))
            elif not self.floors:
                self.fault(TABLE, number, f"{text} stands before the first floor")
            elif text in self.floor_of:
                self.fault(TABLE, number, f"{text} already stands in line {self.line_of[text]}")
            elif text.startswith("platform/"):
                self.fault(TABLE, number, f"{text} is on the floor {PLATFORM} without being listed")
            else:
                self.floor_of[text] = self.floors[-1]
                self.line_of[text] = number

    def floor(self, path):
        """Name of the floor that `path` (below src/) is on; None when the table does not have it."""
        relative = path.removeprefix("src/")
        if relative.startswith("platform/"):
            return PLATFORM
        stem = relative.rsplit(".", 1)[0]
        if stem not in self.floor_of and relative.startswith(PROGRAM_FOLDERS):
            return PROGRAMS
        return self.floor_of.get(stem)

    def height(self, floor):
        return len(self.floors) if floor == PROGRAMS else self.floors.index(floor)

    def files(self, folder):
        return sorted(str(path.relative_to(self.root)) for path in (self.root / folder).rglob("*")
                      if path.suffix in SOURCE_SUFFIXES)

    def resolve(self, path, name):
        """The file that `#include "name"` in `path` means, relative to the root; None when there is none."""
        own_folder = str(pathlib.PurePosixPath(path).parent)
        own_tree = path.split("/")[0]
        guest = [GUEST] if path.startswith(GUEST + "/") else []
        for folder in dict.fromkeys((*guest, own_tree, own_folder, ".", "src", "engine")):
            found = (self.root / folder / name).resolve()
            if found.is_file() and found.is_relative_to(self.root):
                return str(found.relative_to(self.root))
        return None

    def read_file(self, path):
        self.includes[path] = []
        free = path.startswith(("src/platform/", "engine/"))
        text = (self.root / path).read_text(encoding="utf-8", errors="replace")
        for number, line in enumerate(text.splitlines(), 1):
            if not free and CONDITIONAL.match(line):
                self.fault(path, number, "conditional compilation belongs into src/platform/")
            match = INCLUDE.match(line)
            if not match:
                continue
            quoted, system = match.groups()
            if system and not free and SYSTEM_HEADER.fullmatch(system):
                self.fault(path, number, f"<{system}> belongs to the operating system: only src/platform/ "
                           "includes it")
            if quoted:
                target = self.resolve(path, quoted)
                if target is None:
                    self.fault(path, number, f'"{quoted}" is no file of this project')
                else:
                    self.includes[path].append((number, target))

    def check_stems(self):
        present = set()
        for path in self.files("src"):
            present.add(path.removeprefix("src/").rsplit(".", 1)[0])
            if self.floor(path) is None:
                self.fault(path, 1, f"the file stands on no floor of {TABLE}")
        for stem, number in self.line_of.items():
            if stem not in present:
                self.fault(TABLE, number, f"there is no file src/{stem}.h or .cpp")

    def check_floors(self):
        for path, targets in self.includes.items():
            for number, target in targets:
                trees = {path.split("/")[0], target.split("/")[0]}
                if "engine" in trees and len(trees) > 1:
                    if not target.startswith("engine/abi/"):
                        self.fault(path, number, f"{target}: src/ and engine/ share only engine/abi/")
                elif path.startswith("src/") and target.startswith("src/"):
                    own, other = self.floor(path), self.floor(target)
                    if own and other and self.height(other) > self.height(own):
                        self.fault(path, number, f"{target} is on the floor {other}, above this file's floor {own}")

    def check_cycles(self):
        """Depth first with an own stack; an include of a file that is still open closes a cycle."""
        done = set()
        for start in self.includes:
            if start in done:
                continue
            trail, pending = [start], [iter(self.includes[start])]
            while pending:
                edge = next(pending[-1], None)
                if edge is None:
                    pending.pop()
                    done.add(trail.pop())
                    continue
                number, target = edge
                if target in trail:
                    cycle = trail[trail.index(target):] + [target]
                    self.fault(trail[-1], number, "the includes form a cycle: " + " > ".join(cycle))
                elif target not in done and target in self.includes:
                    trail.append(target)
                    pending.append(iter(self.includes[target]))

    def run(self):
        self.read_table()
        for path in self.files("src") + self.files("engine"):
            self.read_file(path)
        self.check_stems()
        self.check_floors()
        self.check_cycles()
        return self.faults


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--root", type=pathlib.Path, default=pathlib.Path(__file__).resolve().parent.parent,
                        help="root of the project")
    checker = Checker(parser.parse_args().root.resolve())
    faults = checker.run()
    for fault in faults:
        print(fault)
    print(f"floors: {len(checker.includes)} files, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
