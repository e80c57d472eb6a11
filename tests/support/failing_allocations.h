#pragma once

#include <cstddef>
#include <initializer_list>

// Makes allocations fail. A program that links failing_allocations.cpp has its malloc, and so
// operator new, replaced; under a sanitizer, which keeps its malloc, only operator new.

namespace commutil_test {

/// What fails: one allocation, or it and all later ones.
enum class Failing { once, fromThenOn };

/// For a scope, lets the calling thread's next `passing` allocations pass and fails what follows.
class FailingAllocations {
 public:
  FailingAllocations(std::size_t passing, Failing failing);
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  /// Returns whether an allocation has failed.
  bool happened() const;
};

/// Calls `call` with each of its allocations failing, first only that one, then all from it on,
/// until no allocation is left to fail.
template <class Call>
void failEachAllocation(const Call& call) {
  for (const Failing failing : {Failing::once, Failing::fromThenOn}) {
    bool happened = true;
    for (std::size_t passing = 0; happened; ++passing) {
      const FailingAllocations failures(passing, failing);
      call();
      happened = failures.happened();
    }
  }
}

}  // namespace commutil_test
