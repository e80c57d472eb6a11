// Defines the function that libFuzzer calls.
#include <new>

#include "support/expect.h"
#include "support/failing_allocations.h"
#include "support/input.h"

extern "C" {
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
}

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
  // The very first run has memory: it fills the target's own statics.
  static bool isFirst = true;
  if (isFirst) test(data, size);
  isFirst = false;
  // Before the run with memory, in which shows what a failure leaves behind.
  testWithoutMemory(data, size);
  test(data, size);
  return 0;
}

// SimpleIni loses its copy of a file while it cannot list an entry.
const char* __lsan_default_suppressions() { return "leak:CSimpleIniTempl*::LoadData"; }
