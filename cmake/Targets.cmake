# Compile flags of all our targets; PRIVATE, so that none reaches a parent project.
function(commutil_compile_options target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  if(COMMUTIL_WARNINGS)
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
  endif()
  commutil_harden(${target})
endfunction()

# Debug builds check the C++ library's preconditions; other builds guard stacks, control flow and
# the relocation table; optimized ones also check C functions.
function(commutil_harden target)
  set(release $<NOT:$<CONFIG:Debug>>)
  set(optimized $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
  target_compile_definitions(${target} PRIVATE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
  target_compile_options(${target} PRIVATE
    $<${optimized}:-U_FORTIFY_SOURCE>
    $<${optimized}:-D_FORTIFY_SOURCE=2>
    $<${release}:-fstack-protector-strong>
    $<${release}:-fcf-protection>)
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL OBJECT_LIBRARY AND NOT type STREQUAL STATIC_LIBRARY)
    target_link_options(${target} PRIVATE LINKER:-z,relro LINKER:-z,now)
  endif()
endfunction()

# With COMMUTIL_COVERAGE, counts what `target` executes of its own code. The counters are in a mapped
# file, which children share and which keeps the counts of processes that end by _exit or a signal.
function(commutil_cover target)
  if(NOT COMMUTIL_COVERAGE)
    return()
  endif()
  target_compile_options(${target} PRIVATE
    -fprofile-instr-generate -fcoverage-mapping "SHELL:-mllvm -runtime-counter-relocation")
  get_target_property(type ${target} TYPE)
  if(type STREQUAL STATIC_LIBRARY)
    target_link_options(${target} INTERFACE -fprofile-instr-generate)
  elseif(NOT type STREQUAL OBJECT_LIBRARY)
    target_link_options(${target} PRIVATE -fprofile-instr-generate)
    set_property(GLOBAL APPEND PROPERTY COMMUTIL_COVERED $<TARGET_FILE:${target}>)
  endif()
endfunction()

# Lists the covered files for tests/coverage/report.
function(commutil_write_covered)
  get_property(covered GLOBAL PROPERTY COMMUTIL_COVERED)
  file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/covered.txt CONTENT "$<JOIN:${covered},\n>\n")
endfunction()
