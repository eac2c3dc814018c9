#!/usr/bin/env bash
# The library exports what the list of its Debian package says: not a symbol more, not one less.
#
# usage: test_symbols.sh LIBRARY SYMBOLS     the list is named after the package
set -euo pipefail

library=$1
symbols=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if ! command -v dpkg-gensymbols >/dev/null; then
    echo "SKIP: dpkg-gensymbols (dpkg-dev) is missing"
    exit 77
fi

agrees() { (cd "$work" && dpkg-gensymbols -c4 -v999 -p"$(basename "$symbols" .symbols)" -I"$1" -e"$library" -Oout) >"$work/log" 2>&1; }

agrees "$symbols" || { cat "$work/log"; echo "FAIL: the exports have changed; see CONTRIBUTING.md"; exit 1; }
# Both kinds of difference are noticed.
grep -v 'VornSyncManager::pauseAll()' "$symbols" >"$work/less"
{ cat "$symbols"; echo ' (c++)"VornSyncManager::neverThere()@Base" 1.0.0'; } >"$work/more"
for changed in less more; do
    if agrees "$work/$changed"; then
        echo "FAIL: a list with one symbol $changed is not noticed"
        exit 1
    fi
done
echo "PASS"
