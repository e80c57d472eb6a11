#pragma once

#include <cstddef>
#include <cstdint>

// The UTF-8 that every decoder accepts. Conversions stop at anything else (surrogates, values above
// 0x10FFFF, malformed sequences) and leave it to the caller.

namespace commutil {

constexpr bool continuesUtf8(unsigned char byte) { return (byte & 0xC0U) == 0x80; }

struct Utf8Character {
  std::uint32_t code;
  std::size_t bytes;  ///< 0 if the text does not begin with a character
};

/// Decodes a sequence of at least two bytes, which are `byte(0)`, `byte(1)` and so on: the rules of
/// RFC 3629, without overlong forms, surrogates and values above 0x10FFFF. `byte` returns 0 for the
/// end of the text and is not called beyond it.
template <class Bytes>
constexpr Utf8Character decodeUtf8(const Bytes& byte) {
  const auto follows = [&byte](std::size_t i) { return continuesUtf8(byte(i)); };
  const auto bits = [&byte](std::size_t i) { return static_cast<std::uint32_t>(byte(i) & 0x3FU); };
  const std::uint32_t first = byte(0);
  if (!follows(1)) return {0, 0};
  if (first >= 0xC2 && first <= 0xDF) return {(first & 0x1F) << 6 | bits(1), 2};
  if (first < 0xE0 || !follows(2)) return {0, 0};
  if (first <= 0xEF) {
    const std::uint32_t c = (first & 0x0F) << 12 | bits(1) << 6 | bits(2);
    const bool plain = c >= 0x800 && (c < 0xD800 || c > 0xDFFF);
    return {c, plain ? std::size_t{3} : 0};
  }
  if (first > 0xF4 || !follows(3)) return {0, 0};
  const std::uint32_t c = (first & 0x07) << 18 | bits(1) << 12 | bits(2) << 6 | bits(3);
  return {c, c >= 0x10000 && c <= 0x10FFFF ? std::size_t{4} : 0};
}

/// How far a conversion went: `read` elements of its input gave `written` of its output.
struct Converted {
  std::size_t read;
  std::size_t written;
};

/// Returns the number of characters that begin in a text; no conversion of it writes more.
std::size_t countUtf8(const char* text, std::size_t size);

/// Converts NUL-terminated text of `size` bytes, up to the first sequence that is left to the
/// caller.
Converted widenUtf8(const char* text, std::size_t size, wchar_t* wide);

/// Returns the number of bytes of a text of less than 2^31 characters as UTF-8, or `kNoUtf8` if it
/// holds a value that is left to the caller.
std::size_t measureUtf8(const wchar_t* wide, std::size_t size);
constexpr std::size_t kNoUtf8 = static_cast<std::size_t>(-1);

/// Converts text that `measureUtf8` measured into an array of that size. Returns the position after
/// the last byte.
char* narrowUtf8(const wchar_t* wide, std::size_t size, char* text);

/// Converts text into an array of `room` bytes, up to the first value that is left to the caller or
/// until fewer than four bytes are free.
Converted narrowUtf8(const wchar_t* wide, std::size_t size, char* text, std::size_t room);

}  // namespace commutil
