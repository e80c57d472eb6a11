#include "bytes/ascii.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "support/fixtures.h"

namespace {

using commutil::Block;
using commutil::hexDigitValue;
using commutil::isWhitespace;
using commutil::kWhitespace;
using commutil::LetterBeyondHex;
using commutil::NoDigit;
using commutil_test::allBytes;

template <class Set>
void expectMembers(const Set& set, std::string_view members) {
  for (const char byte : allBytes()) {
    const bool isMember = members.find(byte) != std::string_view::npos;
    EXPECT_EQ(isMember, set(byte)) << static_cast<int>(byte);
    EXPECT_EQ(isMember ? 0xFFFFU : 0U, set(Block::filledWith(byte)).mask());
  }
}

TEST(AsciiClasses, HoldTheirBytes) {
  std::string others;
  for (const char byte : allBytes())
    if (byte < '0' || byte > '9') others += byte;
  expectMembers(NoDigit(), others);
  expectMembers(LetterBeyondHex(), "ghijklmnopqrstuvwxyzGHIJKLMNOPQRSTUVWXYZ");
}

TEST(Whitespace, IsFourBytes) {
  for (const char byte : allBytes()) {
    const bool isMember = byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
    EXPECT_EQ(isMember, isWhitespace(byte)) << static_cast<int>(byte);
    EXPECT_EQ(isMember, std::string_view(kWhitespace).find(byte) != std::string_view::npos);
  }
}

TEST(HexDigitValue, IsTheValueOrMinusOne) {
  constexpr std::string_view kLower = "0123456789abcdef";
  constexpr std::string_view kUpper = "0123456789ABCDEF";
  for (const char byte : allBytes()) {
    const std::size_t value = std::min(kLower.find(byte), kUpper.find(byte));
    EXPECT_EQ(value == std::string_view::npos ? -1 : static_cast<int>(value), hexDigitValue(byte));
  }
}

}  // namespace
