#!/usr/bin/env bash
# Installs what is missing, builds everything (Debug, warnings as errors) and runs every test.
#
# usage: scripts/test.sh [CTEST-OPTION...]        for example: scripts/test.sh -L unit
#        VORN_SYNC_QT_MAJOR=6 scripts/test.sh     with Qt 6; otherwise with Qt 5
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$root/scripts/common.sh"
cd "$root"

case ${VORN_SYNC_QT_MAJOR:-5} in
5) preset=dev packages_qt=$packages_qt5 ;;
6) preset=dev-qt6 packages_qt=$packages_qt6 ;;
*)
    say "VORN_SYNC_QT_MAJOR is 5 or 6, not '$VORN_SYNC_QT_MAJOR'"
    exit 2
    ;;
esac
# shellcheck disable=SC2086 # lists of packages
install_missing $packages_tools $packages_qt $packages_test
say "configuring build/$preset"
cmake --preset "$preset"
say "building with $(nproc) processes"
cmake --build --preset "$preset" --parallel "$(nproc)"
say "running the tests"
exec ctest --preset "$preset" --output-on-failure --parallel "$test_jobs" "$@"
