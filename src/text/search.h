#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

// What trimming, splitting and replacing look for.

namespace commutil {

/// A set of bytes.
class ByteSet {
 public:
  explicit ByteSet(std::string_view bytes) {
    for (const char byte : bytes) m_bits[index(byte)] |= bit(byte);
  }

  bool contains(char byte) const { return (m_bits[index(byte)] & bit(byte)) != 0; }

  /// The position of the first byte of `text` at or after `from` that is not in the set, the
  /// text's length when there is none.
  std::size_t skip(std::string_view text, std::size_t from) const {
    while (from < text.size() && contains(text[from])) ++from;
    return from < text.size() ? from : text.size();
  }

 private:
  static std::size_t index(char byte) { return static_cast<unsigned char>(byte) / 64U; }
  static std::uint64_t bit(char byte) {
    return std::uint64_t{1} << (static_cast<unsigned char>(byte) % 64U);
  }

  std::array<std::uint64_t, 4> m_bits{};
};

/// Finds a text as a whole, in time linear in what is searched.
class Finder {
 public:
  /// `wanted` must outlive the finder.
  explicit Finder(std::string_view wanted) : m_wanted(wanted) {}

  std::size_t length() const { return m_wanted.size(); }

  /// The first position of the wanted text in `text` at or after `from`, the text's length when
  /// there is none. An empty text is found at once.
  std::size_t find(std::string_view text, std::size_t from) const {
    if (m_wanted.empty()) return from;
    const char* at = text.data() + from;
    const char* const end = text.data() + text.size();
    for (int starts = 0; starts < kFalseStarts; ++starts, ++at) {
      const std::size_t left = static_cast<std::size_t>(end - at);
      if (left < length()) return text.size();
      at = static_cast<const char*>(std::memchr(at, m_wanted[0], left - length() + 1));
      if (at == nullptr) return text.size();
      if (std::memcmp(at, m_wanted.data(), length()) == 0) return offset(text, at);
    }
    const auto rest = static_cast<std::size_t>(end - at);
    return offset(text, static_cast<const char*>(memmem(at, rest, m_wanted.data(), length())));
  }

 private:
  // The quick search compares at every first byte; where too many of them lead nowhere it would go
  // quadratic, and memmem, slower to start, takes over.
  static constexpr int kFalseStarts = 16;

  static std::size_t offset(std::string_view text, const char* at) {
    return at == nullptr ? text.size() : static_cast<std::size_t>(at - text.data());
  }

  std::string_view m_wanted;
};

}  // namespace commutil
