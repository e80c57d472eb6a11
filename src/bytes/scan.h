#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "bytes/block.h"

// Sets of bytes, and searching and counting the bytes of a text that are in one. A set that is
// searched in blocks is a type with two call operators: one returns whether a byte belongs to it,
// one returns the hits in a block.

namespace commutil {

/// The bytes from `low` to `high`, both included.
struct InRange {
  char low;
  char high;

  bool operator()(char byte) const {
    return static_cast<unsigned char>(byte - low) <= static_cast<unsigned char>(high - low);
  }
  Block operator()(Block block) const { return block.within(low, high); }
};

/// A few single bytes.
template <char... Bytes>
struct AnyOf {
  bool operator()(char byte) const { return ((byte == Bytes) || ...); }
  Block operator()(Block block) const {
    Block hits;
    ((hits = hits | (block == Block::filledWith(Bytes))), ...);
    return hits;
  }
};

/// Returns whether any byte of `text` is in `set`; reads no further than the first block with one.
template <class Set>
bool containsAny(std::string_view text, const Set& set) {
  if (text.size() < Block::kSize) return std::any_of(text.begin(), text.end(), set);
  const char* const last = text.data() + text.size() - Block::kSize;
  for (const char* at = text.data(); at < last; at += Block::kSize) {
    if (set(Block::load(at)).mask() != 0) return true;
  }
  return set(Block::load(last)).mask() != 0;  // may overlap the block before
}

/// Returns whether any byte of `text` is one of `Bytes`. Searches for each with memchr(3), which
/// compares wider blocks than `Block`.
template <char... Bytes>
bool containsAnyOf(std::string_view text, const AnyOf<Bytes...>& set) {
  constexpr std::size_t kPiece = 4096;  // stays in the first-level cache between searches
  if (text.size() < 4 * Block::kSize) return containsAny(text, set);
  for (; !text.empty(); text.remove_prefix(std::min(kPiece, text.size()))) {
    const std::string_view piece = text.substr(0, kPiece);
    if (((std::memchr(piece.data(), Bytes, piece.size()) != nullptr) || ...)) return true;
  }
  return false;
}

/// Counts the bytes of `text` that are in `set`.
template <class Set>
std::size_t countBytes(std::string_view text, const Set& set) {
  constexpr std::size_t kBlocksPerSum = 255;  // a byte counts up to 255
  const char* at = text.data();
  std::size_t blocks = text.size() / Block::kSize;
  std::size_t count = 0;
  while (blocks > 0) {
    const std::size_t round = std::min(blocks, kBlocksPerSum);
    Block counts;
    for (std::size_t i = 0; i < round; ++i, at += Block::kSize) {
      counts = counts - set(Block::load(at));
    }
    count += counts.sum();
    blocks -= round;
  }
  const auto rest = std::count_if(at, text.data() + text.size(), set);
  return count + static_cast<std::size_t>(rest);
}

/// A set of bytes.
class ByteSet {
 public:
  explicit ByteSet(std::string_view bytes) {
    for (const char byte : bytes) m_words[word(byte)] |= bit(byte);
  }

  bool contains(char byte) const { return (m_words[word(byte)] & bit(byte)) != 0; }

  /// Returns the position of the first byte of `text` at or after `from` that is not in the set,
  /// the text's length if there is none.
  std::size_t skip(std::string_view text, std::size_t from) const {
    while (from < text.size() && contains(text[from])) ++from;
    return std::min(from, text.size());
  }

 private:
  static std::size_t word(char byte) { return static_cast<unsigned char>(byte) / 64U; }
  static std::uint64_t bit(char byte) {
    return std::uint64_t{1} << (static_cast<unsigned char>(byte) % 64U);
  }

  std::array<std::uint64_t, 4> m_words{};  // cheaper to clear than 256 bytes, for short texts
};

}  // namespace commutil
