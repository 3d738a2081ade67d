#!/usr/bin/env zsh
# SPDX-License-Identifier: Apache-2.0
# ask.zsh COMPLETION: for each command line on standard input prints what zsh would offer at its end. Completion needs the
# line editor: an interactive zsh on a terminal of its own completes line after line when it gets one key, and writes a file.
zmodload zsh/zpty
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cat >$folder/lines
cp $1 $folder/_completion
cat >$folder/.zshrc <<'END'
PS1=
stty -echo
fpath=($ZDOTDIR $fpath)
autoload -Uz compinit
compinit -D -u
zstyle ':completion:*' completer _complete
autoload -Uz +X _completion
compdef _completion ${(z)$(head -n 1 $ZDOTDIR/_completion | cut -d ' ' -f 2-)}
compadd() {
    if [[ " ${@[1,(i)(-|--)]} " == *' -'[OAD]' '* ]]; then
        builtin compadd "$@"
        return
    fi
    local -a matching
    builtin compadd -A matching "$@"
    offered+=($matching)
    builtin compadd "$@"
}
complete_here() {
    _main_complete
    compstate[insert]= compstate[list]=
}
complete_all() {
    local line
    while IFS= read -r line; do
        BUFFER=$line CURSOR=$#line
        offered=()
        zle complete_here
        print -r -- "$line=>" ${(u)offered}
    done <$ZDOTDIR/lines >$ZDOTDIR/offers 2>$ZDOTDIR/problems
    exit
}
zle -C complete_here complete-word complete_here
zle -N complete_all
bindkey '^X' complete_all
print ready
END
export ZDOTDIR=$folder
zpty shell exec zsh -d -i
zpty -r shell text '*ready*'
zpty -w -n shell $'\x18'
while zpty -r shell text; do :; done
cat $folder/offers
cat $folder/problems >&2
