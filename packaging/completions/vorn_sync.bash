# bash completion for vorn_sync                                            -*- shell-script -*-

# The aliases of the state directory that the words so far name, one a line.
_vorn_sync_aliases()
{
    local i state=${XDG_STATE_HOME:-$HOME/.local/state}/vorn_sync
    for ((i = 1; i < ${#words[@]} - 1; i++)); do
        if [[ ${words[i]} == --state ]]; then
            state=${words[i + 1]}
            # Not yet expanded on the command line.
            state=${state/#\~\//$HOME/}
        fi
    done
    # Names with a quote or a backslash are left out: they would need a reader of JSON.
    sed -n 's/.*"alias": *"\([^"\\]*\)".*/\1/p' "$state/pairs.json" 2>/dev/null
}

_vorn_sync()
{
    local cur prev words cword
    _init_completion || return

    local commands='mirror status errors retry retry-all acknowledge acknowledge-all restore trash delete-all-missing
        deleted rename ready sync pause resume forget reset'
    if ((cword == 1)); then
        if [[ $cur == -* ]]; then
            mapfile -t COMPREPLY < <(compgen -W '--help --version' -- "$cur")
        else
            mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur")
        fi
        return
    fi

    case $prev in
        --state)
            _filedir -d
            return
            ;;
        --lang)
            mapfile -t COMPREPLY < <(compgen -W 'en fr' -- "$cur")
            return
            ;;
        --alias | --interval | --exclude | --timeout | --wait | --max-wait | --max-unlisted | --max-unverified)
            return
            ;;
    esac

    local command=${words[1]}
    if [[ $cur == -* ]]; then
        local options='--help --state --json --lang'
        case $command in
            mirror) options+=' --once --alias --interval --exclude --watch --verbose --quiet' ;;
            status) options+=' --timeout --max-wait --max-unlisted --max-unverified' ;;
            deleted) options+=' --timeout --keep-distant' ;;
            reset) options+=' --timeout --yes --wait --now' ;;
            *) options+=' --timeout' ;;
        esac
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
        return
    fi

    case $command in
        mirror) _filedir -d ;;
        ready) _filedir ;;&
        retry | acknowledge | restore | trash | deleted | rename | ready | sync | pause | resume | forget)
            local alias
            while IFS= read -r alias || [[ -n $alias ]]; do
                [[ $alias == "$cur"* ]] && COMPREPLY+=("$(printf '%q' "$alias")")
            done < <(_vorn_sync_aliases)
            ;;
    esac
} && complete -F _vorn_sync vorn_sync
