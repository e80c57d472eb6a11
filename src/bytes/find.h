#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "bytes/block.h"

namespace commutil {

/// Searches for a string, in time linear in the text that is searched.
class Finder {
 public:
  /// `wanted` must outlive the finder.
  explicit Finder(std::string_view wanted) : m_wanted(wanted) {}

  std::size_t length() const { return m_wanted.size(); }

  /// Returns the first position of the wanted string in `text` at or after `from`, the text's
  /// length if there is none. The empty string is found at `from`.
  std::size_t find(std::string_view text, std::size_t from) const {
    if (m_wanted.empty()) return from;
    for (int starts = 0; starts < kFalseStarts; ++starts, ++from) {
      if (text.size() - from < length()) return text.size();
      const std::size_t starting = text.size() - from - length() + 1;
      from = offset(text, std::memchr(text.data() + from, m_wanted[0], starting));
      if (from == text.size() || isAt(text, from)) return from;
    }
    return offset(text, memmem(text.data() + from, text.size() - from, m_wanted.data(), length()));
  }

  /// Calls `visit` with the position of each occurrence, left to right, without overlap. The wanted
  /// string must not be empty. `visit` may overwrite the occurrence.
  template <class Visit>
  void forEach(std::string_view text, const Visit& visit) const {
    std::size_t at = find(text, forEachInBlocks(text, visit));
    for (; at < text.size(); at = find(text, at + length())) visit(at);
  }

 private:
  // The quick search compares at each occurrence of the first byte. After this many mismatches,
  // which could make it quadratic, memmem(3) takes over, which is slower to start.
  static constexpr int kFalseStarts = 16;

  static std::size_t offset(std::string_view text, const void* at) {
    if (at == nullptr) return text.size();
    return static_cast<std::size_t>(static_cast<const char*>(at) - text.data());
  }

  bool isAt(std::string_view text, std::size_t at) const {
    return std::memcmp(text.data() + at, m_wanted.data(), length()) == 0;
  }

  // Visits the occurrences that start in whole blocks, and returns where the search continues. A
  // position is likely if the first and the last byte of the wanted string match there.
  template <class Visit>
  std::size_t forEachInBlocks(std::string_view text, const Visit& visit) const {
    const Block first = Block::filledWith(m_wanted.front());
    const Block last = Block::filledWith(m_wanted.back());
    std::size_t patience = text.size();  // bytes that mismatches may still cost
    std::size_t next = 0;
    std::size_t block = 0;
    for (; block + length() + Block::kSize <= text.size(); block += Block::kSize) {
      const char* const starts = text.data() + block;
      const Block likely =
          (Block::load(starts) == first) & (Block::load(starts + length() - 1) == last);
      for (unsigned mask = likely.mask(); mask != 0; mask &= mask - 1) {
        const std::size_t at = block + lowestBit(mask);
        if (at < next) continue;
        if (length() <= 2 || isAt(text, at)) {
          visit(at);
          next = at + length();
        } else if (patience < length()) {
          return at;
        } else {
          patience -= length();
        }
      }
    }
    return std::max(block, next);
  }

  std::string_view m_wanted;
};

}  // namespace commutil
