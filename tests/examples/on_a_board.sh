# SPDX-License-Identifier: Apache-2.0
# Sourced by the tests here with their own arguments: runs the calling script again on a new board and in a new folder, and
# defines functions that check output.
if [ "${4-}" != --on-the-board ]; then
    exec "${0%/*}/../tools/on_a_board" "$1" "$3" "$0" "$1" "$2" "$3" --on-the-board
fi
cd "$XDG_RUNTIME_DIR"

fail() {
    printf '%s\nin:\n%s\n' "$1" "$output"
    exit 1
}
has() { grep -qE -- "$1" <<<"$output" || fail "no line like: $1"; }
lacks() { ! grep -qE -- "$1" <<<"$output" || fail "unexpected line like: $1"; }
