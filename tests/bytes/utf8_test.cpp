#include "bytes/utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <random>
#include <string>

namespace {

using commutil::Converted;
using commutil::countUtf8;
using commutil::decodeUtf8;
using commutil::kNoUtf8;
using commutil::measureUtf8;
using commutil::narrowUtf8;
using commutil::Utf8Character;
using commutil::widenUtf8;

std::wstring randomText(std::mt19937& random) {
  static const std::wstring kAny =
      L"abcdefghijklmnopqrst\x7F\x80\x7FF\x800\x4E2D\xD7FF\xE000\xFFFF\x10000\x2A6D6\x10FFFF";
  static const std::wstring kForeign = L"\xD800\xDFFF\x110000\x7FFFFFFF\xFFFFFFFF";
  std::wstring text(random() % 100, L'a');
  const std::size_t kinds = 1 + random() % kAny.size();
  for (wchar_t& c : text) c = kAny[random() % kinds];
  if (!text.empty() && random() % 2 == 0) {
    text[random() % text.size()] = kForeign[random() % kForeign.size()];
  }
  return text;
}

/// One character as UTF-8; "" if it has no such form.
std::string encoded(wchar_t character) {
  const auto c = static_cast<std::uint32_t>(character);
  const auto byte = [](std::uint32_t value) { return std::string(1, static_cast<char>(value)); };
  const auto next = [&](int shift) { return byte(0x80 | (c >> shift & 0x3F)); };
  if (c < 0x80) return byte(c);
  if (c < 0x800) return byte(0xC0 | c >> 6) + next(0);
  if (c >= 0xD800 && c <= 0xDFFF) return {};
  if (c < 0x10000) return byte(0xE0 | c >> 12) + next(6) + next(0);
  if (c <= 0x10FFFF) return byte(0xF0 | c >> 18) + next(12) + next(6) + next(0);
  return {};
}

/// The character at the front of `text`: the one whose form that is. Nothing if there is none.
std::optional<wchar_t> decoded(const std::string& text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const std::size_t size = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  std::uint32_t value = size == 1 ? first : first & (0x7FU >> size);
  for (std::size_t i = 1; i < size && i < text.size(); ++i)
    value = value << 6 | (static_cast<unsigned char>(text[i]) & 0x3FU);
  const auto character = static_cast<wchar_t>(value);
  if (encoded(character) != text.substr(0, size)) return std::nullopt;
  return character;
}

/// Where a conversion character by character stops.
Converted bySteps(const std::wstring& text, std::string& bytes, std::size_t room) {
  std::size_t i = 0;
  while (i < text.size() && bytes.size() + 4 <= room && !encoded(text[i]).empty())
    bytes += encoded(text[i++]);
  return {i, bytes.size()};
}

TEST(Utf8, DecodesTheSequencesOfTheStandardOnly) {
  const std::string seconds("\0\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0", 9);
  const std::string others("\0\x7F\x80\xBF\xC0", 5);
  for (int first = 0x80; first <= 0xFF; ++first) {
    for (std::size_t i = 0; i < seconds.size() * others.size() * others.size(); ++i) {
      const std::string text = {static_cast<char>(first), seconds[i / 25], others[i / 5 % 5],
                                others[i % 5]};
      const auto byte = [&text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
      const Utf8Character character = decodeUtf8(byte);
      const std::optional<wchar_t> expected = decoded(text);
      ASSERT_EQ(expected ? encoded(*expected).size() : 0, character.bytes)
          << testing::PrintToString(text);
      if (expected) {
        ASSERT_EQ(*expected, static_cast<wchar_t>(character.code)) << testing::PrintToString(text);
      }
    }
  }
}

TEST(Utf8, MeasuresAndNarrowsAsAPlainLoopDoes) {
  std::mt19937 random(2);
  for (int round = 0; round < 20'000; ++round) {
    const std::wstring text = randomText(random);
    std::string expected;
    const Converted whole = bySteps(text, expected, 1000);
    const std::size_t size = measureUtf8(text.data(), text.size());
    ASSERT_EQ(whole.read == text.size() ? expected.size() : kNoUtf8, size);
    if (size == kNoUtf8) continue;
    std::string bytes(size + 1, '#');
    ASSERT_EQ(bytes.data() + size, narrowUtf8(text.data(), text.size(), bytes.data()));
    ASSERT_EQ(expected + '#', bytes);
  }
}

TEST(Utf8, WidensAsAPlainLoopDoes) {
  std::mt19937 random(3);
  for (int round = 0; round < 20'000; ++round) {
    std::string text;
    for (const wchar_t c : randomText(random)) text += encoded(c);
    if (!text.empty() && round % 2 == 0) text[random() % text.size()] = static_cast<char>(random());
    std::wstring expected;
    std::size_t read = 0;
    for (; read < text.size(); read += encoded(expected.back()).size()) {
      const std::optional<wchar_t> next = decoded(text.substr(read));
      if (!next) break;
      expected += *next;
    }
    ASSERT_GE(countUtf8(text.data(), text.size()), expected.size());
    std::wstring wide(text.size() + 1, L'#');
    const Converted converted = widenUtf8(text.data(), text.size(), wide.data());
    ASSERT_EQ(read, converted.read);
    ASSERT_EQ(expected, wide.substr(0, converted.written));
    if (read == text.size()) {
      ASSERT_EQ(countUtf8(text.data(), text.size()), expected.size());
    }
  }
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
    const bool stops = converted.read < text.size() && encoded(text[converted.read]).empty();
    ASSERT_TRUE(converted.read == text.size() || stops || room - converted.written < 4);
  }
}

}  // namespace
