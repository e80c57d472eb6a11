#pragma once

#include <cstddef>
#include <string_view>

#include "bytes/byte_blocks.h"

// ASCII classes and case of bytes; every other byte belongs to no class and has no case.

namespace commutil {

constexpr InRange kLowerCase{'a', 'z'};
constexpr char kCaseBit = 'a' - 'A';

/// What is no digit.
struct NoDigit {
  bool operator()(char byte) const { return !kDigits(byte); }
  __m128i operator()(__m128i block) const {
    return _mm_xor_si128(kDigits(block), _mm_set1_epi8(-1));
  }
  static constexpr InRange kDigits{'0', '9'};
};

/// The letters that are no hexadecimal digits.
struct LetterBeyondHex {
  bool operator()(char byte) const { return kLetters(static_cast<char>(byte | kCaseBit)); }
  __m128i operator()(__m128i block) const {
    return kLetters(_mm_or_si128(block, _mm_set1_epi8(kCaseBit)));
  }
  static constexpr InRange kLetters{'g', 'z'};
};

inline __m128i upperBlock(const char* at) {
  const __m128i block = loadBlock(at);
  const __m128i change = _mm_and_si128(kLowerCase(block), _mm_set1_epi8(kCaseBit));
  return _mm_xor_si128(block, change);
}

/// Writes `text` in upper case at `out`, which may be the place of `text` itself.
inline void upperInto(char* out, std::string_view text) {
  if (text.size() < kBlockSize) {
    for (const char byte : text) {
      *out++ = kLowerCase(byte) ? static_cast<char>(byte - kCaseBit) : byte;
    }
    return;
  }
  const std::size_t last = text.size() - kBlockSize;
  const __m128i lastBlock = upperBlock(text.data() + last);  // may overlap the block before
  for (std::size_t at = 0; at < last; at += kBlockSize) {
    storeBlock(out + at, upperBlock(text.data() + at));
  }
  storeBlock(out + last, lastBlock);
}

}  // namespace commutil
