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
