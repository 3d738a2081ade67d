# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by what collects the JSON that commands print, in the file "$printed_json" for json_agrees.

# prints_json ARGUMENTS...: whether they have --json as an option of varnel.
prints_json() {
    local word
    for word; do
        case $word in
            --) return 1 ;;
            --json) return 0 ;;
        esac
    done
    return 1
}

# keep_json FILE COMMAND...: FILE is what the command printed.
keep_json() { { printf '%s\n' "${*:2}"; cat "$1"; printf '\0'; } >>"$printed_json"; }
