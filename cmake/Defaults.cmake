# What a build gets when the caller says nothing; only for our own top-level builds.
if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Kind of build" FORCE)
endif()
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
