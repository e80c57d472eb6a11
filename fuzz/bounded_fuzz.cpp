// The bounded copies and formatting with any sizes and counts: results, and no access beyond an
// array.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/bounded.h"
#include "support/expect.h"
#include "support/input.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;

std::vector<char> unwritten(std::size_t size) { return std::vector<char>(size, '#'); }

void checkCopies(const std::string& bytes, std::size_t size, std::size_t count) {
  count = std::min(count, bytes.size());
  std::vector<char> dest = unwritten(size);
  std::vector<char> expected = dest;
  const bool fits = count <= size && !dest.empty();
  if (fits) std::copy_n(bytes.begin(), count, expected.begin());
  expectEqual(memcpy_s(dest.data(), size, bytes.data(), count) == 0, fits, "memcpy_s");
  expectEqual(dest, expected, "the array of memcpy_s");

  if (fits) std::fill_n(expected.begin(), count, 'x');
  expectEqual(memset_s(dest.data(), size, 'x', count) == 0, fits, "memset_s");
  expectEqual(dest, expected, "the array of memset_s");
}

void checkTexts(const std::string& text, std::size_t size, std::size_t count) {
  std::vector<char> dest = unwritten(size);
  const std::string cut = text.substr(0, count);
  const bool fits = cut.size() < size;
  expectEqual(strncpy_s(dest.data(), size, text.c_str(), count) == 0, fits, "strncpy_s");
  if (size > 0) expectEqual(std::string(dest.data()), fits ? cut : "", "the result of strncpy_s");

  dest = unwritten(size);
  const int length = snprintf_s(dest.data(), size, count, "%s", text.c_str());
  const bool whole = text.size() <= count && text.size() < size;
  expectEqual(length, whole ? static_cast<int>(text.size()) : -1, "snprintf_s");
  if (size == 0) return;
  expect(std::memchr(dest.data(), '\0', size) != nullptr, "snprintf_s terminates");
  expectEqual(std::string(dest.data()), text.substr(0, std::min(count, size - 1)),
              "the result of snprintf_s");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::size_t size = input.choice(200);
  const std::size_t count = input.choice(200);
  const std::string bytes = input.rest();
  checkCopies(bytes, size, count);
  checkTexts(upToNul(bytes), size, count);
}
