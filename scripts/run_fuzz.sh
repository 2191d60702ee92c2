#!/usr/bin/env bash
# Runs fuzz targets of the preset fuzz: scripts/run_fuzz.sh SECONDS [NAME ...] (default: all, NAME without _fuzz).
#
# Each first replays its regression inputs (tests/data/fuzz/NAME/), then fuzzes from them and from its seeds
# (fuzz/seeds/NAME/). What it finds stays in build/fuzz/corpus/NAME/; an input that fails, in build/fuzz/failed/.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
seconds=${1:?usage: scripts/run_fuzz.sh SECONDS [NAME ...]}
shift

names=("$@")
if ((!${#names[@]})); then
    for source in fuzz/*_fuzz.cpp; do
        [[ ! -e $source ]] || names+=("$(basename "$source" _fuzz.cpp)")
    done
fi
[[ ! -e fuzz/make_seeds.py ]] || python3 fuzz/make_seeds.py

export ASAN_OPTIONS=allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1
mkdir -p build/fuzz/failed build/fuzz/logs
# A target whose log is printed only when it fails.
fuzz_one() {
    local name=$1 corpus=() folder
    for folder in "tests/data/fuzz/$name" "fuzz/seeds/$name"; do
        [[ ! -d $folder ]] || corpus+=("$folder")
    done
    mkdir -p "build/fuzz/corpus/$name"
    local target=(build/fuzz/bin/"${name}_fuzz" -timeout=10 -rss_limit_mb=2048
        -artifact_prefix=build/fuzz/failed/"$name"-)
    local log=build/fuzz/logs/$name
    if ! { { ((!${#corpus[@]})) || "${target[@]}" -runs=0 "${corpus[@]}"; } &&
           "${target[@]}" -max_total_time="$seconds" "build/fuzz/corpus/$name" ${corpus[@]+"${corpus[@]}"}; } \
           >"$log" 2>&1 </dev/null; then
        cat "$log"
        echo "fuzz: $name failed; the input is in build/fuzz/failed/"
        return 1
    fi
    echo "fuzz: $name: $(grep -o 'Done.*' "$log" | tail -n 1)"
}
failed=0
running=0
for name in ${names[@]+"${names[@]}"}; do
    if ((running >= $(nproc))); then
        wait -n || failed=1
        running=$((running - 1))
    fi
    fuzz_one "$name" &
    running=$((running + 1))
done
while ((running > 0)); do
    wait -n || failed=1
    running=$((running - 1))
done
exit "$failed"
