#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string>

#include "platform/bounded.h"
#include "text/search.h"

namespace commutil {

constexpr std::size_t kSplitLimit = 1024;  // `splitAll` sees no more of its input

struct Token {
  const char* text;
  std::size_t length;
};

/// The tokens of a text as strtok_r(3) finds them, of a copy that ends at its first NUL.
class Tokens {
 public:
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): clearing the buffers would cost more
  Tokens(const std::string& text, const std::string& delims)
      : m_copied(strncpy_s(m_text, sizeof m_text, text.c_str(), kSplitLimit) == 0) {
    if (m_copied) find(ByteSet({delims.c_str(), std::strlen(delims.c_str()) + 1}));
  }

  bool copied() const { return m_copied; }
  std::size_t size() const { return m_count; }
  const Token* begin() const { return m_tokens.data(); }
  const Token* end() const { return begin() + m_count; }

 private:
  // `ends` holds the delimiters and NUL.
  void find(const ByteSet& ends) {
    const char* at = m_text;
    while (true) {
      while (*at != '\0' && ends.contains(*at)) ++at;
      if (*at == '\0') return;
      const char* const begin = at;
      while (!ends.contains(*at)) ++at;
      m_tokens[m_count++] = {begin, static_cast<std::size_t>(at - begin)};
    }
  }

  char m_text[kSplitLimit + 1];
  std::array<Token, kSplitLimit / 2> m_tokens;  // each but the last with a delimiter
  std::size_t m_count = 0;
  bool m_copied;
};

}  // namespace commutil
