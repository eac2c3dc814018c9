#!/usr/bin/env bash
# Makes the Debian packages, those of the library for either Qt, has lintian look at them, and tries them in a root of
# their own.
#
# usage: scripts/package.sh [--abi REVISION] [--bare] [DIRECTORY]     default: build/package/debs
#
# --abi compares the library with the one of that revision (a tag); without it, with the last tag before this commit,
# where there is one. An incompatible change under the same SONAME fails. --bare tries the packages in a root with
# nothing but Debian's base system, too, which takes minutes and the network.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$root/scripts/common.sh"
cd "$root"

revision=$(git describe --tags --abbrev=0 HEAD^ 2>/dev/null || true)
if [ "${1:-}" = --abi ]; then
    revision=${2:?"--abi needs a revision"}
    shift 2
fi
bare=
if [ "${1:-}" = --bare ]; then
    bare=1
    shift
fi
build=build/package
declare -A library_of=([5]=lib_sync_library.so [6]=lib_sync_library_qt6.so)
debs=$(realpath -m "${1:-$build/debs}")

# shellcheck disable=SC2086 # lists of packages
install_missing $packages_build $packages_qt6 $packages_window $packages_package ${bare:+debootstrap}

# configure SOURCE BUILD QT: what Debian builds its packages with. The programs are packed with Qt 5 alone. Debug
# symbols are for the comparison alone, and a fifth of the time: cpack strips them.
configure() {
    local apps=OFF debug=-g
    [ "$3" -ne 5 ] || apps=ON
    [ -n "$revision" ] || debug=-g0
    (
        DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CXXFLAGS_MAINT_APPEND="-ffile-prefix-map=$1=. $debug" \
            dpkg-buildflags --export=sh >"$work/flags"
        # shellcheck source=/dev/null
        . "$work/flags"
        export CXXFLAGS LDFLAGS CPPFLAGS
        cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
            -DCMAKE_CXX_FLAGS="$CXXFLAGS $CPPFLAGS -DQT_NO_DEBUG" -DCMAKE_SKIP_INSTALL_RPATH=ON \
            -DVORN_SYNC_QT_MAJOR="$3" -DVORN_SYNC_BUILD_APPS=$apps -DVORN_SYNC_BUILD_TESTING=OFF \
            -DVORN_SYNC_WARNINGS_AS_ERRORS=ON >"$work/configure.log" 2>&1 ||
            { cat "$work/configure.log"; return 1; }
    )
}

# compile BUILD [TARGET...]
compile() {
    local directory=$1
    shift
    cmake --build "$directory" --parallel "$(nproc)" "${@/#/--target=}" >"$work/build.log" 2>&1 ||
        { tail -n 60 "$work/build.log"; return 1; }
}

# compare_abi REVISION QT: abidiff's exit code is a set of bits; 1 and 2 are errors of its own, 8 is an incompatible
# change.
compare_abi() {
    local before=$work/before status=0 library=libraries/lib_sync_library/${library_of[$2]}
    git worktree add --quiet --detach "$before" "$1"
    configure "$before" "$work/before-qt$2" "$2"
    compile "$work/before-qt$2" lib_sync_library
    git worktree remove --force "$before"
    # A revision from before the two had names of their own has nothing to compare with.
    if [ ! -e "$work/before-qt$2/$library" ]; then
        say "$1 has no ${library_of[$2]}"
        return
    fi
    abidiff --headers-dir1 "$work/before-qt$2/libraries/lib_sync_library/include" \
        --headers-dir2 "$build/qt$2/libraries/lib_sync_library/include" \
        "$work/before-qt$2/$library" "$build/qt$2/$library" || status=$?
    if ((status & (1 | 2 | 8))); then
        say "${library_of[$2]} is not compatible with that of $1 (abidiff: $status)"
        return 1
    fi
    say "${library_of[$2]} is compatible with that of $1"
}

work=$(mktemp -d)
trap 'rm -rf "$work"; git worktree prune' EXIT
rm -rf "$debs"
for qt in 5 6; do
    say "building with Qt $qt in $build/qt$qt"
    configure "$root" "$build/qt$qt" "$qt"
    compile "$build/qt$qt"
    cpack --config "$build/qt$qt/CPackConfig.cmake" -B "$debs" >"$work/cpack.log" 2>&1 ||
        { cat "$work/cpack.log"; exit 1; }
    rm -rf "$debs/_CPack_Packages"
done
lintian --allow-root --display-info --pedantic --fail-on error,warning,info,pedantic --tag-display-limit 0 "$debs"/*.deb
say "lintian has nothing to say"

if [ -n "$revision" ]; then
    for qt in 5 6; do
        compare_abi "$revision" "$qt"
    done
else
    say "no tag to compare the library with"
fi

if [ "$(id -u)" -eq 0 ]; then
    tests/package/test_debs.sh "$debs"
    [ -z "$bare" ] || tests/package/test_debs.sh --bare "$debs"
else
    say "not tried in a root of their own: that needs root"
fi
for deb in "$debs"/*.deb; do
    say "$deb"
done
