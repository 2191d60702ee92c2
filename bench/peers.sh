#!/usr/bin/env bash
# Measures the load of programs with debugging information side by side with other tools that read it.
#
#   bench/peers.sh [--kernel] [--c FILE] [--cpp FILE] [--vmlinux FILE] [--folder FOLDER] [--batch PROGRAM]
#                  [-- OPTIONS OF measure_peers.py]
#
# The inputs are a C program (XED's example, built with DWARF 4 from the sources of its crate), a C++ program
# (make_cpp_program.py) and, with --kernel, the kernel of Debian's linux-image-amd64-dbg with DWARF 5. They are
# made in FOLDER (build/peers/) unless they are there already or given; the C++ program takes minutes.
# Tools that are not installed are named and left out:
#   apt-get install gdb lldb llvm elfutils
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
folder=$root/build/peers
batch=$root/build/release/bin/sabledbg-batch
kernel='' c='' cpp='' vmlinux=''

fail() {
    echo "peers: $*" >&2
    exit 1
}

while (($#)); do
    case $1 in
        --kernel) kernel=yes ;;
        --c | --cpp | --vmlinux | --folder | --batch)
            (($# > 1)) || fail "$1 needs a value"
            printf -v "${1#--}" %s "$(realpath -m "$2")"
            shift
            ;;
        --)
            shift
            break
            ;;
        *) fail "unknown option '$1'; see the top of this file" ;;
    esac
    shift
done
[[ -x $batch ]] || fail "$batch is missing: scripts/build.sh release programs"
mkdir -p "$folder"

make_c() {
    local target=$folder/large_c.elf sources work=$folder/xed
    if [[ ! -e $target ]]; then
        echo "peers: building the C program" >&2
        sources=$(cargo metadata --format-version 1 --manifest-path "$root/third_party/xed/Cargo.toml" | python3 -c '
import json, pathlib, sys
packages = json.load(sys.stdin)["packages"]
print(next(pathlib.Path(each["manifest_path"]).parent for each in packages if each["name"] == "xed-sys"))')
        rm -rf "$work"
        mkdir -p "$work/build"
        cp -r "$sources/xed" "$sources/mbuild" "$work"
        (cd "$work/build" && python3 ../xed/mfile.py --silent --no-werror --opt=2 --extra-flags=-gdwarf-4 examples) \
            >"$work/log" 2>&1 || fail "the C program was not built; see $work/log"
        mv "$work/build/obj/wkit/examples/obj/xed" "$target"
        rm -rf "$work"
    fi
    c=$target
}

make_cpp() {
    echo "peers: building the C++ program, if it is not there yet" >&2
    cpp=$(python3 "$root/bench/make_cpp_program.py" "$folder/cpp")
}

# Only vmlinux is unpacked, and the package is not kept.
make_kernel() {
    local package work=$folder/kernel found
    found=$(compgen -G "$work/vmlinux-*" || true)
    if [[ -z $found ]]; then
        package=$(apt-cache depends linux-image-amd64-dbg | sed -n 's/^ *Depends: \(linux-image-.*-dbg\)$/\1/p')
        [[ -n $package ]] || fail "apt-cache does not know linux-image-amd64-dbg; run apt-get update"
        echo "peers: downloading $package" >&2
        mkdir -p "$work"
        (cd "$work" && apt-get download -q "$package" >&2)
        dpkg-deb --fsys-tarfile "$work/$package"_*.deb |
            tar -x -C "$work" --strip-components=5 --wildcards './usr/lib/debug/boot/vmlinux-*'
        rm "$work/$package"_*.deb
        found=$(compgen -G "$work/vmlinux-*")
    fi
    vmlinux=$found
}

[[ -n $c ]] || make_c
[[ -n $cpp ]] || make_cpp
[[ -n $vmlinux || -z $kernel ]] || make_kernel

inputs=("C=$c" "C++=$cpp")
[[ -z $vmlinux ]] || inputs+=("kernel=$vmlinux")
exec python3 "$root/bench/measure_peers.py" --batch "$batch" --loaded "C++" "$@" "${inputs[@]}"
