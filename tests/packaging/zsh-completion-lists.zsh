# zsh -f zsh-completion-lists.zsh COMPLETIONS_DIR LINE...
# Types each LINE and a Tab into an interactive zsh on a pseudo-terminal, with the completions of
# COMPLETIONS_DIR loaded, and prints what zsh lists, one block per LINE headed "==== LINE".
dir=$1
shift
setopt extended_glob
zmodload zsh/zpty || exit 77
# A terminal zle knows (with TERM=dumb zsh turns its line editor off); each line is typed only
# once the prompt is up, since typeahead would reach the terminal before zle does.
zpty shell 'TERM=xterm zsh -f -i'
# "E''ND" reads END only once the shell has run it, not when the terminal echoes it.
zpty -w shell "PS1='> '; fpath=($dir \$fpath); autoload -U compinit; compinit -u -D; unsetopt beep; print -r E''ND"
zpty -r shell out '*END*> ' || exit 1
for line in "$@"; do
    zpty -w -n shell "$line"$'\t'
    zpty -w shell $'\C-u'"print -r E''ND"
    zpty -r shell out '*END*> ' || exit 1
    print -r -- "==== $line"
    print -r -- "${${out//$'\r'/}//$'\e'\[[0-9;?]#[A-Za-z]/}"
done
zpty -d shell
