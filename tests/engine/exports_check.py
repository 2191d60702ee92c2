"""Compares what an engine library exports with the table: exports_check.py LIBRARY FUNCTIONS_H"""

import re
import subprocess
import sys

COUNT = 133


def main():
    library, header = sys.argv[1:]
    with open(header, encoding="utf-8") as file:
        wanted = re.findall(r"^    [FR]\((\w+), ", file.read(), re.MULTILINE)
    lines = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    found = [line.split()[-1] for line in lines]
    faults = [f"the table has {len(wanted)} names, not {COUNT}"] if len(wanted) != COUNT else []
    faults += [f"not exported: {name}" for name in wanted if name not in found]
    faults += [f"exported, but not in the table: {name}" for name in found if name not in wanted]
    print("\n".join(faults) or f"{len(found)} exports, as in the table")
    return 1 if faults else 0


sys.exit(main())
