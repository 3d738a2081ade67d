#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# ask.bash COMPLETION: for each command line on standard input prints what bash would offer at its end.
set -uo pipefail
# shellcheck source=/dev/null
. "$1"
while IFS= read -r COMP_LINE; do
    COMP_POINT=${#COMP_LINE}
    command=${COMP_LINE%% *}
    complete=$(complete -p "$command")
    function=${complete#*-F }
    "${function%% *}"
    printf '%s=>' "$COMP_LINE"
    printf ' %s' "${COMPREPLY[@]}"
    printf '\n'
done
