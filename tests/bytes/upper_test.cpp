#include "bytes/upper.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fixtures.h"

namespace {

using commutil::upperInto;
using commutil_test::allBytes;

std::string upperByteByByte(std::string text) {
  for (char& byte : text)
    if (byte >= 'a' && byte <= 'z') byte = static_cast<char>(byte - 'a' + 'A');
  return text;
}

TEST(UpperInto, AgreesWithAPlainLoop) {
  const std::string bytes = allBytes() + allBytes();
  for (std::size_t size = 0; size < 70; ++size) {
    for (std::size_t at = 0; at < 256; ++at) {
      std::string text = bytes.substr(at, size);
      const std::string expected = upperByteByByte(text);
      std::string result(size + 1, '#');
      upperInto(result.data(), text);
      ASSERT_EQ(expected + '#', result);
      upperInto(text.data(), text);
      ASSERT_EQ(expected, text) << "in place";
    }
  }
}

}  // namespace
