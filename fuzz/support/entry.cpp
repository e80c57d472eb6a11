// Defines the function that libFuzzer calls.
#include "support/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  commutil_fuzz::Input input(data, size);
  commutil_fuzz::testInput(input);
  return 0;
}
