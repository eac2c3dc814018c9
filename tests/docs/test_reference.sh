#!/usr/bin/env bash
# The reference is made without a warning, leads nowhere wrong, and is installed as a tree of its own.
#
# usage: test_reference.sh SOURCE     the environment is set by CMakeLists.txt
set -euo pipefail

source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { printf 'FAIL: %s\n' "$*" >&2; exit 1; }

"$CMAKE" --build "$VORN_SYNC_BUILD_DIR" --target reference >"$work/log" 2>&1 || { cat "$work/log"; fail "it is not made"; }
"$CMAKE" --install "$VORN_SYNC_BUILD_DIR" --component reference --prefix "$work/prefix" >"$work/log"
html=$(find "$work/prefix" -name html -type d)
[ -n "$html" ] || fail "it is not installed"
python3 "$source/cmake/reference_links.py" "$html" || fail "the installed tree is not whole"
# Every member of the public header has its place in it, and every document its page.
page=$html/classVornSyncManager.html
[ -e "$page" ] || fail "the exported class has no page"
members=$(sed -n 's/^    \(Q_INVOKABLE \)\?[A-Za-z]* \([a-z][A-Za-z]*\)(.*/\2/p' \
    "$source/libraries/lib_sync_library/source/vorn_sync_manager.h" | sort -u)
[ "$(wc -l <<<"$members")" -ge 30 ] || fail "the header is not understood: $members"
while IFS= read -r member; do
    grep -qE "class=\"memItemRight\".*>$member</(a|b)>" "$page" || fail "$member is not in it"
done <<<"$members"
for document in "$source"/docs/*.md "$source/CONTRIBUTING.md" "$source/CHANGELOG.md"; do
    title=$(sed -n 's/^# //p' "$document" | head -n 1)
    grep -qF "<title>VornSync: $title</title>" "$html"/*.html || fail "$(basename "$document") has no page"
done
echo PASS
