#!/usr/bin/env bash
# The hosts of the documents, as a newcomer would build and run them with an installed library.
#
# usage: test_newcomer.sh SOURCE     the environment is set by CMakeLists.txt
set -euo pipefail

source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { printf 'FAIL: %s\n' "$*" >&2; exit 1; }

"$CMAKE" --install "$VORN_SYNC_BUILD_DIR" --prefix "$work/prefix" >"$work/log"
newcomer() {
    PATH=$(dirname "$CMAKE"):$PATH CMAKE_PREFIX_PATH=$work/prefix CMAKE_CXX_COMPILER_LAUNCHER=$LAUNCHER \
        python3 "$source/scripts/newcomer.py" --qt "$QT_MAJOR" "$@"
}
# QT_QPA_PLATFORM comes with what has to be set beside it.
unset QT_QPA_PLATFORM
newcomer "$source/README.md" "$source/docs/EMBEDDING.md"

# A host that mirrors nothing, and one that does not compile, are noticed.
sed 's/manager.addDirectory(.*;/Q_UNUSED(here)/; s/return app.exec()/return 3/' \
    "$source/README.md" >"$work/README.md"
! newcomer "$work/README.md" >"$work/log" 2>&1 || fail "a host that ends at once is not noticed"
grep -q 'the program ended with 3' "$work/log" || { cat "$work/log"; fail "another reason is given"; }
sed 's/addDirectory/addDirectories/' "$source/README.md" >"$work/README.md"
! newcomer "$work/README.md" >"$work/log" 2>&1 || fail "a host that does not compile is not noticed"
echo PASS
