#!/usr/bin/env python3
"""Measures loading of programs with debugging information, by `lmf` and by other tools, in one run.

Usage: measure_peers.py --batch PROGRAM [--repeat N] [--tools NAME,...] [--loaded NAME] NAME=FILE ...

Each round runs every tool once, so that a change of the machine's load meets all of them; the medians are
printed. A tool whose first run takes longer than a minute is run only once. Times are of whole processes, with
the file in the page cache, all output to /dev/null. Of the input that --loaded names, commands on the loaded
program are timed as well, each from the line that is written to the status that comes back.
"""

import argparse
import json
import os
import random
import re
import shutil
import statistics
import subprocess
import sys
import time
from pathlib import Path

SLOW_SECONDS = 60
TIME_LIMIT_SECONDS = 1800
OUR_NAME = "lmf"

# Each brings the tool to read all units of FILE.
PEERS = {
    "gdb -readnow": ["gdb", "-nx", "-batch", "-readnow", "FILE"],
    # A look-up by pattern makes the index complete. One that finds nothing ends lldb with 1.
    "lldb full index": ["lldb", "--no-lldbinit", "-b", "-o", "target create FILE",
                         "-o", "image lookup -r -n no_such_name"],
    "llvm-dwarfdump --debug-info": ["llvm-dwarfdump", "--debug-info", "FILE"],
    "llvm-dwarfdump --statistics": ["llvm-dwarfdump", "--statistics", "FILE"],
    # Addresses as numbers: looking up a symbol for each takes it a hundred times as long as reading the entries.
    "eu-readelf -N --debug-dump=info": ["eu-readelf", "-N", "--debug-dump=info", "FILE"],
}
GOOD_EXIT_CODES = {"lldb": (0, 1)}


def load_command(batch, path):
    return [batch, "--stop-on-error", "-x", "connect static local", "-x", f'lmf "{path}"', "/dev/null"]


def run_once(command):
    """(seconds, peak of resident memory in MiB) of one process; None when it fails."""
    start = time.monotonic()
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.monotonic() - start
    process.returncode = os.waitstatus_to_exitcode(status)
    good = process.returncode in GOOD_EXIT_CODES.get(command[0], (0,))
    return (seconds, usage.ru_maxrss / 1024) if good else None


def measure(commands, repeat):
    """{name: (median seconds, median MiB, runs)}; None for what fails."""
    runs = {name: [] for name in commands}
    failed = set()
    for _ in range(repeat):
        for name, command in commands.items():
            done = runs[name]
            if name in failed or (done and done[0][0] > SLOW_SECONDS):
                continue
            result = run_once(command)
            if result is None:
                failed.add(name)
            else:
                done.append(result)
    return {name: None if name in failed else (statistics.median(seconds for seconds, _ in done),
                                               statistics.median(peak for _, peak in done), len(done))
            for name, done in runs.items()}


def section(path, name):
    """(address, size) of a section, from readelf."""
    text = subprocess.run(["readelf", "-SW", path], check=True, stdout=subprocess.PIPE, text=True).stdout
    match = re.search(rf" {re.escape(name)}\s+\S+\s+([0-9a-f]+)\s+[0-9a-f]+\s+([0-9a-f]+)", text)
    return (int(match.group(1), 16), int(match.group(2), 16)) if match else (0, 0)


