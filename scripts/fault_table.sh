#!/usr/bin/env bash
# Writes docs/FAULTS.md: what comes of a fault at each file-system call of each operation. Takes some minutes.
# Usage: fault_table.sh [BUILD_DIRECTORY]     (default: build/dev, with the tests built)
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd -- "${1:-$root/build/dev}" && pwd)
kept=$(mktemp -d)
trap 'rm -rf -- "$kept"' EXIT

export LC_ALL=C.UTF-8 VORN_SYNC_SWEEP=all QTEST_FUNCTION_TIMEOUT=3600000
for sweep in "tasks errors" "engines errors" "databases errors" "kill kills"; do
    read -r program function <<< "$sweep"
    echo "fault_table.sh: sweeping, $program"
    VORN_SYNC_FAULT_OUTCOMES=$kept "$build/tests/storm/test_fault_sweep_$program" -silent "$function"
done
VORN_SYNC_FAULT_TABLE_OF=$kept "$build/tests/storm/test_fault_table"
# The table must hold what was swept and nothing that no reason is given for.
"$build/tests/storm/test_fault_table" -silent
echo "fault_table.sh: wrote $root/docs/FAULTS.md"
