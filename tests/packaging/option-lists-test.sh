#!/usr/bin/env bash
# The commands and options that binwise's --help gives, against those of the manual page and of
# the bash, zsh and fish completions: each must offer every command and exactly the options of
# each command. The manual page must also render without a warning.
#   option-lists-test.sh BINWISE MANPAGE COMPLETIONS_DIR
# zsh and fish are checked when they are installed.
set -u
binwise=${1:?usage: option-lists-test.sh BINWISE MANPAGE COMPLETIONS_DIR}
manpage=${2:?no manual page given}
completions=${3:?no completions folder given}
here=$(cd "$(dirname "$0")" && pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/bin" "$work/home"
ln -s "$(realpath "$binwise")" "$work/bin/binwise"
export PATH=$work/bin:$PATH HOME=$work/home QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8
# The shells and binwise keep their state in this home, never in the user's.
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME XDG_CACHE_HOME
: >"$work/mountinfo"
export BINWISE_MOUNTINFO=$work/mountinfo

failures=0
# compare WHAT EXPECTED ACTUAL: both are whitespace-separated sets.
compare() {
    local expected actual
    expected=$(tr -s ' \n' '\n\n' <<<"$2" | grep -v '^$' | sort -u)
    actual=$(tr -s ' \n' '\n\n' <<<"$3" | grep -v '^$' | sort -u)
    if [ "$expected" != "$actual" ]; then
        printf '%s:\n  --help: %s\n  here:   %s\n' "$1" "$(echo $expected)" "$(echo $actual)" >&2
        failures=$((failures + 1))
    fi
}
# The option names in a text ("--locked=ask|skip|erase" gives --locked).
option_names() { grep -oE '(^|[][ ,|(])--?[A-Za-z][-A-Za-z]*' | sed -E 's/^[][ ,|(]//' | sort -u; }

# What --help says: the commands (but "help") and, per command, the options of its usage line
# and option rows, with --help and -h, which every command takes.
general=$(binwise --help) || { echo "binwise --help failed" >&2; exit 1; }
commands=$(sed -n '/^Commands:/,/^$/p' <<<"$general" | sed -nE 's/^  ([a-z][-a-z]*).*/\1/p' \
    | grep -v -x help)
[ -n "$commands" ] || { echo "binwise --help lists no commands" >&2; exit 1; }
general_options=$(grep -E '^  -' <<<"$general" | option_names)
declare -A options
for command in $commands; do
    own=$(binwise "$command" --help) || { echo "binwise $command --help failed" >&2; exit 1; }
    options[$command]=$( (grep -E '^(Usage:|  -)' <<<"$own"; echo "-h --help") | option_names)
    # Every option the help names is one the command takes (with the first value it lists).
    for option in ${options[$command]}; do
        argument=$(grep -oE -- "(^|[ ,])$option=[a-z]+" <<<"$own" | head -n 1 | sed 's/^[ ,]//')
        binwise "$command" "${argument:-$option}" --help >/dev/null 2>"$work/error" || {
            echo "binwise $command refuses ${argument:-$option}: $(cat "$work/error")" >&2
            failures=$((failures + 1))
        }
    done
done

# The manual page, rendered: each command's section holds its options as paragraph tags.
warnings=$(MANWIDTH=250 man --warnings -l "$manpage" 2>&1 >"$work/man.txt")
[ -z "$warnings" ] || { echo "the manual page has warnings: $warnings" >&2; failures=$((failures + 1)); }
man_section() { # the lines of subsection "COMMAND ..." of COMMANDS
    awk -v c="$1" '/^[A-Z]/ { inside = 0 } /^   [a-z]/ { inside = ($1 == c) } inside' "$work/man.txt"
}
man_commands=$(sed -n '/^COMMANDS/,/^[A-Z]/p' "$work/man.txt" | sed -nE 's/^   ([a-z][-a-z]*).*/\1/p')
compare "man page commands" "$commands" "$(grep -v -x help <<<"$man_commands")"
for command in $commands; do
    tags=$(man_section "$command" | sed -nE '1p; s/^       (-[^ ,]*(, -[^ ,]*)*).*/\1/p' | option_names)
    compare "man page options of $command" "${options[$command]}" "$tags -h --help"
done
man_general=$(sed -n '/^OPTIONS/,/^[A-Z]/p' "$work/man.txt" | sed -nE 's/^       (-[^ ,]*(, -[^ ,]*)*).*/\1/p' \
    | option_names)
compare "man page general options" "$general_options" "$man_general"

# bash: the candidates for "binwise COMMAND -".
bash_candidates() { # COMMAND (may be empty) and the word being completed
    bash --norc --noprofile -c '
        source "$1"
        if [ -n "$2" ]; then COMP_WORDS=(binwise "$2" "$3"); else COMP_WORDS=(binwise "$3"); fi
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        COMP_LINE="${COMP_WORDS[*]}" COMP_POINT=${#COMP_LINE}
        _binwise binwise "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
        printf "%s\n" "${COMPREPLY[@]}"' bash "$completions/binwise.bash" "$1" "$2" | sed 's/=$//'
}
compare "bash commands" "$commands tray help" "$(bash_candidates "" "")"
compare "bash general options" "$general_options" "$(bash_candidates "" -)"
for command in $commands; do
    compare "bash options of $command" "${options[$command]}" "$(bash_candidates "$command" -)"
done

# fish: complete -C gives candidate and description, separated by a tab.
if command -v fish >/dev/null; then
    fish_candidates() {
        fish --no-config -c "source $completions/binwise.fish; complete -C '$1'" | cut -f 1
    }
    compare "fish commands" "$commands tray help" "$(fish_candidates "binwise ")"
    compare "fish general options" "$general_options" "$(fish_candidates "binwise -")"
    for command in $commands; do
        compare "fish options of $command" "${options[$command]}" \
            "$(fish_candidates "binwise $command -")"
    done
else
    echo "fish is not installed: its completion was not checked"
fi

# zsh: the list an interactive zsh shows on Tab, read through a pseudo-terminal.
if command -v zsh >/dev/null; then
    zsh_lists() {
        timeout 60 zsh -f "$here/zsh-completion-lists.zsh" "$completions" "$@"
    }
    zsh_candidates() { # the candidates of one block of zsh_lists' output
        awk -v l="==== $1" '$0 == l { inside = 1; next } /^==== / { inside = 0 } inside' \
            "$work/zsh.txt" | grep -E '^-?-?[a-z][-a-z]*( +-[^ ]*)* +-- ' | sed 's/ -- .*//'
    }
    lines=("binwise " "binwise -")
    for command in $commands; do lines+=("binwise $command -"); done
    if zsh_lists "${lines[@]}" >"$work/zsh.txt"; then
        compare "zsh commands" "$commands tray help" "$(zsh_candidates "binwise ")"
        compare "zsh general options" "$general_options" "$(zsh_candidates "binwise -" | option_names)"
        for command in $commands; do
            compare "zsh options of $command" "${options[$command]}" \
                "$(zsh_candidates "binwise $command -" | option_names)"
        done
    else
        echo "zsh could not be driven through a pseudo-terminal" >&2
        failures=$((failures + 1))
    fi
else
    echo "zsh is not installed: its completion was not checked"
fi

exit $((failures > 0))
