# SPDX-License-Identifier: Apache-2.0
# What Debian's cross compilers have in common. A toolchain file sets CMAKE_SYSTEM_PROCESSOR, and these:
#   triplet        of compiler and folders, such as aarch64-linux-gnu
#   architecture   Debian's name of it, such as arm64
#   emulator       of qemu-user, such as qemu-aarch64
# Libraries other than those of C and C++ come from script/foreign-libraries, if it was run for the architecture; without
# them, what needs them is left out.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

cmake_path(SET foreign_libraries NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/${architecture}-libraries)
set(ENV{PKG_CONFIG_LIBDIR} ${foreign_libraries}/usr/lib/${triplet}/pkgconfig) # never the build machine's
if(EXISTS ${foreign_libraries}/complete)
  list(APPEND CMAKE_FIND_ROOT_PATH ${foreign_libraries})
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${foreign_libraries})
  set(foreign_library_path ${foreign_libraries}/usr/lib/${triplet}:${foreign_libraries}/lib/${triplet})
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -E LD_LIBRARY_PATH=${foreign_library_path})
  string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-rpath-link,${foreign_library_path}")
endif()
