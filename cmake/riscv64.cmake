# SPDX-License-Identifier: Apache-2.0
# 64-bit RISC-V.
set(CMAKE_SYSTEM_PROCESSOR riscv64)
set(triplet riscv64-linux-gnu)
set(architecture riscv64)
set(emulator qemu-riscv64)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
