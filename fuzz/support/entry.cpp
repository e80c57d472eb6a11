// Defines the function that libFuzzer calls.
#include <new>

#include "support/expect.h"
#include "support/failing_allocations.h"
#include "support/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void test(const std::uint8_t* data, std::size_t size) {
  commutil_fuzz::Input input(data, size);
  commutil_fuzz::testInput(input);
}

/// Runs the input while allocations fail.
void testWithoutMemory(const std::uint8_t* data, std::size_t size) {
  const commutil_fuzz::FailingAllocations failing(data, size);
  try {
    test(data, size);
  } catch (const std::bad_alloc&) {
  } catch (const commutil_fuzz::Unjudged&) {
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // First, so that what a failure leaves behind shows in the run with memory. Not the very first
  // run, which fills the target's own statics.
  static bool isFirst = true;
  if (!isFirst) testWithoutMemory(data, size);
  isFirst = false;
  test(data, size);
  return 0;
}
