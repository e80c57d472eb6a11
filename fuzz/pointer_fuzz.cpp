// The pointer that a host fetches from a relay: any bytes.
#include "commutil-settings/pointer.h"

#include "support/expect.h"
#include "support/input.h"

using agent::Pointer;
using commutil_fuzz::expect;

void commutil_fuzz::testInput(Input& input) {
  const std::string text = input.rest();
  const std::optional<Pointer> pointer = agent::parsePointer(text);
  if (!pointer) return;
  expect(pointer->revision >= 0 && pointer->epoch >= 0, "numbers are not negative");
  expectEqual(agent::pointerText(*pointer), text, "a pointer has one spelling");
  expect(!pointer->isNewerThan(*pointer), "a pointer is not newer than itself");
}
