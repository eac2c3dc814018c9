#!/usr/bin/env bash
# Installs the build into a prefix of its own, builds a small host against nothing but that prefix, and lets
# it mirror a file.
#
# usage: test_package.sh cmake|pkgconfig               the environment is set by CMakeLists.txt
#        test_package.sh same_qt|other_qt|embedded     configures a host that has found a Qt before
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
case $QT_MAJOR in
5) library=lib_sync_library package=VornSync module=vornsync header=vorn_sync_manager.h ;;
*) library=lib_sync_library_qt6 package=VornSyncQt6 module=vornsync-qt6 header=vornsync-qt6/vorn_sync_manager.h ;;
esac
libdir=$(dirname "$(find "$prefix" -name $library.so)")
[ -e "$libdir/$library.so" ] || fail "$library.so is not installed"

headers=$(cd "$prefix/include" && find . -type f)
[ "$headers" = "./$header" ] || fail "one header is public, installed are: $headers"
# What hosts are built with and started with stands beside that of the other Qt.
if [ "$QT_MAJOR" -eq 6 ]; then
    shared=$(cd "$prefix" && find include lib* ! -type d | grep -ivE 'qt6|^lib/systemd/' || true)
    [ -z "$shared" ] || fail "these overwrite those of the other Qt: $shared"
fi
strays=$(find "$prefix" \( -name '*.a' -o -name '*utilities*' \))
[ -z "$strays" ] || fail "internal files are installed: $strays"
soname=$(readelf -d "$libdir/$library.so" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
[[ $soname =~ ^$library\.so\.[0-9]+$ ]] || fail "the SONAME is '$soname'"
[ -e "$libdir/$soname" ] || fail "the file of the SONAME is not installed"

# configure_with_qt MAJOR OPTION...: a host that finds that Qt first; what it prints goes to $work/host.log.
configure_with_qt() {
    local major=$1
    shift
    "$CMAKE" -S "$(dirname "$host_source")/host_with_qt" -B "$work/host" -DCMAKE_CXX_COMPILER="$CXX" \
        -DHOST_QT_MAJOR="$major" "$@" >"$work/host.log" 2>&1
}

case $way in
same_qt)
    configure_with_qt "$QT_MAJOR" "-DQt${QT_MAJOR}_DIR=$QT_DIR" -DCMAKE_PREFIX_PATH="$prefix" ||
        fail "a host with the same Qt does not find it: $(cat "$work/host.log")"
    printf 'PASS: %s\n' "$way"
    exit
    ;;
other_qt)
    other=$((11 - QT_MAJOR))
    if configure_with_qt "$other" -DCMAKE_PREFIX_PATH="$prefix"; then
        fail "a host with Qt $other took the library that needs Qt $QT_MAJOR"
    fi
    if ! grep -q "the host has found Qt $other" "$work/host.log"; then
        printf 'SKIP: Qt %s is not installed for developers\n' "$other"
        exit 77
    fi
    grep -q "version: .*(with Qt $QT_MAJOR)" "$work/host.log" || fail "no reason is given: $(cat "$work/host.log")"
    printf 'PASS: %s\n' "$way"
    exit
    ;;
embedded)
    configure_with_qt "$QT_MAJOR" "-DQt${QT_MAJOR}_DIR=$QT_DIR" -DVORN_SYNC_SOURCE="$(dirname "$0")/../.." ||
        fail "a host with Qt $QT_MAJOR can't hold the sources: $(cat "$work/host.log")"
    grep -q "the library links Qt${QT_MAJOR}::Core" "$work/host.log" ||
        fail "the library was not given the host's Qt: $(cat "$work/host.log")"
    printf 'PASS: %s\n' "$way"
    exit
    ;;
cmake)
    "$CMAKE" -S "$host_source" -B "$work/host" -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_CXX_FLAGS="$CXX_FLAGS" \
        -DHOST_PACKAGE="$package" -DCMAKE_PREFIX_PATH="$prefix" "-DQt${QT_MAJOR}_DIR=$QT_DIR"
    "$CMAKE" --build "$work/host"
    ;;
pkgconfig)
    export PKG_CONFIG_PATH=$libdir/pkgconfig:$QT_LIBDIR/pkgconfig
    mkdir "$work/host"
    # shellcheck disable=SC2046,SC2086 # the flags are meant to be split
    $CXX -std=c++17 $CXX_FLAGS -o "$work/host/host" "$host_source/main.cpp" $(pkg-config --cflags --libs "$module")
    [ "$(pkg-config --modversion "$module")" = "$(sed -n 's/^Version: //p' "$libdir/pkgconfig/$module.pc")" ]
    ;;
*)
    fail "unknown way: $way"
    ;;
esac
needed=$(readelf -d "$work/host/host" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p')
grep -qx "$soname" <<<"$needed" || fail "the host does not need $soname but: $needed"
if grep -q 'Qt[56]Sql' <<<"$needed"; then
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
