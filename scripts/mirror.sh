#!/usr/bin/env bash
# Installs what is missing, builds the release once, and mirrors a directory.
#
# usage: scripts/mirror.sh [OPTION...] LOCAL DISTANT    mirrors LOCAL to DISTANT until interrupted; the options
#                                                       are those of "vorn_sync mirror"
#        scripts/mirror.sh                              makes a sample tree and shows it being mirrored
set -euo pipefail

# A mirror that is slower than this has failed: the sample is a few kilobytes on a local disk.
readonly sample_deadline_s=30
# Names are counted in characters, not in bytes.
export LC_ALL=C.UTF-8

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$root/scripts/common.sh"

build() {
    # shellcheck disable=SC2086 # a list of packages
    install_missing $packages_build
    local log
    log=$(mktemp)
    if [ ! -e "$root/build/release/build.ninja" ]; then
        say "configuring build/release"
        (cd "$root" && cmake --preset release) >"$log" 2>&1 || { cat "$log" >&2; rm -f "$log"; return 1; }
    fi
    say "building what has changed"
    (cd "$root" && cmake --build --preset release --parallel "$(nproc)" --target vorn_sync) >"$log" 2>&1 ||
        { cat "$log" >&2; rm -f "$log"; return 1; }
    rm -f "$log"
}

make_sample() {
    local local_dir=$1
    mkdir -p "$local_dir/report"
    printf 'Minutes of the meeting\n' >"$local_dir/minutes.txt"
    printf 'A report with a directory of its own\n' >"$local_dir/report.doc"
    printf 'chart\n' >"$local_dir/report/chart.svg"
    printf 'nothing odd about this name\n' >"$local_dir/50%1 off, \"really\" – été.txt"
    head -c 1048576 /dev/urandom >"$local_dir/picture.bin"
    : >"$local_dir/empty.txt"
}

# The files of a tree, one a line: size and name.
listing() { (cd "$1" && find . -type f -printf '%9s  %P\n' | sort -k2); }

show_side_by_side() {
    local -a left right
    mapfile -t left < <(listing "$1")
    mapfile -t right < <(listing "$2")
    printf '\n'
    local -i row width=44
    print_row() { printf '   %s%*s   %s\n' "$1" $((width > ${#1} ? width - ${#1} : 0)) '' "$2"; }
    print_row "$1" "$2"
    for ((row = 0; row < ${#left[@]} || row < ${#right[@]}; ++row)); do
        print_row "${left[row]:-}" "${right[row]:-}"
    done
    printf '\n'
}

# wait_until COMMAND...: false when the mirror ends or the deadline passes first.
wait_until() {
    local end=$((SECONDS + sample_deadline_s))
    until "$@"; do
        if [ "$SECONDS" -ge "$end" ] || ! kill -0 "$mirror_pid" 2>/dev/null; then
            return 1
        fi
        sleep 0.05
    done
}

is_same_tree() { diff -rq "$1" "$2" >/dev/null 2>&1; }

stop_mirror() {
    if [ -n "${mirror_pid:-}" ] && kill -0 "$mirror_pid" 2>/dev/null; then
        kill -TERM "$mirror_pid"
        wait "$mirror_pid" || true
    fi
}

show_sample() {
    local base log started
    base=$(mktemp -d "${TMPDIR:-/tmp}/vorn_sync_sample.XXXXXX")
    log=$base/mirror.log
    mkdir "$base/local" "$base/distant"
    make_sample "$base/local"
    say "made a sample tree in $base/local"

    say "mirroring it to $base/distant"
    "$program" mirror --watch --state "$base/state" "$base/local" "$base/distant" >"$log" 2>&1 &
    mirror_pid=$!
    trap stop_mirror EXIT
    wait_until is_same_tree "$base/local" "$base/distant" ||
        { say "the sample did not arrive within $sample_deadline_s s:"; cat "$log" >&2; return 1; }
    show_side_by_side "$base/local" "$base/distant"

    say "changing minutes.txt"
    started=$(date +%s%N)
    printf 'and a line written later\n' >>"$base/local/minutes.txt"
    wait_until cmp -s "$base/local/minutes.txt" "$base/distant/minutes.txt" ||
        { say "the change did not arrive within $sample_deadline_s s:"; cat "$log" >&2; return 1; }
    say "the change arrived after $((($(date +%s%N) - started) / 1000000)) ms; the distant minutes.txt now reads:"
    sed 's/^/   /' "$base/distant/minutes.txt"

    kill -TERM "$mirror_pid"
    local status=0
    wait "$mirror_pid" || status=$?
    mirror_pid=
    [ "$status" -eq 0 ] || { say "the mirror ended with $status:"; cat "$log" >&2; return 1; }
    is_same_tree "$base/local" "$base/distant" || { say "the two sides differ after the end"; return 1; }
    say "left for you to look at:"
    printf '   local    %s\n   distant  %s\n   state    %s\n   log      %s\n' \
        "$base/local" "$base/distant" "$base/state" "$log"
    say "to mirror directories of your own: scripts/mirror.sh LOCAL DISTANT"
}

build
program=$root/build/release/apps/vorn_sync/vorn_sync
if [ "$#" -eq 0 ]; then
    show_sample
else
    say "mirroring; Ctrl-C ends it"
    exec "$program" mirror "$@"
fi
