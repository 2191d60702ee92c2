#!/usr/bin/env bash
# Installs the Debian packages that are missing. Without anything missing it touches neither network nor system.
#
#   scripts/setup.sh [build|test|dev]
#
# build: what compiling needs. test: also the compilers that make test data. dev: also clang 19 with its tools and QEMU.
set -euo pipefail

buildPackages=(ca-certificates cmake ninja-build g++ pkg-config python3 binutils
    libgtest-dev libbenchmark-dev libcli11-dev libedit-dev nettle-dev
    libsdl2-dev libfreetype-dev libfontconfig-dev libx11-dev libxrandr-dev fonts-mononoki libgl1 libgl1-mesa-dri)
testPackages=(clang lld gcc-mingw-w64-x86-64 xvfb xdotool xclip x11-xserver-utils x11-xkb-utils)
devPackages=(git clang-19 clang-format-19 clang-tidy-19 libclang-rt-19-dev qemu-system-x86)

fail() {
    echo "setup: $*" >&2
    exit 1
}

# xed-sys needs cargo 1.64; the cargo of Debian 12's package of that name is older.
have_cargo() {
    local version
    version=$(cargo --version 2>/dev/null) || return 1
    [[ $version =~ ^cargo\ ([0-9]+)\.([0-9]+) ]] || return 1
    ((BASH_REMATCH[1] > 1 || BASH_REMATCH[2] >= 64))
}

have_xed() {
    [[ -n ${XED_ROOT:-} || -e /usr/include/xed/xed-interface.h || -e /usr/local/include/xed/xed-interface.h ]]
}

packages=("${buildPackages[@]}")
case ${1:-build} in
    build) ;;
    test) packages+=("${testPackages[@]}") ;;
    dev) packages+=("${testPackages[@]}" "${devPackages[@]}") ;;
    *) fail "unknown set '$1': build, test or dev" ;;
esac
have_xed || have_cargo || packages+=(cargo-web rustc-web)

command -v dpkg-query >/dev/null || {
    echo "setup: this is no Debian; going on with what is installed (needed: ${packages[*]})" >&2
    exit 0
}

missing=()
for package in "${packages[@]}"; do
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
done
((${#missing[@]})) || exit 0

echo "setup: installing ${missing[*]}" >&2
asRoot=()
if ((EUID != 0)); then
    command -v sudo >/dev/null || fail "run this as root, or install these first: ${missing[*]}"
    asRoot=(sudo)
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# The package lists may be missing or old, so they are fetched before anything is installed.
if ! { "${asRoot[@]}" apt-get update -q &&
       "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive \
           apt-get install -y -q --no-install-recommends "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
    tail -n 20 "$log" >&2
    fail "apt-get could not install the packages; see its words above, then run: apt-get install ${missing[*]}"
fi
