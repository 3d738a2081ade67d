# SPDX-License-Identifier: Apache-2.0
# Installation in components, of which packages are made (debian/): one for each library; development with
# headers, pkg-config files, the CMake package, examples; tools; simulator.
set(varnel_cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/varnel)

# varnel_install_gzipped(FILE FOLDER NAME COMPONENT): compresses manual pages and changelogs as Debian requires, with the
# same bytes on each machine.
function(varnel_install_gzipped file folder name component)
  set(gzipped ${CMAKE_BINARY_DIR}/gzipped/${component}/${name}.gz)
  cmake_path(GET gzipped PARENT_PATH gzipped_folder)
  file(MAKE_DIRECTORY ${gzipped_folder})
  execute_process(COMMAND gzip -9nc ${file} OUTPUT_FILE ${gzipped} COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  install(FILES ${gzipped} DESTINATION ${folder} COMPONENT ${component})
endfunction()

# varnel_install_manual(PAGE COMPONENT): docs/man/PAGE, if it exists.
function(varnel_install_manual page component)
  if(EXISTS ${PROJECT_SOURCE_DIR}/docs/man/${page})
    cmake_path(GET page EXTENSION LAST_ONLY section)
    string(SUBSTRING ${section} 1 1 section)
    varnel_install_gzipped(${PROJECT_SOURCE_DIR}/docs/man/${page} ${CMAKE_INSTALL_MANDIR}/man${section} ${page} ${component})
  endif()
endfunction()

# varnel_install_pkgconfig(NAME): written at installation, because the prefix is known only then (cmake --install --prefix).
function(varnel_install_pkgconfig name)
  set(template ${PROJECT_SOURCE_DIR}/cmake/pkgconfig/${name}.pc.in)
  set(written ${CMAKE_BINARY_DIR}/pkgconfig/${name}.pc)
  set(pc_libdir "\${prefix}")
  cmake_path(APPEND pc_libdir ${CMAKE_INSTALL_LIBDIR})
  set(pc_includedir "\${prefix}")
  cmake_path(APPEND pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})
  install(CODE "
    set(PROJECT_VERSION [[${PROJECT_VERSION}]])
    set(pc_libdir [[${pc_libdir}]])
    set(pc_includedir [[${pc_includedir}]])
    configure_file([[${template}]] [[${written}]] @ONLY)" COMPONENT development)
  install(FILES ${written} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()

# The IPMI adapter's targets are in a file of their own, because it may be in a package of its own.
set(export_platform_ipmi _ipmi)
foreach(library IN ITEMS common platform platform_ipmi)
  if(TARGET varnel_${library})
    install(TARGETS varnel_${library} EXPORT varnel${export_${library}}
            LIBRARY COMPONENT ${library} NAMELINK_COMPONENT development)
    string(REPLACE _ - name ${library})
    varnel_install_pkgconfig(varnel-${name})
  endif()
endforeach()
foreach(target IN ITEMS varnel_with_platform varnel_common_static varnel_platform_static
                        varnel_with_platform_static)
  if(TARGET ${target})
    install(TARGETS ${target} EXPORT varnel ARCHIVE COMPONENT development)
  endif()
endforeach()

if(TARGET varnel_with_platform_ipmi)
  install(TARGETS varnel_with_platform_ipmi EXPORT varnel_ipmi)
endif()

install(DIRECTORY include/varnel include/varnel-sim TYPE INCLUDE COMPONENT development)
varnel_install_manual(varnel_common.3 development)
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development
        PATTERN CMakeLists.txt EXCLUDE PATTERN boards EXCLUDE)

if(NOT VARNEL_DEBIAN) # in Debian each package has a copyright file
  install(FILES LICENSES/Apache-2.0.txt DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME LICENSE COMPONENT development)
endif()

include(CMakePackageConfigHelpers)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/varnel-config-version.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT varnel FILE varnel-targets.cmake NAMESPACE varnel:: DESTINATION ${varnel_cmake_folder} COMPONENT development)
if(TARGET varnel_platform_ipmi)
  install(EXPORT varnel_ipmi FILE varnel-ipmi-targets.cmake NAMESPACE varnel:: DESTINATION ${varnel_cmake_folder} COMPONENT development)
endif()
install(FILES ${CMAKE_BINARY_DIR}/varnel-config-version.cmake cmake/varnel-config.cmake
        DESTINATION ${varnel_cmake_folder} COMPONENT development)

# varnel_install_tool(NAME COMPONENT): the program; packaging/reference has its page and completion. Outside /usr, it finds
# the libraries that were installed with it.
function(varnel_install_tool name component)
  if(TARGET ${name})
    install(TARGETS ${name} RUNTIME COMPONENT ${component})
    if(NOT CMAKE_INSTALL_PREFIX STREQUAL /usr)
      file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
      set_target_properties(${name} PROPERTIES INSTALL_RPATH $ORIGIN/${libraries})
    endif()
  endif()
endfunction()

varnel_install_tool(varnel tools)
varnel_install_tool(varnel-sim simulator)
varnel_install_tool(varnel-sim-usb simulator)
if(TARGET varnel-sim-usb)
  varnel_install_manual(varnel-sim-usb.1 simulator)
endif()

if(TARGET varnel-sim)
  install(DIRECTORY examples/boards DESTINATION ${CMAKE_INSTALL_DATADIR}/varnel COMPONENT simulator)
endif()
if(TARGET varnel_sim_preload) # no program links these: in a folder of their own
  install(TARGETS varnel_sim_preload varnel_sim_queues
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/varnel COMPONENT simulator)
endif()
if(TARGET varnel_sim_web)
  install(TARGETS varnel_sim_web LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/varnel COMPONENT simulator)
endif()
