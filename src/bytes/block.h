#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

// Blocks of 16 bytes or wide characters. The only code that uses SSE2, which every x86-64 processor
// has and which g++ -O2 does not generate for these loops.

namespace commutil {

/// 16 bytes. A comparison returns a block with 0xFF where it holds and 0 elsewhere: "hits".
class Block {
 public:
  static constexpr std::size_t kSize = 16;

  /// 16 zeros.
  Block() : m_bytes(_mm_setzero_si128()) {}

  static Block load(const char* from) {
    return Block(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
  }
  static Block filledWith(char byte) { return Block(_mm_set1_epi8(byte)); }

  void store(char* to) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), m_bytes); }

  /// Hits where a byte is from `low` to `high`, both included.
  Block within(char low, char high) const {
    const __m128i offset = _mm_sub_epi8(m_bytes, _mm_set1_epi8(low));
    const __m128i width = _mm_set1_epi8(static_cast<char>(high - low));
    return Block(_mm_cmpeq_epi8(_mm_min_epu8(offset, width), offset));
  }

  friend Block operator==(Block a, Block b) { return Block(_mm_cmpeq_epi8(a.m_bytes, b.m_bytes)); }
  friend Block operator&(Block a, Block b) { return Block(_mm_and_si128(a.m_bytes, b.m_bytes)); }
  friend Block operator|(Block a, Block b) { return Block(_mm_or_si128(a.m_bytes, b.m_bytes)); }
  friend Block operator^(Block a, Block b) { return Block(_mm_xor_si128(a.m_bytes, b.m_bytes)); }
  friend Block operator-(Block a, Block b) { return Block(_mm_sub_epi8(a.m_bytes, b.m_bytes)); }

  /// A bit for each byte, the first byte's the lowest: set where the byte is 0x80 or more.
  unsigned mask() const { return static_cast<unsigned>(_mm_movemask_epi8(m_bytes)); }

  /// The sum of the bytes.
  std::size_t sum() const {
    const __m128i halves = _mm_sad_epu8(m_bytes, _mm_setzero_si128());
    return static_cast<std::size_t>(_mm_cvtsi128_si64(halves) +
                                    _mm_cvtsi128_si64(_mm_unpackhi_epi64(halves, halves)));
  }

  /// Stores each byte as a wide character.
  void widenTo(wchar_t* to) const {
    const __m128i zero = _mm_setzero_si128();
    const __m128i low = _mm_unpacklo_epi8(m_bytes, zero);
    const __m128i high = _mm_unpackhi_epi8(m_bytes, zero);
    auto* const out = reinterpret_cast<__m128i*>(to);
    _mm_storeu_si128(out, _mm_unpacklo_epi16(low, zero));
    _mm_storeu_si128(out + 1, _mm_unpackhi_epi16(low, zero));
    _mm_storeu_si128(out + 2, _mm_unpacklo_epi16(high, zero));
    _mm_storeu_si128(out + 3, _mm_unpackhi_epi16(high, zero));
  }

 private:
  friend class WideBlock;

  explicit Block(__m128i bytes) : m_bytes(bytes) {}

  __m128i m_bytes;
};

/// The position of the lowest bit of a `mask` that is not 0.
inline std::size_t lowestBit(unsigned mask) {
  return static_cast<std::size_t>(__builtin_ctz(mask));
}

/// Four wide characters. A comparison returns -1 where it holds and 0 elsewhere.
class Quad {
 public:
  static_assert(sizeof(wchar_t) == sizeof(std::int32_t));

  /// Four zeros.
  Quad() : m_values(_mm_setzero_si128()) {}

  static Quad load(const wchar_t* from) {
    return Quad(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
  }
  /// One character and three zeros.
  static Quad single(wchar_t c) { return Quad(_mm_cvtsi32_si128(c)); }

  friend Quad operator>(Quad a, int b) {
    return Quad(_mm_cmpgt_epi32(a.m_values, _mm_set1_epi32(b)));
  }
  friend Quad operator<(Quad a, int b) {
    return Quad(_mm_cmplt_epi32(a.m_values, _mm_set1_epi32(b)));
  }
  friend Quad operator&(Quad a, Quad b) { return Quad(_mm_and_si128(a.m_values, b.m_values)); }
  friend Quad operator|(Quad a, Quad b) { return Quad(_mm_or_si128(a.m_values, b.m_values)); }
  friend Quad operator+(Quad a, Quad b) { return Quad(_mm_add_epi32(a.m_values, b.m_values)); }
  friend Quad operator-(Quad a, Quad b) { return Quad(_mm_sub_epi32(a.m_values, b.m_values)); }

  /// Returns whether a comparison holds anywhere.
  bool any() const { return _mm_movemask_epi8(m_values) != 0; }

  /// The sum of the values as unsigned numbers.
  std::size_t sum() const {
    std::uint32_t values[4];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(values), m_values);
    return std::size_t{values[0]} + values[1] + values[2] + values[3];
  }

 private:
  friend class WideBlock;

  explicit Quad(__m128i values) : m_values(values) {}

  __m128i m_values;
};

/// 16 wide characters.
class WideBlock {
 public:
  static WideBlock load(const wchar_t* from) {
    return {Quad::load(from), Quad::load(from + 4), Quad::load(from + 8), Quad::load(from + 12)};
  }

  bool isAscii() const {
    const __m128i beyond = _mm_andnot_si128(_mm_set1_epi32(0x7F), ((a | b) | (c | d)).m_values);
    return _mm_movemask_epi8(_mm_cmpeq_epi32(beyond, _mm_setzero_si128())) == 0xFFFF;
  }

  /// The characters as bytes, if all are ASCII.
  Block bytes() const {
    return Block(_mm_packus_epi16(_mm_packs_epi32(a.m_values, b.m_values),
                                  _mm_packs_epi32(c.m_values, d.m_values)));
  }

  Quad a, b, c, d;
};

}  // namespace commutil
