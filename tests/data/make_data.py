#!/usr/bin/env python3
"""Builds the programs that tests load, from the sources beside this script.

Usage: make_data.py OUTPUT_FOLDER

Every file is made anew only when it is missing or older than its sources or this script.
Names say what they are: COMPILER_KIND[.elf|.so|.o], and the PE files by their linker. Programs with debug
information say more: COMPILER_dwarfVERSION_LANGUAGE_OPTIMISATION_KIND[.elf|.so|.o]. rooms_rust.elf is made
only where rustc is installed.
"""

import os
import shutil
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
SOURCES = HERE / "src"

# -g0: these programs carry symbols and no debug information.
C_FLAGS = ["-O1", "-g0", "-fno-asynchronous-unwind-tables", "-fcf-protection=none"]
PROGRAM = ["main.c", "list.c", "text.c"]
LIBRARY = ["library.c", "list.c", "text.c"]

# Not every mix, but each compiler meets each version of the format, each language, both levels of optimisation
# and each kind of file. A shared object and a relocatable object are made of the first source alone.
DEBUG_SOURCES = {"c": ["shapes.c", "shapes_main.c"], "cpp": ["classes.cpp", "classes_main.cpp"]}
DEBUG_FLAGS = ["-fno-asynchronous-unwind-tables", "-fcf-protection=none"]
DEBUG_KINDS = {
    "exec": (".elf", ["-no-pie"]),
    "pie": (".elf", ["-fPIE", "-pie"]),
    "shared": (".so", ["-fPIC", "-shared"]),
    "object": (".o", ["-c"]),
}
DEBUG_BUILDS = """
    gcc   4 c   O0 exec    gcc   4 c   O2 pie     gcc   4 cpp O0 pie     gcc   4 cpp O2 exec
    gcc   4 cpp O2 shared  gcc   4 c   O0 object  gcc   5 c   O2 exec    gcc   5 cpp O0 pie
    gcc   5 cpp O2 shared  gcc   5 c   O0 object  gcc   5 c   O0 shared  gcc   4 c   O0 shared
    clang 4 c   O0 pie     clang 4 c   O2 exec    clang 4 cpp O0 shared  clang 4 cpp O2 exec
    clang 4 cpp O0 object  clang 5 c   O0 exec    clang 5 c   O2 shared  clang 5 cpp O2 pie
    clang 5 cpp O2 object  clang 5 cpp O0 exec    clang 4 c   O0 shared
""".split()


def find_tool(*names):
    for name in names:
        if shutil.which(name):
            return name
    raise SystemExit(f"make_data.py: none of these is installed: {', '.join(names)}")


def recipes():
    """Yields (output name, source names, command with OUT for the output)."""
    asm = ["first.S", "second.S", "third.S"]
    fixed = ["-nostdlib", "-static", "-no-pie", "-Wl,--build-id=none", "-Wl,-Ttext=0x401000", "-Wl,-z,noseparate-code"]
    yield "fixed.elf", asm, ["gcc", *fixed, "-o", "OUT", *asm]
    yield "fixed_relocs.elf", asm, ["gcc", *fixed, "-Wl,--emit-relocs", "-o", "OUT", *asm]
    yield "fixed_stripped.elf", asm, ["gcc", *fixed, "-s", "-o", "OUT", *asm]
    yield "small32.elf", ["small32.S", "third.S"], [
        "gcc", "-m32", "-nostdlib", "-static", "-no-pie", "-Wl,--build-id=none", "-Wl,-Ttext=0x8049000",
        "-o", "OUT", "small32.S", "third.S"]
    clang = find_tool("clang-19", "clang", "clang-14")
    for label, compiler in (("gcc", "gcc"), ("clang", clang)):
        yield f"{label}_exec.elf", PROGRAM, [compiler, *C_FLAGS, "-no-pie", "-o", "OUT", *PROGRAM]
        yield f"{label}_pie.elf", PROGRAM, [compiler, *C_FLAGS, "-fPIE", "-pie", "-o", "OUT", *PROGRAM]
        yield f"{label}_static_pie.elf", PROGRAM, [compiler, *C_FLAGS, "-fPIE", "-static-pie", "-o", "OUT", *PROGRAM]
        yield f"{label}_shared.so", LIBRARY, [compiler, *C_FLAGS, "-fPIC", "-shared", "-o", "OUT", *LIBRARY]
        yield f"{label}_object.o", ["list.c"], [compiler, *C_FLAGS, "-c", "-o", "OUT", "list.c"]
    yield from debug_recipes(clang)
    pe = ["tiny_pe.c"]
    yield "mingw.exe", pe, [
        "x86_64-w64-mingw32-gcc", "-O1", "-nostdlib", "-Wl,--entry=entry", "-Wl,--dynamicbase", "-s", "-o", "OUT", *pe]
    yield "mingw.dll", pe, [
        "x86_64-w64-mingw32-gcc", "-O1", "-nostdlib", "-shared", "-Wl,--entry=entry",
        "-Wl,--image-base=0x180000000", "-s", "-o", "OUT", *pe]
    yield "codeview.exe", pe, ["LLD_LINK", clang]


