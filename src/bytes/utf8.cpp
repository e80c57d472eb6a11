// Conversion between UTF-8 and wide text, for the character set conversions and the wide streams in
// a UTF-8 locale. Pure functions, over blocks of 16 characters where these are ASCII.
#include "bytes/utf8.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "bytes/byte_blocks.h"

namespace commutil {
namespace {

static_assert(sizeof(wchar_t) == sizeof(std::int32_t));

__m128i loadFour(const wchar_t* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

/// 16 wide characters.
struct WideBlock {
  explicit WideBlock(const wchar_t* from)
      : a(loadFour(from)), b(loadFour(from + 4)), c(loadFour(from + 8)), d(loadFour(from + 12)) {}

  bool isAscii() const {
    const __m128i seen = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
    const __m128i beyond = _mm_andnot_si128(_mm_set1_epi32(0x7F), seen);
    return blockMask(_mm_cmpeq_epi32(beyond, _mm_setzero_si128())) == 0xFFFF;
  }
  /// The block of an ASCII text as bytes.
  __m128i bytes() const { return _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)); }

  __m128i a, b, c, d;
};

void widenAscii(__m128i block, wchar_t* to) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i low = _mm_unpacklo_epi8(block, zero);
  const __m128i high = _mm_unpackhi_epi8(block, zero);
  auto* const out = reinterpret_cast<__m128i*>(to);
  _mm_storeu_si128(out, _mm_unpacklo_epi16(low, zero));
  _mm_storeu_si128(out + 1, _mm_unpackhi_epi16(low, zero));
  _mm_storeu_si128(out + 2, _mm_unpacklo_epi16(high, zero));
  _mm_storeu_si128(out + 3, _mm_unpackhi_epi16(high, zero));
}

/// How many bytes beyond its first each of four characters has.
__m128i moreBytes(__m128i four) {
  const __m128i two = _mm_cmpgt_epi32(four, _mm_set1_epi32(0x7F));
  const __m128i three = _mm_cmpgt_epi32(four, _mm_set1_epi32(0x7FF));
  const __m128i all =
      _mm_add_epi32(_mm_add_epi32(two, three), _mm_cmpgt_epi32(four, _mm_set1_epi32(0xFFFF)));
  return _mm_sub_epi32(_mm_setzero_si128(), all);
}

/// Marks those of four values that are left to the caller.
__m128i areForeign(__m128i four) {
  const __m128i beyond = _mm_or_si128(_mm_cmpgt_epi32(four, _mm_set1_epi32(0x10FFFF)),
                                      _mm_cmplt_epi32(four, _mm_setzero_si128()));
  const __m128i surrogate = _mm_and_si128(_mm_cmpgt_epi32(four, _mm_set1_epi32(0xD7FF)),
                                          _mm_cmplt_epi32(four, _mm_set1_epi32(0xE000)));
  return _mm_or_si128(beyond, surrogate);
}

std::size_t sumOf(__m128i four) {
  std::uint32_t lanes[4];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(lanes), four);
  return std::size_t{lanes[0]} + lanes[1] + lanes[2] + lanes[3];
}

struct Decoded {
  std::uint32_t character;
  std::size_t bytes;  ///< 0 when the sequence is left to the caller
};

/// Decodes a sequence of at least two bytes. Text ends with a NUL, which continues no sequence.
Decoded decode(const char* text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto follows = [byte](std::size_t i) { return (byte(i) & 0xC0U) == 0x80; };
  const auto bits = [byte](std::size_t i) { return static_cast<std::uint32_t>(byte(i) & 0x3FU); };
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

/// Writes one character and returns the position behind it.
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

bool isForeign(wchar_t c) { return c < 0 || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF); }

}  // namespace

std::size_t countUtf8(const char* text, std::size_t size) {
  return size - countBytes(std::string_view(text, size), InRange{'\x80', '\xBF'});
}

Converted widenUtf8(const char* text, std::size_t size, wchar_t* wide) {
  std::size_t i = 0;
  wchar_t* out = wide;
  while (i < size) {
    if (size - i >= kBlockSize) {
      const __m128i block = loadBlock(text + i);
      if (blockMask(block) == 0) {
        widenAscii(block, out);
        i += kBlockSize;
        out += kBlockSize;
        continue;
      }
    }
    for (const std::size_t stop = std::min(size, i + kBlockSize); i < stop;) {
      if (static_cast<unsigned char>(text[i]) < 0x80) {
        *out++ = text[i++];
        continue;
      }
      const Decoded next = decode(text + i);
      if (next.bytes == 0) return {i, static_cast<std::size_t>(out - wide)};
      *out++ = static_cast<wchar_t>(next.character);
      i += next.bytes;
    }
  }
  return {i, static_cast<std::size_t>(out - wide)};
}

std::size_t measureUtf8(const wchar_t* wide, std::size_t size) {
  __m128i more = _mm_setzero_si128();
  __m128i foreign = _mm_setzero_si128();
  const auto add = [&](__m128i four) {
    more = _mm_add_epi32(more, moreBytes(four));
    foreign = _mm_or_si128(foreign, areForeign(four));
  };
  std::size_t i = 0;
  for (; size - i >= kBlockSize; i += kBlockSize) {
    const WideBlock block(wide + i);
    if (block.isAscii()) continue;
    for (const __m128i four : {block.a, block.b, block.c, block.d}) add(four);
  }
  for (; i < size; ++i) add(_mm_cvtsi32_si128(wide[i]));
  return blockMask(foreign) == 0 ? size + sumOf(more) : kNoUtf8;
}

char* narrowUtf8(const wchar_t* wide, std::size_t size, char* text) {
  for (std::size_t i = 0; i < size;) {
    if (size - i >= kBlockSize) {
      const WideBlock block(wide + i);
      if (block.isAscii()) {
        storeBlock(text, block.bytes());
        text += kBlockSize;
        i += kBlockSize;
        continue;
      }
    }
    for (const std::size_t stop = std::min(size, i + kBlockSize); i < stop; ++i) {
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
    if (size - i >= kBlockSize && end - out >= static_cast<std::ptrdiff_t>(kBlockSize)) {
      const WideBlock block(wide + i);
      if (block.isAscii()) {
        storeBlock(out, block.bytes());
        out += kBlockSize;
        i += kBlockSize;
        continue;
      }
    }
    for (const std::size_t stop = std::min(size, i + kBlockSize); i < stop; ++i) {
      if (isForeign(wide[i]) || end - out < kLongest) return result(i);
      out = encode(static_cast<std::uint32_t>(wide[i]), out);
    }
  }
  return result(size);
}

}  // namespace commutil
