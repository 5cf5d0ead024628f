#!/usr/bin/env -S zsh -f
# zsh_complete.zsh FUNCTION_FOLDER: for each line of its input, what an interactive zsh in this folder offers
# at the end of it, sorted, on one line. All lines are typed into the same shell, which takes long to start.
zmodload zsh/zpty zsh/zselect
typeset told=$(mktemp)
trap 'rm -f $told' EXIT

zpty shell zsh -f -i
zpty -w shell "fpath=(${(q)1} \$fpath); exec {told}>>${(q)told}"
zpty -w shell 'PS1= RPS1=; setopt no_auto_list; autoload -Uz compinit && compinit -u -D'
# Each match that is offered is told, too. With -O, -A or -D the completion functions only ask.
zpty -w shell 'compadd() {
    local -a matches
    if [[ ${@[1,(i)(-|--)]} != *-(O|A|D)\ * ]]; then
        builtin compadd -A matches "$@"
        (( $#matches )) && print -lru $told -- $matches
    fi
    builtin compadd "$@"
}'
zpty -w shell 'end_of_matches() { print -ru $told END; }; zle -N end_of_matches'
zpty -w shell "bindkey '^I' complete-word; bindkey '^T' end_of_matches; bindkey '^U' kill-whole-line"
zpty -w shell 'print READY'
zpty -m -r shell seen '*READY*READY*'

while IFS= read -r line; do
    : >$told
    zpty -w -n shell "$line"$'\t\x14\x15'
    integer tries=3000
    until grep -qx END $told; do
        (( tries-- )) || exit 1
        zselect -t 2
        while zpty -r -t shell seen; do :; done # an echo that nobody reads holds the shell up
    done
    print -r -- "$(grep -vx END $told | LC_ALL=C sort -u | paste -sd ' ')"
done
