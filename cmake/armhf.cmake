# SPDX-License-Identifier: Apache-2.0
# 32-bit ARM, hard float: Debian's cross compiler, tests run by qemu-user. Libraries other than those of C and C++ come
# from script/armhf-libraries, if it was run.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # compatibility with the C++ ABI of GCC 6 is not needed
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

get_filename_component(armhf_libraries ${CMAKE_CURRENT_LIST_DIR}/../build/armhf-libraries ABSOLUTE)
set(ENV{PKG_CONFIG_LIBDIR} ${armhf_libraries}/usr/lib/arm-linux-gnueabihf/pkgconfig) # never the build machine's
if(EXISTS ${armhf_libraries}/complete)
  list(APPEND CMAKE_FIND_ROOT_PATH ${armhf_libraries})
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${armhf_libraries})
  set(armhf_library_path ${armhf_libraries}/usr/lib/arm-linux-gnueabihf:${armhf_libraries}/lib/arm-linux-gnueabihf)
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -E LD_LIBRARY_PATH=${armhf_library_path})
  string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-rpath-link,${armhf_library_path}")
endif()
