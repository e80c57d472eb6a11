# Installed files by component: library; development (headers, CMake package, pkg-config file);
# tools (the operator's command and the reference settings store). ACE is a public requirement,
# because a public class derives from its message queue.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/commutil)
set(COMMUTIL_INSTALL_STORE_DIR ${CMAKE_INSTALL_LIBDIR} CACHE STRING
  "Where the reference settings store is installed")
mark_as_advanced(COMMUTIL_INSTALL_STORE_DIR)

install(TARGETS commutil EXPORT commutilTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT library
    NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/commutil)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/commutil
  COMPONENT development
  FILES_MATCHING PATTERN "*.h")
install(EXPORT commutilTargets
  NAMESPACE commutil::
  DESTINATION ${package_dir}
  COMPONENT development)

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
  DESTINATION ${package_dir}
  COMPONENT development)

# Relative to the file itself, so that an installed tree can be moved; absolute directories stay
# absolute.
file(RELATIVE_PATH relative_prefix
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" relative_prefix ${relative_prefix})
cmake_path(APPEND pkgconfig_libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND pkgconfig_includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(
  ${PROJECT_SOURCE_DIR}/cmake/commutil.pc.in ${PROJECT_BINARY_DIR}/commutil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/commutil.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

if(COMMUTIL_BUILD_MAN)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/man/man3
    DESTINATION ${CMAKE_INSTALL_MANDIR}
    COMPONENT development
    OPTIONAL
    FILES_MATCHING PATTERN "*.3commutil")
endif()

if(COMMUTIL_BUILD_PROVIDERS)
  install(TARGETS settingrest
    LIBRARY DESTINATION ${COMMUTIL_INSTALL_STORE_DIR} COMPONENT tools)
endif()
if(COMMUTIL_BUILD_TOOLS)
  install(TARGETS commutil_tool
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  set(documents ${PROJECT_BINARY_DIR}/tools/commutil)
  install(FILES ${documents}/commutil.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/commutil/commutil-json.5
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man5
    COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/commutil/commutil.schema.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/commutil
    COMPONENT tools)
  install(FILES ${PROJECT_BINARY_DIR}/tools/settings/commutil.5
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man5
    COMPONENT tools)
  install(FILES ${documents}/commutil.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME commutil
    COMPONENT tools)
  install(FILES ${documents}/_commutil
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions
    COMPONENT tools)
  install(FILES ${documents}/commutil.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
    COMPONENT tools)
endif()
if(COMMUTIL_BUILD_SETTINGS_AGENT)
  install(TARGETS commutil_settings_command
    RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/commutil COMPONENT settings)
  # For operators; commutil starts the other one.
  file(RELATIVE_PATH program
    ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBEXECDIR}/commutil/commutil-settings)
  install(CODE "
    set(directory \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    file(MAKE_DIRECTORY \${directory})
    file(CREATE_LINK ${program} \${directory}/commutil-settings SYMBOLIC)"
    COMPONENT settings)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/commutil-settings/commutil-settings.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT settings)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/commutil-settings/commutil-settings.conf.5
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man5
    COMPONENT settings)
endif()
