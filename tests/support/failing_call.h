#pragma once

#include <cerrno>
#include <type_traits>

namespace commutil_test {

/// Returns what a function of the C library returns on failure, null or -1, and sets errno.
template <class Result>
Result failedWith(int error) {
  errno = error;
  if constexpr (std::is_pointer_v<Result>) {
    return nullptr;
  } else {
    return -1;
  }
}

}  // namespace commutil_test
