// Base64 with AVX2 in blocks of 24 bytes and 32 characters, for long strings; selected at run time.
#include "bytes/base64_avx2.h"

#include <immintrin.h>

namespace commutil {

namespace {

constexpr std::size_t kBytes = 24;       // a block, decoded
constexpr std::size_t kCharacters = 32;  // a block, encoded

inline __m128i load(const unsigned char* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

inline void store(void* to, __m128i bytes) { _mm_storeu_si128(static_cast<__m128i*>(to), bytes); }

[[gnu::target("avx2")]] inline void store(void* to, __m256i bytes) {
  _mm256_storeu_si256(static_cast<__m256i*>(to), bytes);
}

/// The same 16 bytes in both halves of a register: shuffles work on each half.
[[gnu::target("avx2")]] inline __m256i twice(__m128i half) {
  return _mm256_broadcastsi128_si256(half);
}

/// Spreads the first 12 bytes of both halves over 16: each byte is a 6-bit index afterwards.
[[gnu::target("avx2")]] inline __m256i indicesOf(__m128i low, __m128i high) {
  const __m256i groups =
      _mm256_shuffle_epi8(_mm256_set_m128i(high, low),
                          twice(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10)));
  // Multiplications replace the shifts, which differ between the 16-bit halves of a group.
  const __m256i outer = _mm256_mulhi_epu16(_mm256_and_si256(groups, _mm256_set1_epi32(0x0FC0FC00)),
                                           _mm256_set1_epi32(0x04000040));
  const __m256i inner = _mm256_mullo_epi16(_mm256_and_si256(groups, _mm256_set1_epi32(0x003F03F0)),
                                           _mm256_set1_epi32(0x01000010));
  return _mm256_or_si256(outer, inner);
}

/// Converts indices to characters by adding the distance of each alphabet range from its indices.
[[gnu::target("avx2")]] inline __m256i charactersOf(__m256i indices) {
  // The ranges as numbers: 0 lower case, 1 to 10 the digits, 11 "+", 12 "/", 13 upper case.
  const __m256i upper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), indices);
  const __m256i run = _mm256_or_si256(_mm256_subs_epu8(indices, _mm256_set1_epi8(51)),
                                      _mm256_and_si256(upper, _mm256_set1_epi8(13)));
  constexpr char kDigit = '0' - 52;
  const __m128i distances =
      _mm_setr_epi8('a' - 26, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                    kDigit, kDigit, '+' - 62, '/' - 63, 'A', 0, 0);
  return _mm256_add_epi8(indices, _mm256_shuffle_epi8(twice(distances), run));
}

/// Returns whether all characters of a block are in the alphabet: a byte is if the table entries of
/// its two halves share no bit.
[[gnu::target("avx2")]] inline bool isPlain(__m256i block, __m256i highHalves) {
  const __m128i byLow = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                      0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m128i byHigh = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10,
                                       0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  const __m256i lowHalves = _mm256_and_si256(block, _mm256_set1_epi8(15));
  return _mm256_testz_si256(_mm256_shuffle_epi8(twice(byLow), lowHalves),
                            _mm256_shuffle_epi8(twice(byHigh), highHalves)) != 0;
}

/// Packs the 6-bit indices of 32 characters into 24 bytes, the lowest ones of the result.
[[gnu::target("avx2")]] inline __m256i bytesOf(__m256i indices) {
  const __m256i pairs = _mm256_maddubs_epi16(indices, _mm256_set1_epi32(0x01400140));
  const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
  const __m256i halves = _mm256_shuffle_epi8(
      groups, twice(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
  return _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
}

/// Converts characters of the alphabet to indices.
[[gnu::target("avx2")]] inline __m256i indicesOfCharacters(__m256i block, __m256i highHalves) {
  // The number to add, by the high half; "/" counts as one less, because its distance differs.
  const __m128i distances = _mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m256i slash = _mm256_cmpeq_epi8(block, _mm256_set1_epi8('/'));
  return _mm256_add_epi8(block,
                         _mm256_shuffle_epi8(twice(distances), _mm256_add_epi8(highHalves, slash)));
}

/// Decodes a block into `bytes`; returns false if it has a byte outside the alphabet.
[[gnu::target("avx2")]] inline bool decodeBlock(__m256i block, __m256i& bytes) {
  const __m256i highHalves = _mm256_and_si256(_mm256_srli_epi16(block, 4), _mm256_set1_epi8(15));
  if (!isPlain(block, highHalves)) return false;
  bytes = bytesOf(indicesOfCharacters(block, highHalves));
  return true;
}

[[gnu::target("avx2")]] std::size_t encodeWithAvx2(const unsigned char* in, std::size_t size,
                                                   char* out) {
  std::size_t done = 0;
  for (; size - done >= kBytes + 4; done += kBytes, out += kCharacters) {  // reads 4 bytes more
    store(out, charactersOf(indicesOf(load(in + done), load(in + done + kBytes / 2))));
  }
  if (size - done < 16) return done;
  const __m128i half = load(in + done);
  store(out, _mm256_castsi256_si128(charactersOf(indicesOf(half, half))));
  return done + kBytes / 2;
}

[[gnu::target("avx2")]] std::size_t decodeWithAvx2(const unsigned char* in, std::size_t size,
                                                   unsigned char* out) {
  __m256i bytes{};
  std::size_t done = 0;
  for (; size - done >= kCharacters + 12; done += kCharacters, out += kBytes) {  // writes 8 more
    const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + done));
    if (!decodeBlock(block, bytes)) return done;
    store(out, bytes);
  }
  if (size - done < 24 || !decodeBlock(twice(load(in + done)), bytes)) return done;
  store(out, _mm256_castsi256_si128(bytes));
  return done + kCharacters / 2;
}

}  // namespace

std::size_t encodeBlocks(const unsigned char* in, std::size_t size, char* out) {
  return __builtin_cpu_supports("avx2") != 0 ? encodeWithAvx2(in, size, out) : 0;
}

std::size_t decodeBlocks(const unsigned char* in, std::size_t size, unsigned char* out) {
  return __builtin_cpu_supports("avx2") != 0 ? decodeWithAvx2(in, size, out) : 0;
}

}  // namespace commutil
