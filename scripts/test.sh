#!/usr/bin/env bash
# Installs what is missing, builds everything (Debug, warnings as errors) and runs every test.
#
# usage: scripts/test.sh [CTEST-OPTION...]        for example: scripts/test.sh -L unit
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$root/scripts/common.sh"
cd "$root"

# shellcheck disable=SC2086 # lists of packages
install_missing $packages_build $packages_test
say "configuring build/dev"
cmake --preset dev
say "building with $(nproc) processes"
cmake --build --preset dev --parallel "$(nproc)"
say "running the tests"
exec ctest --preset dev --output-on-failure --parallel "$test_jobs" "$@"
