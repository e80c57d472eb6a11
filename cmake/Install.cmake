# What an install holds: the library, its headers, and the CMake package and pkg-config file through
# which users find them. ACE is a public requirement: a public header derives from its queue.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/commutil)

install(TARGETS commutil EXPORT commutilTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/commutil)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/commutil
  FILES_MATCHING PATTERN "*.h")
install(EXPORT commutilTargets NAMESPACE commutil:: DESTINATION ${package_dir})

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/commutilConfig.cmake.in
  ${PROJECT_BINARY_DIR}/commutilConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/commutilConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/commutilConfig.cmake
  ${PROJECT_BINARY_DIR}/commutilConfigVersion.cmake
  DESTINATION ${package_dir})

# Relative to the file itself, so that an installed tree may be moved.
file(RELATIVE_PATH relative_prefix
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(
  ${PROJECT_SOURCE_DIR}/cmake/commutil.pc.in ${PROJECT_BINARY_DIR}/commutil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/commutil.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
