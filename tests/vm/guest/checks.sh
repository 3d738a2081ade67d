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

# busybox's shell prefers its own to those of i2c-tools.
for tool in i2cdetect i2cdump i2cget i2cset i2ctransfer; do
    eval "$tool() { /bin/$tool \"\$@\"; }"
done

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

# The USB interfaces of the adapters, in the order of their sockets.
adapters() {
    for product in /sys/bus/usb/devices/*/idProduct; do
        [ "$(cat "$product" 2>/dev/null)" != c631 ] || ls "${product%/*}" 2>/dev/null | grep ':1.0$'
    done
}
adapters_on_usb() { [ "$(adapters | wc -l)" -eq "$1" ]; }
bus_there() { [ -c "/dev/i2c-$1" ]; }
bus_gone() { [ ! -e "/dev/i2c-$1" ]; }

# In virtual time: the adapters get the time of this machine through a port each. In this time host() is of no use, because
# time flies while this machine waits for the console.
tell_time_to_host() {
    modprobe -a usbmon virtio_pci virtio_console
    until_it_is test -c /dev/usbmon0 -a -c /dev/vport0p2
    tell_time /dev/vport0p1 /dev/vport0p2 || fail "no time for the host"
}

# Linux numbers the adapters in the order in which the driver gets them, which is that of their sockets. Whatever the
# numbers are, the adapters also have the names /dev/i2c-0 and /dev/i2c-1.
load_drivers() {
    modprobe -a "$usb" i2c-dev
    echo demo >/tmp/board
    wait_for_buses
}
wait_for_buses() {
    until_it_is adapters_on_usb 2
    echo 0 >/sys/bus/usb/drivers_autoprobe
    modprobe i2c-tiny-usb
    for adapter in $(adapters); do
        echo "$adapter" >/sys/bus/usb/drivers/i2c-tiny-usb/bind
    done
    echo 1 >/sys/bus/usb/drivers_autoprobe
    for bus in 0 1; do
        until_it_is bus_there $((first_bus + bus))
        bus_there $bus || mknod /dev/i2c-$bus c 89 $((first_bus + bus))
    done
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

# bind DRIVER_NAME ADDRESS [BUS]: binds Linux's own driver to a chip of bus 0, or of this bus.
bind() { echo "$1 $2" >"/sys/bus/i2c/devices/i2c-${3-0}/new_device"; }
unbind() { echo "$1" >"/sys/bus/i2c/devices/i2c-${2-0}/delete_device"; }

# to_a_step FILE SCALE READING STEP: what Linux says in a file of $monitor, divided by SCALE, is the supply's reading, as
# of_supply prints it. That may change meanwhile, while the supply warms up.
to_a_step() {
    before=$(of_supply "$3")
    linux=$(cat "$monitor/$1")
    after=$(of_supply "$3")
    echo "$3: $linux / $2, the supply: $before to $after"
    awk -v linux="$linux" -v scale="$2" -v a="$before" -v b="$after" -v step="$4" 'BEGIN {
        value = linux / scale
        exit !(value >= (a < b ? a : b) - step && value <= (a < b ? b : a) + step)
    }' || fail "Linux reads another $3"
}
