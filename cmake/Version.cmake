# Reads the version from the installed header, its only place.
set(version_header ${CMAKE_CURRENT_LIST_DIR}/../include/VexaVersion.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${version_header})
file(STRINGS ${version_header} commutil_version
  REGEX "^#define VEXA_COMMUTIL_VERSION_(MAJOR|MINOR|PATCH) [0-9]+$")
list(TRANSFORM commutil_version REPLACE "^.* " "")
list(JOIN commutil_version . commutil_version)
if(NOT commutil_version MATCHES "^[0-9]+\\.[0-9]+\\.[0-9]+$")
  message(FATAL_ERROR "${version_header} must define the version's three numbers")
endif()
