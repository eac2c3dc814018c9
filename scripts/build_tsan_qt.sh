#!/usr/bin/env bash
# Builds the Qt that the thread sanitizer needs and prints its prefix.
#
# A report of the thread sanitizer is only worth reading when Qt itself is instrumented: with the
# distribution's Qt, queued arguments and data behind a QMutex are reported as races. The build takes
# about twelve minutes on two cores and is kept in a cache directory outside the repository.
#
# usage: scripts/build_tsan_qt.sh        the cache is $VORN_SYNC_CACHE, default ~/.cache/vorn_sync
set -euo pipefail

say() { printf 'build_tsan_qt: %s\n' "$*" >&2; }
as_root() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }

cache=${VORN_SYNC_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/vorn_sync}
version=$(dpkg-query -W -f '${Version}' qtbase5-dev 2>/dev/null || true)
if [ -z "$version" ]; then
    say "qtbase5-dev is not installed"
    exit 1
fi
prefix=$cache/qt-tsan-${version//[^A-Za-z0-9.+-]/_}
if [ -e "$prefix/.complete" ]; then
    printf '%s\n' "$prefix"
    exit 0
fi

say "building Qt with the thread sanitizer into $prefix (about twelve minutes, once)"
mkdir -p "$cache"
work=$(mktemp -d "$cache/qt-tsan-build.XXXXXX")
trap 'rm -rf "$work"' EXIT

# A private copy of the distribution's source entries with "deb-src" leaves the system's as they are.
mkdir -p "$work/apt/parts" "$work/apt/lists/partial" "$work/src" "$work/build"
for list in /etc/apt/sources.list.d/*.sources; do
    [ -e "$list" ] || continue
    grep -q 'debian' "$list" || continue
    sed 's/^Types:.*/Types: deb-src/' "$list" >"$work/apt/parts/$(basename "$list")"
done
if [ -e /etc/apt/sources.list ]; then
    sed -n 's/^deb \(.*debian.*\)/deb-src \1/p' /etc/apt/sources.list >"$work/apt/parts/main.list"
fi
apt_options=(-o "Dir::Etc::SourceList=/dev/null" -o "Dir::Etc::SourceParts=$work/apt/parts"
    -o "Dir::State::Lists=$work/apt/lists" -o "APT::Sandbox::User=root")
say "fetching the source package"
as_root apt-get "${apt_options[@]}" update >"$work/fetch.log" 2>&1 || { cat "$work/fetch.log" >&2; exit 1; }
(cd "$work/src" && as_root apt-get "${apt_options[@]}" source -y "qtbase-opensource-src=$version" >>"$work/fetch.log" 2>&1) ||
    { cat "$work/fetch.log" >&2; exit 1; }
source_dir=$(find "$work/src" -mindepth 1 -maxdepth 1 -type d | head -n 1)

say "configuring"
(cd "$work/build" && "$source_dir/configure" -opensource -confirm-license -prefix "$prefix" \
    -release -force-debug-info -sanitize thread -no-gui -no-widgets -no-dbus -no-glib -no-icu -no-openssl \
    -system-sqlite -qt-pcre -qt-zlib -qt-doubleconversion -nomake examples -nomake tests) >"$work/configure.log" 2>&1 ||
    { tail -n 40 "$work/configure.log" >&2; exit 1; }
say "compiling"
TSAN_OPTIONS=report_bugs=0 make -C "$work/build" -j"$(nproc)" >"$work/make.log" 2>&1 || { tail -n 40 "$work/make.log" >&2; exit 1; }
TSAN_OPTIONS=report_bugs=0 make -C "$work/build" install >"$work/install.log" 2>&1 || { tail -n 40 "$work/install.log" >&2; exit 1; }
touch "$prefix/.complete"
say "done"
printf '%s\n' "$prefix"
