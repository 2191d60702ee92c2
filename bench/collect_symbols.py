#!/usr/bin/env python3
"""Writes distinct symbol names of the libraries on this machine, one a line, in the order of the files.

First the names as they stand in the files, then, while there are not enough, their demangled forms. Only
printable 7-bit names are taken, as no other can be stored. The last line of standard error says what was found.
"""

import argparse
import pathlib
import shutil
import subprocess
import sys

SUFFIXES = (".so", ".a", ".rlib")


def libraries(folders, smallest):
    """Distinct library files, the largest first: few files give most of the names."""
    found = {}
    for folder in folders:
        for path in pathlib.Path(folder).rglob("*"):
            name = path.name
            if not (name.endswith(SUFFIXES) or ".so." in name) or path.is_symlink() or not path.is_file():
                continue
            status = path.stat()
            if status.st_size >= smallest:
                found[(status.st_dev, status.st_ino)] = (-status.st_size, str(path))
    return [path for _, path in sorted(found.values())]


def default_folders():
    folders = ["/usr/lib", "/usr/local/lib"]
    if shutil.which("rustc"):
        answer = subprocess.run(["rustc", "--print", "sysroot"], capture_output=True, text=True)
        if answer.returncode == 0:
            folders.append(answer.stdout.strip())
    return [folder for folder in folders if pathlib.Path(folder).is_dir()]


def names_of(path):
    """The names in the file's symbol tables, in their order; the dynamic one when it is all that is left."""
    for options in (["-p"], ["-p", "-D"]):
        answer = subprocess.run(["nm", *options, "--format=posix", path], stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, encoding="latin-1")
        names = [line.split(" ", 1)[0].split("@")[0] for line in answer.stdout.splitlines() if " " in line]
        if names:
            return names
    return []


def demangled(names):
    """c++filt knows both C++ and Rust names; a name that it leaves as it is is skipped."""
    text = "\n".join(names) + "\n"
    answer = subprocess.run(["c++filt"], input=text, capture_output=True, encoding="latin-1")
    for before, after in zip(names, answer.stdout.splitlines()):
        if before != after:
            yield after


def is_storable(name):
    return name and all(32 <= ord(c) < 127 for c in name)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("output", type=pathlib.Path)
    parser.add_argument("--count", type=int, default=1000000)
    parser.add_argument("--smallest", type=int, default=200000, help="smallest library looked at, in bytes")
    parser.add_argument("folders", nargs="*", default=default_folders())
    options = parser.parse_args()

    names = {}    # keeps the order
    files = 0
    for path in libraries(options.folders, options.smallest):
        if len(names) >= options.count:
            break
        files += 1
        names.update((name, None) for name in names_of(path) if is_storable(name))
    as_found = min(len(names), options.count)
    mangled = [name for name in names if name.startswith("_")]
    for start in range(0, len(mangled), 20000):
        if len(names) >= options.count:
            break
        names.update((name, None) for name in demangled(mangled[start:start + 20000]) if is_storable(name))

    chosen = list(names)[:options.count]
    options.output.write_text("\n".join(chosen) + "\n", encoding="ascii")
    print(f"{len(chosen)} names: {as_found} as found in {files} libraries, "
          f"{len(chosen) - as_found} demangled", file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
