#!/usr/bin/env bash
# Runs the tests with line and branch counters and prints the coverage of the libraries; the pages are in
# build/coverage/report.
#
# usage: scripts/coverage.sh [CTEST-OPTION...]        for example: scripts/coverage.sh -L 'unit|integration'
#
# Without options every test counts, the fault sweeps, the kills and the simulation too; VORN_SYNC_SWEEP=all and
# VORN_SYNC_KILLS=200 run those at full length.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$root/scripts/common.sh"
cd "$root"

# shellcheck disable=SC2086 # lists of packages
install_missing $packages_build $packages_test $packages_coverage
say "building build/coverage"
cmake --preset coverage >/dev/null
cmake --build --preset coverage --parallel "$(nproc)"
say "running the tests"
find build/coverage -name '*.gcda' -delete
ctest --preset coverage --parallel "$test_jobs" "$@"
mkdir -p build/coverage/report
say "reading the counters"
gcovr --root "$root" --filter "$root/libraries/" --exclude '.*/build/.*' --exclude-unreachable-branches \
    --exclude-throw-branches --print-summary --html-details build/coverage/report/index.html build/coverage
