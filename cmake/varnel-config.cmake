# SPDX-License-Identifier: Apache-2.0
# find_package(varnel): varnel::common; with a platform library varnel::platform, and with IPMI sessions
# varnel::platform_ipmi, if they were built. Each can be requested as a component.
include(${CMAKE_CURRENT_LIST_DIR}/varnel-targets.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/varnel-ipmi-targets.cmake OPTIONAL)
foreach(component IN LISTS varnel_FIND_COMPONENTS)
  if(TARGET varnel::${component})
    set(varnel_${component}_FOUND TRUE)
  elseif(varnel_FIND_REQUIRED_${component})
    set(varnel_FOUND FALSE)
    set(varnel_NOT_FOUND_MESSAGE "varnel::${component} is not installed in ${CMAKE_CURRENT_LIST_DIR}")
  endif()
endforeach()
