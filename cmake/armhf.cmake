# SPDX-License-Identifier: Apache-2.0
# 32-bit ARM, hard float.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(triplet arm-linux-gnueabihf)
set(architecture armhf)
set(emulator qemu-arm)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # compatibility with the C++ ABI of GCC 6 is not needed
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
