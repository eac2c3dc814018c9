#!/usr/bin/env bash
# Builds the fuzzers (Clang) and runs them, each on a process of its own, from the inputs in tests/fuzz/corpus.
#
# usage: scripts/fuzz.sh [--seconds N] [--corpus DIR] [TARGET...]
#
#   --seconds N    for so long (60)
#   --corpus DIR   reads and keeps further inputs below DIR, so that a later run begins where this one ended
#   TARGET         state_database, names (both)
#
# An input that breaks what must hold is kept in build/fuzz/found and named with the command that runs it again;
# the exit code is then 1. As root, the fuzzers give their privileges up: hostile input names any path.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$root/scripts/common.sh"
cd "$root"

seconds=60
kept=
targets=()
while [ "$#" -gt 0 ]; do
    case $1 in
    --seconds) seconds=$2; shift 2 ;;
    --corpus) kept=$2; shift 2 ;;
    state_database | names) targets+=("$1"); shift ;;
    *) sed -n '2,/^set/s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" | sed '$d'; exit 2 ;;
    esac
done
[ "${#targets[@]}" -gt 0 ] || targets=(state_database names)

# The longest input that is worth its time.
declare -A longest=([state_database]=65536 [names]=2048)

# shellcheck disable=SC2086 # lists of packages
install_missing $packages_build clang
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --parallel "$(nproc)" >/dev/null

# In memory, and anybody's: the corpus grows after the privileges are gone.
base=/dev/shm
[ -w "$base" ] || base=${TMPDIR:-/tmp}
work=$(mktemp -d "$base/vorn_sync_fuzz_run.XXXXXX")
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
mkdir -m 777 "$work/found" "$work/tmp"

declare -A process=()
for target in "${targets[@]}"; do
    mkdir -m 777 "$work/$target"
    cp "tests/fuzz/corpus/$target"/* "$work/$target"
    [ -z "$kept" ] || [ ! -d "$kept/$target" ] || cp -r "$kept/$target/." "$work/$target"
    say "$target: $(find "$work/$target" -type f | wc -l) inputs, $seconds s"
    TMPDIR=$work/tmp ASAN_OPTIONS=malloc_context_size=8:quarantine_size_mb=16 "build/fuzz/tests/fuzz/fuzz_$target" \
        -max_total_time="$seconds" -max_len="${longest[$target]}" -timeout=20 -rss_limit_mb=4096 \
        -dict="tests/fuzz/$target.dict" -artifact_prefix="$work/found/$target-" -print_final_stats=1 \
        "$work/$target" >"$work/$target.log" 2>&1 &
    process[$target]=$!
done

failed=0
for target in "${targets[@]}"; do
    wait "${process[$target]}" || failed=1
    coverage=$(grep -ao 'cov: [0-9]* ft: [0-9]*' "$work/$target.log" | tail -n 1 || true)
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$target.log")
    say "$target: $runs inputs run; ${coverage:-no coverage}; $(find "$work/$target" -type f | wc -l) inputs kept"
    [ -z "$kept" ] || { mkdir -p "$kept/$target" && cp -r "$work/$target/." "$kept/$target"; }
done
if [ "$failed" -eq 0 ]; then
    exit 0
fi
mkdir -p build/fuzz/found
for target in "${targets[@]}"; do
    grep -av '^#[0-9]' "$work/$target.log" | grep -aE -A40 'required:|is about to change|==ERROR|ERROR: libFuzzer|runtime error' |
        head -n 60 || true
done
for found in "$work"/found/*; do
    [ -e "$found" ] || continue
    name=$(basename "$found")
    cp "$found" "build/fuzz/found/$name"
    target=${name%-*-*}
    say "again: build/fuzz/tests/fuzz/fuzz_$target build/fuzz/found/$name"
done
exit 1
