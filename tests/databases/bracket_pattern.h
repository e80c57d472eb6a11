#pragma once

#include <bitset>
#include <string_view>
#include <vector>

namespace commutil_test {

/// A LIKE pattern in the dialect with sets: `%`, `_`, `[abc]`, `[a-c]`, `[^abc]`; a `]` that comes
/// first in a set belongs to it, and a `[` without an end is an ordinary character. Compares bytes.
class BracketPattern {
 public:
  explicit BracketPattern(std::string_view pattern);

  bool matches(std::string_view text) const;

 private:
  using Set = std::bitset<256>;

  std::size_t addSet(std::string_view pattern, std::size_t at);

  struct Element {
    bool isAnyString = false;
    Set bytes;
  };
  std::vector<Element> m_elements;
};

}  // namespace commutil_test
