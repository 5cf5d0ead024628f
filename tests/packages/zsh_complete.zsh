#!/usr/bin/env -S zsh -f
# zsh_complete.zsh FUNCTION_FOLDER LINE: what an interactive zsh offers at the end of a line, sorted, on
# one line.
zmodload zsh/zpty
typeset told=$(mktemp)
trap 'rm -f $told' EXIT

zpty shell zsh -f -i
zpty -w shell "fpath=(${(q)1} \$fpath); exec {told}>${(q)told}"
zpty -w shell 'PS1= RPS1=; autoload -Uz compinit && compinit -u -D'
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
zpty -w shell "bindkey '^I' complete-word; bindkey '^T' end_of_matches; print READY"
zpty -m -r shell seen '*READY*READY*'
zpty -w -n shell "$2"$'\t\x14'
integer tries=600
until grep -qx END $told; do
    (( tries-- )) || exit 1
    sleep 0.1
done
grep -vx END $told | LC_ALL=C sort -u | paste -sd ' '
