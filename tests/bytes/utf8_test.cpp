#include "bytes/utf8.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace {

using commutil::Converted;
using commutil::kNoUtf8;
using commutil::measureUtf8;
using commutil::narrowUtf8;

std::wstring randomText(std::mt19937& random) {
  static const std::wstring kAny =
      L"abcdefghijklmnopqrst\x7F\x80\x7FF\x800\x4E2D\xD7FF\xE000\xFFFF\x10000\x10FFFF";
  static const std::wstring kForeign = L"\xD800\xDFFF\x110000\x7FFFFFFF\xFFFFFFFF";
  std::wstring text(random() % 100, L'a');
  const std::size_t kinds = 1 + random() % kAny.size();
  for (wchar_t& c : text) c = kAny[random() % kinds];
  if (!text.empty() && random() % 2 == 0) {
    text[random() % text.size()] = kForeign[random() % kForeign.size()];
  }
  return text;
}

/// Where a conversion character by character stops.
Converted bySteps(const std::wstring& text, std::string& bytes, std::size_t room) {
  std::size_t i = 0;
  while (i < text.size() && bytes.size() + 4 <= room && measureUtf8(&text[i], 1) != kNoUtf8) {
    char one[4];
    bytes.append(one, narrowUtf8(&text[i++], 1, one));
  }
  return {i, bytes.size()};
}

// ASCII goes in blocks of 16, which may fill the last four bytes of the room.
TEST(Utf8, NarrowsWhatFits) {
  std::mt19937 random(1);
  for (int round = 0; round < 20000; ++round) {
    const std::wstring text = randomText(random);
    const std::size_t room = random() % 200;
    std::string expected;
    const Converted least = bySteps(text, expected, room);
    std::string bytes(room, '#');
    const Converted converted = narrowUtf8(text.data(), text.size(), bytes.data(), room);
    ASSERT_LE(converted.written, room);
    ASSERT_GE(converted.read, least.read);
    ASSERT_EQ(bytes.substr(converted.written), std::string(room - converted.written, '#'))
        << "nothing is written beyond";
    std::string all;
    const Converted whole = bySteps(text.substr(0, converted.read), all, 1000);
    ASSERT_EQ(whole.read, converted.read);
    ASSERT_EQ(all, bytes.substr(0, converted.written));
    const bool foreign =
        converted.read < text.size() && measureUtf8(&text[converted.read], 1) == kNoUtf8;
    ASSERT_TRUE(converted.read == text.size() || foreign || room - converted.written < 4);
  }
}

}  // namespace
