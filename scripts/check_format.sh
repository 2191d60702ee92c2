#!/usr/bin/env bash
# Checks the format of all C++ files that git knows or would add; --fix rewrites them.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Other versions format some lines differently.
tool=clang-format-19
command -v "$tool" >/dev/null || {
    echo "check_format: $tool is missing; run scripts/setup.sh dev" >&2
    exit 1
}
mapfile -d '' -t files < <(git ls-files -z --cached --others --exclude-standard -- '*.cpp' '*.h' '*.c' |
    while IFS= read -r -d '' file; do if [[ -e $file ]]; then printf '%s\0' "$file"; fi; done)
((${#files[@]})) || exit 0

if [[ ${1:-} == --fix ]]; then
    "$tool" -i "${files[@]}"
elif ! "$tool" --dry-run --Werror "${files[@]}"; then
    echo "check_format: run scripts/check_format.sh --fix" >&2
    exit 1
fi
echo "check_format: ${#files[@]} files"
