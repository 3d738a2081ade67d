#!/usr/bin/env fish
# SPDX-License-Identifier: Apache-2.0
# ask.fish COMPLETION: for each command line on standard input prints what fish would offer at its end.
source $argv[1]
while read -l line
    echo "$line=>" (complete -C "$line" | string replace -r '\t.*' '')
end
