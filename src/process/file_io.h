#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstddef>

namespace commutil {

/// Calls `transfer`, which is read(2) or write(2), until a signal does not interrupt it.
template <class Transfer>
ssize_t uninterrupted(const Transfer& transfer) {
  ssize_t count = 0;
  do {
    count = transfer();
  } while (count < 0 && errno == EINTR);
  return count;
}

}  // namespace commutil
