# SPDX-License-Identifier: Apache-2.0
# find_package(varnel): varnel::common; with a platform library under it varnel::platform, and varnel::platform_ipmi
# where IPMI sessions were built. Each may be asked for as a component.
include(${CMAKE_CURRENT_LIST_DIR}/varnel-targets.cmake)
foreach(component IN LISTS varnel_FIND_COMPONENTS)
  if(TARGET varnel::${component})
    set(varnel_${component}_FOUND TRUE)
  elseif(varnel_FIND_REQUIRED_${component})
    set(varnel_FOUND FALSE)
    set(varnel_NOT_FOUND_MESSAGE "varnel::${component} is not installed in ${CMAKE_CURRENT_LIST_DIR}")
  endif()
endforeach()
