# SPDX-License-Identifier: Apache-2.0
# Compiler settings shared by everything that is built here.

add_library(varnel_options INTERFACE)
target_compile_options(varnel_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow
                       $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast>)
# GCC 12 sees overlaps in string + string where there are none. In tests, tables of small numbers are easier to read
# without casts.
target_compile_options(varnel_options INTERFACE
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict> $<$<NOT:$<BOOL:$<TARGET_PROPERTY:VARNEL_TEST>>>:-Wconversion>)
# Of tests the compiler's time counts, not theirs. AddressSanitizer stays, since it guards the memory that tests hand to
# the library.
target_compile_options(varnel_options INTERFACE
  $<$<AND:$<BOOL:$<TARGET_PROPERTY:VARNEL_TEST>>,$<NOT:$<CONFIG:Debug>>>:-O0>)
if(VARNEL_WERROR)
  target_compile_options(varnel_options INTERFACE -Werror)
endif()

# The same sources give the same bytes, whatever folder they are built in.
target_compile_options(varnel_options INTERFACE
  -ffile-prefix-map=${CMAKE_BINARY_DIR}=build -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)

if(VARNEL_SANITIZE)
  target_compile_options(varnel_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<$<BOOL:${VARNEL_FUZZ}>:-fsanitize=fuzzer-no-link>
    $<$<BOOL:$<TARGET_PROPERTY:VARNEL_TEST>>:-fno-sanitize=undefined>)
  target_link_options(varnel_options INTERFACE -fsanitize=address,undefined)
endif()

if(VARNEL_COVERAGE) # the library itself is compiled for it; what it is linked into holds the counters
  target_link_options(varnel_options INTERFACE --coverage)
endif()

if(VARNEL_SANITIZE_THREADS)
  target_compile_options(varnel_options INTERFACE -fsanitize=thread)
  target_link_options(varnel_options INTERFACE -fsanitize=thread)
endif()

# For code that runs inside daemons: C library only, and hardened.
add_library(varnel_daemon_side INTERFACE)
target_link_libraries(varnel_daemon_side INTERFACE varnel_options)
target_compile_options(varnel_daemon_side INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>
  -fstack-protector-strong -fstack-clash-protection)
if(NOT VARNEL_SANITIZE AND NOT VARNEL_SANITIZE_THREADS)
  target_compile_options(varnel_daemon_side INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()
# Platform functions are bound when they are first called, so that a program that uses none needs none: lazy.
target_link_options(varnel_daemon_side INTERFACE
  -Wl,-z,relro -Wl,-z,lazy -Wl,-z,noexecstack -Wl,--as-needed)
