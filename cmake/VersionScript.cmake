# Writes the library's version script to OUTPUT: what cmake/libcommutil.map.in lists, and the free
# functions that the public headers mark with VEXA_EXPORT.
function(commutil_version_script output)
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/*.h)
  list(FILTER headers EXCLUDE REGEX "/VexaVersion[.]h$")  # already makes CMake run again
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${headers})
  set(exported_functions "")
  foreach(header IN LISTS headers)
    file(STRINGS ${header} declarations REGEX "^VEXA_EXPORT [^(]*[a-zA-Z0-9_]+[(]")
    foreach(declaration IN LISTS declarations)
      string(REGEX REPLACE "^[^(]*[ *&]([a-zA-Z0-9_]+)[(].*" "\\1" name "${declaration}")
      string(APPEND exported_functions "      ${name}*;\n")
    endforeach()
  endforeach()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/libcommutil.map.in ${output} @ONLY)
endfunction()
