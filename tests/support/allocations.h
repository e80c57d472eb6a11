#pragma once

#include <cstddef>

// Counts the allocations of a call. A program that links allocations.cpp has operator new replaced.

namespace commutil_test {

/// Returns how many blocks the calling thread has allocated so far.
std::size_t allocations();

template <class Call>
std::size_t allocationsOf(const Call& call) {
  const std::size_t before = allocations();
  call();
  return allocations() - before;
}

}  // namespace commutil_test
