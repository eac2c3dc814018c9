#!/usr/bin/env bash
# Counts what passes and refreshes of the counters execute, and compares it with the committed figures.
#
# usage: benchmarks/check_instructions.sh [--update] [BUILD_DIR]
#
# BUILD_DIR is a build of the preset "benchmark" (default: build/benchmark). Instructions of the own process are counted
# by callgrind, system calls besides: unlike time, both are nearly the same at each run and on each machine with the
# same distribution. More than 3 % above a figure of benchmarks/instructions.txt (5 % for system calls) ends with 1.
# Whoever makes something cheaper commits what --update writes, so that the next one can't spend it unseen.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
readonly root
readonly figures=$root/benchmarks/instructions.txt
readonly tolerance_percent=3
readonly calls_tolerance_percent=5 # of what a lock or a page more or less takes
readonly files=10000
readonly errors=500
readonly refreshes=20
readonly pass_function='VornSyncSynchronizer::synchronizeDirectory*'
readonly refresh_function='VornSyncManagerPrivate::refreshDatabaseCounters*'
# In an order of their own: in which order a pass meets the files is up to the file system.
readonly sort_rows="CREATE TEMP TABLE sorted AS SELECT * FROM file_tracking ORDER BY file_name;
    DELETE FROM file_tracking; INSERT INTO file_tracking SELECT * FROM sorted;"
# Rows of statuses that never become stale: 17 is up to date, 18 pending, 128 the mark of an error.
readonly make_pending="UPDATE file_tracking SET status = 18, status_changed_at = '2099-01-01T00:00:00Z'
    WHERE rowid % 20 = 0;"
readonly make_errors="UPDATE file_tracking SET status = 17 + 128, error_code = 4, status_changed_at =
    '2099-01-01T00:00:00Z' WHERE rowid IN (SELECT rowid FROM file_tracking WHERE status = 17 LIMIT $errors);"

update=no
build=$root/build/benchmark
for argument in "$@"; do
    case $argument in
    --update) update=yes ;;
    -*) sed -n '2,11s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2; exit 2 ;;
    *) build=$argument ;;
    esac
done
readonly update build
readonly tool=$build/benchmarks/vorn_sync_bench
for program in valgrind sqlite3; do
    command -v "$program" >/dev/null || { printf '%s is not installed\n' "$program" >&2; exit 2; }
done
[ -x "$tool" ] || { printf '%s is missing: build the preset "benchmark"\n' "$tool" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
measured=$work/measured

# count NAME FUNCTION COMMAND...: appends "NAME INSTRUCTIONS SYSTEM_CALLS" of what FUNCTION and its callees execute.
count() {
    local name=$1 function=$2 totals
    shift 2
    # The seed of the hash tables and the addresses are the same each time.
    QT_HASH_SEED=0 setarch "$(uname -m)" -R valgrind --tool=callgrind --callgrind-out-file="$work/$name.out" \
        --collect-systime=nsec --collect-atstart=no --toggle-collect="$function" "$tool" "$@" \
        >"$work/$name.log" 2>&1 || { cat "$work/$name.log" >&2; return 1; }
    totals=$(sed -n 's/^totals: //p' "$work/$name.out" | cut -d ' ' -f 1,2)
    if [ -z "$totals" ] || [ "${totals%% *}" -eq 0 ]; then
        printf '%s: nothing was counted; does %s still exist?\n' "$name" "$function" >&2
        return 1
    fi
    printf '%s %s\n' "$name" "$totals" >>"$measured"
}

# refresh_case NAME WRITER SQL: counts refreshes on a copy of the state that the SQL has changed.
refresh_case() {
    local name=$1 writer=$2 sql=$3 state=$work/$1.db
    cp "$work/root/state.db" "$state"
    sqlite3 "$state" "$sort_rows $sql"
    count "$name" "$refresh_function" refresh "$state" "$writer" "$refreshes"
}

measure() {
    "$tool" prepare "$work/root" "$files" >/dev/null
    count pass "$pass_function" pass "$work/root/state.db"
    count two_passes "$pass_function" pass "$work/root/state.db" 1
    refresh_case refresh "nobody" "$make_pending"
    refresh_case refresh_with_errors "nobody" "$make_pending $make_errors"
    refresh_case refresh_after_change "own" "$make_pending $make_errors"
}

# Says what each figure is against the committed one; ends with 1 when one is too high or missing.
compare() {
    awk -v tolerance="$tolerance_percent" -v calls_tolerance="$calls_tolerance_percent" -v refreshes="$refreshes" '
        function judge(name, what, now, before, allowed,    percent, verdict, slack) {
            percent = before ? 100 * (now - before) / before : (now ? 100 : 0)
            verdict = "as before"
            # Of few calls, those that wait for another thread make a difference: two a refresh are no finding.
            slack = 2 * refreshes
            if (percent > allowed && now - before > slack) { verdict = "MORE THAN BEFORE"; failed = 1 }
            else if (percent < -allowed && before - now > slack) { verdict = "less: commit what --update writes" }
            printf "%-22s %-13s %12d, before %12d  %+7.2f %%  %s\n", name, what, now, before, percent, verdict
        }
        /^#/ { next }
        FNR == NR { instructions[$1] = $2; calls[$1] = $3; next }
        !($1 in instructions) { printf "%s: no committed figure\n", $1; failed = 1; next }
        {
            judge($1, "instructions", $2, instructions[$1], tolerance)
            judge($1, "system calls", $3, calls[$1], calls_tolerance)
            seen[$1] = 1
        }
        END {
            for (name in instructions)
                if (!(name in seen)) { printf "%s: committed, but not measured\n", name; failed = 1 }
            exit failed
        }' "$figures" "$measured"
}

write_figures() {
    {
        printf '# Written by check_instructions.sh --update: what, instructions, system calls.\n'
        printf '# A first pass over %s unchanged files, and one with the next; %s refreshes of the counters, with %s files in error or none.\n' \
            "$files" "$refreshes" "$errors"
        cat "$measured"
    } >"$figures"
    printf 'wrote %s:\n' "$figures"
    cat "$figures"
}

measure
if [ "$update" = yes ]; then
    write_figures
elif compare; then
    printf 'neither the pass nor the refresh executes more than the committed figures allow\n'
else
    printf 'the pass or the refresh executes more than it did; if that must be, commit what --update writes\n' >&2
    exit 1
fi
