# Generates the man pages of the operations in man/man3 of the build directory, one per family and a
# link per name, from the headers' contracts through Doxygen's XML.
find_program(DOXYGEN_EXECUTABLE doxygen REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(man_dir ${PROJECT_BINARY_DIR}/man)
file(GLOB man_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/*.h)
file(GLOB_RECURSE man_examples CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/examples/*.cpp ${PROJECT_SOURCE_DIR}/examples/families/*.out)
configure_file(${PROJECT_SOURCE_DIR}/cmake/Doxyfile.man.in ${man_dir}/Doxyfile @ONLY)

add_custom_command(
  OUTPUT ${man_dir}/stamp
  COMMAND ${DOXYGEN_EXECUTABLE} ${man_dir}/Doxyfile
  COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/docs/man-pages
    --version ${PROJECT_VERSION} ${man_dir}/xml ${man_dir}/man3
  COMMAND ${CMAKE_COMMAND} -E touch ${man_dir}/stamp
  DEPENDS ${man_headers} ${man_examples} ${man_dir}/Doxyfile
    ${PROJECT_SOURCE_DIR}/docs/Doxyfile ${PROJECT_SOURCE_DIR}/docs/man-pages
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  COMMENT "Writing the man pages"
  VERBATIM)
add_custom_target(commutil_man ALL DEPENDS ${man_dir}/stamp)
