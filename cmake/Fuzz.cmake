# Flags of a fuzzing build: coverage for libFuzzer, and the sanitizers that turn a fault into a
# finding. Use such a build for fuzzing only.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "libFuzzer comes with clang: configure with the preset fuzz")
endif()
add_compile_options(
  -O1
  -fno-omit-frame-pointer
  -fsanitize=fuzzer-no-link,address,undefined
  -fno-sanitize-recover=all)
add_link_options(-fsanitize=address,undefined)
