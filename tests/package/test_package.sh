#!/usr/bin/env bash
# Installs the build into a prefix of its own, builds a small host against nothing but that prefix, and lets
# it mirror a file.
#
# usage: test_package.sh cmake|pkgconfig     the environment is set by CMakeLists.txt
set -euo pipefail

way=$1
host_source=$(cd "$(dirname "$0")" && pwd)/host
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
installed=$work/installed
prefix=$work/moved

fail() { printf 'FAIL: %s\n' "$*" >&2; exit 1; }

"$CMAKE" --install "$VORN_SYNC_BUILD_DIR" --prefix "$installed" >"$work/install.log"
# An installed tree may be moved: no file in it may know where it was.
mv "$installed" "$prefix"
if grep -rlI -e "$installed" -e "$VORN_SYNC_BUILD_DIR" "$prefix"; then
    fail "installed files name the build or the first prefix"
fi
libdir=$(dirname "$(find "$prefix" -name lib_sync_library.so)")
[ -e "$libdir/lib_sync_library.so" ] || fail "lib_sync_library.so is not installed"

headers=$(cd "$prefix/include" && find . -type f)
[ "$headers" = ./vorn_sync_manager.h ] || fail "one header is public, installed are: $headers"
strays=$(find "$prefix" \( -name '*.a' -o -name '*utilities*' \))
[ -z "$strays" ] || fail "internal files are installed: $strays"
soname=$(readelf -d "$libdir/lib_sync_library.so" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
[[ $soname =~ ^lib_sync_library\.so\.[0-9]+$ ]] || fail "the SONAME is '$soname'"
[ -e "$libdir/$soname" ] || fail "the file of the SONAME is not installed"

case $way in
cmake)
    "$CMAKE" -S "$host_source" -B "$work/host" -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_CXX_FLAGS="$CXX_FLAGS" \
        -DCMAKE_PREFIX_PATH="$prefix" -DQt5_DIR="$QT_DIR"
    "$CMAKE" --build "$work/host"
    ;;
pkgconfig)
    export PKG_CONFIG_PATH=$libdir/pkgconfig:$QT_LIBDIR/pkgconfig
    mkdir "$work/host"
    # shellcheck disable=SC2046,SC2086 # the flags are meant to be split
    $CXX -std=c++17 $CXX_FLAGS -o "$work/host/host" "$host_source/main.cpp" $(pkg-config --cflags --libs vornsync)
    [ "$(pkg-config --modversion vornsync)" = "$(sed -n 's/^Version: //p' "$libdir/pkgconfig/vornsync.pc")" ]
    ;;
*)
    fail "unknown way: $way"
    ;;
esac
needed=$(readelf -d "$work/host/host" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p')
grep -qx "$soname" <<<"$needed" || fail "the host does not need $soname but: $needed"
if grep -q 'Qt5Sql' <<<"$needed"; then
    fail "the host was made to link Qt SQL"
fi

mkdir "$work/root" "$work/root/local" "$work/root/distant"
printf 'carried by an installed library\n' >"$work/root/local/letter.txt"
status=0
LD_LIBRARY_PATH=$libdir:$QT_LIBDIR "$work/host/host" "$work/root" || status=$?
[ "$status" -eq 0 ] || fail "the host ended with $status"
cmp "$work/root/local/letter.txt" "$work/root/distant/letter.txt" || fail "the file did not arrive"

# The installed program finds the library that was moved along with it.
"$prefix/bin/vorn_sync" --help >"$work/help.txt" || fail "the installed vorn_sync does not start"
grep -qi 'usage' "$work/help.txt" || fail "vorn_sync --help prints no usage"
printf 'PASS: %s\n' "$way"
