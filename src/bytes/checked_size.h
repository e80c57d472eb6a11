#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace commutil {

/// Returns `fixed + count * each`, the size of a string to be built.
/// @throws std::length_error  no string can be that long
inline std::size_t checkedSize(std::size_t fixed, std::size_t count, std::size_t each) {
  std::size_t size = 0;
  const bool wraps =
      __builtin_mul_overflow(count, each, &size) || __builtin_add_overflow(size, fixed, &size);
  if (wraps || size > std::string().max_size())
    throw std::length_error("the result is longer than a string can be");
  return size;
}

}  // namespace commutil
