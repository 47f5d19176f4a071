# bash completion for binwise                                  -*- shell-script -*-

# Volume names and mount points, as "binwise list" prints them (its first two columns).
_binwise_volumes()
{
    local name mount rest
    while IFS=$'\t' read -r name mount rest; do
        printf '%s\n%s\n' "$name" "$mount"
    done < <(binwise list 2>/dev/null)
}

_binwise()
{
    local cur prev words cword
    if declare -F _init_completion >/dev/null; then
        _init_completion -n = || return
    else
        cur=${COMP_WORDS[COMP_CWORD]}
        prev=${COMP_WORDS[COMP_CWORD - 1]}
        words=("${COMP_WORDS[@]}")
        cword=$COMP_CWORD
    fi

    local commands="list items empty erase put restore help tray"
    local erasing="--yes --secure --locked= --no-permission= --json --help"
    local choosing="--older-than --larger-than --matching"
    local answers="ask skip erase"

    # The command is the first word that is not an option; "--" ends the options.
    local command="" i ended=""
    for ((i = 1; i < cword; i++)); do
        if [[ -n $ended || ${words[i]} != -* ]]; then
            [[ -z $command ]] && command=${words[i]}
        fi
        [[ ${words[i]} == -- && -n $command ]] && ended=1
    done

    # --locked=VALUE: without bash-completion "=" splits the word in COMP_WORDS.
    local answer_for=""
    if [[ $cur == --locked=* || $cur == --no-permission=* ]]; then
        answer_for=${cur%%=*}
        cur=${cur#*=}
    elif [[ $cur == = && ($prev == --locked || $prev == --no-permission) ]]; then
        answer_for=$prev
        cur=""
    elif [[ $prev == = && (${words[cword - 2]} == --locked || ${words[cword - 2]} == --no-permission) ]]; then
        answer_for=${words[cword - 2]}
    elif [[ $prev == --locked || $prev == --no-permission ]]; then
        answer_for=$prev
    fi
    if [[ -n $answer_for && -z $ended && ($command == empty || $command == erase) ]]; then
        COMPREPLY=($(compgen -W "$answers" -- "$cur"))
        return
    fi

    # A duration, a size or a pattern: nothing to offer.
    if [[ -z $ended && ($prev == --older-than || $prev == --larger-than || $prev == --matching) &&
        ($command == items || $command == empty) ]]; then
        return
    fi

    local options=""
    case $command in
    "") options="--help --version" ;;
    list) options="--json --help" ;;
    items) options="--json $choosing --help" ;;
    empty) options="--all $erasing $choosing" ;;
    erase) options=$erasing ;;
    put) options="--json --help" ;;
    restore) options="--to --rename --json --help" ;;
    tray) options="--help" ;;
    esac

    if [[ -z $ended && $cur == -* ]]; then
        [[ $cur == - ]] && case $command in
            "") options="-h -V $options" ;;
            empty | erase) options="-y -h $options" ;;
            *) options="-h $options" ;;
        esac
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        [[ ${COMPREPLY[*]} == *= ]] && compopt -o nospace 2>/dev/null
        return
    fi

    case $command in
    "")
        COMPREPLY=($(compgen -W "$commands" -- "$cur"))
        ;;
    help)
        [[ $prev == help ]] && COMPREPLY=($(compgen -W "${commands/help /}" -- "$cur"))
        ;;
    items | empty)
        # What was typed so far, without its backslashes (candidates come back quoted).
        local volume typed=${cur//\\/}
        while IFS= read -r volume; do
            [[ -n $volume && $volume == "$typed"* ]] && COMPREPLY+=("$(printf '%q' "$volume")")
        done < <(_binwise_volumes)
        ;;
    erase | put | restore)
        if [[ $command == restore && $prev == --to ]] && declare -F _filedir >/dev/null; then
            _filedir -d
        elif declare -F _filedir >/dev/null; then
            _filedir
        else
            local IFS=$'\n'
            COMPREPLY=($(compgen -f -- "$cur"))
            compopt -o filenames 2>/dev/null
        fi
        ;;
    esac
} &&
    complete -F _binwise binwise
