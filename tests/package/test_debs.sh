#!/usr/bin/env bash
# Installs the Debian packages with dpkg in a root of its own, which is this machine's with a layer on top that nobody
# else sees; mirrors with the command-line host, builds the small host in both ways with each Qt, does what the documents
# tell a newcomer to do, and removes them again.
#
# usage: test_debs.sh [--bare] DIRECTORY     as root
#
# --bare takes a root with nothing but Debian's base system and lets apt install what the packages depend on, so that
# what they do not name is missing. That needs debootstrap, the network, some minutes and 3 GB in $TMPDIR.
set -euo pipefail

fail() { printf 'FAIL: %s\n' "$*" >&2; exit 1; }

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# mirrors COMMAND...: runs it on a new local directory with one file, which must arrive.
mirrors() {
    local world
    world=$(mktemp -d)
    mkdir "$world/local" "$world/distant"
    printf 'carried by an installed package\n' >"$world/local/letter.txt"
    (cd "$world" && "$@") || fail "'$*' ended with $?"
    cmp "$world/local/letter.txt" "$world/distant/letter.txt" || fail "'$*' did not bring the file"
}

# uses_package PROGRAM PACKAGE: it must have been linked with that library, not with one that lies about.
uses_package() {
    local library
    library=$(ldd "$1" | sed -n 's/.*lib_sync_library[_qt6]*\.so\.1 => \([^ ]*\) .*/\1/p')
    dpkg -S "$(realpath "$library")" | grep -q "^$2:" || fail "$1 uses '$library'"
}

# builds_hosts PACKAGE CMAKE-PACKAGE PKGCONFIG-MODULE: and each mirrors.
builds_hosts() {
    local host
    host=$(mktemp -d)
    cmake -S "$source/host" -B "$host" -DHOST_PACKAGE="$2" >"$work/cmake.log" &&
        cmake --build "$host" >>"$work/cmake.log" ||
        { cat "$work/cmake.log"; fail "find_package($2)"; }
    # shellcheck disable=SC2046 # the flags are meant to be split
    g++ -std=c++17 -o "$host/by_pkgconfig" "$source/host/main.cpp" $(pkg-config --cflags --libs "$3") ||
        fail "pkg-config $3"
    for program in "$host/host" "$host/by_pkgconfig"; do
        uses_package "$program" "$1"
        mirrors "$program" .
    done
}

# chooses_qt MAJOR PACKAGE: with both packages there, a host that has found a Qt gets the library for that one.
chooses_qt() {
    local host
    host=$(mktemp -d)
    cmake -S "$source/host_with_qt" -B "$host" -DHOST_QT_MAJOR="$1" >"$work/cmake.log" 2>&1 ||
        { cat "$work/cmake.log"; fail "a host with Qt $1 finds no library"; }
    cmake --build "$host" >"$work/cmake.log" 2>&1 || { cat "$work/cmake.log"; fail "a host with Qt $1"; }
    uses_package "$host/host" "$2"
    mirrors "$host/host" .
}

# The window mirrors, too; a module of Qt Quick that is missing ends it at once.
shows_window() {
    local world monitor
    world=$(mktemp -d)
    mkdir "$world/local" "$world/distant"
    printf 'carried by the window\n' >"$world/local/letter.txt"
    (cd "$world" && exec env QT_QPA_PLATFORM=offscreen vorn_sync_monitor --state state local distant) &
    monitor=$!
    for _ in {1..600}; do
        ! cmp -s "$world/local/letter.txt" "$world/distant/letter.txt" || break
        kill -0 "$monitor" 2>/dev/null || fail "the window ended"
        sleep 0.1
    done
    cmp "$world/local/letter.txt" "$world/distant/letter.txt" || fail "the window did not bring the file"
    kill "$monitor"
    wait "$monitor" || fail "the window ended with $?"
}

