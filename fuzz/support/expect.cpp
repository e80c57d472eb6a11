#include "support/expect.h"

#include <array>
#include <cstdio>
#include <cstdlib>

#include "support/failing_allocations.h"

namespace commutil_fuzz {
namespace {

template <class Text>
std::string escaped(const Text& text) {
  std::string result = "\"";
  for (const auto c : text) {
    if (c >= ' ' && c <= '~' && c != '"' && c != '\\') {
      result += static_cast<char>(c);
      continue;
    }
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), "\\x%02X",
                  static_cast<unsigned>(c) & (sizeof(c) == 1 ? 0xFFU : 0xFFFFFFFFU));
    result += code.data();
  }
  return result + "\"";
}

}  // namespace

void fail(const std::string& message) {
  if (FailingAllocations::happened()) throw Unjudged();
  std::fprintf(stderr, "PROPERTY: %s\n", message.c_str());
  std::abort();
}

std::string quoted(std::string_view text) { return escaped(text); }

std::string quoted(std::wstring_view text) { return "L" + escaped(text); }

}  // namespace commutil_fuzz
