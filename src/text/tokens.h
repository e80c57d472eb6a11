#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/bounded.h"

namespace commutil {

constexpr std::size_t kSplitLimit = 1024;  // `splitAll` reads no more of its input

/// The position of a token in its string. Small, because callers' stacks may be.
struct Token {
  std::uint16_t begin;
  std::uint16_t length;
};

/// The tokens of a string as strtok_r(3) finds them in a copy that ends at the first NUL.
class Tokens {
 public:
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): clearing the buffers would cost more
  Tokens(const std::string& text, const std::string& delims)
      : m_copied(strncpy_s(m_text, sizeof m_text, text.c_str(), kSplitLimit) == 0) {
    if (m_copied) find(delims.c_str());
  }

  bool copied() const { return m_copied; }
  std::size_t size() const { return m_count; }
  const Token* begin() const { return m_tokens.data(); }
  const Token* end() const { return begin() + m_count; }
  std::string_view text(const Token& token) const { return {m_text + token.begin, token.length}; }

 private:
  void find(const char* delims) {
    std::array<bool, 256> ends{};  // the bytes that end a token: delimiters and NUL
    for (const char* delim = delims; *delim != '\0'; ++delim) ends[index(*delim)] = true;
    ends[0] = true;
    const char* at = m_text;
    while (true) {
      while (*at != '\0' && ends[index(*at)]) ++at;
      if (*at == '\0') return;
      const char* const begin = at;
      while (!ends[index(*at)]) ++at;
      m_tokens[m_count++] = {static_cast<std::uint16_t>(begin - m_text),
                             static_cast<std::uint16_t>(at - begin)};
    }
  }

  static std::size_t index(char byte) { return static_cast<unsigned char>(byte); }

  char m_text[kSplitLimit + 1];
  std::array<Token, kSplitLimit / 2> m_tokens;  // each but the last with a delimiter
  std::size_t m_count = 0;
  bool m_copied;
};

}  // namespace commutil
