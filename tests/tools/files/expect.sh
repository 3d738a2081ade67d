# SPDX-License-Identifier: Apache-2.0
# Sourced by the tests here, each called as: TEST COMMAND..., where COMMAND starts varnel (an emulator may stand in
# front). They work in a folder of their own, with nothing on standard input.
set -euo pipefail
varnel=("$@")
test=$(realpath "$0")
tools=$(realpath "$(dirname "${BASH_SOURCE[0]}")/..")
folder=$(mktemp -d)
printed_json=$folder/.json
# shellcheck source=../printed_json.sh
. "$tools/printed_json.sh"
trap 'rm -rf "$folder"' EXIT
cd "$folder"
exec </dev/null

fail() {
    echo "line ${BASH_LINENO[-2]}: $*"
    exit 1
}

# expect STATUS STDOUT STDERR ARGUMENTS...: runs varnel, and compares exactly, line ends at the end aside.
expect() {
    local status=0
    "${varnel[@]}" "${@:4}" >.out 2>.err || status=$?
    [ "$status" -eq "$1" ] || fail "${*:4}: status $status, not $1: $(cat .out .err)"
    [ "$(cat .out)" = "$2" ] || fail "${*:4}: printed: $(cat .out)"
    [ "$(cat .err)" = "$3" ] || fail "${*:4}: said: $(cat .err)"
    ! prints_json "${@:4}" || [ "$status" -ne 0 ] || keep_json .out varnel "${@:4}"
}

# all_as_expected: the end of a test; what was printed with --json is checked against its schema.
all_as_expected() {
    [ ! -e "$printed_json" ] || "$tools/json_agrees" "$printed_json"
    echo "all as expected"
}

# content_is FILE TEXT
content_is() {
    [ "$(cat "$1")" = "$2" ] || fail "$1 holds: $(cat "$1")"
}

# in_own_namespaces FLAGS...: starts the test again in namespaces of its own; where the machine allows none, the test
# counts as skipped.
in_own_namespaces() {
    [ -z "${own_namespaces-}" ] || return 0
    [ "$(id -u)" -eq 0 ] || set -- "$@" --map-root-user
    if ! unshare "$@" true 2>err; then
        echo "skipped: $(cat err)"
        exit 77
    fi
    cd /
    rm -rf "$folder"
    own_namespaces=1 exec unshare "$@" "$test" "${varnel[@]}"
}

# In a new network the loopback interface is down.
loopback_up() {
    /usr/bin/python3 - <<'END'
import fcntl, socket, struct
SIOCSIFFLAGS, IFF_UP = 0x8914, 1
with socket.socket() as any_socket:
    fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sh22x", b"lo", IFF_UP))
END
}
