#!/usr/bin/env bash
# The bash completion of binwise, as a user's shell runs it: sourced, registered for binwise,
# and asked for the candidates of command lines split the way readline splits them ("=" is a
# word of its own). Runs once in a plain bash and once over bash-completion when it is there,
# since the script takes a different path in each.
#   bash-completion-test.sh BINWISE [COMPLETION]
# COMPLETION defaults to the completion installed for BINWISE's prefix.
set -u
binwise=${1:?usage: bash-completion-test.sh BINWISE [COMPLETION]}
completion=${2:-$(dirname "$(dirname "$binwise")")/share/bash-completion/completions/binwise}
[ -f "$completion" ] || { echo "no completion script at $completion" >&2; exit 1; }

# As root, a volume of the test's own (a tmpfs in a private mount namespace) gives the volume
# names something to complete; binwise is kept to it with BINWISE_MOUNTINFO.
if [ "$(id -u)" -eq 0 ] && [ -z "${BINWISE_TEST_UNSHARED:-}" ] && command -v unshare >/dev/null \
    && unshare --mount true 2>/dev/null; then
    BINWISE_TEST_UNSHARED=1 exec unshare --mount --propagation private "$0" "$@"
fi

work=$(mktemp -d)
trap 'umount "$work/home/Vol One" 2>/dev/null; rm -rf "$work"' EXIT
mkdir -p "$work/bin" "$work/home/Vol One" "$work/files"
ln -s "$(realpath "$binwise")" "$work/bin/binwise"
touch "$work/files/alpha one" "$work/files/alpha two" "$work/files/beta"
export VOLUME=""
if [ -n "${BINWISE_TEST_UNSHARED:-}" ] && mount -t tmpfs binwise-test "$work/home/Vol One"; then
    VOLUME="$work/home/Vol One"
    grep -F " ${work}/home/Vol\\040One " /proc/self/mountinfo >"$work/mountinfo"
else
    echo "no volume of the test's own (needs root and mount namespaces): volume names not checked"
    : >"$work/mountinfo"
fi
export BINWISE_MOUNTINFO=$work/mountinfo

# The body run in each bash: defines `expect LINE WANTED...` and runs the cases.
cat >"$work/cases.sh" <<'CASES'
failures=0
# Candidates for LINE with the cursor at its end, sorted, one per line.
candidates() {
    local line=$1 word="" c i escaped=0
    COMP_WORDS=()
    for ((i = 0; i < ${#line}; i++)); do
        c=${line:i:1}
        if ((escaped)); then
            word+=$c
            escaped=0
            continue
        fi
        case $c in
        \\) word+=$c escaped=1 ;;
        " ") [[ -n $word ]] && COMP_WORDS+=("$word") && word="" ;;
        =) [[ -n $word ]] && COMP_WORDS+=("$word") && word="" ; COMP_WORDS+=("=") ;;
        *) word+=$c ;;
        esac
    done
    COMP_WORDS+=("$word")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMP_LINE=$line
    COMP_POINT=${#line}
    COMPREPLY=()
    local function
    function=$(complete -p binwise | sed -n 's/.*-F \([^ ]*\).*/\1/p')
    "$function" binwise "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf '%s\n' "${COMPREPLY[@]}" | sort
}
expect() {
    local line=$1
    shift
    local got wanted
    got=$(candidates "$line")
    wanted=$(printf '%s\n' "$@" | sort)
    [ $# -eq 0 ] && wanted=""
    if [ "$got" != "$wanted" ]; then
        printf '%s: "%s" completes to\n%s\nnot\n%s\n\n' "$MODE" "$line" "$got" "$wanted" >&2
        failures=$((failures + 1))
    fi
}

registered=$(complete -p binwise 2>&1)
[[ $registered == "complete -F "*" binwise" ]] || {
    echo "$MODE: binwise has no completion function: $registered" >&2
    exit 1
}

expect "binwise em" empty
expect "binwise e" empty erase
expect "binwise " list items empty erase put restore help tray
expect "binwise --" --help --version
expect "binwise -" -h -V --help --version
expect "binwise empty --" --all --yes --secure --locked= --no-permission= --json --help \
    --older-than --larger-than --matching
expect "binwise empty -" -y -h --all --yes --secure --locked= --no-permission= --json --help \
    --older-than --larger-than --matching
expect "binwise erase --" --yes --secure --locked= --no-permission= --json --help
expect "binwise list --" --json --help
expect "binwise items --j" --json
expect "binwise empty --yes --lo" --locked=
expect "binwise items --o" --older-than
expect "binwise empty --older-than " 
expect "binwise empty --locked=" ask skip erase
expect "binwise erase --no-permission=e" erase
expect "binwise erase --locked " ask skip erase
expect "binwise help " list items empty erase put restore tray
expect "binwise restore --" --to --rename --json --help
expect "binwise put -" -h --json --help
expect "binwise list x --" --json --help
expect "binwise tray --" --help
# Paths after erase (also after "--", where nothing is an option any more).
cd "$FILES" || exit 1
expect "binwise erase al" "alpha one" "alpha two"
expect "binwise erase --yes -- b" beta
expect "binwise erase -- --" 
expect "binwise put al" "alpha one" "alpha two"
expect "binwise restore --rename -- b" beta
# Volume names and mount points, from binwise list, quoted for the command line.
if [ -n "$VOLUME" ]; then
    expect "binwise empty Vol" "Vol\\ One"
    expect "binwise items --json ${VOLUME% One}" "$(printf '%q' "$VOLUME")"
    expect "binwise empty Vol\\ O" "Vol\\ One"
    expect "binwise empty --all Nothing"
fi
exit $((failures > 0))
CASES

status=0
export FILES=$work/files PATH=$work/bin:$PATH HOME=$work/home
# The shells and binwise keep their state in this home, never in the user's.
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME XDG_CACHE_HOME
MODE="plain bash" bash --norc --noprofile -c "source '$completion' && source '$work/cases.sh'" \
    || status=1
if [ -f /usr/share/bash-completion/bash_completion ]; then
    MODE="bash-completion" bash --norc --noprofile -c \
        "source /usr/share/bash-completion/bash_completion && source '$completion' \
         && source '$work/cases.sh'" || status=1
else
    echo "bash-completion is not installed: only the plain bash was checked"
fi
exit $status