class Loaded:
    """A batch program that has `path` loaded and waits for lines."""

    def __init__(self, batch, path):
        self.process = subprocess.Popen([batch, "--status"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL)
        self.send(["connect static local", f'lmf "{path}"'])

    def send(self, lines):
        """Seconds from the first line's writing to the last line's status, and the number of lines printed."""
        start = time.monotonic()
        pid = os.fork()
        if pid == 0:  # a pipe holds 64 KiB, so writing and reading go on side by side
            self.process.stdin.write(("\n".join(lines) + "\n").encode())
            self.process.stdin.flush()
            os._exit(0)
        statuses = printed = 0
        while statuses < len(lines):
            line = self.process.stdout.readline()
            if not line:
                raise SystemExit("measure_peers.py: the batch program ended")
            printed += 1
            if line.startswith(b"["):
                statuses += 1
                if line != b"[0]\n":
                    raise SystemExit(f"measure_peers.py: '{lines[statuses - 1]}' ended with {line.decode().strip()}")
        seconds = time.monotonic() - start
        os.waitpid(pid, 0)
        return seconds, printed - statuses

    def close(self):
        self.process.stdin.close()
        self.process.wait(TIME_LIMIT_SECONDS)


def function_addresses(path, count):
    """Addresses inside of the functions of `path`, the same in every run."""
    text = subprocess.run(["nm", "-S", "--defined-only", path], check=True, stdout=subprocess.PIPE, text=True).stdout
    functions = [(int(words[0], 16), int(words[1], 16)) for words in map(str.split, text.splitlines())
                 if len(words) == 4 and words[2] in "tTwW" and int(words[1], 16)]
    pick = random.Random(1)
    return [start + pick.randrange(size) for start, size in pick.choices(functions, k=count)]


def time_loaded(batch, path, repeat):
    start, size = section(path, ".text")
    pick = random.Random(1)
    anywhere = [start + pick.randrange(size) for _ in range(1000)]
    module = Path(path).name.split(".")[0]
    listed = function_addresses(path, 1)[0]
    works = {
        "1000 xa, random addresses of .text, the first look-ups": [f"xa {address:x}" for address in anywhere],
        "1000 xa, the same again": [f"xa {address:x}" for address in anywhere],
        "sl of all functions": ["sl |"],
        "u of 1000 lines with symbols": [f"u {listed:x} 1000"],
        "um": [f"um {module}"],
    }
    times = {name: [] for name in works}
    for _ in range(repeat):
        loaded = Loaded(batch, path)
        for name, lines in works.items():
            times[name].append(loaded.send(lines))
        loaded.close()
    print("\nCommands on the loaded program, medians:\n")
    for name, done in times.items():
        print(f"    {name:<56} {statistics.median(seconds for seconds, _ in done) * 1000:9.1f} ms"
              f"  ({done[0][1]} lines)")


def time_processors(batch, path, repeat):
    if not shutil.which("taskset") or len(os.sched_getaffinity(0)) < 2:
        print("\nScaling of lmf: taskset or a second processor is missing")
        return
    first, second = sorted(os.sched_getaffinity(0))[:2]
    command = load_command(batch, path)
    results = measure({"one": ["taskset", "-c", str(first), *command],
                       "two": ["taskset", "-c", f"{first},{second}", *command]}, repeat)
    one, two = results["one"][0], results["two"][0]
    print(f"\nScaling of lmf: one processor {one:.3f} s, two {two:.3f} s, {one / two:.2f} times as fast")


def time_workers(batch, path, repeat):
    """The load alone; the thread that waits for the workers takes part, so one worker makes two threads."""
    bench = Path(batch).with_name("dwarf_load_bench")
    if not bench.exists():
        print(f"\nLoad by number of workers: {bench} is missing")
        return
    command = [bench, f"--benchmark_repetitions={repeat}", "--benchmark_enable_random_interleaving=true",
               "--benchmark_format=json"]
    done = subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                          env={**os.environ, "SABLE_BENCH_PROGRAM": path})
    times = {}
    for each in json.loads(done.stdout)["benchmarks"]:
        if each["run_type"] == "iteration":
            times.setdefault(int(each["run_name"].split("/")[1]), []).append(each["real_time"])
    medians = {workers: statistics.median(each) for workers, each in times.items()}
    print(f"\nLoad without index and process, by the number of workers, on {os.cpu_count()} processors, medians:\n")
    for workers, milliseconds in sorted(medians.items()):
        print(f"    {workers} workers {milliseconds:9.1f} ms, {medians[0] / milliseconds:5.2f} times as fast as none")


def print_table(results):
    ours = results[OUR_NAME]
    print(f"    {'':<32} {'wall s':>9} {'ratio':>7} {'peak MiB':>9} {'ratio':>7}  runs")
    for name, result in results.items():
        if result is None:
            print(f"    {name:<32} {'failed':>9}")
            continue
        seconds, peak, runs = result
        ratios = (f"{seconds / ours[0]:7.1f}", f"{peak / ours[1]:7.1f}") if ours else ("", "")
        print(f"    {name:<32} {seconds:9.3f} {ratios[0]:>7} {peak:9.0f} {ratios[1]:>7}  {runs}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--batch", required=True)
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--tools", help="names as the table has them, with commas; all unless given")
    parser.add_argument("--loaded", help="the input on which commands are timed, too")
    parser.add_argument("inputs", nargs="+", metavar="NAME=FILE")
    options = parser.parse_args()
    wanted = [name.strip() for name in options.tools.split(",")] if options.tools is not None else list(PEERS)

    peers = {}
    for name, command in PEERS.items():
        if name not in wanted:
            continue
        if shutil.which(command[0]):
            peers[name] = command
        else:
            print(f"{command[0]} is not installed: '{name}' is left out")
    for each in options.inputs:
        name, _, path = each.partition("=")
        path = str(Path(path).resolve())
        with open(path, "rb") as file:
            while file.read(1 << 24):
                pass
        size = section(path, ".debug_info")[1]
        load = os.getloadavg()[0]
        commands = {OUR_NAME: load_command(options.batch, path)}
        commands |= {peer: [word.replace("FILE", path) for word in command] for peer, command in peers.items()}
        results = measure(commands, options.repeat)
        print(f"\n{name}: {path}, {os.path.getsize(path) / 1e6:.0f} MB, .debug_info {size / 1e6:.1f} MB; "
              f"load of the machine {load:.1f} to {os.getloadavg()[0]:.1f}\n")
        print_table(results)
        if results[OUR_NAME] is None:
            sys.exit(f"measure_peers.py: {path} was not loaded")
        if name == options.loaded:
            time_loaded(options.batch, path, options.repeat)
            time_processors(options.batch, path, options.repeat)
            time_workers(options.batch, path, options.repeat)
        sys.stdout.flush()


if __name__ == "__main__":
    main()
