# SPDX-License-Identifier: Apache-2.0
# IBM Z, whose integers begin with the highest byte.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(triplet s390x-linux-gnu)
set(architecture s390x)
set(emulator qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
