# Flags that every target of ours compiles with; PRIVATE, so that none reaches a parent project.
function(commutil_compile_options target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  if(COMMUTIL_WARNINGS)
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
  endif()
endfunction()
