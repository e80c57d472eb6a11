# Run by CPack between installing the components, each below a folder of its own, and packing them.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  execute_process(
    COMMAND ${CPACK_COMMUTIL_DOCUMENTS}
      ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX}
      ${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
      ${CPACK_COMMUTIL_VERSION}
      ${CPACK_DEBIAN_PACKAGE_MAINTAINER}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
