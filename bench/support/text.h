#pragma once

#include <cstddef>
#include <string>

namespace commutil_bench {

/// Returns `size` bytes of repeated `piece`, the last one cut off.
inline std::string repeated(const std::string& piece, std::size_t size) {
  std::string text;
  while (text.size() < size) text.append(piece);
  text.resize(size);
  return text;
}

}  // namespace commutil_bench
