#!/usr/bin/env bash
# A host takes the sources into its own tree: the library is built with it, and nothing else.
#
# usage: test_sources.sh SOURCE WORK     the environment is set by CMakeLists.txt
#
# The work directory keeps its name: the compiler cache knows the objects of the other way, and of the last run.
set -euo pipefail

source=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$2
rm -rf "$work"
mkdir -p "$work"

fail() { printf 'FAIL: %s\n' "$*" >&2; exit 1; }

for way in subdirectory fetch; do
    rm -rf "$work/build" "$work/root" "$work/prefix"
    "$CMAKE" -S "$here/host_with_sources" -B "$work/build" -DHOST_WAY=$way -DVORN_SYNC_SOURCE="$source" \
        -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_CXX_FLAGS="$CXX_FLAGS" -DVORN_SYNC_CCACHE=ON -DCMAKE_BUILD_TYPE=Debug \
        "-DQt${QT_MAJOR}_DIR=$QT_DIR" "-DVORN_SYNC_QT_MAJOR=$QT_MAJOR" >"$work/log" 2>&1 ||
        { cat "$work/log"; fail "$way is not configured"; }
    "$CMAKE" --build "$work/build" --parallel 2 >"$work/log" 2>&1 || { cat "$work/log"; fail "$way is not built"; }
    strays=$(find "$work/build" -type f -perm -u+x \( -name 'vorn_sync*' -o -name 'test_*' \) -not -path '*/CMakeFiles/*')
    [ -z "$strays" ] || fail "$way builds more than the library: $strays"
    "$CMAKE" --install "$work/build" --prefix "$work/prefix" >"$work/log" 2>&1 || fail "$way is not installed"
    strays=$(find "$work/prefix" -type f -not -name host)
    [ -z "$strays" ] || fail "$way installs more than the host has: $strays"

    mkdir "$work/root" "$work/root/local" "$work/root/distant"
    printf 'carried by the sources\n' >"$work/root/local/letter.txt"
    "$work/build/host" "$work/root" || fail "$way: the host ended with $?"
    cmp "$work/root/local/letter.txt" "$work/root/distant/letter.txt" || fail "$way: the file did not arrive"
    printf 'PASS: %s\n' "$way"
done
rm -rf "$work"