def debug_recipes(clang):
    for label, version, language, level, kind in zip(*[iter(DEBUG_BUILDS)] * 5):
        suffix, options = DEBUG_KINDS[kind]
        sources = DEBUG_SOURCES[language]
        if kind in ("shared", "object"):
            sources = sources[:1]
        compiler = {"gcc": {"c": "gcc", "cpp": "g++"}, "clang": {"c": clang, "cpp": clang.replace("clang", "clang++")}}
        command = [compiler[label][language], f"-gdwarf-{version}", f"-{level}", *DEBUG_FLAGS, *options]
        if language == "cpp":
            command += ["-std=c++17", "-fno-exceptions"]
        yield f"{label}_dwarf{version}_{language}_{level}_{kind}{suffix}", sources, [*command, "-o", "OUT", *sources]
    if shutil.which("rustc"):
        yield "rooms_rust.elf", ["rooms.rs"], ["rustc", "-g", "-C", "codegen-units=1", "-o", "OUT", "rooms.rs"]
    else:
        print("make_data.py: rustc is not installed: rooms_rust.elf is left out", file=sys.stderr)


def link_with_codeview(clang, out, source):
    """A PE with a debug directory that names its symbol file, as that platform's own linker makes it."""
    linker = find_tool("lld-link-19", "lld-link", "lld-link-14")
    object_file = out.with_suffix(".obj")
    run([clang, "--target=x86_64-pc-windows-msvc", "-O1", "-g", "-gcodeview", "-c", source, "-o", object_file])
    run([linker, "/nologo", "/debug", "/nodefaultlib", "/subsystem:console", "/entry:entry", "/fixed:no",
         "/dynamicbase", "/Brepro", "/pdbaltpath:C:\\build\\out\\tiny.pdb", f"/out:{out}", object_file])
    object_file.unlink()


def run(command):
    command = [str(word) for word in command]
    done = subprocess.run(command, cwd=SOURCES, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        raise SystemExit(f"make_data.py: {' '.join(command)}\n{done.stdout}")


def is_current(out, sources):
    newest = max(os.path.getmtime(path) for path in [*sources, Path(__file__)])
    return out.exists() and out.stat().st_mtime >= newest


def main():
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    folder = Path(sys.argv[1]).resolve()
    folder.mkdir(parents=True, exist_ok=True)
    for name, sources, command in recipes():
        out = folder / name
        paths = [SOURCES / source for source in sources]
        if is_current(out, paths):
            continue
        if command[0] == "LLD_LINK":
            link_with_codeview(command[1], out, paths[0])
        else:
            run([out if word == "OUT" else word for word in command])


if __name__ == "__main__":
    main()
