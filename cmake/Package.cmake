# Debian packages: the library, what building against it needs, and the operator's tools.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development tools)
set(CPACK_PACKAGE_NAME libcommutil)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "libcommutil maintainers <maintainers@commutil.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_BINARY_DIR}/packages)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)

set(library_package libcommutil${PROJECT_VERSION_MAJOR})
set(same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
"common utility library of the platform's server processes
 Configuration, settings and deployment switches, strings, database query
 text, network addresses, commands, files, locks, wide-character streams and
 command-line options for the server processes of a network-management
 platform.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libcommutil-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} ${same_version}, libace-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DEBUGINFO_PACKAGE OFF)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"headers of the platform's common utility library
 The public headers, the CMake package, the pkg-config file and the manual
 pages for building processes against libcommutil.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME commutil-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library_package} ${same_version}")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"operator's command and reference settings store of libcommutil
 The command commutil shows on a live host what a service would get from the
 library. libsettingrest.so serves settings from a JSON document where a
 deployment has no settings store of its own.")

include(CPack)
