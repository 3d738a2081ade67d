# SPDX-License-Identifier: Apache-2.0
# Compiler settings shared by everything that is built here.

add_library(varnel_plain_options INTERFACE)
target_compile_options(varnel_plain_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow
                       $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast>)
# GCC 12 reports overlaps in string + string where there are none. In tests, tables of small numbers are easier to read
# without casts.
target_compile_options(varnel_plain_options INTERFACE
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict> $<$<NOT:$<BOOL:$<TARGET_PROPERTY:VARNEL_TEST>>>:-Wconversion>)
# Tests are compiled without optimisation, because compiling them takes longer than running them. AddressSanitizer stays
# on, since it guards the memory that tests pass to the library.
target_compile_options(varnel_plain_options INTERFACE
  $<$<AND:$<BOOL:$<TARGET_PROPERTY:VARNEL_TEST>>,$<NOT:$<CONFIG:Debug>>>:-O0>)
if(VARNEL_WERROR)
  target_compile_options(varnel_plain_options INTERFACE -Werror)
endif()

# The same sources give the same bytes in any folder. The last of the options that fit is taken.
target_compile_options(varnel_plain_options INTERFACE
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
if(foreign_libraries) # see cross.cmake
  target_compile_options(varnel_plain_options INTERFACE -ffile-prefix-map=${foreign_libraries}=libraries)
endif()

add_library(varnel_instrumented INTERFACE) # by sanitizers and for coverage
if(VARNEL_SANITIZE STREQUAL address)
  target_compile_options(varnel_instrumented INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<$<BOOL:${VARNEL_FUZZ}>:-fsanitize=fuzzer-no-link>)
  target_link_options(varnel_instrumented INTERFACE -fsanitize=address,undefined)
endif()

# The library itself is compiled with counters; programs that link it need the counters' runtime.
if(VARNEL_COVERAGE STREQUAL lines)
  set(varnel_counters --coverage -fprofile-update=atomic)
elseif(VARNEL_COVERAGE STREQUAL conditions)
  set(varnel_counters -fprofile-instr-generate -fcoverage-mapping -fcoverage-mcdc -fprofile-update=atomic)
  # For the counters' runtime, which comes after the C library on the command line.
  target_link_options(varnel_instrumented INTERFACE -Wl,--undefined=atexit)
endif()
target_link_options(varnel_instrumented INTERFACE ${varnel_counters})

if(VARNEL_SANITIZE STREQUAL thread)
  target_compile_options(varnel_instrumented INTERFACE -fsanitize=thread)
  target_link_options(varnel_instrumented INTERFACE -fsanitize=thread)
endif()

# Commands, the simulated board and tests are compiled in half the time with line numbers as their only debug information,
# and without the checks that AddressSanitizer or the processor makes, too; tests without all checks of UBSan.
add_library(varnel_quickly_compiled INTERFACE)
target_compile_options(varnel_quickly_compiled INTERFACE $<$<CONFIG:Debug>:-g1>)
if(VARNEL_SANITIZE STREQUAL address)
  target_compile_options(varnel_quickly_compiled INTERFACE
    -fno-sanitize=$<IF:$<BOOL:$<TARGET_PROPERTY:VARNEL_TEST>>,undefined,alignment$<COMMA>null$<COMMA>object-size$<COMMA>vptr>)
endif()

add_library(varnel_options INTERFACE)
target_link_libraries(varnel_options INTERFACE varnel_plain_options varnel_instrumented varnel_quickly_compiled)

# For code that runs inside daemons: needs only the C library, and is hardened.
add_library(varnel_hardened INTERFACE)
target_link_libraries(varnel_hardened INTERFACE varnel_plain_options)
target_compile_options(varnel_hardened INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>
  -fstack-protector-strong -fstack-clash-protection)
if(NOT VARNEL_SANITIZE)
  target_compile_options(varnel_hardened INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()
target_link_options(varnel_hardened INTERFACE -Wl,-z,relro -Wl,-z,noexecstack -Wl,--as-needed)

add_library(varnel_daemon_side INTERFACE)
target_link_libraries(varnel_daemon_side INTERFACE varnel_instrumented varnel_hardened)

# Headers that take seconds to read are compiled once. A compiler cache saves more and does not know precompiled headers.
# Where a target's definitions do not fit, the compiler reads the headers themselves.
set(CMAKE_PCH_WARN_INVALID OFF)
if(CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
endif()
