# SPDX-License-Identifier: Apache-2.0
# Sourced by the checks: functions that run commands on the host and compare results.

# host COMMAND [ARGUMENT...]: runs a command on the host (see boot); prints its output.
host() {
    echo "@host $*" >/dev/console
    while IFS= read -r answer; do
        case $answer in
            "@end "*) return "${answer#@end }" ;;
            *) printf '%s\n' "$answer" ;;
        esac
    done </dev/console
}

fail() {
    echo "$*"
    exit 1
}

# same WANTED GOT WHAT
same() {
    [ "$1" = "$2" ] && return
    printf '%s\n' "$1" >/tmp/wanted
    printf '%s\n' "$2" >/tmp/got
    diff -u /tmp/wanted /tmp/got
    fail "$3"
}

# until_it_is COMMAND...: repeats the command until it succeeds, for at most ten seconds.
until_it_is() {
    tries=0
    until "$@"; do
        tries=$((tries + 1))
        [ $tries -lt 1000 ] || fail "still not: $*"
        usleep 10000
    done
}

adapters_on_usb() { [ "$(cat /sys/bus/usb/devices/*/idProduct 2>/dev/null | grep -c c631)" -eq "$1" ]; }
bus_there() { [ -c "/dev/i2c-$1" ]; }
bus_gone() { [ ! -e "/dev/i2c-$1" ]; }

# Both adapters must be plugged in before their driver is loaded; only then are they numbered in the order of their sockets.
load_drivers() {
    modprobe -a xhci-pci i2c-dev
    echo demo >/tmp/board
    wait_for_buses
}
wait_for_buses() {
    until_it_is adapters_on_usb 2
    modprobe i2c-tiny-usb
    until_it_is bus_there 0
    until_it_is bus_there 1
}

# on_board NAME: connects the adapters to that board, unless they are already.
on_board() {
    [ "$(cat /tmp/board)" != "$1" ] || return 0
    host unplug 0
    host unplug 1
    until_it_is adapters_on_usb 0
    rmmod i2c-tiny-usb
    host use-board "$1" || exit 1
    wait_for_buses
    echo "$1" >/tmp/board
}

# bind DRIVER_NAME ADDRESS: binds Linux's own driver to a chip of bus 0.
bind() { echo "$1 $2" >/sys/bus/i2c/devices/i2c-0/new_device; }
unbind() { echo "$1" >/sys/bus/i2c/devices/i2c-0/delete_device; }
