# The checks that ./dev check runs: ctest tests with the label "check" and a label for their kind.
# Only the preset dev registers them, because they need more packages than the tests.
cmake_minimum_required(VERSION 3.25)

# commutil_check(NAME LABEL COMMAND...). A check that builds uses one processor, like any other
# test.
function(commutil_check name label)
  add_test(NAME ${name} COMMAND ${ARGN}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} COMMAND_EXPAND_LISTS)
  set_tests_properties(${name} PROPERTIES
    LABELS "check;${label}"
    TIMEOUT 1800
    ENVIRONMENT CMAKE_BUILD_PARALLEL_LEVEL=1)
endfunction()

set(work ${PROJECT_BINARY_DIR}/checks)

commutil_check(abi.Contract abi abi/check $<TARGET_FILE:commutil>)
commutil_check(abi.Changes abi tests/contract/abi_changes ${work}/abi-changes)
set(objects $<TARGET_OBJECTS:commutil_base> $<TARGET_OBJECTS:commutil_objects>)
commutil_check(layers.Kept layers tests/contract/layers ${objects})
commutil_check(layers.Changes layers tests/contract/layers_changes ${work}/layers-changes ${objects})
commutil_check(docs.Whole docs cmake/dev/docs)
commutil_check(docs.Words docs tests/contract/words_check)
commutil_check(install.Consumed install
  tests/consumer/check-install ${PROJECT_BINARY_DIR} ${work}/install)
commutil_check(parent.Unchanged parent tests/consumer/check-parent ${work}/parent)
commutil_check(stand_in.Called stand-in tests/stand_in/check ${work}/stand-in)
commutil_check(shell.Commands shell tests/contract/dev_commands)
commutil_check(shell.Scripts shell cmake/dev/check-scripts)
commutil_check(shell.Promises shell tests/contract/security_promises)
commutil_check(mutants.Fit mutants tests/mutants/run --check)
commutil_check(mutants.Changes mutants
  tests/contract/mutants_changes ${PROJECT_BINARY_DIR} ${work}/mutants-changes)
commutil_check(format.Sources format cmake/dev/check-format)

commutil_check(package.Version package tests/packages/debian_check ${work}/debian)
commutil_check(package.Symbols package
  tests/packages/symbols_check $<TARGET_FILE:commutil> ${work}/symbols)
commutil_check(package.Files package
  tests/packages/files_check ${PROJECT_BINARY_DIR} ${work}/files)
set_tests_properties(docs.Whole PROPERTIES FIXTURES_SETUP docs)
set_tests_properties(package.Files PROPERTIES FIXTURES_REQUIRED docs)

# Static analysis, one test per source: label "check" for shipped sources, "full" for the others.
# The tree lint has clang's compile commands for all of them, benchmarks and fuzz targets included.
commutil_check(lint.Configure lint ${CMAKE_COMMAND} --preset lint)
set_tests_properties(lint.Configure PROPERTIES FIXTURES_SETUP lint_tree)
file(GLOB_RECURSE sources RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS
  src/*.cpp tools/*.cpp providers/*.cpp examples/*.cpp tests/*.cpp bench/*.cpp fuzz/*.cpp)
# Except separate projects, and the one C++23 source, on which clang-tidy 14 crashes.
list(FILTER sources EXCLUDE REGEX "^tests/(consumer|stand_in)/|/raw_text[.]cpp$")
foreach(source IN LISTS sources)
  commutil_check(lint.${source} lint clang-tidy --quiet -p build/lint ${source})
  set_tests_properties(lint.${source} PROPERTIES FIXTURES_REQUIRED lint_tree)
  if(source MATCHES "^(tests|bench|fuzz)/")
    set_tests_properties(lint.${source} PROPERTIES LABELS "full;lint")
  endif()
endforeach()

# Compiles every public header separately. A header set's check ignores CXX_STANDARD, so an option
# selects the standard.
file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/*.h)
foreach(standard 14 17 20 2b)
  set(target headers_cxx${standard})
  add_library(${target} INTERFACE)
  set_target_properties(${target} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
  target_sources(${target} INTERFACE
    FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/include FILES ${headers})
  target_compile_options(${target} INTERFACE
    -std=c++${standard} -Wall -Wextra -Wpedantic -Werror)
endforeach()
commutil_check(headers.GCC headers ${CMAKE_COMMAND} --build --preset headers)
commutil_check(headers.Clang headers ${CMAKE_COMMAND} --build --preset lint)
set_tests_properties(headers.Clang PROPERTIES FIXTURES_REQUIRED lint_tree)

# Start the longest checks first.
foreach(check abi.Changes parent.Unchanged stand_in.Called headers.GCC headers.Clang docs.Whole)
  set_tests_properties(${check} PROPERTIES COST 1000)
endforeach()
