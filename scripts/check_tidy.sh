#!/usr/bin/env bash
# clang-tidy on the sources: scripts/check_tidy.sh [SECONDS]
#
# Files changed against the previous commit are always checked; the others until SECONDS (default: no limit)
# have passed. Needs a configured build/release for the compile commands.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tool=clang-tidy-19
command -v "$tool" >/dev/null || {
    echo "check_tidy: $tool is missing; run scripts/setup.sh dev" >&2
    exit 1
}
database=build/release
[[ -e $database/compile_commands.json ]] || {
    echo "check_tidy: $database is not configured; run cmake --preset release" >&2
    exit 1
}

# Only what this system compiles: the other platform's sources have no compile command.
mapfile -t sources < <(python3 - "$database/compile_commands.json" <<'PYTHON'
import json, os, sys
for entry in json.load(open(sys.argv[1])):
    path = os.path.relpath(os.path.join(entry["directory"], entry["file"]))
    if path.startswith(("src/", "engine/")):
        print(path)
PYTHON
)
declare -A changed=()
if git rev-parse -q --verify HEAD~1 >/dev/null; then
    while read -r file; do changed[$file]=1; done < <(git diff --name-only HEAD~1)
fi
first=()
rest=()
for file in "${sources[@]}"; do
    if [[ -n ${changed[$file]:-} ]]; then first+=("$file"); else rest+=("$file"); fi
done

# Exit code 255 makes xargs stop, so failures are counted by 1; a skipped file is told by its own line.
check='
    if ((deadline && EPOCHSECONDS >= deadline)); then echo "check_tidy: no time for $2"; exit 0; fi
    "$0" -p "$1" --quiet "$2" 2>/dev/null'
run() {
    local deadline=$1
    shift
    ((!$#)) || printf '%s\0' "$@" |
        deadline=$deadline xargs -0 -n 1 -P "$(nproc)" bash -c "$check" "$tool" "$database"
}
deadline=0
((!${1:-0})) || deadline=$((EPOCHSECONDS + $1))
failed=0
run 0 ${first[@]+"${first[@]}"} || failed=1
run "$deadline" ${rest[@]+"${rest[@]}"} || failed=1
echo "check_tidy: ${#first[@]} changed and ${#rest[@]} other sources"
exit "$failed"
