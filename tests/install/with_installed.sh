# SPDX-License-Identifier: Apache-2.0
# Sourced by the tests here: makes a temporary folder and points pkg-config to the tree in $installed.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
PKG_CONFIG_LIBDIR=$(dirname "$(find "$installed" -name varnel-common.pc)")
PKG_CONFIG_SYSROOT_DIR=
export PKG_CONFIG_LIBDIR PKG_CONFIG_SYSROOT_DIR
libraries=$(dirname "$PKG_CONFIG_LIBDIR")

fail() { echo "$*"; exit 1; }

# output_is EXPECTED PROGRAM...
output_is() {
    local printed
    printed=$("${@:2}") || fail "exit code $?: ${*:2}"
    [ "$printed" = "$1" ] || fail "printed '$printed': ${*:2}"
}
