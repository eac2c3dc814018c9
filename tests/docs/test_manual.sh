#!/usr/bin/env bash
# What vorn_sync says of itself stands in its manual page, in the completions and in the README, and nothing else does.
#
# usage: test_manual.sh man|bash|zsh|fish|documents|monitor PROGRAM PACKAGING-DIRECTORY
#        monitor: the manual page of the window, and its own document
set -euo pipefail

what=$1
program=$2
packaging=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
PATH=$(dirname "$program"):$PATH
export HOME=$work XDG_STATE_HOME=$work/state_home XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data

fail() { printf 'FAIL: %s\n' "$*" >&2; exit 1; }
need() { command -v "$1" >/dev/null || { echo "SKIP: $1 is missing"; exit 77; }; }

# The names in the first column of a section of a help text.
section() { sed -n "/^$1:/,/^\$/p"; }
"$program" --help >"$work/help"
options_of() { "$program" "$@" --help | section Options | grep -oE -- '^  (-[a-z], )?--[a-z-]+' | grep -oE -- '--[a-z-]+' | sort; }
mapfile -t commands < <(sed '/^Options:/,$d' "$work/help" |
    sed -n 's/^  \([a-z-]*\) .*/\1/p' | sort)
[ "$what" = monitor ] || [ "${#commands[@]}" -ge 18 ] || fail "the help text is not understood: ${commands[*]}"

# same WHAT EXPECTED FOUND: both are lists, one a line.
same() {
    diff <(sort -u <<<"$2") <(sort -u <<<"$3") >"$work/diff" || { cat "$work/diff"; fail "$1"; }
}

check_completion() {
    local command
    same "$what: commands" "$(printf '%s\n' "${commands[@]}")" "$(complete_words '')"
    same "$what: options" "$(options_of)" "$(complete_words -- | grep -- '^--')"
    for command in "${commands[@]}"; do
        same "$what: options of $command" "$(options_of "$command")" "$(complete_words "$command" -- | grep -- '^--')"
    done
}

# read_page PAGE: as text.
read_page() {
    need man
    man --warnings=w -l "$packaging/$1" >/dev/null 2>"$work/warnings" || fail "man can't show the page"
    [ ! -s "$work/warnings" ] || { cat "$work/warnings"; fail "warnings"; }
    MANWIDTH=200 man -l "$packaging/$1" | sed 's/.\x08//g' >"$work/page"
}

# Each stands at the head of a paragraph of the options.
page_options() { sed -n '/^OPTIONS/,/^EXIT STATUS/p' "$work/page" | sed -nE 's/^ +(-[a-z], )?(--[a-z-]+).*/\2/p'; }

check_man() {
    local command known
    read_page vorn_sync.1
    for command in "${commands[@]}"; do
        grep -qE "^ +$command( |\$)" "$work/page" || fail "the command $command is missing"
    done
    known=$(options_of; for command in "${commands[@]}"; do options_of "$command"; done)
    same "man: options" "$known" "$(page_options)"
    grep -qF "VornSync $("$program" --version | cut -d ' ' -f 2)" "$work/page" || fail "another version"
}

# The first column of the table with that head in a document.
table() { sed -n "/^| $2 |/,/^\$/p" "$packaging/../$1" | tail -n +3 | cut -d '|' -f 2; }
table_options() { table "$@" | grep -oE -- '--[a-z-]+'; }

check_documents() {
    local command
    same "README: options of mirror" "$(options_of mirror | grep -vx -- --help)" "$(table_options README.md option)"
    same "README: commands" "$(printf '%s\n' "${commands[@]}" | grep -vx mirror)" \
        "$(table README.md command | grep -oE '`[a-z-]+' | tr -d '`')"
    # Whatever a document tells to type is a command.
    while IFS= read -r command; do
        [[ " ${commands[*]} " == *" $command "* ]] || fail "the documents know a command '$command'"
    done < <(grep -ohE '\bvorn_sync [a-z][a-z-]*' "$packaging"/../*.md "$packaging"/../docs/*.md | cut -d ' ' -f 2 | sort -u)
}

check_monitor() {
    local version
    read_page vorn_sync_monitor.1
    same "man: options" "$(options_of)" "$(page_options)"
    same "MONITOR.md: options" "$(options_of | grep -vx -- --help)" "$(table_options docs/MONITOR.md Option)"
    version=$(sed -n 's/^\.TH VORN_SYNC 1 .*"VornSync \(.*\)" .*/\1/p' "$packaging/vorn_sync.1")
    grep -qF "VornSync $version" "$work/page" || fail "another version than vorn_sync.1"
}

check_bash() {
    local library=/usr/share/bash-completion/bash_completion
    [ -e "$library" ] || { echo "SKIP: bash-completion is missing"; exit 77; }
    complete_words() {
        bash -c '. "$1"; . "$2"; shift 2
            COMP_WORDS=(vorn_sync "$@") COMP_CWORD=$# COMP_LINE="vorn_sync $*" COMP_POINT=${#COMP_LINE}
            [ "$#" -gt 0 ] || COMP_WORDS+=("") COMP_CWORD=1
            _vorn_sync; printf "%s\n" "${COMPREPLY[@]}"' bash "$library" "$packaging/completions/vorn_sync.bash" "$@"
    }
    check_completion
    # An alias of the state directory, and directories.
    mkdir -p "$work/state" "$work/here/mirrored_directory"
    printf '{"format": 1, "pairs": [{"alias": "my docs",\n"distant": "/d"},\n{ "alias": "notes"}]}' >"$work/state/pairs.json"
    same "aliases" $'my\\ docs\nnotes' "$(complete_words pause --state "$work/state" '')"
    same "one alias" 'notes' "$(complete_words retry --state "$work/state" 'n')"
    cd "$work/here"
    same "directories" mirrored_directory "$(complete_words mirror 'mirr')"
    same "languages" $'en\nfr' "$(complete_words status --lang '')"
}

check_zsh() {
    need zsh
    # The completion system itself wants a terminal: what the function hands to it is looked at.
    cat >"$work/run.zsh" <<'END'
_arguments() { print -rl -- "${@}" | grep -oE -- '--[a-z-]+\[' | tr -d '[' }
_describe() { print -rl -- "${(@P)4}" | sed 's/:.*//' }
_files() { }
file=$1; shift
words=(vorn_sync "$@") CURRENT=$(( $# + 1 )) PREFIX=${@[-1]}
complete_now() { . $file }
complete_now
END
    complete_words() {
        zsh -f "$work/run.zsh" "$packaging/completions/_vorn_sync" "$@"
    }
    check_completion
}

check_fish() {
    need fish
    complete_words() {
        fish --no-config -c 'source $argv[1]; complete -C "vorn_sync $argv[2..]"' \
            "$packaging/completions/vorn_sync.fish" "$@" | cut -f 1
    }
    check_completion
}

"check_$what"
printf 'PASS: %s\n' "$what"
