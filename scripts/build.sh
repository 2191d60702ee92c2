#!/usr/bin/env bash
# Configures a preset and builds a target of it: scripts/build.sh PRESET TARGET. Speaks on standard error only.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
preset=$1
target=$2

log=$(mktemp)
trap 'rm -f "$log"' EXIT
[[ -e build/$preset/build.ninja ]] ||
    echo "build: configuring $preset" >&2
if ! cmake --preset "$preset" 2>&1 </dev/null | tee "$log" | sed -nu 's/^-- \(Building XED\)/build: \1/p' >&2; then
    cat "$log" >&2
    echo "build: configuring the preset $preset failed; the reason stands above" >&2
    exit 1
fi
echo "build: compiling $preset" >&2
cmake --build "build/$preset" --target "$target" >&2 </dev/null || {
    echo "build: compiling the preset $preset failed; the compiler's words stand above" >&2
    exit 1
}
