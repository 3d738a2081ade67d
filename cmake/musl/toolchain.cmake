# SPDX-License-Identifier: Apache-2.0
# musl, the C library of Alpine and of small images, on the building machine: Debian's musl-tools, which has no C++. This makes
# a C++ compiler for it of the machine's own, in build/musl-made. The headers and the static archive of its C++ library are for
# glibc; the files beside this one have what they expect of that. libvarnel_common and libvarnel_platform do not link the
# archive, test programs do. A system that is built on musl needs none of this.
execute_process(COMMAND gcc -dumpmachine OUTPUT_VARIABLE triplet OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND g++ -dumpversion OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE -gnu -musl musl_triplet ${triplet})
set(musl ${CMAKE_CURRENT_LIST_DIR})
cmake_path(SET made NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/musl-made)

# The kernel's headers without those of glibc, which are in the same folder.
file(MAKE_DIRECTORY ${made}/include)
foreach(headers IN ITEMS /usr/include/linux /usr/include/asm-generic /usr/include/${triplet}/asm)
  cmake_path(GET headers FILENAME name)
  file(CREATE_LINK ${headers} ${made}/include/${name} SYMBOLIC)
endforeach()

execute_process(COMMAND musl-gcc -std=gnu11 -O2 -c ${musl}/libstdcxx.c -o ${made}/libstdcxx.o COMMAND_ERROR_IS_FATAL ANY)

# Of musl-gcc's rules those for linking; for headers g++ needs another order.
file(READ /usr/lib/${musl_triplet}/musl-gcc.specs specs)
string(REGEX REPLACE "^.*(\\*link_libgcc:)" "\\1" specs "${specs}")
string(REPLACE crtbeginS.o%s "crtbeginS.o%s %{!shared:${made}/libstdcxx.o}" specs "${specs}")
file(CONFIGURE OUTPUT ${made}/link.specs CONTENT "${specs}" @ONLY)

set(cxx /usr/include/c++/${version})
set(folders ${cxx} /usr/include/${triplet}/c++/${version} ${cxx}/backward /usr/include/${musl_triplet}
    /usr/lib/gcc/${triplet}/${version}/include ${made}/include)
list(JOIN folders " -isystem " folders)
file(CONFIGURE OUTPUT ${made}/musl-g++ @ONLY CONTENT
"#!/bin/sh
exec g++ -nostdinc -isystem @folders@ -include @musl@/libstdcxx.h \"$@\" -specs=@made@/link.specs -static-libstdc++ -static-libgcc
")
file(CHMOD ${made}/musl-g++ PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER ${made}/musl-g++)
set(CMAKE_C_FLAGS_INIT "-isystem ${made}/include")
set(ENV{PKG_CONFIG_LIBDIR} /nonexistent) # the machine's libraries need glibc
