#pragma once

#include <cstddef>
#include <cstdint>

namespace commutil_fuzz {

/// While one exists, one in a hundred calls of this thread's operator new fails, the same ones for
/// the same input.
class FailingAllocations {
 public:
  FailingAllocations(const std::uint8_t* data, std::size_t size);
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  /// Returns whether one exists and an allocation has failed.
  static bool happened();
};

/// While one exists, no allocation fails: for fakes, which are not tested.
class SparedAllocations {
 public:
  SparedAllocations();
  ~SparedAllocations();
  SparedAllocations(const SparedAllocations&) = delete;
  SparedAllocations& operator=(const SparedAllocations&) = delete;

 private:
  bool m_armed;
};

}  // namespace commutil_fuzz
