# SPDX-License-Identifier: Apache-2.0
# Debian packages by CPack, see docs/packaging.md; ./script/package makes them. One package for each component of
# cmake/install.cmake.
set(VARNEL_DEBIAN_ARCHITECTURE "" CACHE STRING "Make Debian packages for this architecture (amd64, armhf)")
if(NOT VARNEL_DEBIAN_ARCHITECTURE)
  return()
endif()
set(debian ${PROJECT_SOURCE_DIR}/packaging/debian)

file(STRINGS ${debian}/changelog newest_entry LIMIT_COUNT 1)
if(NOT newest_entry MATCHES "^varnel \\(${PROJECT_VERSION}-([0-9]+)\\)")
  message(FATAL_ERROR "packaging/debian/changelog begins with '${newest_entry}', and this is version ${PROJECT_VERSION}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})

# debian_package(COMPONENT NAME SECTION MULTI_ARCH SUMMARY DESCRIPTION)
function(debian_package component name section multi_arch summary description)
  string(TOUPPER ${component} COMPONENT)
  set(package CPACK_DEBIAN_${COMPONENT})
  set(${package}_PACKAGE_NAME ${name} PARENT_SCOPE)
  # CPack supports the field Multi-Arch only since CMake 3.31; here it is appended to the field before it.
  set(${package}_PACKAGE_SECTION "${section}\nMulti-Arch: ${multi_arch}" PARENT_SCOPE)
  set(${package}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)

  set(documentation ${CMAKE_INSTALL_DATADIR}/doc/${name})
  varnel_install_gzipped(${debian}/changelog ${documentation} changelog.Debian ${component})
  set(copyright ${debian}/copyright)
  if(EXISTS ${copyright}.${component})
    set(copyright ${copyright}.${component})
  endif()
  install(FILES ${copyright} DESTINATION ${documentation} RENAME copyright COMPONENT ${component})
  install(FILES ${debian}/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
          RENAME ${name} COMPONENT ${component})
endfunction()

# debian_library(COMPONENT NAME EXPORTS_FILE): the files from which packages that link libvarnel_COMPONENT get their
# dependencies.
function(debian_library component name exports_file)
  set(library libvarnel_${component})
  set(control ${CMAKE_BINARY_DIR}/debian/${component})
  file(STRINGS ${PROJECT_SOURCE_DIR}/${exports_file} symbols)
  list(SORT symbols)
  list(TRANSFORM symbols REPLACE "(.+)" " \\1@Base ${PROJECT_VERSION}")
  list(JOIN symbols "\n" symbols)
  file(WRITE ${control}/symbols
    "${library}.so.${PROJECT_VERSION_MAJOR} ${name} #MINVER#\n* Build-Depends-Package: libvarnel-dev\n${symbols}\n")
  file(WRITE ${control}/shlibs "${library} ${PROJECT_VERSION_MAJOR} ${name} (>= ${PROJECT_VERSION})\n")
  file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_CONTROL_EXTRA ${control}/shlibs ${control}/symbols ${control}/triggers PARENT_SCOPE)
endfunction()

set(CPACK_COMPONENTS_ALL)
debian_package(common libvarnel-common${PROJECT_VERSION_MAJOR} libs same
  "common services for daemons of board-management controllers" [[
SMBus and drivers for chips on management boards (GPIO expanders,
multiplexers, power supplies, clocks), INI configuration, system and text
logs, XML, locks, record queues on named pipes, an IPMI relay and file
transfer, in one small shared library that needs only the C library.

The functions that reach hardware come from a platform library:
libvarnel-platform1 on any Linux, the simulated board of varnel-sim, or a
board's own.]])
debian_library(common libvarnel-common${PROJECT_VERSION_MAJOR} src/exports.txt)
if(TARGET varnel_platform)
  debian_package(platform libvarnel-platform${PROJECT_VERSION_MAJOR} libs same
    "platform functions of varnel on any Linux" [[
What libvarnel-common1 asks of a platform, on any Linux: I2C transfers through
/dev/i2c-N, locks on files, debug output to syslog, and the table of
controllers that an IPMI relay talks to.]])
  debian_library(platform libvarnel-platform${PROJECT_VERSION_MAJOR} platform/linux/exports.txt)
endif()
if(TARGET varnel_platform_ipmi)
  debian_package(platform_ipmi libvarnel-platform-ipmi${PROJECT_VERSION_MAJOR} libs same
    "IPMI sessions for varnel by libfreeipmi" [[
The IPMI functions that the relay of libvarnel-common1 asks of a platform,
done by libfreeipmi.

libfreeipmi is under the GPL, version 3 or later: a program that loads this
library is distributed under those terms as a whole.]])
  debian_library(platform_ipmi libvarnel-platform-ipmi${PROJECT_VERSION_MAJOR} platform/linux/ipmi/exports.txt)
endif()
debian_package(development libvarnel-dev libdevel same
  "common services for board-management controllers (development)" [[
Headers, pkg-config files and the CMake package to build daemons with
libvarnel-common1 and its platform libraries, and examples. The headers are
the manual.]])
if(TARGET varnel)
  debian_package(tools varnel-tools utils foreign
    "tools for board-management controllers" [[
What the libraries of varnel do, from a shell: buses, chips, configuration,
logs, locks, queues, file transfer, and the table of controllers that daemons
read.]])
endif()
if(TARGET varnel-sim)
  debian_package(simulator varnel-sim devel no
    "simulated management board for programs that use varnel" [[
Runs unchanged daemons on a simulated board, without hardware: chips modelled
by their datasheets, several daemons on one board, faults on demand, every
transfer decoded.]])
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "varnel developers <varnel@localhost.invalid>" CACHE STRING "Who maintains the packages")
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${VARNEL_DEBIAN_ARCHITECTURE})
set(CPACK_DEBIAN_PACKAGE_SOURCE varnel)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_STRIP_FILES ON)
set(CPACK_SET_DESTDIR ON) # files that are written at installation contain the prefix, not CPack's folder
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PRE_BUILD_SCRIPTS ${debian}/dependencies.cmake)
set(CPACK_VARNEL_SHLIBS_FOLDER ${CMAKE_BINARY_DIR}/debian)
include(CPack)
