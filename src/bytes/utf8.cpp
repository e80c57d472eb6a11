// Converts between UTF-8 and wide text, ASCII in blocks of 16 characters.
#include "bytes/utf8.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "bytes/block.h"
#include "bytes/scan.h"

namespace commutil {
namespace {

/// Returns the number of bytes after the first one, for each of four characters.
Quad moreBytes(Quad four) { return Quad() - ((four > 0x7F) + (four > 0x7FF) + (four > 0xFFFF)); }

/// Returns which of four values UTF-8 does not encode.
Quad areUnencodable(Quad four) {
  const Quad surrogate = (four > 0xD7FF) & (four < 0xE000);
  return (four > 0x10FFFF) | (four < 0) | surrogate;
}

/// Decodes a sequence of at least two bytes. The NUL after the text ends an incomplete one.
Utf8Character decode(const char* text) {
  return decodeUtf8([text](std::size_t i) { return static_cast<unsigned char>(text[i]); });
}

/// Writes one character and returns the position after it.
char* encode(std::uint32_t c, char* out) {
  const auto put = [&out](std::uint32_t byte) { *out++ = static_cast<char>(byte); };
  if (c >= 0x800 && c < 0x10000) {
    put(0xE0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
    return out;
  }
  if (c < 0x80) {
    put(c);
    return out;
  }
  if (c < 0x800) {
    put(0xC0 | c >> 6);
  } else {
    put(0xF0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3F));
    put(0x80 | (c >> 6 & 0x3F));
  }
  put(0x80 | (c & 0x3F));
  return out;
}

constexpr std::ptrdiff_t kLongest = 4;  // bytes of a character

bool isUnencodable(wchar_t c) { return c < 0 || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF); }

}  // namespace

std::size_t countUtf8(const char* text, std::size_t size) {
  return size - countBytes(std::string_view(text, size), InRange{'\x80', '\xBF'});
}

Converted widenUtf8(const char* text, std::size_t size, wchar_t* wide) {
  std::size_t i = 0;
  wchar_t* out = wide;
  while (i < size) {
    if (size - i >= Block::kSize) {
      const Block block = Block::load(text + i);
      if (block.mask() == 0) {
        block.widenTo(out);
        i += Block::kSize;
        out += Block::kSize;
        continue;
      }
    }
    for (const std::size_t stop = std::min(size, i + Block::kSize); i < stop;) {
      if (static_cast<unsigned char>(text[i]) < 0x80) {
        *out++ = text[i++];
        continue;
      }
      const Utf8Character next = decode(text + i);
      if (next.bytes == 0) return {i, static_cast<std::size_t>(out - wide)};
      *out++ = static_cast<wchar_t>(next.code);
      i += next.bytes;
    }
  }
  return {i, static_cast<std::size_t>(out - wide)};
}

std::size_t measureUtf8(const wchar_t* wide, std::size_t size) {
  Quad more;
  Quad unencodable;
  const auto add = [&](Quad four) {
    more = more + moreBytes(four);
    unencodable = unencodable | areUnencodable(four);
  };
  std::size_t i = 0;
  for (; size - i >= Block::kSize; i += Block::kSize) {
    const WideBlock block = WideBlock::load(wide + i);
    if (block.isAscii()) continue;
    add(block.a);
    add(block.b);
    add(block.c);
    add(block.d);
  }
  for (; i < size; ++i) add(Quad::single(wide[i]));
  return unencodable.any() ? kNoUtf8 : size + more.sum();
}

char* narrowUtf8(const wchar_t* wide, std::size_t size, char* text) {
  for (std::size_t i = 0; i < size;) {
    if (size - i >= Block::kSize) {
      const WideBlock block = WideBlock::load(wide + i);
      if (block.isAscii()) {
        block.bytes().store(text);
        text += Block::kSize;
        i += Block::kSize;
        continue;
      }
    }
    for (const std::size_t stop = std::min(size, i + Block::kSize); i < stop; ++i) {
      text = encode(static_cast<std::uint32_t>(wide[i]), text);
    }
  }
  return text;
}

Converted narrowUtf8(const wchar_t* wide, std::size_t size, char* text, std::size_t room) {
  char* out = text;
  const char* const end = text + room;
  const auto result = [&](std::size_t i) {
    return Converted{i, static_cast<std::size_t>(out - text)};
  };
  for (std::size_t i = 0; i < size;) {
    if (size - i >= Block::kSize && end - out >= static_cast<std::ptrdiff_t>(Block::kSize)) {
      const WideBlock block = WideBlock::load(wide + i);
      if (block.isAscii()) {
        block.bytes().store(out);
        out += Block::kSize;
        i += Block::kSize;
        continue;
      }
    }
    for (const std::size_t stop = std::min(size, i + Block::kSize); i < stop; ++i) {
      if (isUnencodable(wide[i]) || end - out < kLongest) return result(i);
      out = encode(static_cast<std::uint32_t>(wide[i]), out);
    }
  }
  return result(size);
}

}  // namespace commutil
