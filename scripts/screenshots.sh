#!/usr/bin/env bash
# Takes the pictures of the documentation from the running window, on a screen of its own.
#
# usage: scripts/screenshots.sh [DIRECTORY]        default: docs/images
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$root/scripts/common.sh"
cd "$root"

images=$(realpath -m "${1:-docs/images}")
readonly images
mkdir -p "$images"

# shellcheck disable=SC2086 # lists of packages
install_missing $packages_build $packages_screenshots
say "building what has changed"
cmake --preset release -DVORN_SYNC_BUILD_MONITOR=ON >/dev/null
cmake --build --preset release --parallel "$(nproc)" --target vorn_sync vorn_sync_monitor >/dev/null
readonly cli=$root/build/release/apps/vorn_sync/vorn_sync
readonly monitor=$root/build/release/apps/vorn_sync_monitor/vorn_sync_monitor

# Paths that look like somebody's; one run at a time.
readonly world=/tmp/vorn_sync_screenshots
rm -rf "$world"
trap 'rm -rf "$world"' EXIT
readonly home=$world/home share=$world/share state=$world/state
export LC_ALL=C.UTF-8 XDG_RUNTIME_DIR=$world/run
mkdir -p "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
mkdir -p "$home"/{Documents,Photos} "$share"/{documents,photos}

long=$(printf 'Minutes of the meeting on the very long names of files %.0s' {1..5})
long=${long:0:251}.odt
newline=$'two\nlines <b>and no markup<.odt'
make_world() {
    local i
    for i in {1..31}; do printf 'letter %s' "$i" >"$home/Documents/letter-$i.odt"; done
    for i in {1..12}; do printf 'photo %s' "$i" >"$home/Photos/IMG_00$i.jpg"; done
    for i in "$long" "$newline" "Überblick 2025.ods" contract.pdf budget.ods plan.odg draft.odt; do
        printf 'content of %s' "$i" >"$home/Documents/$i"
    done
    "$cli" mirror --quiet --once --state "$state" --alias documents --alias photos \
        "$home/Documents" "$share/documents" "$home/Photos" "$share/photos"
}

# As cycles would have found them.
make_errors() {
    rm "$home/Documents/contract.pdf" "$home/Documents/draft.odt"
    rm "$share/documents/Überblick 2025.ods" "$share/documents/$long" "$share/documents/$newline"
    : >"$share/documents/budget.ods"
    sqlite3 "$state/state.db" \
        "UPDATE file_tracking SET status = 145, error_code = 2 WHERE file_name IN ('contract.pdf', 'draft.odt');
         UPDATE file_tracking SET status = 145, error_code = 7 WHERE file_name = 'budget.ods';
         UPDATE file_tracking SET status = 148, error_code = 5 WHERE file_name = 'plan.odg';
         UPDATE file_tracking SET status = 145, error_code = 15 WHERE file_name LIKE '%lines%'
             OR file_name LIKE '%berblick%' OR file_name LIKE 'Minutes%';"
}

# take NAME WIDTH HEIGHT KEYS OPTION...: the window as wide and high as the screen, after the keys were pressed; a key
# "type:TEXT" is all of the text.
take() {
    local name=$1 width=$2 height=$3 keys=$4
    shift 4
    say "$name"
    # shellcheck disable=SC2016 # expanded by the inner shell
    QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 ${width}x${height}x24" bash -c '
        set -euo pipefail
        file=$1 width=$2 height=$3 keys=$4
        shift 4
        "$@" &
        process=$!
        window=$(timeout 30 xdotool search --sync --onlyvisible --name VornSync | tail -n 1)
        xdotool windowsize "$window" "$width" "$height" windowfocus "$window" mousemove 0 0
        for key in $keys; do
            case $key in
            type:*) xdotool type "${key#type:}" ;;
            *) xdotool key "$key" ;;
            esac
        done
        sleep "${SECONDS_OF_WORK:-0}"
        last=""
        for _ in {1..60}; do # until nothing moves any more; what keeps moving is taken as it is
            sleep 0.5
            import -window root "$file"
            now=$(import -window root rgb:- | sha256sum)
            [ "$now" != "$last" ] || break
            last=$now
            [ -z "${SECONDS_OF_WORK:-}" ] || break
        done
        kill "$process"
        wait "$process"
    ' take "$images/$name.png" "$width" "$height" "$keys" "$monitor" --state "$state" --interval 600000 "$@"
    optipng -quiet -strip all -o5 "$images/$name.png"
}

make_world
for i in {1..40}; do printf 'new photo %s' "$i" >"$home/Photos/IMG_01$i.jpg"; done
SECONDS_OF_WORK=3 take overview 940 660 "" --lang en --theme light
"$cli" mirror --quiet --once --state "$state"
make_errors
take errors 940 660 "ctrl+2" --lang en --theme light
take errors-dark 940 660 "ctrl+2" --lang en --theme dark
take errors-french 940 660 "ctrl+2" --lang fr --theme light
QT_SCALE_FACTOR=2 take errors-200-percent 1360 900 "ctrl+2" --lang en --theme light
take errors-right-to-left 940 660 "ctrl+2" --lang en --theme light -reverse
take question 940 660 "ctrl+2 Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Return" --lang en --theme light
mkdir -p "$home/Music" "$share/music"
take new-pair 940 660 "ctrl+n type:$home/Music Tab Tab type:$share/music" --lang en --theme light
take new-pair-refused-dark 683 384 "ctrl+n type:$home/Musik Tab Tab type:$share/music Return" --lang fr --theme dark
take remove-pair 940 660 "Tab Tab Tab Tab Tab Tab Tab Tab Tab Return" --lang fr --theme light
take log-dark 940 420 "ctrl+3" --lang en --theme dark
say "the pictures are in $images"
