#pragma once

#include <cstddef>
#include <string>

namespace commutil_bench {

/// `size` bytes of `piece` after `piece`, the last one cut where the text ends.
inline std::string repeated(const std::string& piece, std::size_t size) {
  std::string text;
  while (text.size() < size) text.append(piece);
  text.resize(size);
  return text;
}

}  // namespace commutil_bench
