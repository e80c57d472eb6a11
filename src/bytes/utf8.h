#pragma once

#include <cstddef>

// UTF-8 as every decoder reads it. What only some accept (surrogates, values above 0x10FFFF,
// anything malformed) is left to the caller.

namespace commutil {

/// How far a conversion went: `read` elements of its input gave `written` of its output.
struct Converted {
  std::size_t read;
  std::size_t written;
};

/// The number of characters that begin in a text; no conversion of it writes more.
std::size_t countUtf8(const char* text, std::size_t size);

/// Converts NUL-terminated text of `size` bytes up to the first sequence that is left to the
/// caller.
Converted widenUtf8(const char* text, std::size_t size, wchar_t* wide);

/// Returns the number of bytes of a text of less than 2^31 characters as UTF-8, or `kNoUtf8` when
/// it holds a value that is left to the caller.
std::size_t measureUtf8(const wchar_t* wide, std::size_t size);
constexpr std::size_t kNoUtf8 = static_cast<std::size_t>(-1);

/// Converts text that `measureUtf8` measured into an array of that size, and returns the place
/// behind the last byte.
char* narrowUtf8(const wchar_t* wide, std::size_t size, char* text);

/// Converts text into an array of `room` bytes, up to the first value that is left to the caller or
/// until fewer than four bytes are free.
Converted narrowUtf8(const wchar_t* wide, std::size_t size, char* text, std::size_t room);

}  // namespace commutil
