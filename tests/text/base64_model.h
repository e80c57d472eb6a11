#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>

// A model of base64: the documented steps, one character at a time, for comparison.

namespace commutil_test {

constexpr std::string_view kBase64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

using IsAlnum = std::function<bool(unsigned char)>;

inline std::string modelEncode(std::string_view data) {
  std::string text;
  for (std::size_t at = 0; at < data.size(); at += 3) {
    const std::string_view group = data.substr(at, 3);
    std::array<unsigned, 3> b{};
    for (std::size_t i = 0; i < group.size(); ++i) b[i] = static_cast<unsigned char>(group[i]);
    const std::array<unsigned, 4> indices{b[0] >> 2, ((b[0] & 3) << 4) + (b[1] >> 4),
                                          ((b[1] & 15) << 2) + (b[2] >> 6), b[2] & 63};
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= group.size() ? kBase64Alphabet[indices[i]] : '=';
    }
  }
  return text;
}

inline std::string modelDecode(std::string_view text, const IsAlnum& isAlnum) {
  std::string bytes;
  std::array<unsigned, 4> i{};
  std::size_t filled = 0;
  const auto appendFirst = [&](std::size_t count) {
    const std::array<unsigned, 3> group{(i[0] << 2) + ((i[1] >> 4) & 3),
                                        ((i[1] & 15) << 4) + ((i[2] >> 2) & 15),
                                        ((i[2] & 3) << 6) + i[3]};
    for (std::size_t n = 0; n < count; ++n) bytes += static_cast<char>(group[n]);
  };
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '=' || !(isAlnum(byte) || c == '+' || c == '/')) break;
    i[filled++] = static_cast<unsigned>(kBase64Alphabet.find(c)) & 255;
    if (filled < 4) continue;
    appendFirst(3);
    i = {};
    filled = 0;
  }
  if (filled > 0) appendFirst(filled - 1);
  return bytes;
}

}  // namespace commutil_test
