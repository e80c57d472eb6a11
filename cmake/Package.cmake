# The Debian packages, one for each component of an install: what running processes need, what
# building against the library needs, and what operators use. `./dev package` makes them.
set(library_package libcommutil${PROJECT_VERSION_MAJOR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libcommutil)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_PACKAGE_SOURCE libcommutil)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "libcommutil maintainers <maintainers@libcommutil.example.org>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Empty, so that the first line of each package's own description stands for it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL library development)
if(COMMUTIL_BUILD_TOOLS AND COMMUTIL_BUILD_PROVIDERS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
# A package needs the one of the same version that its component depends on.
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)

set(about_the_library
  "libcommutil gives the server processes of a network-management platform
their configuration and deployment switches, the SSL option file, strings,
database query text, network addresses, commands and files, locks,
wide-character streams and command-line options.
")

set(scripts ${PROJECT_SOURCE_DIR}/packaging/debian)
set(made ${PROJECT_BINARY_DIR}/debian)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "common utility library of server processes
${about_the_library}
This package holds the library that running processes load.")
configure_file(${scripts}/library/shlibs.in ${made}/library/shlibs @ONLY)
# CPack leaves out a script that is named and does not exist, where it would write one that calls
# ldconfig: the trigger does that.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${made}/library/shlibs ${scripts}/library/triggers ${made}/library/postinst ${made}/library/postrm)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libcommutil-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_DEBUGINFO_PACKAGE OFF)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
# The headers include ACE's, and the CMake package finds ACE with pkg-config.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libace-dev (>= 6.5.6), pkg-config")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "common utility library of server processes (development)
${about_the_library}
This package holds what building against the library needs: its headers,
a CMake package, a pkg-config file and the operations' man pages.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME commutil-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_TOOLS_DEPENDS library)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "operator's command of the common utility library
${about_the_library}
This package holds the command commutil, which shows on a live host what a
service gets from the library, and the reference settings store, for
deployments without one of their own.")
foreach(script postinst prerm)
  configure_file(${scripts}/tools/${script}.in ${made}/tools/${script} @ONLY)
  list(APPEND CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${made}/tools/${script})
endforeach()

# Changelog, copyright file and compressed man pages are no part of other installs.
set(CPACK_COMMUTIL_DOCUMENTS ${PROJECT_SOURCE_DIR}/packaging/debian-documents)
set(CPACK_COMMUTIL_VERSION ${PROJECT_VERSION})
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PackageDocuments.cmake)

include(CPack)
