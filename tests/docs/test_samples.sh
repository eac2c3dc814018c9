#!/usr/bin/env bash
# Every C++ and CMake sample of the documents is compiled against the installed library, every QML sample shown.
#
# usage: test_samples.sh SOURCE     the environment is set by CMakeLists.txt
set -euo pipefail

source=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { printf 'FAIL: %s\n' "$*" >&2; exit 1; }

mkdir "$work/samples"
python3 "$here/samples.py" "$work/samples" "$source"/*.md "$source"/docs/*.md || fail "the samples can't be taken out"
for kind in programs objects projects qml; do
    # What finds none has stopped to look.
    [ -s "$work/samples/$kind.txt" ] || fail "the documents hold no $kind"
done

"$CMAKE" --install "$VORN_SYNC_BUILD_DIR" --prefix "$work/prefix" >"$work/log"
configure() {
    "$CMAKE" "$@" -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_CXX_COMPILER_LAUNCHER="$LAUNCHER" \
        "-DQt${QT_MAJOR}_DIR=$QT_DIR" "-DVORN_SYNC_QT_MAJOR=$QT_MAJOR" -DVORN_SYNC_SOURCE="$source" >"$work/log" 2>&1 ||
        { cat "$work/log"; fail "cmake $*"; }
}
configure -S "$here/samples" -B "$work/build" -DSAMPLES="$work/samples"
"$CMAKE" --build "$work/build" --parallel 2 >"$work/log" 2>&1 || { cat "$work/log"; fail "samples are not compiled"; }
if grep -F 'warning:' "$work/log"; then
    fail "samples are compiled with warnings"
fi
while IFS= read -r project; do
    configure -S "$work/samples/$project" -B "$work/build-$project"
    # Those that take the sources would compile the whole library: that it is configured and known is enough here.
    if ! grep -q FetchContent "$work/samples/$project/CMakeLists.txt"; then
        "$CMAKE" --build "$work/build-$project" >"$work/log" 2>&1 || { cat "$work/log"; fail "$project is not built"; }
    fi
done <"$work/samples/projects.txt"
while IFS= read -r name; do
    mkdir -p "$work/root-$name/local" "$work/root-$name/distant"
    echo letter >"$work/root-$name/local/letter.txt"
    QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software \
        "$work/build/show_qml" "$work/samples/$name.qml" "$work/root-$name" || fail "$name.qml: code $?"
done <"$work/samples/qml.txt"
echo PASS
