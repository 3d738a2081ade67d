# SPDX-License-Identifier: Apache-2.0
# 64-bit ARM.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triplet aarch64-linux-gnu)
set(architecture arm64)
set(emulator qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
