# SPDX-License-Identifier: Apache-2.0
# What is installed: libraries, headers, and a pkg-config file for each thing that a daemon links.
include(GNUInstallDirs)

install(DIRECTORY include/varnel TYPE INCLUDE)
foreach(library IN ITEMS varnel_common varnel_platform varnel_platform_ipmi)
  if(TARGET ${library})
    string(REPLACE _ - name ${library})
    configure_file(cmake/pkgconfig/${name}.pc.in ${CMAKE_BINARY_DIR}/pkgconfig/${name}.pc @ONLY)
    install(TARGETS ${library} LIBRARY)
    install(FILES ${CMAKE_BINARY_DIR}/pkgconfig/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  endif()
endforeach()
if(TARGET varnel)
  install(TARGETS varnel RUNTIME)
endif()
