#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace commutil_test {

constexpr std::size_t kMostBytes = 4096;
constexpr std::size_t kAlignments = 64;

/// Memory in which a text can have any alignment within a cache line, with `surrounding` around it.
class AlignedRoom {
 public:
  explicit AlignedRoom(char surrounding) : m_surrounding(surrounding) {}

  /// Places a text of at most kMostBytes.
  std::string_view place(std::string_view text, std::size_t alignment) {
    char* const begin = m_bytes + kAlignments + alignment;
    std::fill(m_bytes, begin, m_surrounding);
    std::copy(text.begin(), text.end(), begin);
    std::fill(begin + text.size(), begin + text.size() + kAlignments, m_surrounding);
    return {begin, text.size()};
  }

 private:
  char m_surrounding;
  alignas(kAlignments) char m_bytes[kMostBytes + 3 * kAlignments];
};

}  // namespace commutil_test
