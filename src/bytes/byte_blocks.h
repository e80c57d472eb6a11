#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "bytes/checked_size.h"

// Classifying, counting and rewriting the bytes of a text in blocks of 16 (SSE2, which every x86-64
// has; g++ -O2 vectorises none of these loops). A class of bytes is a type with two call operators:
// one tells whether a byte belongs to it, one turns a block into 0xFF where a byte belongs to it
// and 0 elsewhere.

namespace commutil {

constexpr std::size_t kBlockSize = 16;

inline __m128i loadBlock(const char* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

inline void storeBlock(char* to, __m128i block) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), block);
}

/// A bit for each byte of a block, the first byte's the lowest: set where the byte is 0xFF.
inline unsigned blockMask(__m128i block) { return static_cast<unsigned>(_mm_movemask_epi8(block)); }

/// The place of the lowest bit of a `mask` that has one.
inline std::size_t lowestBit(unsigned mask) {
  return static_cast<std::size_t>(__builtin_ctz(mask));
}

/// The bytes from `low` to `high`, both included.
struct InRange {
  char low;
  char high;

  bool operator()(char byte) const {
    return static_cast<unsigned char>(byte - low) <= static_cast<unsigned char>(high - low);
  }
  __m128i operator()(__m128i block) const {
    const __m128i offset = _mm_sub_epi8(block, _mm_set1_epi8(low));
    const __m128i width = _mm_set1_epi8(static_cast<char>(high - low));
    return _mm_cmpeq_epi8(_mm_min_epu8(offset, width), offset);
  }
};

/// A few single bytes.
template <char... Bytes>
struct AnyOf {
  bool operator()(char byte) const { return ((byte == Bytes) || ...); }
  __m128i operator()(__m128i block) const {
    __m128i hits = _mm_setzero_si128();
    ((hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, _mm_set1_epi8(Bytes)))), ...);
    return hits;
  }
};

/// Tells whether any byte of `text` is in `set`; looks no further than the first block with one.
template <class Set>
bool containsAny(std::string_view text, const Set& set) {
  if (text.size() < kBlockSize) return std::any_of(text.begin(), text.end(), set);
  const char* const last = text.data() + text.size() - kBlockSize;
  for (const char* at = text.data(); at < last; at += kBlockSize) {
    if (blockMask(set(loadBlock(at))) != 0) return true;
  }
  return blockMask(set(loadBlock(last))) != 0;  // may overlap the block before
}

/// Counts the bytes of `text` that are in `set`.
template <class Set>
std::size_t countBytes(std::string_view text, const Set& set) {
  constexpr std::size_t kBlocksPerSum = 255;  // a lane counts up to 255
  const char* at = text.data();
  std::size_t blocks = text.size() / kBlockSize;
  __m128i total = _mm_setzero_si128();
  while (blocks > 0) {
    const std::size_t round = std::min(blocks, kBlocksPerSum);
    __m128i lanes = _mm_setzero_si128();
    for (std::size_t i = 0; i < round; ++i, at += kBlockSize) {
      lanes = _mm_sub_epi8(lanes, set(loadBlock(at)));
    }
    total = _mm_add_epi64(total, _mm_sad_epu8(lanes, _mm_setzero_si128()));
    blocks -= round;
  }
  const auto counted =
      _mm_cvtsi128_si64(total) + _mm_cvtsi128_si64(_mm_unpackhi_epi64(total, total));
  const auto rest = std::count_if(at, text.data() + text.size(), set);
  return static_cast<std::size_t>(counted + rest);
}

/// Copies runs of `text` into `result`, a short one as a whole block where both have room.
class RunCopier {
 public:
  RunCopier(std::string_view text, std::string& result)
      : m_textEnd(text.data() + text.size()), m_resultEnd(result.data() + result.size()) {}

  /// Copies `run` to `out`; returns its end.
  char* operator()(char* out, std::string_view run) const {
    constexpr auto kBlock = static_cast<std::ptrdiff_t>(kBlockSize);
    if (run.size() <= kBlockSize && m_textEnd - run.data() >= kBlock &&
        m_resultEnd - out >= kBlock) {
      storeBlock(out, loadBlock(run.data()));
    } else {
      std::memcpy(out, run.data(), run.size());
    }
    return out + run.size();
  }

 private:
  const char* m_textEnd;
  const char* m_resultEnd;
};

/// Writes the `length` bytes of a `block` at `out` with those of the `mask` written by
/// `write(out, byte)`, which returns the place behind what it wrote. Runs are copied as whole
/// blocks: both sides need room for one more. Returns the result's end.
template <class Write>
char* rewriteBlock(char* out, const char* block, std::size_t length, unsigned mask,
                   const Write& write) {
  std::size_t copied = 0;
  for (; mask != 0; mask &= mask - 1) {
    const auto hit = lowestBit(mask);
    storeBlock(out, loadBlock(block + copied));
    out = write(out + (hit - copied), block[hit]);
    copied = hit + 1;
  }
  storeBlock(out, loadBlock(block + copied));
  return out + (length - copied);
}

/// Writes `text` at `out` with each byte of `set` written by `write` (see `rewriteBlock`) as one
/// byte at least. Returns the result's end.
template <class Set, class Write>
char* rewriteInto(char* out, std::string_view text, const Set& set, const Write& write) {
  const char* at = text.data();
  const char* const end = at + text.size();
  // While two blocks are left, a block's copies end inside `text` and, since no less is left to
  // write than to read, inside the result.
  for (; end - at >= static_cast<std::ptrdiff_t>(2 * kBlockSize); at += kBlockSize) {
    out = rewriteBlock(out, at, kBlockSize, blockMask(set(loadBlock(at))), write);
  }
  for (; at != end; ++at) {
    if (set(*at)) {
      out = write(out, *at);
    } else {
      *out++ = *at;
    }
  }
  return out;
}

constexpr std::size_t kShortText = 2 * kBlockSize;
constexpr std::size_t kWidestByte = 3;

/// `rewriteBytes` of a short text: in room of its own, where whole blocks may be copied throughout.
template <class Set, class Write>
std::string rewriteShort(std::string_view text, const Set& set, const Write& write) {
  std::array<char, kShortText + kBlockSize> padded{};
  std::array<char, kShortText * kWidestByte + kBlockSize> result{};
  std::copy(text.begin(), text.end(), padded.begin());
  char* out = result.data();
  for (std::size_t at = 0; at < text.size(); at += kBlockSize) {
    const std::size_t length = std::min(kBlockSize, text.size() - at);
    const char* const block = padded.data() + at;
    const unsigned mask = blockMask(set(loadBlock(block))) & ((1U << length) - 1);
    out = rewriteBlock(out, block, length, mask, write);
  }
  return std::string(result.data(), out);
}

/// Returns `text` with each byte of `set` written as `width` bytes, three at most, by `write` (see
/// `rewriteBlock`).
template <class Set, class Write>
std::string rewriteBytes(std::string_view text, const Set& set, std::size_t width,
                         const Write& write) {
  if (text.size() <= kShortText) return rewriteShort(text, set, write);
  const std::size_t hits = countBytes(text, set);
  if (hits == 0) return std::string(text);
  std::string result(checkedSize(text.size() - hits, hits, width), '\0');
  rewriteInto(result.data(), text, set, write);
  return result;
}

}  // namespace commutil