# What who has installed only the programs can do.
uses_programs() {
    local icon
    uses_package /usr/bin/vorn_sync lib-sync-library1
    mirrors vorn_sync mirror --once --state state local distant
    if [ -e /usr/bin/vorn_sync_monitor ]; then
        uses_package /usr/bin/vorn_sync_monitor lib-sync-library1
        shows_window
        icon=$(sed -n 's/^Icon=//p' /usr/share/applications/vorn_sync_monitor.desktop)
        [ -e "/usr/share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "the menu shows an icon that is not there: $icon"
    fi
}

# by_apt PACKAGE...: with what they depend on, and nothing that is only recommended.
by_apt() {
    DEBIAN_FRONTEND=noninteractive apt-get -qq -y -o Dpkg::Use-Pty=0 --no-install-recommends install "$@" \
        >"$work/install.log" 2>&1 || { cat "$work/install.log"; fail "apt-get install $*"; }
}

# In the bare root: first the programs alone, then what a developer needs, as the documents name it.
installs_bare() {
    apt-get -qq update
    by_apt "$debs"/lib-sync-library1_*.deb "$debs"/vorn-sync*.deb
    uses_programs
    # shellcheck disable=SC2046 # names of packages
    by_apt "$debs"/*.deb g++ cmake make pkg-config python3 man-db systemd \
        $(sed -n 's/^| what the QML host .*| `\(.*\)` | `\(.*\)` |$/\1 \2/p' "$source/EMBEDDING.md")
}

inside() {
    local debs=$1 source=$2 work files status=0
    local -a packages
    mapfile -t packages < <(for deb in "$debs"/*.deb; do dpkg-deb -f "$deb" Package; done)
    work=$(mktemp -d)
    # What a build tree left in the environment must not help.
    unset CMAKE_PREFIX_PATH PKG_CONFIG_PATH LD_LIBRARY_PATH
    if [ -n "${bare:-}" ]; then
        installs_bare
    else
        dpkg --install "$debs"/*.deb >"$work/install.log" 2>&1 || { cat "$work/install.log"; fail "dpkg --install"; }
    fi
    files=$(dpkg --verify "${packages[@]}")
    [ -z "$files" ] || fail "dpkg --verify: $files"

    uses_programs
    man --where vorn_sync >/dev/null || fail "no manual page"
    mkdir "$work/run"
    XDG_RUNTIME_DIR=$work/run systemd-analyze --user verify vorn_sync.service 2>"$work/verify" || status=$?
    if [ "$status" -ne 0 ] || grep -q vorn_sync "$work/verify"; then
        cat "$work/verify"
        fail "systemd-analyze verify"
    fi

    builds_hosts lib-sync-library1 VornSync vornsync
    builds_hosts lib-sync-library-qt6-1 VornSyncQt6 vornsync-qt6
    chooses_qt 5 lib-sync-library1
    chooses_qt 6 lib-sync-library-qt6-1
    # As a user like any other.
    mkdir --mode=1777 "$work/newcomer"
    chmod 755 "$work"
    for qt in 5 6; do
        env -i PATH=/usr/bin:/bin LANG=C.UTF-8 HOME="$work/newcomer" TMPDIR="$work/newcomer" \
            setpriv --reuid=65534 --regid=65534 --clear-groups \
            python3 "$source/newcomer.py" --qt $qt "$source/EMBEDDING.md" || fail "a newcomer with Qt $qt does not succeed"
    done

    files=$(dpkg -L "${packages[@]}" | sort -u)
    dpkg --purge "${packages[@]}" >"$work/purge.log" 2>&1 ||
        { cat "$work/purge.log"; fail "dpkg --purge"; }
    while IFS= read -r file; do
        if [ ! -d "$file" ] && [ -e "$file" ]; then
            fail "left behind: $file"
        fi
    done <<<"$files"
    printf 'PASS: the packages were installed, used and removed\n'
}

if [ "$1" = --inside ]; then
    inside "$2" "$3"
    exit
fi

bare=
if [ "$1" = --bare ]; then
    bare=1
    shift
    command -v debootstrap >/dev/null || fail "debootstrap is missing"
fi
debs=$(realpath "$1")
layer=$(mktemp -d)
trap 'rm -rf "$layer"' EXIT
export debs layer here bare
# In a name space of its own, so that everything is unmounted with it.
# shellcheck disable=SC2016 # expanded by the inner shell
unshare --mount --propagation private bash -euc '
    if [ -n "$bare" ]; then
        mkdir "$layer/root"
        debootstrap --variant=minbase "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$layer/root" >"$layer/log" ||
            { tail -n 20 "$layer/log"; exit 1; }
        cp /etc/resolv.conf /etc/hosts "$layer/root/etc"
        cp -r /etc/apt/apt.conf.d/. "$layer/root/etc/apt/apt.conf.d"
    else
        mount -t tmpfs layer "$layer"
        mkdir "$layer/upper" "$layer/work" "$layer/root"
        mount -t overlay overlay -o "lowerdir=/,upperdir=$layer/upper,workdir=$layer/work" "$layer/root"
    fi
    mount --rbind /proc "$layer/root/proc"
    mount --rbind /dev "$layer/root/dev"
    mount -t tmpfs tmp "$layer/root/tmp"
    mkdir "$layer/root/tmp/debs" "$layer/root/tmp/source"
    cp "$debs"/*.deb "$layer/root/tmp/debs"
    cp -r "$here"/. "$here/../../scripts/newcomer.py" "$here/../../docs/EMBEDDING.md" "$layer/root/tmp/source"
    chroot "$layer/root" env -u TMPDIR -C /tmp bash /tmp/source/test_debs.sh --inside /tmp/debs /tmp/source
'
