#pragma once

#include <cstddef>
#include <initializer_list>

// Makes allocations fail. A program that links failing_allocations.cpp has its malloc replaced, and
// operator new with it; under a sanitizer, which keeps malloc to itself, operator new alone.

namespace commutil_test {

/// What fails: one allocation, or every one from it on.
enum class Failing { once, fromThenOn };

/// For a scope, lets the calling thread's next `passing` allocations pass and fails what follows.
class FailingAllocations {
 public:
  FailingAllocations(std::size_t passing, Failing failing);
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  /// Whether an allocation has failed.
  bool happened() const;
};

/// Calls `call` with another one of its allocations failing each time, first once, then from it on,
/// until it gets by without one.
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
