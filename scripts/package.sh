#!/usr/bin/env bash
# Makes the Debian packages, has lintian look at them, and tries them in a root of their own.
#
# usage: scripts/package.sh [--abi REVISION] [DIRECTORY]     default: build/package/debs
#
# --abi compares the library with the one of that revision (a tag); without it, with the last tag before this commit,
# where there is one. An incompatible change under the same SONAME fails.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$root/scripts/common.sh"
cd "$root"

revision=
if [ "${1:-}" = --abi ]; then
    revision=${2:?"--abi needs a revision"}
    shift 2
fi
build=build/package
debs=$(realpath -m "${1:-$build/debs}")

# shellcheck disable=SC2086 # lists of packages
install_missing $packages_build $packages_window $packages_package

# configure SOURCE BUILD: what Debian builds its packages with, and debug symbols for the comparison; cpack strips them.
configure() {
    (
        DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CXXFLAGS_MAINT_APPEND="-ffile-prefix-map=$1=." \
            dpkg-buildflags --export=sh >"$work/flags"
        # shellcheck source=/dev/null
        . "$work/flags"
        export CXXFLAGS LDFLAGS CPPFLAGS
        cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
            -DCMAKE_CXX_FLAGS="$CXXFLAGS $CPPFLAGS -DQT_NO_DEBUG" -DCMAKE_SKIP_INSTALL_RPATH=ON \
            -DVORN_SYNC_BUILD_TESTING=OFF -DVORN_SYNC_WARNINGS_AS_ERRORS=ON >"$work/configure.log" 2>&1 ||
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

# compare_abi REVISION: abidiff's exit code is a set of bits; 1 and 2 are errors of its own, 8 is an incompatible change.
compare_abi() {
    local before=$work/before status=0 library=libraries/lib_sync_library/lib_sync_library.so
    git worktree add --quiet --detach "$before" "$1"
    configure "$before" "$work/before-build"
    compile "$work/before-build" lib_sync_library
    git worktree remove --force "$before"
    abidiff --headers-dir1 "$work/before-build/libraries/lib_sync_library/include" \
        --headers-dir2 "$build/libraries/lib_sync_library/include" \
        "$work/before-build/$library" "$build/$library" || status=$?
    if ((status & (1 | 2 | 8))); then
        say "the library is not compatible with that of $1 (abidiff: $status)"
        return 1
    fi
    say "the library is compatible with that of $1"
}

work=$(mktemp -d)
trap 'rm -rf "$work"; git worktree prune' EXIT
say "building in $build"
configure "$root" "$build"
compile "$build"
rm -rf "$debs"
cpack --config "$build/CPackConfig.cmake" -B "$debs" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log"; exit 1; }
rm -rf "$debs/_CPack_Packages"
lintian --allow-root --display-info --pedantic --fail-on error,warning,info,pedantic --tag-display-limit 0 "$debs"/*.deb
say "lintian has nothing to say"

[ -n "$revision" ] || revision=$(git describe --tags --abbrev=0 HEAD^ 2>/dev/null || true)
if [ -n "$revision" ]; then
    compare_abi "$revision"
else
    say "no tag to compare the library with"
fi

if [ "$(id -u)" -eq 0 ]; then
    tests/package/test_debs.sh "$debs"
else
    say "not tried in a root of their own: that needs root"
fi
for deb in "$debs"/*.deb; do
    say "$deb"
done
