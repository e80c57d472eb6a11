#pragma once

#include <cstddef>

// Counts the allocations of a call. A program that links allocations.cpp has operator new replaced.

namespace commutil_test {

/// Returns how many blocks the calling thread has allocated so far.
std::size_t allocations();

/// The bytes that all threads hold, and the most that they have held since `restartPeak`.
std::size_t bytesHeld();
std::size_t peakBytesHeld();
void restartPeak();

/// How many bytes more than before `call` it held at its peak.
template <class Call>
std::size_t peakOf(const Call& call) {
  const std::size_t before = bytesHeld();
  restartPeak();
  call();
  return peakBytesHeld() - before;
}

template <class Call>
std::size_t allocationsOf(const Call& call) {
  const std::size_t before = allocations();
  call();
  return allocations() - before;
}

}  // namespace commutil_test
