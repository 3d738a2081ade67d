# SPDX-License-Identifier: Apache-2.0
# Run by CPack when all files are in place: what each package depends on. CPack's own call of dpkg-shlibdeps knows
# neither the packages that are being made nor another architecture's libraries.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} COMPONENT)
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/shlibdeps
    ${CPACK_TEMPORARY_DIRECTORY} ${component} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE} ${CPACK_VARNEL_SHLIBS_FOLDER}
    OUTPUT_VARIABLE depends OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_DEPENDS "${depends}")
endforeach()

# The development package's links lead to the libraries of exactly this build.
set(libraries libc6-dev)
foreach(component IN ITEMS COMMON PLATFORM PLATFORM_IPMI)
  if(CPACK_DEBIAN_${component}_PACKAGE_NAME)
    list(APPEND libraries
      "${CPACK_DEBIAN_${component}_PACKAGE_NAME} (= ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
  endif()
endforeach()
list(JOIN libraries ", " CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS)
