# SPDX-License-Identifier: Apache-2.0
option(VARNEL_SYMBOL_VERSIONS "Give the functions of libvarnel_common the symbol version VARNEL_1.0" OFF)
option(VARNEL_BUILD_STATIC "Also build static libraries" OFF)

include(CheckSymbolExists)
set(CMAKE_REQUIRED_QUIET ON)
check_symbol_exists(__GLIBC__ features.h VARNEL_GLIBC)
unset(CMAKE_REQUIRED_QUIET)
if(VARNEL_GLIBC) # its linker script would add the dynamic loader on ARM, which every process has anyway
  set(varnel_c_library -l:libc.so.6 -l:libc_nonshared.a)
else()
  set(varnel_c_library -lc)
endif()

# varnel_daemon_library(NAME EXPORTS [PRELOADED] [SYMBOL_VERSION version] source...): a shared library that runs inside daemons.
# It needs only the C library (and what is linked to it explicitly) and exports the names in the file EXPORTS, without a symbol
# version or all with this one. A PRELOADED one is loaded into programs that were not linked with it: it has no version, is
# bound when it is loaded, and is never sanitized, because the program may have no sanitizer.
function(varnel_daemon_library name exports_file)
  cmake_parse_arguments(PARSE_ARGV 2 arg "PRELOADED" "SYMBOL_VERSION" "")
  cmake_path(ABSOLUTE_PATH exports_file OUTPUT_VARIABLE exports_list)
  set(version_script ${CMAKE_CURRENT_BINARY_DIR}/${name}.map)
  file(STRINGS ${exports_list} exports)
  list(JOIN exports ";\n    " exports)
  file(CONFIGURE OUTPUT ${version_script} @ONLY
       CONTENT "@arg_SYMBOL_VERSION@ {\n  global:\n    @exports@;\n  local:\n    *;\n};\n")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exports_list})

  add_library(${name} SHARED ${arg_UNPARSED_ARGUMENTS})
  set_target_properties(${name} PROPERTIES
    CXX_VISIBILITY_PRESET default      # only the version script decides
    LINKER_LANGUAGE C                  # no libstdc++, no libgcc_s
    LINK_DEPENDS ${version_script})
  target_include_directories(${name}
    PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_compile_options(${name} PRIVATE -ffunction-sections -fdata-sections)
  target_link_libraries(${name} PRIVATE -nodefaultlibs ${varnel_c_library} -lgcc) # DT_NEEDED is only libc
  target_link_options(${name} PRIVATE -Wl,--version-script=${version_script} -Wl,-Bsymbolic-functions -Wl,--gc-sections)
  if(arg_PRELOADED)
    target_link_libraries(${name} PRIVATE varnel_hardened)
    target_link_options(${name} PRIVATE -Wl,-z,now)
  else()
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:varnel_daemon_side>)
    # Platform functions are bound when they are first called, so a program that calls none needs no platform.
    target_link_options(${name} PRIVATE -Wl,-z,lazy)
  endif()
endfunction()

# varnel_weak_imports(NAME EXPORTS...): with a C library that binds all functions when a program starts, as musl does, the library
# NAME must import weakly what is in the files EXPORTS, so that programs start that call none of it and have no such function.
function(varnel_weak_imports name)
  if(VARNEL_GLIBC)
    return()
  endif()
  foreach(file IN LISTS ARGN)
    file(STRINGS ${file} imports)
    list(TRANSFORM imports PREPEND "#pragma weak " OUTPUT_VARIABLE lines)
    list(APPEND pragmas ${lines})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  endforeach()
  list(JOIN pragmas "\n" pragmas)
  file(CONFIGURE OUTPUT ${name}_imports.h CONTENT "${pragmas}\n" @ONLY)
  # Only for the shared library: a static one must report what is missing when a program is linked.
  get_target_property(sources ${name} SOURCES)
  get_target_property(options ${name} COMPILE_OPTIONS)
  add_library(${name}_strong OBJECT EXCLUDE_FROM_ALL ${sources})
  set_target_properties(${name}_strong PROPERTIES POSITION_INDEPENDENT_CODE ON COMPILE_OPTIONS "${options}")
  target_include_directories(${name}_strong PRIVATE ${PROJECT_SOURCE_DIR}/include ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${name}_strong PRIVATE varnel_daemon_side)
  target_compile_options(${name} PRIVATE -include ${CMAKE_CURRENT_BINARY_DIR}/${name}_imports.h)
endfunction()

# varnel_static_library(NAME): with VARNEL_BUILD_STATIC, the objects of the shared library NAME, and of libraries of objects that
# are part of it, as the target NAME_static.
function(varnel_static_library name)
  if(VARNEL_BUILD_STATIC)
    set(objects ${name})
    if(TARGET ${name}_strong)
      set(objects ${name}_strong)
    endif()
    list(TRANSFORM ARGN REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE parts)
    add_library(${name}_static STATIC $<TARGET_OBJECTS:${objects}> ${parts})
    set_target_properties(${name}_static PROPERTIES OUTPUT_NAME ${name} LINKER_LANGUAGE C)
    target_include_directories(${name}_static INTERFACE
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  endif()
endfunction()
