#!/usr/bin/env bash
# Runs for a given time what is too slow for every change, in turns, and fails at the first failure with what
# replays it: the stress with fresh seeds (with the thread sanitizer too), the simulation with fresh seeds, the
# fuzzers, the kills, and the whole fault sweeps. A turn that has begun is ended; what is not built is left out and
# said so (scripts/test.sh builds most, `.ci/run tsan fuzz` the rest).
#
# usage: scripts/soak.sh [--hours N | --minutes N]        an hour, when nothing is said
#
# Logs are in build/soak; inputs that the fuzzers found worth keeping in $VORN_SYNC_CACHE (~/.cache/vorn_sync)/fuzz.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$root/scripts/common.sh"
cd "$root"

usage() {
    sed -n '2,/^set/s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" | sed '$d'
    exit 2
}

total=3600
if [ "$#" -gt 0 ]; then
    [ "$#" -eq 2 ] && [[ $2 =~ ^[1-9][0-9]*$ ]] || usage
    case $1 in
    --hours) total=$((3600 * $2)) ;;
    --minutes) total=$((60 * $2)) ;;
    *) usage ;;
    esac
fi

# Of jobs that take any time: a tenth of all, within reason.
turn=$((total / 10))
[ "$turn" -ge 20 ] || turn=20
[ "$turn" -le 600 ] || turn=600

export LC_ALL=C.UTF-8 QT_QPA_PLATFORM=offscreen
# A whole sweep of one operation takes minutes, on a loaded machine more than the five that Qt gives a function.
export QTEST_FUNCTION_TIMEOUT=1800000
tests=build/dev/tests
logs=$root/build/soak
cache=${VORN_SYNC_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/vorn_sync}
mkdir -p "$logs"
stress_operations=5000
declare -A rounds=() spent=() last=() left_out=()

is_over() { [ "$SECONDS" -ge "$total" ]; }
fresh_seed() { od -An -N4 -tu4 /dev/urandom | tr -d ' '; }

leave_out() {
    [ -z "${left_out[$1]:-}" ] || return 0
    left_out[$1]=1
    say "left out: $1 ($2 is not built)"
}

summary() {
    local name
    say "after $SECONDS s:"
    for name in "${!rounds[@]}"; do
        printf '%-28s %4d rounds %6d s  %s\n' "$name" "${rounds[$name]}" "${spent[$name]}" "${last[$name]}"
    done | sort
    for name in "${!left_out[@]}"; do
        printf '%-28s left out\n' "$name"
    done | sort
}

# run NAME SUMMARY-PATTERN REPLAY COMMAND...: one round of a job; its last line that matches is shown at the end.
run() {
    local name=$1 pattern=$2 replay=$3 began=$SECONDS log=$logs/$1.log
    shift 3
    if ! "$@" >"$log" 2>&1; then
        grep -aE 'FAIL!|^ +(Actual|Expected|Loc)|required:|WARNING: ThreadSanitizer|replay' "$log" | head -n 40 || true
        tail -n 25 "$log"
        summary
        say "FAILED: $name (all of it in $log)"
        say "again: $replay"
        exit 1
    fi
    rounds[$name]=$((${rounds[$name]:-0} + 1))
    spent[$name]=$((${spent[$name]:-0} + SECONDS - began))
    last[$name]=$(grep -aE "$pattern" "$log" | tail -n 1 | cut -c 1-120 || true)
}

# stress NAME BINARY PREFIX...: seed after seed, for a turn.
stress() {
    local name=$1 binary=$2 end=$((SECONDS + turn)) seed
    shift 2
    [ -x "$binary" ] || { leave_out "$name" "$binary"; return; }
    while [ "$SECONDS" -lt "$end" ] && ! is_over; do
        seed=$(fresh_seed)
        run "$name" 'operations:' "VORN_TEST_SEED=$seed VORN_SYNC_STRESS_OPERATIONS=$stress_operations $binary" \
            env VORN_TEST_SEED="$seed" VORN_SYNC_STRESS_OPERATIONS="$stress_operations" "$@" "$binary"
    done
}

simulation() {
    local binary=$tests/simulation/vorn_sync_simulation
    [ -x "$binary" ] || { leave_out simulation "$binary"; return; }
    run simulation 'seeds|days' "the line 'replay:' above" \
        "$binary" --profile all --from "$(fresh_seed)" --seconds "$turn"
}

fuzzers() {
    [ -x build/fuzz/tests/fuzz/fuzz_names ] || { leave_out fuzz build/fuzz; return; }
    run fuzz 'inputs run' "the line 'again:' above" scripts/fuzz.sh --seconds "$turn" --corpus "$cache/fuzz"
}

# each PATTERN VARIABLE=VALUE: every storm of that name, in its long version.
each() {
    local binary name found=
    for binary in "$tests"/storm/$1; do
        [ -x "$binary" ] && [ ! -d "$binary" ] || continue
        found=1
        is_over && return
        name=$(basename "$binary")
        run "$name" 'Totals:' "$2 $binary" env "$2" "$binary"
    done
    [ -n "$found" ] || leave_out "$1" "$tests/storm/$1"
}

say "$total s, turns of $turn s"
tsan_prefix=(setarch "$(uname -m)" -R env "TSAN_OPTIONS=halt_on_error=0 exitcode=66 second_deadlock_stack=1")
while ! is_over; do
    stress stress "$tests/storm/test_stress" env
    is_over || simulation
    is_over || fuzzers
    is_over || stress stress-tsan build/tsan/tests/storm/test_stress "${tsan_prefix[@]}"
    is_over || each 'test_kill*' VORN_SYNC_KILLS=200
    is_over || each 'test_fault_sweep*' VORN_SYNC_SWEEP=all
    if [ "${#rounds[@]}" -eq 0 ]; then
        say "nothing is built"
        exit 1
    fi
done
summary
